// The metrics page over HTTP, and clients that are none.
#include "agent/control/MetricsServer.h"
#include "agent/control/HttpRequest.h"
#include "tests/unit/agent/LoopThread.h"
#include "tests/unit/agent/TestSocket.h"

#include <gtest/gtest.h>

#include <list>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace OrloAgent {
namespace {

using namespace std::chrono_literals;

constexpr const char *kPage = "orlo_pairs_wanted 3\norlo_pairs_programmed 3\n";

class MetricsServerTest : public testing::Test {
 protected:
   ~MetricsServerTest() override {
      thread_.call( [&] { server_.reset(); } );
   }

   void start( const MetricsServer::Settings &settings, const std::string &address ) {
      thread_.call( [&] {
         server_.emplace(
               thread_.loop(), LoopbackAddress( address ),
               [this] {
                  ++pages_;
                  return page_ ? page_() : kPage;
               },
               settings );
         port_ = server_->port();
      } );
   }
   void start() { start( MetricsServer::Settings(), "127.0.0.1:0" ); }

   std::string ask( const std::string &request ) const {
      TestSocket client = TestSocket::toPort( port_ );
      client.send( request );
      return client.rest();
   }
   static std::string firstLine( const std::string &answer ) {
      return answer.substr( 0, answer.find( "\r\n" ) );
   }
   bool eventuallyConnections( std::size_t count ) {
      return thread_.eventually( [&] { return server_->connections() == count; } );
   }

