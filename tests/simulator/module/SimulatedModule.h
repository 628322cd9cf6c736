// What the module of the simulated hardware makes when the agent asks it for a helper.
#ifndef TESTS_SIMULATOR_MODULE_SIMULATEDMODULE_H
#define TESTS_SIMULATOR_MODULE_SIMULATEDMODULE_H

#include "OrloVrrpHelper/HelperModule.h"

#include <functional>

namespace Simulator {

/// Set by whoever owns the hardware. May throw, as orloHelperNew() does.
struct SimulatedModule {
   static std::function<OrloHelper::VrrpSmHelper *( const OrloHelper::HelperSettings & )> make;
};

} // namespace Simulator

#endif
