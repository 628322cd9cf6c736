// Helpers from modules: what a module and a program that know nothing of each other make together.
#include "quor/Exception.h"
#include "tests/unit/agent/TemporaryFolder.h"
#include "tests/unit/plugin/Switch.h"

#include <gtest/gtest.h>

#include <sstream>

namespace PluginTests {
namespace {

/// The imaginary chip of the example, with its slots in a file of the test's.
class ChipModule : public testing::Test {
 protected:
   void holds( const String &slots ) const { std::ofstream( device ) << slots; }
   String held() const {
      std::ostringstream text;
      text << std::ifstream( device ).rdbuf();
      return text.str();
   }
   OrloHelper::HelperSettings settings() {
      return { .indexes = 4,
               .settings = { { "device", device } },
               .trouble = [this]( const std::string &line ) { trouble.push_back( line ); } };
   }

   const OrloAgent::TemporaryFolder folder;
   String device = folder.path( "chip" );
   std::vector<String> trouble;
   const LoadedPlugin plugin;
   const LoadedModule module{ CHIP_MODULE };
};

TEST_F( ChipModule, HoldsWhatIsPublished ) {
   Switch sw( plugin.record(), module.helper( settings() ) );
   sw.publish( kMac51 );
   sw.publish( kMac52 );
   EXPECT_EQ( held(), "0 10 00:00:5e:00:01:33\n1 10 00:00:5e:00:01:34\n" );
   sw.withdraw( kMac51 );
   EXPECT_EQ( held(), "1 10 00:00:5e:00:01:34\n" );
   EXPECT_EQ( trouble, std::vector<String>{} );
}

TEST_F( ChipModule, KeepsItsEntriesWhenTheAgentGoes ) {
   {
      Switch sw( plugin.record(), module.helper( settings() ) );
      sw.publish( kMac51 );
   }
   EXPECT_EQ( held(), "0 10 00:00:5e:00:01:33\n" );
}

TEST_F( ChipModule, GivesThemBackUnderTheIndexesWhereTheyStood ) {
   holds( "2 10 00:00:5e:00:01:34\n3 10 00:00:5e:00:01:33\n7 10 00:00:5e:00:01:35\n" );
   const auto table = plugin.record().virtualRouterMacTableFactory();
   table->virtualRouterMacIs( { Bridging::VlanId( 10 ), kMac51 }, true );
   const auto hardware = Quor::make<Routing::Fhrp::Hardware::Status>();
   hardware->virtualRouterCountIs( 4 );
   const auto helper = module.helper( settings() );
   const auto programmer = plugin.record().vrrpSmIs( table, hardware, helper );
   eventEnds( helper );
   EXPECT_EQ( programmer->virtualRouterIndex( { Bridging::VlanId( 10 ), kMac51 } ), 3u );
   EXPECT_EQ( held(), "3 10 00:00:5e:00:01:33\n" ) << "the other one is wanted no more";
}

TEST_F( ChipModule, TellsTheAdministratorWhatTheChipRefuses ) {
   device = folder.path( "no/such/chip" );
   Switch sw( plugin.record(), module.helper( settings() ) );
   sw.publish( kMac51 );
   sw.withdraw( kMac51 );
   EXPECT_EQ( trouble,
              ( std::vector<String>{
                    "cannot program VLAN 10  00:00:5e:00:01:33  index 0: the chip does not take "
                    "it; it is tried again",
                    "the hardware has taken everything now that it had refused" } ) );
}

TEST_F( ChipModule, WithoutADeviceMakesNoHelper ) {
   try {
      module.helper( { .indexes = 4 } );
      FAIL() << "it was made";
   } catch( const std::exception &error ) {
      EXPECT_STREQ( error.what(), "which chip? There is no \"device\" in its settings" );
   }
}

/// A module with watchers of the helper, compiled into it.
struct WatchedHelper : testing::Test {
   OrloHelper::HelperSettings settings( std::map<String, String> values = {} ) {
      return { .indexes = 4,
               .settings = std::move( values ),
               .trouble = [this]( const std::string &line ) { told.push_back( line ); } };
   }

   std::vector<String> told;
   const LoadedPlugin plugin;
   const LoadedModule module{ WATCHED_HELPER };
};

TEST_F( WatchedHelper, TellsTheWatchersOfItsModule ) {
   const auto helper = module.helper( settings() );
   helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( told, ( std::vector<String>{ "reader", "writer" } ) );
   Switch sw( plugin.record(), helper ); // clears the flag when it has started
   EXPECT_EQ( told, ( std::vector<String>{ "reader", "writer", "reader", "writer" } ) );
}

TEST_F( WatchedHelper, ThrowsThroughThePluginWhatTheProgramCatchesAsWhatItIs ) {
   const auto table = plugin.record().virtualRouterMacTableFactory();
   table->virtualRouterMacIs( { Bridging::VlanId( 10 ), kMac51 }, true );
   const auto hardware = Quor::make<Routing::Fhrp::Hardware::Status>();
   hardware->virtualRouterCountIs( 4 );
   try {
      plugin.record().vrrpSmIs( table, hardware, module.helper( settings( { { "full", "" } } ) ) );
      FAIL() << "it was added";
   } catch( const Quor::RangeException &error ) {
      EXPECT_STREQ( error.what(), "no room for 00:00:5e:00:01:33" );
   }
}

TEST_F( WatchedHelper, ThatIsNotMadeLeavesItsReasonToTheProgram ) {
   EXPECT_THROW( module.helper( settings( { { "none", "" } } ) ), Quor::RangeException );
}

} // namespace
} // namespace PluginTests
