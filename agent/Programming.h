// The plug-in's objects, and the order in which they live.
#ifndef ORLOAGENT_PROGRAMMING_H
#define ORLOAGENT_PROGRAMMING_H

#include "OrloVrrpHelper/HardwareView.h"
#include "OrloVrrpHelper/HardwareWork.h"
#include "agent/Assignments.h"
#include "agent/Audit.h"
#include "agent/Configuration.h"
#include "agent/Library.h"
#include "platform/HardwareStatus.h"
#include "platform/IntfVlanIdSetTable.h"
#include "platform/VirtualRouterMacStatus.h"

#include <functional>
#include <map>
#include <set>

namespace OrloAgent {

/// How the hardware was taken over when the programmer last started.
struct Adoption {
   Quor::U32 adopted = 0;
   Quor::U32 removed = 0;
   Time at;
};

/// Loads the plug-in and the hardware's helper, owns everything that is made of them, and keeps the
/// order: the programmer comes last, because its start-up pass deletes from the hardware what is
/// not in the table, and goes first, because the reflector empties the table when it goes.
///
/// The status table and the VLAN sets are written from outside; a record's interface has its VLAN
/// set before the record comes and until after it has gone: the reflector relies on it.
class Programming {
 public:
   using Trouble = std::function<void( const std::string & )>;
   using VlanSets = std::map<Pelmo::IntfId, std::set<Bridging::VlanId>>;
   using Table = Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;

   /// Loads, and opens the hardware. Throws LibraryError. `trouble` takes what the administrator
   /// has to know, for as long as this object lives.
   Programming( const Configuration &configuration, Trouble trouble, Clock clock,
                Stopwatch stopwatch );
   ~Programming();
   Programming( const Programming & ) = delete;
   Programming &operator=( const Programming & ) = delete;

   /// The status table is complete: the start-up pass runs. Called once.
   void start();
   /// Reacts to nothing any more; the hardware stays as it is. Again as well.
   void stop();
   bool isRunning() const noexcept { return static_cast<bool>( vrrpSm_ ); }

   /// Runs `change`, which may change status, VLAN sets and their interfaces at will, and then
   /// brings the hardware in line: it sees exactly the difference, and nothing of what happened in
   /// between. Pairs that stay keep their index or their place in the line.
   void change( const std::function<void()> &change );
   /// The same with another number of indexes: the programmer starts anew and adopts; pairs whose
   /// index is gone are removed first. Throws LibraryError when the hardware cannot be had with
   /// that number: `change` has not run then, and it goes on with the number before;
   /// unless that cannot be had any more either: then there is no helper, and it is not running.
   void change( Quor::U32 indexes, const std::function<void()> &change );

   /// The helper does what it has been asked: to be called at the end of each event, when `fd` in
   /// onWait is readable, and at the time that is given there. Nothing while it is not running.
   void work();
   /// The hardware is read, all of it, and made as it was asked to be. Throws std::runtime_error
   /// when it cannot be read.
   void repair();
   /// Does the helper know how to?
   bool canRepair() const noexcept { return work_ != nullptr; }
   /// Reads the hardware, all of it, and compares. Only while it is running, and has a view().
   /// Throws std::runtime_error when the hardware cannot be read.
   Audit audit() const;
   /// When that was, or will be, for people.
   Time timeOf( Instant instant ) const;

   /// The SVIs and their VLANs are these now. Inside change() only, or before start().
   void interfacesAre( const std::vector<InterfaceConfiguration> &interfaces );
   /// Makes the sets of these interfaces say this, in place; makes those that are not there. VLANs
   /// leave all of them before they join one: who leaves takes the keys along that both have.
   void vlanSetsAre( const VlanSets &wanted );
   /// Withdraws what is left of the interface's records, then drops its set.
   void vlanSetDel( const Pelmo::IntfId &intf );

   const Quor::Ptr<Routing::Fhrp::VirtualRouterMacStatus> &status() const { return status_; }
   const Quor::Ptr<IntfVlanIdSet::Table> &vlanSets() const { return vlanSets_; }
   const Quor::Ptr<Table> &table() const { return table_; }
   const Quor::Ptr<Routing::Fhrp::Hardware::Status> &hardwareStatus() const {
      return hardwareStatus_;
   }
   const Quor::Ptr<OrloHelper::VrrpSmHelper> &helper() const { return helper_; }
   /// Null while it is not running.
   const Quor::Ptr<Orlo::VrrpPrivateVlanReflectorLib::LibSm> &libSm() const { return libSm_; }
   const Quor::Ptr<Orlo::VrrpSm> &vrrpSm() const { return vrrpSm_; }
   /// Null while it is not running. A new one after each start of the programmer.
   const Quor::Ptr<Assignments> &assignments() const { return assignments_; }
   /// Null when the hardware cannot be read.
   const OrloHelper::HardwareView *view() const noexcept { return view_; }

   /// What has happened since the last call, in order; adopted pairs are told after start() only.
   std::vector<PairChange> takeChanges();

   Quor::U32 indexes() const noexcept { return hardwareStatus_->virtualRouterCount(); }
   const Adoption &lastAdoption() const noexcept { return lastAdoption_; }
   Quor::U64 adoptedInAll() const noexcept { return adoptedInAll_; }
   /// How often the programmer has been started anew inside this process.
   Quor::U32 restarts() const noexcept { return restarts_; }
   const char *pluginVersion() const noexcept { return plugin_->version; }

   /// Called around a new start of the helper or the programmer, after the first start and before
   /// the end: whoever holds them lets go (false), and may look again (true).
   std::function<void( bool )> onRestart = []( bool ) {};
   /// Called after each work() with what the next one is for: a descriptor to become readable (-1:
   /// none), a time to come (HardwareWork::kNever: none).
   std::function<void( int fd, Instant next )> onWait = []( int, Instant ) {};

 private:
   void makeHelper( Quor::U32 indexes );
   void makeHelperAnew( Quor::U32 indexes, Quor::U32 before,
                        const std::function<void()> &goOnAsBefore );
   void startProgrammer( const Assignments *before );
   void stopProgrammer();
   void startAnew( const Assignments &before );
   std::set<Pair> wanted() const;
   void catchUp( const std::set<Pair> &before );
   void removeFrom( Quor::U32 firstIndex );

   const Trouble trouble_;
   const Clock clock_;
   const Stopwatch stopwatch_;
   const HardwareConfiguration hardware_;
   const PluginLibrary plugin_;       // before what was made of it
   const HelperLibrary helperModule_; // needs the plug-in
   Quor::Ptr<OrloHelper::VrrpSmHelper> helper_;
   const OrloHelper::HardwareView *view_ = nullptr; // a part of the helper
   OrloHelper::HardwareWork *work_ = nullptr;       // so is this
   std::vector<OrloHelper::RoutedInterface> interfaces_;
   Quor::Ptr<Table> table_;
   Quor::Ptr<IntfVlanIdSet::Table> vlanSets_;
   Quor::Ptr<Routing::Fhrp::Hardware::Status> hardwareStatus_;
   Quor::Ptr<Routing::Fhrp::VirtualRouterMacStatus> status_;
   Quor::Ptr<Orlo::VrrpPrivateVlanReflectorLib::LibSm> libSm_;
   Quor::Ptr<Orlo::VrrpSm> vrrpSm_;
   Quor::Ptr<Assignments> assignments_;
   std::vector<PairChange> changes_; // beside those that it knows
   Adoption lastAdoption_;
   Quor::U64 adoptedInAll_ = 0;
   Quor::U32 restarts_ = 0;
};

} // namespace OrloAgent

#endif
