// The reflector's top reactor, as records appear and disappear.
#include "tests/unit/library/Reflecting.h"

#include <gtest/gtest.h>

#include <sstream>

namespace LibraryTests {
namespace {

// Records that appear

TEST( LibSm, ARecordIsReflectedOntoEveryVlanOfItsInterface ) {
   ReflectingBr10 world;
   world.appears( "br10", 1 );
   const auto vlans = inSetOrder( { 10, 20 } );
   EXPECT_EQ( world.story.take(), ( Lines{ plus( VlanAndMac( vlans[0], mac( 1 ) ) ),
                                           plus( VlanAndMac( vlans[1], mac( 1 ) ) ) } ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
   EXPECT_TRUE( world.table->virtualRouterMac( pair( 10, 1 ) ) ) << "written with true";
}

TEST( LibSm, TheFirstRecordOfAnInterfaceTracesItsWay ) {
   ReflectingBr10 world;
   const auto vlans = inSetOrder( { 10, 20 } );
   world.story.traces();
   world.appears( "br10", 1 );
   EXPECT_EQ(
         world.story.take(),
         ( Lines{ recordHandled( "br10", 1 ), recordAppeared( "br10", 1 ), intfHandled( "br10" ),
                  creating( "br10" ), intfStarts( "br10" ), vlanHandled( "br10", vlans[0] ),
                  vlanJoins( "br10", vlans[0] ), vlanHandled( "br10", vlans[1] ),
                  vlanJoins( "br10", vlans[1] ), macHandled( "br10", 1 ),
                  adds( "handleDmac", "br10", VlanAndMac( vlans[0], mac( 1 ) ) ),
                  plus( VlanAndMac( vlans[0], mac( 1 ) ) ),
                  adds( "handleDmac", "br10", VlanAndMac( vlans[1], mac( 1 ) ) ),
                  plus( VlanAndMac( vlans[1], mac( 1 ) ) ) } ) );
}

TEST( LibSm, ASecondRecordSharesTheSetAndTheReactor ) {
   ReflectingBr10 world( { 1 } );
   const auto macs = world.macs( "br10" );
   const auto reactor = world.reactor( "br10" );
   const auto vlans = inSetOrder( { 10, 20 } );
   world.story.traces();
   world.appears( "br10", 2 );
   EXPECT_EQ(
         world.story.take(),
         ( Lines{ recordHandled( "br10", 2 ), recordAppeared( "br10", 2 ), macHandled( "br10", 2 ),
                  adds( "handleDmac", "br10", VlanAndMac( vlans[0], mac( 2 ) ) ),
                  plus( VlanAndMac( vlans[0], mac( 2 ) ) ),
                  adds( "handleDmac", "br10", VlanAndMac( vlans[1], mac( 2 ) ) ),
                  plus( VlanAndMac( vlans[1], mac( 2 ) ) ) } ) );
   EXPECT_EQ( world.macs( "br10" ), macs );
   EXPECT_EQ( world.reactor( "br10" ), reactor );
   EXPECT_EQ( world.sm->dmacsForIntfs().size(), 1u );
   EXPECT_EQ( world.sm->vlanIntfSms().size(), 1u );
   EXPECT_TRUE( macs->ethAddr( mac( 1 ) ) && macs->ethAddr( mac( 2 ) ) );
}

TEST( LibSm, ARecordHandledAgainChangesNothing ) {
   ReflectingBr10 world( { 1 } );
   world.story.traces();
   world.sm->handleVirtualRouterMac( VirtualRouterMac( IntfId( "br10" ), mac( 1 ) ) );
   EXPECT_EQ( world.story.take(),
              ( Lines{ recordHandled( "br10", 1 ), recordAppeared( "br10", 1 ) } ) );
}

TEST( LibSm, TheInterfacesOwnVlanIsNotAddedByItself ) {
   Reflecting world;
   world.serves( "br10", { 20 } );
   world.start();
   world.appears( "br10", 1 );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 20, 1 ) } ) );
}

