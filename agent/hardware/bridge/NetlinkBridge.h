// The kernel's bridge by rtnetlink.
#ifndef ORLOAGENT_HARDWARE_BRIDGE_NETLINKBRIDGE_H
#define ORLOAGENT_HARDWARE_BRIDGE_NETLINKBRIDGE_H

#include "agent/hardware/bridge/BridgeKernel.h"
#include "agent/hardware/bridge/BridgeMessages.h"
#include "agent/netlink/NetlinkSocket.h"

#include <functional>

namespace OrloAgent {

/// Two sockets: one is asked and answers at once (the kernel works on a request while it is being
/// sent), the other one hears what anybody changes. Of the network namespace of the thread that
/// made it. Needs CAP_NET_ADMIN to change anything.
class NetlinkBridge : public BridgeKernel {
 public:
   /// At most `batch` changes, 1 to kMostBatch, go in one message to the kernel. Throws
   /// std::runtime_error.
   NetlinkBridge( std::string name, Quor::U32 batch );
   static constexpr Quor::U32 kMostBatch = 512;

   int fd() const override { return heard_.fd(); }
   News news() override;
   BridgeDevice device() override;
   std::vector<Pair> localEntries( IfIndex bridge ) override;
   std::vector<FdbState> entries( IfIndex bridge, std::span<const Pair> pairs ) override;
   std::vector<std::pair<Quor::U32, FoundRule>> allRules( IfIndex bridge ) override;
   std::vector<FoundRule> rules( IfIndex bridge, std::span<const Quor::U32> numbers ) override;
   void change( IfIndex bridge, std::span<Change> changes ) override;

 private:
   using Request = std::function<void( BridgeRequests &, std::size_t, Quor::U32 )>;
   using Answer = std::function<void( std::size_t, const BridgeNews & )>;
   using Dump = std::function<void( BridgeRequests &, Quor::U32 )>;
   using Row = std::function<void( const BridgeNews & )>;

   int ask( std::size_t count, const char *writing, const Request &request, const Answer &answer );
   void hearAnswers( Quor::U32 first, std::size_t count, const Answer &answer );
   void dump( const char *what, const Dump &request, const Row &row );
   bool dumpOnce( const char *what, const Dump &request, const Row &row );
   void take( const BridgeNews &one, News &news ) const;

   const std::string name_;
   const Quor::U32 batch_;
   NetlinkSocket asked_;
   NetlinkSocket heard_;
   BridgeRequests requests_;
   Quor::U32 sequence_;
   IfIndex bridge_ = 0; // the last that device() gave
};

} // namespace OrloAgent

#endif
