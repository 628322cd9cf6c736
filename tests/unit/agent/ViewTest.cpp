// What the running agent shows of itself, whole.
#include "agent/control/View.h"
#include "tests/unit/agent/ControlledAgent.h"

namespace OrloAgent {
namespace {

using Bridging::VlanId;
using Pelmo::IntfId;

class ViewTest : public ControlledAgent {
 protected:
   View view() const { return View( *agent_ ); }
};

TEST_F( ViewTest, OfAnAgentThatDoesNotKnowTheKernelYet ) {
   start( 2 );
   expectJson( view().summary(), R"(
      {
         "helper": "memory", "interfaces": 2, "kind": "memory", "lastAdoption": null,
         "macs": 0, "mismatches": 0, "pairs": { "programmed": 0, "waiting": 0, "wanted": 0 },
         "ready": false, "refusal": null, "refusals": 0, "refused": 0, "restarts": 0,
         "slots": { "available": 0, "total": 2, "used": 0 }, "uptimeSeconds": 0,
         "version": "0.1" })" );
   expectJson( whole( view().pairs( {} ) ), R"(
      { "pairs": [], "total": 0 })" );
   expectJson( whole( view().waiting() ), R"(
      { "total": 0, "waiting": [] })" );
   expectJson( whole( view().slots() ), R"(
      { "available": 0, "slots": [], "total": 2, "used": 0 })" );
   expectJson( whole( view().interfaces() ), R"(
      {
         "interfaces": [
            { "devices": [], "macs": [], "name": "br10", "vlans": [ 10, 11, 12 ] },
            { "devices": [], "macs": [], "name": "br20", "vlans": [ 20 ] } ],
         "total": 2 })" );
}

TEST_F( ViewTest, OfAnAgentBeforeWhichAnotherOneWorked ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 4 );
   agent_.reset();
   start( 4 );
   expectJson( view().summary(), R"(
      {
         "helper": "memory", "interfaces": 2, "kind": "memory", "lastAdoption": null,
         "macs": 0, "mismatches": 0, "pairs": { "programmed": 0, "waiting": 0, "wanted": 0 },
         "ready": false, "refusal": null, "refusals": 0, "refused": 0, "restarts": 0,
         "slots": { "available": 0, "total": 4, "used": 3 }, "uptimeSeconds": 0,
         "version": "0.1" })" );
   expectJson( whole( view().pairs( {} ) ), R"(
      {
         "pairs": [
            {
               "index": 0, "interfaces": [], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null, "since": null, "vlan": 10, "wanted": false },
            {
               "index": 2, "interfaces": [], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null, "since": null, "vlan": 11, "wanted": false },
            {
               "index": 1, "interfaces": [], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null, "since": null, "vlan": 12, "wanted": false } ],
         "total": 3 })" );
}

TEST_F( ViewTest, OfNothingAtAll ) {
   startAndRead( 2 );
   later( 61 );
   expectJson( view().summary(), R"(
      {
         "helper": "memory", "interfaces": 2, "kind": "memory",
         "lastAdoption": { "adopted": 0, "at": "2001-09-09T01:46:40Z", "removed": 0 }, "macs": 0,
         "mismatches": 0, "pairs": { "programmed": 0, "waiting": 0, "wanted": 0 }, "ready": true,
         "refusal": null, "refusals": 0, "refused": 0, "restarts": 0,
         "slots": { "available": 2, "total": 2, "used": 0 },
         "uptimeSeconds": 61, "version": "0.1" })" );
   expectJson( whole( view().pairs( {} ) ), R"(
      { "pairs": [], "total": 0 })" );
   expectJson( whole( view().waiting() ), R"(
      {
         "note": "a start of the programmer makes the line anew, in the order of the table; the last one was at 2001-09-09T01:46:40Z",
         "total": 0, "waiting": [] })" );
   expectJson( whole( view().slots() ), R"(
      {
         "available": 2, "slots": [ { "free": 1, "index": 0, "refusal": null },
         { "free": 2, "index": 1, "refusal": null } ],
         "total": 2, "used": 0 })" );
   expectJson( whole( view().interfaces() ), R"(
      {
         "interfaces": [
            { "devices": [], "macs": [], "name": "br10", "vlans": [ 10, 11, 12 ] },
            { "devices": [], "macs": [], "name": "br20", "vlans": [ 20 ] } ],
         "total": 2 })" );
}

TEST_F( ViewTest, OfPairsOfWhichOneWaits ) {
   startAndRead( 5 );
   later( 10 );
   masters( { { kDevice51, 51 } } );
   kernel_.quiet();
   later( 10 );
   masters( { { kDevice52, 52 } } );
   kernel_.quiet();
   later( 10 );
   expectJson( view().summary(), R"(
      {
         "helper": "memory", "interfaces": 2, "kind": "memory",
         "lastAdoption": { "adopted": 0, "at": "2001-09-09T01:46:40Z", "removed": 0 }, "macs": 2,
         "mismatches": 0, "pairs": { "programmed": 5, "waiting": 1, "wanted": 6 }, "ready": true,
         "refusal": null, "refusals": 0, "refused": 0, "restarts": 0,
         "slots": { "available": 0, "total": 5, "used": 5 },
         "uptimeSeconds": 30, "version": "0.1" })" );
   expectJson( whole( view().pairs( {} ) ), R"(
      {
         "pairs": [
            {
               "index": 1, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:50Z", "vlan": 10, "wanted": true },
            {
               "index": 4, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:34", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:47:00Z", "vlan": 10, "wanted": true },
            {
               "index": 2, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:50Z", "vlan": 11, "wanted": true },
            {
               "index": null, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:34", "place": 1,
               "programmed": false, "refusal": null,
               "since": "2001-09-09T01:47:00Z", "vlan": 11, "wanted": true },
            {
               "index": 0, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:50Z", "vlan": 12, "wanted": true },
            {
               "index": 3, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:34", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:47:00Z", "vlan": 12, "wanted": true } ],
         "total": 6 })" );
   expectJson( whole( view().waiting() ), R"(
      {
         "note": "a start of the programmer makes the line anew, in the order of the table; the last one was at 2001-09-09T01:46:40Z",
         "total": 1,
         "waiting": [
            {
               "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:34", "place": 1,
               "since": "2001-09-09T01:47:00Z", "vlan": 11 } ] })" );
   expectJson( whole( view().slots() ), R"(
      {
         "available": 0,
         "slots": [
            { "hardware": true, "refusal": null, "index": 0,
            "mac": "00:00:5e:00:01:33", "vlan": 12 },
            { "hardware": true, "refusal": null,
            "index": 1, "mac": "00:00:5e:00:01:33", "vlan": 10 },
            { "hardware": true, "refusal": null, "index": 2,
            "mac": "00:00:5e:00:01:33", "vlan": 11 },
            { "hardware": true, "refusal": null, "index": 3,
            "mac": "00:00:5e:00:01:34", "vlan": 12 },
            { "hardware": true, "refusal": null, "index": 4,
            "mac": "00:00:5e:00:01:34", "vlan": 10 } ],
         "total": 5, "used": 5 })" );
   expectJson( whole( view().interfaces() ), R"(
      {
         "interfaces": [
            {
               "devices": [
                  {
                     "device": "vrrp.51", "mac": "00:00:5e:00:01:33", "published": true,
                     "reason": "has 10.0.0.1" },
                  {
                     "device": "vrrp.52", "mac": "00:00:5e:00:01:34", "published": true,
                     "reason": "has 10.0.0.1" } ],
               "macs": [ "00:00:5e:00:01:33", "00:00:5e:00:01:34" ], "name": "br10",
               "vlans": [ 10, 11, 12 ] },
            { "devices": [], "macs": [], "name": "br20", "vlans": [ 20 ] } ],
         "total": 2 })" );
}

TEST_F( ViewTest, OfHardwareWithoutSlots ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 0 );
   expectJson( view().summary(), R"(
      {
         "helper": "memory", "interfaces": 2, "kind": "memory",
         "lastAdoption": { "adopted": 0, "at": "2001-09-09T01:46:40Z", "removed": 0 }, "macs": 1,
         "mismatches": 0, "pairs": { "programmed": 0, "waiting": 3, "wanted": 3 }, "ready": true,
         "refusal": null, "refusals": 0, "refused": 0, "restarts": 0,
         "slots": { "available": 0, "total": 0, "used": 0 },
         "uptimeSeconds": 0, "version": "0.1" })" );
   expectJson( whole( view().pairs( {} ) ), R"(
      {
         "pairs": [
            {
               "index": null, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 1,
               "programmed": false, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 10, "wanted": true },
            {
               "index": null, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 3,
               "programmed": false, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 11, "wanted": true },
            {
               "index": null, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 2,
               "programmed": false, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 12, "wanted": true } ],
         "total": 3 })" );
   expectJson( whole( view().waiting() ), R"(
      {
         "note": "a start of the programmer makes the line anew, in the order of the table; the last one was at 2001-09-09T01:46:40Z",
         "total": 3,
         "waiting": [
            {
               "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 1,
               "since": "2001-09-09T01:46:40Z", "vlan": 10 },
            {
               "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 2,
               "since": "2001-09-09T01:46:40Z", "vlan": 12 },
            {
               "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 3,
               "since": "2001-09-09T01:46:40Z", "vlan": 11 } ] })" );
   expectJson( whole( view().slots() ), R"(
      { "available": 0, "slots": [], "total": 0, "used": 0 })" );
}

TEST_F( ViewTest, OfHardwareThatCannotBeRead ) {
   masters( { { kDevice51, 51 } } );
   start( blind( 2 ) );
   kernel_.read();
   expectJson( view().summary(), R"(
      {
         "helper": "blind", "interfaces": 2, "kind": "module",
         "lastAdoption": { "adopted": 0, "at": "2001-09-09T01:46:40Z", "removed": 0 }, "macs": 1,
         "mismatches": 0, "pairs": { "programmed": 2, "waiting": 1, "wanted": 3 }, "ready": true,
         "refusal": null, "refusals": null, "refused": null, "restarts": 0,
         "slots": { "available": 0, "total": 2, "used": 2 },
         "uptimeSeconds": 0, "version": "0.1" })" );
   expectJson( whole( view().pairs( {} ) ), R"(
      {
         "pairs": [
            {
               "index": 0, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": null, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 10, "wanted": true },
            {
               "index": null, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 1,
               "programmed": null, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 11, "wanted": true },
            {
               "index": 1, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": null, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 12, "wanted": true } ],
         "total": 3 })" );
   expectJson( whole( view().slots() ), R"(
      {
         "available": 0,
         "slots": [
            { "hardware": null, "refusal": null, "index": 0,
            "mac": "00:00:5e:00:01:33", "vlan": 10 },
            { "hardware": null, "refusal": null,
            "index": 1, "mac": "00:00:5e:00:01:33", "vlan": 12 } ],
         "total": 2, "used": 2 })" );
   EXPECT_NE( view().metrics().find( "orlo_program_failures_total 0\n" ), std::string::npos );
   EXPECT_NE( view().metrics().find( "orlo_slots_used 2\n" ), std::string::npos );
}

TEST_F( ViewTest, OfASlotThatSomebodyChangedUnderTheAgent ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 4 );
   slots().slotIs( 1, { VlanId( 99 ), vrrpMac( 99 ) } );
   expectJson( view().summary(), R"(
      {
         "helper": "memory", "interfaces": 2, "kind": "memory",
         "lastAdoption": { "adopted": 0, "at": "2001-09-09T01:46:40Z", "removed": 0 }, "macs": 1,
         "mismatches": 1, "pairs": { "programmed": 2, "waiting": 0, "wanted": 3 }, "ready": true,
         "refusal": null, "refusals": 0, "refused": 0, "restarts": 0,
         "slots": { "available": 1, "total": 4, "used": 3 },
         "uptimeSeconds": 0, "version": "0.1" })" );
   expectJson( whole( view().pairs( {} ) ), R"(
      {
         "pairs": [
            {
               "index": 0, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 10, "wanted": true },
            {
               "index": 2, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 11, "wanted": true },
            {
               "index": 1, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": false, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 12, "wanted": true },
            {
               "index": 1, "interfaces": [], "mac": "00:00:5e:00:01:63", "place": null,
               "programmed": true, "refusal": null, "since": null, "vlan": 99, "wanted": false } ],
         "total": 4 })" );
   expectJson( whole( view().slots() ), R"(
      {
         "available": 1,
         "slots": [
            { "hardware": true, "refusal": null, "index": 0,
            "mac": "00:00:5e:00:01:33", "vlan": 10 },
            {
               "hardware": false, "refusal": null, "holds": {
               "mac": "00:00:5e:00:01:63", "vlan": 99 }, "index": 1,
               "mac": "00:00:5e:00:01:33", "vlan": 12 },
            { "hardware": true, "refusal": null, "index": 2,
            "mac": "00:00:5e:00:01:33", "vlan": 11 },
            { "free": 1, "index": 3, "refusal": null } ],
         "total": 4, "used": 3 })" );
}

TEST_F( ViewTest, OfASlotThatSomebodyFreed ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 4 );
   slots().slotDel( 2 );
   expectJson( view().summary(), R"(
      {
         "helper": "memory", "interfaces": 2, "kind": "memory",
         "lastAdoption": { "adopted": 0, "at": "2001-09-09T01:46:40Z", "removed": 0 }, "macs": 1,
         "mismatches": 1, "pairs": { "programmed": 2, "waiting": 0, "wanted": 3 }, "ready": true,
         "refusal": null, "refusals": 0, "refused": 0, "restarts": 0,
         "slots": { "available": 1, "total": 4, "used": 2 },
         "uptimeSeconds": 0, "version": "0.1" })" );
   expectJson( whole( view().pairs( {} ) ), R"(
      {
         "pairs": [
            {
               "index": 0, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 10, "wanted": true },
            {
               "index": 2, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": false, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 11, "wanted": true },
            {
               "index": 1, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 12, "wanted": true } ],
         "total": 3 })" );
}

TEST_F( ViewTest, OfWhatNobodyWantsInAFreeSlot ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 4 );
   slots().slotIs( 3, { VlanId( 99 ), vrrpMac( 99 ) } );
   expectJson( view().summary(), R"(
      {
         "helper": "memory", "interfaces": 2, "kind": "memory",
         "lastAdoption": { "adopted": 0, "at": "2001-09-09T01:46:40Z", "removed": 0 }, "macs": 1,
         "mismatches": 1, "pairs": { "programmed": 3, "waiting": 0, "wanted": 3 }, "ready": true,
         "refusal": null, "refusals": 0, "refused": 0, "restarts": 0,
         "slots": { "available": 1, "total": 4, "used": 4 },
         "uptimeSeconds": 0, "version": "0.1" })" );
   expectJson( whole( view().pairs( {} ) ), R"(
      {
         "pairs": [
            {
               "index": 0, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 10, "wanted": true },
            {
               "index": 2, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 11, "wanted": true },
            {
               "index": 1, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 12, "wanted": true },
            {
               "index": 3, "interfaces": [], "mac": "00:00:5e:00:01:63", "place": null,
               "programmed": true, "refusal": null, "since": null, "vlan": 99, "wanted": false } ],
         "total": 4 })" );
   expectJson( whole( view().slots() ), R"(
      {
         "available": 1,
         "slots": [
            { "hardware": true, "refusal": null, "index": 0,
            "mac": "00:00:5e:00:01:33", "vlan": 10 },
            { "hardware": true, "refusal": null,
            "index": 1, "mac": "00:00:5e:00:01:33", "vlan": 12 },
            { "hardware": true, "refusal": null, "index": 2,
            "mac": "00:00:5e:00:01:33", "vlan": 11 },
            { "free": 1, "holds": {
            "mac": "00:00:5e:00:01:63", "vlan": 99 }, "index": 3, "refusal": null } ],
         "total": 4, "used": 4 })" );
}

TEST_F( ViewTest, OfAVlanThatTwoInterfacesShare ) {
   kernel_.linkIs( svi( 4, "br20" ) );
   kernel_.linkIs( macvlan( 9, "vrrp20.51", 4, vrrpMac( 51 ) ) );
   becomeMaster( 9 );
   masters( { { kDevice51, 51 } } );
   startAndRead( 8 );
   agent_->programming().vlanSets()->sviVlanSet( IntfId( "br20" ) )->vlanIdIs( VlanId( 11 ), true );
   expectJson( whole( view().pairs( { .vlan = VlanId( 11 ), .mac = {}, .interface = {} } ) ),
               R"(
      {
         "pairs": [
            {
               "index": 3, "interfaces": [ "br10", "br20" ], "mac": "00:00:5e:00:01:33",
               "place": null, "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:40Z", "vlan": 11,
               "wanted": true } ],
         "total": 1 })" );
   expectJson( whole( view().interfaces() ), R"(
      {
         "interfaces": [
            {
               "devices": [
                  {
                     "device": "vrrp.51", "mac": "00:00:5e:00:01:33", "published": true,
                     "reason": "has 10.0.0.1" } ],
               "macs": [ "00:00:5e:00:01:33" ], "name": "br10", "vlans": [ 10, 11, 12 ] },
            {
               "devices": [
                  {
                     "device": "vrrp20.51", "mac": "00:00:5e:00:01:33", "published": true,
                     "reason": "has 10.0.0.1" } ],
               "macs": [ "00:00:5e:00:01:33" ], "name": "br20", "vlans": [ 11, 20 ] } ],
         "total": 2 })" );
}

TEST_F( ViewTest, DevicesThatStandOnNoInterfaceOfOursComeLast ) {
   kernel_.linkIs( svi( 77, "br77" ) );
   kernel_.linkIs( macvlan( 78, "vrrp.78", 77, vrrpMac( 78 ) ) );
   masters( { { kDevice51, 51 } } );
   deviceIs( kDevice52, 52 );
   startAndRead( 8 );
   expectJson( whole( view().interfaces() ), R"(
      {
         "interfaces": [
            {
               "devices": [
                  {
                     "device": "vrrp.51", "mac": "00:00:5e:00:01:33", "published": true,
                     "reason": "has 10.0.0.1" },
                  {
                     "device": "vrrp.52", "mac": "00:00:5e:00:01:34", "published": false,
                     "reason": "has no address" } ],
               "macs": [ "00:00:5e:00:01:33" ], "name": "br10", "vlans": [ 10, 11, 12 ] },
            { "devices": [], "macs": [], "name": "br20", "vlans": [ 20 ] },
            {
               "devices": [
                  {
                     "device": "vrrp.78", "mac": "00:00:5e:00:01:4e", "published": false,
                     "reason": "stands on br77, which is not configured" } ],
               "macs": [], "name": null, "vlans": [] } ],
         "total": 3 })" );
}

TEST_F( ViewTest, PairsByVlanMacAndInterface ) {
   kernel_.linkIs( svi( 4, "br20" ) );
   kernel_.linkIs( macvlan( 9, "vrrp20.51", 4, vrrpMac( 51 ) ) );
   becomeMaster( 9 );
   masters( { { kDevice51, 51 }, { kDevice52, 52 } } );
   startAndRead( 8 );
   const auto shown = [&]( const PairFilter &filter ) {
      std::vector<std::string> pairs;
      const Json answer = whole( view().pairs( filter ) );
      for( const Json &row : answer.at( "pairs" ) ) {
         pairs.push_back( row.at( "vlan" ).dump() + " " + row.at( "mac" ).get<std::string>() );
      }
      return pairs;
   };
   using Lines = std::vector<std::string>;
   EXPECT_EQ( shown( {} ).size(), 7u );
   EXPECT_EQ( shown( { .vlan = VlanId( 11 ), .mac = {}, .interface = {} } ),
              ( Lines{ "11 00:00:5e:00:01:33", "11 00:00:5e:00:01:34" } ) );
   EXPECT_EQ( shown( { .vlan = {}, .mac = vrrpMac( 51 ), .interface = {} } ),
              ( Lines{ "10 00:00:5e:00:01:33", "11 00:00:5e:00:01:33", "12 00:00:5e:00:01:33",
                       "20 00:00:5e:00:01:33" } ) );
   EXPECT_EQ( shown( { .vlan = {}, .mac = {}, .interface = IntfId( "br20" ) } ),
              Lines{ "20 00:00:5e:00:01:33" } );
   EXPECT_EQ(
         shown( { .vlan = VlanId( 12 ), .mac = vrrpMac( 52 ), .interface = IntfId( "br10" ) } ),
         Lines{ "12 00:00:5e:00:01:34" } );
   EXPECT_EQ( shown( { .vlan = VlanId( 20 ), .mac = {}, .interface = IntfId( "br10" ) } ),
              Lines{} );
   EXPECT_EQ( shown( { .vlan = {}, .mac = {}, .interface = IntfId( "br99" ) } ), Lines{} );
   EXPECT_EQ( view().pairs( { .vlan = VlanId( 11 ), .mac = {}, .interface = {} } ).result,
              Json( { { "total", 2 } } ) );
}

TEST_F( ViewTest, AnAnswerIsWhatWasThereWhenItWasAskedFor ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 4 );
   const Answer pairs = view().pairs( {} );
   const Answer slots = view().slots();
   const Answer interfaces = view().interfaces();
   becomeBackup( kDevice51 );
   kernel_.quiet();
   agent_.reset();
   EXPECT_EQ( whole( pairs )["pairs"].size(), 3u );
   EXPECT_EQ( whole( slots )["slots"].size(), 4u );
   EXPECT_EQ( whole( interfaces )["interfaces"][0]["macs"], Json( { "00:00:5e:00:01:33" } ) );
}

TEST_F( ViewTest, AfterANewStartTheTimesAreTheOnesBefore ) {
   startAndRead( 2 );
   later( 10 );
   masters( { { kDevice51, 51 } } );
   kernel_.quiet();
   later( 10 );
   next_ = configuration( 1 );
   agent_->reload( next_ );
   expectJson( view().summary(), R"(
      {
         "helper": "memory", "interfaces": 2, "kind": "memory",
         "lastAdoption": { "adopted": 1, "at": "2001-09-09T01:47:00Z", "removed": 0 }, "macs": 1,
         "mismatches": 0, "pairs": { "programmed": 1, "waiting": 2, "wanted": 3 }, "ready": true,
         "refusal": null, "refusals": 0, "refused": 0, "restarts": 1,
         "slots": { "available": 0, "total": 1, "used": 1 },
         "uptimeSeconds": 20, "version": "0.1" })" );
   expectJson( whole( view().pairs( {} ) ), R"(
      {
         "pairs": [
            {
               "index": null, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 1,
               "programmed": false, "refusal": null,
               "since": "2001-09-09T01:47:00Z", "vlan": 10, "wanted": true },
            {
               "index": null, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 2,
               "programmed": false, "refusal": null,
               "since": "2001-09-09T01:46:50Z", "vlan": 11, "wanted": true },
            {
               "index": 0, "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": null,
               "programmed": true, "refusal": null,
               "since": "2001-09-09T01:46:50Z", "vlan": 12, "wanted": true } ],
         "total": 3 })" );
   expectJson( whole( view().waiting() ), R"(
      {
         "note": "a start of the programmer makes the line anew, in the order of the table; the last one was at 2001-09-09T01:47:00Z",
         "total": 2,
         "waiting": [
            {
               "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 1,
               "since": "2001-09-09T01:47:00Z", "vlan": 10 },
            {
               "interfaces": [ "br10" ], "mac": "00:00:5e:00:01:33", "place": 2,
               "since": "2001-09-09T01:46:50Z", "vlan": 11 } ] })" );
}

TEST_F( ViewTest, MetricsOfPairsOfWhichSomeWait ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 3 );
   agent_.reset();
   startAndRead( 3 );
   later( 10 );
   masters( { { kDevice52, 52 } } );
   kernel_.quiet();
   later( 32 );
   slots().slotIs( 0, { Bridging::VlanId( 99 ), vrrpMac( 99 ) } );
   becomeBackup( kDevice51 ); // who is next in the line cannot have slot 0
   kernel_.quiet();
   masters( { { kDevice51, 51 } } );
   kernel_.quiet();
   later( 5 );
   EXPECT_EQ( view().metrics(), R"(# HELP orlo_slots Slots of the hardware table.
# TYPE orlo_slots gauge
orlo_slots 3
# HELP orlo_slots_used Slots that hold a pair.
# TYPE orlo_slots_used gauge
orlo_slots_used 3
# HELP orlo_wanted Pairs of VLAN and MAC that are to be routed.
# TYPE orlo_wanted gauge
orlo_wanted 6
# HELP orlo_waiting Pairs that wait for a slot.
# TYPE orlo_waiting gauge
orlo_waiting 3
# HELP orlo_waiting_oldest_seconds How long the first in the line has waited.
# TYPE orlo_waiting_oldest_seconds gauge
orlo_waiting_oldest_seconds 5
# HELP orlo_audit_mismatches Slots in which the hardware holds something else than was assigned.
# TYPE orlo_audit_mismatches gauge
orlo_audit_mismatches 1
# HELP orlo_refused Pairs that the hardware refuses to take or to give up.
# TYPE orlo_refused gauge
orlo_refused 1
# HELP orlo_program_failures_total What the hardware has refused.
# TYPE orlo_program_failures_total counter
orlo_program_failures_total 1
# HELP orlo_hardware_writes_total Entries that were added to or removed from the hardware, or were to be.
# TYPE orlo_hardware_writes_total counter
orlo_hardware_writes_total 6
# HELP orlo_adopted_total Pairs that were adopted from the hardware at a start.
# TYPE orlo_adopted_total counter
orlo_adopted_total 3
)" );
}

TEST_F( ViewTest, MetricsBeforeTheAgentIsReady ) {
   start( 3 );
   EXPECT_EQ( view().metrics(), R"(# HELP orlo_slots Slots of the hardware table.
# TYPE orlo_slots gauge
orlo_slots 3
# HELP orlo_slots_used Slots that hold a pair.
# TYPE orlo_slots_used gauge
orlo_slots_used 0
# HELP orlo_wanted Pairs of VLAN and MAC that are to be routed.
# TYPE orlo_wanted gauge
orlo_wanted 0
# HELP orlo_waiting Pairs that wait for a slot.
# TYPE orlo_waiting gauge
orlo_waiting 0
# HELP orlo_waiting_oldest_seconds How long the first in the line has waited.
# TYPE orlo_waiting_oldest_seconds gauge
orlo_waiting_oldest_seconds 0
# HELP orlo_audit_mismatches Slots in which the hardware holds something else than was assigned.
# TYPE orlo_audit_mismatches gauge
orlo_audit_mismatches 0
# HELP orlo_refused Pairs that the hardware refuses to take or to give up.
# TYPE orlo_refused gauge
orlo_refused 0
# HELP orlo_program_failures_total What the hardware has refused.
# TYPE orlo_program_failures_total counter
orlo_program_failures_total 0
# HELP orlo_hardware_writes_total Entries that were added to or removed from the hardware, or were to be.
# TYPE orlo_hardware_writes_total counter
orlo_hardware_writes_total 0
# HELP orlo_adopted_total Pairs that were adopted from the hardware at a start.
# TYPE orlo_adopted_total counter
orlo_adopted_total 0
)" );
}

} // namespace
} // namespace OrloAgent
