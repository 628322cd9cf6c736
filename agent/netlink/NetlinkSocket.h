// A socket to the kernel's routing netlink (rtnetlink(7)).
#ifndef ORLOAGENT_NETLINK_NETLINKSOCKET_H
#define ORLOAGENT_NETLINK_NETLINKSOCKET_H

#include "agent/netlink/NetlinkAttributes.h"

#include <initializer_list>
#include <linux/rtnetlink.h>
#include <memory>
#include <vector>

struct mnl_socket;

namespace OrloAgent {

/// Belongs to the network namespace of the thread that made it. Never blocks. Needs no privileges
/// to listen; with CAP_NET_ADMIN its receive buffer may be larger than the system's limit for
/// everybody.
class NetlinkSocket {
 public:
   enum class Received {
      datagram, ///< see datagram(), which is empty when it came from somebody else than the kernel
      nothing,  ///< there is none at the moment
      lost      ///< the kernel had to drop some, or it was too long for us
   };

   /// Subscribed to these groups (RTNLGRP_...). Throws std::system_error.
   explicit NetlinkSocket( std::initializer_list<rtnetlink_groups> groups = {} );

   /// Subscribes to one more group, as far as this kernel has it.
   void joins( rtnetlink_groups group ) noexcept;

   int fd() const noexcept;
   /// The netlink port: stands in the kernel's answers to us.
   Quor::U32 port() const noexcept;
   /// Sets a flag of SOL_NETLINK, as far as this kernel has it; gives whether it has.
   bool flagIs( int option, bool value ) noexcept;

   /// One datagram. Throws std::system_error when the socket is broken.
   Received receive();
   /// The last one; valid until the next receive().
   NetlinkSpan datagram() const noexcept { return { buffer_.data(), size_ }; }
   /// Gives an errno, 0 when the kernel has taken the bytes.
   int send( NetlinkSpan messages ) noexcept;

 private:
   struct Close {
      void operator()( mnl_socket *socket ) const noexcept;
   };

   std::unique_ptr<mnl_socket, Close> socket_;
   std::vector<std::byte> buffer_;
   std::size_t size_ = 0;
};

} // namespace OrloAgent

#endif
