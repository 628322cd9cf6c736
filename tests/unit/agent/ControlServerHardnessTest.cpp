// Clients that make mistakes, do not read, vanish, or mean harm.
#include "tests/unit/agent/FakeControlHandler.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace OrloAgent {
namespace {

using Json = nlohmann::json;

TEST_F( ControlServerTest, WhatIsNoRequestIsAnsweredWithAnErrorAndTheConnectionGoesOn ) {
   start();
   TestSocket client( path_ );
   const std::string head = "{\"schema\":1,\"id\":3,";
   const std::vector<std::string> lines{
         "",
         "garbage",
         std::string( 100, '\0' ),
         "\xff\xfe\x80",
         "7",
         "[]",
         "\"text\"",
         "{}",
         "{\"schema\":1}",
         "{\"schema\":2,\"id\":3,\"command\":\"echo\"}",
         "{\"schema\":\"1\",\"id\":3,\"command\":\"echo\"}",
         "{\"schema\":1,\"id\":\"3\",\"command\":\"echo\"}",
         "{\"schema\":1,\"id\":3.5,\"command\":\"echo\"}",
         "{\"schema\":1,\"id\":1e999,\"command\":\"echo\"}",
         "{\"schema\":1,\"id\":99999999999999999999999,\"command\":\"echo\"}",
         "{\"schema\":1,\"id\":[],\"command\":\"echo\"}",
         head + "\"command\":7}",
         head + "\"command\":\"\"}",
         head + "\"command\":null}",
         head + "\"arguments\":{}}",
         head + "\"command\":\"echo\",\"arguments\":[]}",
         head + "\"command\":\"echo\",\"arguments\":null}",
         head + "\"command\":\"echo\",\"argument\":{}}",
         head + "\"command\":\"echo\",\"command\":\"echo\"}",
         head + "\"command\":\"echo\",\"arguments\":{\"a\":1,\"a\":2}}",
         head + "\"command\":\"echo\"} // with a comment",
         head + "\"command\":\"echo\"",
         head + "\"command\":\"echo\",\"arguments\":{\"a\":\"\xff\"}}",
         std::string( 60000, '[' ),
         std::string( 30000, '[' ) + std::string( 30000, ']' ),
         head + "\"command\":\"echo\",\"arguments\":{\"a\":" + std::string( 63, '[' ) +
               std::string( 63, ']' ) + "}}",
   };
   for( const std::string &line : lines ) {
      ASSERT_TRUE( client.send( line + "\n" ) );
      const Json answer = client.json();
      EXPECT_EQ( answer["error"]["kind"], "usage" ) << line.substr( 0, 100 );
      const std::string message = answer["error"]["message"];
      EXPECT_EQ( message.find( "bad request: " ), 0u ) << message;
      EXPECT_LT( message.size(), 300u );
   }
   EXPECT_EQ( handler_.answers, 0 );
   ASSERT_TRUE( client.send( request( 8, "echo" ) ) );
   EXPECT_EQ( client.json()["id"], 8 );
}

TEST_F( ControlServerTest, AnErrorCarriesTheIdWhenThereIsOne ) {
   start();
   TestSocket client( path_ );
   ASSERT_TRUE( client.send( "{\"schema\":9,\"id\":3}\n{\"id\":3,\"id\":3}\n" ) );
   EXPECT_EQ( client.json(), error( 3, "usage", "bad request: \"schema\" must be 1" ) );
   EXPECT_EQ( client.json(),
              error( nullptr, "usage", "bad request: /id: this member stands here twice" ) );
}

TEST_F( ControlServerTest, RandomBytesAreAnsweredAndHarmNobody ) {
   start();
   std::mt19937 random( 1 );
   const std::string good = request( 1, "rows", { { "count", 3 } } );
   for( int i = 0; i < 300; ++i ) {
      std::string text = good + good + good;
      for( int changes = 0; changes < 6; ++changes ) {
         text[random() % text.size()] = static_cast<char>( random() );
      }
      TestSocket client( path_ );
      client.send( text );
      client.endSending();
      EXPECT_FALSE( client.rest().empty() );
   }
   expectServed();
   EXPECT_TRUE( eventuallyClients( 0 ) );
}

TEST_F( ControlServerTest, ARequestOfTheGreatestLengthIsServedAndALongerOneEndsTheConnection ) {
   start();
   std::string longest = request( 1, "echo" );
   longest.pop_back();
   longest.resize( Protocol::longestRequest, ' ' );
   TestSocket client( path_ );
   ASSERT_TRUE( client.send( longest + "\n" ) );
   EXPECT_EQ( client.json()["id"], 1 );
   ASSERT_TRUE( client.send( longest + " " ) ); // an end is not even needed
   EXPECT_EQ( client.json(), error( nullptr, "usage", "bad request: longer than 65536 bytes" ) );
   EXPECT_EQ( client.rest(), "" );
   EXPECT_TRUE( eventuallyClients( 0 ) );
}

TEST_F( ControlServerTest, ALineOfTenMillionBytesIsCutOff ) {
   start();
   TestSocket client( path_ );
   EXPECT_FALSE( client.send( std::string( 10'000'000, '[' ) ) );
   EXPECT_EQ( client.json()["error"]["kind"], "usage" );
   EXPECT_EQ( client.rest(), "" );
   expectServed();
}

TEST_F( ControlServerTest, HalfARequestIsWaitedForAndAtItsEndRefused ) {
   start();
   TestSocket client( path_ );
   ASSERT_TRUE( client.send( "{\"schema\":1,\"id\":1," ) );
   expectServed();
   client.endSending();
   EXPECT_EQ( client.json(),
              error( nullptr, "usage", "bad request: the end of its line is missing" ) );
   EXPECT_EQ( client.rest(), "" );
}

TEST_F( ControlServerTest, AClientThatNeverReadsHoldsABoundedAmountAndNobodyUp ) {
   start();
   constexpr int kRows = 100000;
   TestSocket lazy( path_ );
   ASSERT_TRUE( lazy.send( request( 1, "rows", { { "count", kRows }, { "size", 100 } } ) ) );
   for( int i = 0; i < 20; ++i ) {
      expectServed();
   }
   thread_.settle();
   const int fetched = thread_.call( [&] { return handler_.rows; } );
   EXPECT_GT( fetched, 0 );
   EXPECT_LT( fetched, 10000 ) << "a megabyte";
   thread_.settle();
   EXPECT_EQ( thread_.call( [&] { return handler_.rows; } ), fetched );
   // It is not forgotten either.
   std::size_t rows = 0;
   Json line = lazy.json();
   for( ; line.contains( "rows" ); line = lazy.json() ) {
      rows += line["rows"].size();
   }
   EXPECT_EQ( rows, std::size_t{ kRows } );
   EXPECT_EQ( line["result"]["total"], kRows );
}

TEST_F( ControlServerTest, RequestsOfAClientThatDoesNotReadStayInTheKernel ) {
   start();
   TestSocket lazy( path_ );
   const timeval soon{ 0, 100000 };
   setsockopt( lazy.get(), SOL_SOCKET, SO_SNDTIMEO, &soon, sizeof( soon ) );
   const std::string one = request( 1, "echo", { { "text", std::string( 10000, 'x' ) } } );
   int sent = 0;
   while( sent < 5000 && lazy.send( one ) ) { // until the kernel takes no more
      ++sent;
   }
   EXPECT_LT( sent, 5000 );
   EXPECT_LE( thread_.call( [&] { return handler_.answers; } ), sent );
   expectServed();
   thread_.settle();
   const int answers = thread_.call( [&] { return handler_.answers; } );
   thread_.settle();
   EXPECT_EQ( thread_.call( [&] { return handler_.answers; } ), answers );
}

TEST_F( ControlServerTest, ClientsVanishAtAnyMoment ) {
   start();
   for( int lines = 0; lines < 8; ++lines ) {
      TestSocket client( path_ );
      ASSERT_TRUE( client.send( request( 1, "rows", { { "count", 1000000 } } ) ) );
      for( int i = 0; i < lines; ++i ) {
         EXPECT_TRUE( client.json().contains( "rows" ) );
      }
   }
   { TestSocket silent( path_ ); }
   { TestSocket( path_ ).send( "{\"half" ); }
   { TestSocket( path_ ).send( request( 1, "follow", { { "count", 5000 } } ) ); }
   expectServed();
   EXPECT_TRUE( eventuallyClients( 0 ) );
   EXPECT_TRUE(
         thread_.eventually( [&] { return handler_.holders == 0 && handler_.followers == 0; } ) );
}

TEST_F( ControlServerTest, OneClientTooManyIsToldSoAndClosed ) {
   start();
   std::list<TestSocket> clients;
   for( std::size_t i = 0; i < Protocol::mostClients; ++i ) {
      clients.emplace_back( path_ );
   }
   ASSERT_TRUE( eventuallyClients( Protocol::mostClients ) );
   TestSocket oneMore( path_ );
   EXPECT_EQ( oneMore.json(),
              error( nullptr, "busy", "there are 64 clients already; try again later" ) );
   EXPECT_EQ( oneMore.rest(), "" );
   clients.pop_front();
   EXPECT_TRUE( eventuallyClients( Protocol::mostClients - 1 ) );
   expectServed();
}

/// Takes notes of what the administrator is told, on whatever thread.
class Notices {
 public:
   Listener::Notice hear() {
      return [this]( const std::string &what ) {
         const std::lock_guard lock( mutex_ );
         heard_.push_back( what );
      };
   }
   std::vector<std::string> heard() const {
      const std::lock_guard lock( mutex_ );
      return heard_;
   }

