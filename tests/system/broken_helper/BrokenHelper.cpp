// A helper module that makes the helper of another one, and breaks the restart. Settings: "of", the
// path of the other module; "fault", which is
//    adoption   what the hardware holds is not adopted
//    empty      the hardware is emptied at the start
// All settings are handed on.
#include "OrloVrrpHelper/HardwareWork.h"
#include "OrloVrrpHelper/HelperModule.h"

#include <chrono>
#include <dlfcn.h>
#include <stdexcept>
#include <thread>

using OrloHelper::CurrentVrrpStateForInit;
using OrloHelper::HardwareWork;
using OrloHelper::HelperSettings;
using OrloHelper::VrrpSmHelper;

namespace {

VrrpSmHelper *helperOf( const std::string &path, const HelperSettings &settings ) {
   void *const module = dlopen( path.c_str(), RTLD_NOW | RTLD_LOCAL );
   if( !module ) {
      throw std::runtime_error( dlerror() );
   }
   void *const make = dlsym( module, "orloHelperNew" );
   return reinterpret_cast<decltype( &orloHelperNew )>( make )( settings );
}

void empty( VrrpSmHelper &helper ) {
   const auto held = Quor::make<CurrentVrrpStateForInit>();
   helper.syncVrrpStateOnInit( held );
   for( const auto &entry : held->virtualRouterIndexes() ) {
      helper.deleteVirtualRouterMac( entry.key().mac(), entry.key().vlanId().number(),
                                     entry.value() );
   }
   dynamic_cast<HardwareWork &>( helper ).work( std::chrono::steady_clock::now() );
   std::this_thread::sleep_for(
         std::chrono::milliseconds( 50 ) ); // a chip that is reset takes time
}

} // namespace

VrrpSmHelper *orloHelperNew( const HelperSettings &settings ) {
   HelperSettings others = settings;
   const std::string path = others.settings.extract( "of" ).mapped();
   const std::string fault = others.settings.extract( "fault" ).mapped();
   VrrpSmHelper *const helper = helperOf( path, others );
   if( fault == "adoption" ) {
      helper->syncCurrentStateOnInitIs( false );
   } else if( fault == "empty" ) {
      empty( *helper );
   } else {
      throw std::runtime_error( "no such fault: " + fault );
   }
   return helper;
}
