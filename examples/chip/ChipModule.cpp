// The module that an agent loads: "hardware": { "kind": "module", "module": "/usr/lib/chip.so",
// "indexes": 4, "settings": { "device": "/dev/chip0" } }.
#include "ChipHelper.h"
#include "OrloVrrpHelper/HelperModule.h"
#include "quor/Exception.h"

OrloHelper::VrrpSmHelper *orloHelperNew( const OrloHelper::HelperSettings &settings ) {
   const auto device = settings.settings.find( "device" );
   if( device == settings.settings.end() ) {
      throw Quor::RangeException( "which chip? There is no \"device\" in its settings" );
   }
   return Quor::make<ChipHelper>( Chip( device->second ), settings ).release();
}
