#include "agent/input/Rtnetlink.h"

#include "agent/netlink/NetlinkSocket.h"

#include <array>
#include <chrono>
#include <libmnl/libmnl.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

namespace OrloAgent {

namespace {

constexpr int kDatagramsAtOnce = 256; // then signals have their turn
constexpr std::chrono::milliseconds kRetryDelay{ 100 };

} // namespace

std::unique_ptr<NetlinkSource> Rtnetlink::subscribedSocket() {
   return std::make_unique<NetlinkSocket>( std::initializer_list<rtnetlink_groups>{
         RTNLGRP_LINK, RTNLGRP_IPV4_IFADDR, RTNLGRP_IPV6_IFADDR } );
}

Rtnetlink::Rtnetlink( Events &events, Open open, Stopwatch stopwatch )
      : events_( events ), open_( std::move( open ) ), stopwatch_( std::move( stopwatch ) ) {}

Rtnetlink::~Rtnetlink() = default;

std::optional<DumpProtocol::Counters> Rtnetlink::counters() const {
   return protocol_ ? std::optional( protocol_->counters() ) : std::nullopt;
}

void Rtnetlink::start( KernelWatcher &watcher ) {
   // Subscribed from here on, before the first dump is asked for.
   socket_ = open_();
   // Two sockets that use the same port one after the other do not count from the same number.
   const auto now = stopwatch_().time_since_epoch();
   protocol_.emplace( socket_->port(), static_cast<Quor::U32>( now.count() / 1000 ), watcher );
   readable_ = events_.onReadable( socket_->fd(), [this] { onReadable(); } );
   onDrained();
}

void Rtnetlink::stop() {
   readable_ = {};
   goesOn_ = {};
   retry_ = {};
}

void Rtnetlink::onReadable() {
   goesOn_ = {};
   for( int i = 0; i < kDatagramsAtOnce; ++i ) {
      if( !receive() ) {
         onDrained();
         return;
      }
   }
   // That may have been the last one: nothing would wake it then.
   goesOn_ = events_.after( std::chrono::microseconds( 0 ), [this] { onReadable(); } );
}

bool Rtnetlink::receive() {
   switch( socket_->receive() ) {
   case NetlinkSource::Received::nothing:
      return false;
   case NetlinkSource::Received::lost:
      protocol_->overrun();
      break;
   case NetlinkSource::Received::datagram:
      protocol_->datagram( socket_->datagram() );
      break;
   }
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
      retry_ = events_.after( kRetryDelay, [this] {
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
      auto *const address =
            static_cast<ifaddrmsg *>( mnl_nlmsg_put_extra_header( header, sizeof( ifaddrmsg ) ) );
      address->ifa_family = request.family;
   }
   return socket_->send(
         { reinterpret_cast<const std::byte *>( bytes.data() ), header->nlmsg_len } );
}

} // namespace OrloAgent
