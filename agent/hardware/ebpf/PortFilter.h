// The filter at the ingress of a switch port (tc(8), clsact).
#ifndef ORLOAGENT_HARDWARE_EBPF_PORTFILTER_H
#define ORLOAGENT_HARDWARE_EBPF_PORTFILTER_H

#include "agent/hardware/ebpf/EbpfKernel.h"

namespace OrloAgent {

/// Where our filter belongs on every port. It stays there when its process ends. Errors are errno
/// values, 0 when it is done.
class PortFilter {
 public:
   /// Behind everything that tc(8) orders by itself, from 49152 downwards: what an administrator
   /// has filters drop is not routed.
   static constexpr Quor::U32 kPreference = 50000;
   static constexpr Quor::U32 kHandle = 1;

   explicit PortFilter( Quor::U32 ifindex ) : ifindex_( ifindex ) {}

   /// Whether it is the program with this number.
   EbpfKernel::Filter state( Quor::U32 programId ) const;
   /// Makes the port's clsact queue if it has neither that nor an ingress queue.
   int attach( int programFd ) const;
   /// What is not there is detached already. The queue stays: others may use it as well.
   int detach() const;

 private:
   const Quor::U32 ifindex_;
};

} // namespace OrloAgent

#endif
