// The bridge hardware as the agent loads it.
#include "OrloVrrpHelper/HelperModule.h"
#include "agent/hardware/bridge/BridgeHelper.h"
#include "agent/hardware/bridge/NetlinkBridge.h"

#include <charconv>

namespace {

using OrloAgent::HardwareError;
using OrloAgent::NetlinkBridge;

const std::string &needed( const OrloHelper::HelperSettings &settings, const char *name ) {
   const auto at = settings.settings.find( name );
   if( at == settings.settings.end() || at->second.empty() ) {
      throw HardwareError( "the bridge hardware needs a setting \"" + std::string( name ) + "\"" );
   }
   return at->second;
}

/// How many changes go in one message to the kernel.
Quor::U32 batchOf( const OrloHelper::HelperSettings &settings ) {
   const auto at = settings.settings.find( "batch" );
   if( at == settings.settings.end() ) {
      return 128;
   }
   const std::string &text = at->second;
   Quor::U32 batch = 0;
   const auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), batch );
   if( error != std::errc() || end != text.data() + text.size() || batch < 1 ||
       batch > NetlinkBridge::kMostBatch ) {
      throw HardwareError( "the setting \"batch\" of the bridge hardware is \"" + text +
                           "\": must be 1 to " + std::to_string( NetlinkBridge::kMostBatch ) );
   }
   return batch;
}

} // namespace

OrloHelper::VrrpSmHelper *orloHelperNew( const OrloHelper::HelperSettings &settings ) {
   const std::string &bridge = needed( settings, "bridge" );
   return Quor::make<OrloAgent::BridgeHelper>(
                bridge, needed( settings, "path" ), settings,
                std::make_unique<NetlinkBridge>( bridge, batchOf( settings ) ) )
         .release();
}
