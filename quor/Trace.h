// Trace facilities: one per module, switched level by level while the process runs.
//
//    static TraceHandle facility( "OrloVrrp", false );
//    if( Trace t{ facility, 4, "OrloVrrpSm", 108, "handleVrrpMac" } ) {
//       t << "( " << vrMac << " )";
//    }
//
// Switched off, a trace costs a look at the facility's switches; what stands behind << is not
// evaluated.
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

/// The switches of a facility.
class TraceSwitches {
 public:
   constexpr explicit TraceSwitches( TraceLevels levels ) noexcept : bits_( levels ) {}

   bool isLive( U32 level ) const noexcept { return ( bits_ >> level & 1 ) != 0; }
   /// It is live, or wanted by the coverage stream.
   bool isWanted( U32 level ) const noexcept { return ( bits_ & ( kCovered | 1u << level ) ) != 0; }
   /// None: the facility is off.
   TraceLevels levels() const noexcept { return bits_ & kAllTraceLevels; }
   void levelsIs( TraceLevels levels ) noexcept {
      bits_ = ( bits_ & kCovered ) | ( levels & kAllTraceLevels );
   }

 protected:
   void isCoveredIs( bool on ) noexcept { bits_ = levels() | ( on ? kCovered : 0 ); }

 private:
   static constexpr TraceLevels kCovered = 1u << 31;
   TraceLevels bits_;
};

/// A named facility with its switches. Made once per module, on first use; lives to the end of the
/// process. Takes the levels that were set for its name before it was made. One thread switches and
/// traces; making facilities is safe from any thread.
class TraceHandle : public TraceSwitches {
 public:
   /// `on` switches the facility on whatever its levels: all of them are then enabled from the
   /// start.
   TraceHandle( const String &name, bool on );
   ~TraceHandle();
   TraceHandle( const TraceHandle & ) = delete;
   TraceHandle &operator=( const TraceHandle & ) = delete;

   const String &name() const noexcept { return name_; }

 private:
   friend class CoverageStream;
   const String name_;
};

/// Finds the facility of a module for its traces: after the first use at the price of one load.
///
///    static const TraceHandle &_defaultTraceHandle();   // gives a static of its own
///    static constinit inline TraceFacility facility_{ _defaultTraceHandle };
///    if( Trace t{ facility_, 4, "OrloVrrpSm", 108, "handleVrrpMac" } ) ...
class TraceFacility {
 public:
   /// Gives the one facility, however often and from however many threads it is called.
   using Make = const TraceHandle &(*)();

   constexpr explicit TraceFacility( Make make ) noexcept : make_( make ) {}
   TraceFacility( const TraceFacility & ) = delete;
   TraceFacility &operator=( const TraceFacility & ) = delete;

   const TraceHandle &get() {
      const TraceSwitches *const made = made_.load( std::memory_order_acquire );
      if( made != &notMade_ ) [[likely]] {
         return static_cast<const TraceHandle &>( *made );
      }
      const TraceHandle &first = make_();
      made_.store( &first, std::memory_order_release );
      return first;
   }
   /// Has a trace of the level to get() the facility? Yes as long as it has not been made.
   bool isWanted( U32 level ) const noexcept {
      return made_.load( std::memory_order_acquire )->isWanted( level );
   }

 private:
   const Make make_;
   const TraceSwitches notMade_{ kAllTraceLevels };
   std::atomic<const TraceSwitches *> made_{ &notMade_ };
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

/// When set, traces that are not live are formatted all the same and written there, a line each: so
/// a test covers the formatting of every trace.
class CoverageStream {
 public:
   /// Not owned. Null: none.
   CoverageStream &operator=( std::ostream *stream );
   std::ostream *get() const noexcept { return stream_; }

 private:
   std::ostream *stream_ = nullptr;
};
extern CoverageStream coverageStream;

/// Writes a live trace to the sink, another one to the coverage stream.
void traceHelper( const TraceHandle &facility, const char *context, const String &message,
                  U32 level, bool live, const char *source, U32 line, const char *function );

/// One trace site. Collects its message while it lives, and emits it when it goes. What finds no
/// memory is left out: a trace hinders nothing.
class Trace {
 public:
   Trace( const TraceHandle &facility, U32 level, const char *source, U32 line,
          const char *function ) noexcept
         : message_( facility.isWanted( level ) ? start( facility, level, source, line, function )
                                                : nullptr ) {}
   Trace( TraceFacility &facility, U32 level, const char *source, U32 line, const char *function )
         : message_( facility.isWanted( level ) ? start( facility, level, source, line, function )
                                                : nullptr ) {}
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
   [[gnu::cold]] static Message *start( const TraceHandle &facility, U32 level, const char *source,
                                        U32 line, const char *function ) noexcept;
   [[gnu::cold]] static Message *start( TraceFacility &facility, U32 level, const char *source,
                                        U32 line, const char *function );
   void emit() noexcept;

   Message *const message_; // nothing but this pointer is touched while the trace is off
};

} // namespace Quor

#endif
