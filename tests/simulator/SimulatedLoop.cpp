#include "tests/simulator/SimulatedLoop.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace Simulator {

struct SimulatedLoop::Source final : Subscription::Source {
   Source( SimulatedLoop &of, int readable, std::optional<Instant> at, Callback what )
         : loop( of ), number( ++of.numbers_ ), fd( readable ), due( at ),
           callback( std::move( what ) ) {
      loop.sources_.emplace( number, this );
   }
   ~Source() override { loop.sources_.erase( number ); }

   bool isDue() const { return due ? *due <= loop.now_ : fd >= 0 && loop.isReadable_( fd ); }

   SimulatedLoop &loop;
   const U64 number;
   int fd;
   std::optional<Instant> due;
   const Callback callback;
};

SimulatedLoop::Subscription SimulatedLoop::onReadable( int fd, Callback callback ) {
   return Subscription(
         std::make_unique<Source>( *this, fd, std::nullopt, std::move( callback ) ) );
}

SimulatedLoop::Subscription SimulatedLoop::after( std::chrono::microseconds delay,
                                                  Callback callback ) {
   return Subscription(
         std::make_unique<Source>( *this, -1, now_ + delay, std::move( callback ) ) );
}

bool SimulatedLoop::runOne() {
   std::vector<Source *> due;
   for( const auto &[number, source] : sources_ ) {
      if( source->isDue() ) {
         due.push_back( source );
      }
   }
   if( due.empty() ) {
      return false;
   }
   Source &source = *random_.pick( due );
   const Callback callback = source.callback; // outlives a subscription that it ends itself
   if( source.due ) {
      source.due = Instant::max();
   }
   ++calls_;
   callback();
   return true;
}

Instant SimulatedLoop::next() const {
   Instant next = Instant::max();
   for( const auto &[number, source] : sources_ ) {
      next = std::min( next, source->due.value_or( Instant::max() ) );
   }
   return next;
}

} // namespace Simulator
