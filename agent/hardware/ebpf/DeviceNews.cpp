#include "agent/hardware/ebpf/DeviceNews.h"

#include "agent/netlink/NetlinkMessages.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <system_error>

namespace OrloAgent {

namespace {

constexpr int kDatagramsAtOnce = 256;

void readLink( NetlinkSpan message, EbpfKernel::News &news ) {
   const auto header = leading<ifinfomsg>( message );
   // A bridge tells of its view of a port in the same messages: "gone" is who leaves it.
   if( !header || header->ifi_family != AF_UNSPEC || header->ifi_index <= 0 ) {
      return;
   }
   EbpfKernel::News::Device device{ static_cast<Quor::U32>( header->ifi_index ), {} };
   for( const nlattr *attribute : NetlinkAttributes( behind<ifinfomsg>( message ) ) ) {
      if( mnl_attr_get_type( attribute ) == IFLA_IFNAME ) {
         device.name = text( payload( attribute ) );
      }
   }
   news.devices.push_back( device );
}

void readFilter( NetlinkSpan message, EbpfKernel::News &news ) {
   const auto header = leading<tcmsg>( message );
   if( header && header->tcm_ifindex > 0 ) {
      news.filtered.push_back( static_cast<Quor::U32>( header->tcm_ifindex ) );
   }
}

} // namespace

DeviceNews::DeviceNews() : socket_( { RTNLGRP_LINK, RTNLGRP_TC } ) {}

EbpfKernel::News DeviceNews::hear() {
   EbpfKernel::News news;
   for( int i = 0; i < kDatagramsAtOnce; ++i ) {
      try {
         switch( socket_.receive() ) {
         case NetlinkSocket::Received::datagram:
            read( socket_.datagram(), news );
            break;
         case NetlinkSocket::Received::lost:
            news.isIncomplete = true;
            break;
         case NetlinkSocket::Received::nothing:
            return news;
         }
      } catch( const std::system_error & ) { // what there was is looked up instead
         news.isIncomplete = true;
         return news;
      }
   }
   return news;
}

void DeviceNews::read( NetlinkSpan datagram, EbpfKernel::News &news ) {
   NetlinkMessages messages( datagram );
   while( const auto message = messages.next() ) {
      switch( message->header.nlmsg_type ) {
      case RTM_NEWLINK:
      case RTM_DELLINK:
         readLink( message->body, news );
         break;
      case RTM_NEWQDISC:
      case RTM_DELQDISC:
      case RTM_NEWTFILTER:
      case RTM_DELTFILTER:
         readFilter( message->body, news );
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
