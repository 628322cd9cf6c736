// The memory hardware for whoever only looks at it.
#ifndef ORLOAGENT_HARDWARE_MEMORY_MEMORYREADER_H
#define ORLOAGENT_HARDWARE_MEMORY_MEMORYREADER_H

#include "OrloVrrpHelper/HardwareView.h"
#include "OrloVrrpHelper/VrrpSmHelper.h"

namespace OrloAgent {

/// Reads the file of a SlotFile each time that it is asked, and leaves it as it is: makes none,
/// sets none aside, needs no lock. What the programmer would ask of it is not done.
class MemoryReader : public OrloHelper::VrrpSmHelper, public OrloHelper::HardwareView {
 public:
   explicit MemoryReader( const std::string &path );

   void addVirtualRouterMac( const Pelmo::EthAddr &, Quor::U32, Quor::U32 ) override {}
   void deleteVirtualRouterMac( const Pelmo::EthAddr &, Quor::U32, Quor::U32 ) override {}

   /// Throws as readAll() does.
   std::optional<VlanAndMac> slot( Quor::U32 index ) const override;
   std::optional<Refusal> refusal( Quor::U32 ) const override { return std::nullopt; }
   Quor::U64 refusals() const override { return 0; }
   Quor::U64 writes() const override { return 0; }
   std::vector<Entry> readAll() const override;

 private:
   const std::string path_;
};

} // namespace OrloAgent

#endif
