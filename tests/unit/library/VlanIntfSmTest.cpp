// The reactor of one interface by itself: every VLAN of its set times every MAC of its set.
#include "tests/unit/library/Reflecting.h"
#include "tests/unit/support/DeathReport.h"

#include <gtest/gtest.h>

#include <numeric>
#include <sstream>
#include <utility>

namespace LibraryTests {
namespace {

/// A reactor that the test makes over two sets of its own.
struct Crossing : Reflecting {
   Ptr<SviVlanSet> vlans = Quor::make<SviVlanSet>( IntfId( "br10" ) );
   Ptr<EthAddrsForIntf> macs = Quor::make<EthAddrsForIntf>( IntfId( "br10" ) );
   Ptr<VlanIntfSm> reactor;

   Crossing( const Vlans &vlanNumbers, const Vlans &vrids ) {
      Reflecting::start();
      for( const U16 number : vlanNumbers ) {
         vlans->vlanIdIs( vlan( number ), true );
      }
      for( const U16 vrid : vrids ) {
         macs->ethAddrIs( mac( vrid ), true );
      }
   }
   void make() { reactor = Quor::make<VlanIntfSm>( sm.get(), vlans, macs ); }
   void makeActive() {
      make();
      reactor->hasNotificationActiveIs( true );
      story.take();
   }
};

std::vector<U16> vridsInSetOrder( const Vlans &vrids ) {
   std::vector<EthAddr> macs;
   for( const U16 vrid : vrids ) {
      macs.push_back( mac( vrid ) );
   }
   std::vector<U16> ordered;
   for( const EthAddr &mac : inTableOrder( macs ) ) {
      ordered.push_back( mac.octets()[5] );
   }
   return ordered;
}

// Start

TEST( VlanIntfSm, StartsByReplayingItsVlansOverAllMacs ) {
   Crossing world( { 10, 20 }, { 1, 2 } );
   world.story.traces();
   world.make();
   Lines told = { intfStarts( "br10" ) };
   for( const VlanId v : inSetOrder( { 10, 20 } ) ) {
      told.insert( told.end(), { vlanHandled( "br10", v ), vlanJoins( "br10", v ) } );
      for( const U16 vrid : vridsInSetOrder( { 1, 2 } ) ) {
         const VlanAndMac key( v, mac( vrid ) );
         told.insert( told.end(), { adds( "handleVlanId", "br10", key ), plus( key ) } );
      }
   }
   EXPECT_EQ( world.story.take(), told );
   EXPECT_EQ( world.keys(),
              ( Pairs{ pair( 10, 1 ), pair( 10, 2 ), pair( 20, 1 ), pair( 20, 2 ) } ) );
}

TEST( VlanIntfSm, OverAnEmptyMacSetTheReplayWritesNothing ) {
   Crossing world( { 10, 20 }, {} );
   const auto v = inSetOrder( { 10, 20 } );
   world.story.traces();
   world.make();
   EXPECT_EQ( world.story.take(),
              ( Lines{ intfStarts( "br10" ), vlanHandled( "br10", v[0] ), vlanJoins( "br10", v[0] ),
                       vlanHandled( "br10", v[1] ), vlanJoins( "br10", v[1] ) } ) );
}

TEST( VlanIntfSm, OverAnEmptyVlanSetTheReplayWritesNothing ) {
   Crossing world( {}, { 1 } );
   world.story.traces();
   world.make();
   EXPECT_EQ( world.story.take(), ( Lines{ intfStarts( "br10" ) } ) );
}

TEST( VlanIntfSm, MadeDirectlyItListensOnlyWhenItIsSwitchedOn ) {
   Crossing world( { 10 }, { 1 } );
   world.make();
   EXPECT_FALSE( world.reactor->hasNotificationActive() );
   EXPECT_EQ( world.vlans->notifieeCount() + world.macs->notifieeCount(), 0u );
   world.reactor->hasNotificationActiveIs( false );
   world.macs->ethAddrIs( mac( 2 ), true );
   world.vlans->vlanIdIs( vlan( 20 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ) } ) );
   world.reactor->hasNotificationActiveIs( true );
   EXPECT_TRUE( world.reactor->hasNotificationActive() );
   EXPECT_EQ( world.vlans->notifieeCount(), 1u );
   EXPECT_EQ( world.macs->notifieeCount(), 1u );
   world.macs->ethAddrIs( mac( 3 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 3 ), pair( 20, 3 ) } ) );
   world.reactor->hasNotificationActiveIs( false );
   EXPECT_EQ( world.vlans->notifieeCount() + world.macs->notifieeCount(), 0u );
}

