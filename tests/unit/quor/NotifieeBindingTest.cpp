// The binding of a watcher to its entity: moved, counted or not, and safe whichever side goes
// first.
#include "tests/unit/quor/StatusWatcher.h"
#include "tests/unit/support/DeathReport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace Quor {
namespace {

using Routing::Fhrp::Hardware::Status;

TEST( NotifieeBinding, AWatcherStartsUnboundAndUnregistered ) {
   Log log;
   const Ptr<StatusWatcher> watcher = make<StatusWatcher>( log, "A" );
   EXPECT_EQ( watcher->notifier().get(), nullptr );
   EXPECT_FALSE( watcher->isRegisteredNotifiee() );
}

TEST( NotifieeBinding, ReBindingLeavesTheFormerEntityForTheNewOneAndStaysRegistered ) {
   WatchedStatus watched;
   const Ptr<Status> other = make<Status>();
   watched.b->notifierIs( other );
   EXPECT_EQ( watched.b->notifier().get(), other.get() );
   EXPECT_TRUE( watched.b->isRegisteredNotifiee() );
   EXPECT_EQ( watched.status->notifieeCount(), 2u );
   EXPECT_EQ( other->notifieeCount(), 1u );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "C hears 1" } ) );
   other->virtualRouterCountIs( 7 );
   EXPECT_EQ( watched.log, Log{ "B hears 7" } );
}

TEST( NotifieeBinding, ReBindingAnUnregisteredWatcherLeavesItUnregistered ) {
   WatchedStatus watched;
   const Ptr<Status> other = make<Status>();
   watched.b->isRegisteredNotifieeIs( false );
   watched.b->notifierIs( other );
   EXPECT_EQ( other->notifieeCount(), 0u );
   EXPECT_FALSE( watched.b->isRegisteredNotifiee() );
}

TEST( NotifieeBinding, BindingToTheSameEntityAgainDoesNothing ) {
   for( const Binding binding : { Binding::counted, Binding::uncounted } ) {
      SCOPED_TRACE( binding == Binding::counted ? "counted" : "uncounted" );
      WatchedStatus watched( binding );
      if( binding == Binding::counted ) {
         watched.a->notifierIs( watched.status );
      } else {
         watched.a->uncountedNotifierIs( watched.status );
      }
      EXPECT_EQ( watched.status->notifieeCount(), 3u );
      EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 1", "C hears 1" } ) );
      watched.a = nullptr;
      watched.status->virtualRouterCountIs( 2 ); // nothing of A is left behind
      EXPECT_EQ( watched.log, ( Log{ "A is destroyed", "B hears 2", "C hears 2" } ) );
   }
}

TEST( NotifieeBinding, UnboundAWatcherHearsNothingAndStaysRegistered ) {
   WatchedStatus watched;
   watched.a->notifierIs( nullptr );
   EXPECT_EQ( watched.a->notifier().get(), nullptr );
   EXPECT_TRUE( watched.a->isRegisteredNotifiee() );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "B hears 1", "C hears 1" } ) );
   watched.a->notifierIs( watched.status );
   EXPECT_EQ( watched.changeTo( 2 ), ( Log{ "B hears 2", "C hears 2", "A hears 2" } ) );
}

TEST( NotifieeBinding, AWatcherRegisteredWithoutAnEntityJoinsWhenItIsBound ) {
   Log log;
   const Ptr<Status> status = make<Status>();
   const Ptr<StatusWatcher> watcher = make<StatusWatcher>( log, "A" );
   watcher->isRegisteredNotifieeIs( true );
   EXPECT_TRUE( watcher->isRegisteredNotifiee() );
   watcher->notifierIs( status );
   EXPECT_EQ( status->notifieeCount(), 1u );
   status->virtualRouterCountIs( 1 );
   EXPECT_EQ( log, Log{ "A hears 1" } );
}

