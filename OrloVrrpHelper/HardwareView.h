// How a helper shows what its hardware holds.
#ifndef ORLOVRRPHELPER_HARDWAREVIEW_H
#define ORLOVRRPHELPER_HARDWAREVIEW_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace OrloHelper {

/// What a helper offers beside when it can read its hardware: a helper that derives from both is
/// shown with it ("programmed" then means: the hardware has it). All calls come on the agent's
/// thread.
class HardwareView {
 public:
   using VlanAndMac = Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;
   using Time = std::chrono::steady_clock::time_point;

   /// What the hardware does not do for now, and is asked for again.
   struct Refusal {
      VlanAndMac pair;
      bool isRemoval = false; ///< it keeps the pair; otherwise it does not take it
      std::string reason;     ///< one line, the same for everything that is refused for it
      Quor::U32 tries = 0;
      Time since{};
      Time next{}; ///< when it is asked again
   };

   /// An entry of the hardware that is ours. `index` is nothing when the hardware, and what is
   /// remembered beside it, does not tell.
   struct Entry {
      VlanAndMac pair;
      std::optional<Quor::U32> index;
      bool operator==( const Entry & ) const = default;
   };

   /// What the hardware holds under `index`, as far as the helper has heard: nothing when it is
   /// free, or does not hold the pair as a whole. `index` is below HelperSettings::indexes. Costs a
   /// look at one slot.
   virtual std::optional<VlanAndMac> slot( Quor::U32 index ) const = 0;
   /// Nothing when the hardware has done what it was asked for `index`, or has not answered yet.
   virtual std::optional<Refusal> refusal( Quor::U32 index ) const = 0;
   /// How often the hardware has refused something since the helper was made.
   virtual Quor::U64 refusals() const = 0;
   /// How many entries have been added to or removed from the hardware since the helper was made;
   /// attempts that were refused count.
   virtual Quor::U64 writes() const = 0;
   /// Reads the hardware, all of it and now: every entry of ours, whatever it looks like. Changes
   /// nothing. Throws std::runtime_error when it cannot be read.
   virtual std::vector<Entry> readAll() const = 0;

 protected:
   ~HardwareView() = default;
};

} // namespace OrloHelper

#endif
