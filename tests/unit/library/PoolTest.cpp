// The programmer's collections by themselves: free indexes, indexes of pairs, pairs that wait.
#include "tests/unit/library/Programming.h"

#include <gtest/gtest.h>

namespace LibraryTests {
namespace {

constexpr U32 kLast = 0xFFFFFFFFu;

/// Tells every change of the collections.
class Watcher : public VrrpSm::NotifieeConst {
 public:
   explicit Watcher( Story &story ) : story_( story ) {}

   bool throws = false;

   void onFreeVirtualRouterIndex( U32 key ) override { tell( "free at " + std::to_string( key ) ); }
   void onVirtualRouterIndex( const VlanAndMac &pair ) override {
      tell( pairText( pair ) + ": " + std::to_string( notifier()->virtualRouterIndex( pair ) ) );
   }
   void onMacsNeedingVirtualRouterIndex( U32 key ) override {
      tell( "waits at " + std::to_string( key ) );
   }
   void onNotificationException( Quor::AttrId id ) override {
      story_.tell( "failed at " + std::to_string( id ) );
   }

 private:
   void tell( const String &line ) {
      story_.tell( line );
      if( throws ) {
         throw std::runtime_error( "no" );
      }
   }

   Story &story_;
};

/// A running programmer that somebody watches.
struct Watched : Running {
   explicit Watched( U32 indexes ) : Running( indexes ) {
      watcher->notifierIs( sm );
      watcher->isRegisteredNotifieeIs( true );
   }

   Ptr<Watcher> watcher = Quor::make<Watcher>( story );
};

/// A programmer whose queues were never used.
struct Empty : Running {
   Empty() : Running( 0 ) {}

   Indexes positions() const { return keysOf( sm->freeVirtualRouterIndexes() ); }
   void enqueue( const Indexes &indexes ) {
      for( const U32 index : indexes ) {
         sm->freeVirtualRouterIndexEnq( index );
      }
   }
};

/// The text of the range error that `what` raises; empty when it raises none.
template <class Do>
String rangeError( const Do &what ) {
   try {
      what();
      return "";
   } catch( const Quor::RangeException &error ) {
      return error.what();
   }
}

// Queue discipline

TEST( Pool, FilledFromEmptyItHoldsPositionsFrom0Up ) {
   Empty world;
   EXPECT_EQ( world.sm->freeVirtualRouterIndexes().count(), 0u );
   world.enqueue( { 7, 5, 6 } );
   EXPECT_EQ( world.free(), ( Indexes{ 7, 5, 6 } ) );
   EXPECT_EQ( world.positions(), ( Indexes{ 0, 1, 2 } ) );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexes().count(), 3u );
}

TEST( Pool, TheHeadComesOutFirst ) {
   Empty world;
   world.enqueue( { 7, 5, 6 } );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDeq(), 7u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDeq(), 5u );
   EXPECT_EQ( world.positions(), ( Indexes{ 2 } ) );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexes().count(), 1u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDeq(), 6u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDeq(), 0u ) << "nothing is left";
   EXPECT_EQ( world.sm->freeVirtualRouterIndexes().count(), 0u );
}

TEST( Pool, WhatComesBackStandsBehindEverythingElse ) {
   Running world( 3 );
   const U32 index = world.sm->freeVirtualRouterIndexDeq();
   world.sm->freeVirtualRouterIndexEnq( index );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 2, 0 } ) );
   EXPECT_EQ( keysOf( world.sm->freeVirtualRouterIndexes() ), ( Indexes{ 1, 2, 3 } ) );
}

TEST( Pool, ReadingAtAPositionGivesWhatStandsThereOr0 ) {
   Empty world;
   world.enqueue( { 7, 5 } );
   EXPECT_EQ( world.sm->freeVirtualRouterIndex( 1 ), 5u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndex( 5 ), 0u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndex( 2 ), 0u );
}

TEST( Pool, RemovalIsByPositionNotByIndex ) {
   Empty world;
   world.enqueue( { 2, 1, 0 } );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDel( 0 ), 2u );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 0 } ) );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDel( 0 ), 0u ) << "nothing stands there";
   EXPECT_EQ( world.free(), ( Indexes{ 1, 0 } ) );
}