   LoopThread thread_;
   std::optional<MetricsServer> server_;
   std::uint16_t port_ = 0;
   std::function<std::string()> page_;
   int pages_ = 0;
};

TEST_F( MetricsServerTest, ThePageIsServedAndTheConnectionClosed ) {
   start();
   const std::string expected = std::string( "HTTP/1.1 200 OK\r\n"
                                             "Content-Type: text/plain; version=0.0.4\r\n"
                                             "Content-Length: 44\r\n"
                                             "Connection: close\r\n"
                                             "\r\n" ) +
                                kPage;
   EXPECT_EQ( ask( "GET /metrics HTTP/1.1\r\nHost: localhost\r\nAccept: */*\r\n\r\n" ), expected );
   EXPECT_EQ( ask( "GET /metrics HTTP/1.0\n\n" ), expected );
   EXPECT_EQ( ask( "GET /metrics?name=x HTTP/1.0\r\n\r\n" ), expected );
   EXPECT_TRUE( eventuallyConnections( 0 ) );
   EXPECT_EQ( pages_, 3 );
}

TEST_F( MetricsServerTest, ItListensOnTheOtherFamilyAsWell ) {
   start( MetricsServer::Settings(), "[::1]:0" );
   TestSocket client = TestSocket::toPort( port_, AF_INET6 );
   ASSERT_TRUE( client.send( "GET /metrics HTTP/1.1\r\n\r\n" ) );
   EXPECT_EQ( firstLine( client.rest() ), "HTTP/1.1 200 OK" );
}

TEST_F( MetricsServerTest, EverythingElseIsRefused ) {
   start();
   EXPECT_EQ( firstLine( ask( "GET / HTTP/1.1\r\n\r\n" ) ), "HTTP/1.1 404 Not Found" );
   EXPECT_EQ( firstLine( ask( "GET /metrics/ HTTP/1.1\r\n\r\n" ) ), "HTTP/1.1 404 Not Found" );
   const std::string notAllowed = ask( "POST /metrics HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc" );
   EXPECT_EQ( firstLine( notAllowed ), "HTTP/1.1 405 Method Not Allowed" );
   EXPECT_NE( notAllowed.find( "\r\nAllow: GET\r\n" ), std::string::npos );
   for( const std::string bad :
        { "GET /metrics\r\n\r\n", "GET /metrics HTTP/2.0\r\n\r\n", "\r\n\r\n", "GET\r\n\r\n",
          "GET metrics HTTP/1.1\r\n\r\n", "GET /metrics HTTP/1.1\r\nno field\r\n\r\n",
          "G\x01T /metrics HTTP/1.1\r\n\r\n", "GET /metrics HTTP/1.1\r\n: x\r\n\r\n",
          "GET  /metrics HTTP/1.1\r\n\r\n", "\x16\x03\x01\r\n\r\n" } ) {
      EXPECT_EQ( firstLine( ask( bad ) ), "HTTP/1.1 400 Bad Request" ) << bad;
   }
   EXPECT_EQ( pages_, 0 );
}

TEST_F( MetricsServerTest, ARequestMayComeInPieces ) {
   start();
   TestSocket client = TestSocket::toPort( port_ );
   for( const char c : std::string( "GET /metrics HTTP/1.1\r\n\r\n" ) ) {
      ASSERT_TRUE( client.send( std::string( 1, c ) ) );
   }
   EXPECT_EQ( firstLine( client.rest() ), "HTTP/1.1 200 OK" );
}

TEST_F( MetricsServerTest, AnEndlessRequestIsCutOff ) {
   start();
   EXPECT_EQ( firstLine( ask( "GET /metrics HTTP/1.1\r\nX: " + std::string( 9000, 'x' ) ) ),
              "HTTP/1.1 400 Bad Request" );
   TestSocket flood = TestSocket::toPort( port_ );
   flood.send( std::string( 10'000'000, 'x' ) );
   EXPECT_TRUE( eventuallyConnections( 0 ) );
   EXPECT_EQ( firstLine( ask( "GET /metrics HTTP/1.1\r\n\r\n" ) ), "HTTP/1.1 200 OK" );
}

TEST_F( MetricsServerTest, APageThatCannotBeMadeIsAnErrorOfTheServer ) {
   start();
   page_ = []() -> std::string { throw std::runtime_error( "broken" ); };
   EXPECT_EQ( firstLine( ask( "GET /metrics HTTP/1.1\r\n\r\n" ) ),
              "HTTP/1.1 500 Internal Server Error" );
}

TEST_F( MetricsServerTest, AReaderOfALongPageHoldsNobodyUp ) {
   start();
   constexpr std::size_t kLong = 20'000'000;
   page_ = [] { return std::string( kLong, 'x' ); };
   TestSocket slow = TestSocket::toPort( port_ );
   ASSERT_TRUE( slow.send( "GET /metrics HTTP/1.1\r\n\r\n" ) );
   EXPECT_TRUE( thread_.eventually( [&] { return pages_ == 1; } ) );
   EXPECT_EQ( firstLine( ask( "GET / HTTP/1.1\r\n\r\n" ) ), "HTTP/1.1 404 Not Found" );
   EXPECT_GT( slow.rest().size(), kLong );
}

TEST_F( MetricsServerTest, ClientsVanishAtAnyMoment ) {
   start();
   page_ = [] { return std::string( 5'000'000, 'x' ); };
   { TestSocket silent = TestSocket::toPort( port_ ); }
   { TestSocket::toPort( port_ ).send( "GET /met" ); }
   { TestSocket::toPort( port_ ).send( "GET /metrics HTTP/1.1\r\n\r\n" ); }
   EXPECT_TRUE( thread_.eventually( [&] { return pages_ == 1; } ) );
   EXPECT_TRUE( eventuallyConnections( 0 ) );
}

TEST_F( MetricsServerTest, OneConnectionTooManyIsClosed ) {
   start();
   std::list<TestSocket> idle;
   for( int i = 0; i < 16; ++i ) {
      idle.push_back( TestSocket::toPort( port_ ) );
   }
   ASSERT_TRUE( eventuallyConnections( 16 ) );
   EXPECT_EQ( ask( "GET /metrics HTTP/1.1\r\n\r\n" ), "" );
   idle.clear();
   ASSERT_TRUE( eventuallyConnections( 0 ) );
   EXPECT_EQ( firstLine( ask( "GET /metrics HTTP/1.1\r\n\r\n" ) ), "HTTP/1.1 200 OK" );
}

TEST_F( MetricsServerTest, PatienceWithIdleClientsEnds ) {
   MetricsServer::Settings settings;
   settings.patience = 1ms;
   start( settings, "127.0.0.1:0" );
   TestSocket silent = TestSocket::toPort( port_ );
   TestSocket half = TestSocket::toPort( port_ );
   half.send( "GET /metrics HTTP/1.1\r\n" );
   EXPECT_EQ( silent.rest(), "" );
   EXPECT_EQ( half.rest(), "" );
}

TEST_F( MetricsServerTest, AnAddressInUseIsAnError ) {
   start();
   const LoopbackAddress same( "127.0.0.1:" + std::to_string( port_ ) );
   EXPECT_THROW( same.listen(), std::system_error );
}

TEST( LoopbackAddress, OnlyTheMachineItselfIsListenedTo ) {
   for( const char *good : { "127.0.0.1:9464", "127.1.2.3:1", "[::1]:65535", "127.0.0.1:0" } ) {
      EXPECT_EQ( LoopbackAddress( good ).text(), good );
   }
   for( const char *bad : { "", "9464", ":9464", "0.0.0.0:9464", "10.0.0.1:9464", "[::]:9464",
                            "::1:9464", "localhost:9464", "127.0.0.1",
                            "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:9464 ",
                            "127.0.0.1: 1", "[::1]", "[fe80::1]:1", "127.1:80", "1.127.0.0:80" } ) {
      EXPECT_THROW( LoopbackAddress{ bad }, std::invalid_argument ) << bad;
   }
}

TEST( HttpRequest, IsReadWhenItsHeadIsComplete ) {
   const std::string whole = "GET /a?b HTTP/1.1\r\nHost: x\r\n\r\n";
   for( std::size_t i = 0; i < whole.size(); ++i ) {
      EXPECT_FALSE( HttpRequest::read( whole.substr( 0, i ) ) ) << i;
   }
   const auto request = HttpRequest::read( whole );
   ASSERT_TRUE( request );
   EXPECT_TRUE( request->isGood );
   EXPECT_EQ( request->method, "GET" );
   EXPECT_EQ( request->path, "/a" );
}

} // namespace
} // namespace OrloAgent
