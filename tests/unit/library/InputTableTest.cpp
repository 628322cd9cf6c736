// The table that the programmer listens to: replaced, taken away, given back.
#include "OrloVrrpSm/QuorVrrpMacStatus.h"
#include "tests/unit/library/ProgrammerLines.h"
#include "tests/unit/library/Programming.h"

#include <gtest/gtest.h>

namespace LibraryTests {
namespace {

using Orlo::QuorVrrpMacStatus;

Ptr<VirtualRouterMacTable> tableOf( const Pairs &pairs ) {
   auto table = virtualRouterMacTableFactory();
   for( const VlanAndMac &pair : pairs ) {
      table->virtualRouterMacIs( pair, true );
   }
   return table;
}

TEST( InputTable, AProgrammerListensToTheTableItWasMadeWith ) {
   Running world( 3 );
   EXPECT_EQ( world.sm->vrrpMacStatus(), world.table );
   EXPECT_EQ( world.table->notifieeCount(), 1u );
}

TEST( InputTable, AnotherTableIsHandledAtOnceAndWatched ) {
   Running world( 4, { a } );
   const auto other = tableOf( { b } );
   world.sm->vrrpMacStatusIs( other );
   EXPECT_EQ( world.story.take(), ( Lines{ added( b, 1 ) } ) );
   EXPECT_EQ( world.sm->vrrpMacStatus(), other );
   EXPECT_EQ( other->notifieeCount(), 1u );
   EXPECT_EQ( world.table->notifieeCount(), 0u );
   other->virtualRouterMacIs( c, true );
   EXPECT_EQ( world.story.take(), ( Lines{ added( c, 2 ) } ) );
}

TEST( InputTable, KeysOfTheTableBeforeAreNeitherDeletedNorHeardOf ) {
   Running world( 4, { a, d } );
   world.story.traces();
   world.sm->vrrpMacStatusIs( tableOf( {} ) );
   world.unwanted( a );
   world.wanted( c );
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 }, { d, 1 } } ) );
}

TEST( InputTable, APairOfTheTableBeforeGoesWhenItIsHandled ) {
   Running world( 4, { a } );
   world.sm->vrrpMacStatusIs( tableOf( {} ) );
   world.sm->handleVrrpMac( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ) } ) );
}

TEST( InputTable, TheSameTableAgainDoesNothing ) {
   Running world( 4, { a } ); // handling a again would stop the process
   world.story.traces();
   world.sm->vrrpMacStatusIs( world.table );
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( world.table->notifieeCount(), 1u );
}

TEST( InputTable, WithoutATableEveryPairCountsAsAbsent ) {
   Running world( 4, { a } );
   world.sm->vrrpMacStatusIs( nullptr );
   EXPECT_EQ( world.sm->vrrpMacStatus(), nullptr );
   EXPECT_EQ( world.table->notifieeCount(), 0u );
   EXPECT_EQ( world.story.take(), Lines{} ) << "taking the table away deletes nothing";
   world.sm->handleVrrpMac();
   EXPECT_EQ( world.story.take(), Lines{} );
   world.sm->handleVrrpMac( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ) } ) );
   world.sm->handleVrrpMac( b );
   EXPECT_EQ( world.programmed(), Slots{} );
}

TEST( InputTable, AfterNoneANewOneIsHandledAndWatched ) {
   Running world( 4, { a } );
   world.sm->vrrpMacStatusIs( nullptr );
   const auto other = tableOf( { b } );
   world.sm->vrrpMacStatusIs( other );
   EXPECT_EQ( world.story.take(), ( Lines{ added( b, 1 ) } ) );
   other->virtualRouterMacDel( b );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( b, 1 ) } ) );
}

TEST( InputTable, AProgrammerMadeWithoutATableCanBeGivenOne ) {
   Programming world( 4 );
   const auto table = std::exchange( world.table, nullptr );
   world.start();
   EXPECT_EQ( world.sm->vrrpMacStatus(), nullptr );
   EXPECT_EQ( world.story.take(), ( Lines{ kFlagCleared, kComplete } ) );
   table->virtualRouterMacIs( a, true );
   world.sm->vrrpMacStatusIs( table );
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ) } ) );
   table->virtualRouterMacIs( b, true );
   EXPECT_EQ( world.story.take(), ( Lines{ added( b, 1 ) } ) );
}

