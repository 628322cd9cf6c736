// What keyed collections do with their keys, counted: how often one is hashed and compared, however
// many there are. And the order of keys whose hash is kept beside them.
#include "tests/unit/quor/HashMapKeys.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <set>

namespace Quor {
namespace {

struct Work {
   U32 hashes = 0;
   U32 comparisons = 0;
};
Work work;

template <std::size_t Bytes>
struct Padding {
   std::array<char, Bytes> more{};
};
template <>
struct Padding<0> {};

/// Counts what is done with it. Without more bytes it is hashed anew each time; a longer one has
/// its hash kept beside it.
template <std::size_t More>
struct Counting : Key, Padding<More> {
   explicit Counting( const Key &key ) : Key( key ) {}

   friend bool operator==( const Counting &a, const Counting &b ) {
      ++work.comparisons;
      return a.number == b.number;
   }
   friend bool operator<( const Counting &a, const Counting &b ) {
      ++work.comparisons;
      return a.number < b.number;
   }
};
static_assert( !kKeepsHash<Counting<0>> && kKeepsHash<Counting<8>> );

template <std::size_t More>
U32 naturalHash( const Counting<More> &key ) {
   ++work.hashes;
   return bitReverse( key.hash );
}
template <std::size_t More>
String valueToStrep( const Counting<More> &key ) {
   return std::to_string( key.number );
}

/// Keys spread at random, and keys as dense as the VLANs of a MAC.
enum class Spread { random, dense };

std::vector<Key> keysFor( Spread spread, U32 count ) {
   Dice dice( 3 );
   std::vector<Key> keys;
   for( U32 number = 0; number < count; ++number ) {
      keys.push_back(
            { spread == Spread::dense ? bitReverse( 0xABC00000 + number ) : dice.any(), number } );
   }
   return keys;
}

template <class Counted>
class HashMapWork : public testing::Test {
 protected:
   struct Owner : PtrInterface {
      HashMap<Counted, U32> map{ this };
   };
   /// What is done with the keys meanwhile.
   template <class Do>
   static Work workOf( const Do &change ) {
      work = {};
      change();
      return work;
   }
   static void fill( Owner &owner, const std::vector<Key> &keys ) {
      for( const Key &key : keys ) {
         owner.map.set( Counted( key ), key.number );
      }
   }
   static std::vector<U32> numbersIn( const Owner &owner ) {
      std::vector<U32> numbers;
      for( const auto &entry : owner.map ) {
         numbers.push_back( entry.key().number );
      }
      return numbers;
   }
   static std::vector<U32> numbersOf( std::vector<Key> keys ) {
      std::sort( keys.begin(), keys.end(), InOrder() );
      std::vector<U32> numbers;
      for( const Key &key : keys ) {
         numbers.push_back( key.number );
      }
      return numbers;
   }
   static constexpr bool kKept = kKeepsHash<Counted>;
   static constexpr U32 kSmall = 10'000;
};

using HashedAnewAndKept = testing::Types<Counting<0>, Counting<8>>;
TYPED_TEST_SUITE( HashMapWork, HashedAnewAndKept );

TYPED_TEST( HashMapWork, OfAnAddedKeyDoesNotGrowWithTheMap ) {
   for( const Spread spread : { Spread::random, Spread::dense } ) {
      for( const U32 count : { 1u, 2u, 4u, 8u, 16u } ) {
         const U32 added = count * this->kSmall;
         const auto keys = keysFor( spread, added );
         const auto owner = make<typename TestFixture::Owner>();
         const Work done = this->workOf( [&] { this->fill( *owner, keys ); } );
         EXPECT_EQ( owner->map.size(), added );
         if( this->kKept ) {
            EXPECT_EQ( done.hashes, added );
         } else {
            EXPECT_LE( done.hashes, 5 * added ); // with what stands in its chain, and with growth
         }
         EXPECT_LE( done.comparisons, added ); // with what it is put before
      }
   }
}

TYPED_TEST( HashMapWork, OfFindingAndRemovingDoesNotGrowWithTheMap ) {
   for( const Spread spread : { Spread::random, Spread::dense } ) {
      for( const U32 count : { 1u, 4u, 16u } ) {
         const U32 added = count * this->kSmall;
         const auto keys = keysFor( spread, added );
         const auto owner = make<typename TestFixture::Owner>();
         this->fill( *owner, keys );
         U32 found = 0;
         const Work finding = this->workOf( [&] {
            for( const Key &key : keys ) {
               found += owner->map.isMemberOf( TypeParam( key ) );
            }
         } );
         EXPECT_EQ( found, added );
         EXPECT_EQ( finding.hashes, added );
         EXPECT_LE( finding.comparisons, 2 * added );
         const Work removing = this->workOf( [&] {
            for( const Key &key : keys ) {
               found -= static_cast<bool>( owner->map.take( TypeParam( key ) ) );
            }
         } );
         EXPECT_EQ( found, 0u );
         EXPECT_EQ( removing.hashes, added );
         EXPECT_LE( removing.comparisons, 2 * added );
      }
   }
}

TYPED_TEST( HashMapWork, AWalkDoesNothingWithTheKeys ) {
   const auto keys = keysFor( Spread::random, this->kSmall );
   const auto owner = make<typename TestFixture::Owner>();
   this->fill( *owner, keys );
   std::vector<U32> visited;
   const Work done = this->workOf( [&] { visited = this->numbersIn( *owner ); } );
   EXPECT_EQ( visited, this->numbersOf( keys ) );
   EXPECT_EQ( done.hashes, 0u );
   EXPECT_EQ( done.comparisons, 0u );
}

TYPED_TEST( HashMapWork, AWalkAsksForAHashOnceAfterTheMapHasGrown ) {
   const auto keys = keysFor( Spread::random, this->kSmall );
   const auto owner = make<typename TestFixture::Owner>();
   owner->map.set( TypeParam( Key{ 0, this->kSmall } ), 0 );
   auto at = owner->map.begin();
   this->fill( *owner, keys );
   const Work done = this->workOf( [&] {
      while( at != owner->map.end() ) {
         ++at;
      }
   } );
   EXPECT_EQ( done.hashes, this->kKept ? 0u : 1u );
   EXPECT_EQ( done.comparisons, 0u );
}

TYPED_TEST( HashMapWork, AnIteratorOfASmallMapWalksTheGrownOne ) {
   const auto keys = keysFor( Spread::random, this->kSmall );
   const Key middle{ 0x80000000, this->kSmall };
   const auto owner = make<typename TestFixture::Owner>();
   owner->map.set( TypeParam( middle ), 0 );
   auto at = owner->map.begin();
   this->fill( *owner, keys );
   std::vector<U32> visited;
   for( ++at; at != owner->map.end(); ++at ) {
      visited.push_back( at->key().number );
   }
   std::vector<Key> behind;
   std::copy_if( keys.begin(), keys.end(), std::back_inserter( behind ),
                 [&]( const Key &key ) { return InOrder()( middle, key ); } );
   EXPECT_EQ( visited, this->numbersOf( behind ) );
}

TYPED_TEST( HashMapWork, AWalkStaysInOrderWhileTheMapDoublesUnderItAgainAndAgain ) {
   Dice dice( 17 );
   const auto keys = someKeys( dice, 8000 );
   const auto owner = make<typename TestFixture::Owner>();
   std::set<Key, InOrder> due; // what the walk has to visit yet
   U32 next = 0;
   const auto add = [&]( const Key *now ) {
      const Key &key = keys[next++];
      owner->map.set( TypeParam( key ), 0 );
      if( !now || InOrder()( *now, key ) ) {
         due.insert( key );
      }
   };
   add( nullptr );
   add( nullptr );
   const U32 bucketsAtFirst = owner->map.bucketCount();
   for( const auto &entry : owner->map ) {
      ASSERT_FALSE( due.empty() );
      const Key now = *due.begin();
      ASSERT_EQ( entry.key().number, now.number );
      due.erase( due.begin() );
      for( int i = 0; i < 20 && next < keys.size(); ++i ) {
         add( &now );
      }
   }
   EXPECT_TRUE( due.empty() );
   EXPECT_EQ( owner->map.size(), keys.size() );
   EXPECT_GE( owner->map.bucketCount(), 512 * bucketsAtFirst );
   EXPECT_EQ( this->numbersIn( *owner ), this->numbersOf( keys ) );
}

TYPED_TEST( HashMapWork, TheOrderIsThatOfTheHashesAfterALongHistory ) {
   Dice dice( 23 );
   const auto keys = someKeys( dice, 3000 );
   const auto owner = make<typename TestFixture::Owner>();
   std::set<Key, InOrder> members;
   for( int step = 0; step < 30'000; ++step ) {
      const Key &key = keys[dice.roll( 3000 )];
      if( dice.roll( 3 ) == 0 ) {
         ASSERT_EQ( static_cast<bool>( owner->map.take( TypeParam( key ) ) ),
                    members.erase( key ) == 1 );
      } else {
         owner->map.set( TypeParam( key ), 0 );
         members.insert( key );
      }
      if( !members.empty() ) {
         ASSERT_EQ( owner->map.begin()->key().number, members.begin()->number );
      }
   }
   EXPECT_EQ( this->numbersIn( *owner ), this->numbersOf( { members.begin(), members.end() } ) );
}

} // namespace
} // namespace Quor
