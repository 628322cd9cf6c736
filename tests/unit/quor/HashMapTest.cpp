// Keyed collections: what stands in them, and in which order.
#include "tests/unit/quor/HashMapKeys.h"

#include "quor/BitReverse.h"
#include "tests/unit/quor/Surprise.h"

#include <gtest/gtest.h>

#include <ctime>
#include <map>

namespace Quor {
namespace {

using Entry = Shelf::Map::Entry;

const Key kOne{ 0x10000000, 1 };
const Key kTwo{ 0x20000000, 2 };
const Key kFar{ 0xF0000000, 3 };

TEST( HashMap, StartsEmptyWithOneBucket ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   EXPECT_EQ( shelf->map.size(), 0u );
   EXPECT_EQ( shelf->map.bucketCount(), 1u );
   EXPECT_TRUE( shelf->map.begin() == shelf->map.end() );
   EXPECT_FALSE( shelf->map.isMemberOf( kOne ) );
   EXPECT_EQ( shelf->map.find( kOne ).get(), nullptr );
   EXPECT_EQ( shelf->map.value( kOne ), 0u );
}

TEST( HashMap, SetAddsAnAbsentKeyAndGivesItsEntry ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   const Ptr<Entry> entry = shelf->map.set( kOne, 10 );
   ASSERT_TRUE( entry );
   EXPECT_EQ( entry->key(), kOne );
   EXPECT_EQ( entry->value(), 10u );
   EXPECT_TRUE( entry->isMember() );
   EXPECT_EQ( shelf->map.size(), 1u );
   EXPECT_TRUE( shelf->map.isMemberOf( kOne ) );
   EXPECT_EQ( shelf->map.find( kOne ).get(), entry.get() );
   EXPECT_EQ( shelf->map.value( kOne ), 10u );
}

TEST( HashMap, SetOverwritesAnotherValueInTheSameEntry ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   const Ptr<Entry> first = shelf->map.set( kOne, 10 );
   const Ptr<Entry> second = shelf->map.set( kOne, 11 );
   EXPECT_EQ( second.get(), first.get() );
   EXPECT_EQ( first->value(), 11u );
   EXPECT_EQ( shelf->map.size(), 1u );
}

TEST( HashMap, SetOfAnEqualValueDoesNothingAndGivesNull ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   shelf->map.set( kOne, 10 );
   EXPECT_EQ( shelf->map.set( kOne, 10 ).get(), nullptr );
   EXPECT_EQ( shelf->content(), ( Shelf::Content{ { 1, 10 } } ) );
}

TEST( HashMap, InsertAddsAnAbsentKey ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   const Ptr<Entry> entry = shelf->map.insert( kOne, 10 );
   EXPECT_EQ( entry->key(), kOne );
   EXPECT_EQ( shelf->map.find( kOne ).get(), entry.get() );
}

TEST( HashMap, InsertOfAPresentKeyIsANameInUseErrorThatShowsTheKey ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   shelf->map.insert( kOne, 10 );
   try {
      shelf->map.insert( kOne, 11 );
      FAIL() << "was inserted twice";
   } catch( const NameInUseException &error ) {
      EXPECT_STREQ( error.what(), "the key #1 is present already" );
   }
   EXPECT_EQ( shelf->content(), ( Shelf::Content{ { 1, 10 } } ) );
}

TEST( HashMap, TakeRemovesTheEntryAndGivesIt ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   const Ptr<Entry> entry = shelf->map.set( kOne, 10 );
   shelf->map.set( kTwo, 20 );
   EXPECT_EQ( shelf->map.take( kOne ).get(), entry.get() );
   EXPECT_FALSE( entry->isMember() );
   EXPECT_EQ( shelf->map.size(), 1u );
   EXPECT_EQ( shelf->content(), ( Shelf::Content{ { 2, 20 } } ) );
   EXPECT_EQ( shelf->map.take( kOne ).get(), nullptr );
   EXPECT_EQ( shelf->map.size(), 1u );
}

TEST( HashMap, TakeThroughAnIteratorRemovesTheEntryUnderItIfItIsStillThere ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   shelf->map.set( kOne, 10 );
   shelf->map.set( kTwo, 20 );
   const Shelf::Map::Iterator at = shelf->map.begin();
   const Ptr<Entry> taken = shelf->map.take( at );
   ASSERT_TRUE( taken );
   EXPECT_EQ( taken->key(), kOne );
   EXPECT_EQ( shelf->map.take( at ).get(), nullptr );
   shelf->map.set( kOne, 11 ); // another entry
   EXPECT_EQ( shelf->map.take( at ).get(), nullptr );
   EXPECT_EQ( shelf->content(), ( Shelf::Content{ { 1, 11 }, { 2, 20 } } ) );
}

TEST( HashMap, TakeAtTheEndGivesNull ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   EXPECT_EQ( shelf->map.take( shelf->map.begin() ).get(), nullptr );
}

TEST( HashMap, ClearRemovesAll ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   const Ptr<Entry> held = shelf->map.set( kOne, 10 );
   shelf->map.set( kTwo, 20 );
   shelf->map.set( kFar, 30 );
   shelf->map.clear();
   EXPECT_EQ( shelf->map.size(), 0u );
   EXPECT_EQ( shelf->content(), Shelf::Content() );
   EXPECT_FALSE( held->isMember() );
   EXPECT_FALSE( shelf->map.isMemberOf( kFar ) );
   shelf->map.set( kTwo, 21 );
   EXPECT_EQ( shelf->content(), ( Shelf::Content{ { 2, 21 } } ) );
}

TEST( HashMap, AHeldEntryIsReadableAfterItsRemoval ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   shelf->map.set( kOne, 10 );
   const Ptr<Entry> held = shelf->map.find( kOne );
   shelf->map.take( kOne );
   shelf->map.set( kOne, 11 );
   EXPECT_EQ( held->key(), kOne );
   EXPECT_EQ( held->value(), 10u );
   EXPECT_FALSE( held->isMember() );
}

TEST( HashMap, AHeldEntryIsReadableAfterTheMapHasGone ) {
   Ptr<Shelf> shelf = make<Shelf>();
   const Ptr<Entry> held = shelf->map.set( kOne, 10 );
   shelf = nullptr;
   EXPECT_EQ( held->key(), kOne );
   EXPECT_EQ( held->value(), 10u );
   EXPECT_FALSE( held->isMember() );
}

TEST( HashMap, ARemovedEntryThatNobodyHoldsGoesAtOnce ) {
   class Owner : public PtrInterface {
    public:
      HashMap<Key, Ptr<const Shelf>> map{ this };
   };
   int alive = 0;
   const Ptr<Owner> owner = make<Owner>();
   owner->map.set( kOne, make<Shelf>( &alive ) );
   owner->map.set( kTwo, make<Shelf>( &alive ) );
   EXPECT_EQ( alive, 2 );
   owner->map.take( kOne );
   EXPECT_EQ( alive, 1 );
   owner->map.set( kTwo, nullptr );
   EXPECT_EQ( alive, 0 );
}

TEST( HashMap, Has16BucketsForTheSecondEntryAndDoublesThemWhenThereAreMoreEntries ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   Dice dice( 1 );
   std::vector<U32> counts;
   for( U32 number = 1; number <= 1025; ++number ) {
      shelf->map.set( { dice.any(), number }, 0 );
      U32 expected = number == 1 ? 1 : 16;
      while( expected < number ) {
         expected *= 2;
      }
      ASSERT_EQ( shelf->map.bucketCount(), expected ) << number << " entries";
   }
   EXPECT_EQ( shelf->map.bucketCount(), 2048u );
   shelf->map.set( shelf->map.begin()->key(), 1 ); // no new entry
   shelf->map.clear();
   EXPECT_EQ( shelf->map.bucketCount(), 2048u );
}

TEST( HashMap, TakesBeforehandTheBucketsThatEntriesWillHaveAnyway ) {
   for( const U32 count : { 0u, 1u, 2u, 3u, 8u, 9u, 1'000u } ) {
      const Ptr<Shelf> grown = make<Shelf>();
      const Ptr<Shelf> ready = make<Shelf>();
      ready->map.set( kOne, 10 );
      ready->map.reserve( count + 1 );
      const U32 buckets = ready->map.bucketCount();
      Dice dice( count );
      grown->map.set( kOne, 10 );
      for( U32 number = 0; number < count; ++number ) {
         const Key key{ dice.any(), number + 10 };
         grown->map.set( key, number );
         ready->map.set( key, number );
      }
      EXPECT_EQ( ready->map.bucketCount(), buckets ) << count << " entries came";
      EXPECT_EQ( grown->map.bucketCount(), buckets ) << count << " entries came";
      auto at = ready->map.begin();
      for( const auto &entry : grown->map ) {
         ASSERT_TRUE( at != ready->map.end() );
         EXPECT_EQ( at->key(), entry.key() );
         ++at;
      }
      ready->map.reserve( 1 ); // never fewer
      EXPECT_EQ( ready->map.bucketCount(), buckets );
   }
}

TEST( HashMap, WalksInAscendingOrderOfTheHashThenOfTheKey ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   for( const Key &key : { Key{ 0xFFFFFFFF, 1 }, Key{ 0x80000000, 9 }, Key{ 0x80000000, 2 },
                           Key{ 0x7FFFFFFF, 4 }, Key{ 0, 8 }, Key{ 0, 7 }, Key{ 1, 0 } } ) {
      shelf->map.set( key, 0 );
   }
   EXPECT_EQ( shelf->content(),
              ( Shelf::Content{
                    { 7, 0 }, { 8, 0 }, { 0, 0 }, { 4, 0 }, { 2, 0 }, { 9, 0 }, { 1, 0 } } ) );
}

TEST( HashMap, KeysOfOneHashAllShareABucketAndAreAllFound ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   for( U32 number = 100; number > 0; --number ) {
      shelf->map.set( { 0xABCDEF01, number }, number * 2 );
   }
   Shelf::Content expected;
   for( U32 number = 1; number <= 100; ++number ) {
      EXPECT_EQ( shelf->map.value( { 0xABCDEF01, number } ), number * 2 );
      expected.emplace_back( number, number * 2 );
   }
   EXPECT_EQ( shelf->content(), expected );
   EXPECT_FALSE( shelf->map.isMemberOf( { 0xABCDEF01, 101 } ) );
}

/// A sorted map that is asked the same as ours.
using Model = std::map<Key, U32, InOrder>;

Shelf::Content contentOf( const Model &model ) {
   Shelf::Content content;
   for( const auto &[key, value] : model ) {
      content.emplace_back( key.number, value );
   }
   return content;
}

TEST( HashMap, AgreesWithASortedMapThroughLongHistories ) {
   for( U32 seed = 1; seed <= 20; ++seed ) {
      SCOPED_TRACE( "seed " + std::to_string( seed ) );
      Dice dice( seed );
      const std::vector<Key> keys = someKeys( dice, 1 + dice.roll( 200 ) );
      const Ptr<Shelf> shelf = make<Shelf>();
      Model model;
      for( int step = 0; step < 2000; ++step ) {
         const Key &key = keys[dice.roll( static_cast<U32>( keys.size() ) )];
         const U32 value = dice.roll( 3 );
         const auto known = model.find( key );
         const bool present = known != model.end();
         switch( dice.roll( 6 ) ) {
         case 0:
         case 1: {
            const bool changes = !present || known->second != value;
            ASSERT_EQ( static_cast<bool>( shelf->map.set( key, value ) ), changes ) << key;
            model[key] = value;
            break;
         }
         case 2:
            if( present ) {
               ASSERT_THROW( shelf->map.insert( key, value ), NameInUseException ) << key;
            } else {
               ASSERT_EQ( shelf->map.insert( key, value )->value(), value ) << key;
               model[key] = value;
            }
            break;
         case 3: {
            const Ptr<Entry> taken = shelf->map.take( key );
            ASSERT_EQ( static_cast<bool>( taken ), present ) << key;
            if( present ) {
               ASSERT_EQ( taken->value(), known->second ) << key;
               model.erase( known );
            }
            break;
         }
         case 4:
            if( dice.roll( 100 ) == 0 ) {
               shelf->map.clear();
               model.clear();
            }
            break;
         default:
            ASSERT_EQ( shelf->map.isMemberOf( key ), present ) << key;
            ASSERT_EQ( shelf->map.value( key ), present ? known->second : 0 ) << key;
         }
         ASSERT_EQ( shelf->map.size(), model.size() );
         const Shelf::Map::Iterator front = shelf->map.begin();
         ASSERT_EQ( front == shelf->map.end(), model.empty() );
         ASSERT_TRUE( model.empty() || front->key() == model.begin()->first );
         if( step % 50 == 0 ) {
            ASSERT_EQ( shelf->content(), contentOf( model ) ) << "step " << step;
         }
      }
      EXPECT_EQ( shelf->content(), contentOf( model ) );
   }
}

TEST( HashMap, BeginsAtTheFirstEntryWhateverWasAddedAndRemovedBeforeIt ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   const auto front = [&] { return shelf->map.begin()->key().number; };
   shelf->map.set( kFar, 0 );
   EXPECT_EQ( front(), 3u );
   shelf->map.set( kTwo, 0 ); // grows
   EXPECT_EQ( front(), 2u );
   shelf->map.set( kOne, 0 );
   EXPECT_EQ( front(), 1u );
   shelf->map.take( kOne );
   shelf->map.take( kTwo );
   EXPECT_EQ( front(), 3u );
   shelf->map.set( kTwo, 0 );
   EXPECT_EQ( front(), 2u );
   shelf->map.clear();
   EXPECT_TRUE( shelf->map.begin() == shelf->map.end() );
   shelf->map.set( kOne, 0 );
   EXPECT_EQ( front(), 1u );
}

TEST( HashMap, IsEmptiedFromTheFrontInTimeThatGrowsWithItsSizeOnly ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   Dice dice( 11 );
   for( U32 number = 0; number < 1u << 17; ++number ) {
      shelf->map.set( { dice.any(), number }, 0 );
   }
   const std::clock_t before = std::clock();
   while( shelf->map.take( shelf->map.begin() ) ) {
   }
   EXPECT_EQ( shelf->map.size(), 0u );
   EXPECT_LT( std::clock() - before, CLOCKS_PER_SEC ); // seconds if it looked at all the buckets
}

TEST( HashMap, TheOrderDependsOnTheContentAloneNotOnItsHistory ) {
   Dice dice( 7 );
   std::vector<Key> keys = someKeys( dice, 300 );
   const Ptr<Shelf> straight = make<Shelf>();
   for( U32 i = 0; i < 40; ++i ) {
      straight->map.set( keys[i], i );
   }
   const Ptr<Shelf> roundabout = make<Shelf>();
   for( U32 i = 300; i-- > 0; ) {
      roundabout->map.set( keys[i], i );
   }
   for( U32 i = 40; i < 300; ++i ) {
      roundabout->map.take( keys[i] );
   }
   EXPECT_NE( roundabout->map.bucketCount(), straight->map.bucketCount() );
   EXPECT_EQ( roundabout->content(), straight->content() );
}

TEST( HashMap, AnIteratorAsksTheMapForOtherKeys ) {
   const Ptr<Shelf> shelf = make<Shelf>();
   shelf->map.set( kOne, 10 );
   const Shelf::Map::Iterator at = shelf->map.begin();
   EXPECT_TRUE( at.isMemberOf( kOne ) );
   EXPECT_FALSE( at.isMemberOf( kTwo ) );
   shelf->map.set( kTwo, 20 );
   EXPECT_TRUE( at.isMemberOf( kTwo ) );
}

TEST( HashMap, AnOverwrittenValueMayRemoveItsOwnKeyAsItGoes ) {
   class Owner : public PtrInterface {
    public:
      HashMap<Key, Ptr<Surprise>> map{ this };
   };
   const Ptr<Owner> owner = make<Owner>();
   owner->map.set( kOne, make<Surprise>( [&] { owner->map.take( kOne ); } ) );
   const auto changed = owner->map.set( kOne, nullptr );
   ASSERT_TRUE( changed );
   EXPECT_EQ( changed->key(), kOne );
   EXPECT_FALSE( changed->isMember() );
   EXPECT_EQ( owner->map.size(), 0u );
}

TEST( BitReverse, MovesEveryBitToTheOtherEnd ) {
   const auto naive = []( U32 x ) {
      U32 reversed = 0;
      for( int bit = 0; bit < 32; ++bit ) {
         reversed |= ( x >> bit & 1 ) << ( 31 - bit );
      }
      return reversed;
   };
   for( int bit = 0; bit < 32; ++bit ) {
      EXPECT_EQ( bitReverse( U32{ 1 } << bit ), U32{ 1 } << ( 31 - bit ) ) << bit;
   }
   Dice dice( 3 );
   for( int i = 0; i < 1000; ++i ) {
      const U32 x = dice.any();
      ASSERT_EQ( bitReverse( x ), naive( x ) ) << x;
      ASSERT_EQ( bitReverse( bitReverse( x ) ), x );
   }
}

} // namespace
} // namespace Quor
