// JSON from outside: what is read, and what the reader says against the rest.
#include "agent/JsonText.h"

#include <gtest/gtest.h>

namespace OrloAgent {
namespace {

std::string reasonAgainst( const std::string &text, Comments comments ) {
   try {
      readJson( text, comments );
   } catch( const JsonError &error ) {
      return error.what();
   }
   return {};
}

TEST( JsonText, CommentsAreForPeople ) {
   const std::string text = "// why\n{ \"a\": /* this */ 1 }";
   EXPECT_EQ( readJson( text ), nlohmann::json( { { "a", 1 } } ) );
   EXPECT_NE( reasonAgainst( text, Comments::refused ).find( "line 1, column 1: " ),
              std::string::npos );
   EXPECT_EQ( readJson( "{ \"a\": 1 }", Comments::refused ), nlohmann::json( { { "a", 1 } } ) );
}

TEST( JsonText, NestingHasABound ) {
   const auto nested = []( std::size_t depth ) {
      return std::string( depth, '[' ) + std::string( depth, ']' );
   };
   EXPECT_TRUE( readJson( nested( kDeepestJson ) ).is_array() );
   EXPECT_EQ( reasonAgainst( nested( kDeepestJson + 1 ), Comments::allowed ),
              "/0: nested more than 64 deep" );
   EXPECT_EQ( reasonAgainst( "{ \"a\": 1, \"b\": " + nested( 100000 ) + " }", Comments::refused ),
              "/b: nested more than 64 deep" );
}

} // namespace
} // namespace OrloAgent
