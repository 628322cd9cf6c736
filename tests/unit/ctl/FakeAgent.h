// Somebody who answers on a control socket, well or badly; and orloctl as a program.
#ifndef TESTS_UNIT_CTL_FAKEAGENT_H
#define TESTS_UNIT_CTL_FAKEAGENT_H

#include "agent/FileDescriptor.h"
#include "tests/unit/agent/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

namespace OrloCtl {

/// Serves one connection at a time on a thread of its own: reads a line, sends what `answer` makes
/// of it, waits for the other end to close if it `holds`, and closes.
class FakeAgent {
 public:
   using Json = nlohmann::json;
   using Answer = std::function<std::string( const Json &request )>;

   FakeAgent( const std::string &path, Answer answer, bool holds = false )
         : answer_( std::move( answer ) ), holds_( holds ),
           socket_( ::socket( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0 ) ) {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      path.copy( address.sun_path, sizeof( address.sun_path ) - 1 );
      EXPECT_EQ( bind( socket_.get(), reinterpret_cast<const sockaddr *>( &address ),
                       sizeof( address ) ),
                 0 );
      EXPECT_EQ( listen( socket_.get(), 5 ), 0 );
      thread_ = std::thread( [this] { serve(); } );
   }
   ~FakeAgent() {
      shutdown( socket_.get(), SHUT_RDWR );
      thread_.join();
   }
   FakeAgent( const FakeAgent & ) = delete;
   FakeAgent &operator=( const FakeAgent & ) = delete;

   std::vector<Json> requests() {
      const std::lock_guard lock( mutex_ );
      return requests_;
   }

   static std::string result( const Json &result ) {
      return Json( { { "schema", 1 }, { "id", 1 }, { "result", result } } ).dump() + "\n";
   }
   static std::string rows( const Json &rows ) {
      return Json( { { "schema", 1 }, { "id", 1 }, { "rows", rows } } ).dump() + "\n";
   }
   static std::string error( const std::string &kind, const std::string &message,
                             const Json &id = 1 ) {
      return Json( { { "schema", 1 },
                     { "id", id },
                     { "error", { { "kind", kind }, { "message", message } } } } )
                   .dump() +
             "\n";
   }

 private:
   void serve() {
      for( ;; ) {
         const OrloAgent::FileDescriptor client(
               accept4( socket_.get(), nullptr, nullptr, SOCK_CLOEXEC ) );
         if( client.get() < 0 ) {
            return;
         }
         std::string line;
         char c = 0;
         while( recv( client.get(), &c, 1, 0 ) == 1 && c != '\n' ) {
            line += c;
         }
         const Json request = Json::parse( line, nullptr, false );
         {
            const std::lock_guard lock( mutex_ );
            requests_.push_back( request );
         }
         const std::string bytes = answer_( request );
         std::size_t sent = 0;
         while( sent < bytes.size() ) {
            const ssize_t count =
                  send( client.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL );
            if( count < 0 ) {
               break;
            }
            sent += static_cast<std::size_t>( count );
         }
         while( holds_ && recv( client.get(), &c, 1, 0 ) == 1 ) {
         }
      }
   }

   Answer answer_;
   bool holds_;
   OrloAgent::FileDescriptor socket_;
   std::mutex mutex_;
   std::vector<Json> requests_;
   std::thread thread_;
};

class ProgramTest : public testing::Test {
 protected:
   using Json = nlohmann::json;

   struct Ran {
      int status = -1; ///< of its exit, or 128 and the signal
      std::string out;
      std::string err;
   };

   /// Runs a program without a terminal and waits for its end.
   Ran run( std::vector<std::string> words, const std::string &out = "" ) {
      const std::string outPath = out.empty() ? folder_.path( "out" ) : out;
      const std::string errPath = folder_.path( "err" );
      posix_spawn_file_actions_t files;
      posix_spawn_file_actions_init( &files );
      posix_spawn_file_actions_addopen( &files, 0, "/dev/null", O_RDONLY, 0 );
      posix_spawn_file_actions_addopen( &files, 1, outPath.c_str(),
                                        O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY, 0600 );
      posix_spawn_file_actions_addopen( &files, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                        0600 );
      std::vector<char *> arguments;
      for( std::string &word : words ) {
         arguments.push_back( word.data() );
      }
      arguments.push_back( nullptr );
      std::string terminal = "TERM=xterm";
      std::string path = "PATH=/usr/bin:/bin";
      std::array<char *, 3> environment{ terminal.data(), path.data(), nullptr };
      pid_t child = 0;
      Ran ran;
      EXPECT_EQ( posix_spawn( &child, words[0].c_str(), &files, nullptr, arguments.data(),
                              environment.data() ),
                 0 );
      posix_spawn_file_actions_destroy( &files );
      int status = 0;
      EXPECT_EQ( waitpid( child, &status, 0 ), child );
      ran.status = WIFEXITED( status ) ? WEXITSTATUS( status ) : 128 + WTERMSIG( status );
      ran.out = out.empty() ? contentOf( outPath ) : "";
      ran.err = contentOf( errPath );
      return ran;
   }
   Ran orloctl( std::vector<std::string> words, const std::string &out = "" ) {
      words.insert( words.begin(), { ORLOCTL, "--socket", path_ } );
      return run( std::move( words ), out );
   }
   static std::string contentOf( const std::string &path ) {
      std::ostringstream text;
      text << std::ifstream( path ).rdbuf();
      return text.str();
   }

   OrloAgent::TemporaryFolder folder_;
   std::string path_ = folder_.path( "control" );
};

} // namespace OrloCtl

#endif
