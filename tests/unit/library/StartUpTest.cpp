// The start of the programmer: the pool, the adoption of what the hardware holds, the table.
#include "tests/unit/library/ProgrammerLines.h"
#include "tests/unit/library/Programming.h"

#include <gtest/gtest.h>

#include <new>

namespace LibraryTests {
namespace {

// Nothing to adopt

TEST( StartUp, ProgramsTheTableFromIndex0UpwardsInTableOrder ) {
   Programming world( 4 );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b, c } );
   for( const VlanAndMac &pair : { c, b, a } ) {
      world.wanted( pair );
   }
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ added( inOrder[0], 0 ), added( inOrder[1], 1 ),
                                           added( inOrder[2], 2 ), kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 3 } ) );
}

TEST( StartUp, TracesItsWay ) {
   Programming world( 1 );
   world.wanted( a );
   world.story.traces();
   world.start();
   EXPECT_EQ( world.story.take(),
              ( Lines{ kStart, preparing( 1 ), handled( a ), addingAt( 0 ), doAdd( a, 0 ),
                       added( a, 0 ), kFlagCleared, kComplete } ) );
}

TEST( StartUp, FillsThePoolInOrderWithPositionsThatAreTheIndexes ) {
   Programming world( 200 );
   world.start();
   EXPECT_EQ( world.free(), upTo( 200 ) );
   EXPECT_EQ( keysOf( world.sm->freeVirtualRouterIndexes() ), upTo( 200 ) );
}

TEST( StartUp, WithoutIndexesEveryPairOfTheTableWaitsInTableOrder ) {
   Programming world( 0 );
   for( const VlanAndMac &pair : { a, b, c } ) {
      world.wanted( pair );
   }
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.waiting(), inTableOrder<VlanAndMac>( { a, b, c } ) );
   EXPECT_EQ( world.free(), Indexes{} );
}

TEST( StartUp, APairTooManyWaits ) {
   Programming world( 2 );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b, c } );
   for( const VlanAndMac &pair : inOrder ) {
      world.wanted( pair );
   }
   world.start();
   EXPECT_EQ( world.waiting(), ( Pairs{ inOrder[2] } ) );
}

TEST( StartUp, WithoutATableNothingIsProgrammedAndTheHelperIsTold ) {
   Programming world( 2 );
   world.table = nullptr;
   world.story.traces();
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kStart, preparing( 2 ), kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 0, 1 } ) );
}

TEST( StartUp, TheHelperIsToldThatTheFlagIsClearAlsoWhenItNeverWasSet ) {
   Programming world( 0 );
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kFlagCleared, kComplete } ) );
}

TEST( StartUp, ItIsInitializedBeforeAnythingHappens ) {
   Programming world( 1 );
   world.wanted( a ); // handling it before would stop the process
   world.start();
   EXPECT_TRUE( world.sm->initialized() );
}

TEST( StartUp, TheProgrammerListensOnlyWhenTheStartIsOver ) {
   Programming world( 3 );
   world.wanted( a );
   world.helper->onComplete = [&] { EXPECT_EQ( world.table->notifieeCount(), 0u ); };
   world.start();
   EXPECT_EQ( world.table->notifieeCount(), 1u );
   EXPECT_TRUE( world.sm->hasNotificationActive() );
}

TEST( StartUp, MadeDirectlyAProgrammerRunsJustAsWell ) {
   Programming world( 3 );
   world.sm = Quor::make<VrrpSm>( world.table, world.hardware, world.helper );
   EXPECT_EQ( world.story.take(), ( Lines{ kFlagCleared, kComplete } ) );
   EXPECT_TRUE( world.sm->hasNotificationActive() );
   world.wanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ) } ) );
}

TEST( StartUp, InputsCanBeReadBack ) {
   Running world( 3 );
   EXPECT_EQ( world.sm->vrrpHwStatus(), world.hardware );
   EXPECT_EQ( world.sm->vrrpHelper(), world.helper );
   EXPECT_EQ( world.sm->vrrpMacStatus(), world.table );
}

// Adoption

TEST( StartUp, AnAdoptedPairKeepsItsIndexWithoutACallAndOthersTakeTheLowestLeft ) {
   Programming world( 8 );
   world.wanted( a );
   world.wanted( b );
   world.helper->holds( { { a, 5 } } );
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kSync, added( b, 0 ), kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 5 }, { b, 0 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 2, 3, 4, 6, 7 } ) );
}

