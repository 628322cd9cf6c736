// orloctl's end of the control socket and the agent's, face to face.
#include "ctl/Connection.h"
#include "ctl/Failure.h"
#include "tests/unit/agent/FakeControlHandler.h"

#include <list>

namespace OrloCtl {
namespace {

using Json = nlohmann::json;

class BothEndsTest : public OrloAgent::ControlServerTest {
 protected:
   BothEndsTest() { start(); }

   Json asked( const std::string &command, const Json &arguments = Json::object() ) {
      return Connection( path_, kTimeout ).ask( command, arguments );
   }
   Failure refusalOf( const std::string &command ) {
      try {
         asked( command );
      } catch( const Failure &failure ) {
         return failure;
      }
      ADD_FAILURE() << command << " is answered";
      return { Failure::no, "" };
   }

   static constexpr double kTimeout = 30;
};

TEST_F( BothEndsTest, ArgumentsArriveAndTheResultComesBack ) {
   const Json arguments{ { "vlan", 10 }, { "text", "\"quotes\"\n\xc3\xbc" } };
   EXPECT_EQ( asked( "echo", arguments ), arguments );
}

TEST_F( BothEndsTest, RowsOfManyLinesAreInTheirPlaceInTheResult ) {
   const Json result = asked( "rows", { { "count", 5000 }, { "size", 200 } } );
   EXPECT_EQ( result["total"], 5000 );
   ASSERT_EQ( result["rows"].size(), 5000u );
   for( int i = 0; i < 5000; ++i ) {
      EXPECT_EQ( result["rows"][static_cast<std::size_t>( i )]["row"], i );
   }
   EXPECT_EQ( asked( "rows", { { "count", 0 } } )["rows"], Json::array() );
}

TEST_F( BothEndsTest, ErrorsHaveTheStatusOfTheirKind ) {
   EXPECT_EQ( refusalOf( "no" ).status(), Failure::no );
   EXPECT_STREQ( refusalOf( "no" ).what(), "there is none" );
   EXPECT_EQ( refusalOf( "cannot follow" ).status(), Failure::no );
   EXPECT_EQ( refusalOf( "broken" ).status(), Failure::no );
   EXPECT_EQ( refusalOf( "unheard of" ).status(), Failure::usage );
   EXPECT_EQ( refusalOf( "\xff" ).status(), Failure::usage );
}

TEST_F( BothEndsTest, OneClientTooManyLearnsThatTheAgentIsBusy ) {
   std::list<OrloAgent::TestSocket> others;
   for( std::size_t i = 0; i < OrloAgent::Protocol::mostClients; ++i ) {
      others.emplace_back( path_ );
   }
   ASSERT_TRUE( eventuallyClients( OrloAgent::Protocol::mostClients ) );
   const Failure busy = refusalOf( "echo" );
   EXPECT_EQ( busy.status(), Failure::unreachable );
   EXPECT_STREQ( busy.what(), "there are 64 clients already; try again later" );
}

TEST_F( BothEndsTest, EventsAreFollowedUntilTheServerEnds ) {
   Connection connection( path_, kTimeout );
   EXPECT_EQ( connection.ask( "follow", { { "count", 1 } } ), Json( { { "following", true } } ) );
   EXPECT_EQ( connection.nextEvent()["event"], 0 );
   thread_.call( [&] { handler_.emit( "later" ); } );
   EXPECT_EQ( connection.nextEvent()["event"], "later" );
   stop();
   EXPECT_THROW( connection.nextEvent(), Failure );
}

} // namespace
} // namespace OrloCtl