TEST( Pool, AfterCyclingAPositionHoldsWhateverIndexOrNothing ) {
   Running world( 3 );
   world.sm->freeVirtualRouterIndexEnq( world.sm->freeVirtualRouterIndexDeq() );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDel( 0 ), 0u );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 2, 0 } ) );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDel( 3 ), 0u );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 2 } ) );
}

TEST( Pool, AnEmptiedQueueGoesOnAtItsStoredPosition ) {
   Empty world;
   world.enqueue( { 7, 5, 6 } );
   while( world.sm->freeVirtualRouterIndexes().count() != 0 ) {
      world.sm->freeVirtualRouterIndexDeq();
   }
   world.enqueue( { 8, 9 } );
   EXPECT_EQ( world.positions(), ( Indexes{ 2, 3 } ) ) << "the position used last is stored";
}

TEST( Pool, RemovingTheTailMakesTheEntryBeforeItTheTail ) {
   Empty world;
   world.enqueue( { 7, 5, 6 } );
   world.sm->freeVirtualRouterIndexDel( 2 );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexMetadata().nextKey, 2u );
   world.enqueue( { 8 } );
   EXPECT_EQ( world.positions(), ( Indexes{ 0, 1, 2 } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 7, 5, 8 } ) );
}

TEST( Pool, RemovingTheTailBehindAGapCountsOnFromTheNewTail ) {
   Empty world;
   world.enqueue( { 7, 5, 6 } );
   world.sm->freeVirtualRouterIndexDel( 1 );
   world.sm->freeVirtualRouterIndexDel( 2 );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexMetadata().nextKey, 1u );
   world.enqueue( { 8 } );
   EXPECT_EQ( world.positions(), ( Indexes{ 0, 1 } ) );
}

TEST( Pool, RemovingAnotherEntryThanTheTailLeavesTheNextPosition ) {
   Empty world;
   world.enqueue( { 7, 5, 6 } );
   world.sm->freeVirtualRouterIndexDel( 0 );
   world.sm->freeVirtualRouterIndexDel( 1 );
   world.enqueue( { 8 } );
   EXPECT_EQ( world.positions(), ( Indexes{ 2, 3 } ) );
}

TEST( Pool, RemovalUnderAnIteratorIsTheSame ) {
   Empty world;
   world.enqueue( { 7, 5, 6 } );
   auto at = world.sm->freeVirtualRouterIndexes().begin();
   ++at;
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDel( at ), 5u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDel( at ), 0u ) << "its entry has gone";
   EXPECT_EQ( world.free(), ( Indexes{ 7, 6 } ) );
   ++at;
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDel( at ), 6u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexMetadata().nextKey, 1u ) << "it was the tail";
   ++at;
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDel( at ), 0u ) << "at the end";
}

TEST( Pool, RemovingAllLeavesNothing ) {
   Running world( 100 );
   world.sm->freeVirtualRouterIndexDelAll();
   EXPECT_EQ( world.free(), Indexes{} );
   world.wanted( a );
   EXPECT_EQ( world.waiting(), ( Pairs{ a } ) );
}

TEST( Pool, SettingAPositionOverwritesOrInserts ) {
   Empty world;
   world.enqueue( { 7, 5 } );
   world.sm->freeVirtualRouterIndexIs( 1, 6 );
   EXPECT_EQ( world.free(), ( Indexes{ 7, 6 } ) );
   world.sm->freeVirtualRouterIndexIs( 1000, 8 );
   world.sm->freeVirtualRouterIndexIs( 500, 9 );
   EXPECT_EQ( world.positions(), ( Indexes{ 0, 1, 500, 1000 } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 7, 6, 9, 8 } ) );
   world.enqueue( { 4 } );
   EXPECT_EQ( world.positions(), ( Indexes{ 0, 1, 500, 1000, 1001 } ) );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDeq(), 7u );
}