TEST( LibSm, EachInterfaceHasItsOwnSetAndReactor ) {
   ReflectingBr10 world( { 1 } );
   world.serves( "br30", { 30 } );
   world.appears( "br30", 1 );
   world.appears( "br30", 2 );
   EXPECT_EQ( world.keys(),
              ( Pairs{ pair( 10, 1 ), pair( 20, 1 ), pair( 30, 1 ), pair( 30, 2 ) } ) );
   EXPECT_EQ( world.macs( "br30" )->vlanIntf(), IntfId( "br30" ) );
   EXPECT_EQ( world.reactor( "br30" )->intf(), IntfId( "br30" ) );
   EXPECT_EQ( world.reactor( "br30" )->fwkKey(), IntfId( "br30" ) );
   EXPECT_EQ( world.reactor( "br30" )->libSm(), world.sm.get() );
   EXPECT_EQ( world.reactor( "br30" )->dmacList(), world.macs( "br30" ) );
   EXPECT_EQ( world.reactor( "br30" )->sviVlanSet(),
              world.vlanSets->sviVlanSet( IntfId( "br30" ) ) );
}

TEST( LibSm, InterfacesAreVisitedInTheOrderOfTheirMirroredHash ) {
   Reflecting world;
   world.start();
   std::vector<IntfId> intfs;
   for( const char *const name : { "br1", "br2", "br3", "br4", "br5", "vlan10", "vlan20", "x" } ) {
      world.serves( name, { 10 } );
      world.appears( name, 1 );
      intfs.emplace_back( name );
   }
   EXPECT_EQ( keysOf( world.sm->dmacsForIntfs() ), inTableOrder( intfs ) );
   EXPECT_EQ( keysOf( world.sm->vlanIntfSms() ), inTableOrder( intfs ) );
}

TEST( LibSm, AnyInterfaceAndAnyMacAreAccepted ) {
   Reflecting world;
   world.serves( "", { 0, 4095, 65535 } );
   world.start();
   world.status->vrrpVirtualMacIs( VirtualRouterMac( IntfId(), EthAddr() ), true );
   EXPECT_EQ( world.keys(),
              ( Pairs{ VlanAndMac( vlan( 0 ), EthAddr() ), VlanAndMac( vlan( 4095 ), EthAddr() ),
                       VlanAndMac( vlan( 65535 ), EthAddr() ) } ) );
}

// Records that disappear

TEST( LibSm, ARecordThatGoesTakesTheKeysOfItsMacOnly ) {
   ReflectingBr10 world( { 1, 2 } );
   const auto vlans = inSetOrder( { 10, 20 } );
   world.story.traces();
   world.disappears( "br10", 1 );
   EXPECT_EQ( world.story.take(),
              ( Lines{ recordHandled( "br10", 1 ), recordDisappeared( "br10", 1 ),
                       macHandled( "br10", 1 ),
                       removes( "handleDmac", "br10", VlanAndMac( vlans[0], mac( 1 ) ) ),
                       minus( VlanAndMac( vlans[0], mac( 1 ) ) ),
                       removes( "handleDmac", "br10", VlanAndMac( vlans[1], mac( 1 ) ) ),
                       minus( VlanAndMac( vlans[1], mac( 1 ) ) ) } ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 2 ), pair( 20, 2 ) } ) );
   EXPECT_TRUE( world.macs( "br10" ) && world.reactor( "br10" ) );
}

TEST( LibSm, TheLastRecordOfAnInterfaceTakesTheSetAndTheReactorToo ) {
   ReflectingBr10 world( { 1 } );
   const auto vlans = inSetOrder( { 10, 20 } );
   world.story.traces();
   world.disappears( "br10", 1 );
   EXPECT_EQ( world.story.take(),
              ( Lines{ recordHandled( "br10", 1 ), recordDisappeared( "br10", 1 ),
                       macHandled( "br10", 1 ),
                       removes( "handleDmac", "br10", VlanAndMac( vlans[0], mac( 1 ) ) ),
                       minus( VlanAndMac( vlans[0], mac( 1 ) ) ),
                       removes( "handleDmac", "br10", VlanAndMac( vlans[1], mac( 1 ) ) ),
                       minus( VlanAndMac( vlans[1], mac( 1 ) ) ), removingMacs( "br10" ),
                       intfHandled( "br10" ), removing( "br10" ), cleanedUp( "br10" ),
                       intfHandled( "br10" ) } ) )
         << "the cleanup finds no MAC, the second look at the interface finds nothing";
   EXPECT_EQ( world.macs( "br10" ), nullptr );
   EXPECT_EQ( world.reactor( "br10" ), nullptr );
   EXPECT_EQ( world.br10->notifieeCount(), 0u ) << "nobody watches its VLANs any more";
}

