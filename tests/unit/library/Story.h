// What can be seen from outside, in the order in which it happened.
#ifndef TESTS_UNIT_LIBRARY_STORY_H
#define TESTS_UNIT_LIBRARY_STORY_H

#include "tests/unit/support/TraceRecorder.h"

#include <optional>

namespace LibraryTests {

using Lines = std::vector<Quor::String>;

inline constexpr char kProgrammer[] = "OrloVrrp";
inline constexpr char kReflector[] = "OrloVrrpPrivateVlanReflectorLib";

/// One list of what helpers and watchers tell, with the traces in between when they are on. The
/// reflector's line numbers move with its code, so they are left out.
class Story {
 public:
   void tell( const Quor::String &line ) {
      collect();
      lines_.push_back( line );
   }
   /// The lines so far; starts afresh.
   Lines take() {
      collect();
      return std::exchange( lines_, {} );
   }

   /// Traces of both modules join in from now on.
   void traces( Quor::TraceLevels levels = Quor::kAllTraceLevels ) {
      traces_.emplace( levels, kProgrammer, kReflector );
   }
   void noTraces() {
      collect();
      traces_.reset();
   }

 private:
   void collect() {
      if( !traces_ ) {
         return;
      }
      for( Quor::String &line : traces_->take() ) {
         lines_.push_back( withoutReflectorLine( std::move( line ) ) );
      }
   }

   static Quor::String withoutReflectorLine( Quor::String line ) {
      const Quor::String source = Quor::String( " " ) + kReflector + ":";
      if( const auto at = line.find( source ); at == 1 ) {
         const auto colon = at + source.size() - 1;
         line.erase( colon, line.find( ' ', colon ) - colon );
      }
      return line;
   }

   std::optional<Support::TraceRecorder> traces_;
   Lines lines_;
};

} // namespace LibraryTests

#endif