TEST( Pool, NewInsertsAtAFreePositionOnly ) {
   Empty world;
   const auto entry = world.sm->newFreeVirtualRouterIndex( 3, 9 );
   EXPECT_EQ( entry->key(), 3u );
   EXPECT_EQ( entry->value(), 9u );
   EXPECT_THROW( world.sm->newFreeVirtualRouterIndex( 3, 8 ), Quor::NameInUseException );
   EXPECT_EQ( world.free(), ( Indexes{ 9 } ) );
   world.sm->newFreeVirtualRouterIndex( 1, 8 );
   EXPECT_EQ( world.free(), ( Indexes{ 8, 9 } ) );
}

// Positions that wrap

TEST( Pool, PositionsGoOnAt0BehindTheLastOne ) {
   Empty world;
   world.sm->freeVirtualRouterIndexIs( kLast - 1, 7 );
   world.enqueue( { 5, 6, 4 } );
   EXPECT_EQ( world.positions(), ( Indexes{ kLast - 1, kLast, 0, 1 } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 7, 5, 6, 4 } ) );
   EXPECT_EQ( world.sm->freeVirtualRouterIndex( 0 ), 6u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDel( 1 ), 4u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDel( 0 ), 6u );
   world.enqueue( { 3 } );
   EXPECT_EQ( world.positions(), ( Indexes{ kLast - 1, kLast, 0 } ) );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDeq(), 7u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDeq(), 5u );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexDeq(), 3u );
}

TEST( Pool, IsFullWhenThePositionBehindTheNewOneIsTheHeads ) {
   Empty world;
   world.sm->freeVirtualRouterIndexIs( 2, 7 );
   world.sm->freeVirtualRouterIndexIs( kLast, 8 );
   world.enqueue( { 9 } );
   EXPECT_EQ( world.positions(), ( Indexes{ 2, kLast, 0 } ) );
   EXPECT_EQ( rangeError( [&] { world.enqueue( { 10 } ); } ), "linkqueue index space full" );
   EXPECT_EQ( world.free(), ( Indexes{ 7, 8, 9 } ) ) << "nothing was appended";
   world.sm->freeVirtualRouterIndexDeq();
   world.enqueue( { 10 } );
   EXPECT_EQ( world.positions(), ( Indexes{ kLast, 0, 1 } ) );
}

TEST( Pool, IsFullAlsoBeforeThePositionsWrap ) {
   Empty world;
   world.enqueue( { 7 } ); // position 0
   world.sm->freeVirtualRouterIndexIs( kLast - 1, 8 );
   EXPECT_EQ( rangeError( [&] { world.enqueue( { 9 } ); } ), "linkqueue index space full" );
   EXPECT_EQ( world.free(), ( Indexes{ 7, 8 } ) );
}

// Metadata

TEST( Pool, MetadataGivesTheStoredPositionAndTheCount ) {
   Running world( 3 );
   const auto metadata = world.sm->freeVirtualRouterIndexMetadata();
   EXPECT_EQ( metadata.nextKey, 2u );
   EXPECT_EQ( metadata.count, 3u );
   EXPECT_TRUE( metadata == world.sm->freeVirtualRouterIndexMetadata() );
   EXPECT_FALSE( metadata != world.sm->freeVirtualRouterIndexMetadata() );
   world.sm->freeVirtualRouterIndexDeq();
   EXPECT_TRUE( metadata != world.sm->freeVirtualRouterIndexMetadata() ) << "the count differs";
   auto other = metadata;
   other.nextKey = 9;
   EXPECT_FALSE( metadata == other );
}

TEST( Pool, MetadataSetsTheNextPosition ) {
   Running world( 2 );
   world.sm->freeVirtualRouterIndexMetadataIs( { 10, 99 } );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexMetadata().count, 2u ) << "counted, not set";
   world.sm->freeVirtualRouterIndexEnq( 7 );
   EXPECT_EQ( keysOf( world.sm->freeVirtualRouterIndexes() ), ( Indexes{ 0, 1, 10 } ) );
   EXPECT_EQ( world.sm->freeVirtualRouterIndexMetadata().nextKey, 10u );
   world.sm->freeVirtualRouterIndexMetadataIs( { 10, 0 } );
   world.sm->freeVirtualRouterIndexEnq( 8 );
   world.sm->freeVirtualRouterIndexMetadataIs( { 0, 0 } );
   world.sm->freeVirtualRouterIndexEnq( 9 );
   EXPECT_EQ( keysOf( world.sm->freeVirtualRouterIndexes() ), ( Indexes{ 0, 1, 10, 11, 12 } ) )
         << "raised to the position behind the tail's";
}

