// The name that was probably meant.
#include "text/Nearest.h"

#include <gtest/gtest.h>

namespace OrloText {
namespace {

TEST( Nearest, AMistypedWordHasANeighbour ) {
   const std::vector<std::string_view> words{ "show", "set", "get", "explain", "reload" };
   EXPECT_EQ( nearest( "shows", words ), "show" );
   EXPECT_EQ( nearest( "relod", words ), "reload" );
   EXPECT_EQ( nearest( "explayn", words ), "explain" );
   EXPECT_EQ( nearest( "show", words ), "show" );
}

TEST( Nearest, LettersThatAreSwappedAreOneMistake ) {
   EXPECT_EQ( nearest( "shwo", { "show" } ), "show" );
   EXPECT_EQ( nearest( "gte", { "set", "get" } ), "get" );
   EXPECT_EQ( nearest( "ge", { "eg" } ), "eg" );
   EXPECT_EQ( nearest( "abcdefgh", { "badcfehg" } ), "" ) << "four of them";
}

TEST( Nearest, IsAtMostThreeLettersAway ) {
   EXPECT_EQ( nearest( "abcdef", { "abcxyz" } ), "abcxyz" );
   EXPECT_EQ( nearest( "abcdefgh", { "abcdwxyz" } ), "" );
   EXPECT_EQ( nearest( "abcdef", { "abcdefghi" } ), "abcdefghi" );
   EXPECT_EQ( nearest( "abcdefgh", { "abcdefghijkl" } ), "" );
   EXPECT_EQ( nearest( "abcdefghijkl", { "abcdefgh" } ), "" );
}

TEST( Nearest, HalfOfWhatWasTypedIsLeft ) {
   EXPECT_EQ( nearest( "vlan", { "vlanId" } ), "vlanId" );
   EXPECT_EQ( nearest( "abcd", { "abxyz" } ), "" );
   EXPECT_EQ( nearest( "abc", { "axy" } ), "" );
   EXPECT_EQ( nearest( "a", { "b" } ), "" );
   EXPECT_EQ( nearest( "", { "a" } ), "" );
   EXPECT_EQ( nearest( "banana", { "show", "explain", "reload" } ), "" );
}

TEST( Nearest, TheFirstOfThoseThatAreEquallyNear ) {
   EXPECT_EQ( nearest( "abcdef", { "abcdxx", "abcdeg", "abcdeh" } ), "abcdeg" );
   EXPECT_EQ( nearest( "abcdef", {} ), "" );
}

TEST( Nearest, TheCaseDoesNotCount ) {
   EXPECT_EQ( nearest( "INTERFACES", { "interfaces" } ), "interfaces" );
   EXPECT_EQ( nearest( "secondaryvlan", { "secondaryVlans" } ), "secondaryVlans" );
   EXPECT_EQ( nearest( "@@@@", { "````" } ), "" ) << "these are no letters";
}

TEST( Nearest, NobodyMeantAWordOfALine ) {
   EXPECT_EQ( nearest( std::string( 100000, 's' ), { "show" } ), "" );
   EXPECT_EQ( nearest( std::string( 3, '\0' ), { "set" } ), "" );
}

TEST( Nearest, IsAskedBackInOnePhrase ) {
   EXPECT_EQ( didYouMean( "vrrpHelpr", { "name", "vrrpHelper" } ), "; did you mean vrrpHelper?" );
   EXPECT_EQ( didYouMean( "nothing", { "name", "vrrpHelper" } ), "" );
}

} // namespace
} // namespace OrloText
