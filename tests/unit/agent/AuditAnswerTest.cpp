// orloctl audit, as the running agent answers: what differs, why, and what a repair writes.
#include "tests/unit/agent/ControlledAgent.h"

#include <filesystem>

namespace OrloAgent {
namespace {

using Bridging::VlanId;

constexpr const char *kRepair = R"({"repair":true})";

class AuditAnswerTest : public ControlledAgent {
 protected:
   /// VLAN 10 has index 0, VLAN 12 index 1, VLAN 11 index 2.
   void startWithMaster( Quor::U32 indexes = 8 ) {
      masters( { { kDevice51, 51 } } );
      startAndRead( indexes );
   }
   static Pair pair( Quor::U16 vlan, Quor::U8 vrid = 51 ) {
      return { VlanId( vlan ), vrrpMac( vrid ) };
   }
   static Json error( const char *kind, const std::string &message ) {
      return { { "error", kind }, { "message", message } };
   }
};

TEST_F( AuditAnswerTest, NoDifferenceWithSomeWaiting ) {
   startWithMaster( 2 );
   expectJson( ask( "audit" ), R"(
      {
         "agent": true, "assigned": 2, "differences": [], "held": 2, "indexes": 2, "left": 0,
         "repaired": null, "total": 0, "waiting": 1, "wanted": 3, "writes": null })" );
   const Quor::U64 before = writes();
   expectJson( ask( "audit", kRepair ), R"(
      {
         "agent": true, "assigned": 2, "differences": [], "held": 2, "indexes": 2, "left": 0,
         "repaired": 0, "total": 0, "waiting": 1, "wanted": 3, "writes": 0 })" );
   EXPECT_EQ( writes(), before );
}

TEST_F( AuditAnswerTest, ARepairPutsBackATableThatWasCutShort ) {
   startWithMaster();
   std::filesystem::resize_file( folder_.path( "slots" ), 80 );
   EXPECT_EQ( ask( "audit" ), error( "failed", "somebody has cut the slot table " +
                                                     folder_.path( "slots" ) + " short" ) );
   const Json repaired = ask( "audit", kRepair );
   EXPECT_EQ( repaired["held"], 3 );
   EXPECT_EQ( repaired["left"], 0 );
}

TEST_F( AuditAnswerTest, WhatSomebodyDidToTheHardwareIsListedAndPutRight ) {
   masters( { { kDevice52, 52 } } );
   startWithMaster();
   const auto before = ask( "show slots" );
   slots().slotDel(
         agent_->programming().vrrpSm()->virtualRouterIndexes().find( pair( 10 ) )->value() );
   slots().slotIs( 7, pair( 99, 99 ) );
   expectJson( ask( "audit" ), R"(
      {
         "agent": true, "assigned": 6,
         "differences": [
            {
               "assigned": 0, "held": null, "mac": "00:00:5e:00:01:33", "repaired": false,
               "vlan": 10, "what": "missing", "why": "the hardware has lost it" },
            {
               "assigned": null, "held": 7, "mac": "00:00:5e:00:01:63", "repaired": false,
               "vlan": 99, "what": "extra",
               "why": "the programmer has not given it an index" } ],
         "held": 6, "indexes": 8, "left": 2, "repaired": null, "total": 2, "waiting": 0,
         "wanted": 6, "writes": null })" );
   const Quor::U64 written = writes();
   const Json repaired = ask( "audit", kRepair );
   EXPECT_EQ( repaired["repaired"], 2 );
   EXPECT_EQ( repaired["writes"], 2 );
   EXPECT_EQ( repaired["left"], 0 );
   EXPECT_EQ( repaired["differences"][0]["repaired"], true );
   EXPECT_EQ( repaired["differences"][1]["repaired"], true );
   EXPECT_EQ( writes() - written, 2u ) << "nothing else is written";
   EXPECT_EQ( ask( "show slots" ), before );
   EXPECT_EQ( ask( "audit" )["total"], 0 );
}

TEST_F( AuditAnswerTest, PairsThatHaveChangedPlacesGoBack ) {
   startWithMaster();
   slots().slotIs( 0, pair( 11 ) );
   slots().slotIs( 2, pair( 10 ) );
   const Json found = ask( "audit" );
   ASSERT_EQ( found["total"], 2 );
   EXPECT_EQ( found["differences"][0]["what"], "wrong index" );
   EXPECT_EQ( found["differences"][0]["assigned"], 0 );
   EXPECT_EQ( found["differences"][0]["held"], 2 );
   EXPECT_EQ( found["differences"][0]["why"], "the index is not the pair's own" );
   const Quor::U64 written = writes();
   EXPECT_EQ( ask( "audit", kRepair )["left"], 0 );
   EXPECT_EQ( writes() - written, 4u ) << "both slots are freed before they are written";
   EXPECT_EQ( slots().slot( 0 ), pair( 10 ) );
   EXPECT_EQ( slots().slot( 2 ), pair( 11 ) );
}

TEST_F( AuditAnswerTest, WhatTheProgrammerHasNotDoneIsListedAndLeft ) {
   startWithMaster();
   agent_->programming().vrrpSm()->hasNotificationActiveIs( false );
   agent_->programming().table()->virtualRouterMacDel( pair( 11 ) );
   agent_->programming().table()->virtualRouterMacIs( pair( 77 ), true );
   const Json repaired = ask( "audit", kRepair );
   expectJson( repaired["differences"], R"(
      [
         {
            "assigned": 2, "held": null, "mac": "00:00:5e:00:01:33", "repaired": false,
            "vlan": 11, "what": "unwanted",
            "why": "not in the table of what is wanted: restart the agent" },
         {
            "assigned": null, "held": null, "mac": "00:00:5e:00:01:33", "repaired": false,
            "vlan": 77, "what": "forgotten",
            "why": "wanted, has no index and does not wait: restart the agent" } ])" );
   EXPECT_EQ( repaired["repaired"], 0 );
   EXPECT_EQ( repaired["writes"], 0 );
   EXPECT_EQ( repaired["left"], 2 );
}

TEST_F( AuditAnswerTest, WhatTheHardwareRefusesIsLeftWithItsReason ) {
   hardwareIs( "full" );
   masters( { { kDevice51, 51 } } );
   start( stubborn( 1 ) );
   kernel_.read();
   const char *const left = R"(
      [
         {
            "assigned": 0, "held": null, "mac": "00:00:5e:00:01:33", "repaired": false, "vlan": 10,
            "what": "missing",
            "why": "the device is full; asked 1 time since 2001-09-09T01:46:40Z, next at 2001-09-09T01:46:40Z" } ])";
   expectJson( ask( "audit" )["differences"], left );
   const Json tried = ask( "audit", kRepair );
   expectJson( tried["differences"], left );
   EXPECT_EQ( tried["repaired"], 0 );
   EXPECT_EQ( tried["writes"], 1 );
   hardwareIs( "full", false );
   expectJson( ask( "audit", kRepair ), R"(
      {
         "agent": true, "assigned": 1,
         "differences": [
            {
               "assigned": 0, "held": null, "mac": "00:00:5e:00:01:33", "repaired": true,
               "vlan": 10, "what": "missing", "why": "the hardware has lost it" } ],
         "held": 1, "indexes": 1, "left": 0, "repaired": 1, "total": 1, "waiting": 2, "wanted": 3,
         "writes": 1 })" );
   EXPECT_NE( said().find( "programmed  VLAN 10  00:00:5e:00:01:33  index 0" ), std::string::npos )
         << "it is reported at last";
}

TEST_F( AuditAnswerTest, OfHardwareThatCannotBeReadNow ) {
   masters( { { kDevice51, 51 } } );
   start( stubborn( 4 ) );
   kernel_.read();
   hardwareIs( "broken" );
   EXPECT_EQ( ask( "audit" ), error( "failed", "the device does not answer" ) );
   EXPECT_EQ( ask( "audit", kRepair ), error( "failed", "the device does not answer" ) );
   hardwareIs( "broken", false );
   EXPECT_EQ( ask( "audit" )["total"], 0 ) << "it goes on as before";
}

TEST_F( AuditAnswerTest, OfAHelperThatCannot ) {
   masters( { { kDevice51, 51 } } );
   start( blind( 4 ) );
   kernel_.read();
   EXPECT_EQ(
         ask( "audit" ),
         error( "failed", "there is no audit of this hardware: its helper cannot read it back" ) );
   control_.reset();
   Configuration showing = blind( 4 );
   showing.hardware.settings["shows"] = "";
   start( showing );
   kernel_.read();
   EXPECT_EQ( ask( "audit" )["left"], 3 );
   EXPECT_EQ( ask( "audit", kRepair ),
              error( "failed",
                     "the helper of this hardware has no repair: restart the agent, which "
                     "adopts what is right and programs the rest" ) );
}

TEST_F( AuditAnswerTest, BeforeTheAgentIsReady ) {
   start();
   EXPECT_EQ( ask( "audit" ), error( "failed", "the agent is not ready: it does not know the "
                                               "kernel's state yet" ) );
}

TEST_F( AuditAnswerTest, EverybodyMayLookAndNotEverybodyMayRepair ) {
   startWithMaster();
   peer_.mayChange = false;
   EXPECT_EQ( ask( "audit" )["left"], 0 );
   EXPECT_EQ( ask( "audit", R"({"repair":false})" )["left"], 0 );
   slots().slotDel( 0 );
   EXPECT_EQ( ask( "audit", kRepair ),
              error( "refused", "a repair needs root, or the group in \"control\" of the agent's "
                                "configuration" ) );
   EXPECT_EQ( ask( "audit" )["left"], 1 ) << "nothing has been repaired";
   EXPECT_EQ( ask( "audit", R"({"repair":"yes"})" ),
              error( "usage", "repair must be true or false" ) );
}

} // namespace
} // namespace OrloAgent
