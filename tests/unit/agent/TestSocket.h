// A client's socket that blocks, but not for ever.
#ifndef TESTS_UNIT_AGENT_TESTSOCKET_H
#define TESTS_UNIT_AGENT_TESTSOCKET_H

#include "agent/FileDescriptor.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace OrloAgent {

class TestSocket {
 public:
   /// Not connected yet.
   explicit TestSocket( int family ) : socket_( ::socket( family, SOCK_STREAM, 0 ) ) {
      EXPECT_GE( socket_.get(), 0 );
      const timeval patience{ 30, 0 };
      setsockopt( socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof( patience ) );
   }
   /// Connects to a Unix socket.
   explicit TestSocket( const std::string &path ) : TestSocket( AF_UNIX ) { connect( path ); }
   /// Connects to a port of 127.0.0.1 or ::1.
   static TestSocket toPort( std::uint16_t port, int family = AF_INET ) {
      TestSocket made( family );
      sockaddr_in v4{};
      sockaddr_in6 v6{};
      v4.sin_family = AF_INET;
      v4.sin_port = htons( port );
      v4.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
      v6.sin6_family = AF_INET6;
      v6.sin6_port = htons( port );
      v6.sin6_addr = in6addr_loopback;
      made.connect( family == AF_INET ? reinterpret_cast<const sockaddr *>( &v4 )
                                      : reinterpret_cast<const sockaddr *>( &v6 ),
                    family == AF_INET ? sizeof( v4 ) : sizeof( v6 ) );
      return made;
   }

   void connect( const std::string &path ) {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      path.copy( address.sun_path, sizeof( address.sun_path ) - 1 );
      connect( reinterpret_cast<const sockaddr *>( &address ), sizeof( address ) );
   }

   int get() const { return socket_.get(); }
   void close() { socket_ = FileDescriptor(); }
   void endSending() const { shutdown( socket_.get(), SHUT_WR ); }

   /// False: the other end does not take it all.
   bool send( std::string_view bytes ) const {
      while( !bytes.empty() ) {
         const ssize_t count = ::send( socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL );
         if( count < 0 ) {
            return false;
         }
         bytes.remove_prefix( static_cast<std::size_t>( count ) );
      }
      return true;
   }

   /// The next line without its end; empty: there is none, and the connection has ended.
   std::string line() {
      std::size_t end = 0;
      while( ( end = input_.find( '\n' ) ) == std::string::npos ) {
         if( !receive() ) {
            return {};
         }
      }
      const std::string found = input_.substr( 0, end );
      input_.erase( 0, end + 1 );
      return found;
   }
   nlohmann::json json() {
      const std::string text = line();
      EXPECT_FALSE( text.empty() ) << "the connection has ended";
      return text.empty() ? nlohmann::json() : nlohmann::json::parse( text );
   }
   /// Everything up to the end of the connection.
   std::string rest() {
      while( receive() ) {
      }
      return std::exchange( input_, {} );
   }

 private:
   void connect( const sockaddr *address, socklen_t length ) const {
      EXPECT_EQ( ::connect( socket_.get(), address, length ), 0 );
   }
   bool receive() {
      std::array<char, 65536> bytes;
      const ssize_t count = recv( socket_.get(), bytes.data(), bytes.size(), 0 );
      EXPECT_TRUE( count >= 0 || ( errno != EAGAIN && errno != EWOULDBLOCK ) ) << "no answer";
      if( count > 0 ) {
         input_.append( bytes.data(), static_cast<std::size_t>( count ) );
      }
      return count > 0;
   }

   FileDescriptor socket_;
   std::string input_;
};

} // namespace OrloAgent

#endif
