// Walks over a keyed collection that changes under them.
#include "tests/unit/quor/HashMapKeys.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace Quor {
namespace {

using Map = Shelf::Map;
using Numbers = std::vector<U32>;

/// The n-th of sixteen keys in order.
Key key( U32 n ) {
   return { n << 28, n };
}

/// A shelf with the keys of these places in the order.
Ptr<Shelf> shelfWith( const Numbers &places ) {
   Ptr<Shelf> shelf = make<Shelf>();
   for( const U32 place : places ) {
      shelf->map.set( key( place ), 0 );
   }
   return shelf;
}

// The two ways to walk over a map, to which the same rules apply.

struct EntryByEntry {
   static void each( const Map &map, const std::function<void( const Key & )> &visit ) {
      for( const Map::Entry &entry : map ) {
         visit( entry.key() );
      }
   }
};

struct KeyByKey {
   static void each( const Map &map, const std::function<void( const Key & )> &visit ) {
      for( auto walk = map.keys(); walk; ++walk ) {
         visit( *walk );
      }
   }
};

template <class Way>
class HashMapAnyWalk : public testing::Test {
 protected:
   /// What a walk visits when `disturb` is called at every entry, with the entry's place.
   static Numbers walk( const Ptr<Shelf> &shelf, const std::function<void( U32 )> &disturb ) {
      Numbers visited;
      Way::each( shelf->map, [&]( const Key &key ) {
         visited.push_back( key.number );
         disturb( visited.back() );
      } );
      return visited;
   }
};
using Ways = testing::Types<EntryByEntry, KeyByKey>;
TYPED_TEST_SUITE( HashMapAnyWalk, Ways );

TYPED_TEST( HashMapAnyWalk, RemovesEveryEntryAsItComesToIt ) {
   const Ptr<Shelf> shelf = shelfWith( { 1, 2, 3, 4 } );
   EXPECT_EQ( this->walk( shelf, [&]( U32 n ) { shelf->map.take( key( n ) ); } ),
              ( Numbers{ 1, 2, 3, 4 } ) );
   EXPECT_EQ( shelf->map.size(), 0u );
}

TYPED_TEST( HashMapAnyWalk, DoesNotVisitTheNextEntryWhenThatIsRemoved ) {
   const Ptr<Shelf> shelf = shelfWith( { 1, 2, 3, 4 } );
   EXPECT_EQ( this->walk( shelf, [&]( U32 n ) { shelf->map.take( key( n + 1 ) ); } ),
              ( Numbers{ 1, 3 } ) );
}

TYPED_TEST( HashMapAnyWalk, GoesOnAtTheFirstEntryAboveWhenTheCurrentAndTheNextAreRemoved ) {
   const Ptr<Shelf> shelf = shelfWith( { 1, 2, 3, 4, 5 } );
   const auto disturb = [&]( U32 n ) {
      if( n == 2 ) {
         shelf->map.take( key( 2 ) );
         shelf->map.take( key( 3 ) );
      }
   };
   EXPECT_EQ( this->walk( shelf, disturb ), ( Numbers{ 1, 2, 4, 5 } ) );
}

TYPED_TEST( HashMapAnyWalk, DoesNotMindTheRemovalOfWhatItHasVisited ) {
   const Ptr<Shelf> shelf = shelfWith( { 1, 2, 3, 4 } );
   EXPECT_EQ( this->walk( shelf, [&]( U32 n ) { shelf->map.take( key( n - 1 ) ); } ),
              ( Numbers{ 1, 2, 3, 4 } ) );
}

TYPED_TEST( HashMapAnyWalk, VisitsWhatIsAddedAheadOfItAndNotWhatIsAddedBehind ) {
   const Ptr<Shelf> shelf = shelfWith( { 4, 8 } );
   const auto disturb = [&]( U32 n ) {
      if( n == 4 ) {
         shelf->map.set( key( 2 ), 0 );
         shelf->map.set( key( 6 ), 0 );
      }
   };
   EXPECT_EQ( this->walk( shelf, disturb ), ( Numbers{ 4, 6, 8 } ) );
   EXPECT_EQ( shelf->content(), ( Shelf::Content{ { 2, 0 }, { 4, 0 }, { 6, 0 }, { 8, 0 } } ) );
}

TYPED_TEST( HashMapAnyWalk, GoesOnAtWhatWasAddedRightBehindTheRemovedCurrentEntry ) {
   const Ptr<Shelf> shelf = shelfWith( { 4, 8 } );
   const auto disturb = [&]( U32 n ) {
      if( n == 4 ) {
         shelf->map.take( key( 4 ) );
         shelf->map.set( key( 3 ), 0 );
         shelf->map.set( key( 5 ), 0 );
      }
   };
   EXPECT_EQ( this->walk( shelf, disturb ), ( Numbers{ 4, 5, 8 } ) );
}

TYPED_TEST( HashMapAnyWalk, DoesNotVisitTheCurrentKeyAgainWhenItComesBack ) {
   const Ptr<Shelf> shelf = shelfWith( { 1, 2, 3 } );
   const auto disturb = [&]( U32 n ) {
      shelf->map.take( key( n ) );
      shelf->map.set( key( n ), 1 );
   };
   EXPECT_EQ( this->walk( shelf, disturb ), ( Numbers{ 1, 2, 3 } ) );
   EXPECT_EQ( shelf->content(), ( Shelf::Content{ { 1, 1 }, { 2, 1 }, { 3, 1 } } ) );
}

TYPED_TEST( HashMapAnyWalk, SurvivesGrowthUnderIt ) {
   const Ptr<Shelf> shelf = shelfWith( { 1, 9 } );
   EXPECT_EQ( shelf->map.bucketCount(), 16u );
   const auto disturb = [&]( U32 n ) {
      if( n == 1 ) {
         for( U32 i = 0; i < 1000; ++i ) {
            shelf->map.set( { i, 1000 + i }, 0 ); // all of them behind it
         }
      }
   };
   EXPECT_EQ( this->walk( shelf, disturb ), ( Numbers{ 1, 9 } ) );
   EXPECT_EQ( shelf->map.bucketCount(), 1024u );
}

TYPED_TEST( HashMapAnyWalk, SurvivesGrowthAfterItsCurrentEntryHasGone ) {
   const Ptr<Shelf> shelf = shelfWith( { 1, 9 } );
   const auto disturb = [&]( U32 n ) {
      if( n == 1 ) {
         shelf->map.take( key( 1 ) );
         for( U32 i = 0; i < 1000; ++i ) {
            shelf->map.set( { i, 1000 + i }, 0 );
         }
      }
   };
   EXPECT_EQ( this->walk( shelf, disturb ), ( Numbers{ 1, 9 } ) );
}

TYPED_TEST( HashMapAnyWalk, EndsWhenAllIsRemoved ) {
   const Ptr<Shelf> shelf = shelfWith( { 1, 2, 3 } );
   EXPECT_EQ( this->walk( shelf, [&]( U32 ) { shelf->map.clear(); } ), Numbers{ 1 } );
}

TYPED_TEST( HashMapAnyWalk, GoesOnInARefilledMap ) {
   const Ptr<Shelf> shelf = shelfWith( { 4, 8 } );
   const auto disturb = [&]( U32 n ) {
      if( n == 4 ) {
         shelf->map.clear();
         for( const U32 place : { 2u, 4u, 5u, 9u } ) {
            shelf->map.set( key( place ), 0 );
         }
      }
   };
   EXPECT_EQ( this->walk( shelf, disturb ), ( Numbers{ 4, 5, 9 } ) );
}

TEST( HashMapWalk, KeepsItsEntryReadable ) {
   const Ptr<Shelf> shelf = shelfWith( { 1 } );
   const Map::Iterator at = shelf->map.begin();
   shelf->map.clear();
   EXPECT_EQ( at->key(), key( 1 ) );
   EXPECT_EQ( ( *at ).value(), 0u );
   EXPECT_FALSE( at->isMember() );
}

TEST( HashMapWalk, KeepsTheOwnerOfTheMapAlive ) {
   int alive = 0;
   Ptr<Shelf> shelf = make<Shelf>( &alive );
   shelf->map.set( key( 1 ), 0 );
   shelf->map.set( key( 2 ), 0 );
   {
      Map::Iterator at = shelf->map.begin();
      shelf = nullptr;
      EXPECT_EQ( alive, 1 );
      ++at;
      EXPECT_EQ( at->key(), key( 2 ) );
      at++;
      EXPECT_TRUE( at == std::default_sentinel );
      EXPECT_EQ( alive, 1 );
   }
   EXPECT_EQ( alive, 0 );
}

TYPED_TEST( HashMapAnyWalk, TwoWalksDoNotDisturbEachOther ) {
   const Ptr<Shelf> shelf = shelfWith( { 1, 2, 3 } );
   Map::Iterator slow = shelf->map.begin();
   EXPECT_EQ( this->walk( shelf, [&]( U32 n ) { shelf->map.take( key( n ) ); } ),
              ( Numbers{ 1, 2, 3 } ) );
   ++slow;
   EXPECT_TRUE( slow == shelf->map.end() );
}

/// What a walk promises, checked while everything possible happens to the map.
class PromisesOfAWalk {
 public:
   explicit PromisesOfAWalk( U32 seed ) : dice_( seed ), keys_( someKeys( dice_, kKeys ) ) {
      const U32 chance = 1 + dice_.roll( 8 );
      for( const Key &k : keys_ ) {
         if( dice_.roll( 8 ) < chance ) {
            add( k );
         }
      }
   }

