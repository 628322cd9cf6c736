// What a reader, or a script, sees on standard output.
#include "agent/Report.h"
#include "tests/unit/agent/FakeKernel.h"

#include <gtest/gtest.h>

#include <sstream>

namespace OrloAgent {
namespace {

using What = PairChange::What;

Pair pair( Quor::U16 vlan, Quor::U8 vrid ) {
   return { Bridging::VlanId( vlan ), vrrpMac( vrid ) };
}

class ReportTest : public testing::Test {
 protected:
   std::ostringstream out_;
   Report report_{ out_ };
   const Report::Record record_{ Pelmo::IntfId( "br10" ), vrrpMac( 51 ) };
};

TEST_F( ReportTest, ALineForEveryChange ) {
   report_.ready( 5, 2, 3, 1 );
   report_.published( record_, "vrrp.51" );
   report_.withdrawn( record_, "vrrp.51", "has no address" );
   report_.changed( { What::adopted, pair( 10, 51 ), 0 } );
   report_.changed( { What::programmed, pair( 10, 51 ), 1 } );
   report_.changed( { What::removed, pair( 4094, 51 ), 2 } );
   report_.changed( { What::waiting, pair( 12, 52 ), 1 } );
   report_.changed( { What::left, pair( 12, 52 ), 0 } );
   report_.refused( { PairChange::What::programmed, pair( 12, 52 ), 3 }, "no room" );
   report_.refused( { PairChange::What::removed, pair( 12, 52 ), 3 }, "no answer" );
   report_.full( 1 );
   report_.full( 5 );
   report_.relieved();
   report_.reloaded( {} );
   report_.reloaded( { "br20 removed", "5 indexes now, 4 before" } );
   report_.overrun();
   EXPECT_EQ( out_.str(),
              "ready: 5 indexes, 2 adopted, 3 pairs programmed, 1 waiting\n"
              "published   br10  00:00:5e:00:01:33  from vrrp.51\n"
              "withdrawn   br10  00:00:5e:00:01:33  vrrp.51: has no address\n"
              "adopted     VLAN 10  00:00:5e:00:01:33  index 0\n"
              "programmed  VLAN 10  00:00:5e:00:01:33  index 1\n"
              "removed     VLAN 4094  00:00:5e:00:01:33  index 2\n"
              "waiting     VLAN 12  00:00:5e:00:01:34  place 1\n"
              "left        VLAN 12  00:00:5e:00:01:34  no longer waits\n"
              "refused     VLAN 12  00:00:5e:00:01:34  index 3: no room\n"
              "refused     VLAN 12  00:00:5e:00:01:34  index 3: cannot be removed: no answer\n"
              "full        1 of 1 indexes in use: what comes now waits\n"
              "full        5 of 5 indexes in use: what comes now waits\n"
              "relieved    nobody waits any more\n"
              "reloaded    the configuration is the same\n"
              "reloaded    br20 removed; 5 indexes now, 4 before\n"
              "overrun     the kernel dropped messages; reading everything again\n" );
}

TEST_F( ReportTest, OneIsNotMany ) {
   report_.ready( 1, 1, 1, 1 );
   report_.table( { { { pair( 10, 51 ), Pelmo::IntfId( "br10" ), 0, {}, true, true } }, 0, 1, 1 } );
   EXPECT_EQ( out_.str(), "ready: 1 index, 1 adopted, 1 pair programmed, 1 waiting\n"
                          "VLAN  MAC                INTERFACE  INDEX    WANTED  PROGRAMMED\n"
                          "  10  00:00:5e:00:01:33  br10       0        yes     yes\n"
                          "1 pair wanted, 1 programmed, 0 waiting; 1 of 1 indexes used\n" );
}

TEST_F( ReportTest, ATableSortedByVlanAndMac ) {
   report_.table( { { { pair( 12, 52 ), Pelmo::IntfId( "br10" ), {}, 1, true, false },
                      { pair( 300, 51 ), Pelmo::IntfId(), 3, {}, false, true },
                      { pair( 12, 51 ), Pelmo::IntfId( "br10" ), 4, {}, true, true },
                      { pair( 5, 52 ), Pelmo::IntfId( "br5" ), 0, {}, true, false } },
                    1,
                    3,
                    5 } );
   EXPECT_EQ( out_.str(), "VLAN  MAC                INTERFACE  INDEX    WANTED  PROGRAMMED\n"
                          "   5  00:00:5e:00:01:34  br5        0        yes     no\n"
                          "  12  00:00:5e:00:01:33  br10       4        yes     yes\n"
                          "  12  00:00:5e:00:01:34  br10       line 1   yes     no\n"
                          " 300  00:00:5e:00:01:33  -          3        no      yes\n"
                          "3 pairs wanted, 2 programmed, 1 waiting; 3 of 5 indexes used\n" );
}

TEST_F( ReportTest, AnEmptyTable ) {
   report_.table( {} );
   EXPECT_EQ( out_.str(), "VLAN  MAC                INTERFACE  INDEX    WANTED  PROGRAMMED\n"
                          "0 pairs wanted, 0 programmed, 0 waiting; 0 of 0 indexes used\n" );
}

TEST_F( ReportTest, ColumnsAreAsWideAsTheyNeed ) {
   report_.table(
         { { { pair( 10, 51 ), Pelmo::IntfId( "abcdefghijklmno" ), {}, 2087940, true, false } },
           1,
           0,
           0 } );
   EXPECT_EQ( out_.str(),
              "VLAN  MAC                INTERFACE        INDEX         WANTED  PROGRAMMED\n"
              "  10  00:00:5e:00:01:33  abcdefghijklmno  line 2087940  yes     no\n"
              "1 pair wanted, 0 programmed, 1 waiting; 0 of 0 indexes used\n" );
}

} // namespace
} // namespace OrloAgent
