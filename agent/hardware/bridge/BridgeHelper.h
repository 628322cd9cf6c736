// The hardware helper for a VLAN-aware Linux bridge.
//
// A pair is programmed by a static FDB entry that makes the bridge take the frames itself. On a
// secondary VLAN they come up with that VLAN's tag, which no SVI takes: there a rule at the
// bridge's ingress turns the VLAN into the primary one, for frames of this pair only.
//
// An FDB entry does not hold an index, nor whose it is: a slot table (SlotFile) beside the process
// remembers both. It is written before the bridge when a pair comes, and after it when it goes. So
// what stands in the table and in the bridge is ours, and what stands in the bridge alone is
// somebody else's: the kernel's or the administrator's. When such an entry is in the way of a pair,
// it is used as it is, which the slot says as well, and it stays when the pair goes. The number of
// a rule is the index of its pair and one.
#ifndef ORLOAGENT_HARDWARE_BRIDGE_BRIDGEHELPER_H
#define ORLOAGENT_HARDWARE_BRIDGE_BRIDGEHELPER_H

#include "OrloVrrpHelper/RetryingHelper.h"
#include "agent/hardware/SlotFile.h"
#include "agent/hardware/bridge/BridgeKernel.h"

#include <map>
#include <memory>
#include <string>
#include <unordered_map>

namespace OrloAgent {

/// Owns the slot table, which belongs to one process at a time. What somebody else does to our
/// entries and rules is noticed and put right. Held by the agent and by the programmer.
class BridgeHelper : public OrloHelper::RetryingHelper {
 public:
   /// `bridge` is the name of the bridge, which need not be there; `path` is the slot table's.
   /// Throws HardwareError.
   BridgeHelper( std::string bridge, const std::string &path,
                 const OrloHelper::HelperSettings &settings, std::unique_ptr<BridgeKernel> kernel );
   ~BridgeHelper() override;

   void syncVrrpStateOnInit( const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &state ) override;
   int fd() const override;
   Time work( Time now ) override;
   void interfacesAre( const std::vector<OrloHelper::RoutedInterface> &interfaces ) override;
   void repair() override;
   std::vector<Entry> readAll() const override;

 private:
   using Change = BridgeKernel::Change;
   struct Adding;
   struct Hash {
      std::size_t operator()( const Pair &pair ) const noexcept { return pair.hash(); }
   };

   void add( std::span<Write> writes ) override;
   void remove( std::span<Write> writes ) override;
   void hear() override;
   void mendSlots();

   // add() in its steps.
   std::vector<Adding> lookUp( std::span<Write> writes );
   void addRules( std::vector<Adding> &addings );
   void addEntries( std::vector<Adding> &addings );
   bool standsOtherwise( const Write &write, FdbState state ) const;
   void useForeign( const Write &write );
   // remove() in its steps.
   void removeEntries( std::span<Write> writes );
   void removeRules( std::span<Write> writes );
   void forget( const Write &write );

   std::string whyNotUsable() const;
   std::string reason( const Change &change ) const;
   std::optional<VlanRule> ruleFor( const Pair &pair ) const;
   bool isOurs( Quor::U32 index, const Pair &pair ) const;

   void beforeReading();
   void freeSlotsBut( const std::vector<Entry> &entries );
   void afterReading();
   void removeStrayRules();
   void onDevice();
   void onEntries( const std::vector<BridgeKernel::News::Entry> &news );
   void onRules( const std::vector<BridgeKernel::News::Rule> &news );

   const std::string bridge_;
   const std::string path_;
   std::unique_ptr<BridgeKernel> kernel_;
   std::optional<SlotFile> slots_;                          ///< none when only looked at
   std::map<Bridging::VlanId, Bridging::VlanId> primaries_; ///< of the secondary VLANs
   BridgeDevice device_;                                    ///< when it was last looked at
   std::unordered_map<Pair, Quor::U32, Hash> indexes_;      ///< of what is in the bridge
   /// What stands in the bridge, as far as is known, by index. Nothing: something else than our
   /// rules look like, or perhaps something.
   std::map<Quor::U32, FoundRule> rules_;
   Quor::U32 toldForeign_ = 0;
   bool mustRead_ = false;      ///< what the bridge holds could not be read
   bool hasStrayRules_ = false; ///< removeStrayRules() has to look again
   bool toldStrayRules_ = false;
};

} // namespace OrloAgent

#endif
