// What happens to the programmer in the middle of its own calls: it is let go of, the table changes
// under it, the helper throws.
#include "tests/unit/library/ProgrammerLines.h"
#include "tests/unit/library/Programming.h"

#include <gtest/gtest.h>

namespace LibraryTests {
namespace {

// Somebody lets go of the programmer

TEST( Disruption, TheHelperMayDropTheProgrammerWhileItAdds ) {
   Running world( 3 );
   world.helper->onAdd = [&] { world.sm = nullptr; };
   world.story.traces();
   world.wanted( a );
   EXPECT_EQ( world.story.take(),
              ( Lines{ handled( a ), addingAt( 0 ), doAdd( a, 0 ), added( a, 0 ) } ) );
   EXPECT_EQ( world.table->notifieeCount(), 0u ) << "it has gone, and without a further call";
   world.wanted( b );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( Disruption, TheHelperMayDropTheProgrammerWhileItDeletes ) {
   Running world( 1, { a, b } );
   world.helper->onDelete = [&] { world.sm = nullptr; };
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ), added( b, 0 ) } ) )
         << "what has begun is finished";
   EXPECT_EQ( world.table->notifieeCount(), 0u );
   world.unwanted( b );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( Disruption, TheHelperMayDropTheProgrammerAndWithItItselfAndTheTable ) {
   Running world( 3 );
   VirtualRouterMacTable &table = *world.table;
   RecordingHelper &helper = *world.helper;
   helper.onAdd = [&] { // the last pointers to everything
      world.sm = nullptr;
      world.helper = nullptr;
      world.table = nullptr;
   };
   table.virtualRouterMacIs( a, true );
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ) } ) );
}

TEST( Disruption, TheHelperMayDropTheProgrammerWhileAllKeysAreHandled ) {
   Running world( 3 );
   const auto other = virtualRouterMacTableFactory();
   other->virtualRouterMacIs( a, true );
   other->virtualRouterMacIs( b, true );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b } );
   world.helper->onAdd = [&] { world.sm = nullptr; };
   world.sm->vrrpMacStatusIs( other );
   EXPECT_EQ( world.story.take(), ( Lines{ added( inOrder[0], 0 ), added( inOrder[1], 1 ) } ) );
   EXPECT_EQ( other->notifieeCount(), 0u );
}

TEST( Disruption, TheHelperMayDropTheProgrammerInADirectCall ) {
   Running world( 3 );
   world.helper->onAdd = [&] { world.sm = nullptr; };
   world.sm->doAddVirtualRouterMac( a, 0 );
   EXPECT_EQ( world.table->notifieeCount(), 0u );
}

TEST( Disruption, TheTableMayBeEmptiedUnderAProgrammerThatGoes ) {
   Running world( 3, { a, b, c } );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b, c } );
   world.helper->onDelete = [&] { world.sm = nullptr; };
   world.table->virtualRouterMacDelAll();
   ASSERT_EQ( world.story.take().size(), 1u ) << "only the first deletion is heard of";
   EXPECT_EQ( world.table->virtualRouterMacs().size(), 0u );
}

/// Does something when an index or the line changes.
class Watcher : public VrrpSm::NotifieeConst {
 public:
   std::function<void()> onIndex, onFree, onWaiting;

   void onVirtualRouterIndex( const VlanAndMac & ) override { happens( onIndex ); }
   void onFreeVirtualRouterIndex( U32 ) override { happens( onFree ); }
   void onMacsNeedingVirtualRouterIndex( U32 ) override { happens( onWaiting ); }

 private:
   static void happens( const std::function<void()> &what ) {
      if( what ) {
         what();
      }
   }
};

/// A watcher that does not keep the programmer alive.
Ptr<Watcher> watcherOf( const Ptr<VrrpSm> &sm ) {
   auto watcher = Quor::make<Watcher>();
   watcher->uncountedNotifierIs( sm );
   watcher->isRegisteredNotifieeIs( true );
   return watcher;
}

TEST( Disruption, AWatcherMayDropTheProgrammerWheneverItIsTold ) {
   for( std::function<void()> Watcher::*const when :
        { &Watcher::onIndex, &Watcher::onFree, &Watcher::onWaiting } ) {
      Running world( 1, { a, b } );
      const auto watcher = watcherOf( world.sm );
      ( *watcher ).*when = [&] { world.sm = nullptr; };
      world.unwanted( a ); // tells of the index
      world.unwanted( b ); // tells of the free queue
      EXPECT_EQ( world.sm, nullptr );
      EXPECT_EQ( world.table->notifieeCount(), 0u );
      EXPECT_EQ( watcher->notifier(), nullptr );
   }
}

