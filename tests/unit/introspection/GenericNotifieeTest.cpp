// Watching by name: what an observer hears that knows no type, and what does not disturb it.
#include "quor/GenericNotifiee.h"
#include "quor/Introspection.h"
#include "tests/unit/introspection/Pipeline.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace IntrospectionTests {
namespace {

using Quor::Attribute;
using Quor::Binding;
using Quor::GenericAdapter;
using Quor::GenericNotifiee;

/// Hears everything as "identifier name key", and may do something about it.
class Listener : public Quor::GenericObserver {
 public:
   void onAttribute( const Attribute &attribute, const Any &key ) override {
      heard.push_back( std::to_string( attribute.id ) + " " + String( attribute.name ) + " " +
                       shown( key ) );
      if( then ) {
         then();
      }
   }
   void onZeroReferences() override { heard.push_back( "gone" ); }
   Lines take() { return std::exchange( heard, {} ); }

   Lines heard;
   std::function<void()> then;
};

const Any kTrue = genericIf( true );

struct Watched {
   Ptr<VirtualRouterMacTable> table = virtualRouterMacTableFactory();
   Any any = genericIf( table );
   Listener listener;
   String told( const VlanAndMac &key ) const {
      return "130 virtualRouterMac " + shown( genericIf( key ) );
   }
};

// What is heard

TEST( GenericNotifiee, HearsTheFlagOfTheHelperUnderItsOwnIdentifier ) {
   Programmer world( 1 );
   Listener listener;
   const GenericNotifiee watcher( genericIf( world.helper ), listener );
   world.helper->syncCurrentStateOnInitIs( true );
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( listener.take(), ( Lines{ "386 syncCurrentStateOnInit nothing" } ) );
}

TEST( GenericNotifiee, OfABaseDoesNotHearWhatOnlyTheDerivedTypeHas ) {
   Programmer world( 1 );
   Listener ofBase;
   Listener ofHelper;
   const GenericNotifiee first( genericIf( Ptr<Orlo::OrloBaseHelper>( world.helper ) ), ofBase );
   const GenericNotifiee second( genericIf( world.helper ), ofHelper );
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( ofBase.take(), Lines{} );
   EXPECT_EQ( ofHelper.take().size(), 1u );
}

TEST( GenericNotifiee, HearsEveryAttributeOfEveryTypeThatTells ) {
   Pipeline world;
   const VirtualRouterMac record( IntfId( "br10" ), mac( 9 ) );
   const auto hearing = [&]( const auto &entity, const auto &change ) {
      Listener listener;
      const GenericNotifiee watcher( genericIf( entity ), listener );
      change();
      return listener.take();
   };
   EXPECT_EQ(
         hearing( world.status, [&] { world.status->vrrpVirtualMacIs( record, true ); } ),
         ( Lines{ "130 vrrpVirtualMac Routing::Fhrp::VirtualRouterMac br10/00:00:5e:00:01:09" } ) );
   EXPECT_EQ( hearing( world.hardware, [&] { world.hardware->virtualRouterCountIs( 7 ); } ),
              ( Lines{ "130 virtualRouterCount nothing" } ) );
   EXPECT_EQ( hearing( world.br10, [&] { world.br10->vlanIdIs( VlanId( 30 ), true ); } ),
              ( Lines{ "131 vlanId Bridging::VlanId 30" } ) );
   EXPECT_EQ( hearing( world.vlanSets, [&] { world.vlanSets->sviVlanSetIs( IntfId( "br20" ) ); } ),
              ( Lines{ "130 sviVlanSet Pelmo::IntfId br20" } ) );
   EXPECT_EQ( hearing( world.macs(), [&] { world.macs()->ethAddrDel( mac( 9 ) ); } ),
              ( Lines{ "131 ethAddr Pelmo::EthAddr 00:00:5e:00:01:09" } ) );
   const VlanAndMac other = pair( 99, 3 );
   const String otherText = shown( genericIf( other ) );
   EXPECT_EQ( hearing( world.table, [&] { world.table->virtualRouterMacIs( other, true ); } ),
              ( Lines{ "130 virtualRouterMac " + otherText } ) );
   VrrpSm &sm = *world.programmer;
   EXPECT_EQ( hearing( world.programmer, [&] { sm.freeVirtualRouterIndexIs( 70, 5 ); } ),
              ( Lines{ "133 freeVirtualRouterIndex U32 70" } ) );
   EXPECT_EQ( hearing( world.programmer, [&] { sm.virtualRouterIndexIs( other, 5 ); } ),
              ( Lines{ "134 virtualRouterIndex " + otherText } ) );
   EXPECT_EQ( hearing( world.programmer, [&] { sm.macsNeedingVirtualRouterIndexIs( 71, other ); } ),
              ( Lines{ "135 macsNeedingVirtualRouterIndex U32 71" } ) );
}

TEST( GenericNotifiee, HearsWhatOneEventDoesToTheProgrammerInItsOrder ) {
   Pipeline world;
   Listener listener;
   const GenericNotifiee watcher( genericIf( world.programmer ), listener );
   world.br10->vlanIdDel( VlanId( 10 ) ); // two pairs go, the one that waits takes an index
   const Lines heard = listener.take();
   ASSERT_GE( heard.size(), 3u );
   EXPECT_EQ( heard[0].substr( 0, 23 ), "134 virtualRouterIndex " ) << "a pair goes";
   EXPECT_EQ( heard[1], "135 macsNeedingVirtualRouterIndex U32 0" ) << "the one that waits comes";
   EXPECT_EQ( heard[2].substr( 0, 23 ), "134 virtualRouterIndex " ) << "and takes its index";
}

TEST( GenericNotifiee, HearsAChangeByNameAsItHearsATypedOne ) {
   Watched by;
   const GenericNotifiee watcher( by.any, by.listener );
   by.table->virtualRouterMacIs( a, true );
   by.table->virtualRouterMacDel( a );
   by.table->virtualRouterMacDel( a );
   const Lines typed = by.listener.take();
   did( by.any, "virtualRouterMac", Op::set, genericIf( a ), kTrue );
   did( by.any, "virtualRouterMac", Op::remove, genericIf( a ) );
   did( by.any, "virtualRouterMac", Op::remove, genericIf( a ) );
   EXPECT_EQ( typed, ( Lines{ by.told( a ), by.told( a ) } ) );
   EXPECT_EQ( by.listener.take(), typed );
}

TEST( GenericNotifiee, SeesTheStateAfterTheChange ) {
   Watched by;
   const GenericNotifiee watcher( by.any, by.listener );
   Lines seen;
   by.listener.then = [&] {
      seen.push_back( did( by.any, "virtualRouterMac", Op::isMember, genericIf( a ) ) );
   };
   by.table->virtualRouterMacIs( a, true );
   by.table->virtualRouterMacDel( a );
   EXPECT_EQ( seen, ( Lines{ "bool true", "bool false" } ) );
}

TEST( GenericNotifiee, WatchesThroughAnInterfaceThatOnlyReads ) {
   Watched by;
   const GenericNotifiee watcher( genericIf( by.table, true ), by.listener );
   by.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( by.listener.take(), ( Lines{ by.told( a ) } ) );
}

// What can be watched

TEST( GenericNotifiee, IsOfferedByEveryTypeWithWatchersAndByNoOther ) {
   Lines watchable;
   for( const auto &[name, registered] : Quor::IntrospectionReactor::instance().types() ) {
      if( registered.type()->watch ) {
         watchable.push_back( name );
      }
   }
   EXPECT_EQ( watchable,
              ( Lines{ "IntfVlanIdSet::SviVlanSet", "IntfVlanIdSet::Table", "Orlo::OrloBaseHelper",
                       "Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf",
                       "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable", "Orlo::VrrpSm",
                       "OrloHelper::VrrpSmHelper", "Routing::Fhrp::Hardware::Status",
                       "Routing::Fhrp::VirtualRouterMacStatus" } ) );
}

TEST( GenericNotifiee, OfWhatTellsNothingIsRefused ) {
   Pipeline world;
   Listener listener;
   const auto refusal = [&]( const Any &any ) {
      try {
         const GenericNotifiee watcher( any, listener );
      } catch( const Quor::Exception &error ) {
         return String( error.what() );
      }
      return String( "watched" );
   };
   EXPECT_EQ( refusal( genericIf( world.reflector ) ),
              "nothing to watch in a Orlo::VrrpPrivateVlanReflectorLib::LibSm" );
   EXPECT_EQ( refusal( genericIf( world.interface() ) ),
              "nothing to watch in a Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm" );
   EXPECT_EQ( refusal( genericIf( world.programmer->currentVrrpStateForInit() ) ),
              "nothing to watch in a OrloHelper::CurrentVrrpStateForInit" );
   EXPECT_EQ( refusal( genericIf( U32{ 7 } ) ), "nothing to watch in a U32" );
   EXPECT_EQ( refusal( nullptr ), "missing value or value of another type: what is to be watched" );
   EXPECT_EQ( refusal( genericIf( world.programmer ) ), "watched" );
}

TEST( GenericNotifiee, StandsBehindAWatcherOfTheEntitysOwnKind ) {
   Programmer world( 1 );
   Listener listener;
   const auto adapter = make<GenericAdapter<VrrpSmHelper>>( listener );
   VrrpSmHelper::Notifiee &watcher = *adapter; // any watcher of helpers will do
   watcher.notifierIs( world.helper );
   watcher.isRegisteredNotifieeIs( true );
   EXPECT_EQ( watcher.notifier(), world.helper );
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( listener.take(), ( Lines{ "386 syncCurrentStateOnInit nothing" } ) );
   watcher.notifierIs( nullptr );
   world.helper->syncCurrentStateOnInitIs( false );
   EXPECT_EQ( listener.take(), Lines{} );
}

// Coming and going

TEST( GenericNotifiee, KeepsTheEntityAliveAndLeavesItWhenItGoes ) {
   Watched by;
   Listener ofEnd;
   const GenericNotifiee end( by.any, ofEnd, Binding::uncounted );
   std::optional<GenericNotifiee> watcher( std::in_place, by.any, by.listener );
   EXPECT_EQ( by.table->notifieeCount(), 2u );
   by.any = nullptr;
   by.table = nullptr;
   EXPECT_EQ( ofEnd.heard, Lines{} );
   watcher.reset();
   EXPECT_EQ( ofEnd.heard, ( Lines{ "gone" } ) );
   EXPECT_EQ( by.listener.heard, Lines{} );
}

TEST( GenericNotifiee, LeavesTheListWhenItGoes ) {
   Watched by;
   {
      const GenericNotifiee watcher( by.any, by.listener );
      EXPECT_EQ( by.table->notifieeCount(), 1u );
   }
   EXPECT_EQ( by.table->notifieeCount(), 0u );
   by.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( by.listener.take(), Lines{} );
}

TEST( GenericNotifiee, MayBeInterrupted ) {
   Watched by;
   GenericNotifiee watcher( by.any, by.listener );
   EXPECT_TRUE( watcher.isRegisteredNotifiee() );
   watcher.isRegisteredNotifieeIs( false );
   by.table->virtualRouterMacIs( a, true );
   EXPECT_FALSE( watcher.isRegisteredNotifiee() );
   EXPECT_EQ( by.listener.take(), Lines{} );
   watcher.isRegisteredNotifieeIs( true );
   by.table->virtualRouterMacIs( b, true );
   EXPECT_EQ( by.listener.take(), ( Lines{ by.told( b ) } ) );
}

TEST( GenericNotifiee, ThatDoesNotKeepTheEntityHearsItsEndAndIsOverThen ) {
   Watched by;
   GenericNotifiee watcher( by.any, by.listener, Binding::uncounted );
   by.table->virtualRouterMacIs( a, true );
   by.any = nullptr;
   by.table = nullptr;
   EXPECT_EQ( by.listener.take(), ( Lines{ by.told( a ), "gone" } ) );
   watcher.isRegisteredNotifieeIs( false ); // nothing is left to leave
   EXPECT_FALSE( watcher.isRegisteredNotifiee() );
}

TEST( GenericNotifiee, ThatThrowsDisturbsNeitherTheChangeNorTheOthers ) {
   Watched by;
   Listener thrower;
   thrower.then = [] { throw Quor::Exception( "no" ); };
   const GenericNotifiee first( by.any, thrower );
   const GenericNotifiee second( by.any, by.listener );
   EXPECT_EQ( did( by.any, "virtualRouterMac", Op::set, genericIf( a ), kTrue ), "nothing" );
   by.table->virtualRouterMacDel( a );
   EXPECT_EQ( thrower.take().size(), 2u );
   EXPECT_EQ( by.listener.take().size(), 2u );
}

TEST( GenericNotifiee, MayGoInsideItsOwnCall ) {
   Watched by;
   std::optional<GenericNotifiee> watcher( std::in_place, by.any, by.listener );
   Listener other;
   const GenericNotifiee second( by.any, other );
   by.listener.then = [&] { watcher.reset(); };
   by.table->virtualRouterMacIs( a, true );
   by.table->virtualRouterMacIs( b, true );
   EXPECT_EQ( by.listener.take(), ( Lines{ by.told( a ) } ) );
   EXPECT_EQ( other.take(), ( Lines{ by.told( a ), by.told( b ) } ) );
}

TEST( GenericNotifiee, ThatIsDroppedDuringThePassIsNotCalledInIt ) {
   Watched by;
   Listener first;
   const GenericNotifiee dropping( by.any, first );
   std::optional<GenericNotifiee> dropped( std::in_place, by.any, by.listener );
   first.then = [&] {
      dropped.reset();
      EXPECT_EQ( by.table->notifieeCount(), 1u ) << "it leaves at once";
   };
   by.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( first.take().size(), 1u );
   EXPECT_EQ( by.listener.take(), Lines{} );
}

TEST( GenericNotifiee, ThatIsInterruptedDuringThePassIsStillCalledInIt ) {
   Watched by;
   Listener first;
   const GenericNotifiee interrupting( by.any, first );
   GenericNotifiee interrupted( by.any, by.listener );
   first.then = [&] { interrupted.isRegisteredNotifieeIs( false ); };
   by.table->virtualRouterMacIs( a, true );
   by.table->virtualRouterMacIs( b, true );
   EXPECT_EQ( by.listener.take(), ( Lines{ by.told( a ) } ) );
}

TEST( GenericNotifiee, ThatComesDuringThePassIsNotCalledInIt ) {
   Watched by;
   Listener first;
   const GenericNotifiee watcher( by.any, first );
   std::optional<GenericNotifiee> late;
   first.then = [&] {
      if( !late ) {
         late.emplace( by.any, by.listener );
      }
   };
   by.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( by.listener.take(), Lines{} );
   by.table->virtualRouterMacIs( b, true );
   EXPECT_EQ( by.listener.take(), ( Lines{ by.told( b ) } ) );
}

TEST( GenericNotifiee, MayLetTheEntityGoInsideItsCall ) {
   Watched by;
   Listener end;
   const GenericNotifiee ofEnd( by.any, end, Binding::uncounted );
   std::optional<GenericNotifiee> watcher( std::in_place, by.any, by.listener );
   by.any = nullptr;
   by.listener.then = [&] {
      by.table = nullptr;
      watcher.reset();
   };
   VirtualRouterMacTable &table = *by.table;
   table.virtualRouterMacIs( a, true );
   EXPECT_EQ( end.take(), ( Lines{ by.told( a ), "gone" } ) );
   EXPECT_EQ( by.listener.take().size(), 1u );
}

TEST( GenericNotifiee, MayChangeTheEntityAgain ) {
   Watched by;
   const GenericNotifiee watcher( by.any, by.listener );
   by.listener.then = [&] { by.table->virtualRouterMacIs( b, true ); };
   by.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( by.listener.take(), ( Lines{ by.told( a ), by.told( b ) } ) );
}

} // namespace
} // namespace IntrospectionTests
