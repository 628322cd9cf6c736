// Queues: first in, first out, every entry under its position key.
#include "quor/LinkQueue.h"
#include "tests/unit/quor/Line.h"
#include "tests/unit/quor/Surprise.h"

#include <gtest/gtest.h>

namespace Quor {
namespace {

using Content = Line::Content;
using Entry = Line::Queue::Entry;

TEST( LinkQueue, IsEmptyAtFirstAndGivesNothing ) {
   const Ptr<Line> line = make<Line>();
   EXPECT_EQ( line->queue.count(), 0u );
   EXPECT_EQ( line->queue.nextKey(), 0u );
   EXPECT_EQ( line->queue.head().get(), nullptr );
   EXPECT_EQ( line->queue.find( 0 ).get(), nullptr );
   EXPECT_EQ( line->queue.deq().get(), nullptr );
   EXPECT_EQ( line->queue.take( 0 ).get(), nullptr );
   EXPECT_EQ( line->queue.take( line->queue.begin() ).get(), nullptr );
   EXPECT_TRUE( line->queue.begin() == line->queue.end() );
   EXPECT_EQ( line->queue.count(), 0u );
}

TEST( LinkQueue, EnqGivesTheKeysFromZeroUpwards ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72 } );
   EXPECT_EQ( line->content(), ( Content{ { 0, 70 }, { 1, 71 }, { 2, 72 } } ) );
   EXPECT_EQ( line->queue.count(), 3u );
   EXPECT_EQ( line->queue.nextKey(), 2u ); // the key that was used last
   const Ptr<Entry> entry = line->queue.enq( 73 );
   EXPECT_EQ( entry->key(), 3u );
   EXPECT_EQ( entry->value(), 73u );
   EXPECT_TRUE( entry->isMember() );
}

TEST( LinkQueue, DeqGivesTheOldestFirst ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72 } );
   const Ptr<Entry> first = line->queue.deq();
   EXPECT_EQ( first->value(), 70u );
   EXPECT_EQ( first->key(), 0u );
   EXPECT_FALSE( first->isMember() );
   EXPECT_EQ( line->queue.head()->value(), 71u );
   EXPECT_EQ( line->queue.count(), 2u );
   EXPECT_EQ( line->queue.deq()->value(), 71u );
   EXPECT_EQ( line->queue.deq()->value(), 72u );
   EXPECT_EQ( line->queue.deq().get(), nullptr );
   EXPECT_EQ( line->queue.count(), 0u );
}

TEST( LinkQueue, TheHeadIsSeenWithoutBeingRemoved ) {
   const Ptr<Line> line = lineOf( { 70, 71 } );
   EXPECT_EQ( line->queue.head()->value(), 70u );
   EXPECT_EQ( line->queue.count(), 2u );
}

TEST( LinkQueue, EqualValuesStandSideBySide ) {
   const Ptr<Line> line = lineOf( { 70, 70, 70 } );
   EXPECT_EQ( line->content(), ( Content{ { 0, 70 }, { 1, 70 }, { 2, 70 } } ) );
}

TEST( LinkQueue, RemovalIsByPositionNotByValue ) {
   const Ptr<Line> line = lineOf( { 2, 1, 0 } );
   const Ptr<Entry> taken = line->queue.take( 0 );
   ASSERT_TRUE( taken );
   EXPECT_EQ( taken->value(), 2u );
   EXPECT_FALSE( taken->isMember() );
   EXPECT_EQ( line->content(), ( Content{ { 1, 1 }, { 2, 0 } } ) );
   EXPECT_EQ( line->queue.take( 0 ).get(), nullptr );
   EXPECT_EQ( line->queue.take( 3 ).get(), nullptr );
   EXPECT_EQ( line->queue.count(), 2u );
}

TEST( LinkQueue, RemovalInTheMiddleAndAtTheHeadLeavesTheNextKey ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72, 73 } );
   line->queue.take( 1 );
   line->queue.take( 0 );
   EXPECT_EQ( line->queue.nextKey(), 3u );
   EXPECT_EQ( line->queue.enq( 74 )->key(), 4u );
   EXPECT_EQ( line->content(), ( Content{ { 2, 72 }, { 3, 73 }, { 4, 74 } } ) );
}

TEST( LinkQueue, AfterTheRemovalOfTheTailKeysCountOnFromTheNewTail ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72, 73 } );
   line->queue.take( 1 );
   line->queue.take( 2 );
   line->queue.take( 3 );
   EXPECT_EQ( line->queue.nextKey(), 1u ); // behind the entry at 0
   EXPECT_EQ( line->queue.enq( 74 )->key(), 1u );
   EXPECT_EQ( line->queue.enq( 75 )->key(), 2u );
}

