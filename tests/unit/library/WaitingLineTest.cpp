// The pairs that wait: however they come and go, the first of equal ones is found, as a walk from
// head to tail would find it.
#include "tests/unit/library/Programming.h"

#include <gtest/gtest.h>

#include <random>

namespace LibraryTests {
namespace {

using Place = std::pair<U32, VlanAndMac>;
using Places = std::vector<Place>;

constexpr U32 kLast = 0xFFFFFFFF;

/// What the line must be: a plain list.
class List {
 public:
   const Places &places() const { return places_; }
   void nextKeyIs( U32 key ) { nextKey_ = key; }

   /// False: there is no room.
   bool enq( const VlanAndMac &pair ) {
      U32 key = nextKey_;
      if( !places_.empty() && places_.back().first >= key ) {
         key = places_.back().first + 1;
      }
      if( !places_.empty() && key + 1 == places_.front().first ) {
         return false;
      }
      nextKey_ = key;
      places_.emplace_back( key, pair );
      return true;
   }
   void deq() {
      if( !places_.empty() ) {
         places_.erase( places_.begin() );
      }
   }
   void is( U32 key, const VlanAndMac &pair ) {
      if( const auto at = find( key ); at != places_.end() ) {
         at->second = pair;
         return;
      }
      // Once the positions have wrapped, those below the head's belong to the second round.
      const bool wrapped = !places_.empty() && places_.back().first < places_.front().first;
      const U32 head = wrapped ? places_.front().first : 0;
      const auto behind = std::find_if( places_.begin(), places_.end(), [&]( const Place &place ) {
         return place.first - head > key - head;
      } );
      places_.emplace( behind, key, pair );
   }
   bool isTaken( U32 key ) { return find( key ) != places_.end(); }
   void del( U32 key ) {
      const auto at = find( key );
      if( at == places_.end() ) {
         return;
      }
      const bool isTail = at + 1 == places_.end();
      places_.erase( at );
      if( isTail && !places_.empty() ) {
         nextKey_ = places_.back().first + 1;
      }
   }
   void delFirst( const VlanAndMac &pair ) {
      for( const Place &place : places_ ) {
         if( place.second == pair ) {
            del( place.first );
            return;
         }
      }
   }
   void clear() { places_.clear(); }

 private:
   Places::iterator find( U32 key ) {
      return std::find_if( places_.begin(), places_.end(),
                           [&]( const Place &place ) { return place.first == key; } );
   }

   Places places_;
   U32 nextKey_ = 0;
};

Places placesOf( const VrrpSm &sm ) {
   Places places;
   for( const auto &entry : sm.macsNeedingVirtualRouterIndexes() ) {
      places.emplace_back( entry.key(), entry.value() );
   }
   return places;
}

/// One history of a waiting line and of the list that it must equal.
class History {
 public:
   /// `first`: where the positions begin. `pairs`: how many different pairs come and go.
   History( unsigned seed, U32 first, unsigned pairs, bool isWatched )
         : random_( seed ), first_( first ), pairs_( pairs ) {
      sm_.macsNeedingVirtualRouterIndexMetadataIs( { first, 0 } );
      list_.nextKeyIs( first );
      if( isWatched ) {
         watcher_->uncountedNotifierIs( world_.sm );
         watcher_->isRegisteredNotifieeIs( true );
      }
   }

   void steps( int count ) {
      for( int i = 0; i < count; ++i ) {
         const String what = step();
         ASSERT_EQ( placesOf( sm_ ), list_.places() ) << "step " << i << ", " << what;
         ASSERT_EQ( sm_.macsNeedingVirtualRouterIndexes().count(), list_.places().size() );
      }
      for( int i = 0; i < 3; ++i ) {
         drain();
      }
   }

 private:
   U32 any( std::size_t below ) { return static_cast<U32>( random_() % below ); }
   VlanAndMac somePair() { return pair( static_cast<U16>( 1 + any( pairs_ ) ), 1 ); }
   U32 somePosition() {
      if( !list_.places().empty() && any( 2 ) != 0 ) {
         return list_.places()[any( list_.places().size() )].first;
      }
      return first_ + any( 300 );
   }

