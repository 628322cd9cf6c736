// A VLAN-aware bridge in a history, with the agent's own helper for it.
#ifndef TESTS_SIMULATOR_BRIDGEHARDWARE_H
#define TESTS_SIMULATOR_BRIDGEHARDWARE_H

#include "tests/simulator/Hardware.h"
#include "tests/simulator/Plan.h"
#include "tests/unit/agent/TemporaryFolder.h"
#include "tests/unit/bridge/FakeBridge.h"

namespace Simulator {

/// The agent can die between any two writes to the bridge. The plan must outlive it.
class BridgeHardware final : public Hardware {
 public:
   BridgeHardware( Random &random, Trace &trace, const Plan &plan );

   OrloHelper::VrrpSmHelper *helper( const OrloHelper::HelperSettings &settings ) override;
   Slots slots() const override;
   Loss loses( U32 index, bool isTold ) override;
   bool hasNews() const override;
   Loss isReplaced() override;

 private:
   class Kernel;
   using Change = OrloAgent::BridgeKernel::Change;

   bool refuses( Change &change, U32 done );
   void isDone( const Change &change, const OrloAgent::FakeBridge &before );
   U32 indexOf( const Pair &pair ) const;
   std::vector<std::optional<Pair>> table() const;

   const Plan &plan_;
   OrloAgent::TemporaryFolder folder_;
   OrloAgent::FakeBridge bridge_;
};

} // namespace Simulator

#endif