 private:
   mutable std::mutex mutex_;
   std::vector<std::string> heard_;
};

ControlServer::Settings lookingAllTheTime( const std::string &path, Notices &notices ) {
   ControlServer::Settings settings;
   settings.path = path;
   settings.lookEvery = std::chrono::milliseconds( 1 );
   settings.notice = notices.hear();
   return settings;
}

/// Waits until it is so, for ten seconds.
bool eventually( const std::function<bool()> &isSo ) {
   for( int i = 0; i < 10000 && !isSo(); ++i ) {
      std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );
   }
   return isSo();
}

TEST_F( ControlServerTest, ASocketThatSomebodyRemovesIsMadeAgain ) {
   Notices notices;
   start( lookingAllTheTime( folder_.path( "control" ), notices ) );
   TestSocket connected( path_ );
   ASSERT_TRUE( eventuallyClients( 1 ) );

   ASSERT_EQ( unlink( path_.c_str() ), 0 );

   ASSERT_TRUE( eventually( [&] { return !notices.heard().empty(); } ) );
   expectServed();
   ASSERT_TRUE( connected.send( request( 8, "echo" ) ) );
   EXPECT_EQ( connected.json()["id"], 8 ) << "who was connected still is";
   EXPECT_EQ( notices.heard(), std::vector{ "somebody has removed the control socket " + path_ +
                                            ": it is made again" } );
}