TEST( LibSm, WithCleanupDisabledTheLastRecordStillTakesItsKeys ) {
   ReflectingBr10 world( { 1 } );
   world.sm->disableCleanupOnRestartIs( true );
   const auto vlans = inSetOrder( { 10, 20 } );
   world.story.traces();
   world.disappears( "br10", 1 );
   EXPECT_EQ( world.story.take(),
              ( Lines{ recordHandled( "br10", 1 ), recordDisappeared( "br10", 1 ),
                       macHandled( "br10", 1 ),
                       removes( "handleDmac", "br10", VlanAndMac( vlans[0], mac( 1 ) ) ),
                       minus( VlanAndMac( vlans[0], mac( 1 ) ) ),
                       removes( "handleDmac", "br10", VlanAndMac( vlans[1], mac( 1 ) ) ),
                       minus( VlanAndMac( vlans[1], mac( 1 ) ) ), removingMacs( "br10" ),
                       intfHandled( "br10" ), intfHandled( "br10" ) } ) );
   EXPECT_EQ( world.reactor( "br10" ), nullptr );
}

TEST( LibSm, AnInterfaceThatCameBackIsReflectedAgain ) {
   ReflectingBr10 world( { 1 } );
   const auto before = world.reactor( "br10" );
   world.disappears( "br10", 1 );
   world.appears( "br10", 2 );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 2 ), pair( 20, 2 ) } ) );
   EXPECT_NE( world.reactor( "br10" ), before );
}

TEST( LibSm, ARecordThatGoesFromAnInterfaceWithoutMacsOnlyTraces ) {
   ReflectingBr10 world;
   world.story.traces();
   world.sm->handleVirtualRouterMac( VirtualRouterMac( IntfId( "br10" ), mac( 1 ) ) );
   EXPECT_EQ( world.story.take(),
              ( Lines{ recordHandled( "br10", 1 ), recordDisappeared( "br10", 1 ) } ) );
}

TEST( LibSm, AnUnknownRecordOfAnInterfaceWithMacsOnlyTraces ) {
   ReflectingBr10 world( { 1 } );
   world.story.traces();
   world.sm->handleVirtualRouterMac( VirtualRouterMac( IntfId( "br10" ), mac( 9 ) ) );
   EXPECT_EQ( world.story.take(),
              ( Lines{ recordHandled( "br10", 9 ), recordDisappeared( "br10", 9 ) } ) );
   EXPECT_TRUE( world.reactor( "br10" ) );
}

TEST( LibSm, TheSetStaysAsLongAsItHoldsAKeyWhateverItsFlag ) {
   ReflectingBr10 world( { 1 } );
   world.macs( "br10" )->ethAddrIs( mac( 2 ), false );
   world.disappears( "br10", 1 );
   EXPECT_EQ( world.keys(), Pairs{} );
   EXPECT_TRUE( world.macs( "br10" ) );
   EXPECT_TRUE( world.reactor( "br10" ) );
}

// Records with the value false

TEST( LibSm, ARecordThatIsFalseCountsAsGone ) {
   ReflectingBr10 world( { 1 } );
   const VirtualRouterMac record( IntfId( "br10" ), mac( 1 ) );
   world.status->vrrpVirtualMacIs( record, false );
   EXPECT_EQ( world.keys(), Pairs{} );
   EXPECT_EQ( world.macs( "br10" ), nullptr );
   world.status->vrrpVirtualMacIs( record, true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
}

TEST( LibSm, ARecordThatComesWithFalseIsNotReflected ) {
   ReflectingBr10 world;
   world.story.traces();
   world.status->vrrpVirtualMacIs( VirtualRouterMac( IntfId( "br10" ), mac( 1 ) ), false );
   EXPECT_EQ( world.story.take(),
              ( Lines{ recordHandled( "br10", 1 ), recordDisappeared( "br10", 1 ) } ) );
}

// VLANs that come and go

TEST( LibSm, AVlanThatJoinsOrLeavesIsFollowed ) {
   ReflectingBr10 world( { 1, 2 } );
   world.br10->vlanIdIs( vlan( 30 ), true );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 2 ), pair( 20, 1 ), pair( 20, 2 ),
                                     pair( 30, 1 ), pair( 30, 2 ) } ) );
   world.br10->vlanIdDel( vlan( 10 ) );
   EXPECT_EQ( world.keys(),
              ( Pairs{ pair( 20, 1 ), pair( 20, 2 ), pair( 30, 1 ), pair( 30, 2 ) } ) );
}