TEST( StartUp, AdoptionTracesItsWay ) {
   Programming world( 8 );
   world.wanted( a );
   world.wanted( b );
   world.helper->holds( { { a, 5 }, { c, 0 } } );
   world.story.traces();
   world.start();
   Lines told = { kStart, preparing( 8 ), kSyncing, kSync };
   for( const VlanAndMac &pair : inTableOrder<VlanAndMac>( { a, c } ) ) {
      if( pair == a ) {
         told.insert( told.end(), { adopting( a, 5 ) } );
      } else {
         told.insert( told.end(), { adopting( c, 0 ), handled( c ), deletingAt( c, 0 ),
                                    doDelete( c, 0 ), deleted( c, 0 ) } );
      }
   }
   for( const VlanAndMac &pair : inTableOrder<VlanAndMac>( { a, b } ) ) {
      told.push_back( handled( pair ) );
      if( pair == b ) {
         told.insert( told.end(), { addingAt( 1 ), doAdd( b, 1 ), added( b, 1 ) } );
      }
   }
   told.insert( told.end(), { kFlagCleared, kComplete } );
   EXPECT_EQ( world.story.take(), told );
   EXPECT_EQ( world.free(), ( Indexes{ 2, 3, 4, 6, 7, 0 } ) );
}

TEST( StartUp, WithoutTheFlagNobodyAsksForASnapshot ) {
   Programming world( 8 );
   world.helper->holds( { { a, 5 } } );
   world.helper->VrrpSmHelper::syncCurrentStateOnInitIs( false );
   world.wanted( a );
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ added( a, 0 ), kFlagCleared, kComplete } ) );
}

TEST( StartUp, AnEmptySnapshotAdoptsNothing ) {
   Programming world( 2 );
   world.helper->holds( {} );
   world.wanted( a );
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kSync, added( a, 0 ), kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 1 } ) );
}

TEST( StartUp, AnAdoptedPairThatNobodyWantsIsDeletedAndItsIndexGoesToTheTail ) {
   Programming world( 3 );
   world.wanted( b );
   world.helper->holds( { { a, 2 } } );
   world.start();
   EXPECT_EQ( world.story.take(),
              ( Lines{ kSync, deleted( a, 2 ), added( b, 0 ), kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 2 } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { b, 0 } } ) );
}

TEST( StartUp, IndexesThatAdoptionFreedAreHandedOutLast ) {
   Programming world( 3 );
   world.helper->holds( { { d, 0 }, { e, 1 } } );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b, c } );
   for( const VlanAndMac &pair : inOrder ) {
      world.wanted( pair );
   }
   world.start();
   const Pairs gone = inTableOrder<VlanAndMac>( { d, e } );
   const U32 first = gone[0] == d ? 0 : 1;
   EXPECT_EQ( world.story.take(),
              ( Lines{ kSync, deleted( gone[0], first ), deleted( gone[1], 1 - first ),
                       added( inOrder[0], 2 ), added( inOrder[1], first ),
                       added( inOrder[2], 1 - first ), kFlagCleared, kComplete } ) );
}

TEST( StartUp, WithoutATableEveryAdoptedPairIsDeleted ) {
   Programming world( 3 );
   world.table = nullptr;
   world.helper->holds( { { a, 1 } } );
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kSync, deleted( a, 1 ), kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 0, 2, 1 } ) );
}

TEST( StartUp, AKeyWithTheFlagFalseIsWantedForAdoption ) {
   Programming world( 3 );
   world.table->virtualRouterMacIs( a, false );
   world.helper->holds( { { a, 1 } } );
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kSync, kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 1 } } ) );
}

TEST( StartUp, AnIndexOutsideThePoolIsAdoptedAllTheSame ) {
   Programming world( 2 );
   world.wanted( a );
   world.helper->holds( { { a, 9 } } );
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kSync, kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 9 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 0, 1 } ) );
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 9 ) } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 0, 1, 9 } ) );
}

