#include "agent/hardware/ebpf/ReadOnlyEbpf.h"

#include "agent/hardware/ebpf/PinFolder.h"
#include "agent/hardware/ebpf/TableAccess.h"

#include <system_error>

namespace OrloAgent {

std::vector<EbpfKernel::Entry> ReadOnlyEbpf::entries() const {
   const PinFolder folder( pins_, true );
   const FileDescriptor table = folder.open( PortProgram::kTableNames[PortProgram::kRouterMacs] );
   if( table.get() < 0 ) {
      if( errno == ENOENT ) {
         return {};
      }
      throw std::system_error( errno, std::generic_category(),
                               "cannot open the table of virtual router MACs in " + pins_ );
   }
   const std::optional<PortProgram::Shape> shape = shapeOfTable( table.get() );
   const PortProgram::Shape ours = PortProgram( 0 ).shape( PortProgram::kRouterMacs );
   // An agent would not use another one either.
   return shape && shape->keySize == ours.keySize && shape->valueSize == ours.valueSize &&
                      shape->type == ours.type
                ? entriesOf( table.get() )
                : std::vector<Entry>{};
}

} // namespace OrloAgent
