// Rtnetlink messages about a bridge, its FDB and the rules at its ingress: built from plain values
// and turned into plain values. No socket, no state. Whatever the bytes are, reading stays inside
// them and nothing stops the process.
#ifndef ORLOAGENT_HARDWARE_BRIDGE_BRIDGEMESSAGES_H
#define ORLOAGENT_HARDWARE_BRIDGE_BRIDGEMESSAGES_H

#include "agent/hardware/bridge/BridgeKernel.h"
#include "agent/netlink/NetlinkMessages.h"

#include <cstddef>
#include <variant>
#include <vector>

namespace OrloAgent {

/// Requests, one behind the other, ready to be sent in one go. Each has a sequence number, which
/// stands in the kernel's answers to it, and which is the last argument everywhere.
///
/// Our rules are flower filters with one preference of their own at the bridge's ingress; the
/// numbers of the rules are the handles. clsact, where they stand, may serve others as well.
class BridgeRequests {
 public:
   /// Tells our rules from other people's: "VR".
   static constexpr Quor::U16 kRulePreference = 0x5652;

   std::span<const std::byte> bytes() const { return bytes_; }
   std::size_t count() const { return count_; }
   void clear();

   /// One link, by its name.
   void getDevice( const std::string &name, Quor::U32 sequence );
   /// The FDB entries that are the bridge's own, all of them.
   void dumpEntries( IfIndex bridge, Quor::U32 sequence );
   void getEntry( IfIndex bridge, const Pair &pair, Quor::U32 sequence );
   void dumpRules( IfIndex bridge, Quor::U32 sequence );
   void getRule( IfIndex bridge, Quor::U32 number, Quor::U32 sequence );
   /// Makes clsact, unless it or another one of its kind is there (then the answer is EEXIST).
   void makeRulePlace( IfIndex bridge, Quor::U32 sequence );
   void change( IfIndex bridge, const BridgeKernel::Change &change, Quor::U32 sequence );

 private:
   struct Message;
   void append( const Message &message );

   std::vector<std::byte> bytes_;
   std::size_t count_ = 0;
};

/// A link, or the bridge's own view of its VLANs (then there is no name).
struct DeviceNews {
   BridgeDevice device;
   std::string name;
   bool operator==( const DeviceNews & ) const = default;
};
struct DeviceGone {
   IfIndex ifindex;
   bool operator==( const DeviceGone & ) const = default;
};
/// An entry of some bridge's FDB, or what has become of one.
struct EntryNews {
   IfIndex bridge;
   Pair pair; ///< VLAN 0: without one, which is never ours
   FdbState state;
   bool operator==( const EntryNews & ) const = default;
};
/// A filter with our preference. `number` 0: all of them went.
struct RuleNews {
   IfIndex ifindex;
   Quor::U32 number;
   bool isGone;
   FoundRule rule;
   bool operator==( const RuleNews & ) const = default;
};
/// The place of the rules went, and all rules with it.
struct RulePlaceGone {
   IfIndex ifindex;
   bool operator==( const RulePlaceGone & ) const = default;
};
/// The answer to a request: an errno, 0 when it is done; and what the kernel says to it.
struct RequestAnswer {
   int error;
   std::string said;
   bool operator==( const RequestAnswer & ) const = default;
};
/// The end of a dump.
struct DumpEnd {
   int error;
   bool operator==( const DumpEnd & ) const = default;
};
/// The kernel lost messages (NLMSG_OVERRUN).
struct NewsLost {
   bool operator==( const NewsLost & ) const = default;
};
/// About something else, or not what the kernel's header files say that it should be.
struct NoNews {
   bool operator==( const NoNews & ) const = default;
};

using BridgeNews = std::variant<NoNews, DeviceNews, DeviceGone, EntryNews, RuleNews, RulePlaceGone,
                                RequestAnswer, DumpEnd, NewsLost>;

/// What one message says.
BridgeNews readBridgeMessage( const NetlinkMessages::Message &message );

} // namespace OrloAgent

#endif
