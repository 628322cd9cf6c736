// Whatever the watchers do while a change is being told, everybody who should hear of it does.
#include "tests/unit/quor/StatusWatcher.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Quor {
namespace {

using Routing::Fhrp::Hardware::Status;

TEST( NotificationDisruption, AWatcherUnregistersItself ) {
   WatchedStatus watched;
   watched.b->reactionIs( [&] { watched.b->isRegisteredNotifieeIs( false ); } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 1", "C hears 1" } ) );
   EXPECT_EQ( watched.changeTo( 2 ), ( Log{ "A hears 2", "C hears 2" } ) );
}

TEST( NotificationDisruption, AWatcherUnregistersOneBeforeIt ) {
   WatchedStatus watched;
   watched.b->reactionIs( [&] { watched.a->isRegisteredNotifieeIs( false ); } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 1", "C hears 1" } ) );
   EXPECT_EQ( watched.changeTo( 2 ), ( Log{ "B hears 2", "C hears 2" } ) );
}

TEST( NotificationDisruption, AWatcherUnregistersOneAfterItWhichIsStillHeldAndStillHears ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] { watched.b->isRegisteredNotifieeIs( false ); } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 1", "C hears 1" } ) );
   EXPECT_EQ( watched.changeTo( 2 ), ( Log{ "A hears 2", "C hears 2" } ) );
}

TEST( NotificationDisruption, EveryWatcherUnregistersAll ) {
   WatchedStatus watched;
   for( const Ptr<StatusWatcher> &watcher : { watched.a, watched.b, watched.c } ) {
      watcher->reactionIs( [&] {
         watched.a->isRegisteredNotifieeIs( false );
         watched.b->isRegisteredNotifieeIs( false );
         watched.c->isRegisteredNotifieeIs( false );
      } );
   }
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 1", "C hears 1" } ) );
   EXPECT_EQ( watched.status->notifieeCount(), 0u );
   EXPECT_EQ( watched.changeTo( 2 ), Log() );
}

TEST( NotificationDisruption, AWatcherRegistersANewOneWhichHearsOfTheNextChange ) {
   WatchedStatus watched;
   const Ptr<StatusWatcher> late = make<StatusWatcher>( watched.log, "late" );
   late->notifierIs( watched.status );
   watched.a->reactionIs( [&] { late->isRegisteredNotifieeIs( true ); } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 1", "C hears 1" } ) );
   EXPECT_EQ( watched.changeTo( 2 ),
              ( Log{ "A hears 2", "B hears 2", "C hears 2", "late hears 2" } ) );
}

TEST( NotificationDisruption, AWatcherLeavesAndReturnsAndHearsOfTheChangeOnce ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] {
      watched.a->isRegisteredNotifieeIs( false );
      watched.a->isRegisteredNotifieeIs( true );
      watched.b->isRegisteredNotifieeIs( false );
      watched.b->isRegisteredNotifieeIs( true );
   } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 1", "C hears 1" } ) );
   EXPECT_EQ( watched.changeTo( 2 ), ( Log{ "C hears 2", "A hears 2", "B hears 2" } ) );
}

TEST( NotificationDisruption, AWatcherDropsTheEntityWhichStaysUntilAllHaveHeard ) {
   WatchedStatus watched( Binding::uncounted );
   watched.a->reactionIs( [&] { watched.status = nullptr; } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 1", "C hears 1",
                                            "A hears goodbye to 1", "B hears goodbye to 1",
                                            "C hears goodbye to 1", "the status is destroyed" } ) );
}

TEST( NotificationDisruption, TheWatchersDropTheEntityThatOnlyTheyHaveKept ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] {
      watched.status = nullptr;
      watched.a->notifierIs( nullptr );
      watched.b->notifierIs( nullptr );
      watched.c->notifierIs( nullptr );
   } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears nothing", "C hears nothing",
                                            "the status is destroyed" } ) );
}

TEST( NotificationDisruption, AWatcherChangesTheEntityAgainAndTheInnerChangeIsToldFirst ) {
   WatchedStatus watched;
   watched.b->reactionIs( [&] { watched.status->virtualRouterCountIs( 2 ); } );
   EXPECT_EQ( watched.changeTo( 1 ),
              ( Log{ "A hears 1", "B hears 1", "A hears 2", "B hears 2", "C hears 2", // the inner
                     "C hears 2" } ) );
}

