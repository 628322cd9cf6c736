// Entries of keyed collections that somebody holds, and keys and values that do more than a number.
#include "tests/unit/quor/AllocationCount.h"
#include "tests/unit/quor/HashMapKeys.h"
#include "tests/unit/quor/Stubborn.h"
#include "tests/unit/quor/Surprise.h"
#include "tests/unit/quor/ThreadSafePointers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <thread>

namespace Quor {
namespace {

using Entry = Shelf::Map::Entry;

Key key( U32 number ) {
   return { number << 20, number };
}

/// Keys 0 to count - 1, with ten times that as values.
Ptr<Shelf> shelfOf( U32 count ) {
   Ptr<Shelf> shelf = make<Shelf>();
   for( U32 number = 0; number < count; ++number ) {
      shelf->map.set( key( number ), 10 * number );
   }
   return shelf;
}

TEST( HashMapHeld, EntriesOutliveTheMapAndTheLastOneTakesAllMemoryWithIt ) {
   const std::size_t before = allocatedBytes();
   Ptr<Shelf> shelf = shelfOf( 3000 );
   Ptr<Entry> first = shelf->map.find( key( 0 ) );
   Ptr<Entry> removed = shelf->map.take( key( 1500 ) );
   Ptr<Entry> last = shelf->map.find( key( 2999 ) );
   shelf = nullptr;
   EXPECT_EQ( first->key(), key( 0 ) );
   EXPECT_FALSE( first->isMember() );
   EXPECT_EQ( removed->value(), 15'000u );
   EXPECT_EQ( last->key(), key( 2999 ) );
   first = nullptr;
   EXPECT_EQ( removed->key(), key( 1500 ) );
   removed = nullptr;
   EXPECT_EQ( last->value(), 29'990u );
   EXPECT_GT( allocatedBytes(), before );
   last = nullptr;
   EXPECT_EQ( allocatedBytes(), before );
}

TEST( HashMapHeld, AValueIsExtractedWhetherItsEntryIsHeldOrNot ) {
   const Ptr<Shelf> shelf = shelfOf( 4 );
   const auto extracted = [&]( const Key &key ) {
      U32 value = 0;
      return shelf->map.extract( key, naturalHash( key ), value ) ? std::optional( value )
                                                                  : std::nullopt;
   };
   const Ptr<Entry> held = shelf->map.find( key( 1 ) );
   EXPECT_EQ( extracted( key( 1 ) ), 10u );
   EXPECT_EQ( held->value(), 10u );
   EXPECT_FALSE( held->isMember() );
   EXPECT_EQ( extracted( key( 1 ) ), std::nullopt );
   EXPECT_EQ( extracted( key( 2 ) ), 20u );
   EXPECT_EQ( extracted( key( 7 ) ), std::nullopt );
   EXPECT_EQ( shelf->content(), ( Shelf::Content{ { 0, 0 }, { 3, 30 } } ) );
   EXPECT_EQ( shelf->map.size(), 2u );
}

TEST( HashMapHeld, ValuesAreExtractedAndComeAgainWithThreadSafePointersAsWell ) {
   const ThreadSafePointers on;
   const Ptr<Shelf> shelf = shelfOf( 40 );
   const Shelf::Content content = shelf->content();
   const Ptr<Entry> held = shelf->map.find( key( 1 ) );
   for( int round = 0; round < 3; ++round ) {
      for( U32 n = 0; n < 40; ++n ) {
         U32 value = 0;
         ASSERT_TRUE( shelf->map.extract( key( n ), naturalHash( key( n ) ), value ) );
         EXPECT_EQ( value, 10 * n );
      }
      EXPECT_EQ( shelf->map.size(), 0u );
      for( U32 n = 0; n < 40; ++n ) {
         shelf->map.set( key( n ), 10 * n );
      }
      ASSERT_EQ( shelf->content(), content );
   }
   EXPECT_FALSE( held->isMember() );
   EXPECT_EQ( held->value(), 10u );
}

TEST( HashMapHeld, AnExtractedEntryLeavesItsPlaceToTheNext ) {
   const Ptr<Shelf> shelf = shelfOf( 2 );
   const std::size_t before = allocations();
   U32 value = 0;
   for( U32 round = 0; round < 1000; ++round ) {
      ASSERT_TRUE( shelf->map.extract( key( 1 ), naturalHash( key( 1 ) ), value ) );
      shelf->map.set( key( 1 ), round );
   }
   EXPECT_EQ( allocations(), before );
}

TEST( HashMapHeld, AMapThatHasGrownDoesNotMoveItsEntries ) {
   const Ptr<Shelf> shelf = shelfOf( 1 );
   const Ptr<Entry> held = shelf->map.find( key( 0 ) );
   for( U32 number = 1; number < 4096; ++number ) {
      shelf->map.set( key( number ), 0 );
   }
   EXPECT_EQ( shelf->map.find( key( 0 ) ).get(), held.get() );
   EXPECT_TRUE( held->isMember() );
   EXPECT_EQ( held->value(), 0u );
}

TEST( HashMapHeld, ThePlaceOfAHeldEntryIsNotUsedAgainBeforeItIsLetGo ) {
   const Ptr<Shelf> shelf = shelfOf( 3 );
   Ptr<Entry> former = shelf->map.take( key( 1 ) );
   const void *const place = former.get();
   const Ptr<Entry> now = shelf->map.insert( key( 1 ), 99 );
   EXPECT_NE( now.get(), place );
   EXPECT_EQ( former->value(), 10u );
   EXPECT_FALSE( former->isMember() );
   EXPECT_TRUE( now->isMember() );
   EXPECT_EQ( shelf->map.find( key( 1 ) ).get(), now.get() );
   EXPECT_EQ( shelf->content(), ( Shelf::Content{ { 0, 0 }, { 1, 99 }, { 2, 20 } } ) );
   former = nullptr;
   EXPECT_EQ( shelf->map.set( key( 3 ), 0 ).get(), place );
   EXPECT_EQ( shelf->map.value( key( 1 ) ), 99u );
}

TEST( HashMapHeld, AKeyLeavesAndEntersAnyNumberOfTimesWhileAllItsEntriesAreHeld ) {
   const Ptr<Shelf> shelf = shelfOf( 3 );
   std::vector<Ptr<Entry>> former;
   for( U32 value = 100; value < 200; ++value ) {
      former.push_back( shelf->map.take( key( 1 ) ) );
      shelf->map.set( key( 1 ), value );
      ASSERT_EQ( shelf->content(), ( Shelf::Content{ { 0, 0 }, { 1, value }, { 2, 20 } } ) );
   }
   EXPECT_EQ( former.front()->value(), 10u );
   for( U32 i = 1; i < former.size(); ++i ) {
      ASSERT_EQ( former[i]->value(), 99 + i );
      ASSERT_EQ( former[i]->key(), key( 1 ) );
   }
}

TEST( HashMapHeld, EntriesAreLetGoOfByAnotherThread ) {
   const ThreadSafePointers on;
   constexpr U32 kCount = 20'000;
   const Ptr<Shelf> shelf = shelfOf( kCount );
   std::vector<Ptr<Entry>> removed;
   std::vector<Ptr<Entry>> members; // this thread removes them meanwhile
   for( U32 number = 0; number < kCount; ++number ) {
      if( number % 2 == 0 ) {
         removed.push_back( shelf->map.take( key( number ) ) );
      } else {
         members.push_back( shelf->map.find( key( number ) ) );
      }
   }
   U64 sum = 0;
   std::thread other( [&] {
      for( std::vector<Ptr<Entry>> *const held : { &members, &removed } ) {
         for( Ptr<Entry> &entry : *held ) {
            sum += entry->value();
            entry = nullptr;
         }
      }
   } );
   for( U32 number = 0; number < kCount; ++number ) {
      shelf->map.take( key( number ) );
      shelf->map.set( key( number ), number );
   }
   other.join();
   EXPECT_EQ( sum, U64{ 5 } * kCount * ( kCount - 1 ) );
   Shelf::Content expected;
   for( U32 number = 0; number < kCount; ++number ) {
      expected.emplace_back( number, number );
   }
   Shelf::Content content = shelf->content();
   std::sort( content.begin(), content.end() );
   EXPECT_EQ( content, expected );
}

TEST( HashMapHeld, TheLastEntryIsLetGoOfByAnotherThreadAsTheMapGoes ) {
   const std::size_t before = allocatedBytes();
   {
      const ThreadSafePointers on;
      for( int round = 0; round < 200; ++round ) {
         Ptr<Shelf> shelf = shelfOf( 4 );
         Ptr<Entry> held = shelf->map.find( key( 3 ) );
         std::thread other( [entry = std::move( held )]() mutable {
            EXPECT_EQ( entry->value(), 30u );
            entry = nullptr;
         } );
         shelf = nullptr;
         other.join();
      }
   }
   EXPECT_EQ( allocatedBytes(), before );
}

// Keys and values that refuse to be copied

/// A key that may refuse.
struct StubbornKey : Stubborn {
   using Stubborn::Stubborn;
   bool operator<( const StubbornKey &other ) const { return number < other.number; }
};
U32 naturalHash( const StubbornKey &key ) {
   return key.number * 0x9E3779B1;
}
String valueToStrep( const StubbornKey &key ) {
   return std::to_string( key.number );
}

template <class Key, class Value>
class Owner : public PtrInterface {
 public:
   HashMap<Key, Value> map{ this };
};

class HashMapRefusal : public testing::Test {
 protected:
   ~HashMapRefusal() override { Stubborn::refuses = false; }

   /// The map is as before when the copy is refused, and takes it afterwards.
   template <class Map, class Do>
   static void tries( Map &map, const Do &change ) {
      const U32 size = map.size();
      Stubborn::refuses = true;
      EXPECT_THROW( change(), std::runtime_error );
      Stubborn::refuses = false;
      EXPECT_EQ( map.size(), size );
      U32 walked = 0;
      for( auto at = map.begin(); at != map.end(); ++at ) {
         ++walked;
      }
      EXPECT_EQ( walked, size );
      change();
   }
};

TEST_F( HashMapRefusal, OfAValueLeavesTheMapAsItIs ) {
   const auto owner = make<Owner<Key, Stubborn>>();
   for( U32 number = 0; number < 20; ++number ) { // at every doubling too
      const Stubborn seven( 7 );
      tries( owner->map, [&] { owner->map.insert( key( number ), seven ); } );
      EXPECT_EQ( owner->map.find( key( number ) )->value().number, 7u );
   }
   EXPECT_EQ( owner->map.size(), 20u );
}

TEST_F( HashMapRefusal, OfANewValueKeepsTheFormerOne ) {
   const auto owner = make<Owner<Key, Stubborn>>();
   owner->map.set( key( 1 ), Stubborn( 1 ) );
   const Stubborn two( 2 );
   tries( owner->map, [&] {
      EXPECT_EQ( owner->map.find( key( 1 ) )->value().number, 1u );
      owner->map.set( key( 1 ), two );
   } );
   EXPECT_EQ( owner->map.find( key( 1 ) )->value().number, 2u );
}

TEST_F( HashMapRefusal, OfAKeyLeavesTheMapAsItIs ) {
   const auto owner = make<Owner<StubbornKey, U32>>();
   const StubbornKey one( 1 );
   for( U32 number = 0; number < 20; ++number ) {
      const StubbornKey absent( number );
      tries( owner->map, [&] { owner->map.insert( absent, number ); } );
      EXPECT_EQ( owner->map.value( absent ), number );
   }
   Stubborn::refuses = true;
   EXPECT_EQ( owner->map.set( one, 99 )->value(), 99u ); // needs no copy
   EXPECT_EQ( owner->map.take( one )->value(), 99u );
   EXPECT_EQ( owner->map.size(), 19u );
}

TEST_F( HashMapRefusal, LeavesThePlaceToTheNextEntry ) {
   const auto owner = make<Owner<StubbornKey, U32>>();
   const StubbornKey one( 1 );
   const StubbornKey two( 2 );
   const void *const place = owner->map.insert( one, 1 ).get();
   owner->map.take( one );
   const std::size_t before = allocatedBytes();
   Stubborn::refuses = true;
   for( int i = 0; i < 1000; ++i ) {
      EXPECT_THROW( owner->map.insert( two, 2 ), std::runtime_error );
   }
   Stubborn::refuses = false;
   EXPECT_EQ( allocatedBytes(), before );
   EXPECT_EQ( owner->map.insert( two, 2 ).get(), place );
}

/// A key of which the living ones are counted.
struct CountedKey : Key {
   explicit CountedKey( U32 what ) : Key( key( what ) ) { ++alive; }
   CountedKey( const CountedKey &other ) : Key( other ) { ++alive; }
   CountedKey &operator=( const CountedKey & ) = delete;
   ~CountedKey() { --alive; }

   static inline int alive = 0;
};

TEST_F( HashMapRefusal, OfAValueLeavesNothingOfItsKey ) {
   const int before = CountedKey::alive;
   {
      const auto owner = make<Owner<CountedKey, Stubborn>>();
      const CountedKey one( 1 );
      const Stubborn value( 1 );
      Stubborn::refuses = true; // after the key has been copied
      EXPECT_THROW( owner->map.insert( one, value ), std::runtime_error );
      EXPECT_EQ( CountedKey::alive, before + 1 );
      Stubborn::refuses = false;
      owner->map.insert( one, value );
      EXPECT_EQ( CountedKey::alive, before + 2 );
   }
   EXPECT_EQ( CountedKey::alive, before );
}

// Values that change the map as they come and go

using Surprises = Owner<Key, Ptr<Surprise>>;

TEST( HashMapHeld, AValueThatGoesMayPutAnotherOneInItsPlace ) {
   const auto owner = make<Surprises>();
   owner->map.set( key( 1 ), make<Surprise>( [&] { owner->map.set( key( 1 ), nullptr ); } ) );
   owner->map.take( key( 1 ) ); // goes at once
   EXPECT_EQ( owner->map.size(), 1u );
   EXPECT_TRUE( owner->map.isMemberOf( key( 1 ) ) );
}

TEST( HashMapHeld, AValueThatGoesMayGrowTheMapAndTakeOthersAlong ) {
   const auto owner = make<Surprises>();
   int gone = 0;
   for( U32 number = 0; number < 8; ++number ) {
      owner->map.set( key( number ), make<Surprise>( [&gone] { ++gone; } ) );
   }
   owner->map.set( key( 8 ), make<Surprise>( [&] {
                      for( U32 number = 100; number < 200; ++number ) {
                         owner->map.set( key( number ), nullptr );
                      }
                      owner->map.take( key( 7 ) );
                      owner->map.take( key( 0 ) );
                   } ) );
   owner->map.take( key( 8 ) );
   EXPECT_EQ( gone, 2 );
   EXPECT_EQ( owner->map.size(), 106u );
   U32 last = 0;
   for( const auto &entry : owner->map ) {
      ASSERT_GT( entry.key().number, last );
      last = entry.key().number;
   }
   EXPECT_EQ( last, 199u );
}

/// It stands in the last bucket in every order.
const Key kLast{ 0xFFFFFFFF, 5 };
/// These stand in all buckets.
Key spread( U32 number ) {
   return { bitReverse( number ), number };
}

TEST( HashMapHeld, ClearTakesAlsoWhatIsAddedMeanwhile ) {
   const auto owner = make<Surprises>();
   int gone = 0;
   owner->map.set( key( 1 ), nullptr );
   owner->map.set( kLast, make<Surprise>( [&] {
                      for( U32 number = 100; number < 200; ++number ) {
                         owner->map.set( spread( number ), make<Surprise>( [&gone] { ++gone; } ) );
                      }
                   } ) );
   owner->map.clear();
   EXPECT_EQ( owner->map.size(), 0u );
   EXPECT_TRUE( owner->map.begin() == owner->map.end() );
   EXPECT_EQ( gone, 100 );
   owner->map.set( key( 1 ), nullptr );
   EXPECT_EQ( owner->map.begin()->key(), key( 1 ) );
}

TEST( HashMapHeld, ClearMayBeCalledByAValueThatGoesAndOthersBeTakenMeanwhile ) {
   const auto owner = make<Surprises>();
   int gone = 0;
   owner->map.set( key( 1 ), make<Surprise>( [&] {
                      owner->map.take( key( 4000 ) );
                      ++gone;
                   } ) );
   owner->map.set( key( 2000 ), make<Surprise>( [&] {
                      owner->map.clear();
                      ++gone;
                   } ) );
   owner->map.set( key( 4000 ), make<Surprise>( [&gone] { ++gone; } ) );
   owner->map.set( kLast, make<Surprise>( [&gone] { ++gone; } ) );
   owner->map.clear();
   EXPECT_EQ( gone, 4 );
   EXPECT_EQ( owner->map.size(), 0u );
   EXPECT_TRUE( owner->map.begin() == owner->map.end() );
}

TEST( HashMapHeld, ValuesThatGoWithTheMapMayStillChangeIt ) {
   const std::size_t before = allocatedBytes();
   int gone = 0;
   {
      Ptr<Surprises> owner = make<Surprises>();
      auto &map = owner->map;
      map.set( key( 1 ), make<Surprise>( [&gone] { ++gone; } ) );
      map.set( kLast, make<Surprise>( [&] {
                  map.take( key( 1 ) );
                  for( U32 number = 100; number < 200; ++number ) {
                     map.set( spread( number ), make<Surprise>( [&gone] { ++gone; } ) );
                  }
               } ) );
      owner = nullptr;
   }
   EXPECT_EQ( gone, 101 );
   EXPECT_EQ( allocatedBytes(), before );
}

TEST( HashMapHeld, AValueThatGoesMayTakeTheMapAlong ) {
   const std::size_t before = allocatedBytes();
   int gone = 0;
   {
      Ptr<Surprises> owner = make<Surprises>();
      owner->map.set( key( 2 ), make<Surprise>( [&gone] { ++gone; } ) );
      owner->map.set( key( 1 ), make<Surprise>( [&] {
                         owner = nullptr;
                         ++gone;
                      } ) );
      auto taken = owner->map.take( key( 1 ) );
      taken = nullptr;
      EXPECT_FALSE( owner );
   }
   EXPECT_EQ( gone, 2 );
   EXPECT_EQ( allocatedBytes(), before );
}

/// Calls back when it is copied, like a value that counts its copies somewhere.
class Echo {
 public:
   explicit Echo( std::function<void()> onCopy ) : onCopy_( std::move( onCopy ) ) {}
   Echo() = default;
   Echo( const Echo &other ) {
      if( other.onCopy_ ) {
         other.onCopy_();
      }
   }
   Echo &operator=( const Echo & ) { return *this; }
   bool operator==( const Echo & ) const { return false; }

 private:
   std::function<void()> onCopy_;
};

TEST( HashMapHeld, TheCopyOfAValueMayGrowTheMap ) {
   const auto owner = make<Owner<Key, Echo>>();
   owner->map.set( key( 3 ), Echo() );
   owner->map.set( key( 2 ), Echo( [&] {
                      for( U32 number = 4; number < 100; ++number ) {
                         owner->map.set( key( number ), Echo() );
                      }
                      owner->map.take( key( 3 ) );
                   } ) );
   std::vector<U32> numbers;
   for( const auto &entry : owner->map ) {
      numbers.push_back( entry.key().number );
   }
   std::vector<U32> expected{ 2 };
   for( U32 number = 4; number < 100; ++number ) {
      expected.push_back( number );
   }
   EXPECT_EQ( numbers, expected );
   EXPECT_EQ( owner->map.size(), 97u );
}

} // namespace
} // namespace Quor
