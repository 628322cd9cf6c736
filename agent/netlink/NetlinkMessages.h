// The messages of one netlink datagram, one after the other.
#ifndef ORLOAGENT_NETLINK_NETLINKMESSAGES_H
#define ORLOAGENT_NETLINK_NETLINKMESSAGES_H

#include "agent/netlink/NetlinkAttributes.h"

#include <algorithm>
#include <linux/netlink.h>
#include <optional>

namespace OrloAgent {

/// Walks over them.
///
///    NetlinkMessages messages( datagram );
///    while( const auto message = messages.next() ) ...
class NetlinkMessages {
 public:
   struct Message {
      nlmsghdr header;
      NetlinkSpan body;         ///< what follows the header
      bool isTruncated = false; ///< these bytes are no message; then there is no body
   };

   /// `datagram` stays the caller's and begins at a 4-byte boundary.
   explicit NetlinkMessages( NetlinkSpan datagram ) noexcept : rest_( datagram ) {}

   /// Nothing at the end. Bytes at the end that are no message come as one truncated one.
   std::optional<Message> next() {
      if( rest_.empty() ) {
         return std::nullopt;
      }
      const auto header = leading<nlmsghdr>( rest_ );
      if( !header || header->nlmsg_len < sizeof( nlmsghdr ) || header->nlmsg_len > rest_.size() ) {
         rest_ = {};
         return Message{ header.value_or( nlmsghdr{} ), {}, true };
      }
      const NetlinkSpan body =
            rest_.subspan( MNL_NLMSG_HDRLEN, header->nlmsg_len - MNL_NLMSG_HDRLEN );
      rest_ =
            rest_.subspan( std::min<std::size_t>( MNL_ALIGN( header->nlmsg_len ), rest_.size() ) );
      return Message{ *header, body, false };
   }

 private:
   NetlinkSpan rest_;
};

} // namespace OrloAgent

#endif
