// A reactor hears through its listener, as long as the listener is awake and has an owner.
#include "quor/Reactor.h"
#include "platform/HardwareStatus.h"

#include <gtest/gtest.h>

#include <vector>

namespace Quor {
namespace {

using Routing::Fhrp::Hardware::Status;

class Gauge;

class QuorStatus : public Reactor<Status, Gauge> {
 public:
   using Reactor::ownerIs;
   using Reactor::Reactor;
   void onVirtualRouterCount() override;
};

/// Follows the size of the hardware; lets go of itself on request.
class Gauge : public PtrInterface {
 public:
   explicit Gauge( const Ptr<Status> &status, std::vector<String> &log )
         : listener_( make<QuorStatus>( this ) ), log_( log ) {
      listener_->notifierIs( status );
      listener_->isRegisteredNotifieeIs( true );
   }
   ~Gauge() override {
      listener_->ownerIs( nullptr );
      log_.push_back( "the gauge is destroyed" );
   }

   const Ptr<QuorStatus> &listener() const { return listener_; }
   void ownPointerIs( Ptr<Gauge> *pointer ) { own_ = pointer; }
   void handleVirtualRouterCount() {
      if( own_ ) {
         *own_ = nullptr;
      }
      log_.push_back( "now " + std::to_string( listener_->notifier()->virtualRouterCount() ) );
   }

 private:
   const Ptr<QuorStatus> listener_;
   std::vector<String> &log_;
   Ptr<Gauge> *own_ = nullptr;
};

void QuorStatus::onVirtualRouterCount() {
   if( const Ptr<Gauge> gauge = awakeOwner() ) {
      gauge->handleVirtualRouterCount();
   }
}

struct GaugedStatus {
   std::vector<String> log;
   Ptr<Status> status = make<Status>();
   Ptr<Gauge> gauge = make<Gauge>( status, log );
   Ptr<QuorStatus> listener = gauge->listener();
};

TEST( Reactor, AnAwakeListenerPassesWhatItHearsToItsOwner ) {
   GaugedStatus gauged;
   EXPECT_FALSE( gauged.listener->isZombie() );
   gauged.status->virtualRouterCountIs( 4 );
   EXPECT_EQ( gauged.log, std::vector<String>{ "now 4" } );
}

TEST( Reactor, AZombiePassesNothingOnUntilItIsWokenUp ) {
   GaugedStatus gauged;
   gauged.listener->quorDoZombieReactors( true );
   EXPECT_TRUE( gauged.listener->isZombie() );
   gauged.status->virtualRouterCountIs( 4 );
   EXPECT_EQ( gauged.log, std::vector<String>() );
   gauged.listener->quorDoZombieReactors( false );
   EXPECT_FALSE( gauged.listener->isZombie() );
   gauged.status->virtualRouterCountIs( 5 );
   EXPECT_EQ( gauged.log, std::vector<String>{ "now 5" } );
}

TEST( Reactor, TheListenerOutlivesItsOwnerAndFallsSilent ) {
   GaugedStatus gauged;
   gauged.gauge = nullptr;
   EXPECT_EQ( gauged.log, std::vector<String>{ "the gauge is destroyed" } );
   gauged.status->virtualRouterCountIs( 4 );
   EXPECT_EQ( gauged.log, std::vector<String>{ "the gauge is destroyed" } );
}

TEST( Reactor, TheOwnerIsKeptAliveForTheCallOfItsHandler ) {
   GaugedStatus gauged;
   gauged.gauge->ownPointerIs( &gauged.gauge );
   gauged.status->virtualRouterCountIs( 4 );
   EXPECT_EQ( gauged.log, ( std::vector<String>{ "now 4", "the gauge is destroyed" } ) );
}

} // namespace
} // namespace Quor