TEST( VlanIntfSm, KnowsItsInputs ) {
   Crossing world( {}, {} );
   world.make();
   EXPECT_EQ( world.reactor->libSm(), world.sm.get() );
   EXPECT_EQ( world.reactor->sviVlanSet(), world.vlans );
   EXPECT_EQ( world.reactor->dmacList(), world.macs );
   EXPECT_EQ( world.reactor->intf(), IntfId( "br10" ) );
   EXPECT_FALSE( world.reactor->initialized() );
   world.reactor->initializedIs( true );
   EXPECT_TRUE( world.reactor->initialized() );
}

// VLANs

TEST( VlanIntfSm, AVlanThatJoinsIsAddedForEveryMac ) {
   Crossing world( { 10 }, { 1, 2 } );
   world.makeActive();
   world.story.traces();
   world.vlans->vlanIdIs( vlan( 20 ), true );
   const auto vrids = vridsInSetOrder( { 1, 2 } );
   EXPECT_EQ( world.story.take(),
              ( Lines{ vlanHandled( "br10", vlan( 20 ) ), vlanJoins( "br10", vlan( 20 ) ),
                       adds( "handleVlanId", "br10", pair( 20, vrids[0] ) ),
                       plus( pair( 20, vrids[0] ) ),
                       adds( "handleVlanId", "br10", pair( 20, vrids[1] ) ),
                       plus( pair( 20, vrids[1] ) ) } ) );
}

TEST( VlanIntfSm, AVlanThatLeavesIsRemovedForEveryMac ) {
   Crossing world( { 10, 20 }, { 1, 2 } );
   world.makeActive();
   world.story.traces();
   world.vlans->vlanIdDel( vlan( 20 ) );
   const auto vrids = vridsInSetOrder( { 1, 2 } );
   EXPECT_EQ( world.story.take(),
              ( Lines{ vlanHandled( "br10", vlan( 20 ) ), vlanLeaves( "br10", vlan( 20 ) ),
                       removes( "handleVlanId", "br10", pair( 20, vrids[0] ) ),
                       minus( pair( 20, vrids[0] ) ),
                       removes( "handleVlanId", "br10", pair( 20, vrids[1] ) ),
                       minus( pair( 20, vrids[1] ) ) } ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 2 ) } ) );
}

TEST( VlanIntfSm, AVlanThatTurnsFalseCountsAsGone ) {
   Crossing world( { 10, 20 }, { 1 } );
   world.makeActive();
   world.story.traces();
   world.vlans->vlanIdIs( vlan( 20 ), false );
   EXPECT_EQ(
         world.story.take(),
         ( Lines{ vlanHandled( "br10", vlan( 20 ) ), vlanLeaves( "br10", vlan( 20 ) ),
                  removes( "handleVlanId", "br10", pair( 20, 1 ) ), minus( pair( 20, 1 ) ) } ) );
   world.vlans->vlanIdIs( vlan( 20 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
}

TEST( VlanIntfSm, WithoutMacsVlansComeAndGoWithATraceOnly ) {
   Crossing world( {}, {} );
   world.makeActive();
   world.story.traces( 1u << 1 | 1u << 2 );
   world.vlans->vlanIdIs( vlan( 10 ), true );
   world.vlans->vlanIdDel( vlan( 10 ) );
   EXPECT_EQ( world.story.take(),
              ( Lines{ vlanJoins( "br10", vlan( 10 ) ), vlanLeaves( "br10", vlan( 10 ) ) } ) );
}

TEST( VlanIntfSm, AVlanTakesEveryMacWhateverItsFlag ) {
   Crossing world( {}, { 1 } );
   world.macs->ethAddrIs( mac( 2 ), false );
   world.makeActive();
   world.vlans->vlanIdIs( vlan( 10 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 2 ) } ) );
   EXPECT_TRUE( world.table->virtualRouterMac( pair( 10, 2 ) ) ) << "written with true";
   world.vlans->vlanIdDel( vlan( 10 ) );
   EXPECT_EQ( world.keys(), Pairs{} );
}

