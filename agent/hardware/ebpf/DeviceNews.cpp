#include "agent/hardware/ebpf/DeviceNews.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <system_error>

namespace OrloAgent {

namespace {

constexpr std::size_t kBuffer = 64 << 10; // notifications are far smaller
constexpr int kReceiveBuffer = 4 << 20;
constexpr int kDatagramsAtOnce = 256;

[[noreturn]] void fail( const char *doing ) {
   throw std::system_error( errno, std::generic_category(), doing );
}

/// mnl_attr_parse() hands over each attribute that fits into its message.
int onLinkAttribute( const nlattr *attribute, void *name ) {
   if( mnl_attr_get_type( attribute ) == IFLA_IFNAME ) {
      const char *const text = mnl_attr_get_str( attribute );
      static_cast<std::string *>( name )->assign(
            text, strnlen( text, mnl_attr_get_payload_len( attribute ) ) );
   }
   return MNL_CB_OK;
}

void readLink( const nlmsghdr *message, EbpfKernel::News &news ) {
   ifinfomsg header;
   if( mnl_nlmsg_get_payload_len( message ) < sizeof( header ) ) {
      return;
   }
   std::memcpy( &header, mnl_nlmsg_get_payload( message ), sizeof( header ) );
   // A bridge tells of its view of a port in the same messages: "gone" is who leaves it.
   if( header.ifi_family != AF_UNSPEC || header.ifi_index <= 0 ) {
      return;
   }
   EbpfKernel::News::Device device{ static_cast<Quor::U32>( header.ifi_index ), {} };
   mnl_attr_parse( message, sizeof( header ), &onLinkAttribute, &device.name );
   news.devices.push_back( device );
}

void readFilter( const nlmsghdr *message, EbpfKernel::News &news ) {
   tcmsg header;
   if( mnl_nlmsg_get_payload_len( message ) < sizeof( header ) ) {
      return;
   }
   std::memcpy( &header, mnl_nlmsg_get_payload( message ), sizeof( header ) );
   if( header.tcm_ifindex > 0 ) {
      news.filtered.push_back( static_cast<Quor::U32>( header.tcm_ifindex ) );
   }
}

} // namespace

void DeviceNews::CloseSocket::operator()( mnl_socket *socket ) const noexcept {
   mnl_socket_close( socket );
}

DeviceNews::DeviceNews()
      : socket_( mnl_socket_open2( NETLINK_ROUTE, SOCK_NONBLOCK | SOCK_CLOEXEC ) ),
        buffer_( kBuffer ) {
   if( !socket_ ) {
      fail( "cannot open a netlink socket" );
   }
   // What does not fit is made good by a look at everything; without the privilege that is sooner.
   setsockopt( fd(), SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof( kReceiveBuffer ) );
   if( mnl_socket_bind( socket_.get(), RTMGRP_LINK | RTMGRP_TC, MNL_SOCKET_AUTOPID ) < 0 ) {
      fail( "cannot subscribe to the kernel's links" );
   }
}

DeviceNews::~DeviceNews() = default;

int DeviceNews::fd() const {
   return mnl_socket_get_fd( socket_.get() );
}

EbpfKernel::News DeviceNews::hear() {
   EbpfKernel::News news;
   for( int i = 0; i < kDatagramsAtOnce; ++i ) {
      sockaddr_nl sender{};
      iovec part{ buffer_.data(), buffer_.size() };
      msghdr header{};
      header.msg_name = &sender;
      header.msg_namelen = sizeof( sender );
      header.msg_iov = &part;
      header.msg_iovlen = 1;
      const ssize_t count = recvmsg( fd(), &header, MSG_DONTWAIT );
      if( count < 0 && errno == EINTR ) {
         continue;
      }
      if( count < 0 && ( errno == EAGAIN || errno == EWOULDBLOCK ) ) {
         break;
      }
      if( count < 0 || ( header.msg_flags & MSG_TRUNC ) != 0 ) { // ENOBUFS: some did not fit
         news.isIncomplete = true;
      } else if( header.msg_namelen == sizeof( sender ) && sender.nl_pid == 0 ) {
         read( { buffer_.data(), static_cast<std::size_t>( count ) }, news );
      }
   }
   return news;
}

void DeviceNews::read( std::span<const std::byte> datagram, EbpfKernel::News &news ) {
   const auto *message = reinterpret_cast<const nlmsghdr *>( datagram.data() );
   int rest = static_cast<int>( datagram.size() );
   for( ; mnl_nlmsg_ok( message, rest ); message = mnl_nlmsg_next( message, &rest ) ) {
      switch( message->nlmsg_type ) {
      case RTM_NEWLINK:
      case RTM_DELLINK:
         readLink( message, news );
         break;
      case RTM_NEWQDISC:
      case RTM_DELQDISC:
      case RTM_NEWTFILTER:
      case RTM_DELTFILTER:
         readFilter( message, news );
         break;
      case NLMSG_OVERRUN:
         news.isIncomplete = true;
         break;
      default:
         break;
      }
   }
}

} // namespace OrloAgent
