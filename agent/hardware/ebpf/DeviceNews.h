// What rtnetlink(7) tells of devices and of the filters on them.
#ifndef ORLOAGENT_HARDWARE_EBPF_DEVICENEWS_H
#define ORLOAGENT_HARDWARE_EBPF_DEVICENEWS_H

#include "agent/hardware/ebpf/EbpfKernel.h"
#include "agent/netlink/NetlinkSocket.h"

namespace OrloAgent {

/// A socket that is subscribed to links and traffic control in the network namespace of the thread
/// that makes it. Never blocks.
class DeviceNews {
 public:
   /// Throws std::system_error.
   DeviceNews();

   int fd() const noexcept { return socket_.fd(); }
   /// Everything that has come, at most some hundred datagrams of it: the rest keeps fd() readable.
   EbpfKernel::News hear();

   /// Adds what the messages of one datagram say. Whatever the bytes are, it stays inside them;
   /// they begin at a 4-byte boundary.
   static void read( NetlinkSpan datagram, EbpfKernel::News &news );

 private:
   NetlinkSocket socket_;
};

} // namespace OrloAgent

#endif
