// Notices which pairs begin to wait for an index, and which give up waiting.
#ifndef ORLOAGENT_WAITINGWATCH_H
#define ORLOAGENT_WAITINGWATCH_H

#include "OrloVrrpPrivateVlanReflectorLib/VirtualRouterMacTable.h"
#include "OrloVrrpSm/VrrpSm.h"
#include "agent/Pair.h"
#include "agent/Report.h"

#include <set>

namespace OrloAgent {

/// Watches the table of wanted pairs behind the programmer's back: it registers after the
/// programmer, so that of every pair the programmer has decided when it is called. Costs the same
/// however many wait. Held by the agent, which lets go of it before the programmer.
class WaitingWatch
      : public Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable::NotifieeConst {
 public:
   using Table = Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;

   /// Reports the pairs that wait already. `vrrpSm` is running and watches `table`.
   WaitingWatch( const Quor::Ptr<Table> &table, const Orlo::VrrpSm &vrrpSm, Report &report );

   /// A pair has got an index: it does not wait any more.
   void programmed( const Pair &pair ) { waiting_.erase( pair ); }

   void onVirtualRouterMac( const Pair &pair ) override;

 private:
   const Orlo::VrrpSm &vrrpSm_;
   Report &report_;
   std::set<Pair> waiting_;
};

} // namespace OrloAgent

#endif
