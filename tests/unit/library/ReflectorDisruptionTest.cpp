// What happens to the reflector in the middle of its own writes: it, its inputs and its reactors
// are let go of or changed by who is told of a key.
#include "tests/unit/library/Reflecting.h"

#include <gtest/gtest.h>

#include <functional>

namespace LibraryTests {
namespace {

/// Does something when a key is written.
class Meddler : public VirtualRouterMacTable::NotifieeConst {
 public:
   std::function<void( const VlanAndMac & )> then;

   void onVirtualRouterMac( const VlanAndMac &key ) override {
      if( const auto now = then ) { // it may replace itself
         now( key );
      }
   }
   using NotifieeConst::onVirtualRouterMac;
};

Ptr<Meddler> meddlerOf( const Reflecting &world ) {
   auto meddler = Quor::make<Meddler>();
   meddler->notifierIs( world.table );
   meddler->isRegisteredNotifieeIs( true );
   return meddler;
}

TEST( ReflectorDisruption, TheReflectorMayBeDroppedWhileARecordAppears ) {
   ReflectingBr10 world;
   const auto meddler = meddlerOf( world );
   meddler->then = [&]( const VlanAndMac & ) { world.sm = nullptr; };
   world.appears( "br10", 1 );
   const auto v = inSetOrder( { 10, 20 } );
   const VlanAndMac first( v[0], mac( 1 ) );
   const VlanAndMac second( v[1], mac( 1 ) );
   EXPECT_EQ( world.story.take(),
              ( Lines{ plus( first ), plus( second ), minus( first ), minus( second ) } ) )
         << "what has begun is finished, then it goes and takes its keys";
   EXPECT_EQ( world.status->notifieeCount(), 0u );
   EXPECT_EQ( world.br10->notifieeCount(), 0u );
}

TEST( ReflectorDisruption, TheReflectorMayBeDroppedWhileTheLastRecordDisappears ) {
   ReflectingBr10 world( { 1 } );
   const auto meddler = meddlerOf( world );
   meddler->then = [&]( const VlanAndMac & ) { world.sm = nullptr; };
   world.disappears( "br10", 1 );
   EXPECT_EQ( world.keys(), Pairs{} );
   EXPECT_EQ( world.status->notifieeCount(), 0u );
}

TEST( ReflectorDisruption, TheReflectorMayBeDroppedWhileAVlanJoins ) {
   ReflectingBr10 world( { 1, 2 } );
   const auto meddler = meddlerOf( world );
   meddler->then = [&]( const VlanAndMac & ) { world.sm = nullptr; };
   world.br10->vlanIdIs( vlan( 30 ), true );
   EXPECT_EQ( world.keys(), Pairs{} );
   EXPECT_EQ( world.br10->notifieeCount(), 0u );
}

TEST( ReflectorDisruption, TheReflectorMayBeDroppedInADirectCall ) {
   ReflectingBr10 world( { 1 } );
   const auto meddler = meddlerOf( world );
   meddler->then = [&]( const VlanAndMac & ) { world.sm = nullptr; };
   LibSm &sm = *world.sm;
   sm.handleInitialized();
   EXPECT_EQ( world.sm, nullptr );
   EXPECT_EQ( world.status->notifieeCount(), 0u );
}

TEST( ReflectorDisruption, AllMacSetsMayBeRemovedUnderAReflectorThatGoes ) {
   ReflectingBr10 world( { 1 } );
   world.serves( "br30", { 30 } );
   world.appears( "br30", 1 );
   const auto meddler = meddlerOf( world );
   meddler->then = [&]( const VlanAndMac & ) { world.sm = nullptr; };
   world.sm->dmacsForIntfDelAll();
   EXPECT_EQ( world.keys(), Pairs{} );
   EXPECT_EQ( world.status->notifieeCount(), 0u );
}

TEST( ReflectorDisruption, EverythingMayGoAtOnce ) {
   ReflectingBr10 world;
   auto meddler = meddlerOf( world );
   VirtualRouterMacStatus &status = *world.status;
   meddler->then = [&]( const VlanAndMac & ) {
      world.sm = nullptr;
      world.status = nullptr;
      world.vlanSets = nullptr;
      world.br10 = nullptr;
      world.watcher = nullptr;
      world.table = nullptr;
      meddler = nullptr;
   };
   status.vrrpVirtualMacIs( VirtualRouterMac( IntfId( "br10" ), mac( 1 ) ), true );
   EXPECT_EQ( world.sm, nullptr );
}

TEST( ReflectorDisruption, AReactorMayBeRemovedInTheMiddleOfItsWrites ) {
   ReflectingBr10 world;
   const auto meddler = meddlerOf( world );
   meddler->then = [&]( const VlanAndMac & ) { world.sm->vlanIntfSmDel( IntfId( "br10" ) ); };
   world.appears( "br10", 1 );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
   EXPECT_EQ( world.reactor( "br10" ), nullptr );
   EXPECT_EQ( world.br10->notifieeCount(), 0u );
}

TEST( ReflectorDisruption, ARecordMayBeWithdrawnThroughTheEntryThatGoes ) {
   ReflectingBr10 world( { 1 } );
   const auto &record = world.status->vrrpVirtualMacs().begin()->key();
   world.story.traces( 1u << 2 | 1u << 4 );
   world.status->vrrpVirtualMacDel( record );
   const auto v = inSetOrder( { 10, 20 } );
   const VlanAndMac first( v[0], mac( 1 ) );
   const VlanAndMac second( v[1], mac( 1 ) );
   EXPECT_EQ( world.story.take(),
              ( Lines{ recordDisappeared( "br10", 1 ), removes( "handleDmac", "br10", first ),
                       minus( first ), removes( "handleDmac", "br10", second ), minus( second ),
                       removingMacs( "br10" ) } ) );
}

TEST( ReflectorDisruption, AMacMayBeHandledThroughTheEntryThatGoes ) {
   ReflectingBr10 world( { 1 } );
   world.table->virtualRouterMacDelAll();
   const auto v = inSetOrder( { 10, 20 } );
   const auto meddler = meddlerOf( world );
   meddler->then = [&]( const VlanAndMac & ) {
      meddler->then = nullptr;
      world.macs( "br10" )->ethAddrDelAll();
   };
   const EthAddr &standing = world.macs( "br10" )->ethAddrs().find( mac( 1 ) )->key();
   world.reactor( "br10" )->handleDmac( standing );
   EXPECT_EQ( world.keys(), ( Pairs{ VlanAndMac( v[1], mac( 1 ) ) } ) )
         << "whether the MAC is present is asked once, before the walk";
}

TEST( ReflectorDisruption, AnotherRecordMayAppearInTheMiddleOfOne ) {
   ReflectingBr10 world;
   world.serves( "br30", { 30 } );
   const auto meddler = meddlerOf( world );
   meddler->then = [&]( const VlanAndMac & ) {
      meddler->then = nullptr;
      world.appears( "br10", 2 );
      world.appears( "br30", 1 );
   };
   world.appears( "br10", 1 );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 10, 2 ), pair( 20, 1 ), pair( 20, 2 ),
                                     pair( 30, 1 ) } ) );
}

