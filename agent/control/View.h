// What the running agent shows of itself, as JSON: the one model behind tables and programs.
#ifndef ORLOAGENT_CONTROL_VIEW_H
#define ORLOAGENT_CONTROL_VIEW_H

#include "agent/Agent.h"
#include "agent/control/ControlHandler.h"

#include <optional>

namespace OrloAgent {

class Refusals;

/// Which pairs to show; what is not given does not restrict.
struct PairFilter {
   std::optional<Bridging::VlanId> vlan;
   std::optional<Pelmo::EthAddr> mac;
   std::optional<Pelmo::IntfId> interface;
};

/// Reads, changes nothing. The agent must outlive it, not the answers that it gives: they hold a
/// copy of what was there. Names are the ones that the configuration and the kernel use.
class View {
 public:
   explicit View( const Agent &agent ) : agent_( agent ) {}

   nlohmann::json summary() const;
   Answer pairs( const PairFilter &filter ) const;
   Answer waiting() const;
   Answer slots() const;
   Answer interfaces() const;
   /// The numbers of summary() in the text format of Prometheus.
   std::string metrics() const;

 private:
   /// One pair, as short as it can be: there may be two millions of them.
   struct Row {
      Pair pair;
      std::optional<Quor::U32> index;
      std::optional<Quor::U32> place;
      std::optional<Time> since;
      bool isWanted = false;
      std::optional<bool> isProgrammed; ///< nothing when the hardware cannot be read
   };
   struct Counts {
      Quor::U32 programmed = 0; ///< assigned, and in the hardware as far as that can be read
      Quor::U32 used = 0;       ///< slots that hold anything
      Quor::U32 mismatches = 0; ///< between what is assigned and what the hardware holds
   };

   std::vector<Row> rows( const Refusals &refusals ) const;
   Counts counts() const;
   bool holds( const Pair &pair, Quor::U32 index ) const;

   const Agent &agent_;
};

} // namespace OrloAgent

#endif
