// How much the agent takes from outside. The control socket's own limits stand in its protocol
// (control/Protocol.h), where clients find them as well.
#ifndef ORLOAGENT_LIMITS_H
#define ORLOAGENT_LIMITS_H

#include "quor/Types.h"

#include <chrono>
#include <cstddef>

namespace OrloAgent {

/// Constants; no objects.
struct Limits {
   // The configuration.
   static constexpr std::size_t configurationBytes = std::size_t{ 4 } << 20;
   static constexpr std::size_t pathBytes =
         4095; ///< PATH_MAX without its zero byte, linux/limits.h
   static constexpr std::size_t socketBytes = 107; ///< sun_path without its zero byte, unix(7)
   static constexpr std::size_t ports = 4096;      ///< of the ebpf hardware
   static constexpr Quor::U32 vlans = 4094;        ///< IEEE 802.1Q
   static constexpr Quor::U32 interfaces = vlans;  ///< each has a VLAN of its own

   // The kernel's news: whatever they say, no more MACs than these can be published.
   static constexpr Quor::U32 macsOfInterface = 255 * 2; ///< VRIDs (RFC 9568), address families
   /// As many as VRRP can ever ask for: a VLAN belongs to one interface.
   static constexpr Quor::U32 pairs = macsOfInterface * vlans;
   static constexpr Quor::U32 indexes = pairs;

   // Who collects metrics.
   static constexpr std::size_t scrapers = 16; ///< one more is closed at once
   static constexpr std::size_t scrapeBytes = std::size_t{ 8 } << 10;
   /// For a request to come as a whole, and then for every piece of the answer to be taken.
   static constexpr std::chrono::seconds scrapePatience{ 10 };
};

} // namespace OrloAgent

#endif
