// The hardware helper for the memory hardware: the agent's default, without privileges, and the
// model for helpers of real chips.
#ifndef ORLOAGENT_HARDWARE_MEMORYHELPER_H
#define ORLOAGENT_HARDWARE_MEMORYHELPER_H

#include "OrloVrrpHelper/HelperModule.h"
#include "agent/Pair.h"
#include "agent/hardware/SlotFile.h"

namespace OrloAgent {

/// Programs a SlotFile, which it owns. Nothing is thrown into the programmer: what cannot be done
/// is told and counted. Held by the agent and by the programmer.
class MemoryHelper : public OrloHelper::VrrpSmHelper, public OrloHelper::HardwareView {
 public:
   using Trouble = std::function<void( const std::string & )>;

   /// Opens the table (see SlotFile) and asks for adoption of what it holds. Throws HardwareError.
   MemoryHelper( const std::string &path, Quor::U32 indexes, Trouble trouble );

   const SlotFile &slots() const noexcept { return slots_; }
   /// Does slot `index` hold this very pair? Read from the hardware, not from memory of what was
   /// asked.
   bool holds( const Pair &pair, Quor::U32 index ) const noexcept;

   std::optional<Pair> slot( Quor::U32 index ) const override { return slots_.slot( index ); }
   Quor::U64 refusals() const override { return refusals_; }

   /// Refused when `index` is not in the table or the slot holds another pair. A pair that the slot
   /// holds already is not written again.
   void addVirtualRouterMac( const Pelmo::EthAddr &macAddr, Quor::U32 vlanId,
                             Quor::U32 index ) override;
   /// Refused when the slot does not hold the pair.
   void deleteVirtualRouterMac( const Pelmo::EthAddr &macAddr, Quor::U32 vlanId,
                                Quor::U32 index ) override;
   /// Gives every pair that the table holds, once, under its first index. Slots that hold anything
   /// else (VLAN 0 or 4095, a pair a second time) are freed first.
   void syncVrrpStateOnInit(
         const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &currentStatePtr ) override;

 private:
   void tell( const std::string &what, const Pair &pair, Quor::U32 index,
              const char *why ) const noexcept;
   void refused( const Pair &pair, Quor::U32 index, const char *doing, const char *why ) noexcept;

   SlotFile slots_;
   Trouble trouble_;
   Quor::U64 refusals_ = 0;
};

} // namespace OrloAgent

#endif
