// What is wanted, assigned and held, compared: one story for each way in which they differ.
#include "agent/Audit.h"
#include "tests/unit/agent/FakeKernel.h"

#include <gtest/gtest.h>

#include <sstream>

namespace OrloAgent {
namespace {

using Quor::U16;
using Quor::U32;
using Lines = std::vector<std::string>;

constexpr U32 kIndexes = 4;

Pair pair( U16 vlan, Quor::U8 vrid = 51 ) {
   return { Bridging::VlanId( vlan ), vrrpMac( vrid ) };
}

const Pair kTen = pair( 10 );
const Pair kEleven = pair( 11 );
const Pair kTwelve = pair( 12 );

const char *word( Audit::Kind kind ) {
   constexpr const char *kWords[] = { "missing",   "extra",    "wrong index", "twice",
                                      "forgotten", "unwanted", "idle" };
   return kWords[static_cast<int>( kind )];
}

std::string text( const std::optional<U32> &index ) {
   return index ? std::to_string( *index ) : "-";
}

/// "missing 10 2 -": what, the VLAN, its index, the index in the hardware.
Lines lines( const Audit &audit ) {
   Lines all;
   for( const Audit::Difference &one : audit.differences() ) {
      all.push_back( std::string( word( one.kind ) ) + " " + valueToStrep( one.pair.vlanId() ) +
                     " " + text( one.assigned ) + " " + text( one.held ) );
   }
   return all;
}

struct Row {
   const char *story;
   std::vector<Pair> wanted;
   Audit::Assigned assigned;
   std::vector<Audit::Entry> held;
   Lines differences;
};

TEST( Audit, EachWayInWhichTheyDiffer ) {
   const std::vector<Row> rows{
         { "nothing at all", {}, {}, {}, {} },
         { "all agree, in whatever order the hardware tells",
           { kTen, kEleven, kTwelve },
           { { { kTen, 2 }, { kEleven, 0 }, { kTwelve, 1 } }, {} },
           { { kTwelve, 1 }, { kTen, 2 }, { kEleven, 0 } },
           {} },
         { "the hardware has lost one",
           { kTen, kEleven },
           { { { kTen, 0 }, { kEleven, 1 } }, {} },
           { { kTen, 0 } },
           { "missing 11 1 -" } },
         { "another pair stands where it belongs",
           { kTen },
           { { { kTen, 0 } }, {} },
           { { kEleven, 0 } },
           { "missing 10 0 -", "extra 11 - 0" } },
         { "somebody has written one of his own",
           { kTen },
           { { { kTen, 0 } }, {} },
           { { kTen, 0 }, { kTwelve, 3 }, { kEleven, std::nullopt } },
           { "extra 11 - -", "extra 12 - 3" } },
         { "the same pair on another VLAN, or another MAC on the same VLAN, is another pair",
           { kTen },
           { { { kTen, 0 } }, {} },
           { { pair( 10, 52 ), 0 } },
           { "missing 10 0 -", "extra 10 - 0" } },
         { "one has been moved",
           { kTen, kEleven },
           { { { kTen, 0 }, { kEleven, 1 } }, {} },
           { { kTen, 0 }, { kEleven, 3 } },
           { "wrong index 11 1 3" } },
         { "two have changed places",
           { kTen, kEleven },
           { { { kTen, 0 }, { kEleven, 1 } }, {} },
           { { kTen, 1 }, { kEleven, 0 } },
           { "wrong index 10 0 1", "wrong index 11 1 0" } },
         { "an entry that has lost its index, and one with an index that there is not",
           { kTen, kEleven },
           { { { kTen, 0 }, { kEleven, 1 } }, {} },
           { { kTen, std::nullopt }, { kEleven, 77 } },
           { "wrong index 10 0 -", "wrong index 11 1 77" } },
         { "a further entry, told before the right one and after it",
           { kTen },
           { { { kTen, 1 } }, {} },
           { { kTen, 3 }, { kTen, 1 }, { kTen, std::nullopt }, { kTen, 1 } },
           { "twice 10 1 -", "twice 10 1 1", "twice 10 1 3" } },
         { "two entries, neither of which is right",
           { kTen },
           { { { kTen, 1 } }, {} },
           { { kTen, 3 }, { kTen, 2 } },
           { "wrong index 10 1 3", "twice 10 1 2" } },
         { "wanted, and the programmer has not heard of it",
           { kTen, kEleven },
           { { { kTen, 0 } }, {} },
           { { kTen, 0 } },
           { "forgotten 11 - -" } },
         { "assigned, and nobody wants it, whether the hardware holds it or not",
           { kTen },
           { { { kTen, 0 }, { kEleven, 1 }, { kTwelve, 2 } }, {} },
           { { kTen, 0 }, { kEleven, 1 } },
           { "unwanted 11 1 -", "unwanted 12 2 -" } },
         { "waits, and nobody wants it",
           {},
           { { { kTen, 0 }, { kEleven, 1 }, { kTwelve, 2 }, { pair( 13 ), 3 } }, { pair( 14 ) } },
           {},
           { "unwanted 10 0 -", "unwanted 11 1 -", "unwanted 12 2 -", "unwanted 13 3 -",
             "unwanted 14 - -" } },
         { "the first two of the line wait although two indexes are free",
           { kTen, kEleven, kTwelve, pair( 13 ), pair( 14 ) },
           { { { kTen, 0 }, { kEleven, 1 } }, { pair( 14 ), kTwelve, pair( 13 ) } },
           { { kTen, 0 }, { kEleven, 1 } },
           { "idle 12 - -", "idle 14 - -" } },
         { "one that stands in the line twice takes one index",
           { kTen, kEleven, kTwelve, pair( 13 ), pair( 14 ) },
           { { { kTen, 0 }, { kEleven, 1 }, { kTwelve, 2 } },
             { pair( 14 ), pair( 14 ), pair( 13 ) } },
           { { kTen, 0 }, { kEleven, 1 }, { kTwelve, 2 } },
           { "idle 14 - -" } },
         { "who waits for a full table is no difference",
           { kTen, kEleven, kTwelve, pair( 13 ), pair( 14 ), pair( 15 ) },
           { { { kTen, 0 }, { kEleven, 1 }, { kTwelve, 2 }, { pair( 13 ), 3 } },
             { pair( 15 ), pair( 14 ) } },
           { { kTen, 0 }, { kEleven, 1 }, { kTwelve, 2 }, { pair( 13 ), 3 } },
           {} },
         { "who waits, and the hardware holds it all the same",
           { kTen, kEleven, kTwelve, pair( 13 ), pair( 14 ) },
           { { { kTen, 0 }, { kEleven, 1 }, { kTwelve, 2 }, { pair( 13 ), 3 } }, { pair( 14 ) } },
           { { kTen, 0 }, { kEleven, 1 }, { kTwelve, 2 }, { pair( 14 ), 3 } },
           { "missing 13 3 -", "extra 14 - 3" } },
         { "VLAN 0 has an index, and never reaches the hardware",
           { pair( 0 ), kTen },
           { { { pair( 0 ), 0 }, { kTen, 1 } }, {} },
           { { kTen, 1 } },
           {} },
   };
   for( const Row &row : rows ) {
      const Audit audit( row.wanted, row.assigned, row.held, kIndexes );
      EXPECT_EQ( lines( audit ), row.differences ) << row.story;
      EXPECT_EQ( audit.wanted(), row.wanted.size() ) << row.story;
      EXPECT_EQ( audit.assigned(), row.assigned.indexes.size() ) << row.story;
      EXPECT_EQ( audit.waiting(), row.assigned.line.size() ) << row.story;
      EXPECT_EQ( audit.held(), row.held.size() ) << row.story;
   }
}

TEST( Audit, WithoutAProgrammer ) {
   const std::vector<Row> rows{
         { "nothing at all", {}, {}, {}, {} },
         { "what is wanted is there, under whichever index",
           { kTen, kEleven },
           {},
           { { kTen, 3 }, { kEleven, 0 } },
           {} },
         { "nobody wants it", { kTen }, {}, { { kTen, 0 }, { kEleven, 1 } }, { "extra 11 - 1" } },
         { "not there, although an index is free",
           { kTen, kEleven },
           {},
           { { kTen, 0 } },
           { "missing 11 - -" } },
         { "more than there are indexes: the first of them are missing",
           { pair( 15 ), kTen, kEleven, kTwelve, pair( 13 ), pair( 14 ) },
           {},
           { { kTen, 0 }, { kEleven, 1 } },
           { "missing 12 - -", "missing 15 - -" } },
         { "a full table, and others wait",
           { kTen, kEleven, kTwelve, pair( 13 ), pair( 14 ) },
           {},
           { { kTen, 0 }, { kEleven, 1 }, { kTwelve, 2 }, { pair( 13 ), 3 } },
           {} },
         { "what nobody wants leaves its index to one that is wanted",
           { kTen, kEleven, kTwelve, pair( 14 ) },
           {},
           { { kTen, 0 }, { kEleven, 1 }, { kTwelve, 2 }, { pair( 13 ), 3 } },
           { "extra 13 - 3", "missing 14 - -" } },
         { "entries without a good index",
           { kTen, kEleven, kTwelve },
           {},
           { { kTen, std::nullopt }, { kEleven, 4 }, { kTwelve, 0 } },
           { "wrong index 10 - -", "wrong index 11 - 4" } },
         { "two pairs under one index: the first is adopted",
           { kTen, kEleven },
           {},
           { { kEleven, 1 }, { kTen, 1 } },
           { "wrong index 10 - 1" } },
         { "one pair under two indexes: the first is adopted",
           { kTen },
           {},
           { { kTen, 2 }, { kTen, 1 } },
           { "twice 10 2 1" } },
   };
   for( const Row &row : rows ) {
      const Audit audit( row.wanted, row.held, kIndexes );
      EXPECT_EQ( lines( audit ), row.differences ) << row.story;
      EXPECT_EQ( audit.wanted(), row.wanted.size() ) << row.story;
      EXPECT_EQ( audit.assigned(), std::nullopt ) << row.story;
      EXPECT_EQ( audit.waiting(), std::nullopt ) << row.story;
      EXPECT_EQ( audit.held(), row.held.size() ) << row.story;
   }
}

} // namespace
} // namespace OrloAgent
