// A change by name notifies and leaves the state exactly as a typed one: one object is driven by
// typed calls, its twin by name, with the same random sequence.
#include "tests/unit/introspection/Pipeline.h"

#include <gtest/gtest.h>

#include <random>

namespace IntrospectionTests {
namespace {

constexpr U32 kSteps = 400;

/// Choices that are the same in every run.
class Dice {
 public:
   explicit Dice( U32 seed ) : engine_( seed ) {}
   U32 roll( U32 sides ) { return static_cast<U32>( engine_() % sides ); }
   VlanAndMac rollPair() {
      return pair( static_cast<U16>( 10 + roll( 5 ) ), static_cast<U16>( 1 + roll( 5 ) ) );
   }

 private:
   std::mt19937 engine_;
};

template <class Key, class Entry>
String change( const Key &key, const Ptr<Entry> &entry ) {
   return shown( genericIf( key ) ) +
          ( entry ? " is " + shown( genericIf( entry->value() ) ) : String( " is gone" ) );
}

// One watcher a type: a line for each notification, with the state that is seen inside it.

class TableWatcher : public VirtualRouterMacTable::NotifieeConst {
 public:
   void onVirtualRouterMac( const VlanAndMac &key ) override {
      heard.push_back( change( key, notifier()->virtualRouterMacs().find( key ) ) );
   }
   using NotifieeConst::onVirtualRouterMac;
   Lines heard;
};

class MacsWatcher : public EthAddrsForIntf::NotifieeConst {
 public:
   void onEthAddr( const EthAddr &key ) override {
      heard.push_back( change( key, notifier()->ethAddrs().find( key ) ) );
   }
   using NotifieeConst::onEthAddr;
   Lines heard;
};

class StatusWatcher : public VirtualRouterMacStatus::NotifieeConst {
 public:
   void onVrrpVirtualMac( const VirtualRouterMac &key ) override {
      heard.push_back( change( key, notifier()->vrrpVirtualMacs().find( key ) ) );
   }
   using NotifieeConst::onVrrpVirtualMac;
   Lines heard;
};

class VlansWatcher : public SviVlanSet::NotifieeConst {
 public:
   void onVlanId( VlanId key ) override {
      heard.push_back( change( key, notifier()->vlanIds().find( key ) ) );
   }
   using NotifieeConst::onVlanId;
   Lines heard;
};

class ProgrammerWatcher : public VrrpSm::NotifieeConst {
 public:
   void onFreeVirtualRouterIndex( U32 key ) override {
      heard.push_back( "free " +
                       change( key, notifier()->freeVirtualRouterIndexes().find( key ) ) );
   }
   void onVirtualRouterIndex( const VlanAndMac &key ) override {
      heard.push_back( "index " + change( key, notifier()->virtualRouterIndexes().find( key ) ) );
   }
   void onMacsNeedingVirtualRouterIndex( U32 key ) override {
      heard.push_back( "waiting " +
                       change( key, notifier()->macsNeedingVirtualRouterIndexes().find( key ) ) );
   }
   Lines heard;
};

template <class Watcher, class Entity>
Ptr<Watcher> watch( const Ptr<Entity> &entity ) {
   const auto watcher = make<Watcher>();
   watcher->notifierIs( entity );
   watcher->isRegisteredNotifieeIs( true );
   return watcher;
}

/// A twin that is driven by name, and what its operations gave.
struct ByName {
   Any any;

