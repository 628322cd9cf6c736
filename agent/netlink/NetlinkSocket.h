// A socket to the kernel's routing netlink (rtnetlink(7)).
#ifndef ORLOAGENT_NETLINK_NETLINKSOCKET_H
#define ORLOAGENT_NETLINK_NETLINKSOCKET_H

#include "agent/netlink/NetlinkSource.h"

#include <initializer_list>
#include <linux/rtnetlink.h>
#include <memory>
#include <optional>
#include <sys/socket.h>
#include <vector>

struct mnl_socket;

namespace OrloAgent {

/// Belongs to the network namespace of the thread that made it. Never blocks. Needs no privileges
/// to listen; with CAP_NET_ADMIN its receive buffer may be larger than the system's limit for
/// everybody.
class NetlinkSocket final : public NetlinkSource {
 public:
   /// Subscribed to these groups (RTNLGRP_...). Throws std::system_error.
   explicit NetlinkSocket( std::initializer_list<rtnetlink_groups> groups = {} );

   /// Subscribes to one more group, as far as this kernel has it.
   void joins( rtnetlink_groups group ) noexcept;

   int fd() const noexcept override;
   Quor::U32 port() const noexcept override;
   /// Sets a flag of SOL_NETLINK, as far as this kernel has it; gives whether it has.
   bool flagIs( int option, bool value ) noexcept;

   /// From now on receive() takes up to so many datagrams in one system call, 1 to kMostAhead, and
   /// gives them one by one. What has been read ahead does not make fd() readable: whoever waits
   /// for that goes on with receive() for as long as isAhead(). Before the first receive().
   void readAheadIs( std::size_t datagrams );
   static constexpr std::size_t kMostAhead = 64;
   /// Is there a datagram for the next receive() that has left the socket already?
   bool isAhead() const noexcept { return next_ < count_; }

   Received receive() override;
   NetlinkSpan datagram() const noexcept override { return datagram_; }
   int send( NetlinkSpan messages ) noexcept override;

 private:
   struct Close {
      void operator()( mnl_socket *socket ) const noexcept;
   };

   struct Arrival { ///< room for a datagram
      sockaddr_nl sender;
      iovec bytes;
   };

   void makeRoom();
   std::optional<Received> fill();

   std::unique_ptr<mnl_socket, Close> socket_;
   std::size_t room_; ///< for each of the datagrams, in bytes
   std::unique_ptr<std::byte[]> buffer_;
   std::vector<Arrival> arrivals_;
   std::vector<mmsghdr> headers_; ///< of the kernel, one for each arrival
   std::size_t count_ = 0;        ///< of those that have arrived
   std::size_t next_ = 0;
   bool isTooSmall_ = false;
   NetlinkSpan datagram_;
};

} // namespace OrloAgent

#endif
