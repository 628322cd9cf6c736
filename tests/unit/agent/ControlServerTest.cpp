// The control socket's protocol: one request a line, answers, rows, events.
#include "tests/unit/agent/FakeControlHandler.h"

#include <unistd.h>

namespace OrloAgent {
namespace {

using Json = nlohmann::json;

TEST_F( ControlServerTest, ARequestIsAnsweredWithItsId ) {
   start();
   TestSocket client( path_ );
   for( const Json &id : { Json( 7 ), Json( -1 ), Json( 18446744073709551615u ) } ) {
      const Json line{ { "schema", 1 }, { "id", id }, { "command", "echo" } };
      ASSERT_TRUE( client.send( line.dump() + "\n" ) );
      EXPECT_EQ( client.json(),
                 Json( { { "schema", 1 }, { "id", id }, { "result", Json::object() } } ) );
   }
   EXPECT_EQ( handler_.answers, 3 );
}

TEST_F( ControlServerTest, RequestsThatComeTogetherOrInPiecesAreAnsweredInOrder ) {
   start();
   TestSocket client( path_ );
   const std::string first = request( 1, "echo" );
   ASSERT_TRUE( client.send( first + request( 2, "rows", { { "count", 1 } } ) ) );
   const std::string third = request( 3, "echo" );
   for( const char c : third ) {
      ASSERT_TRUE( client.send( std::string( 1, c ) ) );
   }
   EXPECT_EQ( client.json()["id"], 1 );
   EXPECT_EQ( client.json()["rows"], Json( { { { "row", 0 }, { "text", "" } } } ) );
   EXPECT_EQ( client.json()["result"], Json( { { "total", 1 }, { "rowsName", "rows" } } ) );
   EXPECT_EQ( client.json()["id"], 3 );
}

TEST_F( ControlServerTest, TheAnswerToTheLastRequestIsSentAlthoughTheClientHasEndedSending ) {
   start();
   TestSocket client( path_ );
   ASSERT_TRUE( client.send( request( 1, "rows", { { "count", 1000 } } ) + request( 2, "echo" ) ) );
   client.endSending();
   for( int i = 0; i < 5; ++i ) {
      EXPECT_EQ( client.json()["rows"].size(), 200u );
   }
   EXPECT_TRUE( client.json().contains( "result" ) );
   EXPECT_EQ( client.json()["id"], 2 );
   EXPECT_EQ( client.rest(), "" );
   EXPECT_TRUE( eventuallyClients( 0 ) );
}

TEST_F( ControlServerTest, ErrorsOfTheHandlerAreAnswers ) {
   start();
   EXPECT_EQ( ask( "no" ), error( 7, "no", "there is none" ) );
   EXPECT_EQ( ask( "cannot follow" ), error( 7, "refused", "not you" ) );
   EXPECT_EQ( ask( "broken" ), error( 7, "failed", "a bad day \xef\xbf\xbd" ) );
   EXPECT_EQ( ask( "array" ), error( 7, "failed", "the answer is not an object" ) );
   EXPECT_EQ( ask( "what" ), error( 7, "usage", "unknown command" ) );
   expectServed();
}

TEST_F( ControlServerTest, RowsAreSplitIntoLinesByNumberAndByLength ) {
   start();
   TestSocket client( path_ );
   ASSERT_TRUE( client.send( request( 1, "rows", { { "count", 450 } } ) ) );
   EXPECT_EQ( client.json()["rows"].size(), 200u );
   EXPECT_EQ( client.json()["rows"].size(), 200u );
   EXPECT_EQ( client.json()["rows"].size(), 50u );
   EXPECT_TRUE( client.json().contains( "result" ) );

   ASSERT_TRUE( client.send( request( 2, "rows", { { "count", 100 }, { "size", 10000 } } ) ) );
   int next = 0;
   while( next < 100 ) {
      const std::string line = client.line();
      ASSERT_LT( line.size(), Protocol::bytesOfRows + 100 );
      const Json answer = Json::parse( line );
      ASSERT_TRUE( answer.contains( "rows" ) );
      for( const Json &row : answer["rows"] ) {
         EXPECT_EQ( row["row"], next++ );
      }
   }
   EXPECT_EQ( next, 100 );
   EXPECT_TRUE( client.json().contains( "result" ) );
}

TEST_F( ControlServerTest, ARowThatIsLongerThanALineOfRowsStandsAloneInAnother ) {
   start();
   TestSocket client( path_ );
   ASSERT_TRUE( client.send( request( 1, "rows", { { "count", 9 }, { "size", 200000 } } ) ) );
   for( int i = 0; i < 9; ++i ) {
      const Json rows = client.json()["rows"];
      ASSERT_EQ( rows.size(), 1u );
      EXPECT_EQ( rows[0]["row"], i );
   }
   EXPECT_TRUE( client.json().contains( "result" ) );
   ASSERT_TRUE( client.send( request( 2, "rows", { { "count", 1 }, { "size", 300000 } } ) ) );
   EXPECT_EQ( client.json(), error( 2, "failed", "the answer is too big to be sent" ) );
}

TEST_F( ControlServerTest, RowsThatFailInTheMiddleEndInAnError ) {
   start();
   TestSocket client( path_ );
   ASSERT_TRUE( client.send( request( 1, "rows", { { "count", 200 }, { "fails", true } } ) ) );
   EXPECT_EQ( client.json()["rows"].size(), 200u );
   EXPECT_EQ( client.json(), error( 1, "failed", "the rows broke" ) );
   EXPECT_EQ( thread_.call( [&] { return handler_.holders; } ), 0 );
   expectServed();
}

TEST_F( ControlServerTest, ALongAnswerInterleavesWithTheAnswersToOthers ) {
   start();
   TestSocket one( path_ );
   TestSocket other( path_ );
   ASSERT_TRUE( eventuallyClients( 2 ) );
   thread_.call( [&] { // both are there before the loop looks
      EXPECT_TRUE( one.send( request( 1, "rows", { { "count", 3000 } } ) ) );
      EXPECT_TRUE( other.send( request( 2, "echo" ) ) );
   } );
   int rowsWhenAnswered = -1;
   thread_.eventually( [&] {
      rowsWhenAnswered = handler_.answers == 2 ? handler_.rows : -1;
      return handler_.answers == 2;
   } );
   EXPECT_GE( rowsWhenAnswered, 0 );
   EXPECT_LT( rowsWhenAnswered, 3000 );
   EXPECT_EQ( other.json()["id"], 2 );
   EXPECT_EQ( one.json()["rows"].size(), 200u );
}

TEST_F( ControlServerTest, TheHandlerIsToldWhoAsks ) {
   start();
   expectServed();
   thread_.call( [&] {
      EXPECT_EQ( handler_.peer.uid, getuid() );
      EXPECT_EQ( handler_.peer.gid, getgid() );
      EXPECT_EQ( handler_.peer.pid, getpid() );
      EXPECT_TRUE( handler_.peer.mayChange ); // the agent's own user
   } );
}

TEST_F( ControlServerTest, AFollowerIsAnsweredAndThenSentEvents ) {
   start();
   TestSocket client( path_ );
   ASSERT_TRUE( client.send( request( 5, "follow", { { "count", 2 } } ) ) );
   EXPECT_EQ( client.json(),
              Json( { { "schema", 1 }, { "id", 5 }, { "result", { { "following", true } } } } ) );
   EXPECT_EQ( client.json(),
              Json( { { "schema", 1 }, { "id", 5 }, { "sequence", 1 }, { "event", 0 } } ) );
   EXPECT_EQ( client.json()["event"], 1 );
   thread_.call( [&] { handler_.emit( { { "text", "not UTF-8: \xff" } } ); } );
   EXPECT_EQ( client.json(), Json( { { "schema", 1 },
                                     { "id", 5 },
                                     { "sequence", 3 },
                                     { "event", { { "text", "not UTF-8: \xef\xbf\xbd" } } } } ) );
   ASSERT_TRUE( client.send( request( 6, "echo" ) ) );
   EXPECT_EQ( client.json(), error( 6, "usage", "this connection follows; open another one" ) );
   expectServed();
}

TEST_F( ControlServerTest, AFollowingEndsWithItsClient ) {
   start();
   TestSocket client( path_ );
   ASSERT_TRUE( client.send( request( 5, "follow" ) ) );
   EXPECT_TRUE( client.json().contains( "result" ) );
   EXPECT_EQ( thread_.call( [&] { return handler_.followers; } ), 1 );
   client.close();
   EXPECT_TRUE( thread_.eventually( [&] { return handler_.followers == 0; } ) );
   EXPECT_TRUE( eventuallyClients( 0 ) );
   thread_.call( [&] { handler_.emit( "nobody listens" ); } );
   expectServed();
}

TEST_F( ControlServerTest, ASlowFollowerIsToldHowManyEventsItHasLost ) {
   start();
   TestSocket client( path_ );
   ASSERT_TRUE( client.send( request( 5, "follow" ) ) );
   EXPECT_TRUE( client.json().contains( "result" ) );
   constexpr int kEvents = 3000;
   const std::string filling( 1000, 'x' );
   thread_.call( [&] {
      for( int i = 1; i <= kEvents; ++i ) {
         handler_.emit( { { "i", i }, { "filling", filling } } );
      }
   } );
   expectServed(); // nobody is held up

   // What fitted comes without a gap. Once there is room again, one more event brings the number of
   // the lost ones with it; until then it is lost, too.
   int sequence = 0;
   Json line = client.json();
   for( ; !line.contains( "lost" ) && sequence < kEvents; line = client.json() ) {
      ++sequence;
      EXPECT_EQ( line["sequence"], sequence );
      EXPECT_EQ( line["event"]["i"], sequence );
      if( sequence > 100 ) {
         thread_.call( [&] { handler_.emit( { { "i", "attempt" } } ); } );
      }
   }
   EXPECT_GT( sequence, 100 );
   ASSERT_TRUE( line.contains( "lost" ) ) << line;
   EXPECT_EQ( line["lost"], line["sequence"].get<int>() - sequence );
   const Json next = client.json();
   EXPECT_EQ( next["sequence"], line["sequence"].get<int>() + 1 );
   EXPECT_EQ( next["event"]["i"], "attempt" );
}

TEST_F( ControlServerTest, TheEndOfTheServerEndsItsConnectionsAndRemovesTheSocket ) {
   start();
   TestSocket idle( path_ );
   TestSocket follower( path_ );
   TestSocket inTheMiddle( path_ );
   ASSERT_TRUE( follower.send( request( 1, "follow" ) ) );
   EXPECT_TRUE( follower.json().contains( "result" ) );
   ASSERT_TRUE( inTheMiddle.send( request( 1, "rows", { { "count", 1000000 } } ) ) );
   EXPECT_TRUE( inTheMiddle.json().contains( "rows" ) );
   stop();
   EXPECT_EQ( idle.rest(), "" );
   EXPECT_EQ( follower.rest(), "" );
   EXPECT_EQ( handler_.followers, 0 );
   EXPECT_EQ( handler_.holders, 0 );
   EXPECT_NE( access( path_.c_str(), F_OK ), 0 );
}

} // namespace
} // namespace OrloAgent
