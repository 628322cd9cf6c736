#include "agent/control/LoopbackAddress.h"

#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>

namespace OrloAgent {

namespace {

constexpr int kBacklog = 16;

} // namespace

LoopbackAddress::LoopbackAddress( const std::string &text ) : text_( text ) {
   const auto refuse = [&] {
      throw std::invalid_argument( "127.0.0.1:PORT or [::1]:PORT is wanted, not \"" +
                                   text.substr( 0, 60 ) + "\"" );
   };
   const std::size_t colon = text.rfind( ':' );
   if( colon == std::string::npos ) {
      refuse();
   }
   const std::string host = text.substr( 0, colon );
   const char *const end = text.data() + text.size();
   const auto [stopped, error] = std::from_chars( text.data() + colon + 1, end, port_ );
   if( error != std::errc() || stopped != end ) {
      refuse();
   }
   isV6_ = host == "[::1]";
   in_addr v4{};
   constexpr std::uint32_t kLoopbackNet = 127;
   if( !isV6_ && ( inet_pton( AF_INET, host.c_str(), &v4 ) != 1 ||
                   ntohl( v4.s_addr ) >> 24 != kLoopbackNet ) ) {
      refuse();
   }
   v4_ = ntohl( v4.s_addr );
}

FileDescriptor LoopbackAddress::listen() const {
   const auto checked = [this]( int result ) {
      if( result < 0 ) {
         throw std::system_error( errno, std::generic_category(), "cannot listen on " + text_ );
      }
      return result;
   };
   FileDescriptor made( checked(
         ::socket( isV6_ ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 ) ) );
   const int yes = 1;
   checked( setsockopt( made.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof( yes ) ) );
   if( isV6_ ) {
      sockaddr_in6 address{};
      address.sin6_family = AF_INET6;
      address.sin6_port = htons( port_ );
      address.sin6_addr = in6addr_loopback;
      checked( ::bind( made.get(), reinterpret_cast<const sockaddr *>( &address ),
                       sizeof( address ) ) );
   } else {
      sockaddr_in address{};
      address.sin_family = AF_INET;
      address.sin_port = htons( port_ );
      address.sin_addr.s_addr = htonl( v4_ );
      checked( ::bind( made.get(), reinterpret_cast<const sockaddr *>( &address ),
                       sizeof( address ) ) );
   }
   checked( ::listen( made.get(), kBacklog ) );
   return made;
}

} // namespace OrloAgent
