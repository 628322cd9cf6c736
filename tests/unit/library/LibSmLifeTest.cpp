// The start of the reflector, its switches, its end, and its next start.
#include "tests/unit/library/Reflecting.h"
#include "tests/unit/support/DeathReport.h"

#include <gtest/gtest.h>

namespace LibraryTests {
namespace {

// Start

TEST( LibSmLife, StartsByEmptyingTheTableAndReplayingTheRecordsInTheirOrder ) {
   Reflecting world;
   world.serves( "br10", { 10 } );
   world.appears( "br10", 1 );
   world.appears( "br10", 2 );
   world.table->newVirtualRouterMac( pair( 99, 1 ), true );
   world.table->newVirtualRouterMac( pair( 10, 1 ), true );
   const auto left = inTableOrder<VlanAndMac>( { pair( 99, 1 ), pair( 10, 1 ) } );
   Lines told = { kReflectorStarts, minus( left[0] ), minus( left[1] ) };
   bool first = true;
   for( const auto &record : world.status->vrrpVirtualMacs() ) {
      const U16 vrid = record.key().mac() == mac( 1 ) ? 1 : 2;
      told.insert( told.end(), { recordHandled( "br10", vrid ), recordAppeared( "br10", vrid ) } );
      if( std::exchange( first, false ) ) {
         told.insert( told.end(),
                      { intfHandled( "br10" ), creating( "br10" ), intfStarts( "br10" ),
                        vlanHandled( "br10", vlan( 10 ) ), vlanJoins( "br10", vlan( 10 ) ) } );
      }
      told.insert( told.end(),
                   { macHandled( "br10", vrid ), adds( "handleDmac", "br10", pair( 10, vrid ) ),
                     plus( pair( 10, vrid ) ) } );
   }
   world.story.traces();
   world.start();
   EXPECT_EQ( world.story.take(), told );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 2 ) } ) );
}

TEST( LibSmLife, RecordsThatAreFalseAreHandledAsAbsentAtTheStart ) {
   Reflecting world;
   world.serves( "br10", { 10 } );
   world.status->vrrpVirtualMacIs( VirtualRouterMac( IntfId( "br10" ), mac( 1 ) ), false );
   world.story.traces();
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kReflectorStarts, recordHandled( "br10", 1 ),
                                           recordDisappeared( "br10", 1 ) } ) );
}

TEST( LibSmLife, TheFactoryMakesAnActiveReflector ) {
   Reflecting world;
   world.serves( "br10", { 10 } );
   world.start();
   EXPECT_TRUE( world.sm->hasNotificationActive() );
   EXPECT_EQ( world.sm->virtualRouterMacStatusIn(), world.status );
   EXPECT_EQ( world.sm->intfVlanIdSetTable(), world.vlanSets );
   EXPECT_EQ( world.sm->virtualRouterMacTableOut(), world.table );
   EXPECT_FALSE( world.sm->disableCleanupOnRestart() );
   EXPECT_FALSE( world.sm->initialized() ) << "set from outside only";
   EXPECT_EQ( world.status->notifieeCount(), 1u );
   const auto second = LibSmIs( nullptr, world.vlanSets, world.table );
   EXPECT_NE( second, world.sm ) << "a new one every time";
   EXPECT_TRUE( second->hasNotificationActive() );
}

TEST( LibSmLife, TheFlagsAreStoredAndNothingElse ) {
   ReflectingBr10 world( { 1 } );
   world.story.traces();
   world.sm->initializedIs( true );
   world.sm->disableCleanupOnRestartIs( true );
   EXPECT_TRUE( world.sm->initialized() );
   EXPECT_TRUE( world.sm->disableCleanupOnRestart() );
   world.sm->initializedIs( false );
   world.sm->disableCleanupOnRestartIs( false );
   EXPECT_FALSE( world.sm->initialized() );
   EXPECT_FALSE( world.sm->disableCleanupOnRestart() );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( LibSmLife, MadeDirectlyItReplaysAndThenHearsNoRecordsUntilItIsSwitchedOn ) {
   Reflecting world;
   const auto vlans = world.serves( "br10", { 10 } );
   world.appears( "br10", 1 );
   world.sm = Quor::make<LibSm>( world.status, world.vlanSets, world.table );
   EXPECT_FALSE( world.sm->hasNotificationActive() );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ) } ) );
   EXPECT_EQ( world.status->notifieeCount(), 0u );
   world.appears( "br10", 2 );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ) } ) );
   vlans->vlanIdIs( vlan( 20 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) )
         << "the interface's reactor is on from its creation";

   world.sm->hasNotificationActiveIs( true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) ) << "nothing is replayed";
   EXPECT_EQ( world.status->notifieeCount(), 1u );
   world.appears( "br10", 3 );
   EXPECT_EQ( world.keys(),
              ( Pairs{ pair( 10, 1 ), pair( 10, 3 ), pair( 20, 1 ), pair( 20, 3 ) } ) );
}

