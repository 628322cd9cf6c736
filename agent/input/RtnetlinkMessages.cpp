#include "agent/input/RtnetlinkMessages.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <string_view>
#include <sys/socket.h>

namespace OrloAgent {

namespace {

using Bytes = std::span<const std::byte>;
using Quor::U16;

/// The attributes that stand one behind the other in `bytes`, up to the first one that does not
/// fit.
class Attributes {
 public:
   explicit Attributes( Bytes bytes ) : bytes_( bytes ) {}

   class Iterator {
    public:
      explicit Iterator( Bytes rest ) : rest_( rest ) { check(); }
      const nlattr *operator*() const {
         return reinterpret_cast<const nlattr *>( rest_.data() ); // aligned: see DatagramReader
      }
      Iterator &operator++() {
         rest_ = rest_.subspan(
               std::min<std::size_t>( MNL_ALIGN( mnl_attr_get_len( **this ) ), rest_.size() ) );
         check();
         return *this;
      }
      bool operator==( std::default_sentinel_t ) const { return rest_.empty(); }

    private:
      void check() {
         if( !mnl_attr_ok( reinterpret_cast<const nlattr *>( rest_.data() ),
                           static_cast<int>( rest_.size() ) ) ) {
            rest_ = {};
         }
      }
      Bytes rest_;
   };

   Iterator begin() const { return Iterator( bytes_ ); }
   std::default_sentinel_t end() const { return {}; }

 private:
   Bytes bytes_;
};

Bytes payload( const nlattr *attribute ) {
   return { static_cast<const std::byte *>( mnl_attr_get_payload( attribute ) ),
            mnl_attr_get_payload_len( attribute ) };
}

/// The first bytes as a T; nothing when there are too few.
template <class T>
std::optional<T> leading( Bytes bytes ) {
   if( bytes.size() < sizeof( T ) ) {
      return std::nullopt;
   }
   T value;
   std::memcpy( &value, bytes.data(), sizeof( T ) );
   return value;
}

/// A text with or without its zero byte.
std::string text( Bytes bytes ) {
   const std::string_view all( reinterpret_cast<const char *>( bytes.data() ), bytes.size() );
   return std::string( all.substr( 0, all.find( '\0' ) ) );
}

/// What of a message follows its family header of type T, or nothing where not even that fits.
template <class T>
Bytes behind( Bytes message ) {
   return message.subspan( std::min( MNL_ALIGN( sizeof( T ) ), message.size() ) );
}

std::string kindOf( const nlattr *linkInfo ) {
   for( const nlattr *attribute : Attributes( payload( linkInfo ) ) ) {
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
   for( const nlattr *attribute : Attributes( behind<ifinfomsg>( message ) ) ) {
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
   for( const nlattr *attribute : Attributes( behind<ifaddrmsg>( message ) ) ) {
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

/// The errno in an answer is negative, as everywhere in the kernel.
int errnoOf( int kernelError ) {
   return kernelError < 0 && kernelError > -4096 ? -kernelError : kernelError == 0 ? 0 : EPROTO;
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
   if( rest_.empty() ) {
      return std::nullopt;
   }
   const auto header = leading<nlmsghdr>( rest_ );
   if( !header || header->nlmsg_len < sizeof( nlmsghdr ) || header->nlmsg_len > rest_.size() ) {
      rest_ = {};
      return KernelMessage{ header.value_or( nlmsghdr{} ), Malformed{ "a truncated message" } };
   }
   const Bytes message = rest_.subspan( MNL_NLMSG_HDRLEN, header->nlmsg_len - MNL_NLMSG_HDRLEN );
   rest_ = rest_.subspan( std::min<std::size_t>( MNL_ALIGN( header->nlmsg_len ), rest_.size() ) );
   return KernelMessage{ *header, readMessage( header->nlmsg_type, message ) };
}

} // namespace OrloAgent
