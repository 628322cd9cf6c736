// The end of a programmer: cleaned up, destroyed, or never finished.
#include "tests/unit/library/ProgrammerLines.h"
#include "tests/unit/library/Programming.h"

#include <gtest/gtest.h>

namespace LibraryTests {
namespace {

// Cleanup

TEST( Cleanup, GivesTheIndexesBackInMapOrderWithoutACall ) {
   Running world( 4 );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b, c } );
   const Indexes held = { 2, 0, 1 };
   for( const VlanAndMac &pair : { inOrder[1], inOrder[2], inOrder[0] } ) {
      world.wanted( pair );
   }
   ASSERT_EQ( world.sm->virtualRouterIndex( inOrder[0] ), held[0] );
   world.story.take();
   world.sm->doCleanup();
   EXPECT_EQ( world.free(), ( Indexes{ 3, 2, 0, 1 } ) );
   EXPECT_EQ( world.programmed(), Slots{} );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( Cleanup, OnlyTracesThatItHappens ) {
   Running world( 1, { a, b } );
   world.story.traces();
   world.sm->doCleanup();
   EXPECT_EQ( world.story.take(), ( Lines{ kCleanup } ) );
}

TEST( Cleanup, EmptiesTheWaitingLineWithoutHandingAnythingOver ) {
   Running world( 1, { a, b, c } );
   world.sm->handleVrrpMac( b );
   ASSERT_EQ( world.waiting(), ( Pairs{ b, c, b } ) );
   world.sm->doCleanup();
   EXPECT_EQ( world.waiting(), Pairs{} );
   EXPECT_EQ( world.programmed(), Slots{} );
   EXPECT_EQ( world.free(), ( Indexes{ 0 } ) );
}

TEST( Cleanup, LeavesTheProgrammerInitializedAndListening ) {
   Running world( 3, { a, b } );
   world.sm->doCleanup();
   EXPECT_TRUE( world.sm->initialized() );
   world.wanted( c );
   EXPECT_EQ( world.story.take(), ( Lines{ added( c, 2 ) } ) );
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), Lines{} ) << "it holds no index any more";
   world.unwanted( c );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( c, 2 ) } ) );
}

TEST( Cleanup, CanBeDoneTwice ) {
   Running world( 2, { a } );
   world.sm->doCleanup();
   world.sm->doCleanup();
   EXPECT_EQ( world.free(), ( Indexes{ 1, 0 } ) );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( Cleanup, KeepsTheSnapshot ) {
   Running world( 2, { a } );
   world.sm->doCleanup();
   EXPECT_TRUE( world.sm->currentVrrpStateForInit() );
}

TEST( Cleanup, TellsTheProgrammersWatchersPairByPair ) {
   class Watcher : public VrrpSm::NotifieeConst {
    public:
      explicit Watcher( Story &story ) : story_( story ) {}
      void onFreeVirtualRouterIndex( U32 key ) override {
         story_.tell( "free at " + std::to_string( key ) + ": " +
                      std::to_string( notifier()->freeVirtualRouterIndex( key ) ) );
      }
      void onVirtualRouterIndex( const VlanAndMac &pair ) override {
         const bool held = notifier()->virtualRouterIndexIteratorConst().isMemberOf( pair );
         story_.tell( pairText( pair ) + ( held ? " held" : " gone" ) );
      }
      void onMacsNeedingVirtualRouterIndex( U32 key ) override {
         story_.tell( "waits no more at " + std::to_string( key ) );
      }

    private:
      Story &story_;
   };
   Running world( 2 );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b } );
   for( const VlanAndMac &pair : { inOrder[0], inOrder[1], c, d } ) {
      world.wanted( pair );
   }
   world.story.take();
   const auto watcher = Quor::make<Watcher>( world.story );
   watcher->notifierIs( world.sm );
   watcher->isRegisteredNotifieeIs( true );
   world.sm->doCleanup();
   EXPECT_EQ( world.story.take(), ( Lines{ "free at 1: 0", pairText( inOrder[0] ) + " gone",
                                           "free at 2: 1", pairText( inOrder[1] ) + " gone",
                                           "waits no more at 0", "waits no more at 1" } ) )
         << "each index is free before its pair is gone";
}

/// Gives a pair an index as soon as another one has given its own back.
class Latecomer : public VrrpSm::Notifiee {
 public:
   Latecomer( const VlanAndMac &after, const VlanAndMac &late ) : after_( after ), late_( late ) {}
   void onVirtualRouterIndex( const VlanAndMac &pair ) override {
      if( pair == after_ && !isDone_ ) {
         isDone_ = true;
         notifier()->virtualRouterIndexIs( late_, 9 );
      }
   }

