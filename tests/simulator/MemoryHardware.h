// A table of slots in a file, with the agent's own helper for it.
#ifndef TESTS_SIMULATOR_MEMORYHARDWARE_H
#define TESTS_SIMULATOR_MEMORYHARDWARE_H

#include "tests/simulator/Hardware.h"
#include "tests/unit/agent/TemporaryFolder.h"

namespace Simulator {

/// The agent can die between any two slots. Somebody frees slots, writes others over them, cuts the
/// file short or removes it; of none of that the agent is told.
class MemoryHardware final : public Hardware {
 public:
   MemoryHardware( Random &random, Trace &trace );

   OrloHelper::VrrpSmHelper *helper( const OrloHelper::HelperSettings &settings ) override;
   Slots slots() const override;
   Loss loses( U32 index, bool isTold ) override;
   Loss isReplaced() override;

 private:
   class Helper;

   OrloAgent::TemporaryFolder folder_;
   const std::string path_ = folder_.path( "slots" );
};

} // namespace Simulator

#endif