TEST( Disruption, AWatcherMayDropTheProgrammerDuringTheCleanup ) {
   Running world( 3, { a, b, c } );
   const auto watcher = watcherOf( world.sm );
   watcher->onIndex = [&] { world.sm = nullptr; };
   world.sm->doCleanup();
   EXPECT_EQ( world.sm, nullptr );
   EXPECT_EQ( world.table->notifieeCount(), 0u );
}

TEST( Disruption, AWatcherMayDropTheProgrammerWhileAQueueIsEmptied ) {
   Running world( 0, { a, b, c } );
   auto watcher = watcherOf( world.sm );
   watcher->onWaiting = [&] { world.sm = nullptr; };
   world.sm->macsNeedingVirtualRouterIndexDelAll();
   EXPECT_EQ( watcher->notifier(), nullptr );

   Running other( 3 );
   watcher = watcherOf( other.sm );
   watcher->onFree = [&] { other.sm = nullptr; };
   other.sm->freeVirtualRouterIndexDelAll();
   EXPECT_EQ( watcher->notifier(), nullptr );
}

// The helper changes the table

TEST( Disruption, AKeyRemovedWhileItIsAddedStaysProgrammed ) {
   Running world( 2 );
   world.story.traces();
   world.helper->onAdd = [&] { world.unwanted( a ); };
   world.wanted( a );
   EXPECT_EQ( world.story.take(),
              ( Lines{ handled( a ), addingAt( 0 ), doAdd( a, 0 ), added( a, 0 ), handled( a ) } ) )
         << "inside the call the map does not hold it yet";
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 } } ) );
}

TEST( Disruption, AKeyAddedWhileAnotherIsAddedGetsTheNextIndex ) {
   Running world( 3 );
   world.helper->onAdd = [&] {
      world.helper->onAdd = nullptr;
      world.wanted( b );
   };
   world.wanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ), added( b, 1 ) } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 }, { b, 1 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 2 } ) );
}

TEST( Disruption, AKeyAddedAgainWhileItIsDeletedWaitsAndGetsTheFreedIndex ) {
   Running world( 1, { a } );
   world.helper->onDelete = [&] { world.wanted( a ); };
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ), added( a, 0 ) } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 } } ) );
   EXPECT_EQ( world.waiting(), Pairs{} );
}

TEST( Disruption, AKeyAddedWhileAnotherIsDeletedWaitsBehindTheOlderOnes ) {
   Running world( 1, { a, b } );
   world.helper->onDelete = [&] { world.wanted( c ); };
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ), added( b, 0 ) } ) );
   EXPECT_EQ( world.waiting(), ( Pairs{ c } ) );
}

TEST( Disruption, AWaitingKeyRemovedWhileAnotherIsDeletedIsNotServed ) {
   Running world( 1, { a, b } );
   world.helper->onDelete = [&] { world.unwanted( b ); };
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ) } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 0 } ) ) << "whether somebody waits is asked after the call";
}

TEST( Disruption, ATableThatGrowsAndShrinksUnderTheStartIsWalkedSoundly ) {
   Programming world( 100 );
   Pairs pairs;
   for( U16 vlanNumber = 1; vlanNumber <= 40; ++vlanNumber ) {
      pairs.push_back( pair( vlanNumber, 1 ) );
   }
   pairs = inTableOrder( pairs );
   for( std::size_t i = 0; i < 20; ++i ) { // every other one
      world.wanted( pairs[2 * i] );
   }
   Lines told = { added( pairs[0], 0 ) };
   world.helper->onAdd = [&] {
      world.helper->onAdd = nullptr;
      world.unwanted( pairs[0] ); // the current one
      world.unwanted( pairs[2] ); // the next one
      for( std::size_t i = 2; i < 20; ++i ) {
         world.wanted( pairs[2 * i - 1] );
      }
   };
   for( U32 i = 3; i < 39; ++i ) {
      told.push_back( added( pairs[i], i - 2 ) );
   }
   told.insert( told.end(), { kFlagCleared, kComplete } );
   world.start();
   EXPECT_EQ( world.story.take(), told );
}

TEST( Disruption, AKeyMayBeHandledThroughTheEntryThatGoes ) {
   Running world( 2, { a } );
   const auto &key = world.table->virtualRouterMacs().find( a )->key();
   world.helper->onDelete = [&] { world.wanted( b ); };
   world.table->virtualRouterMacDel( key );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ), added( b, 1 ) } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 0 } ) );
}

