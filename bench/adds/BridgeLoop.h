// Netlink messages to a bridge, and nothing else.
#ifndef ORLOBENCH_ADDS_BRIDGELOOP_H
#define ORLOBENCH_ADDS_BRIDGELOOP_H

#include "agent/netlink/NetlinkSocket.h"
#include "bench/adds/BridgeTables.h"

#include <cstddef>

struct nlmsghdr;

namespace OrloBench {

/// A static FDB entry for each pair, and a rule before it for one on a secondary VLAN.
class BridgeLoop final : public Way {
 public:
   enum class Answers { each, last };
   /// `batch` messages are sent at once, and then their answers are awaited. `job` must outlive
   /// this object.
   BridgeLoop( const Job &job, std::size_t batch, Answers answers );

   void add() override;
   void remove() override;
   std::vector<Pair> held() override { return tables_.pairs(); }

 private:
   template <class Header>
   nlmsghdr *begin( Quor::U16 type, Quor::U16 flags, const Header &family );
   void end( const nlmsghdr *message );
   void entry( bool isAdd, std::size_t index );
   void rule( bool isAdd, std::size_t index );
   void flush();

   const Job &job_;
   const std::size_t batch_;
   const Answers answers_;
   const BridgeTables tables_;
   OrloAgent::NetlinkSocket socket_;
   std::vector<std::byte> bytes_; // room for a whole batch
   std::size_t size_ = 0;
   std::size_t count_ = 0;
   std::size_t last_ = 0; // where the last message begins
};

} // namespace OrloBench

#endif
