// How an agent gets a helper that it was not compiled with: a shared object, linked against the
// plug-in, that exports one C function. A whole module for an imaginary chip:
//
//    extern "C" OrloHelper::VrrpSmHelper *
//    orloHelperNew( const OrloHelper::HelperSettings &settings ) {
//       return Quor::make<ChipHelper>( openChip( settings ) ).release();
//    }
//
// The agent finds it under the path in its configuration ("hardware": { "kind": "module",
// "module": "/usr/lib/chip.so", ... }), loads the plug-in first, and calls it once.
#ifndef ORLOVRRPHELPER_HELPERMODULE_H
#define ORLOVRRPHELPER_HELPERMODULE_H

#include "OrloVrrpHelper/VrrpSmHelper.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace OrloHelper {

/// What the agent tells the module about the hardware that is wanted.
struct HelperSettings {
   Quor::U32 indexes = 0; ///< the helper is asked for indexes 0 to one less
   /// The members of "settings" in the agent's configuration, by name.
   std::map<std::string, std::string> settings{};
   /// Takes a line for the administrator: the hardware is not as it should be, or refused what it
   /// was asked. May be called for as long as the helper lives, from the agent's thread; throws
   /// nothing.
   std::function<void( const std::string & )> trouble = []( const std::string & ) {};
};

/// What a helper offers beside when it can read its hardware: a helper that derives from both is
/// shown with it ("programmed" then means: read from the hardware). All calls come on the agent's
/// thread, and cost no more than a look at one slot.
class HardwareView {
 public:
   using VlanAndMac = Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;

   /// What the hardware holds under `index`; nothing when it is free. Called with indexes below
   /// HelperSettings::indexes.
   virtual std::optional<VlanAndMac> slot( Quor::U32 index ) const = 0;
   /// How often the hardware has refused something since the helper was made.
   virtual Quor::U64 refusals() const = 0;

 protected:
   ~HardwareView() = default;
};

} // namespace OrloHelper

/// Makes the helper, and gives its reference to the caller. Called once in the module's life. What
/// it throws (a std::exception) ends the agent's start with what() as the reason.
extern "C" __attribute__( ( visibility( "default" ) ) ) OrloHelper::VrrpSmHelper *
orloHelperNew( const OrloHelper::HelperSettings &settings );

#endif
