// What rtnetlink(7) tells of devices and of the filters on them.
#ifndef ORLOAGENT_HARDWARE_EBPF_DEVICENEWS_H
#define ORLOAGENT_HARDWARE_EBPF_DEVICENEWS_H

#include "agent/hardware/ebpf/EbpfKernel.h"

#include <cstddef>
#include <memory>
#include <vector>

struct mnl_socket;

namespace OrloAgent {

/// A socket that is subscribed to links and traffic control in the network namespace of the thread
/// that makes it. Never blocks.
class DeviceNews {
 public:
   /// Throws std::system_error.
   DeviceNews();
   ~DeviceNews();

   int fd() const;
   /// Everything that has come, at most some hundred datagrams of it: the rest keeps fd() readable.
   EbpfKernel::News hear();

   /// Adds what the messages of one datagram say. Whatever the bytes are, it stays inside them;
   /// they begin at a 4-byte boundary.
   static void read( std::span<const std::byte> datagram, EbpfKernel::News &news );

 private:
   struct CloseSocket {
      void operator()( mnl_socket *socket ) const noexcept;
   };
   std::unique_ptr<mnl_socket, CloseSocket> socket_;
   std::vector<std::byte> buffer_;
};

} // namespace OrloAgent

#endif
