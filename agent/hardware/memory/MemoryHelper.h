// The hardware helper for the memory hardware: the agent's default, without privileges, and the
// model for helpers of real chips.
#ifndef ORLOAGENT_HARDWARE_MEMORY_MEMORYHELPER_H
#define ORLOAGENT_HARDWARE_MEMORY_MEMORYHELPER_H

#include "OrloVrrpHelper/RetryingHelper.h"
#include "agent/Pair.h"
#include "agent/hardware/SlotFile.h"

namespace OrloAgent {

/// Programs a SlotFile, which it owns. Held by the agent and by the programmer.
class MemoryHelper : public OrloHelper::RetryingHelper {
 public:
   /// Opens the table at `path` (see SlotFile) and asks for adoption of what it holds. Throws
   /// HardwareError.
   MemoryHelper( const std::string &path, const OrloHelper::HelperSettings &settings );

   const SlotFile &slots() const noexcept { return slots_; }

   /// Read from the table, not from memory of what was asked.
   std::optional<Pair> slot( Quor::U32 index ) const override;
   std::vector<Entry> readAll() const override;
   void repair() override;

 protected:
   /// Somebody may have cut the table short, or removed it.
   void hear() override;
   /// Refused when the slot holds another pair: somebody else has written there.
   void add( std::span<Write> writes ) override;
   void remove( std::span<Write> writes ) override;

 private:
   const SlotFile::Notice notice_;
   SlotFile slots_;
};

} // namespace OrloAgent

#endif
