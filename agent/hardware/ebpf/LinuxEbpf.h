// The kernel that this process runs on, as the ebpf hardware.
#ifndef ORLOAGENT_HARDWARE_EBPF_LINUXEBPF_H
#define ORLOAGENT_HARDWARE_EBPF_LINUXEBPF_H

#include "agent/hardware/ebpf/DeviceNews.h"
#include "agent/hardware/ebpf/EbpfKernel.h"
#include "agent/hardware/ebpf/PinnedProgram.h"

namespace OrloAgent {

/// Sees the network namespace of the thread that makes it. Needs root, or CAP_BPF and
/// CAP_NET_ADMIN.
class LinuxEbpf final : public EbpfKernel {
 public:
   /// Subscribes, and takes program and tables over or makes them (see PinnedProgram). Throws
   /// HardwareError.
   LinuxEbpf( const std::string &pins, Quor::U32 indexes, const PinnedProgram::Notice &notice );

   std::vector<Entry> entries() const override;
   std::optional<Entry> entry( const Pair &pair ) const override;
   Done put( std::span<const Entry> rows ) override;
   Done erase( std::span<const Pair> pairs ) override;
   std::map<Quor::U32, Quor::U32> ports() const override;
   int portIs( Quor::U32 ifindex, Quor::U32 accessVlan ) override;
   int portDel( Quor::U32 ifindex ) override;
   Filter filter( Quor::U32 ifindex ) const override;
   int attach( Quor::U32 ifindex ) override;
   int detach( Quor::U32 ifindex ) override;
   void unpin() override { program_.unpin(); }
   Quor::U32 ifindex( const std::string &name ) const override;
   int fd() const override;
   News hear() override;

 private:
   DeviceNews news_; // subscribed before anything is asked for
   PinnedProgram program_;
};

} // namespace OrloAgent

#endif