 private:
   const VlanAndMac after_;
   const VlanAndMac late_;
   bool isDone_ = false;
};

TEST( Cleanup, BeginsAgainAtTheFirstPairAfterEachOne ) {
   Running world( 2 );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b, c } );
   world.wanted( inOrder[1] );
   world.wanted( inOrder[2] );
   const auto watcher = Quor::make<Latecomer>( inOrder[1], inOrder[0] );
   watcher->notifierIs( world.sm );
   watcher->isRegisteredNotifieeIs( true );
   world.sm->doCleanup();
   EXPECT_EQ( world.programmed(), Slots{} );
   EXPECT_EQ( world.free(), ( Indexes{ 0, 9, 1 } ) );
}

// Destruction

TEST( Cleanup, DestroyingAProgrammerCallsNobodyAndTracesNothing ) {
   Running world( 2, { a, b, c } );
   world.story.traces();
   world.sm = nullptr;
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( Cleanup, ADestroyedProgrammerHearsNothingAnyMore ) {
   Running world( 2, { a } );
   world.sm = nullptr;
   EXPECT_EQ( world.table->notifieeCount(), 0u );
   world.unwanted( a );
   world.wanted( b );
   EXPECT_EQ( world.story.take(), Lines{} );
}

/// Tells when it goes.
class MortalHelper : public RecordingHelper {
 public:
   explicit MortalHelper( Story &story ) : RecordingHelper( story ), story_( story ) {}
   ~MortalHelper() override { story_.tell( "helper goes" ); }

 private:
   Story &story_;
};

TEST( Cleanup, ADestroyedProgrammerLetsGoOfItsHelper ) {
   Running world( 2 );
   world.helper = Quor::make<MortalHelper>( world.story );
   world.start();
   world.helper = nullptr;
   EXPECT_EQ( world.story.take(), ( Lines{ kFlagCleared, kComplete } ) ) << "held until then";
   world.sm = nullptr;
   EXPECT_EQ( world.story.take(), ( Lines{ "helper goes" } ) );
}

/// Writes to the table when it goes.
class LastWordHelper : public RecordingHelper {
 public:
   LastWordHelper( Story &story, Ptr<VirtualRouterMacTable> table )
         : RecordingHelper( story ), table_( std::move( table ) ) {}
   ~LastWordHelper() override { table_->virtualRouterMacIs( e, true ); }

 private:
   const Ptr<VirtualRouterMacTable> table_;
};

TEST( Cleanup, ATableThatChangesWhileTheProgrammerGoesIsNotHeard ) {
   Programming world( 2 );
   world.helper = Quor::make<LastWordHelper>( world.story, world.table );
   world.start();
   world.helper = nullptr;
   world.story.traces();
   world.story.take();
   world.sm = nullptr;
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_TRUE( world.table->virtualRouterMac( e ) );
}

TEST( Cleanup, EntriesThatSomebodyHoldsOutliveTheProgrammer ) {
   Running world( 1, { a, b } );
   const auto held = world.sm->virtualRouterIndexes().find( a );
   const auto waiting = world.sm->macsNeedingVirtualRouterIndexes().head();
   const auto snapshot = world.sm->currentVrrpStateForInit();
   world.sm = nullptr;
   EXPECT_EQ( held->key(), a );
   EXPECT_EQ( waiting->value(), b );
   EXPECT_FALSE( held->isMember() || waiting->isMember() );
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 0u );
}

// A start that fails

TEST( Cleanup, AProgrammerWhoseStartFailsLeavesNothingBehind ) {
   Programming world( 2 );
   world.helper = Quor::make<MortalHelper>( world.story );
   world.wanted( a );
   world.helper->onAdd = [] { throw std::runtime_error( "no" ); };
   EXPECT_THROW( world.start(), std::runtime_error );
   EXPECT_EQ( world.sm, nullptr );
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ) } ) )
         << "neither the flag nor the completion follow";
   EXPECT_EQ( world.table->notifieeCount(), 0u );
   world.helper = nullptr;
   EXPECT_EQ( world.story.take(), ( Lines{ "helper goes" } ) ) << "nobody else held it";
   world.unwanted( a );
}

TEST( Cleanup, AfterAStartThatFailedANewOneSucceeds ) {
   Programming world( 2 );
   world.wanted( a );
   world.helper->holds( { { b, 1 } } );
   world.helper->onSync = [&] {
      world.helper->onSync = nullptr;
      throw std::runtime_error( "no" );
   };
   EXPECT_THROW( world.start(), std::runtime_error );
   world.start();
   EXPECT_EQ( world.story.take(),
              ( Lines{ kSync, kSync, deleted( b, 1 ), added( a, 0 ), kFlagCleared, kComplete } ) );
}

} // namespace
} // namespace LibraryTests
