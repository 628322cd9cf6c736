#include "agent/Agent.h"

#include <ostream>
#include <set>

namespace OrloAgent {

namespace {

std::set<Pelmo::IntfId> namesOf( const Configuration &configuration ) {
   std::set<Pelmo::IntfId> names;
   for( const InterfaceConfiguration &interface : configuration.interfaces ) {
      names.insert( interface.name );
   }
   return names;
}

} // namespace

Agent::Agent( const Configuration &configuration, Kernel &kernel, std::ostream &out,
              std::ostream &err )
      : report_( out ), err_( err ), kernel_( kernel ), devices_( namesOf( configuration ) ),
        helper_( Quor::make<MemoryHelper>( configuration.hardware.path,
                                           configuration.hardware.indexes,
                                           static_cast<HardwareWatcher &>( *this ) ) ),
        table_( Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory() ),
        vlanSets_( Quor::make<IntfVlanIdSet::Table>() ),
        hardwareStatus_( Quor::make<Routing::Fhrp::Hardware::Status>() ),
        status_( Quor::make<Routing::Fhrp::VirtualRouterMacStatus>() ),
        publisher_( status_, *this ) {
   hardwareStatus_->virtualRouterCountIs( configuration.hardware.indexes );
   fillVlanSets( configuration );
}

Agent::~Agent() {
   stop();
}

void Agent::fillVlanSets( const Configuration &configuration ) {
   // Every interface has its set before any record can be published: the reflector relies on it,
   // and keeps the object that it finds.
   for( const InterfaceConfiguration &interface : configuration.interfaces ) {
      const Quor::Ptr<IntfVlanIdSet::SviVlanSet> set = vlanSets_->sviVlanSetIs( interface.name );
      set->vlanIdIs( interface.vlan, true );
      interfaceOf_.emplace( interface.vlan, interface.name );
      for( const Bridging::VlanId vlan : interface.secondaryVlans ) {
         set->vlanIdIs( vlan, true );
         interfaceOf_.emplace( vlan, interface.name );
      }
   }
}

void Agent::start() {
   kernel_.start( *this );
}

void Agent::startProgramming() {
   namespace Reflector = Orlo::VrrpPrivateVlanReflectorLib;
   // The programmer comes last: in its start-up pass it deletes from the hardware what is not in
   // the table.
   libSm_ = Reflector::libSmFactory( status_, vlanSets_, table_ );
   vrrpSm_ = Orlo::VrrpSmIs( table_, hardwareStatus_, helper_ );
   waitingWatch_ = Quor::make<WaitingWatch>( table_, *vrrpSm_, report_ );
   report_.ready( hardwareStatus_->virtualRouterCount(), adopted_, programmed_,
                  vrrpSm_->macsNeedingVirtualRouterIndexes().count() );
}

void Agent::stop() {
   kernel_.stop();
   // The programmer goes first: the reflector empties the table when it goes, and a programmer that
   // watched that would take the hardware down.
   waitingWatch_ = nullptr;
   vrrpSm_ = nullptr;
   libSm_ = nullptr;
}

void Agent::onLink( const Link &link ) {
   devices_.linkIs( link );
}

void Agent::onLinkGone( IfIndex ifindex ) {
   devices_.linkDel( ifindex );
}

void Agent::onAddress( const Address &address ) {
   devices_.addressIs( address );
}

void Agent::onAddressGone( const Address &address ) {
   devices_.addressDel( address );
}

void Agent::onReadingAll() {
   kernelIsKnown_ = false;
   devices_.readingBegins();
}

void Agent::onReadAll() {
   devices_.readingEnds();
   kernelIsKnown_ = true;
}

void Agent::onOverrun() {
   kernelIsKnown_ = false;
   report_.overrun();
}

void Agent::onQuiet() {
   if( !kernelIsKnown_ ) {
      return;
   }
   publisher_.verdictsAre( devices_.verdicts() );
   if( !vrrpSm_ ) {
      startProgramming();
   }
}

void Agent::onTrouble( const std::string &what ) {
   err_ << "orlo-agent: " + what + "\n" << std::flush;
}

void Agent::onFound( const Pair &pair, Quor::U32 index ) {
   // What is not wanted is deleted next, and reported then.
   if( table_->virtualRouterMacs().isMemberOf( pair ) ) {
      ++adopted_;
      report_.adopted( pair, index );
   }
}

void Agent::onProgrammed( const Pair &pair, Quor::U32 index ) {
   ++programmed_;
   if( waitingWatch_ ) {
      waitingWatch_->programmed( pair );
   }
   report_.programmed( pair, index );
}

void Agent::onRemoved( const Pair &pair, Quor::U32 index ) {
   report_.removed( pair, index );
}

void Agent::onPublished( const Routing::Fhrp::VirtualRouterMac &record,
                         const std::string &device ) {
   report_.published( record, device );
}

void Agent::onWithdrawn( const Routing::Fhrp::VirtualRouterMac &record, const std::string &device,
                         const std::string &reason ) {
   report_.withdrawn( record, device, reason );
}

Pelmo::IntfId Agent::interfaceOf( Bridging::VlanId vlan ) const {
   const auto at = interfaceOf_.find( vlan );
   return at == interfaceOf_.end() ? Pelmo::IntfId() : at->second;
}

TableOfPairs Agent::table() const {
   TableOfPairs table;
   table.indexes = hardwareStatus_->virtualRouterCount();
   std::map<Pair, TableRow> rows;
   const auto row = [&]( const Pair &pair ) -> TableRow & {
      TableRow &one = rows[pair];
      one.pair = pair;
      one.intf = interfaceOf( pair.vlanId() );
      return one;
   };
   for( const auto &entry : table_->virtualRouterMacs() ) {
      row( entry.key() ).wanted = true;
   }
   if( vrrpSm_ ) {
      for( const auto &entry : vrrpSm_->macsNeedingVirtualRouterIndexes() ) {
         row( entry.value() ).place = ++table.waiting;
      }
      for( const auto &entry : vrrpSm_->virtualRouterIndexes() ) {
         TableRow &one = row( entry.key() );
         one.index = entry.value();
         one.programmed = helper_->holds( entry.key(), entry.value() );
      }
   }
   const SlotFile &slots = helper_->slots();
   for( Quor::U32 index = 0; index < slots.count(); ++index ) {
      const std::optional<Pair> pair = slots.slot( index );
      if( !pair ) {
         continue;
      }
      ++table.indexesUsed;
      TableRow &one = row( *pair );
      if( !one.programmed ) { // not known to the programmer: not started, or left behind
         one.index = index;
         one.programmed = true;
      }
   }
   for( const auto &[pair, one] : rows ) {
      table.rows.push_back( one );
   }
   return table;
}

void Agent::printTable() {
   report_.table( table() );
}

} // namespace OrloAgent