   String step() {
      const VlanAndMac pair = somePair();
      switch( any( 16 ) ) {
      case 0:
      case 1:
      case 2:
      case 3:
      case 4:
         if( list_.enq( pair ) ) {
            sm_.macsNeedingVirtualRouterIndexEnq( pair );
         } else {
            EXPECT_THROW( sm_.macsNeedingVirtualRouterIndexEnq( pair ), Quor::RangeException );
         }
         return "enq";
      case 5:
         sm_.macsNeedingVirtualRouterIndexDeq();
         list_.deq();
         return "deq";
      case 6:
      case 7:
      case 8: {
         const U32 key = somePosition();
         sm_.macsNeedingVirtualRouterIndexIs( key, pair );
         list_.is( key, pair );
         return "is at " + std::to_string( key );
      }
      case 9: {
         const U32 key = somePosition();
         if( !list_.isTaken( key ) ) {
            sm_.newMacsNeedingVirtualRouterIndex( key, pair );
            list_.is( key, pair );
         }
         return "new at " + std::to_string( key );
      }
      case 10: {
         const U32 key = somePosition();
         sm_.macsNeedingVirtualRouterIndexDel( key );
         list_.del( key );
         return "del at " + std::to_string( key );
      }
      case 11: {
         const auto &line = sm_.macsNeedingVirtualRouterIndexes();
         auto at = line.begin();
         for( U32 skip = line.count() == 0 ? 0 : any( line.count() ); skip != 0; --skip ) {
            ++at;
         }
         if( at != line.end() ) {
            list_.del( at->key() );
         }
         sm_.macsNeedingVirtualRouterIndexDel( at );
         return "del under an iterator";
      }
      case 12:
         if( any( 20 ) == 0 ) {
            sm_.macsNeedingVirtualRouterIndexDelAll();
            list_.clear();
            sm_.macsNeedingVirtualRouterIndexMetadataIs( { first_, 0 } );
            list_.nextKeyIs( first_ );
         }
         return "del all";
      default:
         sm_.handleVrrpMac( pair ); // nobody wants it: its first place goes
         list_.delFirst( pair );
         return "first one goes";
      }
   }

   /// Every pair is found as long as it waits, and not any longer.
   void drain() {
      for( int i = 0; i < 40; ++i ) {
         const VlanAndMac pair = somePair();
         sm_.handleVrrpMac( pair );
         list_.delFirst( pair );
         ASSERT_EQ( placesOf( sm_ ), list_.places() );
      }
   }

