// The kernel's links and addresses by rtnetlink(7), on the event loop.
#ifndef ORLOAGENT_INPUT_RTNETLINK_H
#define ORLOAGENT_INPUT_RTNETLINK_H

#include "agent/Clock.h"
#include "agent/Events.h"
#include "agent/input/DumpProtocol.h"
#include "agent/input/Kernel.h"
#include "agent/netlink/NetlinkSource.h"

#include <optional>

namespace OrloAgent {

/// Sees the network namespace of the thread that calls start(). Never blocks. Needs no privileges;
/// with CAP_NET_ADMIN its receive buffer may be larger than the system's limit for everybody.
class Rtnetlink : public Kernel {
 public:
   using Open = std::function<std::unique_ptr<NetlinkSource>()>;

   /// `events` must outlive this object. `open` gives a socket that is subscribed to links and
   /// addresses.
   explicit Rtnetlink( Events &events, Open open = &subscribedSocket,
                       Stopwatch stopwatch = &steadyTime );
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
   static std::unique_ptr<NetlinkSource> subscribedSocket();

   Events &events_;
   const Open open_;
   const Stopwatch stopwatch_;
   std::unique_ptr<NetlinkSource> socket_;
   std::optional<DumpProtocol> protocol_;
   Events::Subscription readable_;
   Events::Subscription goesOn_;
   Events::Subscription retry_;
   bool retryIsSet_ = false;
};

} // namespace OrloAgent

#endif