TEST_F( ControlServerTest, WhatStandsInPlaceOfItsSocketIsLeftAlone ) {
   Notices notices;
   start( lookingAllTheTime( folder_.path( "control" ), notices ) );

   std::ofstream( folder_.path( "precious" ) ) << "precious";
   ASSERT_EQ( rename( folder_.path( "precious" ).c_str(), path_.c_str() ), 0 );

   ASSERT_TRUE( eventually( [&] { return !notices.heard().empty(); } ) );
   EXPECT_EQ( std::filesystem::file_size( path_ ), 8u );
   ASSERT_EQ( unlink( path_.c_str() ), 0 );
   ASSERT_TRUE( eventually( [&] { return notices.heard().size() > 1; } ) );
   expectServed();
   const std::string what = "somebody has removed the control socket " + path_ + ": ";
   EXPECT_EQ( notices.heard(),
              ( std::vector<std::string>{
                    what + path_ +
                          " is not a socket; choose another path for the control socket; it is "
                          "tried again and again",
                    what + "it is made again" } ) );
}

TEST_F( ControlServerTest, WhoAsksNothingIsSentAway ) {
   start( std::chrono::milliseconds( 30 ) );
   TestSocket silent( path_ );
   EXPECT_EQ( silent.json(), error( nullptr, "usage", "no request for 1 s: closed" ) );
   EXPECT_EQ( silent.rest(), "" );
   EXPECT_TRUE( eventuallyClients( 0 ) );
}

TEST_F( ControlServerTest, ARequestThatIsSentByteByByteHasToEndInTime ) {
   start( std::chrono::milliseconds( 30 ) );
   TestSocket half( path_ );
   ASSERT_TRUE( eventuallyClients( 1 ) );
   EXPECT_TRUE( thread_.eventually( [&] {
      half.send( " " );
      return server_->clients() == 0;
   } ) );
}

TEST_F( ControlServerTest, WhoDoesNotTakeTheAnswerIsSentAway ) {
   start( std::chrono::milliseconds( 30 ) );
   TestSocket lazy( path_ );
   ASSERT_TRUE( lazy.send( request( 1, "rows", { { "count", 100000 }, { "size", 100 } } ) ) );
   EXPECT_TRUE( thread_.eventually( [&] { return handler_.holders == 1; } ) );
   EXPECT_TRUE( eventuallyClients( 0 ) );
   EXPECT_EQ( thread_.call( [&] { return handler_.holders; } ), 0 );
}

TEST_F( ControlServerTest, WhoFollowsMayBeSilentForEver ) {
   start( std::chrono::milliseconds( 30 ) );
   std::optional<TestSocket> client;
   do { // on a busy machine it may be sent away before it has asked
      client.emplace( path_ );
      client->send( request( 1, "follow" ) );
   } while( client->json().contains( "error" ) );
   TestSocket &follower = *client;
   for( int i = 0; i < 3; ++i ) { // each of these is there for as long as the follower may be
      TestSocket silent( path_ );
      EXPECT_EQ( silent.json(), error( nullptr, "usage", "no request for 1 s: closed" ) );
   }
   thread_.call( [&] { handler_.emit( "still here" ); } );
   EXPECT_EQ( follower.json()["event"], "still here" );
   // Its end is its own; what it has not taken by then is not kept for ever.
   follower.endSending();
   EXPECT_TRUE( eventuallyClients( 0 ) );
}

TEST_F( ControlServerTest, EveryRequestIsWaitedForAnew ) {
   start( std::chrono::seconds( 1 ) );
   TestSocket busy( path_ );
   TestSocket silent( path_ );
   ASSERT_TRUE( eventuallyClients( 2 ) );
   do {
      ASSERT_TRUE( busy.send( request( 7, "echo" ) ) );
      EXPECT_TRUE( busy.json().contains( "result" ) );
   } while( thread_.call( [&] { return server_->clients(); } ) == 2 );
   EXPECT_EQ( silent.json(), error( nullptr, "usage", "no request for 1 s: closed" ) );
   ASSERT_TRUE( busy.send( request( 7, "echo" ) ) );
   EXPECT_TRUE( busy.json().contains( "result" ) );
}

} // namespace
} // namespace OrloAgent
