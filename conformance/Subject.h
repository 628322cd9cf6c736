// What is put to the test, and how its hardware is got at from outside.
#ifndef ORLOCONFORMANCE_SUBJECT_H
#define ORLOCONFORMANCE_SUBJECT_H

#include "OrloVrrpHelper/HardwareView.h"
#include "OrloVrrpHelper/HardwareWork.h"
#include "OrloVrrpHelper/HelperSettings.h"
#include "types/Plugin.h"

#include <functional>
#include <random>

namespace OrloConformance {

using Pair = OrloHelper::HardwareView::VlanAndMac;

/// What happens to hardware without its helper's doing. Those that cannot be played are empty. What
/// they throw ends the run.
struct Faults {
   std::function<void()> refuse{};         ///< the hardware takes no new entry, until accept
   std::function<void()> refuseRemovals{}; ///< it keeps what it has, until accept
   std::function<void()> accept{};         ///< neither any more; again as well
   /// The entry goes from the hardware.
   std::function<void( const Pair &pair, Quor::U32 index )> lose{};
   /// The hardware gets an entry that looks like one of ours, also on a VLAN that is none.
   std::function<void( const Pair &pair, Quor::U32 index )> plant{};
};

/// A kind of helper, with hardware that the suite has for itself.
struct Subject {
   const Orlo::Plugin &plugin; ///< which its helpers belong to
   /// As orloHelperNew(): called again when the helper before has gone, or to look. What it throws
   /// breaks the rule that is tried.
   std::function<Quor::Ptr<OrloHelper::VrrpSmHelper>( const OrloHelper::HelperSettings & )> make;
   /// `trouble` is the suite's own. The pairs that are programmed are on the VLANs of `interfaces`,
   /// of which there is at least one.
   OrloHelper::HelperSettings settings;
   Faults faults{};
   std::mt19937::result_type seed = 1; ///< of what is random
   /// How long hardware may take to answer, or a helper to hear: waited for only when the helper
   /// has a descriptor.
   std::chrono::milliseconds patience{ 1000 };
};

} // namespace OrloConformance

#endif
