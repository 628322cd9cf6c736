// What is measured: one way to get pairs into some hardware, and out of it again.
#ifndef ORLOBENCH_ADDS_WAY_H
#define ORLOBENCH_ADDS_WAY_H

#include "agent/Pair.h"

#include <span>
#include <string>
#include <vector>

namespace OrloBench {

using OrloAgent::Pair;

/// The place of a pair in `pairs` is its index.
struct Job {
   std::vector<Pair> pairs;
   bool hasSecondaries; ///< each even VLAN is a secondary one of the VLAN before it
   std::string folder;  ///< empty, on the file system that the hardware needs

   bool isSecondary( const Pair &pair ) const {
      return hasSecondaries && pair.vlanId().number() % 2 == 0;
   }
};

// What the namespace of a measurement has, made by scripts/bench-adds.
constexpr char kBridge[] = "br0"; ///< filters VLANs, and has all of them
constexpr char kSvi[] = "svi0";   ///< some device for the ebpf hardware to send frames up into

/// Made before the time starts, on hardware without any of the pairs. Everything throws
/// std::exception when it does not work in full.
class Way {
 public:
   Way() = default;
   Way( const Way & ) = delete;
   Way &operator=( const Way & ) = delete;
   virtual ~Way() = default;

   // Timed. When they return, the hardware has confirmed everything.
   virtual void add() = 0;
   virtual void remove() = 0;
   /// What is left to do after add(), at leisure. Timed as well.
   virtual void settle() {}

   /// The pairs that the hardware holds, read from it.
   virtual std::vector<Pair> held() = 0;
};

} // namespace OrloBench

#endif
