// What a hardware helper tells of its work.
#ifndef ORLOAGENT_HARDWARE_HARDWAREWATCHER_H
#define ORLOAGENT_HARDWARE_HARDWAREWATCHER_H

#include "agent/Pair.h"
#include "quor/Types.h"

#include <string>

namespace OrloAgent {

/// Called after the hardware has been changed (or found), from inside the calls that change it: it
/// may look, it must not change anything. What it throws is dropped.
class HardwareWatcher {
 public:
   /// The hardware holds the pair from before the start; the programmer decides whether it stays.
   virtual void onFound( const Pair &pair, Quor::U32 index ) = 0;
   virtual void onProgrammed( const Pair &pair, Quor::U32 index ) = 0;
   virtual void onRemoved( const Pair &pair, Quor::U32 index ) = 0;
   /// The hardware is not as it should be, or did not do what it was asked to; `what` is for the
   /// administrator. May come from a helper's constructor.
   virtual void onTrouble( const std::string &what ) = 0;

 protected:
   ~HardwareWatcher() = default;
};

} // namespace OrloAgent

#endif
