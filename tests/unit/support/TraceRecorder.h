// What the code under test traces, as text.
#ifndef TESTS_UNIT_SUPPORT_TRACERECORDER_H
#define TESTS_UNIT_SUPPORT_TRACERECORDER_H

#include "quor/Trace.h"

#include <concepts>
#include <utility>
#include <vector>

namespace Support {

/// Switches the named facilities on, at all levels or at the given ones, and collects what they
/// emit, a line each: "level source:line function: message". When it goes, its facilities are off
/// and traces go to standard error again. One at a time.
///
///    TraceRecorder traces( "OrloVrrp", "OrloVrrpPrivateVlanReflectorLib" );
///    table->virtualRouterMacIs( key, true );
///    EXPECT_EQ( traces.lines(), ( Lines{ "4 OrloVrrpSm:108 handleVrrpMac: void Orlo..." } ) );
class TraceRecorder {
 public:
   using Lines = std::vector<Quor::String>;

   template <std::convertible_to<Quor::String>... Names>
   explicit TraceRecorder( const Names &...facilities )
         : TraceRecorder( Quor::kAllTraceLevels, facilities... ) {}
   template <std::convertible_to<Quor::String>... Names>
   explicit TraceRecorder( Quor::TraceLevels levels, const Names &...facilities )
         : facilities_{ facilities... } {
      for( const Quor::String &facility : facilities_ ) {
         Quor::traceLevelsIs( facility, levels );
      }
      Quor::traceSinkIs( [this]( const Quor::TraceRecord &record ) {
         lines_.push_back( std::to_string( record.level ) + " " + record.source + ":" +
                           std::to_string( record.line ) + " " + record.function + ": " +
                           record.message );
      } );
   }
   ~TraceRecorder() {
      for( const Quor::String &facility : facilities_ ) {
         Quor::traceLevelsIs( facility, 0 );
      }
      Quor::traceSinkIs( {} );
   }
   TraceRecorder( const TraceRecorder & ) = delete;
   TraceRecorder &operator=( const TraceRecorder & ) = delete;

   const Lines &lines() const { return lines_; }
   /// The lines so far; starts afresh.
   Lines take() { return std::exchange( lines_, {} ); }

 private:
   const Lines facilities_;
   Lines lines_;
};

} // namespace Support

#endif
