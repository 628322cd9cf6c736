// The plug-in comes into a program that was built without it, and goes without a trace.
#include "quor/Describe.h"
#include "quor/Introspection.h"
#include "quor/Trace.h"
#include "tests/unit/agent/TemporaryFolder.h"
#include "tests/unit/plugin/Environment.h"
#include "tests/unit/plugin/Switch.h"

#include <gtest/gtest.h>

namespace PluginTests {
namespace {

/// The names of all types that the process knows.
std::vector<String> knownTypes() {
   std::vector<String> names;
   for( const auto &[name, type] : Quor::IntrospectionReactor::instance().types() ) {
      names.push_back( name );
   }
   return names;
}

bool isKnown( const String &type ) {
   return Quor::IntrospectionReactor::instance().find( type ) != nullptr;
}

TEST( PluginRecord, SaysWhatItIsAndHowItsObjectsAreMade ) {
   const LoadedPlugin plugin;
   const Orlo::Plugin &record = plugin.record();
   EXPECT_EQ( record.abi, Orlo::Plugin::kAbi );
   EXPECT_STREQ( record.version, ORLO_VERSION );
   EXPECT_EQ( record.virtualRouterMacTableFactory()->virtualRouterMacs().size(), 0u );
}

TEST( PluginRecord, OfAnotherTimeIsToldByItsFirstMember ) {
   const Library other( OTHER_ABI );
   const auto *const record = static_cast<const Orlo::Plugin *>( other.find( "orloVrrpPlugin" ) );
   ASSERT_NE( record, nullptr );
   EXPECT_EQ( record->abi, 999u );
}

TEST( PluginRecord, IsNotInAnotherSharedObject ) {
   const Library other( NO_RECORD );
   EXPECT_EQ( other.find( "orloVrrpPlugin" ), nullptr );
   EXPECT_NE( other.find( "orloVrrpNothing" ), nullptr );
}

TEST( Plugin, RegistersItsTypesWhenItIsLoadedAndTakesThemBackWhenItGoes ) {
   const std::vector<String> before = knownTypes();
   EXPECT_FALSE( isKnown( "Orlo::VrrpSm" ) );
   {
      const LoadedPlugin plugin;
      EXPECT_TRUE( isKnown( "Orlo::VrrpSm" ) );
      EXPECT_TRUE( isKnown( "OrloHelper::VrrpSmHelper" ) );
      EXPECT_TRUE( isKnown( "Orlo::VrrpPrivateVlanReflectorLib::LibSm" ) );
      EXPECT_EQ( knownTypes().size(), before.size() + 9 );
   }
   EXPECT_EQ( knownTypes(), before );
}

TEST( Plugin, LooksNothingUpInTheEnvironmentWhenItIsLoaded ) {
   lookedUp();
   std::getenv( "ORLO_NOOP_AGENT" );
   EXPECT_EQ( lookedUp(), std::vector<String>{ "ORLO_NOOP_AGENT" } ) << "what is seen here";
   const LoadedPlugin plugin;
   EXPECT_EQ( lookedUp(), std::vector<String>{} );
}

TEST( Plugin, LeavesTheProcessAfterWork20Times ) {
   const OrloAgent::TemporaryFolder folder;
   const OrloHelper::HelperSettings settings{ .indexes = 4,
                                              .settings = { { "device", folder.path( "chip" ) } } };
   const std::vector<String> before = knownTypes();
   for( int round = 0; round < 20; ++round ) {
      {
         const LoadedPlugin plugin;
         const LoadedModule module( CHIP_MODULE );
         Switch sw( plugin.record(), module.helper( settings ) );
         sw.publish( kMac51 );
         EXPECT_EQ( sw.programmer->virtualRouterIndexes().size(), 1u );
         EXPECT_TRUE( Library::isLoaded( PLUGIN ) );
         EXPECT_TRUE( Library::isLoaded( CHIP_MODULE ) );
      }
      ASSERT_FALSE( Library::isLoaded( CHIP_MODULE ) ) << "round " << round;
      ASSERT_FALSE( Library::isLoaded( PLUGIN ) ) << "round " << round;
      ASSERT_EQ( knownTypes(), before ) << "round " << round;
   }
}

TEST( Plugin, GoesAlsoAfterItHasTracedAndItsFacilitiesAreMadeAnewWhenItComesBack ) {
   Quor::traceLevelsIs( "OrloVrrp", Quor::kAllTraceLevels );
   for( int round = 0; round < 2; ++round ) {
      std::vector<String> facilities;
      Quor::traceSinkIs( [&]( const Quor::TraceRecord &record ) {
         facilities.push_back( record.facility.name() );
      } );
      {
         const LoadedPlugin plugin;
         const LoadedModule module( WATCHED_HELPER );
         Switch sw( plugin.record(), module.helper( { .indexes = 4 } ) );
      }
      EXPECT_FALSE( Library::isLoaded( PLUGIN ) );
      ASSERT_FALSE( facilities.empty() ) << "round " << round;
      EXPECT_EQ( facilities.front(), "OrloVrrp" );
      Quor::traceLevelsIs( "OrloVrrp", Quor::kAllTraceLevels ); // there is none to be switched
   }
   Quor::traceLevelsIs( "OrloVrrp", 0 );
   Quor::traceSinkIs( {} );
}

TEST( Plugin, HasItsObjectsReachedByNameFromOutside ) {
   const LoadedPlugin plugin;
   const auto table = plugin.record().virtualRouterMacTableFactory();
   const auto &types = Quor::IntrospectionReactor::instance();
   const Quor::Type *const pairType =
         types.find( "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac" )->type();
   const String pair = "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, "
                       "'mac': 00:00:5e:00:01:33})";
   const Quor::Type &type = *table->fwkType();
   const Quor::Attribute &row = *type.find( "virtualRouterMac" );
   const auto key = pairType->parse( pair, true );
   const auto yes = Quor::genericIf( true ); // of the type that this program knows as bool
   row.operate( table.get(), row, Quor::Op::set, key.get(), yes.get() );
   ASSERT_EQ( table->virtualRouterMacs().size(), 1u );
   const auto entry = table->virtualRouterMacs().begin();
   EXPECT_EQ( entry->key().mac(), kMac51 );
   EXPECT_TRUE( entry->value() );
}

} // namespace
} // namespace PluginTests
