// The agent: connects kernel and configuration to the plug-in, and the plug-in to the hardware.
//
//    Kernel ─► Devices ─► Publisher ─► VirtualRouterMacStatus ─┐
//                                                              ├─► LibSm ─► table ─► VrrpSm
//    Configuration ──────────────────► IntfVlanIdSet::Table ───┘                        │
//                                                                                       ▼
//    standard output ◄─ Report ◄─ Assignments                          the hardware's helper
//    orloctl ◄─ control/
#ifndef ORLOAGENT_AGENT_H
#define ORLOAGENT_AGENT_H

#include "agent/Programming.h"
#include "agent/Report.h"
#include "agent/input/Devices.h"
#include "agent/input/Kernel.h"
#include "agent/input/Publisher.h"

#include <iosfwd>

namespace OrloAgent {

/// A configuration that the running agent cannot change to; what() says why. Nothing has changed.
class ReloadError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// Owns everything between its two ends. Runs on the thread of the event loop behind `kernel`; its
/// only clock is the order of the kernel's calls and those that it is given, so that the same
/// calls give the same output.
///
/// Whatever it programmed stays in the hardware when it goes, and is adopted by the next one.
class Agent final : private KernelWatcher, private PublisherWatcher {
 public:
   /// Loads the plug-in and opens the hardware; throws LibraryError when that cannot be. `out`
   /// takes the change lines and the table, `err` what went wrong. `kernel` and the streams must
   /// outlive the agent.
   Agent( const Configuration &configuration, Kernel &kernel, std::ostream &out, std::ostream &err,
          const Clock &clock = &systemTime, const Report::Journal &journal = {},
          const Stopwatch &stopwatch = &steadyTime );
   ~Agent();
   Agent( const Agent & ) = delete;
   Agent &operator=( const Agent & ) = delete;

   /// Begins to listen to the kernel. The hardware is not touched before the kernel's state is
   /// known as a whole; then the start-up pass runs, and "ready" is reported. Called once.
   void start();
   /// Reacts to nothing any more, and leaves the hardware as it is. May be called at any time,
   /// again as well.
   void stop();

   /// Changes to another configuration: the hardware sees exactly the difference. ReloadError when
   /// that cannot be done while it runs; LibraryError when the hardware cannot be had with another
   /// number of indexes: then it goes on as before, unless the hardware is lost.
   struct Reloaded {
      std::vector<std::string> changes; ///< in words
      Quor::U32 calls = 0;              ///< of the hardware: pairs programmed and removed
   };
   Reloaded reload( const Configuration &next );

   bool isReady() const noexcept { return programming_.isRunning(); }
   /// What is wanted and what the hardware holds at this moment.
   void printTable();
   /// The end of an event: the hardware does what it was asked, and what has changed is reported.
   /// To be called after changes that did not come from the kernel, and when the hardware has
   /// something to do (Programming::onWait).
   void work();
   void onTrouble( const std::string &what ) override; // of the kernel and of the hardware

   const Configuration &configuration() const noexcept { return configuration_; }
   Programming &programming() noexcept { return programming_; }
   const Programming &programming() const noexcept { return programming_; }
   const Devices &devices() const noexcept { return devices_; }
   const Clock &clock() const noexcept { return clock_; }
   Time startedAt() const noexcept { return startedAt_; }

   /// Called once, when the start-up pass is over.
   std::function<void()> onReady = [] {};

 private:
   void startProgramming();
   std::vector<PairChange> gatherChanges();
   void reportChange( const PairChange &change );
   void reportTaken();
   void reportPool();
   TableOfPairs table() const;

   void onLink( const Link &link ) override;
   void onLinkGone( IfIndex ifindex ) override;
   void onAddress( const Address &address ) override;
   void onAddressGone( const Address &address ) override;
   void onReadingAll() override;
   void onReadAll() override;
   void onOverrun() override;
   void onQuiet() override;

   void onPublished( const Routing::Fhrp::VirtualRouterMac &record,
                     const std::string &device ) override;
   void onWithdrawn( const Routing::Fhrp::VirtualRouterMac &record, const std::string &device,
                     const std::string &reason ) override;

   Configuration configuration_;
   const Clock clock_;
   const Time startedAt_;
   Report report_;
   std::ostream &err_;
   Kernel &kernel_;
   Devices devices_;
   bool kernelIsKnown_ = false; // its state, as a whole
   bool isFull_ = false;        // as last reported
   bool isWaitedFor_ = false;
   std::vector<std::function<void()>> news_; // of the event under way, to be reported in order
   std::map<Quor::U32, PairChange> refused_; // by the hardware, by index
   Programming programming_;
   Publisher publisher_;
};

} // namespace OrloAgent

#endif