TEST( VlanIntfSm, AnyVlanNumberIsReflected ) {
   Crossing world( { 0, 1, 4095, 65535 }, { 1 } );
   world.make();
   EXPECT_EQ( world.keys(),
              ( Pairs{ pair( 0, 1 ), pair( 1, 1 ), pair( 4095, 1 ), pair( 65535, 1 ) } ) );
}

// MACs

TEST( VlanIntfSm, AMacThatJoinsIsAddedOnEveryVlan ) {
   Crossing world( { 10, 20 }, {} );
   world.makeActive();
   world.story.traces();
   world.macs->ethAddrIs( mac( 1 ), true );
   const auto v = inSetOrder( { 10, 20 } );
   const VlanAndMac first( v[0], mac( 1 ) );
   const VlanAndMac second( v[1], mac( 1 ) );
   EXPECT_EQ( world.story.take(),
              ( Lines{ macHandled( "br10", 1 ), adds( "handleDmac", "br10", first ), plus( first ),
                       adds( "handleDmac", "br10", second ), plus( second ) } ) );
}

TEST( VlanIntfSm, AMacThatLeavesIsRemovedFromEveryVlan ) {
   Crossing world( { 10, 20 }, { 1, 2 } );
   world.makeActive();
   world.story.traces();
   world.macs->ethAddrDel( mac( 1 ) );
   const auto v = inSetOrder( { 10, 20 } );
   const VlanAndMac first( v[0], mac( 1 ) );
   const VlanAndMac second( v[1], mac( 1 ) );
   EXPECT_EQ(
         world.story.take(),
         ( Lines{ macHandled( "br10", 1 ), removes( "handleDmac", "br10", first ), minus( first ),
                  removes( "handleDmac", "br10", second ), minus( second ) } ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 2 ), pair( 20, 2 ) } ) );
}

TEST( VlanIntfSm, AMacThatTurnsFalseCountsAsGone ) {
   Crossing world( { 10 }, { 1, 2 } );
   world.makeActive();
   world.macs->ethAddrIs( mac( 1 ), false );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 2 ) } ) );
   world.macs->ethAddrIs( mac( 1 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 2 ) } ) );
}

TEST( VlanIntfSm, WithoutVlansMacsChangeNoKey ) {
   Crossing world( {}, {} );
   world.makeActive();
   world.story.traces();
   world.macs->ethAddrIs( mac( 1 ), true );
   world.macs->ethAddrDel( mac( 1 ) );
   EXPECT_EQ( world.story.take(), ( Lines{ macHandled( "br10", 1 ), macHandled( "br10", 1 ) } ) );
}

TEST( VlanIntfSm, AMacTakesEveryVlanWhateverItsFlag ) {
   Crossing world( { 10 }, {} );
   world.vlans->vlanIdIs( vlan( 20 ), false );
   world.makeActive();
   world.macs->ethAddrIs( mac( 1 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
   world.macs->ethAddrDel( mac( 1 ) );
   EXPECT_EQ( world.keys(), Pairs{} );
}

TEST( VlanIntfSm, WhatStandsInTheTableAlreadyIsLeftAndTraced ) {
   Crossing world( { 10 }, { 1 } );
   world.makeActive();
   world.story.traces( 1u << 2 );
   world.reactor->handleDmac( mac( 1 ) );
   world.reactor->handleVlanId( vlan( 10 ) );
   world.reactor->handleDmac( mac( 9 ) );
   EXPECT_EQ( world.story.take(), ( Lines{ adds( "handleDmac", "br10", pair( 10, 1 ) ),
                                           adds( "handleVlanId", "br10", pair( 10, 1 ) ),
                                           removes( "handleDmac", "br10", pair( 10, 9 ) ) } ) );
}

TEST( VlanIntfSm, TheReplayCanBeAskedForAgain ) {
   Crossing world( { 10 }, { 1 } );
   world.makeActive();
   world.table->virtualRouterMacDelAll();
   world.reactor->handleInitialized();
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ) } ) );
}