TEST( Pool, MetadataHasATextThatCanBeReadBack ) {
   const Orlo::QueueMetadata metadata{ 7, 3 };
   const String text = valueToStrep( metadata );
   EXPECT_EQ( text, "nextKey 7, count 3" );
   Orlo::QueueMetadata read;
   auto at = text.begin();
   sequenceToValue( at, text.end(), read );
   EXPECT_TRUE( read == metadata );
   EXPECT_EQ( at, text.end() );
   for( const String &wrong :
        { String( "nextKey 7" ), String( "7, count 3" ), String( "count 3" ) } ) {
      auto from = wrong.begin();
      EXPECT_THROW( sequenceToValue( from, wrong.end(), read ), Quor::RangeException ) << wrong;
      EXPECT_EQ( from, wrong.begin() );
      EXPECT_TRUE( read == metadata );
   }
}

// The waiting line

TEST( Pool, TheSamePairCanWaitTwice ) {
   Empty world;
   for( const VlanAndMac &pair : { a, b, a } ) {
      world.sm->macsNeedingVirtualRouterIndexEnq( pair );
   }
   EXPECT_EQ( world.waiting(), ( Pairs{ a, b, a } ) );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndexes().count(), 3u );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndexDeq(), a );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndexDeq(), b );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndexDeq(), a );
}

TEST( Pool, WhatDoesNotWaitReadsAsTheDefaultPair ) {
   Empty world;
   const VlanAndMac none( vlan( 1 ), EthAddr() );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndexDeq(), none );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndex( 0 ), none );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndexDel( 0 ), none );
   world.sm->macsNeedingVirtualRouterIndexEnq( a );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndex( 0 ), a );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndexDel( 1 ), none );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndexDel( 0 ), a );
   EXPECT_EQ( world.waiting(), Pairs{} );
}

TEST( Pool, TheWaitingLineHasTheOperationsOfTheFreeQueue ) {
   Empty world;
   VrrpSm &sm = *world.sm;
   sm.macsNeedingVirtualRouterIndexEnq( a );
   sm.macsNeedingVirtualRouterIndexIs( 5, b );
   sm.macsNeedingVirtualRouterIndexIs( 0, c );
   EXPECT_EQ( sm.newMacsNeedingVirtualRouterIndex( 3, d )->value(), d );
   EXPECT_THROW( sm.newMacsNeedingVirtualRouterIndex( 3, e ), Quor::NameInUseException );
   EXPECT_EQ( world.waiting(), ( Pairs{ c, d, b } ) );
   EXPECT_EQ( keysOf( sm.macsNeedingVirtualRouterIndexes() ), ( Indexes{ 0, 3, 5 } ) );
   auto at = sm.macsNeedingVirtualRouterIndexes().begin();
   ++at;
   EXPECT_EQ( sm.macsNeedingVirtualRouterIndexDel( at ), d );
   EXPECT_EQ( sm.macsNeedingVirtualRouterIndexDel( at ), VlanAndMac() );
   EXPECT_EQ( sm.macsNeedingVirtualRouterIndexMetadata(),
              ( VrrpSm::MacsNeedingVirtualRouterIndexMetadata{ 0, 2 } ) );
   sm.macsNeedingVirtualRouterIndexMetadataIs( { 8, 0 } );
   sm.macsNeedingVirtualRouterIndexEnq( e );
   EXPECT_EQ( keysOf( sm.macsNeedingVirtualRouterIndexes() ), ( Indexes{ 0, 5, 8 } ) );
   sm.macsNeedingVirtualRouterIndexDelAll();
   EXPECT_EQ( world.waiting(), Pairs{} );
}

TEST( Pool, TheWaitingLineIsFullWhenItsPositionsAre ) {
   Empty world;
   world.sm->macsNeedingVirtualRouterIndexIs( 1, a );
   world.sm->macsNeedingVirtualRouterIndexIs( kLast, b );
   EXPECT_EQ( rangeError( [&] { world.sm->macsNeedingVirtualRouterIndexEnq( c ); } ),
              "linkqueue index space full" );
   world.sm->handleVrrpMac( c );
   EXPECT_EQ( world.waiting(), ( Pairs{ a, b } ) ) << "and c is not found in it";
}