TEST( StartUp, WithoutIndexesAPairIsAdoptedAllTheSame ) {
   Programming world( 0 );
   world.wanted( a );
   world.wanted( b );
   world.helper->holds( { { a, 0 } } );
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kSync, kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 0 } } ) );
   EXPECT_EQ( world.waiting(), ( Pairs{ b } ) );
   world.unwanted( a );
   EXPECT_EQ( world.story.take(), ( Lines{ deleted( a, 0 ), added( b, 0 ) } ) );
}

TEST( StartUp, AnUnwantedPairOnVlan0IsForgottenWithoutACall ) {
   const VlanAndMac zero = pair( 0, 1 );
   Programming world( 2 );
   world.helper->holds( { { zero, 0 } } );
   world.story.traces();
   world.start();
   EXPECT_EQ( world.story.take(),
              ( Lines{ kStart, preparing( 2 ), kSyncing, kSync, adopting( zero, 0 ),
                       handled( zero ), deletingAt( zero, 0 ), doDelete( zero, 0 ), kDeleteIgnored,
                       kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 0 } ) );
}

TEST( StartUp, AWantedPairOnVlan0IsAdoptedLikeAnyOther ) {
   const VlanAndMac zero = pair( 0, 1 );
   Programming world( 2 );
   world.wanted( zero );
   world.helper->holds( { { zero, 1 } } );
   world.start();
   EXPECT_EQ( world.programmed(), ( Slots{ { zero, 1 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 0 } ) );
}

TEST( StartUp, TwoPairsUnderOneIndexAreBothAdopted ) {
   Programming world( 3 );
   world.wanted( a );
   world.wanted( b );
   world.helper->holds( { { a, 1 }, { b, 1 } } );
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kSync, kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.programmed(), ( Slots{ { a, 1 }, { b, 1 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 0, 2 } ) );
}

TEST( StartUp, AdoptionTakesAPositionOutOfThePoolNotAnIndex ) {
   Programming world( 3 );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b } );
   world.wanted( inOrder[1] );
   world.helper->holds( { { inOrder[0], 0 }, { inOrder[1], 0 } } );
   world.start();
   EXPECT_EQ( world.programmed(), ( Slots{ { inOrder[1], 0 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 1, 2, 0 } ) )
         << "deleting the first pair put 0 at position 3, where the second adoption does not look";
}

TEST( StartUp, AnIndexThatReturnsToItsPositionGoesWithASecondAdoption ) {
   Programming world( 3 );
   const Pairs inOrder = inTableOrder<VlanAndMac>( { a, b } );
   world.wanted( inOrder[1] );
   world.helper->holds( { { inOrder[0], 2 }, { inOrder[1], 2 } } );
   world.start();
   EXPECT_EQ( world.programmed(), ( Slots{ { inOrder[1], 2 } } ) );
   EXPECT_EQ( world.free(), ( Indexes{ 0, 1 } ) );
}

TEST( StartUp, TheFlagIsStillSetWhileTheTableIsHandled ) {
   Programming world( 4 );
   world.wanted( b );
   world.helper->holds( {} );
   bool looked = false;
   world.helper->onAdd = [&] {
      looked = true;
      EXPECT_TRUE( world.helper->syncCurrentStateOnInit() );
   };
   world.helper->onComplete = [&] { EXPECT_FALSE( world.helper->syncCurrentStateOnInit() ); };
   world.start();
   EXPECT_TRUE( looked );
}

TEST( StartUp, ARestartWithoutChangesWritesNothingToTheHardware ) {
   Running world( 4, { a, b, c } );
   const Slots before = world.programmed();
   world.sm = nullptr;
   world.helper->holds( before );
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kSync, kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.programmed(), before );
   EXPECT_EQ( world.free(), ( Indexes{ 3 } ) );
}

// The snapshot

TEST( StartUp, TheSnapshotIsKept ) {
   Programming world( 4 );
   world.wanted( a );
   world.helper->holds( { { a, 2 } } );
   world.start();
   ASSERT_TRUE( world.sm->currentVrrpStateForInit() );
   EXPECT_EQ( world.sm->currentVrrpStateForInit()->virtualRouterIndex( a )->value(), 2u );
}

TEST( StartUp, AnEmptySnapshotIsMadeAlsoWhenNobodyFillsIt ) {
   Running world( 4 );
   ASSERT_TRUE( world.sm->currentVrrpStateForInit() );
   EXPECT_EQ( world.sm->currentVrrpStateForInit()->virtualRouterIndexes().size(), 0u );
}

