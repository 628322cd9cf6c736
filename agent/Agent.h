// The agent: connects kernel and configuration to the plug-in, and the plug-in to the hardware.
//
//    Kernel ─► Devices ─► Publisher ─► VirtualRouterMacStatus ─┐
//                                                              ├─► LibSm ─► table ─► VrrpSm
//    Configuration ──────────────────► IntfVlanIdSet::Table ───┘                        │
//                                                                                       ▼
//    standard output ◄─ Report ◄────────────────────────────────────────────────── MemoryHelper
#ifndef ORLOAGENT_AGENT_H
#define ORLOAGENT_AGENT_H

#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "OrloVrrpPrivateVlanReflectorLib/VirtualRouterMacTable.h"
#include "OrloVrrpSm/VrrpSm.h"
#include "agent/Configuration.h"
#include "agent/Report.h"
#include "agent/WaitingWatch.h"
#include "agent/hardware/MemoryHelper.h"
#include "agent/input/Devices.h"
#include "agent/input/Kernel.h"
#include "agent/input/Publisher.h"
#include "platform/HardwareStatus.h"
#include "platform/IntfVlanIdSetTable.h"
#include "platform/VirtualRouterMacStatus.h"

#include <iosfwd>
#include <map>

namespace OrloAgent {

/// Owns everything between its two ends. Runs on the thread of the event loop behind `kernel`; its
/// only clock is the order of the kernel's calls, so that the same calls give the same output.
///
/// Whatever it programmed stays in the hardware when it goes, and is adopted by the next one.
class Agent final : private KernelWatcher, private HardwareWatcher, private PublisherWatcher {
 public:
   /// Opens the hardware; throws HardwareError when that cannot be. `out` takes the change lines
   /// and the table, `err` what went wrong. `kernel` and the streams must outlive the agent.
   Agent( const Configuration &configuration, Kernel &kernel, std::ostream &out,
          std::ostream &err );
   ~Agent();
   Agent( const Agent & ) = delete;
   Agent &operator=( const Agent & ) = delete;

   /// Begins to listen to the kernel. The hardware is not touched before the kernel's state is
   /// known as a whole; then the start-up pass runs, and "ready" is reported. Called once.
   void start();
   /// Reacts to nothing any more, and leaves the hardware as it is. May be called at any time,
   /// again as well.
   void stop();

   bool isReady() const noexcept { return static_cast<bool>( vrrpSm_ ); }
   /// What is wanted and what the hardware holds at this moment.
   void printTable();

   const MemoryHelper &helper() const { return *helper_; }

 private:
   void fillVlanSets( const Configuration &configuration );
   void startProgramming();
   TableOfPairs table() const;
   Pelmo::IntfId interfaceOf( Bridging::VlanId vlan ) const;

   void onLink( const Link &link ) override;
   void onLinkGone( IfIndex ifindex ) override;
   void onAddress( const Address &address ) override;
   void onAddressGone( const Address &address ) override;
   void onReadingAll() override;
   void onReadAll() override;
   void onOverrun() override;
   void onQuiet() override;
   void onTrouble( const std::string &what ) override; // of the kernel and of the hardware

   void onFound( const Pair &pair, Quor::U32 index ) override;
   void onProgrammed( const Pair &pair, Quor::U32 index ) override;
   void onRemoved( const Pair &pair, Quor::U32 index ) override;

   void onPublished( const Routing::Fhrp::VirtualRouterMac &record,
                     const std::string &device ) override;
   void onWithdrawn( const Routing::Fhrp::VirtualRouterMac &record, const std::string &device,
                     const std::string &reason ) override;

   Report report_;
   std::ostream &err_;
   Kernel &kernel_;
   Devices devices_;
   bool kernelIsKnown_ = false; // its state, as a whole
   std::map<Bridging::VlanId, Pelmo::IntfId> interfaceOf_;
   Quor::U64 adopted_ = 0;
   Quor::U64 programmed_ = 0;

   Quor::Ptr<MemoryHelper> helper_;
   Quor::Ptr<Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable> table_;
   Quor::Ptr<IntfVlanIdSet::Table> vlanSets_;
   Quor::Ptr<Routing::Fhrp::Hardware::Status> hardwareStatus_;
   Quor::Ptr<Routing::Fhrp::VirtualRouterMacStatus> status_;
   Publisher publisher_;
   Quor::Ptr<Orlo::VrrpPrivateVlanReflectorLib::LibSm> libSm_;
   Quor::Ptr<Orlo::VrrpSm> vrrpSm_;
   Quor::Ptr<WaitingWatch> waitingWatch_;
};

} // namespace OrloAgent

#endif
