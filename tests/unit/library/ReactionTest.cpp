// What the programmer does when keys of its table come and go.
#include "tests/unit/library/ProgrammerLines.h"
#include "tests/unit/library/Programming.h"

#include <gtest/gtest.h>

namespace LibraryTests {
namespace {

// Pairs that come

TEST( Reaction, ANewPairIsProgrammedUnderTheFirstFreeIndex ) {
   Running world( 3 );
   world.wanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ) } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 2 } ) );
   EXPECT_EQ( world.waiting(), Pairs{} );
}

TEST( Reaction, ANewPairTracesItsWay ) {
   Running world( 3 );
   world.story.traces();
   world.wanted( a );
   EXPECT_EQ( world.story.take(),
              ( Lines{ handled( a ), addingAt( 0 ), doAdd( a, 0 ), added( a, 0 ) } ) );
}

TEST( Reaction, TheHardwareIsProgrammedBeforeTheMapIsWritten ) {
   Running world( 3 );
   bool looked = false;
   world.helper->onAdd = [&] {
      looked = true;
      EXPECT_EQ( world.programmed(), Slots{} );
      EXPECT_EQ( world.free(), ( Indexes{ 1, 2 } ) ) << "the index is taken already";
   };
   world.wanted( a );
   EXPECT_TRUE( looked );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 } } ) );
}

TEST( Reaction, IndexesAreHandedOutInTheOrderInWhichTheyBecameFree ) {
   Running world( 3, { a, b } );
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ) } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 2, 0 } ) );
   world.wanted( c );
   world.wanted( d );
   EXPECT_EQ( world.story.take(), ( Lines{ added( c, 2 ), added( d, 0 ) } ) );
}

TEST( Reaction, TheHelperGetsTheFullVlanNumber ) {
   Running world( 2 );
   world.wanted( pair( 65535, 1 ) );
   world.wanted( pair( 1, 1 ) );
   EXPECT_EQ( world.story.take(), ( Lines{ "add 00:00:5e:00:01:01 on VLAN 65535 at 0",
                                           "add 00:00:5e:00:01:01 on VLAN 1 at 1" } ) );
}

TEST( Reaction, AKeyWithTheFlagFalseIsWantedAsWell ) {
   Running world( 1 );
   world.table->virtualRouterMacIs( a, false );
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ) } ) );
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ) } ) );
}

TEST( Reaction, APairThatFindsNoFreeIndexWaits ) {
   Running world( 1, { a } );
   world.story.traces();
   world.wanted( b );
   EXPECT_EQ( world.story.take(), ( Lines{ handled( b ), kWaits } ) );
   EXPECT_EQ( world.waiting(), ( Pairs{ b } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 } } ) );
}

TEST( Reaction, WithoutIndexesEveryPairWaits ) {
   Running world( 0 );
   world.wanted( c );
   world.wanted( a );
   world.wanted( b );
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( world.waiting(), ( Pairs{ c, a, b } ) );
   EXPECT_EQ( world.free(), Indexes{} );
   EXPECT_EQ( world.programmed(), Slots{} );
}

TEST( Reaction, AWaitingPairThatIsHandledAgainWaitsTwice ) {
   Running world( 0, { a } );
   world.sm->handleVrrpMac( a );
   world.table->virtualRouterMacIs( a, false ); // a change of the flag is a change
   EXPECT_EQ( world.waiting(), ( Pairs{ a, a, a } ) );
}

TEST( Reaction, APresentPairIsHandledWithoutALookAtTheWaitingLine ) {
   Running world( 1, { a, b } );
   world.sm->freeVirtualRouterIndexEnq( 7 );
   world.sm->handleVrrpMac( b ); // waits already, and finds a free index now
   EXPECT_EQ( world.story.take(), ( Lines{ added( b, 7 ) } ) );
   EXPECT_EQ( world.waiting(), ( Pairs{ b } ) );
}

// Pairs that go