// Indexes of pairs

TEST( Pool, AnIndexIsFoundUnderItsPair ) {
   Empty world;
   world.sm->virtualRouterIndexIs( a, 5 );
   world.sm->virtualRouterIndexIs( b, 0 );
   EXPECT_EQ( world.sm->virtualRouterIndex( a ), 5u );
   EXPECT_EQ( world.sm->virtualRouterIndex( b ), 0u );
   EXPECT_EQ( world.sm->virtualRouterIndex( c ), 0u );
   EXPECT_TRUE( world.sm->virtualRouterIndexIteratorConst().isMemberOf( b ) );
   EXPECT_FALSE( world.sm->virtualRouterIndexIteratorConst().isMemberOf( c ) );
   world.sm->virtualRouterIndexIs( a, 6 );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 6 }, { b, 0 } } ) );
}

TEST( Pool, RemovingAPairGivesItsIndexOr0 ) {
   Empty world;
   world.sm->virtualRouterIndexIs( a, 5 );
   world.sm->virtualRouterIndexIs( b, 6 );
   EXPECT_EQ( world.sm->virtualRouterIndexDel( c ), 0u );
   EXPECT_EQ( world.sm->virtualRouterIndexDel( a ), 5u );
   EXPECT_EQ( world.sm->virtualRouterIndexDel( a ), 0u );
   const auto at = world.sm->virtualRouterIndexIteratorConst();
   EXPECT_EQ( at->key(), b );
   EXPECT_EQ( world.sm->virtualRouterIndexDel( at ), 6u );
   EXPECT_EQ( world.sm->virtualRouterIndexDel( at ), 0u );
   EXPECT_EQ( world.programmed(), Slots{} );
}

TEST( Pool, NewAddsAPairOnce ) {
   Empty world;
   EXPECT_EQ( world.sm->newVirtualRouterIndex( a, 5 )->value(), 5u );
   EXPECT_THROW( world.sm->newVirtualRouterIndex( a, 6 ), Quor::NameInUseException );
   world.sm->newVirtualRouterIndex( b, 6 );
   world.sm->virtualRouterIndexDelAll();
   EXPECT_EQ( world.programmed(), Slots{} );
}

TEST( Pool, PairsAreVisitedInTableOrder ) {
   Empty world;
   Pairs pairs;
   for( U16 vlanNumber = 1; vlanNumber <= 30; ++vlanNumber ) {
      pairs.push_back( pair( vlanNumber, 1 ) );
      world.sm->virtualRouterIndexIs( pairs.back(), vlanNumber );
   }
   EXPECT_EQ( keysOf( world.sm->virtualRouterIndexes() ), inTableOrder( pairs ) );
}

// Nothing is lost

TEST( Pool, FreeAndHeldIndexesStayNWhateverComesAndGoes ) {
   Running world( 4 );
   U32 step = 12345;
   for( int i = 0; i < 2000; ++i ) {
      step = step * 1664525u + 1013904223u;
      const VlanAndMac key = pair( static_cast<U16>( 1 + ( step >> 24 ) % 12 ), 1 );
      if( world.table->virtualRouterMacs().isMemberOf( key ) ) {
         world.unwanted( key );
      } else {
         world.wanted( key );
      }
      Indexes all = world.free();
      for( const Slot &slot : world.programmed() ) {
         all.push_back( slot.second );
      }
      std::sort( all.begin(), all.end() );
      ASSERT_EQ( all, upTo( 4 ) ) << "each index once, free or held";
      ASSERT_TRUE( world.waiting().empty() || world.free().empty() );
      ASSERT_EQ( world.waiting().size() + world.programmed().size(),
                 world.table->virtualRouterMacs().size() );
   }
}

// Watching the programmer

