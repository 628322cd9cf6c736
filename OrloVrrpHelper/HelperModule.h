// How an agent gets a helper that it was not compiled with: a shared object, linked against the
// plug-in, that exports one C function. A whole module for an imaginary chip:
//
//    extern "C" OrloHelper::VrrpSmHelper *
//    orloHelperNew( const OrloHelper::HelperSettings &settings ) {
//       return Quor::make<ChipHelper>( openChip( settings ) ).release();
//    }
//
// The agent finds it under the path in its configuration ("hardware": { "kind": "module",
// "module": "/usr/lib/chip.so", ... }), loads the plug-in first, and calls it. A helper that also
// is a HardwareView is shown with what the hardware holds, one that is a HardwareWork is worked by
// the agent's event loop; RetryingHelper is both.
#ifndef ORLOVRRPHELPER_HELPERMODULE_H
#define ORLOVRRPHELPER_HELPERMODULE_H

#include "OrloVrrpHelper/HelperSettings.h"
#include "OrloVrrpHelper/VrrpSmHelper.h"

/// Makes the helper, and gives its reference to the caller. Called again only when the helper
/// before has gone, or to look (HelperSettings::isReadOnly). What it throws (a std::exception) ends
/// the agent's start with what() as the reason.
extern "C" __attribute__( ( visibility( "default" ) ) ) OrloHelper::VrrpSmHelper *
orloHelperNew( const OrloHelper::HelperSettings &settings );

#endif
