// A collection of an entity: every change of a key is told once, when it has been made.
#include "platform/VirtualRouterMacStatus.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace Routing::Fhrp {
namespace {

using Quor::make;
using Quor::Ptr;
using Log = std::vector<Quor::String>;

VirtualRouterMac record( const char *intf, Quor::U16 vrid ) {
   return { Pelmo::IntfId( intf ), Pelmo::EthAddr( 0, 0x5e00, Quor::U16( 0x0100 + vrid ) ) };
}

/// br<n> with virtual router n.
VirtualRouterMac record( Quor::U16 n ) {
   return record( ( "br" + std::to_string( n ) ).c_str(), n );
}

Quor::String text( const VirtualRouterMac &r ) {
   return Quor::String( r.intf().name() );
}

/// Writes down what it hears of each record and how the table stands then: "A br1 true", "A br1
/// absent".
class RecordWatcher : public VirtualRouterMacStatus::NotifieeConst {
 public:
   using Reaction = std::function<void( const VirtualRouterMac & )>;

   RecordWatcher( Log &log, Quor::String name ) : log_( log ), name_( std::move( name ) ) {}
   void reactionIs( Reaction reaction ) { reaction_ = std::move( reaction ); }

   using NotifieeConst::onVrrpVirtualMac;
   void onVrrpVirtualMac( const VirtualRouterMac &r ) override {
      const VirtualRouterMac told = r;
      const auto entry = notifier()->vrrpVirtualMacs().find( r );
      log_.push_back( name_ + " " + text( r ) + " " +
                      ( entry ? Quor::valueToStrep( entry->value() ) : "absent" ) );
      if( const Reaction now = reaction_ ) {
         now( r );
      }
      EXPECT_EQ( r, told ) << "though the reaction has changed the collection";
   }
   void onVrrpVirtualMacquorImmediate() override { log_.push_back( name_ + " immediate" ); }
   void onVrrpVirtualMac() override { log_.push_back( name_ + " whole" ); }
   void onNotificationException( Quor::AttrId id ) override {
      log_.push_back( name_ + " failed in " + std::to_string( id ) );
   }
   void onZeroReferences() override { log_.push_back( name_ + " goodbye" ); }

 private:
   Log &log_;
   const Quor::String name_;
   Reaction reaction_;
};

struct WatchedRecords {
   Log log;
   Ptr<VirtualRouterMacStatus> status = make<VirtualRouterMacStatus>();
   Ptr<RecordWatcher> a = make<RecordWatcher>( log, "A" );
   Ptr<RecordWatcher> b = make<RecordWatcher>( log, "B" );

