// The audit as people see it.
#include "ctl/render/RenderAudit.h"
#include "ctl/Failure.h"

#include <gtest/gtest.h>

namespace OrloCtl {
namespace {

using Json = nlohmann::json;

constexpr Look kPlain{ false, 0 };

Json row( const char *what, int vlan, const Json &assigned, const Json &held, const char *why,
          bool isRepaired = false ) {
   return { { "what", what },          { "vlan", vlan }, { "mac", "00:00:5e:00:01:33" },
            { "assigned", assigned },  { "held", held }, { "why", why },
            { "repaired", isRepaired } };
}

Json audit( const Json &differences, std::size_t left ) {
   return { { "agent", true },
            { "wanted", 6 },
            { "assigned", 5 },
            { "waiting", 1 },
            { "held", 4 },
            { "indexes", 5 },
            { "repaired", nullptr },
            { "writes", nullptr },
            { "left", left },
            { "total", differences.size() },
            { "differences", differences } };
}

TEST( RenderAudit, NoDifference ) {
   const Json result = audit( Json::array(), 0 );
   EXPECT_EQ( renderAudit( result, kPlain ),
              "6 pairs wanted, 5 assigned, 4 in the hardware: no difference\n" );
   EXPECT_EQ( statusOfAudit( result ), 0 );
}

TEST( RenderAudit, EachDifferenceHasItsLine ) {
   const Json result =
         audit( { row( "missing", 10, 2, nullptr,
                       "no room in the table; asked 4 times since 2026-11-21T12:45:42Z, next at "
                       "2026-11-21T12:46:03Z" ),
                  row( "extra", 4094, nullptr, 1, "the programmer has not given it an index" ),
                  row( "wrong index", 12, 0, 3, "the index is not the pair's own" ) },
                3 );
   EXPECT_EQ( renderAudit( result, kPlain ),
              "WHAT         VLAN  MAC                INDEX  HARDWARE  WHY\n"
              "missing        10  00:00:5e:00:01:33      2         -  no room in the table;\n"
              "                                                       asked 4 times since\n"
              "                                                       2026-11-21T12:45:42Z,\n"
              "                                                       next at\n"
              "                                                       2026-11-21T12:46:03Z\n"
              "extra        4094  00:00:5e:00:01:33      -         1  the programmer has not\n"
              "                                                       given it an index\n"
              "wrong index    12  00:00:5e:00:01:33      0         3  the index is not the\n"
              "                                                       pair's own\n"
              "6 pairs wanted, 5 assigned, 4 in the hardware: 3 differences\n" );
   EXPECT_EQ( statusOfAudit( result ), 1 );
}

TEST( RenderAudit, WhatWasRepairedAndWhatIsLeft ) {
   Json result = audit( { row( "extra", 99, nullptr, 1, "somebody's", true ),
                          row( "missing", 10, 2, nullptr, "no room" ) },
                        1 );
   result["repaired"] = 1;
   result["writes"] = 3;
   EXPECT_EQ( renderAudit( result, kPlain ),
              "WHAT     VLAN  MAC                INDEX  HARDWARE  WHY\n"
              "extra      99  00:00:5e:00:01:33      -         1  repaired: somebody's\n"
              "missing    10  00:00:5e:00:01:33      2         -  no room\n"
              "6 pairs wanted, 5 assigned, 4 in the hardware: 1 repaired by 3 writes, 1 difference "
              "left\n" );
   EXPECT_EQ( statusOfAudit( result ), 1 );
   result["left"] = 0;
   result["differences"].erase( 1 );
   EXPECT_TRUE( renderAudit( result, kPlain )
                      .ends_with( "in the hardware: 1 repaired by 3 writes, no difference\n" ) );
   EXPECT_EQ( statusOfAudit( result ), 0 );
}

TEST( RenderAudit, WithoutAnAgentNothingIsAssigned ) {
   Json result = audit( Json::array(), 0 );
   result["assigned"] = result["waiting"] = nullptr;
   EXPECT_EQ( renderAudit( result, kPlain ), "6 pairs wanted, 4 in the hardware: no difference\n" );
}

TEST( RenderAudit, WhatIsNoAuditIsRefused ) {
   EXPECT_THROW( renderAudit( Json::object(), kPlain ), Failure );
   EXPECT_THROW( statusOfAudit( Json::object() ), Failure );
}

TEST( RenderAudit, WhatKeptItFromTakingPlaceIsNoDifference ) {
   const auto statusAfter = []( Failure::Status status ) {
      return failureOfAudit( { status, "why" } ).status();
   };
   EXPECT_EQ( statusAfter( Failure::no ), Failure::noAudit );
   EXPECT_EQ( statusAfter( Failure::usage ), Failure::usage );
   EXPECT_EQ( statusAfter( Failure::unreachable ), Failure::unreachable );
   EXPECT_STREQ( failureOfAudit( { Failure::no, "why" } ).what(), "why" );
}

} // namespace
} // namespace OrloCtl
