// Keeps a watcher's picture of links and addresses complete: which dump to ask the kernel for and
// when, which messages are news, and what has to be read again. No socket: bytes in, calls of a
// watcher and requests out.
//
// Why a dump on a subscribed socket gives a complete picture: the subscription comes first, so
// every change since then arrives as a message of its own, in order. A dump adds what was there
// before. Where the two speak about the same thing the change wins, however the kernel interleaved
// them. Addresses are dumped family by family: where the kernel goes on from one family to the next
// in a dump of all it does not say that the first one was interrupted. After a loss the socket is
// drained before the next dump, so that no change from before the loss can win over it.
#ifndef ORLOAGENT_INPUT_DUMPPROTOCOL_H
#define ORLOAGENT_INPUT_DUMPPROTOCOL_H

#include "agent/input/Kernel.h"
#include "agent/input/RtnetlinkMessages.h"

#include <cstddef>
#include <optional>
#include <set>
#include <span>
#include <string>

namespace OrloAgent {

/// Does not own the watcher, which must outlive it. One thread.
class DumpProtocol {
 public:
   struct Request {
      Quor::U16 type; ///< RTM_GETLINK or RTM_GETADDR
      Quor::U32 sequence;
      Quor::U8 family = 0; ///< of the addresses: AF_INET or AF_INET6
      bool operator==( const Request & ) const = default;
   };
   struct Counters {
      Quor::U64 readings = 0;         ///< complete ones
      Quor::U64 overruns = 0;         ///< losses that the kernel reported
      Quor::U64 interruptedDumps = 0; ///< changed under the kernel's hands, read again
      Quor::U64 refusals = 0;         ///< dumps that the kernel would not do
      Quor::U64 malformed = 0;        ///< messages that made no sense
   };

   /// `port` is the socket's netlink port, `sequence` the number of the first request.
   DumpProtocol( Quor::U32 port, Quor::U32 sequence, KernelWatcher &watcher )
         : port_( port ), sequence_( sequence ), watcher_( watcher ) {}

   /// One datagram has arrived; it begins at a 4-byte boundary.
   void datagram( std::span<const std::byte> bytes );
   /// The socket lost messages, or one did not fit into the buffer.
   void overrun();
   /// Call when the socket is drained: gives the dump to ask for now, if any. Without one it is
   /// quiet, and the watcher is told.
   std::optional<Request> drained();
   /// The kernel (or the socket) would not take the request, for this errno.
   void refused( int error );
   /// After refused(): nothing is asked for until retry().
   bool waitsForRetry() const noexcept { return phase_ == Phase::Refused; }
   void retry();

   const Counters &counters() const noexcept { return counters_; }

 private:
   enum class Phase {
      Wanted,        // a reading is to begin as soon as the socket is drained
      Links,         // the link dump is under way
      AddressesNext, // links have been read, addresses of a family are to be asked for
      Addresses,     // that address dump is under way
      Complete,
      Refused // a reading is to begin, but not before retry()
   };

   bool isDumping() const noexcept { return phase_ == Phase::Links || phase_ == Phase::Addresses; }
   bool isReading() const noexcept { return isDumping() || phase_ == Phase::AddressesNext; }
   Request request( Quor::U16 type, Quor::U8 family );
   void row( const KernelNews &news );
   void event( const KernelNews &news );
   void done( int error );
   void malformed( const char *what );

   const Quor::U32 port_;
   Quor::U32 sequence_; // of the request under way, or of the next one
   KernelWatcher &watcher_;
   Phase phase_ = Phase::Wanted;
   Quor::U8 family_ = 0; // of the addresses
   bool interrupted_ = false;
   // What events have told of since the reading began.
   std::set<IfIndex> links_;
   std::set<IfIndex> goneLinks_;
   std::set<Address> addresses_;
   std::string complaint_; // the last one: the same is not told twice in a row
   Counters counters_;
};

} // namespace OrloAgent

#endif