   template <class Way>
   void check() {
      std::set<Key, InOrder> throughout = members_;
      std::vector<Key> visited;
      const U32 unrest = dice_.roll( 6 );
      Way::each( map(), [&]( const Key &key ) {
         const Key now = key;
         ASSERT_TRUE( members_.contains( now ) ) << now << " is visited after its removal";
         ASSERT_TRUE( visited.empty() || InOrder()( visited.back(), now ) )
               << now << " is visited behind " << visited.back();
         visited.push_back( now );
         removed_.clear();
         for( U32 i = dice_.roll( 1 + unrest ); i > 0; --i ) {
            disturb( now );
         }
         for( const Key &k : removed_ ) {
            throughout.erase( k );
         }
      } );
      const std::set<Key, InOrder> seen( visited.begin(), visited.end() );
      for( const Key &k : throughout ) {
         ASSERT_TRUE( seen.contains( k ) ) << k << " was there throughout and is missed";
      }
      ASSERT_EQ( map().size(), members_.size() );
   }

 private:
   static constexpr U32 kKeys = 120;

   Map &map() { return shelf_->map; }
   const Key &anyKey() { return keys_[dice_.roll( kKeys )]; }

   void add( const Key &k ) {
      map().set( k, dice_.roll( 2 ) );
      members_.insert( k );
   }
   void remove( const Key &k ) {
      ASSERT_EQ( static_cast<bool>( map().take( k ) ), members_.erase( k ) == 1 ) << k;
      removed_.push_back( k );
   }

