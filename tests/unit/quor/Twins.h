// A queue beside a simple model of it.
#ifndef TESTS_UNIT_QUOR_TWINS_H
#define TESTS_UNIT_QUOR_TWINS_H

#include "tests/unit/quor/Dice.h"
#include "tests/unit/quor/Line.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace Quor {

/// The queue as one would write it down first: a list in order.
class QueueModel {
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
   Line::Content::iterator find( U32 key ) {
      return std::find_if( list.begin(), list.end(),
                           [&]( const auto &entry ) { return entry.first == key; } );
   }

   Line::Content list;
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
   const Line::Content &list() const { return model_.list; }
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

   /// Holds on to an entry that is there, whatever happens to it.
   void hold() {
      if( !model_.list.empty() ) {
         const auto &[key, value] =
               model_.list[dice_.roll( static_cast<U32>( model_.list.size() ) )];
         held_.push_back( { line_->queue.find( key ), key, value } );
      }
   }
   void letGo() {
      if( !held_.empty() ) {
         std::swap( held_[dice_.roll( static_cast<U32>( held_.size() ) )], held_.back() );
         held_.pop_back();
      }
   }
   /// Removes an entry that is held, or puts another one where it stood.
   void disturbHeld() {
      if( held_.empty() ) {
         return;
      }
      const U32 key = held_[dice_.roll( static_cast<U32>( held_.size() ) )].key;
      if( model_.find( key ) != model_.list.end() ) {
         take( key );
      } else {
         set( key, dice_.roll( 3 ) );
      }
   }
   /// Held entries are those of the list, or what they were when they left it.
   void checkHeld() {
      for( Held &held : held_ ) {
         ASSERT_EQ( held.entry->key(), held.key );
         if( held.entry->isMember() ) {
            const auto found = model_.find( held.key );
            ASSERT_TRUE( found != model_.list.end() ) << held.key;
            ASSERT_EQ( line_->queue.find( held.key ).get(), held.entry.get() );
            held.value = found->second;
         }
         ASSERT_EQ( held.entry->value(), held.value );
      }
   }

   void checkAll() {
      ASSERT_EQ( line_->content(), model_.list );
      ASSERT_EQ( line_->queue.count(), model_.list.size() );
      ASSERT_EQ( line_->queue.nextKey(), model_.nextKey );
   }

 private:
   struct Held {
      Ptr<Line::Queue::Entry> entry;
      U32 key;
      U32 value;
   };

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
   QueueModel model_;
   std::vector<Held> held_;
};

} // namespace Quor

#endif