TEST( NotifieeBinding, ACountedBindingKeepsTheEntityAlive ) {
   Log log;
   Ptr<StatusWatcher> watcher = make<StatusWatcher>( log, "A" );
   watcher->notifierIs( make<LoggedStatus>( log ) );
   EXPECT_EQ( log, Log() );
   ASSERT_TRUE( watcher->notifier() );
   watcher->notifierIs( nullptr );
   EXPECT_EQ( log, Log{ "the status is destroyed" } );
}

TEST( NotifieeBinding, AWatcherThatGoesTakesTheEntityThatOnlyItHeldWithIt ) {
   Log log;
   Ptr<StatusWatcher> watcher = make<StatusWatcher>( log, "A" );
   watcher->notifierIs( make<LoggedStatus>( log ) );
   watcher->isRegisteredNotifieeIs( true );
   watcher = nullptr;
   std::sort( log.begin(), log.end() );
   EXPECT_EQ( log, ( Log{ "A is destroyed", "the status is destroyed" } ) );
}

TEST( NotifieeBinding, AWatcherThatGoesLeavesTheListOfItsEntity ) {
   for( const Binding binding : { Binding::counted, Binding::uncounted } ) {
      SCOPED_TRACE( binding == Binding::counted ? "counted" : "uncounted" );
      WatchedStatus watched( binding );
      watched.b = nullptr;
      EXPECT_EQ( watched.status->notifieeCount(), 2u );
      EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "C hears 1" } ) );
   }
}

TEST( NotifieeBinding, AnUncountedBindingLetsTheEntityGoAndIsTakenBack ) {
   WatchedStatus watched( Binding::uncounted );
   watched.status = nullptr;
   EXPECT_EQ( watched.log, ( Log{ "A hears goodbye to 0", "B hears goodbye to 0",
                                  "C hears goodbye to 0", "the status is destroyed" } ) );
   EXPECT_EQ( watched.a->notifier().get(), nullptr );
   EXPECT_EQ( watched.b->notifier().get(), nullptr );
   EXPECT_EQ( watched.c->notifier().get(), nullptr );
   EXPECT_TRUE( watched.a->isRegisteredNotifiee() );
}

TEST( NotifieeBinding, AnUnregisteredWatcherIsNotToldThatTheEntityGoesButUnboundAllTheSame ) {
   WatchedStatus watched( Binding::uncounted );
   watched.b->isRegisteredNotifieeIs( false );
   watched.status = nullptr;
   EXPECT_EQ( watched.log, ( Log{ "A hears goodbye to 0", "C hears goodbye to 0",
                                  "the status is destroyed" } ) );
   EXPECT_EQ( watched.b->notifier().get(), nullptr );
}

TEST( NotifieeBinding, WhoFailsToSayGoodbyeIsToldSoAndTheOthersSayIt ) {
   WatchedStatus watched( Binding::uncounted );
   watched.a->farewellIs( [] { throw std::runtime_error( "no words" ); } );
   watched.status = nullptr;
   EXPECT_EQ( watched.log, ( Log{ "A hears goodbye to 0", "A hears of its failure in 5: no words",
                                  "B hears goodbye to 0", "C hears goodbye to 0",
                                  "the status is destroyed" } ) );
}

TEST( NotifieeBinding, AWatcherReleasedDuringTheGoodbyesIsSkipped ) {
   WatchedStatus watched( Binding::uncounted );
   watched.a->farewellIs( [&] { watched.b = nullptr; } );
   watched.status = nullptr;
   EXPECT_EQ( watched.log, ( Log{ "A hears goodbye to 0", "B is destroyed", "C hears goodbye to 0",
                                  "the status is destroyed" } ) );
}