   void disturb( const Key &now ) {
      const auto next = members_.upper_bound( now );
      const Key ahead = next == members_.end() ? now : *next;
      switch( dice_.roll( 8 ) ) {
      case 0:
         remove( now );
         break;
      case 1:
         remove( ahead );
         break;
      case 2:
         remove( now );
         add( now );
         break;
      case 3:
         remove( ahead );
         add( ahead );
         break;
      case 4:
         remove( anyKey() );
         break;
      case 5:
         add( anyKey() );
         break;
      case 6: // growth
         for( U32 i = dice_.roll( 40 ); i > 0; --i ) {
            add( anyKey() );
         }
         break;
      default:
         if( dice_.roll( 20 ) == 0 ) {
            map().clear();
            removed_.insert( removed_.end(), members_.begin(), members_.end() );
            members_.clear();
         }
      }
   }

   Dice dice_;
   const std::vector<Key> keys_;
   const Ptr<Shelf> shelf_ = make<Shelf>();
   std::set<Key, InOrder> members_;
   std::vector<Key> removed_;
};

TYPED_TEST( HashMapAnyWalk, KeepsItsPromisesWhateverHappensUnderIt ) {
   for( U32 seed = 1; seed <= 3000 && !this->HasFatalFailure(); ++seed ) {
      SCOPED_TRACE( "seed " + std::to_string( seed ) );
      PromisesOfAWalk( seed ).template check<TypeParam>();
   }
}

TEST( HashMapWalk, FetchesAheadWithoutAnythingElse ) {
   constexpr U32 kCount = 1 << 18; // such a map is too large for a cache
   const Ptr<Shelf> shelf = make<Shelf>();
   const Ptr<Shelf> other = make<Shelf>();
   EXPECT_EQ( shelf->map.prefetchAll( shelf->map.begin(), other->map ), nullptr );
   for( U32 n = 0; n < kCount; ++n ) {
      shelf->map.set( { n << 14, n }, 0 );
      other->map.set( { ~n << 14, n }, 0 );
   }
   EXPECT_TRUE( shelf->map.isFarApart() );
   EXPECT_FALSE( shelfWith( { 1, 2 } )->map.isFarApart() );
   U32 visited = 0;
   for( auto at = shelf->map.begin(); at != shelf->map.end(); ++at, ++visited ) {
      ASSERT_EQ( at->key().number, visited );
      const Map::Entry *const next = shelf->map.prefetchAll( at, other->map );
      if( visited + 2 < kCount ) { // here every bucket has one
         ASSERT_EQ( next->key().number, visited + 2 );
      }
   }
   EXPECT_EQ( visited, kCount );
   shelf->map.prefetch( 0xFFFFFFFF, 0xFFFFFFFE ); // any number will do
}

TEST( HashMapWalk, TellsTheKeyThatComesSoManyStepsLater ) {
   const Ptr<Shelf> shelf = shelfWith( { 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15 } );
   auto walk = shelf->map.keys();
   EXPECT_EQ( *walk.ahead( 2 ), key( 2 ) );
   EXPECT_EQ( *walk.ahead( 8 ), key( 8 ) );
   for( U32 n = 0; n < 12; ++n ) {
      ++walk;
   }
   EXPECT_EQ( *walk, key( 12 ) );
   EXPECT_EQ( walk.ahead( 2 ), nullptr ); // an empty bucket
   EXPECT_EQ( shelfWith( {} )->map.keys().ahead( 4 ), nullptr );
}

TEST( HashMapWalk, GivesACopyOfTheKey ) {
   const Ptr<Shelf> shelf = shelfWith( { 4, 8 } );
   const auto walk = shelf->map.keys();
   shelf->map.clear();
   shelf->map.set( key( 9 ), 0 ); // in the place of the first one
   EXPECT_EQ( *walk, key( 4 ) );
}

} // namespace
} // namespace Quor