TEST( InputTable, NewAndDelConnectAndDisconnect ) {
   Running world( 4 );
   const auto other = tableOf( { b } );
   world.sm->newVrrpMacStatus( other );
   EXPECT_EQ( world.story.take(), ( Lines{ added( b, 0 ) } ) );
   EXPECT_EQ( world.table->notifieeCount(), 0u );
   world.sm->vrrpMacStatusDel();
   EXPECT_EQ( world.sm->vrrpMacStatus(), nullptr );
   EXPECT_EQ( other->notifieeCount(), 0u );
   world.sm->vrrpMacStatusDel();
   other->virtualRouterMacIs( c, true );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( InputTable, AZombieTakesATableWithoutHandlingIt ) {
   Running world( 4 );
   world.sm->quorDoZombieReactors( true );
   const auto other = tableOf( { b } );
   world.sm->vrrpMacStatusIs( other );
   EXPECT_EQ( world.sm->vrrpMacStatus(), other );
   other->virtualRouterMacIs( c, true );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( InputTable, SwitchedOffATableIsHandledButNotWatched ) {
   Running world( 4 );
   world.sm->hasNotificationActiveIs( false );
   const auto other = tableOf( { b } );
   world.sm->vrrpMacStatusIs( nullptr );
   world.sm->vrrpMacStatusIs( other );
   EXPECT_EQ( world.story.take(), ( Lines{ added( b, 0 ) } ) );
   other->virtualRouterMacIs( c, true );
   EXPECT_EQ( world.story.take(), Lines{} );
   world.sm->hasNotificationActiveIs( true );
   other->virtualRouterMacIs( d, true );
   EXPECT_EQ( world.story.take(), ( Lines{ added( d, 1 ) } ) );
}

TEST( InputTable, ATableReplacedInTheMiddleOfItsOwnNotificationIsNotHeardAnyMore ) {
   for( const bool byNone : { false, true } ) {
      Running world( 4 );
      const auto other = tableOf( { c } );
      world.helper->onAdd = [&] {
         world.helper->onAdd = nullptr;
         if( byNone ) {
            world.sm->vrrpMacStatusIs( nullptr );
         } else {
            world.sm->newVrrpMacStatus( other );
         }
         world.wanted( b ); // in the table before
      };
      world.wanted( a );
      EXPECT_EQ( world.story.take(),
                 byNone ? ( Lines{ added( a, 0 ) } ) : ( Lines{ added( a, 0 ), added( c, 1 ) } ) );
   }
}

// The listener by itself

/// A listener that the test binds.
struct Listening : Running {
   Ptr<QuorVrrpMacStatus> listener = Quor::make<QuorVrrpMacStatus>();
   Ptr<VirtualRouterMacTable> other = virtualRouterMacTableFactory();

   Listening() : Running( 4 ) { listener->vrrpSmIs( sm.get() ); }
   ~Listening() { listener->vrrpSmIs( nullptr ); }
   Listening( const Listening & ) = delete;
   Listening &operator=( const Listening & ) = delete;
};

TEST( InputTable, TheImmediateHookHandlesAllKeys ) {
   Listening world;
   world.table->newVirtualRouterMac( a, true );
   world.table->newVirtualRouterMac( b, true );
   world.listener->onVirtualRouterMacquorImmediate();
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b } );
   EXPECT_EQ( world.story.take(), ( Lines{ added( inOrder[0], 0 ), added( inOrder[1], 1 ) } ) );
}

TEST( InputTable, AKeyIsPassedOnToTheProgrammer ) {
   Listening world;
   world.story.traces();
   world.listener->onVirtualRouterMac( a );
   EXPECT_EQ( world.story.take(), ( Lines{ handled( a ) } ) );
}

TEST( InputTable, AZombieListenerPassesNothingOn ) {
   Listening world;
   world.table->newVirtualRouterMac( a, true );
   world.listener->quorDoZombieReactors( true );
   world.story.traces();
   world.listener->onVirtualRouterMac( a );
   world.listener->onVirtualRouterMacquorImmediate();
   world.listener->notifierIs( world.other );
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( world.listener->notifier(), world.other ) << "taken all the same";
}

TEST( InputTable, AListenerWithoutAProgrammerPassesNothingOn ) {
   Listening world;
   world.table->newVirtualRouterMac( a, true );
   world.listener->vrrpSmIs( nullptr );
   world.story.traces();
   world.listener->onVirtualRouterMac( a );
   world.listener->onVirtualRouterMacquorImmediate();
   world.listener->notifierIs( world.other );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( InputTable, PointingAListenerAtATableHasAllKeysHandledOnce ) {
   Listening world;
   world.table->newVirtualRouterMac( a, true ); // what is handled is the programmer's own table
   world.listener->notifierIs( world.other );
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ) } ) );
   world.listener->notifierIs(
         world.other ); // again: a would be handled twice, and stop the process
   EXPECT_EQ( world.story.take(), Lines{} );
   world.listener->notifierIs( nullptr );
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( world.listener->notifier(), nullptr );
}

} // namespace
} // namespace LibraryTests
