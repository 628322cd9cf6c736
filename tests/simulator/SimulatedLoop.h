// The event loop of a history: nothing is waited for, time goes on when somebody says so.
#ifndef TESTS_SIMULATOR_SIMULATEDLOOP_H
#define TESTS_SIMULATOR_SIMULATEDLOOP_H

#include "agent/Clock.h"
#include "agent/Events.h"
#include "tests/simulator/Random.h"

#include <map>

namespace Simulator {

using OrloAgent::Instant;

/// Calls one callback at a time; which of several that are due is the history's decision.
class SimulatedLoop final : public OrloAgent::Events {
 public:
   using IsReadable = std::function<bool( int fd )>;

   SimulatedLoop( Random &random, IsReadable isReadable )
         : random_( random ), isReadable_( std::move( isReadable ) ) {}

   Subscription onReadable( int fd, Callback callback ) override;
   Subscription after( std::chrono::microseconds delay, Callback callback ) override;

   Instant now() const noexcept { return now_; }
   /// Time goes on, without anybody being called.
   void pass( Instant::duration time ) { now_ += time; }
   /// One of those that are due now; false when there is none.
   bool runOne();
   /// When the next timer is due; Instant::max() without any.
   Instant next() const;
   /// How many are waiting for anything.
   std::size_t subscriptions() const noexcept { return sources_.size(); }
   Quor::U64 calls() const noexcept { return calls_; }

 private:
   struct Source;

   Random &random_;
   const IsReadable isReadable_;
   Instant now_{ std::chrono::hours( 1 ) };
   U64 numbers_ = 0;
   std::map<U64, Source *> sources_; // in the order in which they came: not that of addresses
   U64 calls_ = 0;
};

} // namespace Simulator

#endif
