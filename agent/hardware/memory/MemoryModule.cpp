// The memory hardware as the agent loads it.
#include "OrloVrrpHelper/HelperModule.h"
#include "agent/hardware/memory/MemoryHelper.h"
#include "agent/hardware/memory/MemoryReader.h"

OrloHelper::VrrpSmHelper *orloHelperNew( const OrloHelper::HelperSettings &settings ) {
   const auto path = settings.settings.find( "path" );
   if( path == settings.settings.end() ) {
      throw OrloAgent::HardwareError( "the memory hardware needs a setting \"path\"" );
   }
   if( settings.isReadOnly ) {
      return Quor::make<OrloAgent::MemoryReader>( path->second ).release();
   }
   return Quor::make<OrloAgent::MemoryHelper>( path->second, settings ).release();
}
