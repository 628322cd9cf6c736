// The table of the kernel's own forwarding program in a history, with the agent's helper for it.
#ifndef TESTS_SIMULATOR_EBPFHARDWARE_H
#define TESTS_SIMULATOR_EBPFHARDWARE_H

#include "tests/simulator/Hardware.h"
#include "tests/simulator/Plan.h"
#include "tests/unit/ebpf/FakeSwitch.h"

namespace Simulator {

/// Each row has the interface index of an SVI, which comes and goes with the kernel's links. The
/// agent can die between any two rows, also of one message. Beside, the switch has a port, whose
/// filter somebody takes away and which is made again. Plan and kernel must outlive it.
class EbpfHardware final : public Hardware {
 public:
   EbpfHardware( Random &random, Trace &trace, const Plan &plan, const SimulatedKernel &kernel );

   OrloHelper::VrrpSmHelper *helper( const OrloHelper::HelperSettings &settings ) override;
   Slots slots() const override;
   Loss loses( U32 index, bool isTold ) override;
   bool hasNews() const override;
   Loss isReplaced() override;
   std::string flaw() const override;

 private:
   class Kernel;
   using Row = OrloAgent::EbpfKernel::Entry;
   using Names = std::map<std::string, U32>;

   Names links() const;
   /// The switch learns what the kernel's links are now.
   void seesLinks();
   U32 sviOf( Bridging::VlanId vlan ) const;
   int refusal( U32 index, std::size_t done, bool isAdd );
   void isPut( const Row &row );

   const Plan &plan_;
   const SimulatedKernel &kernel_;
   OrloAgent::FakeSwitch switch_;
};

} // namespace Simulator

#endif
