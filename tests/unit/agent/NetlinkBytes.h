// Netlink messages made by hand, byte for byte as the kernel lays them out (netlink(7),
// rtnetlink(7)).
#ifndef TESTS_UNIT_AGENT_NETLINKBYTES_H
#define TESTS_UNIT_AGENT_NETLINKBYTES_H

#include "quor/Types.h"

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <span>
#include <string>
#include <vector>

namespace OrloAgent {

/// Bytes at a 4-byte boundary, grown by whole values.
class NetlinkBytes {
 public:
   std::span<const std::byte> span() const {
      return { reinterpret_cast<const std::byte *>( words_.data() ), size_ };
   }
   std::size_t size() const { return size_; }
   std::byte &operator[]( std::size_t at ) {
      return reinterpret_cast<std::byte *>( words_.data() )[at];
   }

   void append( const void *bytes, std::size_t count ) {
      words_.resize( ( size_ + count + 3 ) / 4 );
      if( count != 0 ) {
         std::memcpy( reinterpret_cast<std::byte *>( words_.data() ) + size_, bytes, count );
      }
      size_ += count;
   }
   void pad() {
      words_.resize( ( size_ + 3 ) / 4 );
      size_ = 4 * words_.size();
   }
   NetlinkBytes &operator+=( const NetlinkBytes &other ) {
      pad();
      append( other.span().data(), other.size() );
      return *this;
   }

 private:
   std::vector<Quor::U32> words_;
   std::size_t size_ = 0;
};

inline NetlinkBytes operator+( NetlinkBytes a, const NetlinkBytes &b ) {
   a += b;
   return a;
}

/// One message: header, family header, attributes.
///
///    NetlinkMessage( RTM_NEWLINK ).with( ifinfo ).attribute( IFLA_IFNAME, "br10" ).bytes()
class NetlinkMessage {
 public:
   explicit NetlinkMessage( Quor::U16 type, Quor::U16 flags = 0, Quor::U32 sequence = 0,
                            Quor::U32 port = 0 ) {
      const nlmsghdr header{ 0, type, flags, sequence, port };
      bytes_.append( &header, sizeof( header ) );
   }

   template <class T>
   NetlinkMessage &with( const T &value ) {
      bytes_.append( &value, sizeof( value ) );
      bytes_.pad();
      return *this;
   }
   NetlinkMessage &attribute( Quor::U16 type, const void *value, std::size_t length ) {
      const nlattr header{ static_cast<Quor::U16>( sizeof( nlattr ) + length ), type };
      bytes_.append( &header, sizeof( header ) );
      bytes_.append( value, length );
      bytes_.pad();
      return *this;
   }
   NetlinkMessage &attribute( Quor::U16 type, const std::string &text ) {
      return attribute( type, text.c_str(), text.size() + 1 );
   }
   NetlinkMessage &attribute( Quor::U16 type, std::initializer_list<int> octets ) {
      std::string text;
      for( const int octet : octets ) {
         text += static_cast<char>( octet );
      }
      return attribute( type, text.data(), text.size() );
   }
   NetlinkMessage &number( Quor::U16 type, Quor::U32 value ) {
      return attribute( type, &value, sizeof( value ) );
   }
   NetlinkMessage &nested( Quor::U16 type, const NetlinkBytes &attributes ) {
      return attribute( type, attributes.span().data(), attributes.size() );
   }

   NetlinkBytes bytes() const {
      NetlinkBytes whole = bytes_;
      const auto length = static_cast<Quor::U32>( whole.size() );
      std::memcpy( &whole[0], &length, sizeof( length ) );
      return whole;
   }

 private:
   NetlinkBytes bytes_;
};

/// One attribute, to be nested in another.
inline NetlinkBytes attributeBytes( Quor::U16 type, const std::string &text ) {
   NetlinkBytes bytes;
   const nlattr header{ static_cast<Quor::U16>( sizeof( nlattr ) + text.size() + 1 ), type };
   bytes.append( &header, sizeof( header ) );
   bytes.append( text.c_str(), text.size() + 1 );
   bytes.pad();
   return bytes;
}

inline ifinfomsg linkHeader( int ifindex, unsigned int flags = IFF_UP | ( 1u << 16 ),
                             unsigned char family = 0 ) {
   ifinfomsg header{};
   header.ifi_family = family;
   header.ifi_index = ifindex;
   header.ifi_flags = flags;
   return header;
}

inline ifaddrmsg addressHeader( unsigned int ifindex, unsigned char family,
                                unsigned char prefixLength ) {
   ifaddrmsg header{};
   header.ifa_family = family;
   header.ifa_prefixlen = prefixLength;
   header.ifa_index = ifindex;
   return header;
}

} // namespace OrloAgent

#endif