TEST( LibSmLife, WithoutAStatusTableItOnlyEmptiesTheOutput ) {
   Reflecting world;
   world.status = nullptr;
   world.table->newVirtualRouterMac( pair( 10, 1 ), true );
   world.story.traces();
   world.start();
   EXPECT_EQ( world.story.take(), ( Lines{ kReflectorStarts, minus( pair( 10, 1 ) ) } ) );
   EXPECT_EQ( world.sm->virtualRouterMacStatusIn(), nullptr );
   world.sm->hasNotificationActiveIs( false );
   world.sm->quorDoZombieReactors( true );
   world.sm = nullptr;
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( LibSmLife, HandledAgainTheStartEmptiesTheTableWhileTheMacSetsKnowTheirMacs ) {
   ReflectingBr10 world( { 1 } );
   world.br10->vlanIdDel( vlan( 20 ) );
   world.table->newVirtualRouterMac( pair( 99, 1 ), true );
   world.sm->handleInitialized();
   EXPECT_EQ( world.keys(), Pairs{} )
         << "the set knows its MAC already, so nobody writes the key again";
}

// Required inputs

TEST( LibSmLifeDeathTest, WithoutAnOutputTableItStops ) {
   Reflecting world;
   EXPECT_EXIT( libSmFactory( world.status, world.vlanSets, nullptr ),
                testing::KilledBySignal( SIGABRT ), "" );
}

TEST( LibSmLifeDeathTest, WithoutATableOfVlanSetsTheFirstMacStops ) {
   Reflecting world;
   world.vlanSets = nullptr;
   world.start();
   EXPECT_EXIT( world.appears( "br10", 1 ), testing::KilledBySignal( SIGABRT ), "" );
}

TEST( LibSmLifeDeathTest, AnInterfaceWithoutAVlanSetStops ) {
   Reflecting world;
   world.start();
   EXPECT_EXIT( world.appears( "br10", 1 ), testing::KilledBySignal( SIGABRT ), "" );
}

TEST( LibSmLifeDeathTest, ARecordHandledWithoutAStatusTableStops ) {
   Reflecting world;
   world.status = nullptr;
   world.start();
   EXPECT_EXIT( world.sm->handleVirtualRouterMac( VirtualRouterMac( IntfId( "br10" ), mac( 1 ) ) ),
                testing::KilledBySignal( SIGABRT ), "" );
}

TEST( LibSmLifeDeathTest, AVlanSetOfAnotherInterfaceStopsWithTheExactReport ) {
   Reflecting world;
   world.start();
   const auto macs = world.sm->newDmacsForIntf( IntfId( "br10" ) );
   const auto vlans = Quor::make<SviVlanSet>( IntfId( "br20" ) );
   EXPECT_EXIT( world.sm->vlanIntfSmIs( world.sm.get(), vlans, macs ),
                testing::KilledBySignal( SIGABRT ),
                Support::assertionReport(
                      "OrloVrrpPrivateVlanReflectorLib",
                      "void Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm::handleInitialized()",
                      "sviVlanSet()->vlanIntf() == dmacList()->vlanIntf()" ) +
                      "\n$" );
}

// Switches

TEST( LibSmLife, SwitchedOffNeitherRecordsNorVlansAreHeard ) {
   ReflectingBr10 world( { 1 } );
   world.sm->hasNotificationActiveIs( false );
   EXPECT_FALSE( world.sm->hasNotificationActive() );
   EXPECT_FALSE( world.reactor( "br10" )->hasNotificationActive() );
   EXPECT_EQ( world.status->notifieeCount(), 0u );
   EXPECT_EQ( world.br10->notifieeCount(), 0u );
   world.story.traces();
   world.appears( "br10", 2 );
   world.br10->vlanIdIs( vlan( 30 ), true );
   EXPECT_EQ( world.story.take(), Lines{} );
   world.sm->hasNotificationActiveIs( true );
   EXPECT_EQ( world.story.take(), Lines{} );
   world.br10->vlanIdIs( vlan( 40 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ), pair( 40, 1 ) } ) );
}

TEST( LibSmLife, TheSwitchPassesOnAChangeOnly ) {
   Reflecting world;
   world.serves( "br10", { 10 } );
   world.appears( "br10", 1 );
   world.sm = Quor::make<LibSm>( world.status, world.vlanSets, world.table );
   world.sm->hasNotificationActiveIs( false ); // it is off: its reactors are not touched
   EXPECT_TRUE( world.reactor( "br10" )->hasNotificationActive() );
   world.sm->hasNotificationActiveIs( true );
   world.reactor( "br10" )->hasNotificationActiveIs( false );
   world.sm->hasNotificationActiveIs( true );
   EXPECT_FALSE( world.reactor( "br10" )->hasNotificationActive() );
}

