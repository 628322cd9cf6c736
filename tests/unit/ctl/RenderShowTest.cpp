// The agent's state as people see it: whole texts, none wider than a terminal.
#include "ctl/render/RenderShow.h"
#include "ctl/Failure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace OrloCtl {
namespace {

using Json = nlohmann::json;

constexpr Look kPlain{ false, 1795258944 }; // 2026-11-21T11:02:24Z
constexpr const char *kThen = "2026-11-21T10:59:12Z";

/// The text, whose lines must fit.
std::string fitting( const std::string &text ) {
   std::istringstream lines( text );
   for( std::string line; std::getline( lines, line ); ) {
      EXPECT_LE( line.size(), 80u ) << line;
      EXPECT_FALSE( line.ends_with( ' ' ) ) << line;
   }
   return text;
}

Json pair( int vlan, const Json &interfaces, const Json &index, const Json &place, bool wanted,
           const Json &programmed, const Json &since = kThen ) {
   return { { "vlan", vlan },
            { "mac", "00:00:5e:00:01:33" },
            { "interfaces", interfaces },
            { "index", index },
            { "place", place },
            { "wanted", wanted },
            { "since", since },
            { "programmed", programmed } };
}

Json refusal( bool isRemoval = false ) {
   return { { "reason", "no room in the table" },
            { "removal", isRemoval },
            { "tries", 4 },
            { "since", kThen },
            { "next", kThen } };
}

Json state() {
   return { { "version", "0.1" },
            { "kind", "memory" },
            { "ready", true },
            { "uptimeSeconds", 10980 },
            { "interfaces", 2 },
            { "macs", 3 },
            { "pairs", { { "wanted", 6 }, { "programmed", 5 }, { "waiting", 1 } } },
            { "slots", { { "total", 5 }, { "used", 5 }, { "available", 0 } } },
            { "refused", 0 },
            { "refusal", nullptr },
            { "refusals", 7 },
            { "restarts", 1 },
            { "lastAdoption", { { "adopted", 4 }, { "removed", 1 }, { "at", kThen } } } };
}

TEST( RenderShow, TheStateInShort ) {
   EXPECT_EQ( fitting( renderShow( state(), kPlain ) ),
              "orlo-agent 0.1, ready, up 3h03m\n"
              "hardware    memory\n"
              "interfaces  2\n"
              "MACs        3\n"
              "pairs       6 wanted, 5 programmed, 1 waiting\n"
              "slots       5 of 5 slots used, 0 available\n"
              "refusals    0 now, 7 in all\n"
              "restarts    1\n"
              "adoption    4 adopted, 1 removed, 3m12s ago\n" );
}

TEST( RenderShow, WhatTheHardwareRefusesNow ) {
   Json refusing = state();
   refusing["refused"] = 3;
   refusing["refusal"] = refusal( true );
   refusing["refusal"].update( { { "vlan", 12 }, { "mac", "00:00:5e:00:01:33" }, { "index", 4 } } );
   EXPECT_NE(
         fitting( renderShow( refusing, kPlain ) )
               .find( "refusals    3 now, 7 in all; VLAN 12 00:00:5e:00:01:33 index 4 is kept: "
                      "no room\n"
                      "            in the table\n" ),
         std::string::npos )
         << renderShow( refusing, kPlain );
   refusing["refused"] = refusing["refusal"] = refusing["refusals"] = nullptr;
   EXPECT_NE( renderShow( refusing, kPlain ).find( "\nrefusals    ?\n" ), std::string::npos );
}

TEST( RenderShow, AnAgentThatIsNotReadyAndHasNeverAdopted ) {
   Json starting = state();
   starting["ready"] = false;
   starting["lastAdoption"] = nullptr;
   starting["note"] = "the hardware has not answered yet, which is why everything that is said "
                      "about it is what was last heard";
   const std::string text = fitting( renderShow( starting, kPlain ) );
   EXPECT_EQ( text.find( "orlo-agent 0.1, not ready yet, up 3h03m\n" ), 0u );
   EXPECT_NE( text.find( "adoption    -\n"
                         "note: the hardware has not answered yet, which is why everything that "
                         "is said\n"
                         "      about it is what was last heard\n" ),
              std::string::npos )
         << text;
}

TEST( RenderPairs, WantedAndProgrammedStandSideBySide ) {
   const Json result{ { "total", 4 },
                      { "pairs",
                        { pair( 10, { "br10" }, 4, nullptr, true, true ),
                          pair( 11, { "br10", "br11" }, nullptr, 1, true, false ),
                          pair( 4094, Json::array(), 12, nullptr, false, true, nullptr ),
                          pair( 12, { "br10" }, 3, nullptr, true, nullptr ) } } };
   EXPECT_EQ( fitting( renderPairs( result, kPlain ) ),
              "VLAN  MAC                INTERFACE   INDEX   WANTED  PROGRAMMED  SINCE\n"
              "  10  00:00:5e:00:01:33  br10        4       yes     yes         3m12s\n"
              "  11  00:00:5e:00:01:33  br10, br11  line 1  yes     no          3m12s\n"
              "4094  00:00:5e:00:01:33  -           12      no      yes             -\n"
              "  12  00:00:5e:00:01:33  br10        3       yes     ?           3m12s\n"
              "4 pairs: 3 wanted, 2 programmed, 1 waiting\n"
              "?: the hardware cannot be read\n" );
   const std::string colored = renderPairs( result, { true, kPlain.now } );
   EXPECT_EQ( std::count( colored.begin(), colored.end(), '\033' ), 6 ); // three that disagree
}

TEST( RenderPairs, WhatTheHardwareRefusesAndWhatItHasNotAnswered ) {
   Json refused = pair( 10, { "br10" }, 4, nullptr, true, false );
   Json kept = pair( 11, Json::array(), 5, nullptr, false, true, nullptr );
   Json pending = pair( 12, { "br10" }, 6, nullptr, true, false );
   refused["refusal"] = refusal();
   kept["refusal"] = refusal( true );
   pending["refusal"] = nullptr;
   EXPECT_EQ( fitting( renderPairs( { { "total", 3 }, { "pairs", { refused, kept, pending } } },
                                    kPlain ) ),
              "VLAN  MAC                INTERFACE  INDEX  WANTED  PROGRAMMED              SINCE\n"
              "  10  00:00:5e:00:01:33  br10       4      yes     no: no room in the      3m12s\n"
              "                                                   table\n"
              "  11  00:00:5e:00:01:33  -          5      no      yes: no room in the         -\n"
              "                                                   table\n"
              "  12  00:00:5e:00:01:33  br10       6      yes     pending                 3m12s\n"
              "3 pairs: 2 wanted, 1 programmed, 0 waiting\n" );
}

TEST( RenderPairs, ASelectionSaysOfHowMany ) {
   EXPECT_EQ( renderPairs( { { "total", 0 }, { "pairs", Json::array() } }, kPlain ), "no pairs\n" );
   const std::string text = fitting( renderPairs(
         { { "total", 7 }, { "pairs", { pair( 10, { "br10" }, 4, nullptr, true, true ) } } },
         kPlain ) );
   EXPECT_TRUE( text.ends_with( "1 of 7 pairs: 1 wanted, 1 programmed, 0 waiting\n" ) ) << text;
}

TEST( RenderPairs, LongInterfaceNamesTakeMoreLines ) {
   const Json names{ "port-channel1000.4000", "a-name-that-has-no-end-at-all-1", "br10" };
   EXPECT_EQ( fitting( renderPairs(
                    { { "total", 1 }, { "pairs", { pair( 10, names, 4, nullptr, true, true ) } } },
                    kPlain ) ),
              "VLAN  MAC                INTERFACE              INDEX  WANTED  PROGRAMMED  SINCE\n"
              "  10  00:00:5e:00:01:33  port-channel1000.4000  4      yes     yes         3m12s\n"
              "                         ,\n"
              "                         a-name-that-has-no-en\n"
              "                         d-at-all-1, br10\n"
              "1 pair: 1 wanted, 1 programmed, 0 waiting\n" );
}

TEST( RenderWaiting, TheLine ) {
   Json first = pair( 11, { "br10" }, nullptr, 1, true, false );
   Json second = pair( 12, { "br10" }, nullptr, 2, true, false );
   EXPECT_EQ( fitting( renderWaiting( { { "waiting", { first, second } } }, kPlain ) ),
              "PLACE  VLAN  MAC                INTERFACE  SINCE\n"
              "    1    11  00:00:5e:00:01:33  br10       3m12s\n"
              "    2    12  00:00:5e:00:01:33  br10       3m12s\n"
              "2 pairs wait\n" );
   EXPECT_EQ(
         renderWaiting( { { "waiting", Json::array() }, { "note", "the line is new" } }, kPlain ),
         "no pair waits\nnote: the line is new\n" );
}

TEST( RenderSlots, UsedOnesAndThenTheFreeOnesInTheirOrder ) {
   const Json result{ { "total", 4 },
                      { "used", 2 },
                      { "available", 2 },
                      { "slots",
                        { { { "index", 0 },
                            { "vlan", 12 },
                            { "mac", "00:00:5e:00:01:33" },
                            { "hardware", true } },
                          { { "index", 2 },
                            { "vlan", 10 },
                            { "mac", "00:00:5e:00:01:33" },
                            { "hardware", nullptr } },
                          { { "index", 3 }, { "free", 1 } },
                          { { "index", 1 }, { "free", 2 } } } } };
   EXPECT_EQ( fitting( renderSlots( result, kPlain ) ),
              "INDEX  VLAN  MAC                HARDWARE  FREE\n"
              "    0    12  00:00:5e:00:01:33  yes          -\n"
              "    2    10  00:00:5e:00:01:33  ?            -\n"
              "    3     -  -                  -            1\n"
              "    1     -  -                  -            2\n"
              "2 of 4 slots used, 2 available\n"
              "?: the hardware cannot be read\n" );
}

TEST( RenderSlots, WhatTheHardwareHoldsInsteadStandsThere ) {
   const Json other{ { "vlan", 99 }, { "mac", "00:00:5e:00:01:63" } };
   const Json result{ { "total", 2 },
                      { "used", 2 },
                      { "available", 1 },
                      { "slots",
                        { { { "index", 0 },
                            { "vlan", 12 },
                            { "mac", "00:00:5e:00:01:33" },
                            { "hardware", false },
                            { "holds", other } },
                          { { "index", 1 }, { "free", 1 }, { "holds", other } } } } };
   EXPECT_EQ( fitting( renderSlots( result, kPlain ) ),
              "INDEX  VLAN  MAC                HARDWARE                        FREE\n"
              "    0    12  00:00:5e:00:01:33  no: VLAN 99  00:00:5e:00:01:63     -\n"
              "    1     -  -                  no: VLAN 99  00:00:5e:00:01:63     1\n"
              "2 of 2 slots used, 1 available\n" );
}

TEST( RenderSlots, WhatTheHardwareRefusesStandsThere ) {
   const Json other{ { "vlan", 99 }, { "mac", "00:00:5e:00:01:63" } };
   const Json result{ { "total", 2 },
                      { "used", 1 },
                      { "available", 1 },
                      { "slots",
                        { { { "index", 0 },
                            { "vlan", 12 },
                            { "mac", "00:00:5e:00:01:33" },
                            { "hardware", false },
                            { "refusal", refusal() } },
                          { { "index", 1 },
                            { "free", 1 },
                            { "holds", other },
                            { "refusal", refusal( true ) } } } } };
   EXPECT_EQ( fitting( renderSlots( result, kPlain ) ),
              "INDEX  VLAN  MAC                HARDWARE                                    FREE\n"
              "    0    12  00:00:5e:00:01:33  no: no room in the table                       -\n"
              "    1     -  -                  no: VLAN 99  00:00:5e:00:01:63: no room in     1\n"
              "                                the table\n"
              "1 of 2 slots used, 1 available\n" );
}

TEST( RenderInterfaces, EachWithItsDevices ) {
   Json many = Json::array();
   for( int vlan = 100; vlan < 180; vlan += 2 ) {
      many.push_back( vlan );
   }
   const Json result{
         { "interfaces",
           { { { "name", "br10" },
               { "vlans", { 10, 11, 12 } },
               { "macs", { "00:00:5e:00:01:33", "00:00:5e:00:01:34" } },
               { "devices",
                 { { { "device", "vrrp.51" },
                     { "mac", "00:00:5e:00:01:33" },
                     { "published", true },
                     { "reason", "" } },
                   { { "device", "vrrp.52-with-a-name" },
                     { "mac", "00:00:5e:00:01:34" },
                     { "published", false },
                     { "reason",
                       "has no address other than the link-local one of its interface" } } } } },
             { { "name", "vlan20" },
               { "vlans", many },
               { "macs", Json::array() },
               { "devices", Json::array() } },
             { { "name", nullptr },
               { "vlans", Json::array() },
               { "macs", Json::array() },
               { "devices",
                 { { { "device", "vrrp.9" },
                     { "mac", "00:00:5e:00:01:09" },
                     { "published", false },
                     { "reason", "eth0 is not one" } } } } } } } };
   EXPECT_EQ( fitting( renderInterfaces( result, kPlain ) ),
              "br10\n"
              "   VLANs  10-12\n"
              "   MACs   00:00:5e:00:01:33, 00:00:5e:00:01:34\n"
              "   DEVICE               MAC                PUBLISHED  REASON\n"
              "   vrrp.51              00:00:5e:00:01:33  yes        -\n"
              "   vrrp.52-with-a-name  00:00:5e:00:01:34  no         has no address other than\n"
              "                                                      the link-local one of its\n"
              "                                                      interface\n"
              "\n"
              "vlan20\n"
              "   VLANs  100, 102, 104, 106, 108, 110, 112, 114, 116, 118, 120, 122, 124, 126,\n"
              "          128, 130, 132, 134, 136, 138, 140, 142, 144, 146, 148, 150, 152, 154,\n"
              "          156, 158, 160, 162, 164, 166, 168, 170, 172, 174, 176, 178\n"
              "   MACs   -\n"
              "   no VRRP devices\n"
              "\n"
              "on none of the interfaces\n"
              "   DEVICE  MAC                PUBLISHED  REASON\n"
              "   vrrp.9  00:00:5e:00:01:09  no         eth0 is not one\n" );
   EXPECT_EQ( renderInterfaces( { { "interfaces", Json::array() } }, kPlain ), "no interfaces\n" );
}

TEST( RenderExplain, TheChainAndWhatWouldHaveToChange ) {
   const Json result{
         { "vlan", 11 },
         { "mac", "00:00:5e:00:01:34" },
         { "verdict", "waiting" },
         { "steps",
           { { { "step", "kernel" }, { "ok", true }, { "text", "vrrp.52 on br10 is up" } },
             { { "step", "VLAN set" },
               { "ok", true },
               { "text", "br10 serves VLAN 11 because it is one of its secondary VLANs, of which "
                         "there are two" } },
             { { "step", "slot" }, { "ok", false }, { "text", "all 5 are used; place 1" } } } },
         { "change", "a slot becomes free" } };
   EXPECT_EQ( fitting( renderExplain( result, kPlain ) ),
              "VLAN 11  00:00:5e:00:01:34  waiting\n"
              " 1. kernel    ok  vrrp.52 on br10 is up\n"
              " 2. VLAN set  ok  br10 serves VLAN 11 because it is one of its secondary VLANs,\n"
              "                  of which there are two\n"
              " 3. slot      NO  all 5 are used; place 1\n"
              "to change that: a slot becomes free\n" );
   const std::string colored = renderExplain( result, { true, 0 } );
   EXPECT_NE( colored.find( " 3. slot      \033[31mNO\033[0m  all 5" ), std::string::npos );
   Json good = result;
   good["verdict"] = "programmed";
   good["steps"].erase( 2 );
   good["change"] = "";
   EXPECT_TRUE( renderExplain( good, kPlain ).ends_with( "of which there are two\n" ) );
}

TEST( RenderShow, WhatIsMissingOrOfAnotherTypeIsNamedAndNothingCrashes ) {
   using Renderer = std::string ( * )( const Json &, const Look & );
   const std::pair<Renderer, Json> rows[] = {
         { renderShow, state() },
         { renderPairs,
           { { "total", 1 }, { "pairs", { pair( 1, { "br" }, 1, nullptr, true, true ) } } } },
         { renderWaiting, { { "waiting", { pair( 1, { "br" }, 1, 1, true, true ) } } } },
         { renderSlots,
           { { "total", 1 },
             { "used", 1 },
             { "available", 0 },
             { "slots",
               { { { "index", 0 }, { "vlan", 1 }, { "mac", "m" }, { "hardware", true } } } } } },
         { renderInterfaces,
           { { "interfaces",
               { { { "name", "a" },
                   { "vlans", { 1 } },
                   { "macs", { "m" } },
                   { "devices",
                     { { { "device", "d" }, { "mac", "m" }, { "published", true } } } } } } } } },
         { renderExplain,
           { { "vlan", 1 },
             { "mac", "m" },
             { "verdict", "v" },
             { "steps", { { { "step", "s" }, { "ok", true }, { "text", "t" } } } } } },
   };
   for( const auto &[render, good] : rows ) {
      EXPECT_NO_THROW( render( good, kPlain ) );
      const Json flat = good.flatten();
      for( const auto &[pointer, value] : flat.items() ) {
         // Every value in turn becomes something that none of them is.
         Json bad = good;
         bad[Json::json_pointer( pointer )] = Json::array( { Json::array() } );
         if( pointer.find( "/index" ) != std::string::npos && render == renderWaiting ) {
            continue; // of no interest there
         }
         if( render == renderWaiting && ( pointer.find( "wanted" ) != std::string::npos ||
                                          pointer.find( "programmed" ) != std::string::npos ) ) {
            continue;
         }
         EXPECT_THROW( render( bad, kPlain ), Failure ) << pointer;
      }
      for( const Json &other : { Json(), Json( 7 ), Json::array(), Json::object() } ) {
         EXPECT_THROW( render( other, kPlain ), Failure );
      }
   }
}

} // namespace
} // namespace OrloCtl