TEST( NotificationDisruption, ChangesNestAsDeepAsTheWatchersLike ) {
   WatchedStatus watched;
   watched.b->isRegisteredNotifieeIs( false );
   watched.c->isRegisteredNotifieeIs( false );
   watched.a->reactionIs( [&] {
      if( const U32 count = watched.status->virtualRouterCount(); count < 100 ) {
         watched.status->virtualRouterCountIs( count + 1 );
      }
   } );
   const Log heard = watched.changeTo( 1 );
   ASSERT_EQ( heard.size(), 100u );
   EXPECT_EQ( heard.front(), "A hears 1" );
   EXPECT_EQ( heard.back(), "A hears 100" );
}

TEST( NotificationDisruption, AWatcherThrowsAndIsToldWhileTheOthersHear ) {
   WatchedStatus watched;
   watched.a->reactionIs( [] { throw std::runtime_error( "no power" ); } );
   watched.c->reactionIs( [] { throw 42; } );
   EXPECT_EQ( watched.changeTo( 1 ),
              ( Log{ "A hears 1", "A hears of its failure in 130: no power", "B hears 1",
                     "C hears 1", "C hears of its failure in 130: 42" } ) );
   EXPECT_EQ( watched.changeTo( 2 ).size(), 5u ); // and goes on hearing
}

TEST( NotificationDisruption, AWatcherThrowsInTheAnswerToItsFailureAsWell ) {
   WatchedStatus watched;
   watched.a->reactionIs( [] { throw std::runtime_error( "no power" ); } );
   watched.a->answerIs( [] { throw std::runtime_error( "no light either" ); } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "A hears of its failure in 130: no power",
                                            "B hears 1", "C hears 1" } ) );
}

TEST( NotificationDisruption, TheFailureOfAnInnerChangeStaysInside ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] {
      watched.a->reactionIs( {} );
      watched.status->virtualRouterCountIs( 2 );
   } );
   watched.b->reactionIs( [&] {
      watched.b->reactionIs( {} );
      throw std::runtime_error( "no power" );
   } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "A hears 2", "B hears 2",
                                            "B hears of its failure in 130: no power", "C hears 2",
                                            "B hears 2", "C hears 2" } ) );
}

TEST( NotificationDisruption, AWatcherIsReleasedByAnEarlierOneAndSkipped ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] { watched.b = nullptr; } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B is destroyed", "C hears 1" } ) );
   EXPECT_EQ( watched.status->notifieeCount(), 2u );
}

TEST( NotificationDisruption, AWatcherIsReleasedByALaterOne ) {
   WatchedStatus watched;
   watched.c->reactionIs( [&] { watched.a = nullptr; } );
   EXPECT_EQ( watched.changeTo( 1 ),
              ( Log{ "A hears 1", "B hears 1", "C hears 1", "A is destroyed" } ) );
   EXPECT_EQ( watched.changeTo( 2 ), ( Log{ "B hears 2", "C hears 2" } ) );
}

TEST( NotificationDisruption, AWatcherIsUnregisteredAndReleasedAndSkipped ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] {
      watched.b->isRegisteredNotifieeIs( false );
      watched.b = nullptr;
   } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B is destroyed", "C hears 1" } ) );
}

TEST( NotificationDisruption, AWatcherIsReleasedByAllButOneAndStillHears ) {
   WatchedStatus watched;
   const Ptr<StatusWatcher> second = watched.b;
   watched.a->reactionIs( [&] { watched.b = nullptr; } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 1", "C hears 1" } ) );
}

TEST( NotificationDisruption, AWatcherReleasesItselfAndLivesToTheEndOfItsCall ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] {
      watched.a = nullptr;
      watched.log.push_back( "A has let go of itself" );
   } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "A has let go of itself", "B hears 1",
                                            "C hears 1", "A is destroyed" } ) );
   EXPECT_EQ( watched.status->notifieeCount(), 2u );
}

TEST( NotificationDisruption, AWatcherThatReleasedItselfAndThrowsIsStillTold ) {
   WatchedStatus watched;
   watched.c->reactionIs( [&] {
      watched.c = nullptr;
      throw std::runtime_error( "no power" );
   } );
   EXPECT_EQ( watched.changeTo( 1 ),
              ( Log{ "A hears 1", "B hears 1", "C hears 1",
                     "C hears of its failure in 130: no power", "C is destroyed" } ) );
}

TEST( NotificationDisruption, AReleasedWatcherIsNotCalledByANestedChangeEither ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] {
      watched.a->reactionIs( {} );
      watched.b = nullptr;
      watched.status->virtualRouterCountIs( 2 );
   } );
   EXPECT_EQ( watched.changeTo( 1 ),
              ( Log{ "A hears 1", "A hears 2", "C hears 2", "B is destroyed", "C hears 2" } ) );
}