TEST( Pool, EveryChangeOfTheFreeQueueIsTold ) {
   Watched world( 2 );
   VrrpSm &sm = *world.sm;
   sm.freeVirtualRouterIndexEnq( 7 );
   sm.freeVirtualRouterIndexDeq();
   sm.freeVirtualRouterIndexIs( 1, 9 );
   sm.freeVirtualRouterIndexIs( 5, 9 );
   sm.freeVirtualRouterIndexDel( 2 );
   EXPECT_EQ( world.story.take(),
              ( Lines{ "free at 2", "free at 0", "free at 1", "free at 5", "free at 2" } ) );
   sm.freeVirtualRouterIndexDel( sm.freeVirtualRouterIndexes().begin() );
   sm.freeVirtualRouterIndexNotify( 77 );
   sm.freeVirtualRouterIndexEnq( 3 );
   world.story.take();
   sm.freeVirtualRouterIndexDelAll();
   EXPECT_EQ( world.story.take(), ( Lines{ "free at 5", "free at 6" } ) );
}

TEST( Pool, WhatChangesNothingIsNotTold ) {
   Watched world( 2 );
   VrrpSm &sm = *world.sm;
   sm.freeVirtualRouterIndexIs( 1, 1 );
   sm.freeVirtualRouterIndexDel( 9 );
   sm.newFreeVirtualRouterIndex( 9, 9 );
   sm.freeVirtualRouterIndexMetadataIs( { 20, 0 } );
   sm.virtualRouterIndexDel( a );
   sm.newVirtualRouterIndex( a, 1 );
   sm.virtualRouterIndexIs( a, 1 );
   sm.macsNeedingVirtualRouterIndexDeq();
   sm.macsNeedingVirtualRouterIndexDel( 0 );
   sm.newMacsNeedingVirtualRouterIndex( 0, a );
   sm.macsNeedingVirtualRouterIndexIs( 0, a );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( Pool, EveryChangeOfAnIndexIsTold ) {
   Watched world( 0 );
   world.sm->virtualRouterIndexIs( a, 5 );
   world.sm->virtualRouterIndexIs( a, 6 );
   world.sm->virtualRouterIndexDel( a );
   world.sm->virtualRouterIndexIs( b, 7 );
   world.sm->virtualRouterIndexDelAll();
   EXPECT_EQ( world.story.take(),
              ( Lines{ pairText( a ) + ": 5", pairText( a ) + ": 6", pairText( a ) + ": 0",
                       pairText( b ) + ": 7", pairText( b ) + ": 0" } ) );
}

TEST( Pool, EveryChangeOfTheWaitingLineIsTold ) {
   Watched world( 0 );
   VrrpSm &sm = *world.sm;
   sm.macsNeedingVirtualRouterIndexEnq( a );
   sm.macsNeedingVirtualRouterIndexIs( 0, b );
   sm.macsNeedingVirtualRouterIndexIs( 4, b );
   sm.macsNeedingVirtualRouterIndexDel( 0 );
   sm.macsNeedingVirtualRouterIndexDeq();
   EXPECT_EQ( world.story.take(),
              ( Lines{ "waits at 0", "waits at 0", "waits at 4", "waits at 0", "waits at 4" } ) );
}

TEST( Pool, AProgrammedPairTellsTheIndexTakenAndThenThePair ) {
   Watched world( 2 );
   world.wanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ "free at 0", added( a, 0 ), pairText( a ) + ": 0" } ) );
   world.unwanted( a );
   EXPECT_EQ( world.story.take(),
              ( Lines{ pairText( a ) + ": 0", deleted( a, 0 ), "free at 2" } ) );
}

TEST( Pool, AHandedOverIndexTellsThePairThatGoesAndTheOneThatComes ) {
   Watched world( 1 );
   world.wanted( a );
   world.wanted( b );
   world.story.take();
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ pairText( a ) + ": 0", deleted( a, 0 ), "waits at 0",
                                           added( b, 0 ), pairText( b ) + ": 0" } ) );
}

TEST( Pool, AWatcherThatThrowsIsToldTheIdentifierAndHindersNothing ) {
   Watched world( 1 );
   world.watcher->throws = true;
   world.wanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ "free at 0", "failed at 133", added( a, 0 ),
                                           pairText( a ) + ": 0", "failed at 134" } ) );
   world.wanted( b );
   EXPECT_EQ( world.story.take(), ( Lines{ "waits at 0", "failed at 135" } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 } } ) );
}

} // namespace
} // namespace LibraryTests
