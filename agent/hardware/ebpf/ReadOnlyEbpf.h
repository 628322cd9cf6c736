// The tables as they are pinned, to be looked at and nothing else.
#ifndef ORLOAGENT_HARDWARE_EBPF_READONLYEBPF_H
#define ORLOAGENT_HARDWARE_EBPF_READONLYEBPF_H

#include "agent/hardware/ebpf/EbpfKernel.h"

#include <cerrno>

namespace OrloAgent {

/// Loads, attaches and changes nothing, and leaves the pins to the agent that has them.
class ReadOnlyEbpf final : public EbpfKernel {
 public:
   explicit ReadOnlyEbpf( std::string pins ) : pins_( std::move( pins ) ) {}

   /// Nothing where nothing is pinned yet.
   std::vector<Entry> entries() const override;
   std::optional<Entry> entry( const Pair & ) const override { return std::nullopt; }
   Done put( std::span<const Entry> ) override { return { 0, EPERM }; }
   Done erase( std::span<const Pair> ) override { return { 0, EPERM }; }
   std::map<Quor::U32, Quor::U32> ports() const override { return {}; }
   int portIs( Quor::U32, Quor::U32 ) override { return EPERM; }
   int portDel( Quor::U32 ) override { return EPERM; }
   Filter filter( Quor::U32 ) const override { return Filter::none; }
   int attach( Quor::U32 ) override { return EPERM; }
   int detach( Quor::U32 ) override { return EPERM; }
   void unpin() override {}
   Quor::U32 ifindex( const std::string & ) const override { return 0; }
   int fd() const override { return -1; }
   News hear() override { return {}; }

 private:
   const std::string pins_;
};

} // namespace OrloAgent

#endif
