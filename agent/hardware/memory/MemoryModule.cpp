// The memory hardware as the agent loads it.
#include "OrloVrrpHelper/HelperModule.h"
#include "agent/hardware/memory/MemoryHelper.h"

OrloHelper::VrrpSmHelper *orloHelperNew( const OrloHelper::HelperSettings &settings ) {
   const auto path = settings.settings.find( "path" );
   if( path == settings.settings.end() ) {
      throw OrloAgent::HardwareError( "the memory hardware needs a setting \"path\"" );
   }
   return Quor::make<OrloAgent::MemoryHelper>( path->second, settings ).release();
}