TEST( Reaction, ADeletedPairIsUnprogrammedAndItsIndexGoesToTheTail ) {
   Running world( 3, { a, b } );
   world.story.traces();
   world.unwanted( b );
   EXPECT_EQ( world.story.take(),
              ( Lines{ handled( b ), deletingAt( b, 1 ), doDelete( b, 1 ), deleted( b, 1 ) } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 2, 1 } ) );
}

TEST( Reaction, TheMapIsClearedBeforeTheHardware ) {
   Running world( 3, { a } );
   bool looked = false;
   world.helper->onDelete = [&] {
      looked = true;
      EXPECT_EQ( world.programmed(), Slots{} );
      EXPECT_EQ( world.free(), ( Indexes{ 1, 2 } ) ) << "the index is not free yet";
   };
   world.unwanted( a );
   EXPECT_TRUE( looked );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 2, 0 } ) );
}

TEST( Reaction, AFreedIndexGoesAtOnceToTheOldestWaitingPair ) {
   Running world( 2, { a, b, c, d } );
   world.story.traces();
   world.unwanted( b );
   EXPECT_EQ( world.story.take(), ( Lines{ handled( b ), deletingAt( b, 1 ), doDelete( b, 1 ),
                                           deleted( b, 1 ), doAdd( c, 1 ), added( c, 1 ) } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 }, { c, 1 } } ) );
   EXPECT_EQ( world.waiting(), ( Pairs{ d } ) );
   EXPECT_EQ( world.free(), Indexes{} ) << "it never becomes free in between";
}

TEST( Reaction, AHandedOverIndexIsProgrammedBeforeTheMapIsWritten ) {
   Running world( 1, { a, b } );
   bool looked = false;
   world.helper->onDelete = [&] { EXPECT_EQ( world.waiting(), ( Pairs{ b } ) ); };
   world.helper->onAdd = [&] {
      looked = true;
      EXPECT_EQ( world.waiting(), Pairs{} );
      EXPECT_EQ( world.programmed(), Slots{} );
      EXPECT_EQ( world.free(), Indexes{} );
   };
   world.unwanted( a );
   EXPECT_TRUE( looked );
   EXPECT_EQ( world.programmed(), ( Slots{ { b, 0 } } ) );
}

TEST( Reaction, ThreeIndexesAndFourPairsPlayOut ) {
   Running world( 3 );
   for( const VlanAndMac &pair : { a, b, c, d } ) {
      world.wanted( pair );
   }
   world.unwanted( b );
   world.unwanted( a );
   EXPECT_EQ( world.free(), ( Indexes{ 0 } ) );
   world.wanted( e );
   EXPECT_EQ( world.story.take(),
              ( Lines{ added( a, 0 ), added( b, 1 ), added( c, 2 ), deleted( b, 1 ), added( d, 1 ),
                       deleted( a, 0 ), added( e, 0 ) } ) );
}

TEST( Reaction, AWaitingPairIsNotLookedUpAgainWhenItsTurnComes ) {
   Running world( 1, { a } );
   world.sm->macsNeedingVirtualRouterIndexEnq( b ); // nobody wants it
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ), added( b, 0 ) } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { b, 0 } } ) );
}

TEST( Reaction, AWaitingPairThatGoesLeavesTheLine ) {
   Running world( 1, { a, b, c, d } );
   world.story.traces();
   world.unwanted( c );
   EXPECT_EQ( world.story.take(), ( Lines{ handled( c ), kWaitsNoMore } ) );
   EXPECT_EQ( world.waiting(), ( Pairs{ b, d } ) );
   EXPECT_EQ( world.free(), Indexes{} );
}

