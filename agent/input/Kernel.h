// What the agent wants to know of the kernel: links and addresses, as plain values, and the two
// small interfaces through which they arrive. Rtnetlink is the real source; tests and simulators
// bring theirs.
#ifndef ORLOAGENT_INPUT_KERNEL_H
#define ORLOAGENT_INPUT_KERNEL_H

#include "pelmo/EthAddr.h"
#include "quor/Types.h"

#include <array>
#include <compare>
#include <optional>
#include <string>

namespace OrloAgent {

/// The kernel's number of a link. Does not survive the link: a link that is made again under its
/// old name has another one. 0 means none.
using IfIndex = int;

struct Link {
   IfIndex ifindex = 0;
   std::string name;
   std::string kind; ///< "macvlan", "bridge", "vlan", ...; empty for hardware ports
   std::optional<Pelmo::EthAddr> mac;
   IfIndex lower = 0;      ///< the link it stands on, in this network namespace
   bool up = false;        ///< the administrator wants it (IFF_UP)
   bool lowerUp = false;   ///< it has carrier (IFF_LOWER_UP)
   bool protoDown = false; ///< a protocol daemon holds it down (IFLA_PROTO_DOWN)

   bool operator==( const Link & ) const = default;
};

/// An address on a link. Two are the same address when the kernel would say so: an IPv4 address has
/// its prefix length and its peer as part of it, an IPv6 address stands for itself.
struct Address {
   enum class Family : Quor::U8 { V4, V6 };
   using Octets = std::array<Quor::U8, 16>; ///< as on the wire; an IPv4 address in the first four

   IfIndex ifindex = 0;
   Family family = Family::V4;
   Octets local{};
   Octets peer{};             ///< IPv4: where the link is a point-to-point one; otherwise as local
   Quor::U8 prefixLength = 0; ///< IPv4 only

   /// IPv6 fe80::/10 (RFC 4291).
   bool isLinkLocal() const noexcept {
      return family == Family::V6 && local[0] == 0xfe && ( local[1] & 0xc0 ) == 0x80;
   }

   auto operator<=>( const Address & ) const = default;
};

/// Hears the kernel's state. Calls come one after the other on the event loop's thread;
/// Kernel::start() itself makes none but onReadingAll() and onTrouble().
///
/// State arrives as changes, and in whole by readings: between onReadingAll() and onReadAll()
/// everything that exists is told (together with what changes meanwhile), and what was known before
/// and is not told of is gone. A reading that begins again before it ended replaces the one before.
class KernelWatcher {
 public:
   /// Is new, or has changed, or is as it was.
   virtual void onLink( const Link &link ) = 0;
   /// Its addresses are gone with it.
   virtual void onLinkGone( IfIndex ifindex ) = 0;
   virtual void onAddress( const Address &address ) = 0;
   virtual void onAddressGone( const Address &address ) = 0;

   virtual void onReadingAll() = 0;
   virtual void onReadAll() = 0;
   /// Changes were lost: what is known is stale until the next onReadAll(), which follows unasked.
   virtual void onOverrun() = 0;
   /// For the moment the kernel has nothing more to tell: the time to judge what is known.
   virtual void onQuiet() = 0;
   /// Something is wrong and will be tried again; `what` is for the administrator.
   virtual void onTrouble( const std::string &what ) = 0;

 protected:
   ~KernelWatcher() = default;
};

/// A source of kernel state.
class Kernel {
 public:
   virtual ~Kernel() = default;
   /// Begins to tell `watcher`, beginning with a reading of everything. Called once; the watcher
   /// must be there until stop(). Throws std::system_error when the kernel cannot be asked.
   virtual void start( KernelWatcher &watcher ) = 0;
   /// Tells nothing any more. Not to be called by the watcher when it is told something; without
   /// start(), or called again, it does nothing.
   virtual void stop() = 0;
};

} // namespace OrloAgent

#endif
