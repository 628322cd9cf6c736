// The attributes of a netlink message, and what stands in them. Whatever the bytes are, reading
// stays inside them.
#ifndef ORLOAGENT_NETLINK_NETLINKATTRIBUTES_H
#define ORLOAGENT_NETLINK_NETLINKATTRIBUTES_H

#include "quor/Types.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <libmnl/libmnl.h>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace OrloAgent {

using NetlinkSpan = std::span<const std::byte>;

/// The attributes that stand one behind the other in `bytes`, up to the first one that does not
/// fit. The bytes stay the caller's and begin at a 4-byte boundary.
class NetlinkAttributes {
 public:
   explicit NetlinkAttributes( NetlinkSpan bytes ) : bytes_( bytes ) {}

   class Iterator {
    public:
      explicit Iterator( NetlinkSpan rest ) : rest_( rest ) { check(); }
      const nlattr *operator*() const {
         return reinterpret_cast<const nlattr *>( rest_.data() ); // aligned: see above
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
      NetlinkSpan rest_;
   };

   Iterator begin() const { return Iterator( bytes_ ); }
   std::default_sentinel_t end() const { return {}; }

 private:
   NetlinkSpan bytes_;
};

/// What stands in the attribute: a value, or attributes again.
inline NetlinkSpan payload( const nlattr *attribute ) {
   return { static_cast<const std::byte *>( mnl_attr_get_payload( attribute ) ),
            mnl_attr_get_payload_len( attribute ) };
}

/// The first bytes as a T; nothing when there are too few.
template <class T>
std::optional<T> leading( NetlinkSpan bytes ) {
   if( bytes.size() < sizeof( T ) ) {
      return std::nullopt;
   }
   T value;
   std::memcpy( &value, bytes.data(), sizeof( T ) );
   return value;
}

/// A text with or without its zero byte.
inline std::string text( NetlinkSpan bytes ) {
   const std::string_view all( reinterpret_cast<const char *>( bytes.data() ), bytes.size() );
   return std::string( all.substr( 0, all.find( '\0' ) ) );
}

/// What of a message follows its family header of type T, or nothing where not even that fits.
template <class T>
NetlinkSpan behind( NetlinkSpan message ) {
   return message.subspan( std::min( MNL_ALIGN( sizeof( T ) ), message.size() ) );
}

/// The errno in an answer is negative, as everywhere in the kernel.
inline int errnoOf( int kernelError ) {
   return kernelError < 0 && kernelError > -4096 ? -kernelError : kernelError == 0 ? 0 : EPROTO;
}

} // namespace OrloAgent

#endif
