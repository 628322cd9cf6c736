#include "agent/input/Rtnetlink.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <libmnl/libmnl.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <system_error>

namespace OrloAgent {

namespace {

constexpr int kReceiveBuffer = 8 << 20;        // some thousand messages
constexpr std::size_t kFirstBuffer = 64 << 10; // the kernel's dumps come in parts of up to 32 KiB
constexpr std::size_t kLargestBuffer = 1 << 20;
constexpr int kDatagramsAtOnce = 256; // then signals have their turn
constexpr std::chrono::milliseconds kRetryDelay{ 100 };

} // namespace

void Rtnetlink::CloseSocket::operator()( mnl_socket *socket ) const noexcept {
   mnl_socket_close( socket );
}

Rtnetlink::Rtnetlink( EventLoop &loop ) : loop_( loop ), buffer_( kFirstBuffer ) {}

Rtnetlink::~Rtnetlink() = default;

std::optional<DumpProtocol::Counters> Rtnetlink::counters() const {
   return protocol_ ? std::optional( protocol_->counters() ) : std::nullopt;
}

void Rtnetlink::start( KernelWatcher &watcher ) {
   socket_.reset( mnl_socket_open2( NETLINK_ROUTE, SOCK_NONBLOCK | SOCK_CLOEXEC ) );
   if( !socket_ ) {
      throw std::system_error( errno, std::generic_category(), "cannot open a netlink socket" );
   }
   growReceiveBuffer();
   // Subscribed from here on, before the first dump is asked for.
   if( mnl_socket_bind( socket_.get(), RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR,
                        MNL_SOCKET_AUTOPID ) < 0 ) {
      throw std::system_error( errno, std::generic_category(),
                               "cannot subscribe to the kernel's links and addresses" );
   }
   // Two sockets that use the same port one after the other do not count from the same number.
   const auto now = std::chrono::steady_clock::now().time_since_epoch();
   protocol_.emplace( mnl_socket_get_portid( socket_.get() ),
                      static_cast<Quor::U32>( now.count() / 1000 ), watcher );
   readable_ = loop_.onReadable( mnl_socket_get_fd( socket_.get() ), [this] { onReadable(); } );
   onDrained();
}

void Rtnetlink::stop() {
   readable_ = {};
   retry_ = {};
}

void Rtnetlink::growReceiveBuffer() {
   const int fd = mnl_socket_get_fd( socket_.get() );
   if( setsockopt( fd, SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof( kReceiveBuffer ) ) <
       0 ) {
      // Without CAP_NET_ADMIN the system's limit holds; less than wanted only means more
      // re-reading.
      setsockopt( fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof( kReceiveBuffer ) );
   }
}

void Rtnetlink::onReadable() {
   for( int i = 0; i < kDatagramsAtOnce; ++i ) {
      if( !receive() ) {
         onDrained();
         return;
      }
   }
}

bool Rtnetlink::receive() {
   sockaddr_nl sender{};
   iovec part{ buffer_.data(), buffer_.size() };
   msghdr header{};
   header.msg_name = &sender;
   header.msg_namelen = sizeof( sender );
   header.msg_iov = &part;
   header.msg_iovlen = 1;
   const ssize_t count = recvmsg( mnl_socket_get_fd( socket_.get() ), &header, MSG_DONTWAIT );
   if( count < 0 ) {
      if( errno == EAGAIN || errno == EWOULDBLOCK ) {
         return false;
      }
      if( errno == ENOBUFS ) {
         protocol_->overrun();
      } else if( errno != EINTR ) {
         throw std::system_error( errno, std::generic_category(),
                                  "cannot read from the netlink socket" );
      }
      return true;
   }
   if( header.msg_namelen != sizeof( sender ) || sender.nl_pid != 0 ) {
      return true; // not from the kernel
   }
   if( ( header.msg_flags & MSG_TRUNC ) != 0 ) {
      buffer_.resize( std::min( 2 * buffer_.size(), kLargestBuffer ) );
      protocol_->overrun();
      return true;
   }
   protocol_->datagram( { buffer_.data(), static_cast<std::size_t>( count ) } );
   return true;
}

void Rtnetlink::onDrained() {
   if( const std::optional<DumpProtocol::Request> request = protocol_->drained() ) {
      if( const int error = send( *request ) ) {
         protocol_->refused( error );
      }
   }
   if( protocol_->waitsForRetry() && !retryIsSet_ ) {
      retryIsSet_ = true;
      retry_ = loop_.after( kRetryDelay, [this] {
         retryIsSet_ = false;
         protocol_->retry();
         onReadable();
      } );
   }
}

int Rtnetlink::send( const DumpProtocol::Request &request ) {
   alignas( nlmsghdr ) std::array<char, 128> bytes{};
   nlmsghdr *const header = mnl_nlmsg_put_header( bytes.data() );
   header->nlmsg_type = request.type;
   header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
   header->nlmsg_seq = request.sequence;
   if( request.type == RTM_GETLINK ) {
      mnl_nlmsg_put_extra_header( header, sizeof( ifinfomsg ) );
      mnl_attr_put_u32( header, IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS );
   } else {
      mnl_nlmsg_put_extra_header( header, sizeof( ifaddrmsg ) );
   }
   return mnl_socket_sendto( socket_.get(), header, header->nlmsg_len ) < 0 ? errno : 0;
}

} // namespace OrloAgent