// Cleanup

TEST( VlanIntfSm, CleanupRemovesEveryKeyVlanByVlan ) {
   Crossing world( { 10, 20 }, { 1, 2 } );
   world.table->virtualRouterMacIs( pair( 99, 1 ), true );
   world.makeActive();
   world.story.traces();
   world.reactor->doCleanup();
   Lines told = { cleanedUp( "br10" ) };
   for( const VlanId v : inSetOrder( { 10, 20 } ) ) {
      for( const U16 vrid : vridsInSetOrder( { 1, 2 } ) ) {
         const VlanAndMac key( v, mac( vrid ) );
         told.insert( told.end(), { removes( "doCleanup", "br10", key ), minus( key ) } );
      }
   }
   EXPECT_EQ( world.story.take(), told );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 99, 1 ) } ) );
}

TEST( VlanIntfSm, CleanupTakesEveryKeyWhateverItsFlag ) {
   Crossing world( { 10 }, { 1 } );
   world.makeActive();
   world.vlans->vlanIdIs( vlan( 20 ), false );
   world.macs->ethAddrIs( mac( 2 ), false );
   for( const VlanAndMac &key : { pair( 10, 2 ), pair( 20, 1 ), pair( 20, 2 ) } ) {
      world.table->virtualRouterMacIs( key, true );
   }
   world.reactor->doCleanup();
   EXPECT_EQ( world.keys(), Pairs{} );
}

TEST( VlanIntfSm, AfterCleanupItStillFollows ) {
   Crossing world( { 10 }, { 1 } );
   world.makeActive();
   world.reactor->doCleanup();
   world.macs->ethAddrIs( mac( 2 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 2 ) } ) );
}

TEST( VlanIntfSm, TheCrossProductPlaysOut ) {
   Crossing world( { 10, 20 }, {} );
   world.makeActive();
   world.macs->ethAddrIs( mac( 1 ), true );
   world.macs->ethAddrIs( mac( 2 ), true );
   EXPECT_EQ( world.keys(),
              ( Pairs{ pair( 10, 1 ), pair( 10, 2 ), pair( 20, 1 ), pair( 20, 2 ) } ) );
   world.vlans->vlanIdDel( vlan( 20 ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 2 ) } ) );
   world.reactor->doCleanup();
   EXPECT_EQ( world.keys(), Pairs{} );
}

// End

TEST( VlanIntfSm, GoingItRemovesNoKeyAndListensNoMore ) {
   Crossing world( { 10 }, { 1 } );
   world.makeActive();
   world.story.traces();
   world.reactor = nullptr;
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ) } ) );
   EXPECT_EQ( world.vlans->notifieeCount() + world.macs->notifieeCount(), 0u );
   world.vlans->vlanIdDel( vlan( 10 ) );
   world.macs->ethAddrDel( mac( 1 ) );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( VlanIntfSm, AZombieHearsNothing ) {
   Crossing world( { 10 }, { 1 } );
   world.makeActive();
   world.story.traces();
   world.reactor->quorDoZombieReactors( true );
   world.vlans->vlanIdIs( vlan( 20 ), true );
   world.macs->ethAddrIs( mac( 2 ), true );
   EXPECT_EQ( world.story.take(), Lines{} );
   world.reactor->quorDoZombieReactors( false );
   world.vlans->vlanIdIs( vlan( 30 ), true );
   world.macs->ethAddrIs( mac( 3 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 3 ), pair( 20, 3 ), pair( 30, 1 ),
                                     pair( 30, 2 ), pair( 30, 3 ) } ) );
}

// Other inputs

TEST( VlanIntfSm, AnotherVlanSetIsListenedToAndNotReplayed ) {
   Crossing world( { 10 }, { 1 } );
   world.makeActive();
   const auto other = Quor::make<SviVlanSet>( IntfId( "br10" ) );
   other->vlanIdIs( vlan( 20 ), true );
   world.reactor->sviVlanSetIs( other );
   EXPECT_EQ( world.reactor->sviVlanSet(), other );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ) } ) );
   world.vlans->vlanIdDel( vlan( 10 ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ) } ) );
   other->vlanIdIs( vlan( 30 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 30, 1 ) } ) );
   world.reactor->sviVlanSetIs( other );
   EXPECT_EQ( other->notifieeCount(), 1u );
   world.reactor->sviVlanSetDel();
   EXPECT_EQ( world.reactor->sviVlanSet(), nullptr );
   EXPECT_EQ( other->notifieeCount(), 0u );
   world.reactor->newSviVlanSet( world.vlans );
   EXPECT_EQ( world.vlans->notifieeCount(), 1u );
}

