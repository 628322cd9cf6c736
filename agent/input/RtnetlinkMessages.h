// Rtnetlink messages (rtnetlink(7), linux/rtnetlink.h) turned into plain values: no socket, no
// state. Whatever the bytes are, reading stays inside them and nothing stops the process.
#ifndef ORLOAGENT_INPUT_RTNETLINKMESSAGES_H
#define ORLOAGENT_INPUT_RTNETLINKMESSAGES_H

#include "agent/input/Kernel.h"
#include "agent/netlink/NetlinkMessages.h"
#include "quor/Types.h"

#include <cstddef>
#include <linux/netlink.h>
#include <span>
#include <variant>

namespace OrloAgent {

struct LinkGone {
   IfIndex ifindex;
   bool operator==( const LinkGone & ) const = default;
};
struct AddressGone {
   Address address;
   bool operator==( const AddressGone & ) const = default;
};
/// The end of a dump. `error` is an errno, 0 when all went well.
struct DumpDone {
   int error;
   bool operator==( const DumpDone & ) const = default;
};
/// The answer to a request that the kernel refused (an errno), or an acknowledgement (0).
struct DumpReply {
   int error;
   bool operator==( const DumpReply & ) const = default;
};
/// The kernel lost messages (NLMSG_OVERRUN).
struct Lost {
   bool operator==( const Lost & ) const = default;
};
/// Well formed, but not about links or addresses as such: other families' views of a link, wireless
/// events, types that nobody asked for.
struct Irrelevant {
   bool operator==( const Irrelevant & ) const = default;
};
/// Not what the kernel's header files say that it should be.
struct Malformed {
   const char *what; ///< a literal
   bool operator==( const Malformed & ) const noexcept { return true; }
};

using KernelNews = std::variant<Irrelevant, Link, LinkGone, Address, AddressGone, DumpDone,
                                DumpReply, Lost, Malformed>;

/// One message of a datagram; `header` is valid for it whatever `news` is.
struct KernelMessage {
   nlmsghdr header;
   KernelNews news;
};

/// Walks over the messages of one datagram.
///
///    DatagramReader reader( bytes );
///    while( const std::optional<KernelMessage> message = reader.next() ) ...
class DatagramReader {
 public:
   /// `datagram` stays the caller's and begins at a 4-byte boundary.
   explicit DatagramReader( std::span<const std::byte> datagram ) noexcept
         : messages_( datagram ) {}

   /// Nothing at the end. Bytes at the end that are no message come as one Malformed.
   std::optional<KernelMessage> next();

 private:
   NetlinkMessages messages_;
};

} // namespace OrloAgent

#endif
