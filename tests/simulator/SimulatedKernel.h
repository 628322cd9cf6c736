// A kernel of links and addresses that speaks rtnetlink, byte for byte, with everything that makes
// listening to the real one hard: dumps that come in parts and are made as fast as they are read,
// changes between the parts, news that arrive after the dump that shows them already, a receive
// queue that overruns, requests that are refused.
#ifndef TESTS_SIMULATOR_SIMULATEDKERNEL_H
#define TESTS_SIMULATOR_SIMULATEDKERNEL_H

#include "agent/input/Kernel.h"
#include "agent/netlink/NetlinkSource.h"
#include "tests/simulator/Random.h"
#include "tests/simulator/Trace.h"

#include <functional>
#include <map>
#include <memory>
#include <set>

namespace Simulator {

using OrloAgent::Address;
using OrloAgent::IfIndex;
using OrloAgent::Link;

/// Each change is one that the kernel makes as a whole, and is told to whoever has a socket.
class SimulatedKernel {
 public:
   SimulatedKernel( Random &random, Trace &trace ) : random_( random ), trace_( trace ) {}

   const std::map<IfIndex, Link> &links() const noexcept { return links_; }
   const std::set<Address> &addresses() const noexcept { return addresses_; }
   std::set<Address> addressesOf( IfIndex ifindex ) const;
   /// Null when there is none of that name.
   const Link *link( const std::string &name ) const;
   /// The link-local address that a link had last.
   const std::map<IfIndex, Address::Octets> &lastLinkLocals() const noexcept {
      return lastLinkLocals_;
   }
   /// One that no link has had yet.
   IfIndex newIndex() { return ++lastIndex_; }

   /// Comes, or has changed.
   void linkIs( const Link &link );
   /// With its addresses, which go first.
   void linkDel( IfIndex ifindex );
   void addressIs( const Address &address );
   void addressDel( const Address &address );
   /// Something that is told on the same socket, and does not matter.
   void noise();
   void tellAgain( IfIndex ifindex );

   /// The socket of the agent; there is one at a time. `port` is its netlink port.
   std::unique_ptr<OrloAgent::NetlinkSource> socket();
   bool isReadable() const;

   /// In which kernels of different age differ.
   struct Habits {
      bool dumpsByCount = false;     ///< goes on behind so many rows: one that goes hides another
      bool dumpsWithoutLock = false; ///< news may overtake a part that has been read before them
   };
   void habitsAre( const Habits &habits ) { habits_ = habits; }

   // Faults.
   void capacityIs( std::size_t bytes ) { capacity_ = bytes; }
   /// So many requests are refused.
   void refuses( U32 requests ) { refusals_ = requests; }

   /// Called after each change, before anybody hears of it.
   std::function<void()> onChange = [] {};
   /// Called before each datagram is taken: others have their turn. What it throws comes out.
   std::function<void()> onReceive = [] {};
   /// Called between the making and the queueing of a dump's part.
   std::function<void()> onDump = [] {};

   U64 datagrams() const noexcept { return datagrams_; }
   U64 overruns() const noexcept { return overruns_; }
   U64 interruptions() const noexcept { return interruptions_; }
   U64 refused() const noexcept { return refused_; }

 private:
   class Socket;
   friend class Socket;

   void tell( const std::function<void()> &change, const std::function<void()> &message );

   Random &random_;
   Trace &trace_;
   std::map<IfIndex, Link> links_;
   std::set<Address> addresses_;
   std::map<IfIndex, Address::Octets> lastLinkLocals_;
   IfIndex lastIndex_ = 1;
   Habits habits_;
   bool isTelling_ = false;
   U32 linkGeneration_ = 0;        // changes with links that come, go or are renamed
   U32 addressGeneration_[2] = {}; // by family
   std::size_t capacity_ = 1 << 20;
   U32 refusals_ = 0;
   Socket *socket_ = nullptr;
   U64 datagrams_ = 0;
   U64 overruns_ = 0;
   U64 interruptions_ = 0;
   U64 refused_ = 0;
};

} // namespace Simulator

#endif