TEST( Reaction, OfAPairThatWaitsMoreThanOnceOnlyTheOldestPlaceGoes ) {
   Running world( 0, { a, b } );
   world.sm->handleVrrpMac( a );
   world.sm->handleVrrpMac( b );
   world.sm->handleVrrpMac( a );
   ASSERT_EQ( world.waiting(), ( Pairs{ a, b, a, b, a } ) );
   world.unwanted( a );
   EXPECT_EQ( world.waiting(), ( Pairs{ b, a, b, a } ) );
   world.sm->handleVrrpMac( a );
   EXPECT_EQ( world.waiting(), ( Pairs{ b, b, a } ) );
   world.unwanted( b );
   EXPECT_EQ( world.waiting(), ( Pairs{ b, a } ) );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( Reaction, APairKnownNowhereOnlyTracesThatItWasHandled ) {
   Running world( 2, { a } );
   world.story.traces();
   world.sm->handleVrrpMac( e );
   world.table->virtualRouterMacNotify( e );
   EXPECT_EQ( world.story.take(), ( Lines{ handled( e ), handled( e ) } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 1 } ) );
}

TEST( Reaction, APairThatHoldsAnIndexAndWaitsGivesBackTheIndexOnly ) {
   Running world( 1, { a } );
   world.sm->macsNeedingVirtualRouterIndexEnq( b );
   world.sm->macsNeedingVirtualRouterIndexEnq( a );
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ), added( b, 0 ) } ) );
   EXPECT_EQ( world.waiting(), ( Pairs{ a } ) );
}

TEST( Reaction, EmptyingTheTableHandsIndexesDownTheLine ) {
   Running world( 1 );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b, c } );
   for( const VlanAndMac &pair : inOrder ) {
      world.wanted( pair );
   }
   world.story.take();
   world.table->virtualRouterMacDelAll();
   EXPECT_EQ( world.story.take(),
              ( Lines{ deleted( inOrder[0], 0 ), added( inOrder[1], 0 ), deleted( inOrder[1], 0 ),
                       added( inOrder[2], 0 ), deleted( inOrder[2], 0 ) } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 0 } ) );
   EXPECT_EQ( world.waiting(), Pairs{} );
}

// VLAN 0

TEST( Reaction, APairOnVlan0TakesAnIndexAndStaysAwayFromTheHelper ) {
   Running world( 2 );
   const VlanAndMac zero = pair( 0, 1 );
   world.story.traces();
   world.wanted( zero );
   EXPECT_EQ( world.story.take(),
              ( Lines{ handled( zero ), addingAt( 0 ), doAdd( zero, 0 ), kAddIgnored } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { zero, 0 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 1 } ) );
   world.unwanted( zero );
   EXPECT_EQ( world.story.take(), ( Lines{ handled( zero ), deletingAt( zero, 0 ),
                                           doDelete( zero, 0 ), kDeleteIgnored } ) );
   EXPECT_EQ( world.programmed(), Slots{} );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 0 } ) );
}

TEST( Reaction, APairOnVlan0WaitsAndIsHandedAnIndexLikeAnyOther ) {
   const VlanAndMac zero = pair( 0, 1 );
   Running world( 1, { a, zero, b } );
   EXPECT_EQ( world.waiting(), ( Pairs{ zero, b } ) );
   world.story.traces();
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ handled( a ), deletingAt( a, 0 ), doDelete( a, 0 ),
                                           deleted( a, 0 ), doAdd( zero, 0 ), kAddIgnored } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { zero, 0 } } ) );
   world.unwanted( zero );
   EXPECT_EQ( world.story.take(),
              ( Lines{ handled( zero ), deletingAt( zero, 0 ), doDelete( zero, 0 ), kDeleteIgnored,
                       doAdd( b, 0 ), added( b, 0 ) } ) );
}

// The two wrappers by themselves

TEST( Reaction, TheWrappersCallTheHelperAndKeepNoBooks ) {
   Running world( 2 );
   world.story.traces();
   world.sm->doAddVirtualRouterMac( a, 9 );
   world.sm->doDeleteVirtualRouterMac( b, 4294967295u );
   EXPECT_EQ( world.story.take(), ( Lines{ doAdd( a, 9 ), added( a, 9 ), doDelete( b, 4294967295u ),
                                           deleted( b, 4294967295u ) } ) );
   EXPECT_EQ( world.programmed(), Slots{} );
   EXPECT_EQ( world.free(), ( Indexes{ 0, 1 } ) );
}