   void set( const String &name, const Any &key, const Any &value ) const {
      EXPECT_EQ( did( any, name, Op::set, key, value ), "nothing" );
   }
   String remove( const String &name, const Any &key ) const {
      return did( any, name, Op::remove, key );
   }
};

template <class V>
String text( const V &value ) {
   return shown( genericIf( value ) );
}

class SameAsTyped : public testing::TestWithParam<U32> {};

INSTANTIATE_TEST_SUITE_P( Seeds, SameAsTyped, testing::Values( 1u, 2u, 3u, 4u ) );

/// Drives a set of keys with flags: `is`, `del` and `has` are the typed operations.
template <class Watcher, class Entity, class Key, class Is, class Del>
void compareFlags( U32 seed, const String &name, const Ptr<Entity> &typed, const Ptr<Entity> &twin,
                   Key key, Is is, Del del ) {
   const auto typedWatcher = watch<Watcher>( typed );
   const auto twinWatcher = watch<Watcher>( twin );
   const ByName byName{ genericIf( twin ) };
   Dice dice( seed );
   std::size_t notified = 0;
   for( U32 step = 0; step < kSteps; ++step ) {
      const auto at = key( dice );
      if( dice.roll( 3 ) == 0 ) {
         EXPECT_EQ( byName.remove( name, genericIf( at ) ), text( del( *typed, at ) ) );
      } else {
         const bool flag = dice.roll( 4 ) != 0;
         is( *typed, at, flag );
         byName.set( name, genericIf( at ), genericIf( flag ) );
      }
      ASSERT_EQ( twinWatcher->heard, typedWatcher->heard ) << "step " << step;
      ASSERT_EQ( walked( byName.any, name ), walked( genericIf( typed ), name ) )
            << "step " << step;
      notified += std::exchange( typedWatcher->heard, {} ).size();
      twinWatcher->heard.clear();
   }
   EXPECT_GT( notified, kSteps / 4 );
   EXPECT_LT( notified, kSteps ) << "some steps change nothing";
}

TEST_P( SameAsTyped, TheHandOverTable ) {
   compareFlags<TableWatcher>(
         GetParam(), "virtualRouterMac", virtualRouterMacTableFactory(),
         virtualRouterMacTableFactory(), []( Dice &dice ) { return dice.rollPair(); },
         []( auto &table, auto &key, bool flag ) { table.virtualRouterMacIs( key, flag ); },
         []( auto &table, auto &key ) { return table.virtualRouterMacDel( key ); } );
}

TEST_P( SameAsTyped, TheMacsOfAnInterface ) {
   const IntfId br10( "br10" );
   compareFlags<MacsWatcher>(
         GetParam(), "ethAddr", make<EthAddrsForIntf>( br10 ), make<EthAddrsForIntf>( br10 ),
         []( Dice &dice ) { return mac( static_cast<U16>( dice.roll( 20 ) ) ); },
         []( auto &macs, auto &key, bool flag ) { macs.ethAddrIs( key, flag ); },
         []( auto &macs, auto &key ) { return macs.ethAddrDel( key ); } );
}

TEST_P( SameAsTyped, ThePublishedRecords ) {
   compareFlags<StatusWatcher>(
         GetParam(), "vrrpVirtualMac", make<VirtualRouterMacStatus>(),
         make<VirtualRouterMacStatus>(),
         []( Dice &dice ) {
            return VirtualRouterMac( IntfId( "br" + std::to_string( dice.roll( 4 ) ) ),
                                     mac( static_cast<U16>( dice.roll( 5 ) ) ) );
         },
         []( auto &status, auto &key, bool flag ) { status.vrrpVirtualMacIs( key, flag ); },
         []( auto &status, auto &key ) { return status.vrrpVirtualMacDel( key ); } );
}

TEST_P( SameAsTyped, TheVlansOfAnInterface ) {
   const IntfId br10( "br10" );
   compareFlags<VlansWatcher>(
         GetParam(), "vlanId", make<SviVlanSet>( br10 ), make<SviVlanSet>( br10 ),
         []( Dice &dice ) { return VlanId( static_cast<U16>( dice.roll( 20 ) ) ); },
         []( auto &set, auto key, bool flag ) { set.vlanIdIs( key, flag ); },
         []( auto &set, auto key ) { return set.vlanIdDel( key ); } );
}

TEST_P( SameAsTyped, TheQueuesAndTheMapOfTheProgrammer ) {
   Programmer typedWorld( 5 );
   Programmer twinWorld( 5 );
   VrrpSm &typed = *typedWorld.sm;
   const auto typedWatcher = watch<ProgrammerWatcher>( typedWorld.sm );
   const auto twinWatcher = watch<ProgrammerWatcher>( twinWorld.sm );
   const Any typedAny = genericIf( typedWorld.sm );
   const ByName twin{ genericIf( twinWorld.sm ) };
   const String free = "freeVirtualRouterIndex";
   const String map = "virtualRouterIndex";
   const String waiting = "macsNeedingVirtualRouterIndex";
   Dice dice( GetParam() );
   std::size_t notified = 0;
   for( U32 step = 0; step < kSteps; ++step ) {
      const U32 position = dice.roll( 80 );
      const U32 index = dice.roll( 8 );
      const VlanAndMac at = dice.rollPair();
      switch( dice.roll( 9 ) ) {
      case 0:
      case 1:
         typed.freeVirtualRouterIndexIs( position, index );
         twin.set( free, genericIf( position ), genericIf( index ) );
         break;
      case 2:
         EXPECT_EQ( twin.remove( free, genericIf( position ) ),
                    text( typed.freeVirtualRouterIndexDel( position ) ) );
         break;
      case 3:
      case 4:
         typed.virtualRouterIndexIs( at, index );
         twin.set( map, genericIf( at ), genericIf( index ) );
         break;
      case 5:
         EXPECT_EQ( twin.remove( map, genericIf( at ) ),
                    text( typed.virtualRouterIndexDel( at ) ) );
         break;
      case 6:
      case 7:
         typed.macsNeedingVirtualRouterIndexIs( position, at );
         twin.set( waiting, genericIf( position ), genericIf( at ) );
         break;
      default:
         EXPECT_EQ( twin.remove( waiting, genericIf( position ) ),
                    text( typed.macsNeedingVirtualRouterIndexDel( position ) ) );
      }
      if( step % 97 == 96 ) {
         typed.doCleanup();
         EXPECT_EQ( called( twin.any, "doCleanup", listOf() ), "nothing" );
      }
      ASSERT_EQ( twinWatcher->heard, typedWatcher->heard ) << "step " << step;
      for( const String &name : { free, map, waiting } ) {
         ASSERT_EQ( walked( twin.any, name ), walked( typedAny, name ) ) << "step " << step;
      }
      for( const char *name :
           { "freeVirtualRouterIndexMetadata", "macsNeedingVirtualRouterIndexMetadata" } ) {
         ASSERT_EQ( got( twin.any, name ), got( typedAny, name ) ) << "step " << step;
      }
      notified += std::exchange( typedWatcher->heard, {} ).size();
      twinWatcher->heard.clear();
   }
   EXPECT_GT( notified, kSteps / 4 );
   EXPECT_EQ( twinWorld.story, typedWorld.story );
}

/// The waiting line keeps an index beside it: a change by name must keep that true as well.
TEST_P( SameAsTyped, TheWaitingLineThatWasWrittenByNameIsLeftByTheSamePairs ) {
   Programmer typedWorld( 0 );
   Programmer twinWorld( 0 );
   const ByName twin{ genericIf( twinWorld.sm ) };
   const String name = "macsNeedingVirtualRouterIndex";
   Dice dice( GetParam() );
   for( U32 step = 0; step < kSteps; ++step ) {
      const U32 position = dice.roll( 40 );
      const VlanAndMac at = pair( static_cast<U16>( dice.roll( 3 ) ), 1 );
      if( dice.roll( 2 ) == 0 ) {
         typedWorld.sm->macsNeedingVirtualRouterIndexIs( position, at );
         twin.set( name, genericIf( position ), genericIf( at ) );
      } else {
         typedWorld.sm->handleVrrpMac( at ); // is not wanted: its oldest entry leaves the line
         called( twin.any, "handleVrrpMac", listOf( genericIf( at ) ) );
      }
      ASSERT_EQ( walked( twin.any, name ), walked( genericIf( typedWorld.sm ), name ) )
            << "step " << step;
   }
}

TEST_P( SameAsTyped, TheWholeSystem ) {
   Pipeline typed;
   Pipeline named;
   const Any status = genericIf( named.status );
   const Any br10 = genericIf( named.br10 );
   const auto typedTable = watch<TableWatcher>( typed.table );
   const auto namedTable = watch<TableWatcher>( named.table );
   const auto typedSm = watch<ProgrammerWatcher>( typed.programmer );
   const auto namedSm = watch<ProgrammerWatcher>( named.programmer );
   Dice dice( GetParam() );
   std::size_t calls = 0;
   for( U32 step = 0; step < kSteps; ++step ) {
      const VirtualRouterMac record( IntfId( "br10" ), mac( static_cast<U16>( dice.roll( 4 ) ) ) );
      const VlanId vlan( static_cast<U16>( 10 * dice.roll( 4 ) ) );
      const bool appears = dice.roll( 2 ) == 0;
      if( dice.roll( 2 ) == 0 && appears ) {
         typed.status->vrrpVirtualMacIs( record, true );
         did( status, "vrrpVirtualMac", Op::set, genericIf( record ), genericIf( true ) );
      } else if( dice.roll( 2 ) == 0 ) {
         typed.status->vrrpVirtualMacDel( record );
         did( status, "vrrpVirtualMac", Op::remove, genericIf( record ) );
      } else if( appears ) {
         typed.br10->vlanIdIs( vlan, true );
         did( br10, "vlanId", Op::set, genericIf( vlan ), genericIf( true ) );
      } else {
         typed.br10->vlanIdDel( vlan );
         did( br10, "vlanId", Op::remove, genericIf( vlan ) );
      }
      ASSERT_EQ( named.story, typed.story ) << "step " << step;
      ASSERT_EQ( namedTable->heard, typedTable->heard ) << "step " << step;
      ASSERT_EQ( namedSm->heard, typedSm->heard ) << "step " << step;
      calls += typed.takeStory().size();
      named.takeStory();
      typedTable->heard.clear();
      namedTable->heard.clear();
      typedSm->heard.clear();
      namedSm->heard.clear();
   }
   EXPECT_GT( calls, 20u );
}

// Plain attributes

class FlagWatcher : public VrrpSmHelper::NotifieeConst {
 public:
   void onSyncCurrentStateOnInit() override { ++heard; }
   int heard = 0;
};

class CountWatcher : public Hardware::NotifieeConst {
 public:
   void onVirtualRouterCount() override { ++heard; }
   int heard = 0;
};

TEST( SameAsTypedValue, TheHelpersFlagNotifiesWhenItChangesAndOnlyThen ) {
   Programmer world( 1 );
   const Any helper = genericIf( world.helper );
   const auto watcher = make<FlagWatcher>();
   watcher->notifierIs( world.helper );
   watcher->isRegisteredNotifieeIs( true );
   const auto set = [&]( bool on ) {
      return helper->attributeOp( 386, Op::set, nullptr, genericIf( on ) );
   };
   set( false );
   EXPECT_EQ( watcher->heard, 0 );
   set( true );
   set( true );
   EXPECT_EQ( watcher->heard, 1 );
   EXPECT_TRUE( world.helper->syncCurrentStateOnInit() );
   set( false );
   EXPECT_EQ( watcher->heard, 2 );
}

TEST( SameAsTypedValue, TheNumberOfIndexesNotifiesWhenItChangesAndOnlyThen ) {
   const auto hardware = make<Hardware>();
   const auto watcher = watch<CountWatcher>( hardware );
   const Any any = genericIf( hardware );
   did( any, "virtualRouterCount", Op::set, nullptr, genericIf( U32{ 5 } ) );
   did( any, "virtualRouterCount", Op::set, nullptr, genericIf( U32{ 5 } ) );
   EXPECT_EQ( watcher->heard, 1 );
}

TEST( SameAsTypedValue, AWatcherThatThrowsDoesNotDisturbTheChangeByName ) {
   struct Thrower : VirtualRouterMacTable::NotifieeConst {
      void onVirtualRouterMac( const VlanAndMac & ) override { throw Quor::Exception( "no" ); }
      void onNotificationException( AttrId id ) override { failed = id; }
      using NotifieeConst::onVirtualRouterMac;
      AttrId failed = 0;
   };
   const auto table = virtualRouterMacTableFactory();
   const auto thrower = watch<Thrower>( table );
   const auto watcher = watch<TableWatcher>( table );
   EXPECT_EQ(
         did( genericIf( table ), "virtualRouterMac", Op::set, genericIf( a ), genericIf( true ) ),
         "nothing" );
   EXPECT_EQ( thrower->failed, 130u );
   EXPECT_EQ( watcher->heard.size(), 1u );
   EXPECT_TRUE( table->virtualRouterMac( a ) );
}

} // namespace
} // namespace IntrospectionTests
