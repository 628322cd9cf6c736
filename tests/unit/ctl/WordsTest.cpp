// Small pieces of text: ages, lists, lines that are too long.
#include "ctl/render/Words.h"
#include "ctl/Failure.h"

#include <gtest/gtest.h>

namespace OrloCtl {
namespace {

using Json = nlohmann::json;
using Lines = std::vector<std::string>;

TEST( Words, ADurationHasItsTwoLargestUnits ) {
   EXPECT_EQ( duration( 0 ), "0s" );
   EXPECT_EQ( duration( 59 ), "59s" );
   EXPECT_EQ( duration( 192 ), "3m12s" );
   EXPECT_EQ( duration( 3600 ), "1h00m" );
   EXPECT_EQ( duration( 86399 ), "23h59m" );
   EXPECT_EQ( duration( 4 * 86400 + 3 * 3600 ), "4d03h" );
   EXPECT_EQ( duration( -5 ), "0s" );
}

TEST( Words, AnAgeIsHowLongAgoAMomentWas ) {
   constexpr std::int64_t kNow = 1795258944; // 2026-11-21T11:02:24Z
   EXPECT_EQ( age( "2026-11-21T11:02:24Z", kNow ), "0s" );
   EXPECT_EQ( age( "2026-11-21T10:59:12Z", kNow ), "3m12s" );
   EXPECT_EQ( age( "2026-11-21T10:59:12.345Z", kNow ), "3m12s" );
   EXPECT_EQ( age( "yesterday", kNow ), "yesterday" );
   EXPECT_EQ( age( "2026-11-21", kNow ), "2026-11-21" );
}

TEST( Words, NumbersThatFollowOneAnotherAreARange ) {
   EXPECT_EQ( numbers( Json::array() ), "-" );
   EXPECT_EQ( numbers( { 10 } ), "10" );
   EXPECT_EQ( numbers( { 12, 10, 11, 20, 22, 21, 30 } ), "10-12, 20-22, 30" );
   EXPECT_EQ( numbers( { 10, 10, 11 } ), "10-11" );
   EXPECT_THROW( numbers( { 10, "11" } ), Failure );
}

TEST( Words, AListOfTextsIsAsItIs ) {
   EXPECT_EQ( texts( Json::array() ), "-" );
   EXPECT_EQ( texts( { "b", "a\x1b" } ), "b, a?" );
   EXPECT_THROW( texts( { 1 } ), Failure );
}

TEST( Words, AValueIsOneLineThatMovesNoCursor ) {
   EXPECT_EQ( valueText( nullptr ), "-" );
   EXPECT_EQ( valueText( true ), "yes" );
   EXPECT_EQ( valueText( false ), "no" );
   EXPECT_EQ( valueText( 18446744073709551615u ), "18446744073709551615" );
   EXPECT_EQ( valueText( "a\x1b[2J\n\xff" ), "a?[2J??" );
   EXPECT_EQ( valueText( { { "a", { 1, "x" } } } ), "{\"a\":[1,\"x\"]}" );
}

TEST( Words, LongTextsAreBrokenWhereItHurtsLeast ) {
   EXPECT_EQ( wrapped( "", 5 ), Lines{ "" } );
   EXPECT_EQ( wrapped( "short", 5 ), Lines{ "short" } );
   EXPECT_EQ( wrapped( "one two three", 7 ), ( Lines{ "one two", "three" } ) );
   EXPECT_EQ( wrapped( "10,11,12", 6 ), ( Lines{ "10,11,", "12" } ) );
   EXPECT_EQ( wrapped( "abcdefgh", 3 ), ( Lines{ "abc", "def", "gh" } ) );
   EXPECT_EQ( wrapped( "ab abcdefgh", 4 ), ( Lines{ "ab", "abcd", "efgh" } ) );
   EXPECT_EQ( wrapped( "ab    ", 3 ), ( Lines{ "ab " } ) );
}

TEST( Words, FurtherLinesHangBelowTheFirst ) {
   EXPECT_EQ( hanging( "note: ", std::string( 74, 'x' ) + " y" ),
              "note: " + std::string( 74, 'x' ) + "\n      y\n" );
}

} // namespace
} // namespace OrloCtl
