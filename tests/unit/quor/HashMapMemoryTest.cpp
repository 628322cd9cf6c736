// What keyed collections cost: bytes, and how often they ask for memory.
#include "tests/unit/quor/AllocationCount.h"
#include "tests/unit/quor/HashMapKeys.h"

#include <gtest/gtest.h>

#include <bit>

namespace Quor {
namespace {

/// A map from keys of 8 bytes with its owner.
template <class Value>
struct Store : PtrInterface {
   using Map = HashMap<Key, Value>;
   Map map{ this };

   void fill( U32 count ) {
      for( U32 number = 0; number < count; ++number ) {
         map.set( key( number ), Value( 1 ) );
      }
   }
   /// Some from the front, some from everywhere, in turn with what comes in their place.
   void turnOver( U32 count ) {
      Dice dice( 5 );
      for( U32 i = 0; i < count; ++i ) {
         const Key leaving = i % 2 == 0 ? map.begin()->key() : key( dice.roll( map.size() ) );
         map.take( leaving );
         map.set( leaving, Value( 1 ) );
      }
   }
   void empty() {
      for( auto at = map.begin(); at != map.end(); ++at ) {
         map.take( at );
      }
   }
   static Key key( U32 number ) { return { bitReverse( number * 0x9E3779B1 ), number }; }
};
using Flags = Store<bool>;
using Numbers = Store<U32>;

static_assert( sizeof( Key ) == 8 );
static_assert( sizeof( Flags::Map::Entry ) == 16 );
static_assert( sizeof( Numbers::Map::Entry ) == 20 );

struct LongKey : Key {
   U32 more = 0;
};
static_assert( sizeof( HashMap<LongKey, bool>::Entry ) == 24 ); // with the hash
static_assert( sizeof( HashMap<LongKey, U32>::Entry ) == 28 );

class HashMapOfSize : public testing::TestWithParam<U32> {
 protected:
   template <class Store>
   static double bytesForAnEntry() {
      const Ptr<Store> store = make<Store>();
      const std::size_t before = allocatedBytes();
      store->fill( GetParam() );
      EXPECT_EQ( store->map.size(), GetParam() );
      return static_cast<double>( allocatedBytes() - before ) / GetParam();
   }
};

TEST_P( HashMapOfSize, TakesAtMost26BytesForAKeyWithAFlag ) {
   EXPECT_LE( bytesForAnEntry<Flags>(), 26 );
}

TEST_P( HashMapOfSize, TakesAtMost30BytesForAKeyWithANumber ) {
   EXPECT_LE( bytesForAnEntry<Numbers>(), 30 );
}

TEST_P( HashMapOfSize, AsksForMemoryOnceFor4095EntriesAndOnceForADoubling ) {
   const Ptr<Numbers> store = make<Numbers>();
   const std::size_t before = allocations();
   store->fill( GetParam() );
   const U32 doublings = static_cast<U32>( std::bit_width( GetParam() - 1 ) );
   // The slab; ten small chunks; the buckets; the list of chunks, as it grows.
   EXPECT_LE( allocations() - before, 1 + 10 + GetParam() / 4095 + doublings +
                                            std::bit_width( 10 + GetParam() / 4095 ) + 1 );
}

TEST_P( HashMapOfSize, NeedsNoMemoryForWhatLeavesAndEntersInTurn ) {
   const Ptr<Numbers> store = make<Numbers>();
   store->fill( GetParam() );
   const Shelf::Content front = { { store->map.begin()->key().number, 1 } };
   const std::size_t before = allocations();
   store->turnOver( 20'000 );
   EXPECT_EQ( allocations(), before );
   EXPECT_EQ( store->map.size(), GetParam() );
   EXPECT_EQ( store->map.begin()->key().number, front[0].first );
}

TEST_P( HashMapOfSize, NeedsNoMemoryWhenAllHaveLeftAndComeAgain ) {
   const Ptr<Numbers> store = make<Numbers>();
   store->fill( GetParam() );
   const std::size_t before = allocations();
   const std::size_t bytes = allocatedBytes();
   store->empty();
   EXPECT_EQ( store->map.size(), 0u );
   store->fill( GetParam() );
   store->map.clear();
   store->fill( GetParam() );
   EXPECT_EQ( allocations(), before );
   EXPECT_EQ( allocatedBytes(), bytes );
   EXPECT_EQ( store->map.size(), GetParam() );
}

TEST_P( HashMapOfSize, GivesAllOfItBack ) {
   const std::size_t before = allocatedBytes();
   {
      const Ptr<Numbers> store = make<Numbers>();
      store->fill( GetParam() );
      EXPECT_GT( allocatedBytes(), before + 20 * GetParam() );
   }
   EXPECT_EQ( allocatedBytes(), before );
}

// Also where the buckets have just been doubled.
INSTANTIATE_TEST_SUITE_P( Sizes, HashMapOfSize,
                          testing::Values( 65'536, 65'537, 100'000, 131'073, 262'145, 1'000'000 ) );

/// Bytes of a map with so many entries, beside itself.
std::size_t bytesOf( U32 entries ) {
   const Ptr<Numbers> owner = make<Numbers>();
   const std::size_t before = allocatedBytes();
   Numbers::Map map( owner.get() );
   for( U32 number = 0; number < entries; ++number ) {
      map.set( Numbers::key( number ), 1 );
   }
   return allocatedBytes() - before;
}

TEST( HashMapMemory, StartsSmall ) {
   EXPECT_LE( bytesOf( 0 ), 32u );
   EXPECT_LE( bytesOf( 1 ), 352u );
   EXPECT_EQ( bytesOf( 7 ) - bytesOf( 1 ), bytesOf( 5 ) - bytesOf( 1 ) ); // of the first chunk
   EXPECT_LE( bytesOf( 100 ), 6000u );
}

TEST( HashMapMemory, IsAskedForByTheFirstEntryNotByLookingAndWalking ) {
   const Ptr<Numbers> store = make<Numbers>();
   const std::size_t before = allocations();
   EXPECT_FALSE( store->map.isMemberOf( Numbers::key( 1 ) ) );
   EXPECT_FALSE( store->map.take( Numbers::key( 1 ) ) );
   EXPECT_TRUE( store->map.begin() == store->map.end() );
   EXPECT_TRUE( store->map.iteratorFrom( Numbers::key( 1 ) ) == store->map.end() );
   store->map.clear();
   EXPECT_EQ( allocations(), before );
   store->fill( 1 );
   EXPECT_GT( allocations(), before );
}

} // namespace
} // namespace Quor
