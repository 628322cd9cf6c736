// Queues against a simple model, and walks over queues that change under them.
#include "tests/unit/quor/Twins.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace Quor {
namespace {

using Content = Line::Content;
using Iterator = Line::Queue::Iterator;
using Numbers = std::vector<U32>;

/// The positions that a walk visits when `disturb` is called at every one of them.
Numbers walk( const Ptr<Line> &line, const std::function<void( U32 )> &disturb ) {
   Numbers visited;
   for( const Line::Queue::Entry &entry : line->queue ) {
      visited.push_back( entry.key() );
      disturb( visited.back() );
   }
   return visited;
}

/// A line with entries at these positions.
Ptr<Line> lineAt( const Numbers &keys ) {
   Ptr<Line> line = make<Line>();
   for( const U32 key : keys ) {
      line->queue.set( key, key );
   }
   return line;
}

TEST( LinkQueueWalk, RemovesEveryEntryAsItComesToIt ) {
   const Ptr<Line> line = lineAt( { 0, 1, 2, 500 } );
   EXPECT_EQ( walk( line, [&]( U32 key ) { line->queue.take( key ); } ),
              ( Numbers{ 0, 1, 2, 500 } ) );
   EXPECT_EQ( line->queue.count(), 0u );
}

TEST( LinkQueueWalk, RemovesThroughItself ) {
   const Ptr<Line> line = lineAt( { 0, 1 } );
   Iterator at = line->queue.begin();
   const auto taken = line->queue.take( at );
   ASSERT_TRUE( taken );
   EXPECT_EQ( taken->key(), 0u );
   EXPECT_EQ( line->queue.take( at ).get(), nullptr );
   line->queue.set( 0, 99 ); // another entry at the position
   EXPECT_EQ( line->queue.take( at ).get(), nullptr );
   at++;
   EXPECT_EQ( at->key(), 1u );
   EXPECT_EQ( line->queue.count(), 2u );
}

TEST( LinkQueueWalk, CountsOnFromTheNewTailWhenTheTailGoesThroughIt ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72 } );
   line->queue.take( 1 );
   Iterator at = line->queue.begin();
   ++at;
   EXPECT_EQ( at->key(), 2u );
   line->queue.take( at );
   EXPECT_EQ( line->queue.nextKey(), 1u );
}

TEST( LinkQueueWalk, DoesNotVisitTheNextEntryWhenThatIsRemoved ) {
   const Ptr<Line> line = lineAt( { 0, 1, 2, 3 } );
   EXPECT_EQ( walk( line, [&]( U32 key ) { line->queue.take( key + 1 ); } ), ( Numbers{ 0, 2 } ) );
}

TEST( LinkQueueWalk, VisitsWhatIsAppendedUnderIt ) {
   const Ptr<Line> line = lineOf( { 70, 71 } );
   const auto disturb = [&]( U32 key ) {
      if( key < 100 ) {
         line->queue.enq( 1 );
      }
   };
   EXPECT_EQ( walk( line, disturb ).size(), 102u );
}

TEST( LinkQueueWalk, CyclesTheHeadToTheTail ) {
   const Ptr<Line> line = lineOf( { 70, 71, 72 } );
   Numbers values;
   for( Iterator at = line->queue.begin(); at != line->queue.end() && values.size() < 7; ++at ) {
      values.push_back( at->value() );
      line->queue.enq( line->queue.deq()->value() );
   }
   EXPECT_EQ( values, ( Numbers{ 70, 71, 72, 70, 71, 72, 70 } ) );
}

TEST( LinkQueueWalk, VisitsWhatIsSetAheadOfItAndNotWhatIsSetBehind ) {
   const Ptr<Line> line = lineAt( { 40, 80 } );
   const auto disturb = [&]( U32 key ) {
      if( key == 40 ) {
         line->queue.set( 20, 0 );
         line->queue.set( 60, 0 );
      }
   };
   EXPECT_EQ( walk( line, disturb ), ( Numbers{ 40, 60, 80 } ) );
}

TEST( LinkQueueWalk, DoesNotVisitTheCurrentPositionAgainWhenItIsRefilled ) {
   const Ptr<Line> line = lineAt( { 1, 2, 3 } );
   const auto disturb = [&]( U32 key ) {
      line->queue.take( key );
      line->queue.set( key, 9 );
   };
   EXPECT_EQ( walk( line, disturb ), ( Numbers{ 1, 2, 3 } ) );
   EXPECT_EQ( line->content(), ( Content{ { 1, 9 }, { 2, 9 }, { 3, 9 } } ) );
}

