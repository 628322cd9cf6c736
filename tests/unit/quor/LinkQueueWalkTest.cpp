// Queues against a simple model, and walks over queues that change under them.
#include "tests/unit/quor/Dice.h"
#include "tests/unit/quor/Line.h"

#include <gtest/gtest.h>

#include <algorithm>
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

TEST( LinkQueueWalk, StartsAtAnEntry ) {
   const Ptr<Line> line = lineAt( { 0, 100, 200 } );
   Iterator at = line->queue.iteratorAt( *line->queue.find( 100 ) );
   EXPECT_EQ( at->key(), 100u );
   ++at;
   EXPECT_EQ( ( *at ).key(), 200u );
   ++at;
   EXPECT_TRUE( at == std::default_sentinel );
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

/// The queue as one would write it down first: a list in order.
class Model {
 public:
   /// The position, or "full".
   String enq( U32 value ) {
      U32 key = nextKey;
      if( !list.empty() ) {
         const U32 tail = list.back().first;
         key = tail < nextKey ? nextKey : tail + 1;
         const U64 length = distance( list.front().first, tail ) + U64{ distance( tail, key ) };
         if( length >= kLastKey ) {
            return "full";
         }
      }
      nextKey = key;
      list.emplace_back( key, value );
      return std::to_string( key );
   }
   void set( U32 key, U32 value ) {
      const auto found = find( key );
      if( found != list.end() ) {
         found->second = value;
         return;
      }
      const bool wrapped = !list.empty() && list.back().first < list.front().first;
      const U32 origin = wrapped ? list.front().first : 0;
      list.emplace_back( key, value );
      std::stable_sort( list.begin(), list.end(), [&]( const auto &a, const auto &b ) {
         return distance( origin, a.first ) < distance( origin, b.first );
      } );
   }
   void take( U32 key ) {
      const auto found = find( key );
      if( found == list.end() ) {
         return;
      }
      const bool tail = &*found == &list.back();
      list.erase( found );
      if( tail && !list.empty() ) {
         nextKey = list.back().first + 1;
      }
   }
   Content::iterator find( U32 key ) {
      return std::find_if( list.begin(), list.end(),
                           [&]( const auto &entry ) { return entry.first == key; } );
   }

   Content list;
   U32 nextKey = 0;

 private:
   static U32 distance( U32 from, U32 to ) { return to - from; }
};

/// A queue and its model, which live through the same.
class Twins {
 public:
   explicit Twins( U32 seed ) : dice_( seed ) {
      static constexpr U32 kStarts[] = { 0, 1000, kLastKey - 100, kLastKey };
      nextKeyIs( kStarts[dice_.roll( 4 )] );
   }

   const Ptr<Line> &line() const { return line_; }
   const Content &list() const { return model_.list; }
   Dice &dice() { return dice_; }

   void step() {
      const U32 value = dice_.roll( 3 );
      switch( dice_.roll( 12 ) ) {
      case 0:
      case 1:
      case 2:
      case 3:
         enq( value );
         break;
      case 4:
      case 5:
         deq();
         break;
      case 6:
      case 7:
         take( someKey() );
         break;
      case 8:
         set( someKey(), value );
         break;
      case 9: // a whole stretch
         for( U32 i = dice_.roll( 100 ); i > 0; --i ) {
            enq( value );
         }
         break;
      case 10:
         for( U32 i = dice_.roll( 150 ), key = someKey(); i > 0; --i ) {
            take( key++ );
         }
         break;
      default:
         if( dice_.roll( 6 ) == 0 ) {
            nextKeyIs( someKey() );
         } else if( dice_.roll( 6 ) == 0 ) {
            line_->queue.clear();
            model_.list.clear();
         }
      }
   }

   void checkAll() {
      ASSERT_EQ( line_->content(), model_.list );
      ASSERT_EQ( line_->queue.count(), model_.list.size() );
      ASSERT_EQ( line_->queue.nextKey(), model_.nextKey );
   }

 private:
   void enq( U32 value ) {
      String got;
      try {
         got = std::to_string( line_->queue.enq( value )->key() );
      } catch( const RangeException & ) {
         got = "full";
      }
      ASSERT_EQ( got, model_.enq( value ) );
   }
   void deq() {
      const auto head = line_->queue.deq();
      ASSERT_EQ( static_cast<bool>( head ), !model_.list.empty() );
      if( head ) {
         ASSERT_EQ( std::pair( head->key(), head->value() ), model_.list.front() );
         model_.list.erase( model_.list.begin() );
      }
   }
   void take( U32 key ) {
      const auto found = model_.find( key );
      const bool present = found != model_.list.end();
      const auto standing = line_->queue.find( key );
      ASSERT_EQ( static_cast<bool>( standing ), present ) << key;
      ASSERT_EQ( line_->queue.take( key ).get(), standing.get() ) << key;
      model_.take( key );
   }
   void set( U32 key, U32 value ) {
      const auto found = model_.find( key );
      const bool changes = found == model_.list.end() || found->second != value;
      ASSERT_EQ( static_cast<bool>( line_->queue.set( key, value ) ), changes ) << key;
      model_.set( key, value );
   }
   void nextKeyIs( U32 key ) {
      line_->queue.nextKeyIs( key );
      model_.nextKey = key;
   }

   /// One that is there, one near it, or any.
   U32 someKey() {
      if( model_.list.empty() || dice_.roll( 30 ) == 0 ) {
         return dice_.any();
      }
      const U32 there = model_.list[dice_.roll( static_cast<U32>( model_.list.size() ) )].first;
      return there + ( dice_.roll( 2 ) ? 0 : dice_.roll( 200 ) - 100 );
   }

   Dice dice_;
   const Ptr<Line> line_ = make<Line>();
   Model model_;
};

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
