// Trace facilities: one per module, switched level by level while the process runs.
//
//    static TraceHandle facility( "OrloVrrp", false );
//    if( Trace t{ facility, 4, "OrloVrrpSm", 108, "handleVrrpMac" } ) {
//       t << "( " << vrMac << " )";
//    }
//
// Switched off, a trace costs a look at the facility's levels and at the coverage stream; what
// stands behind << is not evaluated.
#ifndef QUOR_TRACE_H
#define QUOR_TRACE_H

#include "quor/Types.h"

#include <atomic>
#include <functional>
#include <iosfwd>
#include <new>
#include <sstream>

namespace Quor {

/// Levels are 0 to 9; bit L of a set of levels stands for level L.
using TraceLevels = U32;
inline constexpr TraceLevels kAllTraceLevels = 0x3FF;

/// A named facility with its switches. Made once per module, on first use; lives to the end of the
/// process. Takes the levels that were set for its name before it was made. One thread switches and
/// traces; making facilities is safe from any thread.
class TraceHandle {
 public:
   /// `on` switches the facility on whatever its levels: all of them are then enabled from the
   /// start.
   TraceHandle( const String &name, bool on );
   ~TraceHandle();
   TraceHandle( const TraceHandle & ) = delete;
   TraceHandle &operator=( const TraceHandle & ) = delete;

   const String &name() const noexcept { return name_; }
   bool isLive( U32 level ) const noexcept { return ( levels_ >> level & 1 ) != 0; }

   /// None: the facility is off.
   TraceLevels levels() const noexcept { return levels_; }
   void levelsIs( TraceLevels levels ) noexcept { levels_ = levels; }

 private:
   const String name_;
   TraceLevels levels_;
};

/// Finds the facility of a module: after its first use at the price of one load.
///
///    static const TraceHandle &_defaultTraceHandle() { return facility_.get( make ); }
class TraceFacility {
 public:
   /// `make` gives the one facility, however often and from however many threads it is called.
   const TraceHandle &get( const TraceHandle &( *make )() ) {
      const TraceHandle *const made = made_.load( std::memory_order_acquire );
      if( made ) [[likely]] {
         return *made;
      }
      const TraceHandle &first = make();
      made_.store( &first, std::memory_order_release );
      return first;
   }

 private:
   std::atomic<const TraceHandle *> made_{ nullptr };
};

/// Switches the levels of the facility of this name, now or when it is made.
void traceLevelsIs( const String &facility, TraceLevels levels );
/// Reads levels such as "0-4,8", "none" or "all"; RangeException for anything else.
TraceLevels traceLevels( const String &text );

/// One emitted trace; the texts live only during the call.
struct TraceRecord {
   const TraceHandle &facility;
   const char *context;
   const String &message;
   U32 level;
   const char *source;
   U32 line;
   const char *function;
};

/// Where live traces go: a line each on standard error, until another sink is set; an empty one
/// restores that. A sink must not throw.
using TraceSink = std::function<void( const TraceRecord & )>;
void traceSinkIs( TraceSink sink );

/// When set, traces that are not live are formatted all the same and written here, a line each: so
/// a test covers the formatting of every trace. Not owned.
extern std::ostream *coverageStream;

/// Writes a live trace to the sink, another one to the coverage stream.
void traceHelper( const TraceHandle &facility, const char *context, const String &message,
                  U32 level, bool live, const char *source, U32 line, const char *function );

/// One trace site. Collects its message while it lives, and emits it when it goes. What finds no
/// memory is left out: a trace hinders nothing.
class Trace {
 public:
   Trace( const TraceHandle &facility, U32 level, const char *source, U32 line,
          const char *function ) noexcept {
      if( facility.isLive( level ) || coverageStream ) [[unlikely]] {
         start( facility, level, source, line, function );
      }
   }
   ~Trace() {
      if( message_ ) [[unlikely]] {
         emit();
      }
   }
   Trace( const Trace & ) = delete;
   Trace &operator=( const Trace & ) = delete;

   /// The message is wanted.
   explicit operator bool() const noexcept { return message_ != nullptr; }

   template <class V>
   [[gnu::noinline, gnu::cold]] Trace &operator<<( const V &value ) {
      try {
         message_->text << value;
      } catch( const std::bad_alloc & ) {
         message_->text.setstate( std::ios::badbit ); // ends here
      }
      return *this;
   }

 private:
   struct Message {
      const TraceHandle &facility;
      U32 level;
      bool live;
      const char *source;
      U32 line;
      const char *function;
      std::ostringstream text{};
   };
   void start( const TraceHandle &facility, U32 level, const char *source, U32 line,
               const char *function ) noexcept;
   void emit() noexcept;

   Message *message_ = nullptr; // nothing but this pointer is touched while the trace is off
};

} // namespace Quor

#endif
