#include "tests/simulator/module/SimulatedModule.h"

namespace Simulator {

std::function<OrloHelper::VrrpSmHelper *( const OrloHelper::HelperSettings & )>
      SimulatedModule::make;

} // namespace Simulator

OrloHelper::VrrpSmHelper *orloHelperNew( const OrloHelper::HelperSettings &settings ) {
   return Simulator::SimulatedModule::make( settings );
}
