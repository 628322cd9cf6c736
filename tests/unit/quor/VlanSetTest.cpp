// The VLANs of an interface, and the table of these sets by interface.
#include "platform/IntfVlanIdSetTable.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace IntfVlanIdSet {
namespace {

using Bridging::VlanId;
using Pelmo::IntfId;
using Quor::make;
using Quor::Ptr;
using Log = std::vector<Quor::String>;

const IntfId kIntf( "br10" );

/// Writes down what it hears of each VLAN and how the set stands then: "10 true", "10 absent".
class VlanWatcher : public SviVlanSet::NotifieeConst {
 public:
   explicit VlanWatcher( Log &log ) : log_( log ) {}
   void onVlanId( VlanId vlanId ) override {
      const auto entry = notifier()->vlanIds().find( vlanId );
      log_.push_back( valueToStrep( vlanId ) + " " +
                      ( entry ? Quor::valueToStrep( entry->value() ) : "absent" ) );
      if( fails ) {
         throw std::runtime_error( "no" );
      }
   }
   void onVlanIdquorImmediate() override { log_.push_back( "immediate" ); }
   void onVlanId() override { log_.push_back( "whole" ); }
   void onNotificationException( Quor::AttrId id ) override {
      log_.push_back( "failed in " + std::to_string( id ) );
   }
   bool fails = false;

 private:
   Log &log_;
};

struct WatchedSet {
   Log log;
   Ptr<SviVlanSet> set = make<SviVlanSet>( kIntf );
   Ptr<VlanWatcher> watcher = make<VlanWatcher>( log );

   WatchedSet() {
      watcher->notifierIs( set );
      watcher->isRegisteredNotifieeIs( true );
   }
   Log take() { return std::exchange( log, {} ); }
};

TEST( SviVlanSet, BelongsToAnInterfaceAndStartsEmpty ) {
   const auto set = make<SviVlanSet>( kIntf );
   EXPECT_EQ( set->vlanIntf(), kIntf );
   EXPECT_EQ( set->vlanIds().size(), 0u );
   EXPECT_FALSE( set->vlanId( VlanId( 10 ) ) );
}

TEST( SviVlanSet, EveryChangeIsToldOnceAndTheSameAgainNot ) {
   WatchedSet watched;
   watched.set->vlanIdIs( VlanId( 10 ), true );
   EXPECT_EQ( watched.take(), Log{ "10 true" } );
   EXPECT_TRUE( watched.set->vlanId( VlanId( 10 ) ) );
   watched.set->vlanIdIs( VlanId( 10 ), true );
   EXPECT_EQ( watched.take(), Log() );
   watched.set->vlanIdIs( VlanId( 10 ), false );
   EXPECT_EQ( watched.take(), Log{ "10 false" } );
   EXPECT_FALSE( watched.set->vlanId( VlanId( 10 ) ) );
   EXPECT_TRUE( watched.set->vlanIds().isMemberOf( VlanId( 10 ) ) );
}

TEST( SviVlanSet, NewVlansAreMadeInSilenceAndOnlyOnce ) {
   WatchedSet watched;
   EXPECT_EQ( watched.set->newVlanId( VlanId( 10 ), true )->key(), VlanId( 10 ) );
   EXPECT_EQ( watched.take(), Log() );
   try {
      watched.set->newVlanId( VlanId( 10 ), false );
      FAIL() << "was made twice";
   } catch( const Quor::NameInUseException &error ) {
      EXPECT_STREQ( error.what(), "the key 10 is present already" );
   }
   EXPECT_TRUE( watched.set->vlanId( VlanId( 10 ) ) );
}

TEST( SviVlanSet, ARemovalGivesTheFlagAndAnAbsentVlanGivesFalseInSilence ) {
   WatchedSet watched;
   watched.set->newVlanId( VlanId( 10 ), true );
   watched.set->newVlanId( VlanId( 11 ), false );
   EXPECT_TRUE( watched.set->vlanIdDel( VlanId( 10 ) ) );
   EXPECT_FALSE( watched.set->vlanIdDel( VlanId( 11 ) ) );
   EXPECT_EQ( watched.take(), ( Log{ "10 absent", "11 absent" } ) );
   EXPECT_FALSE( watched.set->vlanIdDel( VlanId( 10 ) ) );
   EXPECT_EQ( watched.take(), Log() );
   watched.set->newVlanId( VlanId( 12 ), true );
   EXPECT_TRUE( watched.set->vlanIdDel( watched.set->vlanIds().begin() ) );
   EXPECT_EQ( watched.take(), Log{ "12 absent" } );
}

TEST( SviVlanSet, VlansAreWalkedByTheirBitsFromTheLowestUp ) {
   WatchedSet watched;
   for( const Quor::U16 number : std::vector<Quor::U16>{ 1, 2, 3, 4, 5, 6, 7, 8, 0 } ) {
      watched.set->newVlanId( VlanId( number ), true );
   }
   watched.set->vlanIdDelAll();
   EXPECT_EQ( watched.take(), ( Log{ "0 absent", "8 absent", "4 absent", "2 absent", "6 absent",
                                     "1 absent", "5 absent", "3 absent", "7 absent" } ) );
   EXPECT_EQ( watched.set->vlanIds().size(), 0u );
}

TEST( SviVlanSet, WatchersCanBeToldOfAVlanWithoutAChange ) {
   WatchedSet watched;
   watched.set->vlanIdNotify( VlanId( 9 ) );
   EXPECT_EQ( watched.take(), Log{ "9 absent" } );
}

TEST( SviVlanSet, AFailureIsReportedUnderItsVlans ) {
   WatchedSet watched;
   watched.watcher->fails = true;
   watched.set->vlanIdIs( VlanId( 10 ), true );
   EXPECT_EQ( watched.take(), ( Log{ "10 true", "failed in 131" } ) );
   EXPECT_EQ( SviVlanSet::kVlanIntf, 130u );
   EXPECT_EQ( SviVlanSet::kVlanId, 131u );
}

class TableWatcher : public Table::NotifieeConst {
 public:
   explicit TableWatcher( Log &log ) : log_( log ) {}
   void onSviVlanSet( const IntfId &intf ) override {
      log_.push_back( valueToStrep( intf ) +
                      ( notifier()->sviVlanSet( intf ) ? " has a set" : " has none" ) );
      if( fails ) {
         throw std::runtime_error( "no" );
      }
   }
   void onNotificationException( Quor::AttrId id ) override {
      log_.push_back( "failed in " + std::to_string( id ) );
   }
   bool fails = false;

