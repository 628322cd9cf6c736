#include "agent/Agent.h"

#include "agent/Text.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <set>

namespace OrloAgent {

namespace {

using Quor::U32;

Programming::VlanSets vlanSetsOf( const Configuration &of ) {
   Programming::VlanSets sets;
   for( const InterfaceConfiguration &interface : of.interfaces ) {
      sets.emplace( interface.name, vlansOf( interface ) );
   }
   return sets;
}

std::string textOf( const std::set<Bridging::VlanId> &vlans ) {
   std::string text = vlans.size() == 1 ? "VLAN" : "VLANs";
   for( const Bridging::VlanId vlan : vlans ) {
      text += ( text.back() == 'N' || text.back() == 's' ? " " : ", " ) + valueToStrep( vlan );
   }
   return text;
}

/// What of `next` has to be the same, because the running agent cannot change it.
void needSame( bool isSame, const char *member ) {
   if( !isSame ) {
      throw ReloadError( std::string( member ) +
                         " cannot be changed while the agent runs: restart it; nothing has been "
                         "changed" );
   }
}

void needReloadable( const Configuration &now, const Configuration &next ) {
   needSame( now.plugin == next.plugin, "/plugin" );
   needSame( now.control == next.control, "/control" );
   HardwareConfiguration hardware = next.hardware;
   hardware.indexes = now.hardware.indexes;
   needSame( now.hardware == hardware, "/hardware other than /hardware/indexes" );
}

std::vector<std::string> differences( const Configuration &now, const Configuration &next ) {
   const auto before = vlanSetsOf( now );
   const auto after = vlanSetsOf( next );
   std::vector<std::string> changes;
   for( const auto &[intf, vlans] : before ) {
      if( !after.contains( intf ) ) {
         changes.push_back( valueToStrep( intf ) + " removed" );
      }
   }
   for( const auto &[intf, vlans] : after ) {
      const auto then = before.find( intf );
      if( then == before.end() ) {
         changes.push_back( valueToStrep( intf ) + " added: " + textOf( vlans ) );
      } else if( then->second != vlans ) {
         changes.push_back( valueToStrep( intf ) + " has " + textOf( vlans ) + " now, had " +
                            textOf( then->second ) );
      }
   }
   if( now.hardware.indexes != next.hardware.indexes ) {
      changes.push_back( counted( next.hardware.indexes, "index", "indexes" ) + " now, " +
                         std::to_string( now.hardware.indexes ) + " before" );
   }
   return changes;
}

/// Is it one that the hardware is called for?
bool isCall( const PairChange &change ) {
   return change.what == PairChange::What::programmed || change.what == PairChange::What::removed;
}

} // namespace

Agent::Agent( const Configuration &configuration, Kernel &kernel, std::ostream &out,
              std::ostream &err, const Clock &clock, const Report::Journal &journal,
              const Stopwatch &stopwatch )
      : configuration_( configuration ), clock_( clock ), startedAt_( clock() ),
        report_( out, journal ), err_( err ), kernel_( kernel ),
        devices_( namesOf( configuration ) ),
        programming_(
              configuration, [this]( const std::string &what ) { onTrouble( what ); }, clock,
              stopwatch ),
        publisher_( programming_.status(), *this ) {
   programming_.vlanSetsAre( vlanSetsOf( configuration ) );
}

Agent::~Agent() {
   stop();
}

void Agent::start() {
   kernel_.start( *this );
}

void Agent::startProgramming() {
   programming_.start();
   const std::vector<PairChange> changes = gatherChanges();
   work();
   const auto count = [&]( PairChange::What what ) {
      return static_cast<Quor::U64>(
            std::count_if( changes.begin(), changes.end(),
                           [what]( const PairChange &change ) { return change.what == what; } ) );
   };
   report_.ready( programming_.indexes(), count( PairChange::What::adopted ),
                  count( PairChange::What::programmed ), count( PairChange::What::waiting ) );
   onReady();
}

void Agent::stop() {
   kernel_.stop();
   programming_.stop();
}

Agent::Reloaded Agent::reload( const Configuration &next ) {
   needReloadable( configuration_, next );
   Reloaded done;
   done.changes = differences( configuration_, next );
   work();
   if( next.hardware.indexes != configuration_.hardware.indexes ) {
      refused_.clear(); // by a helper that goes
   }
   const auto change = [&] {
      const auto after = vlanSetsOf( next );
      for( const auto &[intf, vlans] : vlanSetsOf( configuration_ ) ) {
         if( !after.contains( intf ) ) { // records first: they need the set
            publisher_.interfaceDel( intf, valueToStrep( intf ) + " is not configured any more" );
            programming_.vlanSetDel( intf );
         }
      }
      programming_.vlanSetsAre( after );
      programming_.interfacesAre( next.interfaces );
      configuration_ = next;
      devices_.svisAre( namesOf( next ) );
      if( kernelIsKnown_ ) {
         publisher_.verdictsAre( devices_.verdicts() );
      }
   };
   try {
      programming_.change( next.hardware.indexes, change );
   } catch( ... ) {
      if( programming_.helper() ) {
         work(); // a new one, which has to be waited for
      }
      throw;
   }
   const std::vector<PairChange> changes = gatherChanges();
   work();
   done.calls = static_cast<U32>( std::count_if( changes.begin(), changes.end(), &isCall ) );
   report_.reloaded( done.changes );
   return done;
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
   if( !programming_.isRunning() ) {
      startProgramming();
   } else {
      work();
   }
}

void Agent::onTrouble( const std::string &what ) {
   err_ << "orlo-agent: " + what + "\n" << std::flush;
}

void Agent::onPublished( const Routing::Fhrp::VirtualRouterMac &record,
                         const std::string &device ) {
   gatherChanges(); // of what came before it
   news_.push_back( [this, record, device] { report_.published( record, device ); } );
}

void Agent::onWithdrawn( const Routing::Fhrp::VirtualRouterMac &record, const std::string &device,
                         const std::string &reason ) {
   gatherChanges();
   news_.push_back(
         [this, record, device, reason] { report_.withdrawn( record, device, reason ); } );
}

std::vector<PairChange> Agent::gatherChanges() {
   std::vector<PairChange> changes = programming_.takeChanges();
   for( const PairChange &change : changes ) {
      news_.push_back( [this, change] { reportChange( change ); } );
   }
   return changes;
}

void Agent::work() {
   gatherChanges();
   programming_.work();
   for( const std::function<void()> &say : std::exchange( news_, {} ) ) {
      say();
   }
   reportTaken();
   reportPool();
}

void Agent::reportChange( const PairChange &change ) {
   const OrloHelper::HardwareView *const view = programming_.view();
   if( !view || !isCall( change ) || change.number >= programming_.indexes() ) {
      report_.changed( change );
      return;
   }
   refused_.erase( change.number );
   const auto refusal = view->refusal( change.number );
   if( refusal && refusal->pair == change.pair &&
       refusal->isRemoval == ( change.what == PairChange::What::removed ) ) {
      refused_.insert_or_assign( change.number, change );
      report_.refused( change, refusal->reason );
   } else {
      report_.changed( change );
   }
}

/// What the hardware has taken at last.
void Agent::reportTaken() {
   const OrloHelper::HardwareView *const view = programming_.view();
   for( auto at = refused_.begin(); at != refused_.end(); ) {
      if( view && at->first < programming_.indexes() && view->refusal( at->first ) ) {
         ++at;
         continue;
      }
      report_.changed( at->second );
      at = refused_.erase( at );
   }
}

void Agent::reportPool() {
   if( !programming_.isRunning() ) {
      return;
   }
   const Orlo::VrrpSm &vrrpSm = *programming_.vrrpSm();
   const U32 waiting = vrrpSm.macsNeedingVirtualRouterIndexes().count();
   const bool isFull = vrrpSm.freeVirtualRouterIndexes().count() == 0 &&
                       ( waiting != 0 || programming_.indexes() != 0 );
   if( isFull && !isFull_ ) {
      report_.full( programming_.indexes() );
   }
   if( isWaitedFor_ && waiting == 0 ) {
      report_.relieved();
   }
   isFull_ = isFull;
   isWaitedFor_ = waiting != 0;
}

TableOfPairs Agent::table() const {
   const OrloHelper::HardwareView *const view = programming_.view();
   TableOfPairs table;
   table.indexes = programming_.indexes();
   std::map<Bridging::VlanId, Pelmo::IntfId> interfaceOf;
   for( const auto &[intf, vlans] : vlanSetsOf( configuration_ ) ) {
      for( const Bridging::VlanId vlan : vlans ) {
         interfaceOf.emplace( vlan, intf );
      }
   }
   std::map<Pair, TableRow> rows;
   const auto row = [&]( const Pair &pair ) -> TableRow & {
      TableRow &one = rows[pair];
      one.pair = pair;
      const auto intf = interfaceOf.find( pair.vlanId() );
      one.intf = intf == interfaceOf.end() ? Pelmo::IntfId() : intf->second;
      return one;
   };
   for( const auto &entry : programming_.table()->virtualRouterMacs() ) {
      row( entry.key() ).wanted = true;
   }
   if( programming_.isRunning() ) {
      for( const auto &entry : programming_.vrrpSm()->macsNeedingVirtualRouterIndexes() ) {
         row( entry.value() ).place = ++table.waiting;
      }
      for( const auto &entry : programming_.vrrpSm()->virtualRouterIndexes() ) {
         TableRow &one = row( entry.key() );
         one.index = entry.value();
         one.programmed = !view || view->slot( entry.value() ) == entry.key();
         table.indexesUsed += view ? 0 : 1;
      }
   }
   for( U32 index = 0; view && index < table.indexes; ++index ) {
      const std::optional<Pair> pair = view->slot( index );
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
