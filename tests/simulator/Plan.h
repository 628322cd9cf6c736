// The configuration of a history's switch, and which pairs follow from it and the kernel: said in a
// few lines, without the agent.
#ifndef TESTS_SIMULATOR_PLAN_H
#define TESTS_SIMULATOR_PLAN_H

#include "tests/simulator/Hardware.h"
#include "tests/simulator/SimulatedKernel.h"

#include <map>
#include <set>
#include <string>

namespace Simulator {

struct Plan {
   using Vlan = Quor::U16;
   struct Svi {
      Vlan vlan;
      std::set<Vlan> secondaries;
      bool operator==( const Svi & ) const = default;
   };

   U32 indexes = 0;
   std::map<std::string, Svi> svis;

   /// Its name; empty when there is none.
   std::string sviOf( Bridging::VlanId vlan ) const;
   /// As the file that the agent reads.
   std::string text() const;
   /// Another one, a few steps away.
   Plan next( Random &random ) const;
   static Plan first( Random &random );

   bool operator==( const Plan & ) const = default;
};

/// What is to be in the hardware.
struct Wanted {
   std::set<Pair> certain;
   /// And what may be there beside: of devices that have nothing but the link-local address that
   /// their SVI had and is getting again. Who has heard of it before knows it as the SVI's.
   std::set<Pair> possible;
};

Wanted wanted( const SimulatedKernel &kernel, const Plan &plan );

} // namespace Simulator

#endif
