// The hand-over table: its operations, and what its watchers hear.
#include "OrloVrrpPrivateVlanReflectorLib/VirtualRouterMacTable.h"
#include "tests/unit/library/Story.h"
#include "tests/unit/library/Values.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

namespace LibraryTests {
namespace {

using Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
using Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory;

/// Tells what it hears, and what it finds in the table at that moment.
class Watcher : public VirtualRouterMacTable::NotifieeConst {
 public:
   Watcher( Story &story, String name ) : story_( story ), name_( std::move( name ) ) {}

   std::function<void( const VlanAndMac & )> then;

   void onVirtualRouterMac( const VlanAndMac &key ) override {
      const auto table = notifier();
      const auto entry = table->virtualRouterMacs().find( key );
      tell( pairText( key ) +
            ( !entry           ? " is absent"
              : entry->value() ? " is true"
                               : " is false" ) +
            ", " + std::to_string( table->virtualRouterMacs().size() ) + " in all" );
      if( then ) {
         then( key );
      }
   }
   void onVirtualRouterMacquorImmediate() override { tell( "immediate" ); }
   void onVirtualRouterMac() override { tell( "all" ); }
   void onVirtualRouterMacsAhead( U32 later, U32 soon ) override {
      tell( "later " + std::to_string( later ) + ", soon " + std::to_string( soon ) );
      if( then ) {
         then( VlanAndMac() );
      }
   }
   void onNotificationException( Quor::AttrId id ) override {
      tell( "failed at " + std::to_string( id ) );
   }
   void onZeroReferences() override { tell( "table goes" ); }

 private:
   void tell( const String &what ) { story_.tell( name_ + ": " + what ); }

   Story &story_;
   const String name_;
};

/// A table with one registered watcher.
struct Watched {
   Story story;
   Ptr<VirtualRouterMacTable> table = virtualRouterMacTableFactory();
   Ptr<Watcher> w = watcher( "w" );

