// Entries of queues that somebody holds when they have been removed: what they keep, and what takes
// their positions meanwhile.
#include "tests/unit/quor/AllocationCount.h"
#include "tests/unit/quor/Stubborn.h"
#include "tests/unit/quor/Surprise.h"
#include "tests/unit/quor/ThreadSafePointers.h"
#include "tests/unit/quor/Twins.h"

#include <gtest/gtest.h>

#include <thread>

namespace Quor {
namespace {

using Content = Line::Content;
using Entry = Line::Queue::Entry;

TEST( LinkQueueHeld, APositionIsSetAgainWhileItsFormerEntryIsHeld ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72 } );
   const Ptr<Entry> former = line->queue.take( 1 );
   const Ptr<Entry> now = line->queue.insert( 1, 99 );
   EXPECT_NE( now.get(), former.get() );
   EXPECT_EQ( now->key(), 1u );
   EXPECT_EQ( former->key(), 1u );
   EXPECT_EQ( former->value(), 71u );
   EXPECT_FALSE( former->isMember() );
   EXPECT_TRUE( line->queue.head()->isOlderThan( *former ) );
   EXPECT_TRUE( former->isOlderThan( *line->queue.find( 2 ) ) );
   EXPECT_EQ( line->queue.find( 1 ).get(), now.get() );
   EXPECT_EQ( line->content(), ( Content{ { 0, 70 }, { 1, 99 }, { 2, 72 } } ) );
   EXPECT_EQ( line->queue.take( 1 ).get(), now.get() );
   EXPECT_EQ( line->content(), ( Content{ { 0, 70 }, { 2, 72 } } ) );
}

TEST( LinkQueueHeld, APositionIsSetAgainAnyNumberOfTimes ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72 } );
   std::vector<Ptr<Entry>> former;
   for( U32 value = 100; value < 140; ++value ) {
      former.push_back( line->queue.take( 1 ) );
      line->queue.set( 1, value );
      ASSERT_EQ( line->content(), ( Content{ { 0, 70 }, { 1, value }, { 2, 72 } } ) );
   }
   for( U32 i = 1; i < former.size(); ++i ) {
      ASSERT_EQ( former[i]->value(), 99 + i );
      ASSERT_EQ( former[i]->key(), 1u );
   }
   EXPECT_EQ( line->queue.pageCount(), 1u );
}

TEST( LinkQueueHeld, TheTailIsTakenAndAppendedAgainAndAgain ) {
   const Ptr<Line> line = lineOf( { 70 } );
   std::vector<Ptr<Entry>> former;
   for( U32 value = 0; value < 100; ++value ) {
      ASSERT_EQ( line->queue.enq( value )->key(), 1u );
      former.push_back( line->queue.take( 1 ) );
      ASSERT_EQ( former.back()->value(), value );
   }
   EXPECT_EQ( line->content(), ( Content{ { 0, 70 } } ) );
}

TEST( LinkQueueHeld, ValuesAreExtractedWhetherTheirEntriesAreHeldOrNot ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72, 73, 74 } );
   const Ptr<Entry> head = line->queue.find( 0 );
   const Ptr<Entry> inside = line->queue.find( 2 );
   EXPECT_EQ( line->queue.extractFirst(), 70u );
   EXPECT_EQ( line->queue.extract( 2 ), 72u );
   EXPECT_EQ( line->queue.extract( 2 ), 0u ); // nothing stands there
   EXPECT_EQ( line->queue.extract( *line->queue.find( 3 ) ), 73u );
   for( const Ptr<Entry> &gone : { head, inside } ) {
      EXPECT_FALSE( gone->isMember() );
      EXPECT_EQ( gone->value(), 70 + gone->key() );
   }
   EXPECT_EQ( line->content(), ( Content{ { 1, 71 }, { 4, 74 } } ) );
   EXPECT_EQ( line->queue.extractFirst(), 71u );
   EXPECT_EQ( line->queue.extractFirst(), 74u );
   EXPECT_EQ( line->queue.extractFirst(), 0u ); // nobody is left
   EXPECT_EQ( line->queue.count(), 0u );
}

TEST( LinkQueueHeld, ValuesAreExtractedFromPagesThatStandAside ) {
   for( const bool isHeld : { false, true } ) {
      const Ptr<Line> line = lineOf( { 70, 71, 72, 73 } );
      std::vector<Ptr<Entry>> former;
      for( const U32 key : { 0u, 1u, 1u, 2u } ) { // 1 stands aside of a page that is aside itself
         former.push_back( line->queue.take( key ) );
         line->queue.set( key, 100 + key );
      }
      const Ptr<Entry> held = isHeld ? line->queue.find( 1 ) : nullptr;
      EXPECT_EQ( line->queue.extract( 1 ), 101u );
      EXPECT_EQ( line->content(), ( Content{ { 0, 100 }, { 2, 102 }, { 3, 73 } } ) );
      EXPECT_EQ( line->queue.extractFirst(), 100u );
      EXPECT_EQ( line->queue.extractFirst(), 102u );
      EXPECT_EQ( line->queue.extractFirst(), 73u );
      EXPECT_EQ( line->queue.count(), 0u );
      EXPECT_EQ( line->queue.pageCount(), 0u );
      EXPECT_EQ( former[2]->value(), 101u );
   }
}