TEST( LinkQueue, AQueueThatDeqHasEmptiedReusesTheLastKey ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72 } );
   while( line->queue.deq() ) {
   }
   EXPECT_EQ( line->queue.nextKey(), 2u );
   EXPECT_EQ( line->queue.enq( 73 )->key(), 2u );
   EXPECT_EQ( line->queue.enq( 74 )->key(), 3u );
}

TEST( LinkQueue, AQueueWhoseOnlyEntryIsRemovedReusesItsKey ) {
   const Ptr<Line> line = lineOf( { 70, 71 } );
   line->queue.deq();
   line->queue.take( 1 );
   EXPECT_EQ( line->queue.count(), 0u );
   EXPECT_EQ( line->queue.nextKey(), 1u );
   EXPECT_EQ( line->queue.enq( 72 )->key(), 1u );
}

TEST( LinkQueue, ClearIsDeqToTheEnd ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72 } );
   const Ptr<Entry> held = line->queue.find( 1 );
   line->queue.clear();
   EXPECT_EQ( line->queue.count(), 0u );
   EXPECT_EQ( line->content(), Content() );
   EXPECT_FALSE( held->isMember() );
   EXPECT_EQ( line->queue.enq( 73 )->key(), 2u );
}

TEST( LinkQueue, TheNextKeyCanBeChosen ) {
   const Ptr<Line> line = make<Line>();
   line->queue.nextKeyIs( 100 );
   EXPECT_EQ( line->queue.nextKey(), 100u );
   EXPECT_EQ( line->queue.enq( 70 )->key(), 100u );
   line->queue.nextKeyIs( 200 );
   EXPECT_EQ( line->queue.enq( 71 )->key(), 200u );
   line->queue.nextKeyIs( 5 ); // the tail's key is not below it
   EXPECT_EQ( line->queue.enq( 72 )->key(), 201u );
   line->queue.nextKeyIs( 201 );
   EXPECT_EQ( line->queue.enq( 73 )->key(), 202u );
   EXPECT_EQ( line->queue.nextKey(), 202u );
   line->queue.nextKeyIs( 203 );
   EXPECT_EQ( line->queue.enq( 74 )->key(), 203u );
}

TEST( LinkQueue, SetOverwritesWhatStandsAtThePosition ) {
   const Ptr<Line> line = lineOf( { 70, 71 } );
   const Ptr<Entry> before = line->queue.find( 1 );
   const Ptr<Entry> set = line->queue.set( 1, 99 );
   EXPECT_EQ( set.get(), before.get() );
   EXPECT_EQ( line->content(), ( Content{ { 0, 70 }, { 1, 99 } } ) );
   EXPECT_EQ( line->queue.set( 1, 99 ).get(), nullptr );
   EXPECT_EQ( line->queue.count(), 2u );
}