TEST( VlanIntfSm, AnotherMacSetIsListenedToAndNotReplayed ) {
   Crossing world( { 10 }, { 1 } );
   world.makeActive();
   const auto other = Quor::make<EthAddrsForIntf>( IntfId( "br77" ) );
   other->ethAddrIs( mac( 2 ), true );
   world.reactor->dmacListIs( other );
   EXPECT_EQ( world.reactor->dmacList(), other );
   EXPECT_EQ( world.reactor->intf(), IntfId( "br77" ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ) } ) );
   world.macs->ethAddrDel( mac( 1 ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ) } ) );
   other->ethAddrIs( mac( 3 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 3 ) } ) );
   world.reactor->dmacListDel();
   EXPECT_EQ( world.reactor->dmacList(), nullptr );
   EXPECT_EQ( world.reactor->intf(), IntfId() ) << "no interface without a MAC set";
   EXPECT_EQ( other->notifieeCount(), 0u );
   std::ostringstream text;
   text << *world.reactor;
   EXPECT_EQ( text.str(), "VlanIntfSm()" );
   world.reactor->newDmacList( world.macs );
   EXPECT_EQ( world.macs->notifieeCount(), 1u );
}

TEST( VlanIntfSm, SwitchedOffOtherInputsAreNotListenedTo ) {
   Crossing world( { 10 }, { 1 } );
   world.make();
   const auto vlans = Quor::make<SviVlanSet>( IntfId( "br10" ) );
   const auto macs = Quor::make<EthAddrsForIntf>( IntfId( "br10" ) );
   world.reactor->sviVlanSetIs( vlans );
   world.reactor->dmacListIs( macs );
   EXPECT_EQ( vlans->notifieeCount() + macs->notifieeCount(), 0u );
   world.reactor->hasNotificationActiveIs( true );
   EXPECT_EQ( vlans->notifieeCount() + macs->notifieeCount(), 2u );
}

// Required inputs

TEST( VlanIntfSmDeathTest, SetsOfTwoInterfacesStopWithTheExactReport ) {
   Crossing world( {}, {} );
   world.vlans = Quor::make<SviVlanSet>( IntfId( "br20" ) );
   EXPECT_EXIT( world.make(), testing::KilledBySignal( SIGABRT ),
                Support::assertionReport(
                      "OrloVrrpPrivateVlanReflectorLib",
                      "void Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm::handleInitialized()",
                      "sviVlanSet()->vlanIntf() == dmacList()->vlanIntf()" ) +
                      "\n$" );
}

TEST( VlanIntfSmDeathTest, TheTraceOfTheStartComesBeforeTheCheck ) {
   Crossing world( {}, {} );
   world.vlans = Quor::make<SviVlanSet>( IntfId( "br20" ) );
   Quor::traceLevelsIs( kReflector, 1u << 8 );
   EXPECT_EXIT( world.make(), testing::KilledBySignal( SIGABRT ),
                Support::literally( "VlanIntfSm(br10)::handleInitialized\n" ) );
   Quor::traceLevelsIs( kReflector, 0 );
}

TEST( VlanIntfSmDeathTest, AMissingVlanSetStops ) {
   Crossing world( {}, {} );
   world.vlans = nullptr;
   EXPECT_EXIT( world.make(), testing::KilledBySignal( SIGABRT ), "" );
}

TEST( VlanIntfSmDeathTest, AMissingMacSetStops ) {
   Crossing world( {}, {} );
   world.macs = nullptr;
   EXPECT_EXIT( world.make(), testing::KilledBySignal( SIGABRT ), "" );
}

// Hints

