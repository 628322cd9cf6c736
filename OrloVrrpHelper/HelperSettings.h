// What a helper is told about the switch when it is made.
#ifndef ORLOVRRPHELPER_HELPERSETTINGS_H
#define ORLOVRRPHELPER_HELPERSETTINGS_H

#include "bridging/VlanId.h"
#include "quor/Types.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace OrloHelper {

/// A VLAN interface (SVI): it routes `vlan`, and for private VLANs (RFC 5517) also what comes in on
/// the secondary VLANs whose primary `vlan` is.
struct RoutedInterface {
   std::string name;
   Bridging::VlanId vlan;
   std::vector<Bridging::VlanId> secondaryVlans{};

   bool operator==( const RoutedInterface & ) const = default;
};

struct HelperSettings {
   Quor::U32 indexes = 0; ///< the helper is asked for indexes 0 to one less
   /// The members of "settings" in the agent's configuration, by name.
   std::map<std::string, std::string> settings{};
   /// Takes a line for the administrator: the hardware is not as it should be, or refused what it
   /// was asked. May be called for as long as the helper lives, from the agent's thread; throws
   /// nothing.
   std::function<void( const std::string & )> trouble = []( const std::string & ) {};
   /// Each VLAN belongs to at most one of them. See HardwareWork::interfacesAre() for changes.
   std::vector<RoutedInterface> interfaces{};
   /// The hardware is only to be looked at (HardwareView::readAll()): change nothing in it, and do
   /// not insist on having it alone.
   bool isReadOnly = false;
};

} // namespace OrloHelper

#endif
