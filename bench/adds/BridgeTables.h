// What the kernel's bridge holds, for whoever has put it there.
#ifndef ORLOBENCH_ADDS_BRIDGETABLES_H
#define ORLOBENCH_ADDS_BRIDGETABLES_H

#include "bench/adds/Way.h"

namespace OrloBench {

/// Reads the bridge kBridge of this namespace, all of it. Everything throws std::exception.
class BridgeTables {
 public:
   BridgeTables();

   int ifindex() const noexcept { return ifindex_; }
   /// Virtual router MACs that the bridge takes itself.
   std::vector<Pair> pairs() const;
   /// Rules at the bridge's ingress.
   std::size_t rules() const;

 private:
   const int ifindex_;
};

} // namespace OrloBench

#endif
