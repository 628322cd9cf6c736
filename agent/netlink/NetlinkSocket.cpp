#include "agent/netlink/NetlinkSocket.h"

#include <libmnl/libmnl.h>
#include <sys/socket.h>
#include <system_error>

namespace OrloAgent {

namespace {

constexpr int kReceiveBuffer = 8 << 20;        // some thousand messages
constexpr std::size_t kFirstBuffer = 64 << 10; // the kernel's dumps come in parts of up to 32 KiB
constexpr std::size_t kLargestBuffer = 1 << 20;

} // namespace

void NetlinkSocket::Close::operator()( mnl_socket *socket ) const noexcept {
   mnl_socket_close( socket );
}

NetlinkSocket::NetlinkSocket( std::initializer_list<rtnetlink_groups> groups )
      : socket_( mnl_socket_open2( NETLINK_ROUTE, SOCK_NONBLOCK | SOCK_CLOEXEC ) ),
        buffer_( kFirstBuffer ) {
   if( !socket_ ) {
      throw std::system_error( errno, std::generic_category(), "cannot open a netlink socket" );
   }
   if( setsockopt( fd(), SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof( kReceiveBuffer ) ) <
       0 ) {
      // Without CAP_NET_ADMIN the system's limit holds; less than wanted only means more
      // re-reading.
      setsockopt( fd(), SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof( kReceiveBuffer ) );
   }
   if( mnl_socket_bind( socket_.get(), 0, MNL_SOCKET_AUTOPID ) < 0 ) {
      throw std::system_error( errno, std::generic_category(), "cannot bind a netlink socket" );
   }
   for( const int wanted : groups ) {
      int group = wanted; // libmnl takes it as changeable
      if( mnl_socket_setsockopt( socket_.get(), NETLINK_ADD_MEMBERSHIP, &group, sizeof( group ) ) <
          0 ) {
         throw std::system_error( errno, std::generic_category(),
                                  "cannot subscribe to the kernel's news" );
      }
   }
}

void NetlinkSocket::joins( rtnetlink_groups group ) noexcept {
   int number = group;
   mnl_socket_setsockopt( socket_.get(), NETLINK_ADD_MEMBERSHIP, &number, sizeof( number ) );
}

int NetlinkSocket::fd() const noexcept {
   return mnl_socket_get_fd( socket_.get() );
}

Quor::U32 NetlinkSocket::port() const noexcept {
   return mnl_socket_get_portid( socket_.get() );
}

bool NetlinkSocket::flagIs( int option, bool value ) noexcept {
   int number = value ? 1 : 0;
   return mnl_socket_setsockopt( socket_.get(), option, &number, sizeof( number ) ) == 0;
}

NetlinkSocket::Received NetlinkSocket::receive() {
   size_ = 0;
   sockaddr_nl sender{};
   iovec part{ buffer_.data(), buffer_.size() };
   msghdr header{};
   header.msg_name = &sender;
   header.msg_namelen = sizeof( sender );
   header.msg_iov = &part;
   header.msg_iovlen = 1;
   const ssize_t count = recvmsg( fd(), &header, MSG_DONTWAIT );
   if( count < 0 ) {
      if( errno == EAGAIN || errno == EWOULDBLOCK ) {
         return Received::nothing;
      }
      if( errno == ENOBUFS ) {
         return Received::lost;
      }
      if( errno == EINTR ) {
         return Received::datagram;
      }
      throw std::system_error( errno, std::generic_category(),
                               "cannot read from the netlink socket" );
   }
   if( header.msg_namelen != sizeof( sender ) || sender.nl_pid != 0 ) {
      return Received::datagram; // not from the kernel
   }
   if( ( header.msg_flags & MSG_TRUNC ) != 0 ) {
      buffer_.resize( std::min( 2 * buffer_.size(), kLargestBuffer ) );
      return Received::lost;
   }
   size_ = static_cast<std::size_t>( count );
   return Received::datagram;
}

int NetlinkSocket::send( NetlinkSpan messages ) noexcept {
   return mnl_socket_sendto( socket_.get(), messages.data(), messages.size() ) < 0 ? errno : 0;
}

} // namespace OrloAgent
