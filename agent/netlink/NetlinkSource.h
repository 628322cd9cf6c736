// One end of a netlink conversation, as whoever speaks it sees it.
#ifndef ORLOAGENT_NETLINK_NETLINKSOURCE_H
#define ORLOAGENT_NETLINK_NETLINKSOURCE_H

#include "agent/netlink/NetlinkAttributes.h"

namespace OrloAgent {

/// NetlinkSocket is the real one; simulators bring theirs.
class NetlinkSource {
 public:
   enum class Received {
      datagram, ///< see datagram(), which is empty when it came from somebody else than the kernel
      nothing,  ///< there is none at the moment
      lost      ///< the kernel had to drop some, or it was too long for us
   };

   virtual ~NetlinkSource() = default;

   virtual int fd() const noexcept = 0;
   /// The netlink port: stands in the kernel's answers to us.
   virtual Quor::U32 port() const noexcept = 0;
   /// One datagram. Throws std::system_error when the socket is broken.
   virtual Received receive() = 0;
   /// The last one; valid until the next receive().
   virtual NetlinkSpan datagram() const noexcept = 0;
   /// Gives an errno, 0 when the kernel has taken the bytes.
   virtual int send( NetlinkSpan messages ) noexcept = 0;
};

} // namespace OrloAgent

#endif