TEST( NotifieeBinding, TheEntityIsStillWholeDuringTheGoodbyesAndMayBeChanged ) {
   WatchedStatus watched( Binding::uncounted );
   watched.b->farewellIs( [&] {
      watched.b->farewellIs( {} );
      const Ptr<const Status> passing = watched.b->notifier();
      const_cast<Status &>( *passing ).virtualRouterCountIs( 9 );
   } );
   watched.status = nullptr;
   EXPECT_EQ( watched.log,
              ( Log{ "A hears goodbye to 0", "B hears goodbye to 0", "A hears 9", "B hears 9",
                     "C hears 9", "C hears goodbye to 9", "the status is destroyed" } ) );
}

TEST( NotifieeBinding, AWatcherLeavesForAnotherEntityInItsGoodbye ) {
   WatchedStatus watched( Binding::uncounted );
   const Ptr<Status> other = make<Status>();
   watched.a->farewellIs( [&] { watched.a->notifierIs( other ); } );
   watched.status = nullptr;
   EXPECT_EQ( watched.a->notifier().get(), other.get() );
   EXPECT_EQ( other->notifieeCount(), 1u );
}

/// Changes itself while it is being destroyed.
class RestlessStatus : public Status {
 public:
   ~RestlessStatus() override { virtualRouterCountIs( 99 ); }
};

TEST( NotifieeBinding, BindingsAreTakenBackBeforeTheDestructorOfTheEntityRuns ) {
   Log log;
   const Ptr<StatusWatcher> watcher = make<StatusWatcher>( log, "A" );
   watcher->isRegisteredNotifieeIs( true );
   watcher->uncountedNotifierIs( make<RestlessStatus>() );
   EXPECT_EQ( log, Log{ "A hears goodbye to 0" } );
}

TEST( NotifieeBinding, TheEntityOnTheStackTakesBackItsBindingsToo ) {
   Log log;
   const Ptr<StatusWatcher> watcher = make<StatusWatcher>( log, "A" );
   watcher->isRegisteredNotifieeIs( true );
   {
      LoggedStatus status( log );
      watcher->uncountedNotifierIs( ptrTo( status ) );
      EXPECT_EQ( watcher->notifier().get(), &status );
   }
   EXPECT_EQ( watcher->notifier().get(), nullptr );
}

TEST( NotifieeBinding, ACountedBindingThatStopsCountingLetsTheEntityGo ) {
   WatchedStatus watched;
   watched.b = nullptr;
   watched.c = nullptr;
   watched.log.clear();
   watched.a->uncountedNotifierIs( watched.status );
   EXPECT_EQ( watched.status->notifieeCount(), 1u );
   watched.status = nullptr;
   EXPECT_EQ( watched.log, ( Log{ "A hears goodbye to 0", "the status is destroyed" } ) );
   EXPECT_EQ( watched.a->notifier().get(), nullptr );
}

TEST( NotifieeBinding, TheLastCountedBindingStopsCounting ) {
   WatchedStatus watched;
   watched.b->notifierIs( nullptr );
   watched.c->notifierIs( nullptr );
   watched.status = nullptr;
   EXPECT_EQ( watched.log, Log() );
   watched.a->uncountedNotifierIs( watched.a->notifier() );
   EXPECT_EQ( watched.log, ( Log{ "A hears goodbye to 0", "the status is destroyed" } ) );
   EXPECT_EQ( watched.a->notifier().get(), nullptr );
}

TEST( NotifieeBinding, AnUncountedBindingThatStartsToCountKeepsTheEntityAlive ) {
   WatchedStatus watched( Binding::uncounted );
   watched.b->notifierIs( watched.status );
   watched.status = nullptr;
   EXPECT_EQ( watched.log, Log() );
   ASSERT_TRUE( watched.b->notifier() );
   EXPECT_EQ( watched.b->notifier()->notifieeCount(), 3u );
   const_cast<Status &>( *watched.b->notifier() ).virtualRouterCountIs( 1 );
   EXPECT_EQ( std::exchange( watched.log, {} ), ( Log{ "A hears 1", "B hears 1", "C hears 1" } ) );
   watched.b->notifierIs( nullptr );
   EXPECT_EQ( watched.log, ( Log{ "A hears goodbye to 1", "C hears goodbye to 1",
                                  "the status is destroyed" } ) );
}

