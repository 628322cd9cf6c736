// Why a pair is, or is not, programmed: the whole chain, for every verdict.
#include "agent/control/Explain.h"
#include "tests/unit/agent/ControlledAgent.h"

namespace OrloAgent {
namespace {

using Bridging::VlanId;
using Pelmo::IntfId;

class ExplainTest : public ControlledAgent {
 protected:
   Json explained( Quor::U16 vlan, const Pelmo::EthAddr &mac ) const {
      return explain( *agent_, { VlanId( vlan ), mac } );
   }
   Json explained( Quor::U16 vlan, Quor::U8 vrid ) const {
      return explained( vlan, vrrpMac( vrid ) );
   }
   std::string verdict( Quor::U16 vlan, Quor::U8 vrid ) const {
      return explained( vlan, vrid )["verdict"];
   }
   std::string change( Quor::U16 vlan, Quor::U8 vrid ) const {
      return explained( vlan, vrid )["change"];
   }
};

TEST_F( ExplainTest, AProgrammedPair ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   expectJson( explained( 11, 51 ), R"(
      {
         "change": "", "mac": "00:00:5e:00:01:33",
         "steps": [
            { "ok": true, "step": "interface", "text": "VLAN 11 is in the VLAN set of br10" },
            {
               "ok": true, "step": "kernel",
               "text": "vrrp.51 on br10 is published: has 10.0.0.1" },
            {
               "ok": true, "step": "status",
               "text": "br10/00:00:5e:00:01:33 is in the table of virtual router MACs" },
            { "ok": true, "step": "wanted", "text": "the reflector wants it programmed" },
            {
               "ok": true, "step": "programmer",
               "text": "has given it index 2 since 2001-09-09T01:46:40Z" },
            { "ok": true, "step": "hardware", "text": "slot 2 holds it, as read back" } ],
         "verdict": "programmed", "vlan": 11 })" );
}

TEST_F( ExplainTest, TheFirstInTheLineAndTheThird ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 3 );
   now_ += std::chrono::seconds( 10 );
   masters( { { kDevice52, 52 } } );
   kernel_.quiet();
   expectJson( explained( 12, 52 ), R"(
      {
         "change": "the next pair that is withdrawn gives it its index; or raise \"indexes\" in the configuration and reload, if the hardware has more",
         "mac": "00:00:5e:00:01:34",
         "steps": [
            { "ok": true, "step": "interface", "text": "VLAN 12 is in the VLAN set of br10" },
            {
               "ok": true, "step": "kernel",
               "text": "vrrp.52 on br10 is published: has 10.0.0.1" },
            {
               "ok": true, "step": "status",
               "text": "br10/00:00:5e:00:01:34 is in the table of virtual router MACs" },
            { "ok": true, "step": "wanted", "text": "the reflector wants it programmed" },
            {
               "ok": false, "step": "programmer",
               "text": "it waits at place 1 of 3 since 2001-09-09T01:46:50Z: 3 indexes are all that there are; a restart of the agent makes the line anew" },
            { "ok": false, "step": "hardware", "text": "no slot holds it, as read back" } ],
         "verdict": "waiting", "vlan": 12 })" );
   expectJson( explained( 11, 52 ), R"(
      {
         "change": "3 pairs have to be withdrawn that have an index or stand before it in the line; or raise \"indexes\" in the configuration and reload, if the hardware has more",
         "mac": "00:00:5e:00:01:34",
         "steps": [
            { "ok": true, "step": "interface", "text": "VLAN 11 is in the VLAN set of br10" },
            {
               "ok": true, "step": "kernel",
               "text": "vrrp.52 on br10 is published: has 10.0.0.1" },
            {
               "ok": true, "step": "status",
               "text": "br10/00:00:5e:00:01:34 is in the table of virtual router MACs" },
            { "ok": true, "step": "wanted", "text": "the reflector wants it programmed" },
            {
               "ok": false, "step": "programmer",
               "text": "it waits at place 3 of 3 since 2001-09-09T01:46:50Z: 3 indexes are all that there are; a restart of the agent makes the line anew" },
            { "ok": false, "step": "hardware", "text": "no slot holds it, as read back" } ],
         "verdict": "waiting", "vlan": 11 })" );
}

TEST_F( ExplainTest, WaitingForHardwareWithoutSlots ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 0 );
   EXPECT_EQ( verdict( 10, 51 ), "waiting" );
   EXPECT_EQ( change( 10, 51 ),
              "raise \"indexes\" in the configuration and reload, if the hardware has more" );
}

