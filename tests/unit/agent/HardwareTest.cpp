// The hardware without an agent: what is left in it is compared, or taken out.
#include "agent/Hardware.h"
#include "tests/unit/agent/AgentOnFakeKernel.h"

namespace OrloAgent {
namespace {

using Bridging::VlanId;
using Use = Hardware::Use;
using std::chrono::milliseconds;

/// Virtual router 51 was master on VLANs 10, 11 and 12 when the agent ended.
class HardwareTest : public AgentOnFakeKernel {
 protected:
   void leave( const Configuration &configuration ) {
      masters( { { kDevice51, 51 } } );
      start( configuration );
      kernel_.read();
      agent_.reset();
   }
   Hardware hardware( const Configuration &configuration, Use use ) {
      return Hardware( configuration, use, [this]( const std::string &what ) {
         err_ << what << '\n';
         onTrouble();
      } );
   }
   Hardware::Flushed flush( const Configuration &configuration, milliseconds limit = {} ) {
      return hardware( configuration, Use::change ).flush( limit );
   }
   std::vector<std::optional<Pair>> slots() const {
      return SlotFile::read( folder_.path( "slots" ) );
   }
   /// What the kernel shows of these virtual routers, masters on br10.
   static std::vector<Verdict> publishedOnBr10( std::initializer_list<Quor::U8> vrids ) {
      std::vector<Verdict> all;
      for( const Quor::U8 vrid : vrids ) {
         all.push_back( { "vrrp", { Pelmo::IntfId( "br10" ), vrrpMac( vrid ) }, true, "" } );
      }
      return all;
   }