TEST( LinkQueueHeld, EnqCountsOnFromTheNewTailWhenTheTailIsExtracted ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72 } );
   EXPECT_EQ( line->queue.extract( 2 ), 72u );
   EXPECT_EQ( line->queue.enq( 99 )->key(), 2u );
   const Ptr<Entry> held = line->queue.take( 2 );
   line->queue.set( 2, 98 ); // aside
   EXPECT_EQ( line->queue.extract( 2 ), 98u );
   EXPECT_EQ( line->queue.enq( 97 )->key(), 2u );
   EXPECT_EQ( line->queue.extract( 1 ), 71u ); // not the tail
   EXPECT_EQ( line->queue.enq( 96 )->key(), 3u );
}

TEST( LinkQueueHeld, AWholeStretchIsSetAgain ) {
   const Ptr<Line> line = make<Line>();
   std::vector<Ptr<Entry>> former;
   Content expected;
   for( U32 key = 0; key < 200; ++key ) {
      line->queue.enq( key );
   }
   for( U32 key = 1; key < 200; ++key ) { // the one at 0 keeps the first page
      former.push_back( line->queue.take( key ) );
   }
   for( U32 key = 199; key > 0; --key ) {
      line->queue.set( key, 1000 + key );
   }
   for( U32 key = 0; key < 200; ++key ) {
      expected.emplace_back( key, key == 0 ? 0 : 1000 + key );
   }
   EXPECT_EQ( line->content(), expected );
   EXPECT_EQ( line->queue.deq()->value(), 0u );
   EXPECT_EQ( line->queue.deq()->value(), 1001u );
   line->queue.clear();
   EXPECT_EQ( line->content(), Content() );
   EXPECT_EQ( line->queue.pageCount(), 0u );
   EXPECT_EQ( former.front()->value(), 1u );
   EXPECT_EQ( former.back()->value(), 199u );
}

TEST( LinkQueueHeld, AWalkVisitsWhatStandsWhereHeldEntriesStood ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72, 73 } );
   std::vector<Ptr<Entry>> former;
   Content visited;
   for( auto at = line->queue.begin(); at != line->queue.end(); ++at ) {
      visited.emplace_back( at->key(), at->value() );
      if( at->key() == 1 ) {
         for( const U32 key : { 0u, 1u, 2u } ) {
            former.push_back( line->queue.take( key ) );
            line->queue.set( key, 90 + key );
         }
      }
   }
   EXPECT_EQ( visited, ( Content{ { 0, 70 }, { 1, 71 }, { 2, 92 }, { 3, 73 } } ) );
   EXPECT_EQ( line->content(), ( Content{ { 0, 90 }, { 1, 91 }, { 2, 92 }, { 3, 73 } } ) );
}

TEST( LinkQueueHeld, AnEntryOutlivesTheQueueAndThoseBesideIt ) {
   Ptr<Line> line = lineOf( { 70, 71, 72 } );
   Ptr<Entry> former = line->queue.take( 1 );
   line->queue.set( 1, 99 );
   Ptr<Entry> aside = line->queue.find( 1 );
   const Ptr<Entry> last = line->queue.find( 2 );
   line = nullptr;
   EXPECT_EQ( aside->value(), 99u );
   aside = nullptr;
   EXPECT_EQ( former->value(), 71u );
   former = nullptr;
   EXPECT_EQ( last->value(), 72u );
   EXPECT_EQ( last->key(), 2u );
}

TEST( LinkQueueHeld, TheWholeHistoryAgreesWithAPlainList ) {
   for( U32 seed = 1; seed <= 40 && !testing::Test::HasFatalFailure(); ++seed ) {
      SCOPED_TRACE( "seed " + std::to_string( seed ) );
      Twins twins( seed );
      const U32 unrest = 1 + twins.dice().roll( 4 );
      for( int step = 0; step < 400 && !testing::Test::HasFatalFailure(); ++step ) {
         twins.step();
         twins.checkHeld();
         for( U32 i = twins.dice().roll( 4 ); i > 0; --i ) {
            twins.hold();
         }
         for( U32 i = twins.dice().roll( unrest ); i > 0; --i ) {
            twins.disturbHeld();
            twins.checkAll();
            twins.checkHeld();
         }
         for( U32 i = twins.dice().roll( 4 ); i > 0; --i ) {
            twins.letGo();
         }
         twins.checkAll();
         twins.checkHeld();
      }
   }
}

// Values that do more than a number