TEST_F( ExplainTest, APairWhoseSlotSomebodyFreed ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   slots().slotDel( 2 );
   expectJson( explained( 11, 51 ), R"(
      {
         "change": "orloctl audit --repair programs it again",
         "mac": "00:00:5e:00:01:33",
         "steps": [
            { "ok": true, "step": "interface", "text": "VLAN 11 is in the VLAN set of br10" },
            {
               "ok": true, "step": "kernel",
               "text": "vrrp.51 on br10 is published: has 10.0.0.1" },
            {
               "ok": true, "step": "status",
               "text": "br10/00:00:5e:00:01:33 is in the table of virtual router MACs" },
            { "ok": true, "step": "wanted", "text": "the reflector wants it programmed" },
            {
               "ok": true, "step": "programmer",
               "text": "has given it index 2 since 2001-09-09T01:46:40Z" },
            { "ok": false, "step": "hardware", "text": "slot 2 is empty, as read back" } ],
         "verdict": "differs", "vlan": 11 })" );
}

TEST_F( ExplainTest, APairWhoseSlotSomebodyGaveToAnother ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   slots().slotIs( 2, { VlanId( 99 ), vrrpMac( 99 ) } );
   const Json told = explained( 11, 51 );
   EXPECT_EQ( told["verdict"], "differs" );
   EXPECT_EQ( told["steps"].back(),
              Json( { { "step", "hardware" },
                      { "ok", false },
                      { "text", "slot 2 holds VLAN 99  00:00:5e:00:01:63, as read back" } } ) );
}

TEST_F( ExplainTest, ARestartProgramsWhatWasTakenAway ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   slots().slotIs( 2, { VlanId( 99 ), vrrpMac( 99 ) } );
   agent_.reset();
   startAndRead();
   EXPECT_EQ( verdict( 11, 51 ), "programmed" );
   EXPECT_EQ( verdict( 99, 99 ), "unknown" ) << "it is gone";
}

TEST_F( ExplainTest, ADeviceThatIsNoMaster ) {
   deviceIs( kDevice51, 51 );
   startAndRead();
   expectJson( explained( 11, 51 ), R"(
      {
         "change": "the VRRP daemon has to become master on vrrp.51: the device is then up, and has the virtual address",
         "mac": "00:00:5e:00:01:33",
         "steps": [
            { "ok": true, "step": "interface", "text": "VLAN 11 is in the VLAN set of br10" },
            {
               "ok": false, "step": "kernel",
               "text": "vrrp.51 on br10 is not published: has no address" },
            {
               "ok": false, "step": "status",
               "text": "no interface that serves VLAN 11 has it in the table of virtual router MACs" },
            { "ok": false, "step": "wanted", "text": "the reflector does not want it" },
            {
               "ok": false, "step": "programmer",
               "text": "has no index for it, and it does not wait for one" },
            { "ok": false, "step": "hardware", "text": "no slot holds it, as read back" } ],
         "verdict": "unpublished", "vlan": 11 })" );
}

TEST_F( ExplainTest, TheReasonsOfADeviceAreItsOwn ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   const auto why = [&] {
      kernel_.quiet();
      const Json told = explained( 11, 51 );
      return told["verdict"].get<std::string>() + ": " +
             told["steps"][1]["text"].get<std::string>();
   };
   kernel_.linkIs( kDevice51, []( Link &link ) { link.up = false; } );
   EXPECT_EQ( why(), "unpublished: vrrp.51 on br10 is not published: is down" );
   kernel_.linkIs( kDevice51, []( Link &link ) { link.up = link.protoDown = true; } );
   EXPECT_EQ( why(), "unpublished: vrrp.51 on br10 is not published: is held down by its protocol "
                     "daemon" );
   kernel_.linkIs( kDevice51, []( Link &link ) { link.protoDown = link.lowerUp = false; } );
   EXPECT_EQ( why(), "unpublished: vrrp.51 on br10 is not published: has no carrier" );
   kernel_.linkIs( kSvi, []( Link &link ) { link.up = false; } );
   EXPECT_EQ( why(), "unpublished: vrrp.51 on br10 is not published: br10 is down" );
   kernel_.linkIs( kDevice51, []( Link &link ) { link.lower = 99; } );
   EXPECT_EQ( why(), "unknown: vrrp.51 is not published: stands on no interface of this network "
                     "namespace" );
}

TEST_F( ExplainTest, TwoDevicesOfWhichEitherWouldDo ) {
   deviceIs( kDevice51, 51 );
   kernel_.linkIs( macvlan( 9, "other.51", kSvi, vrrpMac( 51 ) ) );
   startAndRead();
   EXPECT_EQ( change( 11, 51 ), "the VRRP daemon has to become master on vrrp.51 or other.51: the "
                                "device is then up, and has the virtual address" );
   becomeMaster( 9 );
   kernel_.quiet();
   EXPECT_EQ( verdict( 11, 51 ), "programmed" );
}