TEST( NotificationDisruption, AWatcherThatReleasedItselfDoesNotHearOfItsOwnNestedChange ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] {
      watched.a = nullptr;
      watched.status->virtualRouterCountIs( 2 );
   } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 2", "C hears 2", "B hears 2",
                                            "C hears 2", "A is destroyed" } ) );
}

TEST( NotificationDisruption, AWatcherReleasedInsideANestedChangeIsSkippedOutsideToo ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] {
      watched.a->reactionIs( {} );
      watched.status->virtualRouterCountIs( 2 );
   } );
   watched.b->reactionIs( [&] { watched.c = nullptr; } );
   EXPECT_EQ( watched.changeTo( 1 ),
              ( Log{ "A hears 1", "A hears 2", "B hears 2", "B hears 2", "C is destroyed" } ) );
}

TEST( NotificationDisruption, AWatcherHeldAcrossANestedChangeHearsOfBoth ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] {
      watched.a->reactionIs( {} );
      watched.b->isRegisteredNotifieeIs( false ); // before the nested change is made
      watched.status->virtualRouterCountIs( 2 );
   } );
   EXPECT_EQ( watched.changeTo( 1 ),
              ( Log{ "A hears 1", "A hears 2", "C hears 2", "B hears 2", "C hears 2" } ) );
}

TEST( NotificationDisruption, AWatcherMovesToAnotherEntityAndStillHearsOfThisChange ) {
   WatchedStatus watched;
   const Ptr<Status> other = make<Status>();
   other->virtualRouterCountIs( 77 );
   watched.a->reactionIs( [&] {
      watched.a->notifierIs( other );
      watched.b->notifierIs( other );
   } );
   EXPECT_EQ( watched.changeTo( 1 ), ( Log{ "A hears 1", "B hears 77", "C hears 1" } ) );
   EXPECT_EQ( watched.status->notifieeCount(), 1u );
   EXPECT_EQ( other->notifieeCount(), 2u );
}

TEST( NotificationDisruption, AWatcherOfTwoPassesOnTwoEntitiesIsSkippedByBothWhenReleased ) {
   WatchedStatus watched;
   const Ptr<Status> other = make<Status>();
   const Ptr<StatusWatcher> first = make<StatusWatcher>( watched.log, "first" );
   first->notifierIs( other );
   first->isRegisteredNotifieeIs( true );
   watched.a->reactionIs( [&] {
      watched.b->notifierIs( other );
      other->virtualRouterCountIs( 8 );
   } );
   first->reactionIs( [&] { watched.b = nullptr; } );
   EXPECT_EQ( watched.changeTo( 1 ),
              ( Log{ "A hears 1", "first hears 8", "B is destroyed", "C hears 1" } ) );
   EXPECT_EQ( other->notifieeCount(), 1u );
}

TEST( NotificationDisruption, ManyWatchersAreReleasedInTheMiddle ) {
   Log log;
   const Ptr<Status> status = make<Status>();
   std::vector<Ptr<StatusWatcher>> watchers;
   for( int i = 0; i < 9; ++i ) {
      watchers.push_back( make<StatusWatcher>( log, std::to_string( i ) ) );
      watchers.back()->notifierIs( status );
      watchers.back()->isRegisteredNotifieeIs( true );
   }
   watchers[1]->reactionIs( [&] {
      watchers[0] = nullptr;
      watchers[3] = nullptr;
      watchers[7]->isRegisteredNotifieeIs( false );
      watchers[8] = nullptr;
   } );
   status->virtualRouterCountIs( 1 );
   EXPECT_EQ( log, ( Log{ "0 hears 1", "1 hears 1", "2 hears 1", "3 is destroyed", "4 hears 1",
                          "5 hears 1", "6 hears 1", "7 hears 1", "8 is destroyed",
                          "0 is destroyed" } ) );
   EXPECT_EQ( status->notifieeCount(), 5u );
}

TEST( NotificationDisruption, AWatcherMakesAndDropsWatchersOfItsOwn ) {
   WatchedStatus watched;
   watched.a->reactionIs( [&] {
      StatusWatcher passing( watched.log, "passing" );
      passing.notifierIs( watched.status );
      passing.isRegisteredNotifieeIs( true );
   } );
   EXPECT_EQ( watched.changeTo( 1 ),
              ( Log{ "A hears 1", "passing is destroyed", "B hears 1", "C hears 1" } ) );
   EXPECT_EQ( watched.status->notifieeCount(), 3u );
}

} // namespace
} // namespace Quor
