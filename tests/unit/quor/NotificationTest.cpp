// A change is told to everybody who is registered, at once and in order.
#include "tests/unit/quor/StatusWatcher.h"

#include <gtest/gtest.h>

namespace Quor {
namespace {

using Routing::Fhrp::Hardware::Status;

TEST( Notification, AChangeIsToldInTheOrderOfRegistration ) {
   WatchedStatus watched;
   EXPECT_EQ( watched.changeTo( 3 ), ( Log{ "A hears 3", "B hears 3", "C hears 3" } ) );
}

TEST( Notification, IsDeliveredInsideTheCallThatMakesTheChange ) {
   WatchedStatus watched;
   watched.log = { "before" };
   watched.status->virtualRouterCountIs( 3 );
   watched.log.push_back( "after" );
   EXPECT_EQ( watched.log, ( Log{ "before", "A hears 3", "B hears 3", "C hears 3", "after" } ) );
}

TEST( Notification, TheSameValueAgainIsNoChange ) {
   WatchedStatus watched;
   EXPECT_EQ( watched.changeTo( 0 ), Log() );
   watched.changeTo( 3 );
   EXPECT_EQ( watched.changeTo( 3 ), Log() );
   EXPECT_EQ( watched.changeTo( 0 ), ( Log{ "A hears 0", "B hears 0", "C hears 0" } ) );
}

TEST( Notification, WithoutWatchersAChangeIsJustMade ) {
   const Ptr<Status> status = make<Status>();
   status->virtualRouterCountIs( 3 );
   EXPECT_EQ( status->virtualRouterCount(), 3u );
   EXPECT_EQ( status->notifieeCount(), 0u );
}

TEST( Notification, AWatcherThatIsOnlyBoundHearsNothing ) {
   WatchedStatus watched;
   watched.b->isRegisteredNotifieeIs( false );
   EXPECT_EQ( watched.changeTo( 3 ), ( Log{ "A hears 3", "C hears 3" } ) );
   EXPECT_EQ( watched.b->notifier().get(), watched.status.get() );
}

TEST( Notification, ARegisteredWatcherStandsInTheListOnce ) {
   WatchedStatus watched;
   EXPECT_EQ( watched.status->notifieeCount(), 3u );
   watched.a->isRegisteredNotifieeIs( true );
   EXPECT_EQ( watched.status->notifieeCount(), 3u );
   EXPECT_EQ( watched.changeTo( 3 ), ( Log{ "A hears 3", "B hears 3", "C hears 3" } ) );
}

TEST( Notification, UnregisteringTwiceIsUnregisteringOnce ) {
   WatchedStatus watched;
   watched.a->isRegisteredNotifieeIs( false );
   EXPECT_FALSE( watched.a->isRegisteredNotifiee() );
   watched.a->isRegisteredNotifieeIs( false );
   EXPECT_EQ( watched.status->notifieeCount(), 2u );
   watched.a->isRegisteredNotifieeIs( true );
   EXPECT_TRUE( watched.a->isRegisteredNotifiee() );
   EXPECT_EQ( watched.status->notifieeCount(), 3u );
}

TEST( Notification, WhoRegistersAgainIsToldLast ) {
   WatchedStatus watched;
   watched.a->isRegisteredNotifieeIs( false );
   watched.a->isRegisteredNotifieeIs( true );
   EXPECT_EQ( watched.changeTo( 3 ), ( Log{ "B hears 3", "C hears 3", "A hears 3" } ) );
}

TEST( Notification, IsSwitchedOnAndOffAsTheReactionToChanges ) {
   WatchedStatus watched;
   watched.b->hasNotificationActiveIs( false );
   EXPECT_FALSE( watched.b->isRegisteredNotifiee() );
   EXPECT_EQ( watched.changeTo( 3 ), ( Log{ "A hears 3", "C hears 3" } ) );
   watched.b->hasNotificationActiveIs( true );
   EXPECT_EQ( watched.changeTo( 4 ), ( Log{ "A hears 4", "C hears 4", "B hears 4" } ) );
}

TEST( Notification, ReachesAWatcherOnTheStackForItsScope ) {
   WatchedStatus watched;
   {
      StatusWatcher local( watched.log, "local" );
      local.notifierIs( watched.status );
      local.isRegisteredNotifieeIs( true );
      EXPECT_EQ( watched.changeTo( 3 ),
                 ( Log{ "A hears 3", "B hears 3", "C hears 3", "local hears 3" } ) );
   }
   EXPECT_EQ( watched.status->notifieeCount(), 3u );
   EXPECT_EQ( watched.changeTo( 4 ), ( Log{ "A hears 4", "B hears 4", "C hears 4" } ) );
}

TEST( Notification, ReachesTheWatchersOfAnEntityOnTheStack ) {
   Log log;
   LoggedStatus status( log );
   {
      const Ptr<StatusWatcher> a = make<StatusWatcher>( log, "A" );
      a->notifierIs( ptrTo( status ) );
      a->isRegisteredNotifieeIs( true );
      status.virtualRouterCountIs( 3 );
   }
   EXPECT_EQ( log, ( Log{ "A hears 3", "A is destroyed" } ) );
}

TEST( Notification, ManyWatchersAreAllToldInOrder ) {
   for( const int count : { 4, 5, 6, 40 } ) {
      Log log;
      const Ptr<Status> status = make<Status>();
      std::vector<Ptr<StatusWatcher>> watchers;
      Log expected;
      for( int i = 0; i < count; ++i ) {
         watchers.push_back( make<StatusWatcher>( log, std::to_string( i ) ) );
         watchers.back()->notifierIs( status );
         watchers.back()->isRegisteredNotifieeIs( true );
         expected.push_back( std::to_string( i ) + " hears 3" );
      }
      status->virtualRouterCountIs( 3 );
      EXPECT_EQ( log, expected ) << count << " watchers";
      log.clear();
      watchers.clear();
      EXPECT_EQ( status->notifieeCount(), 0u ) << count << " watchers";
   }
}

TEST( Notification, AWatcherThatIsInterestedInNothingIsPassedOver ) {
   class Indifferent : public Status::NotifieeConst {};
   WatchedStatus watched;
   const Ptr<Indifferent> indifferent = make<Indifferent>();
   indifferent->notifierIs( watched.status );
   indifferent->isRegisteredNotifieeIs( true );
   watched.a->isRegisteredNotifieeIs( false );
   watched.a->isRegisteredNotifieeIs( true ); // now behind the indifferent one
   EXPECT_EQ( watched.status->notifieeCount(), 4u );
   EXPECT_EQ( watched.changeTo( 3 ), ( Log{ "B hears 3", "C hears 3", "A hears 3" } ) );
}

TEST( Notification, AWatcherThatMayWriteChangesWhatItWatches ) {
   class Doubler : public Status::Notifiee {
    public:
      void onVirtualRouterCount() override {
         if( const Ptr<Status> status = notifier(); status->virtualRouterCount() < 100 ) {
            status->virtualRouterCountIs( 2 * status->virtualRouterCount() );
         }
      }
   };
   const Ptr<Status> status = make<Status>();
   const Ptr<Doubler> doubler = make<Doubler>();
   EXPECT_EQ( doubler->notifier().get(), nullptr );
   doubler->notifierIs( status );
   EXPECT_EQ( doubler->notifier().get(), status.get() );
   doubler->isRegisteredNotifieeIs( true );
   status->virtualRouterCountIs( 30 );
   EXPECT_EQ( status->virtualRouterCount(), 120u );
   doubler->notifierIs( Ptr<Status>() );
   EXPECT_EQ( doubler->notifier().get(), nullptr );
   EXPECT_EQ( status->notifieeCount(), 0u );
}

/// An entity that tells each of its watchers something else.
class Lottery : public Entity {
 public:
   class NotifieeConst : public NotifieeConstOf<Lottery> {
    public:
      virtual void onDraw( U32 ) {}
   };

   void draw( U32 first ) const {
      U32 number = first;
      notifyEach( 777, [&number]( Quor::NotifieeConst &watcher ) {
         static_cast<NotifieeConst &>( watcher ).onDraw( number++ );
      } );
   }
};

TEST( Notification, AnEntityMayDecideWhatEachWatcherIsTold ) {
   class Player : public Lottery::NotifieeConst {
    public:
      explicit Player( Log &log ) : log_( log ) {}
      void onDraw( U32 number ) override {
         log_.push_back( std::to_string( number ) );
         throw number;
      }
      void onNotificationException( AttrId id ) override {
         log_.push_back( "failed in " + std::to_string( id ) );
      }

    private:
      Log &log_;
   };
   Log log;
   const Ptr<Lottery> lottery = make<Lottery>();
   Player first( log );
   Player second( log );
   for( Player *const player : { &first, &second } ) {
      player->notifierIs( lottery );
      player->isRegisteredNotifieeIs( true );
   }
   lottery->draw( 5 );
   EXPECT_EQ( log, ( Log{ "5", "failed in 777", "6", "failed in 777" } ) );
}

} // namespace
} // namespace Quor