/// Writes down which keys are announced.
class HintWatcher : public VirtualRouterMacTable::NotifieeConst {
 public:
   using Hint = std::pair<Quor::U32, Quor::U32>;
   std::vector<Hint> hints;
   void onVirtualRouterMacsAhead( Quor::U32 later, Quor::U32 soon ) override {
      hints.emplace_back( later, soon );
   }
   using NotifieeConst::onVirtualRouterMac;
};

/// A reactor whose table is only watched by somebody who writes down hints.
struct Hinted : Crossing {
   Ptr<HintWatcher> hearer = Quor::make<HintWatcher>();

   Hinted( const Vlans &vlanNumbers, const Vlans &vrids ) : Crossing( vlanNumbers, vrids ) {
      makeActive();
      watcher->notifierIs( nullptr );
      hearer->notifierIs( table );
      hearer->isRegisteredNotifieeIs( true );
   }
   /// To more than 131,072 buckets.
   void tableGrows() {
      for( Quor::U32 number = 0; number < 140'000; ++number ) {
         table->newVirtualRouterMac(
               VlanAndMac( vlan( static_cast<U16>( number ) ),
                           EthAddr( 2, 0, static_cast<U16>( number >> 16 ) ) ),
               true );
      }
   }
   std::vector<HintWatcher::Hint> hints() { return std::exchange( hearer->hints, {} ); }
};

TEST( VlanIntfSm, OverALargeTableAWalkOverTheMacsSaysWhichKeysComeNext ) {
   Vlans vrids( 16 ); // so many that each is alone in its bucket
   std::iota( vrids.begin(), vrids.end(), U16{ 1 } );
   Hinted world( {}, vrids );
   world.vlans->vlanIdIs( vlan( 10 ), true );
   EXPECT_EQ( world.hints(), std::vector<HintWatcher::Hint>{} ) << "the table is small";
   world.tableGrows();
   const auto order = vridsInSetOrder( vrids );
   const auto expected = [&]( U16 vlanNumber ) {
      std::vector<HintWatcher::Hint> hints;
      const auto hash = [&]( std::size_t at ) { // behind the end: the first one
         return naturalHash( pair( vlanNumber, order[at < order.size() ? at : 0] ) );
      };
      for( std::size_t at = 0; at < order.size(); ++at ) {
         hints.emplace_back( hash( at + 8 ), hash( at + 4 ) );
      }
      return hints;
   };
   world.vlans->vlanIdIs( vlan( 20 ), true );
   EXPECT_EQ( world.hints(), expected( 20 ) );
   world.vlans->vlanIdDel( vlan( 10 ) );
   EXPECT_EQ( world.hints(), expected( 10 ) );
   world.reactor->doCleanup();
   EXPECT_EQ( world.hints(), expected( 20 ) );
}

TEST( VlanIntfSm, OverALargeTableAWalkOverManyVlansSaysWhereAllKeysStand ) {
   Vlans vlans( 1023 );
   std::iota( vlans.begin(), vlans.end(), U16{ 1 } );
   Hinted world( vlans, {} );
   world.vlans->vlanIdIs( vlan( 1024 ), true );
   world.macs->ethAddrIs( mac( 1 ), true );
   EXPECT_EQ( world.hints(), std::vector<HintWatcher::Hint>{} ) << "the table is small";
   world.tableGrows();
   const auto expected = []( U16 vrid ) {
      std::vector<HintWatcher::Hint> hints;
      for( U16 number = 0; number < 4096; number += 16 ) {
         const U16 before = number < 64 ? number : static_cast<U16>( number - 64 );
         hints.emplace_back( naturalHash( pair( number, vrid ) ),
                             naturalHash( pair( before, vrid ) ) );
      }
      return hints;
   };
   world.macs->ethAddrIs( mac( 2 ), true );
   EXPECT_EQ( world.hints(), expected( 2 ) );
   world.macs->ethAddrDel( mac( 1 ) );
   EXPECT_EQ( world.hints(), expected( 1 ) );
   world.vlans->vlanIdDel( vlan( 1024 ) );
   world.hints();
   world.macs->ethAddrIs( mac( 1 ), true );
   EXPECT_EQ( world.hints(), std::vector<HintWatcher::Hint>{} ) << "few VLANs";
}

} // namespace
} // namespace LibraryTests