TEST( LinkQueueWalk, GoesOnWhenWholeStretchesVanishAroundIt ) {
   const Ptr<Line> line = make<Line>();
   for( U32 key = 0; key < 1000; ++key ) {
      line->queue.enq( key );
   }
   const auto disturb = [&]( U32 key ) {
      if( key == 300 ) {
         for( U32 gone = 100; gone < 700; ++gone ) {
            line->queue.take( gone );
         }
      }
   };
   const Numbers visited = walk( line, disturb );
   ASSERT_EQ( visited.size(), 301u + 300u );
   EXPECT_EQ( visited[300], 300u );
   EXPECT_EQ( visited[301], 700u );
   EXPECT_EQ( visited.back(), 999u );
}

TEST( LinkQueueWalk, GoesOnWhenEverythingUpToBehindItIsDequeued ) {
   const Ptr<Line> line = make<Line>();
   for( U32 key = 0; key < 300; ++key ) {
      line->queue.enq( key );
   }
   Iterator at = line->queue.begin();
   while( line->queue.count() > 10 ) {
      line->queue.deq();
   }
   ++at;
   EXPECT_EQ( at->key(), 290u );
}

TEST( LinkQueueWalk, GoesOnWhenTheGapItStandsInIsFilledAgain ) {
   const Ptr<Line> line = lineAt( { 0, 100, 200, 300 } );
   const auto disturb = [&]( U32 key ) {
      if( key == 100 ) {
         line->queue.take( 100 );
         line->queue.take( 200 );
         line->queue.set( 90, 1 );
         line->queue.set( 110, 1 );
      }
   };
   EXPECT_EQ( walk( line, disturb ), ( Numbers{ 0, 100, 110, 300 } ) );
}

TEST( LinkQueueWalk, EndsWhenAllIsRemoved ) {
   const Ptr<Line> line = lineAt( { 0, 100, 200 } );
   EXPECT_EQ( walk( line, [&]( U32 ) { line->queue.clear(); } ), Numbers{ 0 } );
}

TEST( LinkQueueWalk, PassesTheLastKey ) {
   const Ptr<Line> line = make<Line>();
   line->queue.nextKeyIs( kLastKey - 1 );
   for( U32 i = 0; i < 4; ++i ) {
      line->queue.enq( i );
   }
   EXPECT_EQ( walk( line, [&]( U32 key ) { line->queue.take( key ); } ),
              ( Numbers{ kLastKey - 1, kLastKey, 0, 1 } ) );
}

TEST( LinkQueueWalk, KeepsItsEntryAndTheOwnerOfTheQueue ) {
   int alive = 0;
   Ptr<Line> line = make<Line>( &alive );
   line->queue.enq( 70 );
   line->queue.enq( 71 );
   {
      Iterator at = line->queue.begin();
      line->queue.deq();
      line = nullptr;
      EXPECT_EQ( alive, 1 );
      EXPECT_EQ( at->value(), 70u );
      ++at;
      EXPECT_EQ( at->value(), 71u );
   }
   EXPECT_EQ( alive, 0 );
}

TEST( LinkQueue, AgreesWithAPlainListThroughLongHistories ) {
   for( U32 seed = 1; seed <= 40 && !HasFatalFailure(); ++seed ) {
      SCOPED_TRACE( "seed " + std::to_string( seed ) );
      Twins twins( seed );
      for( int step = 0; step < 400 && !HasFatalFailure(); ++step ) {
         twins.step();
         twins.checkAll();
      }
   }
}

TEST( LinkQueueWalk, KeepsItsPromisesWhateverHappensUnderIt ) {
   for( U32 seed = 1; seed <= 400 && !HasFatalFailure(); ++seed ) {
      SCOPED_TRACE( "seed " + std::to_string( seed ) );
      Twins twins( seed );
      for( int step = 0; step < 30; ++step ) {
         twins.step();
      }
      const Line::Queue &queue = twins.line()->queue;
      std::vector<Ptr<Line::Queue::Entry>> throughout;
      for( const auto &[key, value] : twins.list() ) {
         throughout.push_back( queue.find( key ) );
      }
      std::set<const Line::Queue::Entry *> visited;
      std::vector<Ptr<Line::Queue::Entry>> held; // so that no address is used twice
      const U32 unrest = twins.dice().roll( 3 );
      for( Iterator at = queue.begin(); at != queue.end() && held.size() < 2000; ++at ) {
         ASSERT_TRUE( at->isMember() ) << at->key() << " is visited after its removal";
         ASSERT_TRUE( visited.insert( &*at ).second ) << at->key() << " is visited twice";
         held.push_back( queue.find( at->key() ) );
         ASSERT_EQ( held.back().get(), &*at );
         for( U32 i = 0; i < unrest && twins.dice().roll( 4 ) == 0; ++i ) {
            twins.step();
         }
      }
      for( const auto &entry : throughout ) {
         if( entry->isMember() && held.size() < 2000 ) {
            ASSERT_TRUE( visited.contains( entry.get() ) )
                  << entry->key() << " was there throughout and is missed";
         }
      }
   }
}

} // namespace
} // namespace Quor
