// The plug-in as a program sees it that loads it while it runs: one record, found by name.
//
//    void *const library = dlopen( "liborlovrrp.so.1", RTLD_NOW | RTLD_GLOBAL );
//    auto *const plugin = static_cast<const Orlo::Plugin *>( dlsym( library, "orloVrrpPlugin" ) );
//    if( plugin && plugin->abi == Orlo::Plugin::kAbi ) {
//       auto table = plugin->virtualRouterMacTableFactory();
//    }
//
// A program that is linked against the plug-in calls the functions themselves.
#ifndef TYPES_PLUGIN_H
#define TYPES_PLUGIN_H

#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "OrloVrrpSm/VrrpSm.h"

namespace Orlo {

/// Of which version the plug-in is, and how its objects are made.
struct Plugin {
   /// Counts up with every change that a program compiled before would not survive: of this record,
   /// or of a class in the public headers. The first members of every version of the record are
   /// this number and the version.
   static constexpr Quor::U32 kAbi = 1;

   Quor::U32 abi;
   const char *version; ///< for people: "0.1"
   decltype( &VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory )
         virtualRouterMacTableFactory;
   decltype( &VrrpPrivateVlanReflectorLib::libSmFactory ) libSmFactory;
   decltype( &Orlo::VrrpSmIs ) vrrpSmIs;
};

} // namespace Orlo

extern "C" const Orlo::Plugin orloVrrpPlugin;

#endif