TEST( LibSmLife, AZombieHearsNoRecords ) {
   ReflectingBr10 world( { 1 } );
   world.story.traces();
   world.sm->quorDoZombieReactors( true );
   world.appears( "br10", 2 );
   world.disappears( "br10", 1 );
   EXPECT_EQ( world.story.take(), Lines{} );
   world.sm->quorDoZombieReactors( false );
   world.disappears( "br10", 2 );
   EXPECT_EQ( world.story.take(),
              ( Lines{ recordHandled( "br10", 2 ), recordDisappeared( "br10", 2 ) } ) );
}

// End

TEST( LibSmLife, GoingItRemovesItsKeysInterfaceByInterface ) {
   Reflecting world;
   const auto br10 = world.serves( "br10", { 10 } );
   const auto br30 = world.serves( "br30", { 30 } );
   world.appears( "br10", 1 );
   world.appears( "br30", 1 );
   world.start();
   world.table->newVirtualRouterMac( pair( 99, 1 ), true ); // somebody else's
   world.story.take();
   world.story.traces();
   world.sm = nullptr;
   Lines told;
   for( const IntfId &intf : inTableOrder<IntfId>( { IntfId( "br10" ), IntfId( "br30" ) } ) ) {
      const char *const name = intf.name().data();
      const VlanAndMac key = intf == IntfId( "br10" ) ? pair( 10, 1 ) : pair( 30, 1 );
      told.insert( told.end(), { intfHandled( name ), removing( name ), cleanedUp( name ),
                                 removes( "doCleanup", name, key ), minus( key ) } );
   }
   EXPECT_EQ( world.story.take(), told );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 99, 1 ) } ) );
   EXPECT_EQ( world.status->notifieeCount(), 0u );
   EXPECT_EQ( br10->notifieeCount() + br30->notifieeCount(), 0u );
}

TEST( LibSmLife, WithCleanupDisabledItLeavesItsKeys ) {
   ReflectingBr10 world( { 1 } );
   world.sm->disableCleanupOnRestartIs( true );
   world.story.traces();
   world.sm = nullptr;
   EXPECT_EQ( world.story.take(), ( Lines{ intfHandled( "br10" ) } ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
   EXPECT_EQ( world.br10->notifieeCount(), 0u );
   world.br10->vlanIdDel( vlan( 10 ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
}

TEST( LibSmLife, ReactorsWithoutAMacSetGoSilently ) {
   ReflectingBr10 world;
   const auto macs = Quor::make<EthAddrsForIntf>( IntfId( "br10" ) );
   macs->newEthAddr( mac( 1 ), true );
   world.sm->newVlanIntfSm( world.sm.get(), world.br10, macs );
   ASSERT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
   world.story.take();
   world.story.traces();
   world.sm = nullptr;
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( macs->notifieeCount(), 0u );
}

TEST( LibSmLife, ReactorsThatSomebodyHoldsWriteNothingWhenItHasGone ) {
   ReflectingBr10 world( { 1 } );
   const auto macs = world.macs( "br10" );
   const auto reactor = world.reactor( "br10" );
   const auto br30 = world.serves( "br30", { 30 } );
   const auto macsOfNobody = Quor::make<EthAddrsForIntf>( IntfId( "br30" ) );
   const auto ofNobody = world.sm->newVlanIntfSm( world.sm.get(), br30, macsOfNobody );
   world.sm = nullptr;
   world.story.take();
   world.story.traces();
   macs->ethAddrIs( mac( 2 ), true );
   world.br10->vlanIdIs( vlan( 40 ), true );
   macsOfNobody->ethAddrIs( mac( 2 ), true );
   br30->vlanIdIs( vlan( 40 ), true );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( LibSmLife, RecordsThatChangeWhileItGoesAreNotHandled ) {
   ReflectingBr10 world( { 1 } );
   class Meddler : public VirtualRouterMacTable::NotifieeConst {
    public:
      explicit Meddler( Reflecting &world ) : world_( world ) {}
      void onVirtualRouterMac( const VlanAndMac & ) override { world_.appears( "br10", 7 ); }
      using NotifieeConst::onVirtualRouterMac;

    private:
      Reflecting &world_;
   };
   const auto meddler = Quor::make<Meddler>( world );
   meddler->notifierIs( world.table );
   meddler->isRegisteredNotifieeIs( true );
   world.sm = nullptr;
   EXPECT_EQ( world.keys(), Pairs{} );
}

// And again

TEST( LibSmLife, ANextOneRemovesAndWritesAgainWhatTheLastOneLeft ) {
   ReflectingBr10 world( { 1 } );
   world.sm->disableCleanupOnRestartIs( true );
   world.sm = nullptr;
   world.br10->vlanIdDel( vlan( 20 ) );
   world.story.take();
   world.start();
   const auto left = inTableOrder<VlanAndMac>( { pair( 10, 1 ), pair( 20, 1 ) } );
   EXPECT_EQ( world.story.take(),
              ( Lines{ minus( left[0] ), minus( left[1] ), plus( pair( 10, 1 ) ) } ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ) } ) );
}

} // namespace
} // namespace LibraryTests
