// Objects by name, changes and traces as people see them.
#include "ctl/render/RenderObjects.h"
#include "ctl/Failure.h"

#include <gtest/gtest.h>

namespace OrloCtl {
namespace {

using Json = nlohmann::json;

constexpr Look kPlain{};

TEST( RenderList, RootsAttributesAndMembersHaveTheirOwnTables ) {
   EXPECT_EQ( renderList( { { "members",
                              { { { "name", "table" }, { "type", "VirtualRouterMacTable" } },
                                { { "name", "status" }, { "type", "Status" } } } } },
                          kPlain ),
              "NAME    TYPE\n"
              "table   VirtualRouterMacTable\n"
              "status  Status\n" );
   EXPECT_EQ( renderList(
                    { { "members",
                        { { { "key", "Value('Pair', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:33})" },
                            { "path", "table/x[10,00:00:5e:00:01:33]" },
                            { "value", true } },
                          { { "key", 7 }, { "value", nullptr } } } } },
                    kPlain ),
              "MEMBER                         VALUE\n"
              "table/x[10,00:00:5e:00:01:33]  true\n"
              "7                              -\n" );
   EXPECT_EQ( renderList( { { "members", Json::array() } }, kPlain ), "nothing\n" );
}

TEST( RenderList, AttributesTellTheirTypeAndWhatMayBeDone ) {
   const Json members{ { { "name", "name" },
                         { "id", 1 },
                         { "kind", "value" },
                         { "type", "text" },
                         { "writable", false },
                         { "value", "default" } },
                       { { "name", "virtualRouterMac" },
                         { "id", 12 },
                         { "kind", "collection" },
                         { "type", "bool" },
                         { "key", "Orlo::VlanAndMac" },
                         { "writable", true },
                         { "size", 1 } },
                       { { "name", "find" },
                         { "id", 13 },
                         { "kind", "function" },
                         { "type", "U32" },
                         { "arguments",
                           { { { "name", "vlan" }, { "type", "Bridging::VlanId" } },
                             { { "name", "mac" }, { "type", "EthAddr" } } } },
                         { "writable", false } },
                       { { "name", "doCleanup" },
                         { "id", 14 },
                         { "kind", "function" },
                         { "type", nullptr },
                         { "arguments", Json::array() },
                         { "writable", false } },
                       { { "name", "helper" },
                         { "id", 15 },
                         { "kind", "pointer" },
                         { "type", "Orlo::Helper" },
                         { "writable", false },
                         { "value", { { "type", "Orlo::Helper" }, { "text", "Orlo::Helper" } } } },
                       { { "name", "line" },
                         { "id", 16 },
                         { "kind", "pointer" },
                         { "type", "Orlo::Line" },
                         { "writable", false },
                         { "value", { { "type", "Orlo::Line" }, { "text", "'chip'" } } } } };
   EXPECT_EQ( renderList( { { "members", members } }, kPlain ),
              "NAME              ID  TYPE                             SET  VALUE\n"
              "name               1  text                             no   default\n"
              "virtualRouterMac  12  bool[VlanAndMac]                 yes  1 member\n"
              "find              13  U32(vlan: VlanId, mac: EthAddr)  no   -\n"
              "doCleanup         14  ()                               no   -\n"
              "helper            15  Helper                           no   an object\n"
              "line              16  Line                             no   'chip'\n" );
}

TEST( RenderList, AFunctionThatReturnsNothingHasOnlyArguments ) {
   const Json members{ { { "name", "doCleanup" },
                         { "id", 144 },
                         { "kind", "function" },
                         { "type", nullptr },
                         { "arguments", Json::array() },
                         { "writable", false } } };
   EXPECT_EQ( renderList( { { "members", members } }, kPlain ), "NAME        ID  TYPE  SET  VALUE\n"
                                                                "doCleanup  144  ()    no   -\n" );
}

TEST( RenderValue, AValueStandsAlone ) {
   EXPECT_EQ( renderValue( { { "path", "/a" }, { "type", "bool" }, { "value", true } }, kPlain ),
              "true\n" );
   EXPECT_EQ( renderValue( { { "value", "a\x1b" } }, kPlain ), "a?\n" );
   EXPECT_EQ( renderValue( { { "value", nullptr } }, kPlain ), "-\n" );
   EXPECT_EQ( renderValue( { { "value", { 1, "\x1b" } } }, kPlain ),
              "[\n   1,\n   \"\\u001b\"\n]\n" );
   EXPECT_EQ( renderValue( Json::object(), kPlain ), "" );
}

TEST( RenderReload, WhatItChanged ) {
   EXPECT_EQ( renderReload( { { "calls", 0 }, { "changes", Json::array() } }, kPlain ),
              "reloaded: nothing changes\n" );
   EXPECT_EQ( renderReload( { { "calls", 2 }, { "changes", { "br10: VLAN 12 added" } } }, kPlain ),
              "reloaded: 2 calls\n   br10: VLAN 12 added\n" );
}

TEST( RenderMetrics, TheTextIsLeftAsItIsButForControlCharacters ) {
   EXPECT_EQ( renderMetrics( { { "text", "a 1\nb\x1b 2" } }, kPlain ), "a 1\nb? 2\n" );
   EXPECT_EQ( renderMetrics( { { "text", "" } }, kPlain ), "" );
}

TEST( RenderCompletions, OneALine ) {
   EXPECT_EQ( renderCompletions( { { "completions", { "/a", "/b c" } } }, kPlain ), "/a\n/b c\n" );
}

TEST( RenderChange, ALineForEachChange ) {
   Json event{ { "at", "2026-11-21T11:02:24Z" }, { "path", "/table" }, { "attribute", "pair" } };
   EXPECT_EQ( renderChange( { { "event", event } }, kPlain ),
              "2026-11-21T11:02:24Z  /table  pair\n" );
   event["key"] = "10/a";
   event["value"] = 7;
   EXPECT_EQ( renderChange( { { "event", event } }, kPlain ),
              "2026-11-21T11:02:24Z  /table  pair[10/a] = 7\n" );
   event["gone"] = true;
   EXPECT_EQ( renderChange( { { "event", event } }, kPlain ),
              "2026-11-21T11:02:24Z  /table  pair[10/a] gone\n" );
   EXPECT_EQ( renderChange( { { "lost", 1 } }, kPlain ), "1 event was lost\n" );
   EXPECT_EQ( renderChange( { { "lost", 2 } }, { true, 0 } ),
              "\033[31m2 events were lost\033[0m\n" );
}

TEST( RenderTrace, ALineForEachTrace ) {
   const Json event{
         { "at", "2026-11-21T11:02:24Z" }, { "facility", "Orlo" }, { "level", 3 },
         { "source", "VrrpSm.cpp" },       { "line", 120 },        { "function", "handle" },
         { "message", "pair 10/a" } };
   EXPECT_EQ( renderTrace( { { "event", event } }, kPlain ),
              "2026-11-21T11:02:24Z  Orlo 3  VrrpSm.cpp:120 handle  pair 10/a\n" );
   EXPECT_EQ( renderTrace( { { "lost", 3 } }, kPlain ), "3 events were lost\n" );
}

TEST( RenderObjects, WhatIsMissingOrOfAnotherTypeIsNamedAndNothingCrashes ) {
   for( const auto render : { renderList, renderReload, renderMetrics, renderCompletions,
                              renderChange, renderTrace } ) {
      for( const Json &bad :
           { Json(), Json( 7 ), Json::array(), Json::object(), Json( { { "members", 7 } } ),
             Json( { { "members", { 7 } } } ), Json( { { "members", { Json::object() } } } ),
             Json( { { "members", { { { "kind", 1 } } } } } ),
             Json( { { "members", { { { "name", 1 } } } } } ), Json( { { "calls", 1 } } ),
             Json( { { "calls", 1 }, { "changes", "x" } } ), Json( { { "text", 1 } } ),
             Json( { { "completions", "x" } } ), Json( { { "event", 1 } } ),
             Json( { { "event", Json::object() } } ), Json( { { "lost", "x" } } ) } ) {
         EXPECT_THROW( render( bad, kPlain ), Failure ) << bad;
      }
   }
   EXPECT_THROW( renderValue( 7, kPlain ), Failure );
}

} // namespace
} // namespace OrloCtl