// All keys at once

TEST( Reaction, HandlingAllKeysProgramsThemInTableOrder ) {
   Running world( 2 );
   Pairs inOrder = inTableOrder<VlanAndMac>( { a, b, c, d } );
   for( const VlanAndMac &pair : { d, c, b, a } ) {
      world.table->newVirtualRouterMac( pair, true ); // unheard
   }
   world.story.traces();
   world.sm->handleVrrpMac();
   EXPECT_EQ( world.story.take(),
              ( Lines{ handled( inOrder[0] ), addingAt( 0 ), doAdd( inOrder[0], 0 ),
                       added( inOrder[0], 0 ), handled( inOrder[1] ), addingAt( 1 ),
                       doAdd( inOrder[1], 1 ), added( inOrder[1], 1 ), handled( inOrder[2] ),
                       kWaits, handled( inOrder[3] ), kWaits } ) );
   EXPECT_EQ( world.waiting(), ( Pairs{ inOrder[2], inOrder[3] } ) );
}

TEST( Reaction, HandlingAllKeysDoesNotVisitPairsThatHaveGone ) {
   Running world( 2 );
   world.sm->virtualRouterIndexIs( a, 1 ); // held by a pair that the table does not have
   world.story.traces();
   world.sm->handleVrrpMac();
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 1 } } ) );
}

TEST( Reaction, HandlingAllKeysWhileTheFlagIsSetPassesOverProgrammedPairs ) {
   Running world( 2, { a, b } );
   world.helper->holds( {} );
   world.story.traces();
   world.sm->handleVrrpMac();
   EXPECT_EQ( world.story.take().size(), 2u ) << "the two entry traces";
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 }, { b, 1 } } ) );
   EXPECT_EQ( world.waiting(), Pairs{} );
   world.table->newVirtualRouterMac( c, true );
   world.sm->handleVrrpMac( c );
   EXPECT_EQ( world.waiting(), ( Pairs{ c } ) ) << "only pairs that hold an index are passed over";
}

TEST( Reaction, AProgrammedPairHandledAgainWithNoIndexFreeWaits ) {
   Running world( 1, { a } );
   world.sm->handleVrrpMac( a ); // the flag is clear: nobody looks whether it is programmed
   EXPECT_EQ( world.waiting(), ( Pairs{ a } ) );
   EXPECT_EQ( world.story.take(), Lines{} );
}

// The switches

TEST( Reaction, SwitchedOffItHearsNothingAndSwitchedOnAgainItHearsWhatComes ) {
   Running world( 3, { a } );
   EXPECT_TRUE( world.sm->hasNotificationActive() );
   EXPECT_EQ( world.table->notifieeCount(), 1u );
   world.sm->hasNotificationActiveIs( true ); // it is
   EXPECT_EQ( world.table->notifieeCount(), 1u );
   world.sm->hasNotificationActiveIs( false );
   EXPECT_EQ( world.table->notifieeCount(), 0u );
   world.wanted( b );
   EXPECT_EQ( world.story.take(), Lines{} );
   world.sm->hasNotificationActiveIs( true );
   EXPECT_EQ( world.story.take(), Lines{} ) << "nothing is replayed";
   world.wanted( c );
   EXPECT_EQ( world.story.take(), ( Lines{ added( c, 1 ) } ) );
}

TEST( Reaction, AZombieHearsNothing ) {
   Running world( 3, { a } );
   world.story.traces();
   world.sm->quorDoZombieReactors( true );
   world.wanted( b );
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), Lines{} );
   world.sm->quorDoZombieReactors( false );
   world.unwanted( b );
   EXPECT_EQ( world.story.take(), ( Lines{ handled( b ) } ) );
}

} // namespace
} // namespace LibraryTests