   std::mt19937 random_;
   const U32 first_;
   const unsigned pairs_;
   Running world_{ 0 };
   VrrpSm &sm_ = *world_.sm;
   Ptr<VrrpSm::NotifieeConst> watcher_ = Quor::make<VrrpSm::NotifieeConst>();
   List list_;
};

struct Start {
   const char *name;
   U32 first;
   unsigned pairs;
};

class WaitingLineHistory : public testing::TestWithParam<Start> {};

TEST_P( WaitingLineHistory, IsAPlainListWhateverHappensToIt ) {
   for( unsigned seed = 1; seed <= 16; ++seed ) {
      SCOPED_TRACE( "seed " + std::to_string( seed ) );
      History history( seed, GetParam().first, GetParam().pairs, seed % 2 == 0 );
      history.steps( 400 );
      if( HasFatalFailure() ) {
         return;
      }
   }
}

INSTANTIATE_TEST_SUITE_P( Starts, WaitingLineHistory,
                          testing::Values( Start{ "OnePair", 0, 1 }, Start{ "FewPairs", 0, 3 },
                                           Start{ "ManyPairs", 0, 40 },
                                           Start{ "OnePairWrapping", 0xFFFFFF80u, 1 },
                                           Start{ "FewPairsWrapping", 0xFFFFFF80u, 3 },
                                           Start{ "ManyPairsWrapping", 0xFFFFFFF0u, 40 } ),
                          []( const auto &start ) { return String( start.param.name ); } );

// The situations that a history hits by chance only, one by one

struct Waiting : Running {
   explicit Waiting( const Pairs &pairs ) : Running( 0 ) {
      for( const VlanAndMac &pair : pairs ) {
         sm->macsNeedingVirtualRouterIndexEnq( pair );
      }
   }
   Indexes positions() const { return keysOf( sm->macsNeedingVirtualRouterIndexes() ); }
   /// The pair is not in the table: its first place goes.
   void goes( const VlanAndMac &pair ) { sm->handleVrrpMac( pair ); }
};

TEST( WaitingLine, WithoutItsYoungestPlaceTheOthersOfAPairAreStillFound ) {
   Waiting world( { a, b, a, a } );
   world.sm->macsNeedingVirtualRouterIndexDel( 3 );
   world.goes( a );
   EXPECT_EQ( world.positions(), ( Indexes{ 1, 2 } ) );
   world.goes( a );
   EXPECT_EQ( world.waiting(), ( Pairs{ b } ) );
   world.goes( a );
   EXPECT_EQ( world.waiting(), ( Pairs{ b } ) );
}

TEST( WaitingLine, WithoutItsYoungestPlaceAPairCanWaitAgain ) {
   Waiting world( { a, a } );
   world.sm->macsNeedingVirtualRouterIndexDel( 1 );
   world.sm->macsNeedingVirtualRouterIndexEnq( b );
   world.sm->macsNeedingVirtualRouterIndexEnq( a );
   world.goes( a );
   EXPECT_EQ( world.waiting(), ( Pairs{ b, a } ) );
   world.goes( a );
   EXPECT_EQ( world.waiting(), ( Pairs{ b } ) );
}

TEST( WaitingLine, WithoutItsMiddlePlaceTheOthersOfAPairAreStillFound ) {
   Waiting world( { a, a, a } );
   world.sm->macsNeedingVirtualRouterIndexDel( 1 );
   world.goes( a );
   EXPECT_EQ( world.positions(), ( Indexes{ 2 } ) );
   world.goes( a );
   EXPECT_EQ( world.positions(), Indexes{} );
}

TEST( WaitingLine, APlaceThatIsOverwrittenIsFoundUnderItsNewPairOnly ) {
   Waiting world( { a, b, a } );
   world.sm->macsNeedingVirtualRouterIndexIs( 2, b );
   world.sm->macsNeedingVirtualRouterIndexIs( 0, b );
   world.goes( a );
   EXPECT_EQ( world.waiting(), ( Pairs{ b, b, b } ) );
   world.goes( b );
   EXPECT_EQ( world.positions(), ( Indexes{ 1, 2 } ) );
}

TEST( WaitingLine, APlaceSetBeforeTheOthersIsTheFirst ) {
   Waiting world( {} );
   for( const U32 key : { 50u, 10u, 30u, 20u, 40u } ) {
      world.sm->newMacsNeedingVirtualRouterIndex( key, a );
   }
   for( const Indexes &left : { Indexes{ 20, 30, 40, 50 }, Indexes{ 30, 40, 50 }, Indexes{ 40, 50 },
                                Indexes{ 50 }, Indexes{} } ) {
      world.goes( a );
      EXPECT_EQ( world.positions(), left );
   }
}

TEST( WaitingLine, TheFirstIsTheOneNearestToTheHeadNotTheOneWithTheSmallestPosition ) {
   Waiting world( {} );
   world.sm->macsNeedingVirtualRouterIndexIs( 0xFFFFFFFFu, a );
   world.sm->macsNeedingVirtualRouterIndexEnq( a );
   world.sm->macsNeedingVirtualRouterIndexEnq( a );
   ASSERT_EQ( world.positions(), ( Indexes{ 0xFFFFFFFFu, 0, 1 } ) );
   world.goes( a );
   EXPECT_EQ( world.positions(), ( Indexes{ 0, 1 } ) );
}

TEST( WaitingLine, APlaceAtTheLastPositionIsFoundAmongThoseOfItsPair ) {
   Waiting world( {} );
   for( const U32 key : { kLast - 1, kLast } ) {
      world.sm->newMacsNeedingVirtualRouterIndex( key, a );
   }
   world.sm->macsNeedingVirtualRouterIndexEnq( a );
   world.sm->macsNeedingVirtualRouterIndexEnq( b );
   for( const Indexes &left :
        { Indexes{ kLast, 0, 1 }, Indexes{ 0, 1 }, Indexes{ 1 }, Indexes{ 1 } } ) {
      world.goes( a );
      EXPECT_EQ( world.positions(), left );
   }
}

TEST( WaitingLine, APlaceAtTheLastPositionIsFoundUnderItsNewPairOnly ) {
   Waiting world( { a, b } );
   world.sm->newMacsNeedingVirtualRouterIndex( kLast, c );
   world.sm->macsNeedingVirtualRouterIndexIs( kLast, a );
   world.goes( c );
   EXPECT_EQ( world.waiting(), ( Pairs{ a, b, a } ) );
   world.goes( a );
   world.goes( a );
   EXPECT_EQ( world.waiting(), ( Pairs{ b } ) );
   world.sm->newMacsNeedingVirtualRouterIndex( kLast, a );
   world.sm->macsNeedingVirtualRouterIndexDel( kLast );
   world.goes( a );
   EXPECT_EQ( world.waiting(), ( Pairs{ b } ) );
}

TEST( WaitingLine, APairIsFoundAtBothEndsOfALineAroundTheWholeCircle ) {
   Waiting world( {} );
   world.sm->newMacsNeedingVirtualRouterIndex( 10, a );
   world.sm->newMacsNeedingVirtualRouterIndex( kLast - 1, b );
   world.sm->macsNeedingVirtualRouterIndexEnq( c );
   world.sm->macsNeedingVirtualRouterIndexEnq( d ); // at 0
   world.sm->newMacsNeedingVirtualRouterIndex( 7, e );
   world.sm->newMacsNeedingVirtualRouterIndex( 8, a );
   ASSERT_EQ( world.positions(), ( Indexes{ 10, kLast - 1, kLast, 0, 7, 8 } ) );
   world.goes( e );
   world.goes( a );
   EXPECT_EQ( world.positions(), ( Indexes{ kLast - 1, kLast, 0, 8 } ) );
   world.goes( a );
   world.goes( d );
   EXPECT_EQ( world.waiting(), ( Pairs{ b, c } ) );
}

TEST( WaitingLine, EqualPairsLeaveALongLineWithoutAWalk ) {
   Waiting world( {} );
   constexpr U32 kCount = 100000; // a walk for each would take minutes
   for( U32 i = 0; i < kCount; ++i ) {
      world.sm->macsNeedingVirtualRouterIndexEnq( i % 2 == 0 ? a : b );
   }
   for( U32 i = 0; i < kCount / 2; ++i ) {
      world.goes( a );
   }
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndexes().count(), kCount / 2 );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndex( 1 ), b );
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndex( kCount - 1 ), b );
}

TEST( WaitingLine, ALongLineIsLeftFromItsMiddleWithoutAWalk ) {
   Waiting world( {} );
   constexpr U32 kCount = 30000; // a walk for each would take minutes
   for( U32 i = 0; i < kCount; ++i ) {
      world.sm->macsNeedingVirtualRouterIndexEnq( pair( static_cast<U16>( i ), 1 ) );
   }
   for( U32 i = kCount; i-- > 0; ) {
      world.goes( pair( static_cast<U16>( i ), 1 ) );
   }
   EXPECT_EQ( world.sm->macsNeedingVirtualRouterIndexes().count(), 0u );
}

} // namespace
} // namespace LibraryTests