TEST( NotifieeBinding, ReBindingAnUncountedWatcherLeavesNothingBehind ) {
   WatchedStatus watched( Binding::uncounted );
   const Ptr<Status> other = make<Status>();
   watched.a->uncountedNotifierIs( other );
   watched.status = nullptr;
   EXPECT_EQ( watched.log, ( Log{ "B hears goodbye to 0", "C hears goodbye to 0",
                                  "the status is destroyed" } ) );
   EXPECT_EQ( watched.a->notifier().get(), other.get() );
}

/// Changes the status while it is being destroyed.
class Restless : public StatusWatcher {
 public:
   Restless( Log &log, Ptr<Status> status )
         : StatusWatcher( log, "restless" ), status_( std::move( status ) ) {
      notifierIs( status_ );
      isRegisteredNotifieeIs( true );
   }
   ~Restless() override {
      EXPECT_EQ( status_->notifieeCount(), 3u );
      status_->virtualRouterCountIs( 99 );
   }

 private:
   const Ptr<Status> status_;
};

TEST( NotifieeBinding, AWatcherHasLeftBeforeItsDestructorRuns ) {
   WatchedStatus watched;
   Ptr<Restless> restless = make<Restless>( watched.log, watched.status );
   restless = nullptr;
   EXPECT_EQ( watched.log,
              ( Log{ "A hears 99", "B hears 99", "C hears 99", "restless is destroyed" } ) );
}

TEST( NotifieeBinding, AWritingWatcherMovesToAnotherEntity ) {
   class Writer : public Status::Notifiee {};
   const Ptr<Status> first = make<Status>();
   const Ptr<Status> second = make<Status>();
   const Ptr<Writer> writer = make<Writer>();
   writer->notifierIs( first );
   writer->notifierIs( second );
   writer->notifier()->virtualRouterCountIs( 5 );
   EXPECT_EQ( first->virtualRouterCount(), 0u );
   EXPECT_EQ( second->virtualRouterCount(), 5u );
}

TEST( NotifieeBinding, AWatcherBoundAsAReaderCannotWrite ) {
   class Writer : public Status::Notifiee {};
   const Ptr<Status> first = make<Status>();
   const Ptr<Status> second = make<Status>();
   const Ptr<Writer> writer = make<Writer>();
   writer->notifierIs( first );
   Status::NotifieeConst &reader = *writer;
   reader.notifierIs( second );
   EXPECT_EQ( reader.notifier().get(), second.get() );
   EXPECT_EQ( writer->notifier().get(), nullptr );
}

TEST( NotifieeBinding, AWritingWatcherWithoutAShareInItsEntityCanWriteToo ) {
   class Writer : public Status::Notifiee {};
   Ptr<Status> status = make<Status>();
   const Ptr<Writer> writer = make<Writer>();
   writer->uncountedNotifierIs( status );
   ASSERT_TRUE( writer->notifier() );
   writer->notifier()->virtualRouterCountIs( 5 );
   EXPECT_EQ( status->virtualRouterCount(), 5u );
   status = nullptr;
   EXPECT_EQ( writer->notifier().get(), nullptr );
}

/// Registers itself when it is too late.
class TooLate : public Status::NotifieeConst {
 public:
   ~TooLate() override { isRegisteredNotifieeIs( true ); }
};

TEST( NotifieeBindingDeathTest, OnlyAWatcherThatSomebodyHoldsCanRegister ) {
   EXPECT_DEATH( make<TooLate>(),
                 Support::assertionReport( "QuorNotifiee",
                                           "void Quor::NotifieeConst::isRegisteredNotifieeIs(bool)",
                                           "isHeld()" ) );
}

} // namespace
} // namespace Quor