TEST( LinkQueue, SetOfAnAbsentPositionPutsTheEntryInItsPlace ) {
   const Ptr<Line> line = make<Line>();
   line->queue.set( 5000, 1 );
   line->queue.set( 10, 2 );
   line->queue.set( 3'000'000'000, 3 );
   const Ptr<Entry> set = line->queue.set( 4999, 4 );
   EXPECT_EQ( set->key(), 4999u );
   EXPECT_EQ( set->value(), 4u );
   line->queue.set( 0, 5 );
   EXPECT_EQ( line->content(),
              ( Content{ { 0, 5 }, { 10, 2 }, { 4999, 4 }, { 5000, 1 }, { 3'000'000'000, 3 } } ) );
   EXPECT_EQ( line->queue.count(), 5u );
   EXPECT_EQ( line->queue.head()->key(), 0u );
   EXPECT_EQ( line->queue.find( 4999 ).get(), set.get() );
   EXPECT_EQ( line->queue.find( 4998 ).get(), nullptr );
}

TEST( LinkQueue, EnqCountsOnFromATailThatWasSet ) {
   const Ptr<Line> line = lineOf( { 70 } );
   line->queue.set( 500, 71 );
   EXPECT_EQ( line->queue.nextKey(), 0u );
   EXPECT_EQ( line->queue.enq( 72 )->key(), 501u );
}

TEST( LinkQueue, InsertPutsAnEntryWhereNoneStands ) {
   const Ptr<Line> line = lineOf( { 70, 71 } );
   line->queue.take( 0 );
   EXPECT_EQ( line->queue.insert( 0, 72 )->key(), 0u );
   EXPECT_EQ( line->content(), ( Content{ { 0, 72 }, { 1, 71 } } ) );
   try {
      line->queue.insert( 1, 73 );
      FAIL() << "was inserted over another";
   } catch( const NameInUseException &error ) {
      EXPECT_STREQ( error.what(), "the position 1 is taken already" );
   }
   EXPECT_EQ( line->content(), ( Content{ { 0, 72 }, { 1, 71 } } ) );
}

TEST( LinkQueue, TheValueOfAnEntryIsOverwritten ) {
   const Ptr<Line> line = lineOf( { 70, 71 } );
   line->queue.valueIs( *line->queue.head(), 99 );
   EXPECT_EQ( line->content(), ( Content{ { 0, 99 }, { 1, 71 } } ) );
}

TEST( LinkQueue, KeysGoOnAtZeroBehindTheLastOne ) {
   const Ptr<Line> line = make<Line>();
   line->queue.nextKeyIs( kLastKey - 1 );
   for( const U32 value : { 70u, 71u, 72u, 73u } ) {
      line->queue.enq( value );
   }
   EXPECT_EQ( line->content(),
              ( Content{ { kLastKey - 1, 70 }, { kLastKey, 71 }, { 0, 72 }, { 1, 73 } } ) );
   EXPECT_EQ( line->queue.nextKey(), 1u );
   EXPECT_EQ( line->queue.find( kLastKey )->value(), 71u );
   EXPECT_EQ( line->queue.find( 0 )->value(), 72u );
   EXPECT_EQ( line->queue.deq()->value(), 70u );
   EXPECT_EQ( line->queue.take( 1 )->value(), 73u );
   EXPECT_EQ( line->queue.take( 0 )->value(), 72u );
   EXPECT_EQ( line->queue.nextKey(), 0u ); // behind the last key
   EXPECT_EQ( line->queue.enq( 74 )->key(), 0u );
   EXPECT_EQ( line->content(), ( Content{ { kLastKey, 71 }, { 0, 74 } } ) );
   EXPECT_EQ( line->queue.deq()->value(), 71u );
   EXPECT_EQ( line->queue.enq( 75 )->key(), 1u );
   EXPECT_EQ( line->content(), ( Content{ { 0, 74 }, { 1, 75 } } ) );
}

TEST( LinkQueue, OnceTheKeysHaveWrappedAPositionBelowTheHeadStandsBehindTheTail ) {
   const Ptr<Line> line = make<Line>();
   line->queue.nextKeyIs( kLastKey );
   line->queue.enq( 70 );
   line->queue.set( 5, 71 ); // not yet: before the head
   EXPECT_EQ( line->content(), ( Content{ { 5, 71 }, { kLastKey, 70 } } ) );
   line->queue.deq();
   line->queue.enq( 72 ); // wraps
   line->queue.set( 5, 73 );
   line->queue.set( 3, 74 );
   line->queue.set( kLastKey - 1, 75 ); // the largest key of the next round
   EXPECT_EQ(
         line->content(),
         ( Content{ { kLastKey, 70 }, { 0, 72 }, { 3, 74 }, { 5, 73 }, { kLastKey - 1, 75 } } ) );
   line->queue.set( 5, 76 );
   EXPECT_EQ( line->queue.find( 5 )->value(), 76u );
   EXPECT_EQ( line->queue.count(), 5u );
}

/// A line with entries at `head`, at the last key, and from 0 up to `tail`: one behind the other
/// around the circle.
Ptr<Line> wrappedLine( U32 head, U32 tail ) {
   Ptr<Line> line = make<Line>();
   line->queue.nextKeyIs( head );
   line->queue.enq( 1 );
   line->queue.nextKeyIs( kLastKey );
   line->queue.enq( 2 );
   line->queue.enq( 3 ); // at 0
   line->queue.nextKeyIs( tail );
   line->queue.enq( 4 );
   return line;
}

/// What Enq says when it cannot.
String refusal( Line &line ) {
   try {
      return "took " + std::to_string( line.queue.enq( 99 )->key() );
   } catch( const RangeException &error ) {
      return error.what();
   }
}

TEST( LinkQueue, IsFullWhenTheKeysHaveComeRoundToTheHeads ) {
   const Ptr<Line> line = wrappedLine( 10, 7 );
   EXPECT_EQ( line->queue.enq( 5 )->key(), 8u ); // 9 would be the one before the head's
   const Content full = line->content();
   EXPECT_EQ( refusal( *line ), "linkqueue index space full" );
   EXPECT_EQ( refusal( *line ), "linkqueue index space full" );
   EXPECT_EQ( line->content(), full );
   EXPECT_EQ( line->queue.nextKey(), 8u );
}

TEST( LinkQueue, AFullQueueTakesMoreWhenItsHeadHasGone ) {
   const Ptr<Line> line = wrappedLine( 10, 8 );
   EXPECT_EQ( refusal( *line ), "linkqueue index space full" );
   line->queue.deq();
   EXPECT_EQ( refusal( *line ), "took 9" );
   EXPECT_EQ( refusal( *line ), "took 10" );
}

TEST( LinkQueue, AFullQueueTakesMoreWhenItsTailHasGone ) {
   const Ptr<Line> line = wrappedLine( 10, 8 );
   line->queue.take( 8 );
   EXPECT_EQ( refusal( *line ), "took 1" );
}

TEST( LinkQueue, IsFullAtTheLastKeyWhenItsHeadStandsAtZero ) {
   const Ptr<Line> line = lineOf( { 1 } );
   line->queue.nextKeyIs( kLastKey - 1 );
   EXPECT_EQ( refusal( *line ), "took " + std::to_string( kLastKey - 1 ) );
   EXPECT_EQ( refusal( *line ), "linkqueue index space full" );
}

TEST( LinkQueue, AChosenNextKeyBeyondTheHeadIsRefusedToo ) {
   const Ptr<Line> line = wrappedLine( 10, 3 );
   line->queue.nextKeyIs( 1000 );
   EXPECT_EQ( refusal( *line ), "linkqueue index space full" );
   EXPECT_EQ( line->queue.count(), 4u );
}

TEST( LinkQueue, OfTwoEntriesTheOneNearerToTheHeadIsTheOlder ) {
   const Ptr<Line> line = make<Line>();
   line->queue.nextKeyIs( kLastKey );
   const Ptr<Entry> first = line->queue.enq( 1 );
   const Ptr<Entry> second = line->queue.enq( 2 ); // at 0
   const Ptr<Entry> before = line->queue.set( 50, 3 );
   EXPECT_TRUE( first->isOlderThan( *second ) );
   EXPECT_FALSE( second->isOlderThan( *first ) );
   EXPECT_FALSE( first->isOlderThan( *first ) );
   EXPECT_TRUE( second->isOlderThan( *before ) );
}

TEST( LinkQueue, AHeldEntryIsReadableAfterItsRemovalAndAfterTheQueue ) {
   Ptr<Line> line = lineOf( { 70, 71 } );
   const Ptr<Entry> first = line->queue.deq();
   const Ptr<Entry> second = line->queue.head();
   line = nullptr;
   EXPECT_EQ( first->value(), 70u );
   EXPECT_EQ( second->value(), 71u );
   EXPECT_EQ( second->key(), 1u );
   EXPECT_FALSE( second->isMember() );
}

TEST( LinkQueue, EntriesCarryALinkForAnIndexBesideTheQueue ) {
   class Owner : public PtrInterface {
    public:
      LinkQueue<U32, String> queue{ this };
   };
   const Ptr<Owner> owner = make<Owner>();
   const auto entry = owner->queue.enq( 1 );
   EXPECT_EQ( entry->link(), "" );
   entry->link() = "beside";
   owner->queue.enq( 2 );
   EXPECT_EQ( owner->queue.head()->link(), "beside" );
}

TEST( LinkQueue, ARemovedValueThatNobodyHoldsGoesAtOnce ) {
   class Owner : public PtrInterface {
    public:
      LinkQueue<Ptr<Line>> queue{ this };
   };
   int alive = 0;
   {
      const Ptr<Owner> owner = make<Owner>();
      for( int i = 0; i < 3; ++i ) {
         owner->queue.enq( make<Line>( &alive ) );
      }
      owner->queue.deq();
      EXPECT_EQ( alive, 2 );
      owner->queue.take( 1 );
      EXPECT_EQ( alive, 1 );
   }
   EXPECT_EQ( alive, 0 );
}

TEST( LinkQueue, AnOverwrittenValueMayRemoveItsOwnPositionAsItGoes ) {
   class Owner : public PtrInterface {
    public:
      LinkQueue<Ptr<Surprise>> queue{ this };
   };
   const Ptr<Owner> owner = make<Owner>();
   owner->queue.enq( make<Surprise>( [&] { owner->queue.take( 0 ); } ) );
   const auto changed = owner->queue.set( 0, nullptr );
   ASSERT_TRUE( changed );
   EXPECT_EQ( changed->key(), 0u );
   EXPECT_FALSE( changed->isMember() );
   EXPECT_EQ( owner->queue.count(), 0u );
}

} // namespace
} // namespace Quor
