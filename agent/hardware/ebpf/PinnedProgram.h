// The program of the ports and its tables, as they are pinned.
#ifndef ORLOAGENT_HARDWARE_EBPF_PINNEDPROGRAM_H
#define ORLOAGENT_HARDWARE_EBPF_PINNEDPROGRAM_H

#include "agent/hardware/ebpf/PinFolder.h"
#include "agent/hardware/ebpf/program/PortProgram.h"

#include <functional>

namespace OrloAgent {

/// Takes over what an agent before it has pinned, as far as it is what this one would make itself;
/// makes and pins the rest. A table of another size is replaced by one with the same content.
class PinnedProgram {
 public:
   using Notice = std::function<void( const std::string & )>;

   /// Throws HardwareError. `notice` hears what the administrator has to know.
   PinnedProgram( const std::string &folder, Quor::U32 indexes, const Notice &notice );

   /// The next process finds nothing. Throws HardwareError.
   void unpin() const;

   // The descriptors are this object's.
   int fd() const noexcept { return program_.get(); }
   Quor::U32 id() const noexcept { return id_; } ///< of the program, in the kernel
   int table( PortProgram::Table table ) const { return loaded_.table( table ); }

 private:
   void takeTables( Quor::U32 indexes, const Notice &notice );
   void takeProgram();

   const PinFolder folder_;
   PortProgram loaded_;
   FileDescriptor program_; // loaded, or the same that was pinned before
   Quor::U32 id_ = 0;
};

} // namespace OrloAgent

#endif
