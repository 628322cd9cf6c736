#include "agent/input/RtnetlinkMessages.h"

#include <cstdint>
#include <cstring>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace OrloAgent {

namespace {

using Bytes = NetlinkSpan;
using Quor::U16;

std::string kindOf( const nlattr *linkInfo ) {
   for( const nlattr *attribute : NetlinkAttributes( payload( linkInfo ) ) ) {
      if( mnl_attr_get_type( attribute ) == IFLA_INFO_KIND ) {
         return text( payload( attribute ) );
      }
   }
   return {};
}

KernelNews readLink( U16 type, Bytes message ) {
   const auto header = leading<ifinfomsg>( message );
   if( !header || header->ifi_index <= 0 ) {
      return Malformed{ "a link message without a link" };
   }
   // Bridges and IPv6 tell of their view of a link in the same messages, under their own family; a
   // bridge says "gone" when a port leaves it.
   if( header->ifi_family != AF_UNSPEC ) {
      return Irrelevant{};
   }
   if( type == RTM_DELLINK ) {
      return LinkGone{ header->ifi_index };
   }
   Link link;
   link.ifindex = header->ifi_index;
   link.up = ( header->ifi_flags & IFF_UP ) != 0;
   link.lowerUp = ( header->ifi_flags & IFF_LOWER_UP ) != 0;
   bool lowerIsElsewhere = false;
   for( const nlattr *attribute : NetlinkAttributes( behind<ifinfomsg>( message ) ) ) {
      const Bytes value = payload( attribute );
      switch( mnl_attr_get_type( attribute ) ) {
      case IFLA_IFNAME:
         link.name = text( value );
         break;
      case IFLA_ADDRESS:
         if( value.size() == sizeof( Pelmo::EthAddr::Octets ) ) {
            link.mac = Pelmo::EthAddr( *leading<Pelmo::EthAddr::Octets>( value ) );
         }
         break;
      case IFLA_LINK:
         link.lower = leading<IfIndex>( value ).value_or( 0 );
         break;
      case IFLA_LINK_NETNSID:
         lowerIsElsewhere = true;
         break;
      case IFLA_PROTO_DOWN:
         link.protoDown = leading<Quor::U8>( value ).value_or( 0 ) != 0;
         break;
      case IFLA_LINKINFO:
         link.kind = kindOf( attribute );
         break;
      case IFLA_WIRELESS: // an event of a driver, with hardly any of the link's attributes
         return Irrelevant{};
      default:
         break;
      }
   }
   if( lowerIsElsewhere ) {
      link.lower = 0; // its number counts in another network namespace
   }
   if( link.name.empty() || link.name.size() >= IFNAMSIZ ) {
      return Malformed{ "a link message without a name" };
   }
   return link;
}

KernelNews readAddress( U16 type, Bytes message ) {
   const auto header = leading<ifaddrmsg>( message );
   if( !header || header->ifa_index == 0 || header->ifa_index > INT32_MAX ) {
      return Malformed{ "an address message without a link" };
   }
   if( header->ifa_family != AF_INET && header->ifa_family != AF_INET6 ) {
      return Irrelevant{};
   }
   Address address;
   address.ifindex = static_cast<IfIndex>( header->ifa_index );
   address.family = header->ifa_family == AF_INET ? Address::Family::V4 : Address::Family::V6;
   const std::size_t length = address.family == Address::Family::V4 ? 4 : 16;

   std::optional<Address::Octets> local,
         other; // IFA_ADDRESS is the peer where there is an IFA_LOCAL
   for( const nlattr *attribute : NetlinkAttributes( behind<ifaddrmsg>( message ) ) ) {
      const U16 kind = mnl_attr_get_type( attribute );
      const Bytes value = payload( attribute );
      if( ( kind == IFA_LOCAL || kind == IFA_ADDRESS ) && value.size() == length ) {
         std::memcpy( ( kind == IFA_LOCAL ? local : other ).emplace().data(), value.data(),
                      length );
      }
   }
   if( !local && !other ) {
      return Malformed{ "an address message without an address" };
   }
   address.local = local ? *local : *other;
   if( address.family == Address::Family::V4 ) {
      address.peer = other ? *other : *local;
      address.prefixLength = header->ifa_prefixlen;
   } else {
      address.peer = address.local;
   }
   return type == RTM_NEWADDR ? KernelNews( address ) : KernelNews( AddressGone{ address } );
}

KernelNews readMessage( U16 type, Bytes message ) {
   switch( type ) {
   case RTM_NEWLINK:
   case RTM_DELLINK:
      return readLink( type, message );
   case RTM_NEWADDR:
   case RTM_DELADDR:
      return readAddress( type, message );
   case NLMSG_DONE:
      return DumpDone{ errnoOf( leading<int>( message ).value_or( 0 ) ) };
   case NLMSG_ERROR:
      if( const auto error = leading<int>( message ) ) {
         return DumpReply{ errnoOf( *error ) };
      }
      return Malformed{ "an answer without an error number" };
   case NLMSG_OVERRUN:
      return Lost{};
   default:
      return Irrelevant{};
   }
}

} // namespace

std::optional<KernelMessage> DatagramReader::next() {
   const auto message = messages_.next();
   if( !message ) {
      return std::nullopt;
   }
   if( message->isTruncated ) {
      return KernelMessage{ message->header, Malformed{ "a truncated message" } };
   }
   return KernelMessage{ message->header,
                         readMessage( message->header.nlmsg_type, message->body ) };
}

} // namespace OrloAgent