   WatchedRecords() {
      for( const Ptr<RecordWatcher> &watcher : { a, b } ) {
         watcher->uncountedNotifierIs( status );
         watcher->isRegisteredNotifieeIs( true );
      }
   }
   /// Fills the table in silence.
   void fill( std::initializer_list<Quor::U16> numbers ) {
      for( const Quor::U16 n : numbers ) {
         status->newVrrpVirtualMac( record( n ), true );
      }
   }
   /// The names of the records in the table, in its order.
   Log order() const {
      Log names;
      for( const auto &entry : status->vrrpVirtualMacs() ) {
         names.push_back( text( entry.key() ) );
      }
      return names;
   }
};

TEST( NotifiedMap, AddingARecordIsToldWhenItIsThere ) {
   WatchedRecords watched;
   watched.status->vrrpVirtualMacIs( record( 1 ), true );
   EXPECT_EQ( watched.log, ( Log{ "A br1 true", "B br1 true" } ) );
   EXPECT_TRUE( watched.status->vrrpVirtualMac( record( 1 ) ) );
}

TEST( NotifiedMap, TheSameFlagAgainIsNotTold ) {
   WatchedRecords watched;
   for( const bool flag : { true, false } ) {
      watched.status->vrrpVirtualMacIs( record( 1 ), flag );
      watched.log.clear();
      watched.status->vrrpVirtualMacIs( record( 1 ), flag );
      EXPECT_EQ( watched.log, Log() ) << flag;
   }
}

TEST( NotifiedMap, AddingWithFalseIsAChangeThoughTheFlagReadsAsBefore ) {
   WatchedRecords watched;
   EXPECT_FALSE( watched.status->vrrpVirtualMac( record( 1 ) ) );
   watched.status->vrrpVirtualMacIs( record( 1 ), false );
   EXPECT_EQ( watched.log, ( Log{ "A br1 false", "B br1 false" } ) );
   EXPECT_FALSE( watched.status->vrrpVirtualMac( record( 1 ) ) );
   EXPECT_EQ( watched.status->vrrpVirtualMacs().size(), 1u );
}

TEST( NotifiedMap, ChangingAFlagIsTold ) {
   WatchedRecords watched;
   watched.fill( { 1 } );
   watched.status->vrrpVirtualMacIs( record( 1 ), false );
   EXPECT_EQ( watched.log, ( Log{ "A br1 false", "B br1 false" } ) );
   EXPECT_EQ( watched.status->vrrpVirtualMacs().size(), 1u );
}

TEST( NotifiedMap, MakingANewEntryIsNotTold ) {
   WatchedRecords watched;
   const auto entry = watched.status->newVrrpVirtualMac( record( 1 ), true );
   EXPECT_EQ( entry->key(), record( 1 ) );
   EXPECT_TRUE( entry->value() );
   EXPECT_EQ( watched.log, Log() );
   EXPECT_TRUE( watched.status->vrrpVirtualMac( record( 1 ) ) );
}

TEST( NotifiedMap, MakingAnEntryThatIsThereIsAnErrorThatShowsTheRecord ) {
   WatchedRecords watched;
   watched.fill( { 1 } );
   try {
      watched.status->newVrrpVirtualMac( record( 1 ), false );
      FAIL() << "was made twice";
   } catch( const Quor::NameInUseException &error ) {
      EXPECT_STREQ( error.what(), "the key br1/00:00:5e:00:01:01 is present already" );
   }
   EXPECT_TRUE( watched.status->vrrpVirtualMac( record( 1 ) ) );
}

TEST( NotifiedMap, ARemovalIsToldOnceAndFindsTheRecordGone ) {
   WatchedRecords watched;
   watched.fill( { 1 } );
   EXPECT_TRUE( watched.status->vrrpVirtualMacDel( record( 1 ) ) );
   EXPECT_EQ( watched.log, ( Log{ "A br1 absent", "B br1 absent" } ) );
   EXPECT_EQ( watched.status->vrrpVirtualMacs().size(), 0u );
}

TEST( NotifiedMap, ARemovalGivesTheFlagThatTheRecordHad ) {
   WatchedRecords watched;
   watched.status->newVrrpVirtualMac( record( 1 ), false );
   EXPECT_FALSE( watched.status->vrrpVirtualMacDel( record( 1 ) ) );
   EXPECT_EQ( watched.log, ( Log{ "A br1 absent", "B br1 absent" } ) );
}

TEST( NotifiedMap, RemovingAnAbsentRecordTellsNobodyAndGivesFalse ) {
   WatchedRecords watched;
   watched.fill( { 2 } );
   EXPECT_FALSE( watched.status->vrrpVirtualMacDel( record( 1 ) ) );
   EXPECT_EQ( watched.log, Log() );
}

TEST( NotifiedMap, ARemovalThroughAnIteratorIsTheSame ) {
   WatchedRecords watched;
   watched.fill( { 1 } );
   const auto at = watched.status->vrrpVirtualMacs().begin();
   EXPECT_TRUE( watched.status->vrrpVirtualMacDel( at ) );
   EXPECT_EQ( watched.log, ( Log{ "A br1 absent", "B br1 absent" } ) );
   EXPECT_FALSE( watched.status->vrrpVirtualMacDel( at ) );
   EXPECT_EQ( watched.log.size(), 2u );
}

TEST( NotifiedMap, RemovingAllTellsEveryRecordOnItsOwnInTheOrderOfTheTable ) {
   WatchedRecords watched;
   watched.fill( { 1, 2, 3, 4, 5 } );
   Log expected;
   for( const Quor::String &name : watched.order() ) {
      expected.push_back( "A " + name + " absent" );
      expected.push_back( "B " + name + " absent" );
   }
   watched.status->vrrpVirtualMacDelAll();
   EXPECT_EQ( expected.size(), 10u );
   EXPECT_EQ( watched.log, expected );
   EXPECT_EQ( watched.status->vrrpVirtualMacs().size(), 0u );
   watched.status->vrrpVirtualMacDelAll();
   EXPECT_EQ( watched.log.size(), 10u );
}

TEST( NotifiedMap, RecordsAreRemovedOneByOneSoThatTheOthersAreStillThere ) {
   WatchedRecords watched;
   watched.fill( { 1, 2, 3 } );
   std::vector<Quor::U32> sizes;
   watched.a->reactionIs( [&]( const VirtualRouterMac & ) {
      sizes.push_back( watched.status->vrrpVirtualMacs().size() );
   } );
   watched.status->vrrpVirtualMacDelAll();
   EXPECT_EQ( sizes, ( std::vector<Quor::U32>{ 2, 1, 0 } ) );
}

TEST( NotifiedMap, WatchersCanBeToldOfAKeyWithoutAChange ) {
   WatchedRecords watched;
   watched.status->vrrpVirtualMacNotify( record( 9 ) );
   EXPECT_EQ( watched.log, ( Log{ "A br9 absent", "B br9 absent" } ) );
}

TEST( NotifiedMap, AFailureIsReportedUnderTheCollection ) {
   WatchedRecords watched;
   watched.a->reactionIs( []( const VirtualRouterMac & ) { throw std::runtime_error( "no" ); } );
   watched.status->vrrpVirtualMacIs( record( 1 ), true );
   EXPECT_EQ( watched.log, ( Log{ "A br1 true", "A failed in 130", "B br1 true" } ) );
}

TEST( NotifiedMap, AWatcherRemovesTheRecordUnderTheLaterOne ) {
   WatchedRecords watched;
   watched.a->reactionIs( [&]( const VirtualRouterMac &r ) {
      watched.a->reactionIs( {} );
      watched.status->vrrpVirtualMacDel( r );
   } );
   watched.status->vrrpVirtualMacIs( record( 1 ), true );
   EXPECT_EQ( watched.log,
              ( Log{ "A br1 true", "A br1 absent", "B br1 absent", "B br1 absent" } ) );
}

TEST( NotifiedMap, AWatcherPutsBackTheRecordUnderTheLaterOne ) {
   WatchedRecords watched;
   watched.fill( { 1 } );
   watched.a->reactionIs( [&]( const VirtualRouterMac &r ) {
      watched.a->reactionIs( {} );
      watched.status->vrrpVirtualMacIs( r, false );
   } );
   EXPECT_TRUE( watched.status->vrrpVirtualMacDel( record( 1 ) ) ); // the flag that was removed
   EXPECT_EQ( watched.log, ( Log{ "A br1 absent", "A br1 false", "B br1 false", "B br1 false" } ) );
   EXPECT_EQ( watched.order(), Log{ "br1" } );
}

TEST( NotifiedMap, ARecordIsRemovedThroughTheKeyInItsOwnEntry ) {
   WatchedRecords watched;
   watched.fill( { 1 } );
   const VirtualRouterMac &alias = watched.status->vrrpVirtualMacs().begin()->key();
   EXPECT_TRUE( watched.status->vrrpVirtualMacDel( alias ) );
   EXPECT_EQ( watched.log, ( Log{ "A br1 absent", "B br1 absent" } ) );
}

TEST( NotifiedMap, ARecordIsChangedThroughTheKeyInItsOwnEntryThatAWatcherRemoves ) {
   WatchedRecords watched;
   watched.fill( { 1 } );
   watched.a->reactionIs( [&]( const VirtualRouterMac &r ) {
      watched.a->reactionIs( {} );
      watched.status->vrrpVirtualMacDel( r );
   } );
   const VirtualRouterMac &alias = watched.status->vrrpVirtualMacs().begin()->key();
   watched.status->vrrpVirtualMacIs( alias, false );
   EXPECT_EQ( watched.log,
              ( Log{ "A br1 false", "A br1 absent", "B br1 absent", "B br1 absent" } ) );
}

TEST( NotifiedMap, AWatcherDropsTheTableDuringARemovalWhichStillGivesTheFlag ) {
   WatchedRecords watched;
   watched.fill( { 1 } );
   watched.a->reactionIs( [&]( const VirtualRouterMac & ) { watched.status = nullptr; } );
   const VirtualRouterMac &alias = watched.status->vrrpVirtualMacs().begin()->key();
   EXPECT_TRUE( watched.status->vrrpVirtualMacDel( alias ) );
   EXPECT_EQ( watched.log, ( Log{ "A br1 absent", "B br1 absent", "A goodbye", "B goodbye" } ) );
}

TEST( NotifiedMap, AWatcherDropsTheTableDuringAnAddition ) {
   WatchedRecords watched;
   watched.a->reactionIs( [&]( const VirtualRouterMac & ) { watched.status = nullptr; } );
   watched.status->vrrpVirtualMacIs( record( 1 ), true );
   EXPECT_EQ( watched.log, ( Log{ "A br1 true", "B br1 true", "A goodbye", "B goodbye" } ) );
}

TEST( NotifiedMap, AWatcherDropsTheTableInTheMiddleOfRemovingAllWhichGoesOnToTheEnd ) {
   WatchedRecords watched;
   watched.fill( { 1, 2, 3 } );
   const Log order = watched.order();
   watched.a->reactionIs( [&]( const VirtualRouterMac & ) { watched.status = nullptr; } );
   watched.status->vrrpVirtualMacDelAll();
   EXPECT_EQ( watched.log, ( Log{ "A " + order[0] + " absent", "B " + order[0] + " absent",
                                  "A " + order[1] + " absent", "B " + order[1] + " absent",
                                  "A " + order[2] + " absent", "B " + order[2] + " absent",
                                  "A goodbye", "B goodbye" } ) );
}

TEST( NotifiedMap, ARecordPutBackWhileAllAreRemovedStays ) {
   WatchedRecords watched;
   watched.fill( { 1, 2, 3 } );
   const Log order = watched.order();
   watched.b->isRegisteredNotifieeIs( false );
   watched.a->reactionIs( [&]( const VirtualRouterMac &r ) {
      watched.status->vrrpVirtualMacIs( r, false ); // as it is already when this is told
   } );
   watched.status->vrrpVirtualMacDelAll();
   EXPECT_EQ( watched.log, ( Log{ "A " + order[0] + " absent", "A " + order[0] + " false",
                                  "A " + order[1] + " absent", "A " + order[1] + " false",
                                  "A " + order[2] + " absent", "A " + order[2] + " false" } ) );
   EXPECT_EQ( watched.order(), order );
}

TEST( NotifiedMap, AWatcherRemovesARecordThatRemovingAllHasNotComeTo ) {
   WatchedRecords watched;
   watched.fill( { 1, 2, 3 } );
   const Log order = watched.order();
   watched.b->isRegisteredNotifieeIs( false );
   const auto second = [&] {
      auto at = watched.status->vrrpVirtualMacs().begin();
      return ( ++at )->key();
   }();
   watched.a->reactionIs( [&]( const VirtualRouterMac & ) {
      watched.a->reactionIs( {} );
      watched.status->vrrpVirtualMacDel( second );
   } );
   watched.status->vrrpVirtualMacDelAll();
   EXPECT_EQ( watched.log, ( Log{ "A " + order[0] + " absent", "A " + order[1] + " absent",
                                  "A " + order[2] + " absent" } ) );
}

TEST( NotifiedMap, AWatcherWalksOverTheCollectionThatIsBeingTold ) {
   WatchedRecords watched;
   Log seen;
   watched.a->reactionIs( [&]( const VirtualRouterMac & ) {
      const Log now = watched.order();
      seen.insert( seen.end(), now.begin(), now.end() );
   } );
   watched.fill( { 1, 2 } );
   const Log order = watched.order();
   watched.status->vrrpVirtualMacDel( record( 3 ) );
   EXPECT_EQ( seen, Log() );
   watched.status->vrrpVirtualMacDelAll();
   EXPECT_EQ( seen, Log{ order[1] } );
}

TEST( NotifiedMap, AWalkRemovesRecordsWhileAWatcherAddsSome ) {
   WatchedRecords watched;
   watched.fill( { 1, 2, 3, 4, 5, 6 } );
   const Log before = watched.order();
   watched.b->isRegisteredNotifieeIs( false );
   watched.a->reactionIs( [&]( const VirtualRouterMac &r ) {
      if( !watched.status->vrrpVirtualMacs().isMemberOf( r ) ) { // a removal: make the map grow
         for( Quor::U16 n = 0; n < 30; ++n ) {
            watched.status->newVrrpVirtualMac(
                  record( ( text( r ) + "." + std::to_string( n ) ).c_str(), n ), true );
         }
      }
   } );
   Log visited;
   const auto &records = watched.status->vrrpVirtualMacs();
   for( auto at = records.begin(); at != records.end(); ++at ) {
      if( const Quor::String name = text( at->key() ); name.find( '.' ) == Quor::String::npos ) {
         visited.push_back( name );
         watched.status->vrrpVirtualMacDel( at );
      }
   }
   EXPECT_EQ( visited, before );
   EXPECT_EQ( records.size(), 180u );
}

TEST( NotifiedMap, TheHooksForTheWholeCollectionAreCalledByNobody ) {
   WatchedRecords watched;
   watched.a->isRegisteredNotifieeIs( false );
   watched.a->isRegisteredNotifieeIs( true );
   watched.status->vrrpVirtualMacIs( record( 1 ), true );
   watched.status->vrrpVirtualMacDelAll();
   EXPECT_EQ( watched.log, ( Log{ "B br1 true", "A br1 true", "B br1 absent", "A br1 absent" } ) );
}

} // namespace
} // namespace Routing::Fhrp