 private:
   Log &log_;
};

struct WatchedTable {
   Log log;
   Ptr<Table> table = make<Table>();
   Ptr<TableWatcher> watcher = make<TableWatcher>( log );

   WatchedTable() {
      watcher->notifierIs( table );
      watcher->isRegisteredNotifieeIs( true );
   }
   Log take() { return std::exchange( log, {} ); }
};

TEST( VlanSetTable, AnInterfaceWithoutASetHasNone ) {
   const auto table = make<Table>();
   EXPECT_EQ( table->sviVlanSet( kIntf ).get(), nullptr );
   EXPECT_EQ( table->intfIdToVlanIdSet( kIntf ).get(), nullptr );
   EXPECT_EQ( table->sviVlanSets().size(), 0u );
}

TEST( VlanSetTable, MakesTheSetOfAnInterfaceOnceAndTellsSo ) {
   WatchedTable watched;
   const Ptr<SviVlanSet> set = watched.table->sviVlanSetIs( kIntf );
   ASSERT_TRUE( set );
   EXPECT_EQ( set->vlanIntf(), kIntf );
   EXPECT_EQ( set->vlanIds().size(), 0u );
   EXPECT_EQ( watched.take(), Log{ "br10 has a set" } );
   set->vlanIdIs( VlanId( 10 ), true );
   EXPECT_EQ( watched.table->sviVlanSetIs( kIntf ).get(), set.get() );
   EXPECT_EQ( watched.take(), Log() );
   EXPECT_EQ( watched.table->sviVlanSet( kIntf ).get(), set.get() );
   EXPECT_EQ( watched.table->intfIdToVlanIdSet( kIntf ).get(), set.get() );
   EXPECT_EQ( watched.table->sviVlanSets().size(), 1u );
}

TEST( VlanSetTable, SetsOfTwoInterfacesAreIndependent ) {
   WatchedTable watched;
   watched.table->sviVlanSetIs( kIntf )->vlanIdIs( VlanId( 10 ), true );
   const Ptr<SviVlanSet> other = watched.table->sviVlanSetIs( IntfId( "br20" ) );
   EXPECT_FALSE( other->vlanId( VlanId( 10 ) ) );
   EXPECT_EQ( watched.table->sviVlanSets().size(), 2u );
}

TEST( VlanSetTable, RemovesTheSetTellsSoAndGivesIt ) {
   WatchedTable watched;
   const Ptr<SviVlanSet> set = watched.table->sviVlanSetIs( kIntf );
   watched.take();
   EXPECT_EQ( watched.table->sviVlanSetDel( kIntf ).get(), set.get() );
   EXPECT_EQ( watched.take(), Log{ "br10 has none" } );
   EXPECT_EQ( watched.table->sviVlanSetDel( kIntf ).get(), nullptr );
   EXPECT_EQ( watched.take(), Log() );
   EXPECT_NE( watched.table->sviVlanSetIs( kIntf ).get(), set.get() );
}

TEST( VlanSetTable, AFailureIsReportedUnderItsSets ) {
   WatchedTable watched;
   watched.watcher->fails = true;
   watched.table->sviVlanSetIs( kIntf );
   EXPECT_EQ( watched.take(), ( Log{ "br10 has a set", "failed in 130" } ) );
}

TEST( VlanSetTable, OwnsItsSets ) {
   Ptr<Table> table = make<Table>();
   Log log;
   const Ptr<VlanWatcher> watcher = make<VlanWatcher>( log );
   watcher->uncountedNotifierIs( table->sviVlanSetIs( kIntf ) );
   EXPECT_TRUE( watcher->notifier() );
   table = nullptr;
   EXPECT_FALSE( watcher->notifier() );
}

} // namespace
} // namespace IntfVlanIdSet