TEST( Disruption, APairMayBeHandledThroughThePlaceWhereItWaits ) {
   Running world( 0, { a, b } );
   world.sm->vrrpMacStatusIs( nullptr );
   world.story.traces();
   world.sm->handleVrrpMac( world.sm->macsNeedingVirtualRouterIndexes().begin()->value() );
   EXPECT_EQ( world.story.take(), ( Lines{ handled( a ), kWaitsNoMore } ) );
   EXPECT_EQ( world.waiting(), ( Pairs{ b } ) );
}

// The helper throws

/// Another watcher of the table, registered behind the programmer.
class Bystander : public VirtualRouterMacTable::NotifieeConst {
 public:
   int calls = 0;
   void onVirtualRouterMac( const VlanAndMac & ) override { ++calls; }
   using NotifieeConst::onVirtualRouterMac;
};

Ptr<Bystander> bystanderOf( const Ptr<VirtualRouterMacTable> &table ) {
   auto bystander = Quor::make<Bystander>();
   bystander->notifierIs( table );
   bystander->isRegisteredNotifieeIs( true );
   return bystander;
}

TEST( Disruption, AnAddThatThrowsLosesItsIndex ) {
   Running world( 2 );
   const auto bystander = bystanderOf( world.table );
   world.helper->onAdd = [] { throw std::runtime_error( "no" ); };
   EXPECT_NO_THROW( world.wanted( a ) );
   EXPECT_EQ( world.programmed(), Slots{} );
   EXPECT_EQ( world.waiting(), Pairs{} );
   EXPECT_EQ( world.free(), ( Indexes{ 1 } ) ) << "0 is neither free nor held";
   EXPECT_EQ( bystander->calls, 1 );
   EXPECT_TRUE( world.table->virtualRouterMac( a ) );
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ) } ) ) << "nobody deletes it";
}

TEST( Disruption, ADeleteThatThrowsLosesItsIndexAndServesNobody ) {
   Running world( 1, { a, b } );
   const auto bystander = bystanderOf( world.table );
   world.helper->onDelete = [] { throw std::runtime_error( "no" ); };
   EXPECT_NO_THROW( world.unwanted( a ) );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ) } ) );
   EXPECT_EQ( world.programmed(), Slots{} );
   EXPECT_EQ( world.free(), Indexes{} );
   EXPECT_EQ( world.waiting(), ( Pairs{ b } ) );
   EXPECT_EQ( bystander->calls, 1 );
}

TEST( Disruption, AHandOverThatThrowsLosesTheWaitingPairToo ) {
   Running world( 1, { a, b, c } );
   world.helper->onAdd = [] { throw std::runtime_error( "no" ); };
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ), added( b, 0 ) } ) );
   EXPECT_EQ( world.programmed(), Slots{} );
   EXPECT_EQ( world.waiting(), ( Pairs{ c } ) );
   EXPECT_EQ( world.free(), Indexes{} );
}

TEST( Disruption, WhatTheHelperThrowsReachesADirectCaller ) {
   Running world( 2, { a } );
   world.helper->onAdd = [] { throw std::runtime_error( "add" ); };
   world.helper->onDelete = [] { throw std::runtime_error( "delete" ); };
   world.table->newVirtualRouterMac( b, true );
   EXPECT_THROW( world.sm->handleVrrpMac( b ), std::runtime_error );
   EXPECT_THROW( world.sm->doAddVirtualRouterMac( c, 1 ), std::runtime_error );
   EXPECT_THROW( world.sm->doDeleteVirtualRouterMac( c, 1 ), std::runtime_error );
}

TEST( Disruption, AfterAThrowTheProgrammerGoesOn ) {
   Running world( 3 );
   world.helper->onAdd = [&] {
      world.helper->onAdd = nullptr;
      throw std::runtime_error( "no" );
   };
   world.wanted( a );
   world.wanted( b );
   world.unwanted( b );
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ), added( b, 1 ), deleted( b, 1 ) } ) );
}

TEST( Disruption, ALineWithoutRoomGoesToTheTablesWatcherAsWell ) {
   Running world( 0 );
   world.sm->macsNeedingVirtualRouterIndexIs( 1, a );
   world.sm->macsNeedingVirtualRouterIndexIs( 0xFFFFFFFFu, b );
   EXPECT_NO_THROW( world.wanted( c ) );
   EXPECT_EQ( world.waiting(), ( Pairs{ a, b } ) );
   EXPECT_THROW( world.sm->handleVrrpMac( c ), Quor::RangeException );
}

} // namespace
} // namespace LibraryTests