TEST( LibSm, TheTableOfVlanSetsIsLookedUpAndNotWatched ) {
   ReflectingBr10 world( { 1 } );
   EXPECT_EQ( world.vlanSets->notifieeCount(), 0u );
   world.vlanSets->sviVlanSetDel( IntfId( "br10" ) );
   const auto replaced = world.serves( "br10", { 30 } );
   world.appears( "br10", 2 );
   EXPECT_EQ( world.keys(),
              ( Pairs{ pair( 10, 1 ), pair( 10, 2 ), pair( 20, 1 ), pair( 20, 2 ) } ) )
         << "the set that was found first is kept";
   world.br10->vlanIdDel( vlan( 20 ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 2 ) } ) );
   world.disappears( "br10", 1 );
   world.disappears( "br10", 2 );
   world.appears( "br10", 1 );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 30, 1 ) } ) ) << "looked up again with the next MAC set";
}

// The same pair from two interfaces

TEST( LibSm, APairThatTwoInterfacesStandForGoesWithTheFirstThatDropsIt ) {
   Reflecting world;
   world.serves( "br10", { 10, 20 } );
   world.serves( "br30", { 10, 30 } );
   world.start();
   world.appears( "br10", 1 );
   world.appears( "br30", 1 );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ), pair( 30, 1 ) } ) );
   world.disappears( "br10", 1 );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 30, 1 ) } ) ) << "though br30 still stands for it";
   world.disappears( "br30", 1 );
   EXPECT_EQ( world.keys(), Pairs{} );
}

// The collections by their operations

TEST( LibSm, AMacSetIsMadeOnceAndBringsItsReactor ) {
   ReflectingBr10 world;
   const auto vlans = inSetOrder( { 10, 20 } );
   world.story.traces();
   const auto macs = world.sm->dmacsForIntfIs( IntfId( "br10" ) );
   EXPECT_EQ( world.story.take(),
              ( Lines{ intfHandled( "br10" ), creating( "br10" ), intfStarts( "br10" ),
                       vlanHandled( "br10", vlans[0] ), vlanJoins( "br10", vlans[0] ),
                       vlanHandled( "br10", vlans[1] ), vlanJoins( "br10", vlans[1] ) } ) );
   EXPECT_EQ( macs->ethAddrs().size(), 0u );
   EXPECT_EQ( world.sm->dmacsForIntfIs( IntfId( "br10" ) ).get(), macs.get() );
   EXPECT_EQ( world.story.take(), Lines{} ) << "nothing happens when it exists";
   EXPECT_EQ( world.macs( "br10" ).get(), macs.get() );
}