   Ptr<Watcher> watcher( const String &name ) {
      auto made = Quor::make<Watcher>( story, name );
      made->notifierIs( table );
      made->isRegisteredNotifieeIs( true );
      return made;
   }
};

String told( const char *who, const VlanAndMac &key, const char *state, int count ) {
   return String( who ) + ": " + pairText( key ) + " is " + state + ", " + std::to_string( count ) +
          " in all";
}

const VlanAndMac a = pair( 10, 1 );
const VlanAndMac b = pair( 20, 1 );

TEST( VirtualRouterMacTable, FactoryGivesANewEmptyTableEveryTime ) {
   const auto first = virtualRouterMacTableFactory();
   const auto second = virtualRouterMacTableFactory();
   EXPECT_EQ( first->virtualRouterMacs().size(), 0u );
   EXPECT_EQ( first->notifieeCount(), 0u );
   first->virtualRouterMacIs( a, true );
   EXPECT_EQ( second->virtualRouterMacs().size(), 0u );
}

TEST( VirtualRouterMacTable, LookUpFindsTheKeyWithItsFlag ) {
   Watched world;
   world.table->virtualRouterMacIs( a, true );
   world.table->virtualRouterMacIs( b, false );
   EXPECT_TRUE( world.table->virtualRouterMacs().isMemberOf( a ) );
   EXPECT_TRUE( world.table->virtualRouterMac( a ) );
   EXPECT_TRUE( world.table->virtualRouterMacs().isMemberOf( b ) ) << "the flag does not matter";
   EXPECT_FALSE( world.table->virtualRouterMac( b ) );
   EXPECT_FALSE( world.table->virtualRouterMacs().isMemberOf( pair( 10, 2 ) ) );
   EXPECT_FALSE( world.table->virtualRouterMac( pair( 10, 2 ) ) );
   EXPECT_EQ( world.table->virtualRouterMacs().find( pair( 10, 2 ) ), nullptr );
}

// Adding

TEST( VirtualRouterMacTable, AddingAKeyNotifiesOnceWhenItIsThere ) {
   Watched world;
   world.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( world.story.take(), ( Lines{ told( "w", a, "true", 1 ) } ) );
   world.table->virtualRouterMacIs( b, false );
   EXPECT_EQ( world.story.take(), ( Lines{ told( "w", b, "false", 2 ) } ) );
}

TEST( VirtualRouterMacTable, SettingThePresentFlagAgainNotifiesNobody ) {
   Watched world;
   world.table->virtualRouterMacIs( a, true );
   world.table->virtualRouterMacIs( b, false );
   world.story.take();
   world.table->virtualRouterMacIs( a, true );
   world.table->virtualRouterMacIs( b, false );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( VirtualRouterMacTable, ChangingAFlagStoresItAndNotifies ) {
   Watched world;
   world.table->virtualRouterMacIs( a, true );
   world.story.take();
   world.table->virtualRouterMacIs( a, false );
   EXPECT_EQ( world.story.take(), ( Lines{ told( "w", a, "false", 1 ) } ) );
   world.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( world.story.take(), ( Lines{ told( "w", a, "true", 1 ) } ) );
}

TEST( VirtualRouterMacTable, NewAddsAnEntryWithoutNotifying ) {
   Watched world;
   const auto entry = world.table->newVirtualRouterMac( a, true );
   EXPECT_EQ( entry->key(), a );
   EXPECT_TRUE( entry->value() );
   EXPECT_TRUE( world.table->virtualRouterMac( a ) );
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_THROW( world.table->newVirtualRouterMac( a, false ), Quor::NameInUseException );
   EXPECT_TRUE( world.table->virtualRouterMac( a ) );
}

// Removing

TEST( VirtualRouterMacTable, RemovingAKeyNotifiesOnceWhenItHasGone ) {
   Watched world;
   world.table->virtualRouterMacIs( a, true );
   world.table->virtualRouterMacIs( b, true );
   world.story.take();
   EXPECT_TRUE( world.table->virtualRouterMacDel( a ) );
   EXPECT_EQ( world.story.take(), ( Lines{ told( "w", a, "absent", 1 ) } ) );
}

TEST( VirtualRouterMacTable, RemovingGivesTheFlagThatStoodThere ) {
   Watched world;
   world.table->virtualRouterMacIs( a, false );
   world.story.take();
   EXPECT_FALSE( world.table->virtualRouterMacDel( a ) );
   EXPECT_EQ( world.story.take(), ( Lines{ told( "w", a, "absent", 0 ) } ) );
}

TEST( VirtualRouterMacTable, RemovingAnAbsentKeyGivesFalseAndNotifiesNobody ) {
   Watched world;
   world.table->virtualRouterMacIs( a, true );
   world.story.take();
   EXPECT_FALSE( world.table->virtualRouterMacDel( b ) );
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( world.table->virtualRouterMacs().size(), 1u );
}

TEST( VirtualRouterMacTable, RemovingUnderAnIteratorIsTheSame ) {
   Watched world;
   world.table->virtualRouterMacIs( a, true );
   world.story.take();
   const auto at = world.table->virtualRouterMacs().begin();
   EXPECT_TRUE( world.table->virtualRouterMacDel( at ) );
   EXPECT_EQ( world.story.take(), ( Lines{ told( "w", a, "absent", 0 ) } ) );
   EXPECT_FALSE( world.table->virtualRouterMacDel( at ) ) << "its entry has gone";
   EXPECT_FALSE( world.table->virtualRouterMacDel( world.table->virtualRouterMacs().begin() ) )
         << "at the end";
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( VirtualRouterMacTable, RemovingAllNotifiesPerKeyInTableOrder ) {
   Watched world;
   const auto keys = inTableOrder<VlanAndMac>( { a, b, pair( 30, 1 ), pair( 10, 2 ) } );
   for( const VlanAndMac &key : keys ) {
      world.table->virtualRouterMacIs( key, true );
   }
   world.story.take();
   world.table->virtualRouterMacDelAll();
   EXPECT_EQ( world.story.take(),
              ( Lines{ told( "w", keys[0], "absent", 3 ), told( "w", keys[1], "absent", 2 ),
                       told( "w", keys[2], "absent", 1 ), told( "w", keys[3], "absent", 0 ) } ) );
   world.table->virtualRouterMacDelAll();
   EXPECT_EQ( world.story.take(), Lines{} );
}

// Order

TEST( VirtualRouterMacTable, IterationVisitsAllKeysInTheOrderOfTheirHash ) {
   const auto table = virtualRouterMacTableFactory();
   std::vector<VlanAndMac> keys;
   for( U16 vlanNumber = 0; vlanNumber < 40; ++vlanNumber ) {
      for( U16 vrid = 1; vrid <= 8; ++vrid ) {
         keys.push_back( pair( vlanNumber, vrid ) );
      }
   }
   std::shuffle( keys.begin(), keys.end(), std::mt19937( 3 ) );
   for( const VlanAndMac &key : keys ) {
      table->virtualRouterMacIs( key, true );
   }
   EXPECT_EQ( keysOf( table->virtualRouterMacs() ), inTableOrder( keys ) );
}

// Watching

TEST( VirtualRouterMacTable, NotifyTellsEveryWatcherInTheOrderOfRegistration ) {
   Watched world;
   const auto second = world.watcher( "v" );
   world.table->virtualRouterMacNotify( a );
   EXPECT_EQ( world.story.take(),
              ( Lines{ told( "w", a, "absent", 0 ), told( "v", a, "absent", 0 ) } ) );
}

TEST( VirtualRouterMacTable, AWatcherHearsOnlyWhileItIsRegistered ) {
   Watched world;
   world.w->isRegisteredNotifieeIs( true ); // it is: nothing happens
   EXPECT_EQ( world.table->notifieeCount(), 1u );
   world.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( world.story.take().size(), 1u );
   world.w->isRegisteredNotifieeIs( false );
   world.w->isRegisteredNotifieeIs( false );
   EXPECT_EQ( world.table->notifieeCount(), 0u );
   world.table->virtualRouterMacIs( b, true );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( VirtualRouterMacTable, AWatcherBoundToAnotherTableLeavesTheOneBefore ) {
   Watched world;
   const auto other = virtualRouterMacTableFactory();
   world.w->notifierIs( other );
   EXPECT_EQ( world.table->notifieeCount(), 0u );
   EXPECT_EQ( other->notifieeCount(), 1u );
   world.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( world.story.take(), Lines{} ) << "binding tells nothing by itself";
   other->virtualRouterMacIs( b, true );
   EXPECT_EQ( world.story.take(), ( Lines{ told( "w", b, "true", 1 ) } ) );
   world.w->notifierIs( other );
   EXPECT_EQ( other->notifieeCount(), 1u );
   world.w->notifierIs( nullptr );
   EXPECT_EQ( other->notifieeCount(), 0u );
}

TEST( VirtualRouterMacTable, TheOtherHooksAreCalledByNobody ) {
   Watched world;
   const auto table = world.table;
   table->virtualRouterMacIs( a, true );
   table->virtualRouterMacIs( a, false );
   table->virtualRouterMacDel( a );
   table->virtualRouterMacIs( b, true );
   table->virtualRouterMacDelAll();
   for( const String &line : world.story.take() ) {
      EXPECT_NE( line, "w: immediate" );
      EXPECT_NE( line, "w: all" );
   }
}

TEST( VirtualRouterMacTable, AWatcherThatOverridesNothingIsPassedOver ) {
   Watched world;
   const auto silent = Quor::make<VirtualRouterMacTable::NotifieeConst>();
   silent->notifierIs( world.table );
   silent->isRegisteredNotifieeIs( true );
   const auto last = world.watcher( "v" );
   silent->onVirtualRouterMac( a );
   silent->onVirtualRouterMacquorImmediate();
   silent->onVirtualRouterMac();
   world.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( world.story.take(),
              ( Lines{ told( "w", a, "true", 1 ), told( "v", a, "true", 1 ) } ) );
}

TEST( VirtualRouterMacTable, AWatcherThatThrowsStopsNobodyElse ) {
   Watched world;
   const auto second = world.watcher( "v" );
   world.w->then = []( const VlanAndMac & ) { throw std::runtime_error( "no" ); };
   world.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( world.story.take(), ( Lines{ told( "w", a, "true", 1 ), "w: failed at 130",
                                           told( "v", a, "true", 1 ) } ) );
   EXPECT_TRUE( world.table->virtualRouterMac( a ) );
}

TEST( VirtualRouterMacTable, AWatcherThatRegistersDuringAPassHearsTheNextOne ) {
   Watched world;
   Ptr<Watcher> late;
   world.w->then = [&]( const VlanAndMac & ) {
      if( !late ) {
         late = world.watcher( "late" );
      }
   };
   world.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( world.story.take(), ( Lines{ told( "w", a, "true", 1 ) } ) );
   world.table->virtualRouterMacIs( b, true );
   EXPECT_EQ( world.story.take(),
              ( Lines{ told( "w", b, "true", 2 ), told( "late", b, "true", 2 ) } ) );
}

TEST( VirtualRouterMacTable, AWatcherReleasedDuringAPassIsNotCalledInIt ) {
   Watched world;
   Ptr<Watcher> second = world.watcher( "v" );
   const auto third = world.watcher( "x" );
   world.w->then = [&]( const VlanAndMac & ) { second = nullptr; };
   world.table->virtualRouterMacIs( a, true );
   EXPECT_EQ( world.story.take(),
              ( Lines{ told( "w", a, "true", 1 ), told( "x", a, "true", 1 ) } ) );
   EXPECT_EQ( world.table->notifieeCount(), 2u );
}

TEST( VirtualRouterMacTable, AWatcherMayEmptyTheTableUnderARemovalOfAll ) {
   Watched world;
   const auto keys = inTableOrder<VlanAndMac>( { a, b, pair( 30, 1 ) } );
   for( const VlanAndMac &key : keys ) {
      world.table->newVirtualRouterMac( key, true );
   }
   world.w->then = [&]( const VlanAndMac &key ) {
      if( key == keys[0] ) {
         world.table->virtualRouterMacDel( keys[1] );
      }
   };
   world.table->virtualRouterMacDelAll();
   EXPECT_EQ( world.story.take(),
              ( Lines{ told( "w", keys[0], "absent", 2 ), told( "w", keys[1], "absent", 1 ),
                       told( "w", keys[2], "absent", 0 ) } ) );
}

TEST( VirtualRouterMacTable, AWatcherThatMayWriteGetsTheTableToWriteTo ) {
   class Writer : public VirtualRouterMacTable::Notifiee {
    public:
      void onVirtualRouterMac( const VlanAndMac &key ) override {
         notifier()->virtualRouterMacIs( key, true );
      }
      using NotifieeConst::onVirtualRouterMac;
   };
   const auto table = virtualRouterMacTableFactory();
   const auto writer = Quor::make<Writer>();
   writer->notifierIs( table );
   writer->isRegisteredNotifieeIs( true );
   table->virtualRouterMacNotify( a );
   EXPECT_TRUE( table->virtualRouterMac( a ) );
}

// The end of the table

TEST( VirtualRouterMacTable, GoingItTellsEachWatcherOnceAndUnbindsIt ) {
   Story story;
   auto table = virtualRouterMacTableFactory();
   std::vector<Ptr<Watcher>> watchers;
   for( const char *const name : { "w", "v" } ) {
      watchers.push_back( Quor::make<Watcher>( story, name ) );
      watchers.back()->uncountedNotifierIs( table );
      watchers.back()->isRegisteredNotifieeIs( true );
   }
   table->newVirtualRouterMac( a, true );
   table = nullptr;
   EXPECT_EQ( story.take(), ( Lines{ "w: table goes", "v: table goes" } ) )
         << "and nothing about the keys in it";
   EXPECT_EQ( watchers[0]->notifier(), nullptr );
}

TEST( VirtualRouterMacTable, AWatcherThatThrowsWhenItGoesIsToldSo ) {
   class Thrower : public Watcher {
    public:
      using Watcher::Watcher;
      void onZeroReferences() override { throw std::runtime_error( "no" ); }
   };
   Story story;
   auto table = virtualRouterMacTableFactory();
   const auto thrower = Quor::make<Thrower>( story, "thrower" );
   const auto other = Quor::make<Watcher>( story, "other" );
   for( const Ptr<Watcher> &watcher : { Ptr<Watcher>( thrower ), other } ) {
      watcher->uncountedNotifierIs( table );
      watcher->isRegisteredNotifieeIs( true );
   }
   table = nullptr;
   EXPECT_EQ( story.take(), ( Lines{ "thrower: failed at 5", "other: table goes" } ) );
}

TEST( VirtualRouterMacTable, LivesAsLongAsAWatcherIsBoundToIt ) {
   Watched world;
   world.table->virtualRouterMacIs( a, true );
   world.table = nullptr;
   world.story.take();
   EXPECT_TRUE( world.w->notifier()->virtualRouterMac( a ) );
   world.w->notifierIs( nullptr );
   EXPECT_EQ( world.story.take(), Lines{} ) << "it has left the list before the table goes";
}

// Hints

TEST( VirtualRouterMacTable, AnOnlyWatcherHearsWhichKeysComeNextAndNothingChanges ) {
   Watched world;
   world.table->newVirtualRouterMac( a, true );
   const U32 later = naturalHash( b );
   world.table->virtualRouterMacsAhead( later, 0xFFFFFFFF );
   EXPECT_EQ( world.story.take(),
              Lines{ "w: later " + std::to_string( later ) + ", soon 4294967295" } );
   EXPECT_EQ( world.table->virtualRouterMacs().size(), 1u );
}

TEST( VirtualRouterMacTable, SeveralWatchersHearNothingOfKeysThatComeNext ) {
   Watched world;
   const Ptr<Watcher> v = world.watcher( "v" );
   world.table->virtualRouterMacsAhead( 1, 2 );
   EXPECT_EQ( world.story.take(), Lines{} );
   v->isRegisteredNotifieeIs( false );
   world.w->isRegisteredNotifieeIs( false );
   world.table->virtualRouterMacsAhead( 1, 2 );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( VirtualRouterMacTable, AWatcherMayThrowOrLetGoOfTheTableInAHint ) {
   Watched world;
   world.w->then = []( const VlanAndMac & ) { throw std::runtime_error( "no" ); };
   world.table->virtualRouterMacsAhead( 1, 2 );
   EXPECT_EQ( world.story.take(), Lines{ "w: later 1, soon 2" } );
   VirtualRouterMacTable &table = *world.table;
   world.w->then = [&]( const VlanAndMac & ) {
      world.table = nullptr;
      world.w->notifierIs( nullptr );
   };
   table.virtualRouterMacsAhead( 1, 2 );
   EXPECT_EQ( world.story.take(), Lines{ "w: later 1, soon 2" } );
}

} // namespace
} // namespace LibraryTests