template <class Value>
class Owner : public PtrInterface {
 public:
   LinkQueue<Value> queue{ this };
};

TEST( LinkQueueHeld, AValueThatGoesMayPutAnotherOneInItsPlace ) {
   const Ptr<Owner<Ptr<Surprise>>> owner = make<Owner<Ptr<Surprise>>>();
   owner->queue.enq( nullptr );
   owner->queue.enq( make<Surprise>( [&] { owner->queue.set( 1, nullptr ); } ) );
   owner->queue.take( 1 ); // goes at once
   ASSERT_EQ( owner->queue.count(), 2u );
   EXPECT_EQ( owner->queue.find( 1 )->value(), nullptr );
   owner->queue.deq();
   owner->queue.deq();
   EXPECT_EQ( owner->queue.pageCount(), 0u );
}

class LinkQueueRefusal : public testing::Test {
 protected:
   ~LinkQueueRefusal() override { Stubborn::refuses = false; }

   Content content() const {
      Content all;
      for( const auto &entry : owner_->queue ) {
         all.emplace_back( entry.key(), entry.value().number );
      }
      return all;
   }
   /// The queue is as before when the value cannot be copied, and takes it afterwards.
   template <class Do>
   void tries( const Do &change ) {
      const Content before = content();
      const U32 nextKey = owner_->queue.nextKey();
      const U32 pages = owner_->queue.pageCount();
      Stubborn::refuses = true;
      EXPECT_THROW( change(), std::runtime_error );
      const std::size_t bytes = allocatedBytes();
      for( int i = 0; i < 20; ++i ) {
         EXPECT_THROW( change(), std::runtime_error );
      }
      EXPECT_EQ( allocatedBytes(), bytes ) << "a refusal costs no page";
      Stubborn::refuses = false;
      EXPECT_EQ( content(), before );
      EXPECT_EQ( owner_->queue.nextKey(), nextKey );
      EXPECT_EQ( owner_->queue.pageCount(), pages );
      change();
   }

   const Ptr<Owner<Stubborn>> owner_ = make<Owner<Stubborn>>();
   LinkQueue<Stubborn> &queue_ = owner_->queue;
   const Stubborn seven_{ 7 };
};

TEST_F( LinkQueueRefusal, OfTheFirstValueLeavesTheQueueEmpty ) {
   tries( [&] { queue_.enq( seven_ ); } );
   EXPECT_EQ( content(), ( Content{ { 0, 7 } } ) );
}

TEST_F( LinkQueueRefusal, InTheMiddleLeavesTheQueueAsItIs ) {
   queue_.enq( Stubborn( 1 ) );
   queue_.set( 1000, Stubborn( 2 ) );
   tries( [&] { queue_.set( 1, seven_ ); } );
   tries( [&] { queue_.insert( 500, seven_ ); } );
   tries( [&] { queue_.enq( seven_ ); } );
   EXPECT_EQ( content(), ( Content{ { 0, 1 }, { 1, 7 }, { 500, 7 }, { 1000, 2 }, { 1001, 7 } } ) );
}

TEST_F( LinkQueueRefusal, WhereAHeldEntryStoodLeavesTheQueueAsItIs ) {
   queue_.enq( Stubborn( 1 ) );
   queue_.enq( Stubborn( 2 ) );
   const auto former = queue_.take( 1 );
   tries( [&] { queue_.set( 1, seven_ ); } );
   EXPECT_EQ( content(), ( Content{ { 0, 1 }, { 1, 7 } } ) );
   EXPECT_EQ( former->value().number, 2u );
}

TEST( LinkQueueHeld, EntriesAreLetGoOfByOtherThreads ) {
   const ThreadSafePointers on;
   constexpr U32 kCount = 20'000;
   const Ptr<Line> line = make<Line>();
   std::vector<Ptr<Entry>> here;
   std::vector<Ptr<Entry>> there;
   for( U32 i = 0; i < kCount; ++i ) {
      line->queue.enq( i );
   }
   for( U32 key = 0; key < kCount; ++key ) { // every page is let go of by both
      const Ptr<Entry> entry = line->queue.take( key );
      ( key % 3 == 0 ? here : there ).push_back( entry );
   }
   U64 sum = 0;
   std::thread other( [&] {
      for( Ptr<Entry> &entry : there ) {
         sum += entry->value() + entry->key();
         entry = nullptr;
      }
   } );
   U64 sumHere = 0;
   for( Ptr<Entry> &entry : here ) {
      sumHere += entry->value() + entry->key();
      entry = nullptr;
      line->queue.enq( 1 ); // needs pages meanwhile
   }
   other.join();
   EXPECT_EQ( sum + sumHere, U64{ kCount } * ( kCount - 1 ) );
   EXPECT_EQ( line->queue.count(), here.size() );
   EXPECT_EQ( line->queue.deq()->value(), 1u );
}

} // namespace
} // namespace Quor
