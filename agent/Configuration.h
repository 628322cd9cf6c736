// What the administrator decides: which hardware takes the virtual router MACs, and which VLANs
// belong to which VLAN interface. One JSON file, comments allowed:
//
//    {
//       // The slot table survives the agent.
//       "hardware": { "kind": "memory", "indexes": 5, "path": "/run/orlo/slots" },
//       "interfaces": [ { "name": "br10", "vlan": 10, "secondaryVlans": [ 11, 12 ] } ]
//    }
//
// orlo-agent.schema.json says the same for editors and tools; what it cannot say is that a VLAN
// belongs to one interface, and that a name stands once.
#ifndef ORLOAGENT_CONFIGURATION_H
#define ORLOAGENT_CONFIGURATION_H

#include "bridging/VlanId.h"
#include "pelmo/IntfId.h"
#include "quor/Types.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace OrloAgent {

/// As many indexes as VRRP can ever ask for: 255 VRIDs (RFC 9568), two address families, 4094 VLANs
/// (IEEE 802.1Q).
constexpr Quor::U32 kMostIndexes = 255 * 2 * 4094;

/// A VLAN interface (SVI): the routed interface of a VLAN.
struct InterfaceConfiguration {
   Pelmo::IntfId name;
   Bridging::VlanId vlan;
   /// Private VLANs (RFC 5517) that `vlan` serves as their primary; in the order of the file.
   std::vector<Bridging::VlanId> secondaryVlans;
};

struct HardwareConfiguration {
   enum class Kind { Memory };
   Kind kind = Kind::Memory;
   Quor::U32 indexes = 0; ///< slots of the hardware table, 0 to kMostIndexes
   std::string path;      ///< of the slot table's file, absolute
};

/// Every value in it has been checked: VLANs are 1 to 4094 and stand once, names are interface
/// names and stand once.
struct Configuration {
   HardwareConfiguration hardware;
   std::vector<InterfaceConfiguration> interfaces; ///< in the order of the file
};

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
