// What the bridge helper needs of the kernel, as plain values: a VLAN-aware bridge, its forwarding
// database (FDB), and rules at the bridge device's ingress.
#ifndef ORLOAGENT_HARDWARE_BRIDGE_BRIDGEKERNEL_H
#define ORLOAGENT_HARDWARE_BRIDGE_BRIDGEKERNEL_H

#include "agent/Pair.h"
#include "agent/input/Kernel.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace OrloAgent {

struct BridgeDevice {
   IfIndex ifindex = 0; ///< 0: there is no such link
   bool isBridge = false;
   bool filtersVlans = false;

   bool operator==( const BridgeDevice & ) const = default;
};

/// What the FDB does with frames of a pair.
enum class FdbState {
   absent,  ///< floods them
   local,   ///< the bridge takes them itself: what ours do
   learned, ///< sends them to the port where the MAC was last seen
   fixed,   ///< somebody has pinned the MAC to a port
   unknown  ///< the kernel did not say
};

/// Frames of `pair` that the bridge takes itself go on as frames of the primary VLAN.
struct VlanRule {
   Pair pair;
   Bridging::VlanId primary;

   bool operator==( const VlanRule & ) const = default;
};

/// What stands at a number where our rules stand: nothing when it is not as we write them.
using FoundRule = std::optional<VlanRule>;

/// All calls come on one thread, and none of them blocks for longer than the kernel takes to do
/// what it is asked. What throws, throws std::runtime_error.
class BridgeKernel {
 public:
   static constexpr int kNoAnswer = -1;

   struct Change {
      enum class What {
         entryAdd, ///< in place of what the FDB has learned, or has had from somebody else
         entryDel, ///< only an entry that is FdbState::local
         ruleAdd,  ///< in place of another one with this number
         ruleDel
      };
      What what;
      Pair pair;                  ///< of an entry or a rule to add, of an entry to remove
      Bridging::VlanId primary{}; ///< of a rule to add
      Quor::U32 number = 0;       ///< of a rule, 1 to 2^32 - 1
      int error = kNoAnswer;      ///< the answer: an errno, 0 when it is done
      std::string said{};         ///< what the kernel says to it, or nothing
   };

   /// What has changed since the last time. Our own changes are told like everybody's.
   struct News {
      struct Entry {
         Pair pair;
         FdbState state;
      };
      struct Rule {
         Quor::U32 number; ///< 0: all of them
         FoundRule rule;
      };
      bool isLossy = false;  ///< some are missing
      bool isDevice = false; ///< the bridge came, went, or got or lost VLANs or properties
      std::vector<Entry> entries{};
      std::vector<Rule> rules{};
   };

   virtual ~BridgeKernel() = default;

   /// Readable when there are news; the same for as long as this object lives.
   virtual int fd() const = 0;
   /// Bounded: what does not fit into one call leaves fd() readable.
   virtual News news() = 0;

   /// Throws.
   virtual BridgeDevice device() = 0;
   // `bridge` is the ifindex of the bridge.
   /// Every pair that is FdbState::local. Throws.
   virtual std::vector<Pair> localEntries( IfIndex bridge ) = 0;
   /// What the FDB does with each of these.
   virtual std::vector<FdbState> entries( IfIndex bridge, std::span<const Pair> pairs ) = 0;
   /// Every rule where ours stand, by number. Throws.
   virtual std::vector<std::pair<Quor::U32, FoundRule>> allRules( IfIndex bridge ) = 0;
   /// The rules with these numbers: nothing where there is none, or the kernel did not say.
   virtual std::vector<FoundRule> rules( IfIndex bridge, std::span<const Quor::U32> numbers ) = 0;
   /// Does them in their order, each whether or not another one was refused.
   virtual void change( IfIndex bridge, std::span<Change> changes ) = 0;
};

} // namespace OrloAgent

#endif
