// What can be done with a table of the kernel by its descriptor.
#ifndef ORLOAGENT_HARDWARE_EBPF_TABLEACCESS_H
#define ORLOAGENT_HARDWARE_EBPF_TABLEACCESS_H

#include "agent/hardware/ebpf/EbpfKernel.h"
#include "agent/hardware/ebpf/program/PortProgram.h"
#include "agent/hardware/ebpf/program/RouterMacTables.h"

#include <optional>
#include <utility>
#include <vector>

namespace OrloAgent {

/// Nothing when `fd` is no table.
std::optional<PortProgram::Shape> shapeOfTable( int fd );

RouterMacKey keyOf( const Pair &pair );
EbpfKernel::Entry entryOf( const RouterMacKey &key, const RouterMacValue &value );

/// Every row of the table router_macs. Throws std::system_error.
std::vector<EbpfKernel::Entry> entriesOf( int fd );

/// Every row of the table ports; an errno in `error`.
std::vector<std::pair<Quor::U32, PortValue>> portsOf( int fd, int &error );

/// Copies the counters of `count` indexes; what cannot be read or written is left out.
void copyCounts( int from, int to, Quor::U32 count );

} // namespace OrloAgent

#endif
