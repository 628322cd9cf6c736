// What the hardware refuses is shown wherever its pair is shown, for as long as it is refused.
#include "agent/control/Explain.h"
#include "agent/control/View.h"
#include "tests/unit/agent/ControlledAgent.h"

namespace OrloAgent {
namespace {

using Bridging::VlanId;

class RefusalsTest : public ControlledAgent {
 protected:
   void startStubborn( Quor::U32 indexes = 4 ) {
      masters( { { kDevice51, 51 } } );
      start( stubborn( indexes ) );
      kernel_.read();
   }
   /// Of one pair of virtual router 51.
   Json pairRow( Quor::U16 vlan ) const {
      return whole(
                   View( *agent_ ).pairs( { .vlan = VlanId( vlan ), .mac = {}, .interface = {} } ) )
            .at( "pairs" )
            .at( 0 );
   }
   Json slotRow( Quor::U32 index ) const {
      const Json slots = whole( View( *agent_ ).slots() );
      for( const Json &row : slots.at( "slots" ) ) {
         if( row.at( "index" ) == index ) {
            return row;
         }
      }
      return {};
   }
   Json explained( Quor::U16 vlan ) const {
      return explain( *agent_, { VlanId( vlan ), vrrpMac( 51 ) } );
   }
   bool counts( const std::string &line ) const {
      return View( *agent_ ).metrics().find( "\n" + line + "\n" ) != std::string::npos;
   }
   std::size_t held() const { return agent_->programming().view()->readAll().size(); }
};

TEST_F( RefusalsTest, OfPairsThatTheHardwareDoesNotTake ) {
   hardwareIs( "full" );
   startStubborn();
   later( 10 );
   agent_->work();
   expectJson( pairRow( 11 ), R"(
      {
         "index": 2, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
         "programmed": false,
         "refusal": {
            "next": "2001-09-09T01:46:50Z", "reason": "the device is full", "removal": false,
            "since": "2001-09-09T01:46:40Z", "tries": 2 },
         "since": "2001-09-09T01:46:40Z", "vlan": 11, "wanted": true })" );
   expectJson( slotRow( 2 ), R"(
      {
         "hardware": false, "index": 2, "mac": "00:00:5e:00:01:33",
         "refusal": {
            "next": "2001-09-09T01:46:50Z", "reason": "the device is full", "removal": false,
            "since": "2001-09-09T01:46:40Z", "tries": 2 },
         "vlan": 11 })" );
   expectJson( slotRow( 3 ), R"( { "free": 1, "index": 3, "refusal": null })" );
   const Json summary = View( *agent_ ).summary();
   EXPECT_EQ( summary["refused"], 3 );
   EXPECT_EQ( summary["refusals"], 6 );
   expectJson( summary["refusal"], R"(
      {
         "index": 0, "mac": "00:00:5e:00:01:33", "next": "2001-09-09T01:46:50Z",
         "reason": "the device is full", "removal": false, "since": "2001-09-09T01:46:40Z",
         "tries": 2, "vlan": 10 })" );
   EXPECT_TRUE( counts( "orlo_refused 3" ) );
   EXPECT_TRUE( counts( "orlo_program_failures_total 6" ) );
   EXPECT_TRUE( counts( "orlo_hardware_writes_total 6" ) );
   const Json told = explained( 11 );
   EXPECT_EQ( told["verdict"], "refused" );
   EXPECT_EQ( told["steps"].back(),
              Json( { { "step", "hardware" },
                      { "ok", false },
                      { "text", "slot 2 does not hold it: the device is full; asked 2 times since "
                                "2001-09-09T01:46:40Z, next at 2001-09-09T01:46:50Z" } } ) );
   EXPECT_EQ( told["change"], "take away the reason: the agent asks again by itself, and at once "
                              "for orloctl audit --repair" );
}

TEST_F( RefusalsTest, AreOverWhenTheHardwareTakesThem ) {
   hardwareIs( "full" );
   startStubborn();
   hardwareIs( "full", false );
   later( 1 );
   agent_->work();
   EXPECT_EQ( pairRow( 11 )["refusal"], Json() );
   EXPECT_EQ( pairRow( 11 )["programmed"], true );
   EXPECT_EQ( slotRow( 2 )["refusal"], Json() );
   EXPECT_EQ( View( *agent_ ).summary()["refused"], 0 );
   EXPECT_EQ( View( *agent_ ).summary()["refusal"], Json() );
   EXPECT_EQ( View( *agent_ ).summary()["refusals"], 3 ) << "they are counted for ever";
   EXPECT_TRUE( counts( "orlo_refused 0" ) );
   EXPECT_EQ( explained( 11 )["verdict"], "programmed" );
}

TEST_F( RefusalsTest, OfPairsThatTheHardwareKeeps ) {
   startStubborn();
   hardwareIs( "keeps" );
   later( 10 );
   becomeBackup( kDevice51 );
   kernel_.quiet();
   expectJson( pairRow( 11 ), R"(
      {
         "index": 2, "interfaces": [], "mac": "00:00:5e:00:01:33", "place": null,
         "programmed": true,
         "refusal": {
            "next": "2001-09-09T01:46:50Z", "reason": "the device keeps it", "removal": true,
            "since": "2001-09-09T01:46:50Z", "tries": 1 },
         "since": null, "vlan": 11, "wanted": false })" );
   expectJson( slotRow( 2 )["holds"], R"( { "mac": "00:00:5e:00:01:33", "vlan": 11 })" );
   EXPECT_EQ( slotRow( 2 )["refusal"]["reason"], "the device keeps it" );
   EXPECT_EQ( View( *agent_ ).summary()["refused"], 3 );
   const Json told = explained( 11 );
   EXPECT_EQ( told["steps"].back()["text"],
              "slot 2 keeps it: the device keeps it; asked 1 time since 2001-09-09T01:46:50Z, next "
              "at 2001-09-09T01:46:50Z" );
}

TEST_F( RefusalsTest, OfIndexesThatGoAwayAreSaidAndNotForgotten ) {
   startStubborn();
   hardwareIs( "keeps" );
   said();
   err_.str( "" );
   agent_->reload( stubborn( 2 ) );
   const std::string expected =
         "orlo-agent: the hardware keeps 1 pair under indexes that it is not to have any more, the "
         "first is VLAN 11  00:00:5e:00:01:33  index 2: the device keeps it; what it still shows "
         "of "
         "them is removed as soon as it lets go\n";
   EXPECT_NE( err_.str().find( expected ), std::string::npos ) << err_.str();
   EXPECT_EQ( said().find( "removed" ), std::string::npos ) << "it has not been removed";
   EXPECT_EQ( held(), 3u );
   hardwareIs( "keeps", false );
   later( 1 );
   agent_->work();
   EXPECT_EQ( held(), 2u ) << "the new helper has gone on asking";
}

} // namespace
} // namespace OrloAgent