   std::function<void()> onTrouble = [] {};
};

TEST_F( HardwareTest, AFlushTakesOutEverything ) {
   leave( configuration( 8 ) );
   const Hardware::Flushed flushed = flush( configuration( 8 ) );
   EXPECT_EQ( flushed.removed, 3u );
   EXPECT_EQ( flushed.left, 0u );
   EXPECT_EQ( slots(), std::vector<std::optional<Pair>>( 8 ) );
   EXPECT_EQ( flush( configuration( 8 ) ).removed, 0u ) << "there is nothing left";
}

TEST_F( HardwareTest, AFlushTakesOutWhatHasNoGoodIndexAsWell ) {
   leave( configuration( 8 ) );
   SlotFile( folder_.path( "slots" ), 8, []( const std::string & ) {
   } ).slotIs( 6, { VlanId( 10 ), vrrpMac( 51 ) } ); // a second time
   EXPECT_EQ( flush( configuration( 8 ) ).removed, 4u );
   EXPECT_EQ( slots(), std::vector<std::optional<Pair>>( 8 ) );
}

TEST_F( HardwareTest, AFlushIsRefusedWhileAnAgentRuns ) {
   startAndRead();
   try {
      flush( configuration( 8 ) );
      ADD_FAILURE() << "two have the hardware";
   } catch( const LibraryError &error ) {
      EXPECT_NE( std::string( error.what() ).find( "another orlo-agent uses it" ),
                 std::string::npos )
            << error.what();
   }
}

TEST_F( HardwareTest, AFlushThatIsRefusedSaysHowManyAndWhy ) {
   leave( stubborn( 8 ) );
   hardwareIs( "keeps" );
   const Hardware::Flushed flushed = flush( stubborn( 8 ) );
   EXPECT_EQ( flushed.removed, 0u );
   EXPECT_EQ( flushed.left, 3u );
   EXPECT_EQ( flushed.reasons,
              ( std::map<std::string, std::size_t>{ { "the device keeps it", 3 } } ) );
   hardwareIs( "keeps", false );
   EXPECT_EQ( flush( stubborn( 8 ) ).removed, 3u );
}

TEST_F( HardwareTest, AFlushAsksAgain ) {
   leave( stubborn( 8 ) );
   hardwareIs( "keeps" );
   onTrouble = [this] { hardwareIs( "keeps", false ); }; // at the first refusal
   const Hardware::Flushed flushed = flush( stubborn( 8 ), std::chrono::minutes( 1 ) );
   EXPECT_EQ( flushed.removed, 3u );
   EXPECT_EQ( flushed.left, 0u );
   EXPECT_EQ( err_.str().find( "cannot remove" ), 0u ) << err_.str();
}

TEST_F( HardwareTest, AnAuditOfWhatAnAgentHasLeft ) {
   leave( configuration( 4 ) );
   const Hardware seen = hardware( configuration( 4 ), Use::look );
   EXPECT_TRUE( seen.audit( publishedOnBr10( { 51 } ) ).differences().empty() );
   const Audit more = seen.audit( publishedOnBr10( { 51, 52 } ) );
   ASSERT_EQ( more.differences().size(), 1u ) << "one index is free, for three pairs";
   EXPECT_EQ( more.differences()[0].kind, Audit::Kind::missing );
   EXPECT_EQ( more.differences()[0].pair.mac(), vrrpMac( 52 ) );
   const Audit none = seen.audit( {} );
   ASSERT_EQ( none.differences().size(), 3u );
   EXPECT_EQ( none.differences()[0],
              ( Audit::Difference{ Audit::Kind::extra, { VlanId( 10 ), vrrpMac( 51 ) }, {}, 0 } ) );
}

TEST_F( HardwareTest, TheAuditHasTheOrderInWhichAProgrammerStarts ) {
   const Audit audit =
         hardware( configuration( 2 ), Use::look ).audit( publishedOnBr10( { 51, 52 } ) );
   leave( configuration( 2 ) );
   masters( { { kDevice52, 52 } } );
   std::filesystem::remove( folder_.path( "slots" ) );
   startAndRead( 2 );
   ASSERT_EQ( audit.differences().size(), 2u );
   for( const Audit::Difference &missing : audit.differences() ) {
      EXPECT_TRUE(
            agent_->programming().vrrpSm()->virtualRouterIndexes().isMemberOf( missing.pair ) );
   }
}

TEST_F( HardwareTest, WhatIsNotPublishedAndWhatStandsElsewhereIsNotWanted ) {
   std::vector<Verdict> verdicts = publishedOnBr10( { 51, 52 } );
   verdicts[0].published = false;
   verdicts[1].record = { Pelmo::IntfId( "br99" ), vrrpMac( 52 ) };
   const Audit audit = hardware( configuration( 4 ), Use::look ).audit( verdicts );
   EXPECT_EQ( audit.wanted(), 0u );
}

TEST_F( HardwareTest, ALookMakesNoTableAndSetsNoneAside ) {
   const Audit audit = hardware( configuration( 4 ), Use::look ).audit( publishedOnBr10( { 51 } ) );
   EXPECT_EQ( audit.held(), 0u );
   EXPECT_EQ( audit.differences().size(), 3u );
   EXPECT_FALSE( std::filesystem::exists( folder_.path( "slots" ) ) );
   std::ofstream( folder_.path( "slots" ) ) << "this is something else";
   try {
      hardware( configuration( 4 ), Use::look ).audit( {} );
      ADD_FAILURE() << "that is no table";
   } catch( const std::runtime_error &error ) {
      EXPECT_EQ( error.what(), "cannot read the slot table " + folder_.path( "slots" ) +
                                     ": it is no slot table" );
   }
   EXPECT_FALSE( std::filesystem::exists( folder_.path( "slots.aside-1" ) ) );
}

TEST_F( HardwareTest, ALookIsAllowedWhileAnAgentRuns ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   EXPECT_EQ( hardware( configuration( 8 ), Use::look ).audit( {} ).held(), 3u );
}

TEST_F( HardwareTest, ThatCannotBeReadBack ) {
   Configuration blind = configuration( 4 );
   blind.hardware = { "module", 4, BLIND_HELPER, {} };
   EXPECT_THROW( hardware( blind, Use::look ).audit( {} ), std::runtime_error );
   EXPECT_EQ( flush( blind ).removed, 0u ) << "it says of nothing that it holds it";
}

} // namespace
} // namespace OrloAgent