TEST_F( ExplainTest, AVlanThatNobodyServes ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   expectJson( explained( 99, 51 ), R"(
      {
         "change": "put VLAN 99 into \"vlan\" or \"secondaryVlans\" of an interface in the configuration, and reload",
         "mac": "00:00:5e:00:01:33",
         "steps": [
            {
               "ok": false, "step": "interface",
               "text": "no configured interface serves VLAN 99" },
            {
               "ok": false, "step": "kernel",
               "text": "vrrp.51 on br10 is published: has 10.0.0.1" },
            {
               "ok": false, "step": "kernel",
               "text": "no device with this MAC stands on an interface that serves VLAN 99" },
            {
               "ok": false, "step": "status",
               "text": "no interface that serves VLAN 99 has it in the table of virtual router MACs" },
            { "ok": false, "step": "wanted", "text": "the reflector does not want it" },
            {
               "ok": false, "step": "programmer",
               "text": "has no index for it, and it does not wait for one" },
            { "ok": false, "step": "hardware", "text": "no slot holds it, as read back" } ],
         "verdict": "unknown", "vlan": 99 })" );
}

TEST_F( ExplainTest, AMacWithoutADevice ) {
   startAndRead();
   expectJson( explained( 20, 51 ), R"(
      {
         "change": "a VRRP daemon has to make a macvlan with this MAC on br20",
         "mac": "00:00:5e:00:01:33",
         "steps": [
            { "ok": true, "step": "interface", "text": "VLAN 20 is in the VLAN set of br20" },
            {
               "ok": false, "step": "kernel",
               "text": "no device with this MAC stands on an interface that serves VLAN 20" },
            {
               "ok": false, "step": "status",
               "text": "no interface that serves VLAN 20 has it in the table of virtual router MACs" },
            { "ok": false, "step": "wanted", "text": "the reflector does not want it" },
            {
               "ok": false, "step": "programmer",
               "text": "has no index for it, and it does not wait for one" },
            { "ok": false, "step": "hardware", "text": "no slot holds it, as read back" } ],
         "verdict": "unknown", "vlan": 20 })" );
}

TEST_F( ExplainTest, AMacWhoseDeviceStandsElsewhere ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   expectJson( explained( 20, 51 ), R"(
      {
         "change": "a VRRP daemon has to make a macvlan with this MAC on br20",
         "mac": "00:00:5e:00:01:33",
         "steps": [
            { "ok": true, "step": "interface", "text": "VLAN 20 is in the VLAN set of br20" },
            {
               "ok": false, "step": "kernel",
               "text": "vrrp.51 on br10 is published: has 10.0.0.1" },
            {
               "ok": false, "step": "kernel",
               "text": "no device with this MAC stands on an interface that serves VLAN 20" },
            {
               "ok": false, "step": "status",
               "text": "no interface that serves VLAN 20 has it in the table of virtual router MACs" },
            { "ok": false, "step": "wanted", "text": "the reflector does not want it" },
            {
               "ok": false, "step": "programmer",
               "text": "has no index for it, and it does not wait for one" },
            { "ok": false, "step": "hardware", "text": "no slot holds it, as read back" } ],
         "verdict": "unknown", "vlan": 20 })" );
}

TEST_F( ExplainTest, AMacThatIsNoneOfVrrp ) {
   startAndRead();
   expectJson( explained( 11, mac( "02:00:00:00:00:01" ) ), R"(
      {
         "change": "ask for the MAC of a virtual router: only those are programmed",
         "mac": "02:00:00:00:00:01",
         "steps": [
            { "ok": true, "step": "interface", "text": "VLAN 11 is in the VLAN set of br10" },
            {
               "ok": false, "step": "kernel",
               "text": "02:00:00:00:00:01 is no MAC of VRRP: those are 00:00:5e:00:01:VRID and 00:00:5e:00:02:VRID" },
            {
               "ok": false, "step": "status",
               "text": "no interface that serves VLAN 11 has it in the table of virtual router MACs" },
            { "ok": false, "step": "wanted", "text": "the reflector does not want it" },
            {
               "ok": false, "step": "programmer",
               "text": "has no index for it, and it does not wait for one" },
            { "ok": false, "step": "hardware", "text": "no slot holds it, as read back" } ],
         "verdict": "unknown", "vlan": 11 })" );
}

