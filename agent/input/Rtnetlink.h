// The kernel's links and addresses by rtnetlink(7), on the event loop.
#ifndef ORLOAGENT_INPUT_RTNETLINK_H
#define ORLOAGENT_INPUT_RTNETLINK_H

#include "agent/EventLoop.h"
#include "agent/input/DumpProtocol.h"
#include "agent/input/Kernel.h"
#include "agent/netlink/NetlinkSocket.h"

#include <optional>

namespace OrloAgent {

/// Sees the network namespace of the thread that calls start(). Never blocks. Needs no privileges;
/// with CAP_NET_ADMIN its receive buffer may be larger than the system's limit for everybody.
class Rtnetlink : public Kernel {
 public:
   /// `loop` must outlive this object.
   explicit Rtnetlink( EventLoop &loop );
   ~Rtnetlink() override;

   void start( KernelWatcher &watcher ) override;
   void stop() override;

   /// Nothing before start().
   std::optional<DumpProtocol::Counters> counters() const;

 private:
   void onReadable();
   /// False when there is nothing to read at the moment.
   bool receive();
   void onDrained();
   int send( const DumpProtocol::Request &request );

   EventLoop &loop_;
   std::optional<NetlinkSocket> socket_;
   std::optional<DumpProtocol> protocol_;
   EventLoop::Subscription readable_;
   EventLoop::Subscription retry_;
   bool retryIsSet_ = false;
};

} // namespace OrloAgent

#endif
