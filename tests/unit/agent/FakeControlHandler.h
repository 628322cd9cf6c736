// Answers what the tests of the control socket ask.
#ifndef TESTS_UNIT_AGENT_FAKECONTROLHANDLER_H
#define TESTS_UNIT_AGENT_FAKECONTROLHANDLER_H

#include "agent/control/ControlServer.h"
#include "tests/unit/agent/LoopThread.h"
#include "tests/unit/agent/TemporaryFolder.h"
#include "tests/unit/agent/TestSocket.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>

namespace OrloAgent {

/// "echo" gives its arguments; "rows" gives `count` rows of `size` bytes, then fails if `fails`;
/// "fail" throws the error of `kind`; "follow" follows, with `count` events at once.
class FakeControlHandler : public ControlHandler {
 public:
   using Json = nlohmann::json;

   class Follower : public Following {
    public:
      explicit Follower( FakeControlHandler &handler ) : handler_( handler ) {
         ++handler_.followers;
      }
      ~Follower() override {
         --handler_.followers;
         handler_.emit( "last words" );
      }

    private:
      FakeControlHandler &handler_;
   };

   Answer answer( const std::string &command, const Json &arguments, const Peer &from ) override {
      ++answers;
      peer = from;
      if( command == "echo" ) {
         return { arguments, "", nullptr };
      }
      if( command == "rows" ) {
         const auto holder = std::make_shared<Holder>( *this );
         return { { { "total", arguments.at( "count" ) } },
                  "rows",
                  [this, arguments, holder, i = 0]( Json &row ) mutable {
                     if( i == arguments.at( "count" ) ) {
                        if( arguments.value( "fails", false ) ) {
                           throw std::runtime_error( "the rows broke" );
                        }
                        return false;
                     }
                     ++rows;
                     row = { { "row", i++ },
                             { "text", std::string( arguments.value( "size", 0u ), 'x' ) } };
                     return true;
                  } };
      }
      if( command == "array" ) {
         return { Json::array(), "", nullptr };
      }
      if( command == "no" ) {
         throw ControlError( ControlError::Kind::no, "there is none" );
      }
      if( command == "broken" ) {
         throw std::runtime_error( "a bad day \xff" );
      }
      throw ControlError( ControlError::Kind::usage, "unknown command" );
   }

   std::unique_ptr<Following> follow( const std::string &command, const Json &arguments,
                                      const Peer &, Emit to ) override {
      if( command == "cannot follow" ) {
         to( "never to be seen" );
         throw ControlError( ControlError::Kind::refused, "not you" );
      }
      if( command != "follow" ) {
         to( "never to be seen" );
         return nullptr;
      }
      emit = to;
      for( int i = 0; i < arguments.value( "count", 0 ); ++i ) {
         emit( i );
      }
      return std::make_unique<Follower>( *this );
   }

   Emit emit;
   Peer peer;
   int followers = 0;
   int answers = 0;
   int rows = 0;    // fetched so far
   int holders = 0; // answers with rows that have not gone

 private:
   struct Holder {
      explicit Holder( FakeControlHandler &of ) : handler( of ) { ++handler.holders; }
      ~Holder() { --handler.holders; }
      Holder( const Holder & ) = delete;
      Holder &operator=( const Holder & ) = delete;
      FakeControlHandler &handler;
   };
};

/// A server, its loop and its handler.
class ControlServerTest : public testing::Test {
 protected:
   using Json = nlohmann::json;

   ~ControlServerTest() override { stop(); }

   void start( const ControlServer::Settings &settings ) {
      path_ = settings.path;
      thread_.call( [&] { server_.emplace( thread_.loop(), handler_, settings ); } );
   }
   void start( std::chrono::microseconds patience = Protocol::patience ) {
      ControlServer::Settings settings;
      settings.path = folder_.path( "control" );
      settings.patience = patience;
      start( settings );
   }
   void stop() {
      thread_.call( [&] { server_.reset(); } );
   }

   static std::string request( int id, const std::string &command,
                               const Json &arguments = Json::object() ) {
      const Json line{
            { "schema", 1 }, { "id", id }, { "command", command }, { "arguments", arguments } };
      return line.dump() + "\n";
   }
   /// What a fresh client is answered to one request.
   Json ask( const std::string &command, const Json &arguments = Json::object() ) {
      TestSocket client( path_ );
      EXPECT_TRUE( client.send( request( 7, command, arguments ) ) );
      return client.json();
   }
   void expectServed() {
      EXPECT_EQ( ask( "echo", { { "a", 1 } } ),
                 Json( { { "schema", 1 }, { "id", 7 }, { "result", { { "a", 1 } } } } ) );
   }
   static Json error( const Json &id, const std::string &kind, const std::string &message ) {
      return { { "schema", 1 },
               { "id", id },
               { "error", { { "kind", kind }, { "message", message } } } };
   }
   bool eventuallyClients( std::size_t count ) {
      return thread_.eventually( [&] { return server_->clients() == count; } );
   }

   TemporaryFolder folder_;
   FakeControlHandler handler_;
   LoopThread thread_;
   std::string path_;
   std::optional<ControlServer> server_; // used on the loop's thread alone
};

} // namespace OrloAgent

#endif
