#include "quor/Trace.h"

#include "quor/Exception.h"
#include "quor/Strep.h"

#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Quor {

constinit CoverageStream coverageStream;

namespace {

/// All facilities, and the levels that were asked for by name. Never destroyed: facilities outlive
/// everything else.
struct Facilities {
   std::mutex mutex;
   std::vector<TraceHandle *> made;
   std::map<String, TraceLevels> wanted;
};

Facilities &facilities() {
   static Facilities &all = *new Facilities;
   return all;
}

TraceSink &sink() {
   static TraceSink &current = *new TraceSink;
   return current;
}

void writeLine( std::ostream &out, const TraceRecord &record ) {
   out << record.facility.name() << ' ' << record.level << ' ' << record.source << ':'
       << record.line << ' ' << record.function << ": " << record.message << std::endl;
}

U32 oneLevel( StringIterator &at, StringIterator end ) {
   return static_cast<U32>( sequenceToNumber( at, end, 9, "a trace level" ) );
}

} // namespace

TraceHandle::TraceHandle( const String &name, bool on )
      : TraceSwitches( on ? kAllTraceLevels : 0 ), name_( name ) {
   Facilities &all = facilities();
   const std::lock_guard lock( all.mutex );
   all.made.push_back( this );
   isCoveredIs( coverageStream.get() != nullptr );
   if( const auto wanted = all.wanted.find( name ); wanted != all.wanted.end() ) {
      levelsIs( wanted->second );
   }
}

TraceHandle::~TraceHandle() {
   Facilities &all = facilities();
   const std::lock_guard lock( all.mutex );
   std::erase( all.made, this );
}

CoverageStream &CoverageStream::operator=( std::ostream *stream ) {
   Facilities &all = facilities();
   const std::lock_guard lock( all.mutex );
   stream_ = stream;
   for( TraceHandle *const handle : all.made ) {
      handle->isCoveredIs( stream != nullptr );
   }
   return *this;
}

void traceLevelsIs( const String &facility, TraceLevels levels ) {
   Facilities &all = facilities();
   const std::lock_guard lock( all.mutex );
   all.wanted[facility] = levels;
   for( TraceHandle *const handle : all.made ) {
      if( handle->name() == facility ) {
         handle->levelsIs( levels );
      }
   }
}

TraceLevels traceLevels( const String &text ) {
   if( text == "none" ) {
      return 0;
   }
   if( text == "all" ) {
      return kAllTraceLevels;
   }
   TraceLevels levels = 0;
   StringIterator at = text.begin();
   while( true ) {
      const U32 from = oneLevel( at, text.end() );
      U32 to = from;
      if( at != text.end() && *at == '-' ) {
         to = oneLevel( ++at, text.end() );
      }
      if( to < from ) {
         throw RangeException( "trace levels " + std::to_string( from ) + "-" +
                               std::to_string( to ) + " run backwards" );
      }
      for( U32 level = from; level <= to; ++level ) {
         levels |= 1u << level;
      }
      if( at == text.end() ) {
         return levels;
      }
      needString( at, text.end(), "," );
   }
}

void traceSinkIs( TraceSink wanted ) {
   sink() = std::move( wanted );
}

void traceHelper( const TraceHandle &facility, const char *context, const String &message,
                  U32 level, bool live, const char *source, U32 line, const char *function ) {
   const TraceRecord record{ facility, context, message, level, source, line, function };
   if( !live ) {
      if( std::ostream *const stream = coverageStream.get() ) {
         writeLine( *stream, record );
      }
   } else if( sink() ) {
      sink()( record );
   } else {
      writeLine( std::cerr, record );
   }
}

Trace::Message *Trace::start( const TraceHandle &facility, U32 level, const char *source, U32 line,
                              const char *function ) noexcept {
   try {
      auto message = std::unique_ptr<Message>(
            new Message{ facility, level, facility.isLive( level ), source, line, function } );
      message->text.precision( 12 );
      return message.release();
   } catch( const std::bad_alloc & ) { // then without it
      return nullptr;
   }
}

Trace::Message *Trace::start( TraceFacility &facility, U32 level, const char *source, U32 line,
                              const char *function ) {
   const TraceHandle &made = facility.get();
   return made.isWanted( level ) ? start( made, level, source, line, function ) : nullptr;
}

void Trace::emit() noexcept {
   const std::unique_ptr<Message> message( message_ );
   try {
      traceHelper( message->facility, "<unknown>", message->text.str(), message->level,
                   message->live, message->source, message->line, message->function );
   } catch( const std::bad_alloc & ) { // not worth a stop
   }
}

} // namespace Quor