TEST_F( ExplainTest, WhatNobodyWantsInASlot ) {
   startAndRead();
   slots().slotIs( 5, { VlanId( 11 ), vrrpMac( 51 ) } );
   expectJson( explained( 11, 51 ), R"(
      {
         "change": "orloctl audit --repair frees every slot that the programmer has not given to anybody",
         "mac": "00:00:5e:00:01:33",
         "steps": [
            { "ok": true, "step": "interface", "text": "VLAN 11 is in the VLAN set of br10" },
            {
               "ok": false, "step": "kernel",
               "text": "no device with this MAC stands on an interface that serves VLAN 11" },
            {
               "ok": false, "step": "status",
               "text": "no interface that serves VLAN 11 has it in the table of virtual router MACs" },
            { "ok": false, "step": "wanted", "text": "the reflector does not want it" },
            {
               "ok": false, "step": "programmer",
               "text": "has no index for it, and it does not wait for one" },
            {
               "ok": false, "step": "hardware",
               "text": "slot 5 holds it, and the programmer does not know of that" } ],
         "verdict": "leftover", "vlan": 11 })" );
   agent_.reset();
   startAndRead();
   EXPECT_EQ( verdict( 11, 51 ), "unknown" ) << "a restart has freed the slot";
}

TEST_F( ExplainTest, APairThatWaitsAlthoughASlotHoldsItIsNoLeftover ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 2 );
   slots().slotIs( 1, { VlanId( 11 ), vrrpMac( 51 ) } );
   const Json told = explained( 11, 51 );
   EXPECT_EQ( told["verdict"], "waiting" );
   EXPECT_EQ( told["steps"].back()["text"],
              "slot 1 holds it, and the programmer does not know of that" );
}

TEST_F( ExplainTest, BeforeTheKernelIsKnown ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   agent_.reset();
   start();
   expectJson( explained( 11, 51 ), R"(
      {
         "change": "wait until the agent is ready: it is, as soon as the kernel has told it everything",
         "mac": "00:00:5e:00:01:33",
         "steps": [
            { "ok": true, "step": "interface", "text": "VLAN 11 is in the VLAN set of br10" },
            {
               "ok": false, "step": "kernel",
               "text": "the kernel's devices are not known as a whole yet" },
            {
               "ok": false, "step": "status",
               "text": "no interface that serves VLAN 11 has it in the table of virtual router MACs" },
            { "ok": false, "step": "wanted", "text": "the reflector does not want it" },
            {
               "ok": false, "step": "programmer",
               "text": "has not started: the kernel's state is not known as a whole" },
            { "ok": false, "step": "hardware", "text": "slot 2 holds it, as it was left" } ],
         "verdict": "starting", "vlan": 11 })" );
   EXPECT_EQ( verdict( 11, 77 ), "starting" ) << "its device may still come";
   EXPECT_EQ( verdict( 99, 51 ), "unknown" ) << "the configuration is known";
   EXPECT_EQ( explained( 11, mac( "02:00:00:00:00:01" ) )["verdict"], "unknown" );
   EXPECT_EQ( change( 11, 77 ), change( 11, 51 ) );
   kernel_.read();
   EXPECT_EQ( verdict( 11, 51 ), "programmed" );
}

TEST_F( ExplainTest, HardwareThatCannotBeReadIsTakenAtItsWord ) {
   masters( { { kDevice51, 51 } } );
   start( blind( 2 ) );
   kernel_.read();
   const auto last = [&]( Quor::U16 vlan ) { return explained( vlan, 51 )["steps"].back(); };
   EXPECT_EQ( last( 10 ), Json( { { "step", "hardware" },
                                  { "ok", true },
                                  { "text", "was told to hold it; this hardware cannot be read "
                                            "back" } } ) );
   EXPECT_EQ( verdict( 10, 51 ), "programmed" );
   EXPECT_EQ( change( 10, 51 ), "" );
   EXPECT_EQ( last( 11 ), Json( { { "step", "hardware" },
                                  { "ok", false },
                                  { "text", "was not told to hold it" } } ) );
   EXPECT_EQ( verdict( 11, 51 ), "waiting" );
}

TEST_F( ExplainTest, ARecordThatWasMadeByHandIsProgrammedWithoutADevice ) {
   startAndRead();
   agent_->programming().status()->vrrpVirtualMacIs( { IntfId( "br10" ), vrrpMac( 77 ) }, true );
   agent_->work();
   EXPECT_EQ( verdict( 11, 77 ), "programmed" );
   EXPECT_EQ( change( 11, 77 ), "" );
}

TEST_F( ExplainTest, APairThatWasTakenAwayByHand ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   agent_->programming().table()->virtualRouterMacDel( { VlanId( 11 ), vrrpMac( 51 ) } );
   agent_->work();
   const Json told = explained( 11, 51 );
   EXPECT_EQ( told["verdict"], "unknown" );
   EXPECT_EQ( told["change"], "restart the agent, which makes all pairs anew: somebody has taken "
                              "this one away by hand" );
}

} // namespace
} // namespace OrloAgent