TEST( LibSm, NewMakesAMacSetAndNothingElse ) {
   ReflectingBr10 world;
   world.story.traces();
   const auto macs = world.sm->newDmacsForIntf( IntfId( "br10" ) );
   EXPECT_EQ( macs->vlanIntf(), IntfId( "br10" ) );
   EXPECT_EQ( world.macs( "br10" ), macs );
   EXPECT_EQ( world.reactor( "br10" ), nullptr );
   EXPECT_THROW( world.sm->newDmacsForIntf( IntfId( "br10" ) ), Quor::NameInUseException );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( LibSm, AMacSetThatIsRemovedTakesReactorAndKeysWithIt ) {
   ReflectingBr10 world( { 1 } );
   const auto macs = world.macs( "br10" );
   const auto vlans = inSetOrder( { 10, 20 } );
   world.story.traces();
   EXPECT_EQ( world.sm->dmacsForIntfDel( IntfId( "br10" ) ), macs );
   EXPECT_EQ( world.story.take(),
              ( Lines{ intfHandled( "br10" ), removing( "br10" ), cleanedUp( "br10" ),
                       removes( "doCleanup", "br10", VlanAndMac( vlans[0], mac( 1 ) ) ),
                       minus( VlanAndMac( vlans[0], mac( 1 ) ) ),
                       removes( "doCleanup", "br10", VlanAndMac( vlans[1], mac( 1 ) ) ),
                       minus( VlanAndMac( vlans[1], mac( 1 ) ) ) } ) );
   EXPECT_EQ( world.reactor( "br10" ), nullptr );
   EXPECT_EQ( world.sm->dmacsForIntfDel( IntfId( "br10" ) ), nullptr );
   EXPECT_EQ( world.story.take(), ( Lines{ intfHandled( "br10" ) } ) );
}

TEST( LibSm, RemovingAllMacSetsHandlesEachInterfaceInOrder ) {
   ReflectingBr10 world( { 1 } );
   world.serves( "br30", {} );
   world.appears( "br30", 1 );
   world.sm->disableCleanupOnRestartIs( true );
   world.story.traces();
   world.sm->dmacsForIntfDelAll();
   const auto intfs = inTableOrder<IntfId>( { IntfId( "br10" ), IntfId( "br30" ) } );
   EXPECT_EQ( world.story.take(), ( Lines{ intfHandled( intfs[0].name().data() ),
                                           intfHandled( intfs[1].name().data() ) } ) );
   EXPECT_EQ( world.sm->vlanIntfSms().size(), 0u );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
}

TEST( LibSm, AReactorThatIsRemovedLeavesItsKeys ) {
   ReflectingBr10 world( { 1 } );
   const auto reactor = world.reactor( "br10" );
   world.story.traces();
   EXPECT_EQ( world.sm->vlanIntfSmDel( IntfId( "br10" ) ), reactor );
   EXPECT_EQ( world.sm->vlanIntfSmDel( IntfId( "br10" ) ), nullptr );
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
   EXPECT_EQ( world.reactor( "br10" ), nullptr );
}

TEST( LibSm, ARemovedReactorThatSomebodyHoldsWritesNothing ) {
   ReflectingBr10 world( { 1 } );
   const auto reactor = world.sm->vlanIntfSmDel( IntfId( "br10" ) );
   world.story.traces();
   world.br10->vlanIdIs( vlan( 30 ), true );
   world.macs( "br10" )->ethAddrIs( mac( 2 ), true );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( LibSm, AllReactorsCanBeRemoved ) {
   ReflectingBr10 world( { 1 } );
   world.serves( "br30", { 30 } );
   world.appears( "br30", 1 );
   world.story.take();
   world.sm->vlanIntfSmDelAll();
   EXPECT_EQ( world.sm->vlanIntfSms().size(), 0u );
   EXPECT_EQ( world.sm->dmacsForIntfs().size(), 2u );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( LibSm, EveryLookAtAnInterfaceWithMacsTracesACreation ) {
   ReflectingBr10 world( { 1 } );
   const auto reactor = world.reactor( "br10" );
   world.story.traces();
   world.sm->handleDmacsForIntf( IntfId( "br10" ) );
   world.sm->handleDmacsForIntf( IntfId( "br10" ) );
   EXPECT_EQ( world.story.take(), ( Lines{ intfHandled( "br10" ), creating( "br10" ),
                                           intfHandled( "br10" ), creating( "br10" ) } ) );
   EXPECT_EQ( world.reactor( "br10" ), reactor );
}

TEST( LibSm, ALookAtAnInterfaceThatHasNothingDoesNothing ) {
   ReflectingBr10 world;
   world.story.traces();
   world.sm->handleDmacsForIntf( IntfId( "br10" ) );
   EXPECT_EQ( world.story.take(), ( Lines{ intfHandled( "br10" ) } ) );
}

TEST( LibSm, AReactorIsSwitchedOnAsSoonAsItIsMade ) {
   ReflectingBr10 world;
   const auto macs = world.sm->newDmacsForIntf( IntfId( "br10" ) );
   const auto reactor = world.sm->newVlanIntfSm( world.sm.get(), world.br10, macs );
   EXPECT_TRUE( reactor->hasNotificationActive() );
   EXPECT_EQ( world.reactor( "br10" ), reactor );
   EXPECT_EQ( world.br10->notifieeCount(), 1u );
   EXPECT_EQ( macs->notifieeCount(), 1u );
   EXPECT_EQ( world.sm->vlanIntfSmIs( world.sm.get(), world.br10, macs ), reactor );
}

TEST( LibSm, AMacSetThatIsGoneAgainWhenItsReactorIsMadeIsARangeError ) {
   ReflectingBr10 world;
   bool once = false;
   Quor::traceLevelsIs( kReflector, 1u << 0 );
   Quor::traceSinkIs( [&]( const Quor::TraceRecord & ) {
      if( !std::exchange( once, true ) ) {
         world.sm->dmacsForIntfDel( IntfId( "br10" ) );
      }
   } );
   String complaint;
   try {
      world.sm->dmacsForIntfIs( IntfId( "br10" ) );
   } catch( const Quor::RangeException &error ) {
      complaint = error.what();
   }
   Quor::traceLevelsIs( kReflector, 0 );
   Quor::traceSinkIs( {} );
   EXPECT_EQ( complaint, "null ValidPtr" );
}

// Asked for again with something else

String nameInUse( const char *parameter, const void *requested, const void *current ) {
   std::ostringstream text;
   text << "Reinstantiating the pointer interface where constructor parameter attribute "
        << parameter << " has a different value of " << requested << " than the current value of "
        << current << " not allowed";
   return text.str();
}

template <class Do>
String nameInUseError( const Do &what ) {
   try {
      what();
      return "";
   } catch( const Quor::NameInUseException &error ) {
      return error.what();
   }
}

TEST( LibSm, AReactorAskedForWithSomethingElseNamesTheFirstThatDiffers ) {
   ReflectingBr10 world( { 1 } );
   Reflecting other;
   other.start();
   LibSm &sm = *world.sm;
   const Ptr<const EthAddrsForIntf> macs = world.macs( "br10" );
   const Ptr<const EthAddrsForIntf> otherMacs = Quor::make<EthAddrsForIntf>( IntfId( "br10" ) );
   const Ptr<const SviVlanSet> vlans = world.br10;
   const Ptr<const SviVlanSet> otherVlans = Quor::make<SviVlanSet>( IntfId( "br10" ) );

   const String libSmDiffers = nameInUse( "_libSm", other.sm.get(), &sm );
   const String vlansDiffer = nameInUse( "_sviVlanSet", otherVlans.get(), vlans.get() );
   const String macsDiffer = nameInUse( "_dmacList", otherMacs.get(), macs.get() );
   const auto errorOf = [&]( LibSm *l, const auto &v, const auto &m ) {
      return nameInUseError( [&] { sm.vlanIntfSmIs( l, v, m ); } );
   };
   EXPECT_EQ( errorOf( other.sm.get(), vlans, macs ), libSmDiffers );
   EXPECT_EQ( errorOf( other.sm.get(), otherVlans, otherMacs ), libSmDiffers );
   EXPECT_EQ( errorOf( &sm, otherVlans, macs ), vlansDiffer );
   EXPECT_EQ( errorOf( &sm, otherVlans, otherMacs ), vlansDiffer );
   EXPECT_EQ( errorOf( &sm, vlans, otherMacs ), macsDiffer );
   EXPECT_EQ( errorOf( &sm, vlans, macs ), "" );
   EXPECT_EQ( errorOf( &sm, Ptr<const SviVlanSet>(), macs ),
              nameInUse( "_sviVlanSet", nullptr, vlans.get() ) );
}

TEST( LibSm, AReplacedVlanSetIsAnErrorWhenTheInterfaceIsLookedAt ) {
   ReflectingBr10 world( { 1 } );
   world.vlanSets->sviVlanSetDel( IntfId( "br10" ) );
   const auto replaced = world.serves( "br10", { 30 } );
   EXPECT_EQ( nameInUseError( [&] { world.sm->handleDmacsForIntf( IntfId( "br10" ) ); } ),
              nameInUse( "_sviVlanSet", replaced.get(), world.br10.get() ) );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
}

// Text

TEST( LibSm, IsWrittenAsItsName ) {
   ReflectingBr10 world( { 1 } );
   std::ostringstream text;
   text << *world.sm << ' ' << *world.reactor( "br10" );
   EXPECT_EQ( text.str(), "LibSm VlanIntfSm(br10)" );
}

} // namespace
} // namespace LibraryTests
