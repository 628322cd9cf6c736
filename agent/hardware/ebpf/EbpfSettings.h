// What the administrator decides for the ebpf hardware.
#ifndef ORLOAGENT_HARDWARE_EBPF_EBPFSETTINGS_H
#define ORLOAGENT_HARDWARE_EBPF_EBPFSETTINGS_H

#include "quor/Types.h"

#include <map>
#include <string>
#include <vector>

namespace OrloAgent {

struct EbpfSettings {
   struct Port {
      std::string name;
      Quor::U32 accessVlan = 0; ///< of frames without a tag; 0: they are not ours
      bool operator==( const Port & ) const = default;
   };

   std::string pins; ///< the folder in a BPF file system
   std::vector<Port> ports;
   std::size_t batch = 128; ///< most rows of one message to the kernel

   /// Reads "pins", "ports" (names with blanks between them, each with ":VLAN" behind it where the
   /// port has an access VLAN) and "batch". Throws HardwareError.
   static EbpfSettings read( const std::map<std::string, std::string> &settings );
};

} // namespace OrloAgent

#endif
