#include "agent/control/Tracing.h"

#include "quor/Exception.h"
#include "text/Nearest.h"

#include <algorithm>
#include <iostream>

namespace OrloAgent {

namespace {

void needFacility( const std::string &facility ) {
   const auto &names = Tracing::facilities();
   if( std::find( names.begin(), names.end(), facility ) == names.end() ) {
      throw Quor::RangeException( "no trace facility " + facility +
                                  OrloText::didYouMean( facility, names ) );
   }
}

} // namespace

class Tracing::Follower : public Following {
 public:
   Follower( Tracing &tracing, std::string facility, Quor::TraceLevels levels,
             ControlHandler::Emit emit )
         : facility_( std::move( facility ) ), levels_( levels ), emit_( std::move( emit ) ),
           tracing_( tracing ) {
      tracing_.followers_.push_back( this );
      tracing_.apply( facility_ );
   }
   ~Follower() override {
      tracing_.followers_.remove( this );
      tracing_.apply( facility_ );
   }

   bool wants( const std::string &facility, Quor::U32 level ) const {
      return facility == facility_ && ( levels_ >> level & 1 ) != 0;
   }
   const std::string &facility() const noexcept { return facility_; }
   Quor::TraceLevels levels() const noexcept { return levels_; }
   void tell( const nlohmann::json &event ) const { emit_( event ); }

 private:
   const std::string facility_;
   const Quor::TraceLevels levels_;
   const ControlHandler::Emit emit_;
   Tracing &tracing_;
};

const std::vector<std::string_view> &Tracing::facilities() {
   static const std::vector<std::string_view> names{ "OrloVrrp",
                                                     "OrloVrrpPrivateVlanReflectorLib" };
   return names;
}

Tracing::Tracing( Clock clock ) : clock_( std::move( clock ) ) {
   Quor::traceSinkIs( [this]( const Quor::TraceRecord &record ) { sink( record ); } );
}

Tracing::~Tracing() {
   for( const auto &[facility, levels] : own_ ) {
      Quor::traceLevelsIs( facility, 0 );
   }
   Quor::traceSinkIs( {} );
}

void Tracing::levelsAre( const std::string &facility, const std::string &levels ) {
   needFacility( facility );
   own_[facility] = Quor::traceLevels( levels );
   apply( facility );
}

std::unique_ptr<Following> Tracing::follow( const std::string &facility, const std::string &levels,
                                            ControlHandler::Emit emit ) {
   needFacility( facility );
   return std::make_unique<Follower>( *this, facility, Quor::traceLevels( levels ),
                                      std::move( emit ) );
}

void Tracing::apply( const std::string &facility ) {
   const auto own = own_.find( facility );
   Quor::TraceLevels levels = own == own_.end() ? 0 : own->second;
   for( const Follower *const follower : followers_ ) {
      levels |= follower->facility() == facility ? follower->levels() : 0;
   }
   Quor::traceLevelsIs( facility, levels );
}

void Tracing::sink( const Quor::TraceRecord &record ) {
   if( isTelling_ ) { // a trace out of the telling of a trace
      return;
   }
   isTelling_ = true;
   const std::string &facility = record.facility.name();
   const auto own = own_.find( facility );
   if( own != own_.end() && ( own->second >> record.level & 1 ) != 0 ) {
      std::cerr << facility << " " << record.level << " " << record.source << ":" << record.line
                << " " << record.function << ": " << record.message << std::endl;
   }
   for( const Follower *const follower : followers_ ) {
      if( follower->wants( facility, record.level ) ) {
         follower->tell( { { "at", timeText( clock_() ) },
                           { "facility", facility },
                           { "level", record.level },
                           { "source", record.source },
                           { "line", record.line },
                           { "function", record.function },
                           { "message", record.message } } );
      }
   }
   isTelling_ = false;
}

} // namespace OrloAgent
