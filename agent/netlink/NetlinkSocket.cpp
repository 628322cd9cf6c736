#include "agent/netlink/NetlinkSocket.h"

#include <algorithm>
#include <cerrno>
#include <libmnl/libmnl.h>
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
        room_( kFirstBuffer ), arrivals_( 1 ) {
   makeRoom();
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

void NetlinkSocket::readAheadIs( std::size_t datagrams ) {
   arrivals_.resize( std::clamp( datagrams, std::size_t{ 1 }, kMostAhead ) );
   makeRoom();
}

/// Pages of it that no datagram reaches take no memory.
void NetlinkSocket::makeRoom() {
   buffer_ = std::make_unique_for_overwrite<std::byte[]>( arrivals_.size() * room_ );
   headers_.resize( arrivals_.size() );
   for( std::size_t i = 0; i < arrivals_.size(); ++i ) {
      arrivals_[i].bytes = { buffer_.get() + i * room_, room_ };
      headers_[i] = {};
      headers_[i].msg_hdr.msg_name = &arrivals_[i].sender;
      headers_[i].msg_hdr.msg_iov = &arrivals_[i].bytes;
      headers_[i].msg_hdr.msg_iovlen = 1;
   }
   isTooSmall_ = false;
}

/// Takes what there is; gives why there is nothing.
std::optional<NetlinkSocket::Received> NetlinkSocket::fill() {
   if( isTooSmall_ ) {
      room_ = std::min( 2 * room_, kLargestBuffer );
      makeRoom();
   }
   for( mmsghdr &header : headers_ ) {
      header.msg_hdr.msg_namelen = sizeof( sockaddr_nl );
   }
   next_ = 0;
   count_ = 0;
   const int count = recvmmsg( fd(), headers_.data(), static_cast<unsigned>( headers_.size() ),
                               MSG_DONTWAIT, nullptr );
   if( count >= 0 ) {
      count_ = static_cast<std::size_t>( count );
      return std::nullopt;
   }
   if( errno == EAGAIN || errno == EWOULDBLOCK ) {
      return Received::nothing;
   }
   if( errno == ENOBUFS ) {
      return Received::lost;
   }
   if( errno == EINTR ) {
      return Received::datagram;
   }
   throw std::system_error( errno, std::generic_category(), "cannot read from the netlink socket" );
}

NetlinkSocket::Received NetlinkSocket::receive() {
   datagram_ = {};
   if( !isAhead() ) {
      if( const std::optional<Received> why = fill() ) {
         return *why;
      }
   }
   const std::size_t at = next_++;
   const msghdr &header = headers_[at].msg_hdr;
   if( header.msg_namelen != sizeof( sockaddr_nl ) || arrivals_[at].sender.nl_pid != 0 ) {
      return Received::datagram; // not from the kernel
   }
   if( ( header.msg_flags & MSG_TRUNC ) != 0 ) {
      isTooSmall_ = true;
      return Received::lost;
   }
   datagram_ = { buffer_.get() + at * room_, headers_[at].msg_len };
   return Received::datagram;
}

int NetlinkSocket::send( NetlinkSpan messages ) noexcept {
   return mnl_socket_sendto( socket_.get(), messages.data(), messages.size() ) < 0 ? errno : 0;
}

} // namespace OrloAgent
