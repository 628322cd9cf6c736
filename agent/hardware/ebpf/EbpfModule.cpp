// The ebpf hardware as the agent loads it.
#include "OrloVrrpHelper/HelperModule.h"
#include "agent/hardware/ebpf/EbpfHelper.h"
#include "agent/hardware/ebpf/LinuxEbpf.h"
#include "agent/hardware/ebpf/ReadOnlyEbpf.h"

OrloHelper::VrrpSmHelper *orloHelperNew( const OrloHelper::HelperSettings &settings ) {
   using namespace OrloAgent;
   EbpfSettings own = EbpfSettings::read( settings.settings );
   std::unique_ptr<EbpfKernel> kernel;
   if( settings.isReadOnly ) {
      own.ports.clear();
      kernel = std::make_unique<ReadOnlyEbpf>( own.pins );
   } else {
      kernel = std::make_unique<LinuxEbpf>( own.pins, settings.indexes, settings.trouble );
   }
   return Quor::make<EbpfHelper>( std::move( kernel ), own, settings ).release();
}
