// What the administrator decides: which hardware takes the virtual router MACs, and which VLANs
// belong to which VLAN interface. One JSON file, comments allowed:
//
//    {
//       // The slot table survives the agent.
//       "hardware": { "kind": "memory", "indexes": 5, "path": "/run/orlo/slots" },
//       "interfaces": [ { "name": "br10", "vlan": 10, "secondaryVlans": [ 11, 12 ] } ],
//       // From here on what may be left out.
//       "control": { "path": "/run/orlo/control", "group": "orlo",
//                    "metrics": { "address": "127.0.0.1", "port": 9742 } },
//       "plugin": "/usr/lib/liborlovrrp.so.1"
//    }
//
// Other hardware:
//
//    { "kind": "ebpf", "indexes": 512, "ports": [ "swp1", { "name": "swp2", "vlan": 10 } ],
//      "pins": "/sys/fs/bpf/orlo" }
//    { "kind": "module", "indexes": 4, "module": "/usr/lib/chip.so", "settings": { "a": "b" },
//      "capabilities": [ "CAP_SYS_RAWIO" ] }
//
// orlo-agent.schema.json says the same for editors and tools; what it cannot say is that a VLAN
// belongs to one interface, and that a name stands once.
#ifndef ORLOAGENT_CONFIGURATION_H
#define ORLOAGENT_CONFIGURATION_H

#include "OrloVrrpHelper/HelperSettings.h"
#include "agent/Capabilities.h"
#include "agent/Limits.h"
#include "bridging/VlanId.h"
#include "pelmo/IntfId.h"
#include "quor/Types.h"

#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace OrloAgent {

/// A VLAN interface (SVI): the routed interface of a VLAN.
struct InterfaceConfiguration {
   Pelmo::IntfId name;
   Bridging::VlanId vlan;
   /// Private VLANs (RFC 5517) that `vlan` serves as their primary; in the order of the file.
   std::vector<Bridging::VlanId> secondaryVlans;

   bool operator==( const InterfaceConfiguration & ) const = default;
};

/// The hardware is whatever a helper module makes of it (OrloVrrpHelper/HelperModule.h).
struct HardwareConfiguration {
   std::string kind = "memory"; ///< "bridge", "ebpf", or "module": anybody's
   Quor::U32 indexes = 0;       ///< slots of the hardware table, 0 to Limits::indexes
   std::string module;          ///< the module's library
   std::map<std::string, std::string> settings; ///< what it is given
   /// What anybody's module needs; nothing: all that the agent was started with.
   std::optional<Capabilities> capabilities{};

   bool operator==( const HardwareConfiguration & ) const = default;
};

/// Where the agent can be looked at.
struct ControlConfiguration {
   std::string path = "/run/orlo/control"; ///< of the Unix socket
   std::string group;          ///< whose members may change things, beside root; or none
   std::string metricsAddress; ///< a loopback address, or none: no metrics are served
   Quor::U16 metricsPort = 0;

   bool operator==( const ControlConfiguration & ) const = default;
};

/// Every value in it has been checked: VLANs are 1 to 4094 and stand once, names are interface
/// names and stand once.
struct Configuration {
   std::string plugin; ///< the plug-in's library
   HardwareConfiguration hardware;
   ControlConfiguration control;
   std::vector<InterfaceConfiguration> interfaces; ///< in the order of the file
};

std::set<Pelmo::IntfId> namesOf( const Configuration &configuration );
/// Its own and the secondary ones.
std::set<Bridging::VlanId> vlansOf( const InterfaceConfiguration &interface );
/// The interfaces as helpers are told of them.
std::vector<OrloHelper::RoutedInterface>
routed( const std::vector<InterfaceConfiguration> &interfaces );

/// what() is one line for the administrator: file, JSON pointer (RFC 6901), value, what is allowed;
/// or file, line and column where the text is not JSON at all.
class ConfigurationError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// Reads `text`; `file` only names it in errors. Takes any bytes; throws ConfigurationError and
/// nothing else for what is wrong with them.
Configuration readConfiguration( std::string_view text, const std::string &file );

/// Reads the file (or pipe) at `path`, at most 4 MiB of it. Throws ConfigurationError.
Configuration readConfigurationFile( const std::string &path );

/// "1 interface, 3 VLANs, 5 memory indexes".
std::string summary( const Configuration &configuration );

} // namespace OrloAgent

#endif