TEST( ReflectorDisruption, AVlanMayLeaveInTheMiddleOfAMacThatJoins ) {
   ReflectingBr10 world( { 1 } );
   const auto v = inSetOrder( { 10, 20 } );
   const auto meddler = meddlerOf( world );
   meddler->then = [&]( const VlanAndMac & ) {
      meddler->then = nullptr;
      world.br10->vlanIdDel( v[1] ); // the walk has not come to it
   };
   world.appears( "br10", 2 );
   Pairs left = { VlanAndMac( v[0], mac( 1 ) ), VlanAndMac( v[0], mac( 2 ) ) };
   EXPECT_EQ( world.keys(), left );
}

TEST( ReflectorDisruption, TheReplayOfTheStartToleratesRecordsThatGo ) {
   Reflecting world;
   world.serves( "br10", { 10 } );
   std::vector<VirtualRouterMac> records;
   for( U16 vrid = 1; vrid <= 20; ++vrid ) {
      world.appears( "br10", vrid );
   }
   for( const auto &record : world.status->vrrpVirtualMacs() ) {
      records.push_back( record.key() );
   }
   const auto meddler = meddlerOf( world );
   meddler->then = [&]( const VlanAndMac & ) {
      meddler->then = nullptr;
      world.status->vrrpVirtualMacDel( records[0] ); // the current one
      world.status->vrrpVirtualMacDel( records[1] ); // the next one
   };
   world.start();
   Pairs left;
   for( std::size_t i = 0; i < records.size(); ++i ) {
      if( i != 1 ) { // the first one stands: its removal was heard by nobody yet
         left.emplace_back( vlan( 10 ), records[i].mac() );
      }
   }
   std::sort( left.begin(), left.end() );
   EXPECT_EQ( world.keys(), left );
}

TEST( ReflectorDisruption, AWatcherOfTheTableThatThrowsHindersNothing ) {
   ReflectingBr10 world;
   const auto meddler = meddlerOf( world );
   meddler->then = []( const VlanAndMac & ) { throw std::runtime_error( "no" ); };
   world.appears( "br10", 1 );
   EXPECT_EQ( world.keys(), ( Pairs{ pair( 10, 1 ), pair( 20, 1 ) } ) );
}

} // namespace
} // namespace LibraryTests