TEST( StartUp, ASnapshotIsMadeOnceAndCanBeDropped ) {
   Running world( 4 );
   const Ptr<CurrentVrrpStateForInit> first = world.sm->currentVrrpStateForInit();
   EXPECT_EQ( world.sm->currentVrrpStateForInitIs().get(), first.get() );
   world.sm->currentVrrpStateForInitDel();
   EXPECT_EQ( world.sm->currentVrrpStateForInit(), nullptr );
   const Ptr<CurrentVrrpStateForInit> second = world.sm->currentVrrpStateForInitIs();
   EXPECT_NE( second.get(), first.get() );
   EXPECT_EQ( world.sm->currentVrrpStateForInit(), second );
}

// Again

TEST( StartUp, ASecondStartOnlyTraces ) {
   Running world( 2, { a } );
   world.helper->holds( { { b, 1 } } );
   world.story.traces();
   world.sm->handleInitialized();
   EXPECT_EQ( world.story.take(), ( Lines{ kStart } ) );
   EXPECT_TRUE( world.helper->syncCurrentStateOnInit() );
   EXPECT_EQ( world.free(), ( Indexes{ 1 } ) );
}

// The number of indexes

/// Changes the hardware's count when the first index has been filled in.
class Resizer : public VrrpSm::NotifieeConst {
 public:
   Resizer( Ptr<Hardware> hardware, U32 count )
         : hardware_( std::move( hardware ) ), count_( count ) {}
   void onFreeVirtualRouterIndex( U32 ) override { hardware_->virtualRouterCountIs( count_ ); }

 private:
   const Ptr<Hardware> hardware_;
   const U32 count_;
};

struct Filled {
   Lines traces;
   Indexes indexes;
};

/// The pool of a programmer whose hardware changes from `before` to `after` indexes meanwhile.
Filled filledWhileResizing( U32 before, U32 after ) {
   Programming world( before );
   alignas( VrrpSm ) std::byte storage[sizeof( VrrpSm )];
   const auto resizer = Quor::make<Resizer>( world.hardware, after );
   Filled filled;
   Quor::traceLevelsIs( kProgrammer, 1u << 2 | 1u << 3 );
   Quor::traceSinkIs( [&]( const Quor::TraceRecord &record ) {
      if( filled.traces.empty() ) { // nothing has been filled in yet
         resizer->uncountedNotifierIs( ptrTo( *reinterpret_cast<VrrpSm *>( storage ) ) );
         resizer->isRegisteredNotifieeIs( true );
      }
      filled.traces.push_back( record.message );
   } );
   VrrpSm *const sm = new( storage ) VrrpSm( world.table, world.hardware, world.helper );
   Quor::traceLevelsIs( kProgrammer, 0 );
   Quor::traceSinkIs( {} );
   resizer->notifierIs( nullptr );
   filled.indexes = valuesOf( sm->freeVirtualRouterIndexes() );
   sm->~VrrpSm();
   return filled;
}

TEST( StartUp, TheNumberOfIndexesIsReadAgainBeforeEachStep ) {
   EXPECT_EQ( filledWhileResizing( 2, 2 ).indexes, ( Indexes{ 0, 1 } ) );
   EXPECT_EQ( filledWhileResizing( 2, 5 ).indexes, ( Indexes{ 0, 1, 2, 3, 4 } ) );
   EXPECT_EQ( filledWhileResizing( 2, 1 ).indexes, ( Indexes{ 0 } ) );
}

TEST( StartUp, TheNumberOfIndexesIsUnsigned ) {
   const Filled filled = filledWhileResizing( 4294967295u, 3 );
   EXPECT_EQ( filled.traces, ( Lines{ "void Orlo::VrrpSm::handleInitialized()",
                                      "Preparing indexes for 4294967295 Vrrp routers." } ) );
   EXPECT_EQ( filled.indexes, ( Indexes{ 0, 1, 2 } ) );
}

TEST( StartUp, ALaterChangeOfTheNumberChangesNothing ) {
   Running world( 2 );
   world.hardware->virtualRouterCountIs( 5 );
   world.sm->handleInitialized();
   EXPECT_EQ( world.free(), ( Indexes{ 0, 1 } ) );
}

} // namespace
} // namespace LibraryTests
