#include "agent/Programming.h"

#include "agent/Text.h"

#include <algorithm>
#include <vector>

namespace OrloAgent {

using Quor::U32;

namespace {

std::string text( const Pair &pair ) {
   return "VLAN " + valueToStrep( pair.vlanId() ) + "  " + valueToStrep( pair.mac() );
}

} // namespace

Programming::Programming( const Configuration &configuration, Trouble trouble, Clock clock,
                          Stopwatch stopwatch )
      : trouble_( std::move( trouble ) ), clock_( std::move( clock ) ),
        stopwatch_( std::move( stopwatch ) ), hardware_( configuration.hardware ),
        plugin_( configuration.plugin ), helperModule_( configuration.hardware.module ),
        interfaces_( routed( configuration.interfaces ) ),
        table_( plugin_->virtualRouterMacTableFactory() ),
        vlanSets_( Quor::make<IntfVlanIdSet::Table>() ),
        hardwareStatus_( Quor::make<Routing::Fhrp::Hardware::Status>() ),
        status_( Quor::make<Routing::Fhrp::VirtualRouterMacStatus>() ) {
   makeHelper( hardware_.indexes );
}

Programming::~Programming() {
   stop();
}

void Programming::makeHelper( U32 indexes ) {
   helper_ = helperModule_.make( { indexes, hardware_.settings, trouble_, interfaces_, false } );
   view_ = viewOf( helper_ );
   work_ = workOf( helper_ );
   hardwareStatus_->virtualRouterCountIs( indexes );
}

void Programming::start() {
   libSm_ = plugin_->libSmFactory( status_, vlanSets_, table_ );
   startProgrammer( nullptr );
   onRestart( true );
}

void Programming::startProgrammer( const Assignments *before ) {
   vrrpSm_ = plugin_->vrrpSmIs( table_, hardwareStatus_, helper_ );
   assignments_ = Quor::make<Assignments>( vrrpSm_, clock_, before );
   const auto &snapshot = vrrpSm_->currentVrrpStateForInit()->virtualRouterIndexes();
   lastAdoption_ = { 0, 0, clock_() };
   for( const auto &entry : snapshot ) {
      const bool stays = vrrpSm_->virtualRouterIndexes().isMemberOf( entry.key() );
      ++( stays ? lastAdoption_.adopted : lastAdoption_.removed );
   }
   adoptedInAll_ += lastAdoption_.adopted;
}

void Programming::startAnew( const Assignments &before ) {
   helper_->syncCurrentStateOnInitIs( true );
   startProgrammer( &before );
   ++restarts_;
   onRestart( true );
}

void Programming::stopProgrammer() {
   if( !vrrpSm_ ) {
      return;
   }
   assignments_->notifierIs( nullptr ); // it holds the programmer, and with it the hardware
   assignments_ = nullptr;
   vrrpSm_->hasNotificationActiveIs( false ); // whoever else may hold it
   vrrpSm_ = nullptr;
}

std::vector<PairChange> Programming::takeChanges() {
   std::vector<PairChange> all = std::exchange( changes_, {} );
   if( assignments_ ) {
      const std::vector<PairChange> latest = assignments_->takeChanges();
      all.insert( all.end(), latest.begin(), latest.end() );
   }
   return all;
}

void Programming::stop() {
   if( vrrpSm_ ) {
      onRestart( false );
   }
   stopProgrammer();
   libSm_ = nullptr;
   onWait( -1, OrloHelper::HardwareWork::kNever );
}

/// Not before anybody has said what is wanted: a helper that reads its hardware again would remove
/// all that it finds there, and that is to be adopted.
void Programming::work() {
   if( work_ && isRunning() ) {
      const Instant next = work_->work( stopwatch_() );
      onWait( work_->fd(), next );
   }
}

void Programming::repair() {
   if( work_ ) {
      work_->repair();
      work();
   }
}

void Programming::interfacesAre( const std::vector<InterfaceConfiguration> &interfaces ) {
   interfaces_ = routed( interfaces );
   if( work_ ) {
      work_->interfacesAre( interfaces_ );
   }
}

Time Programming::timeOf( Instant instant ) const {
   return clock_() + std::chrono::round<std::chrono::seconds>( instant - stopwatch_() );
}

Audit Programming::audit() const {
   std::vector<Pair> wanted;
   for( const auto &entry : table_->virtualRouterMacs() ) {
      wanted.push_back( entry.key() );
   }
   Audit::Assigned assigned;
   for( const auto &entry : vrrpSm_->virtualRouterIndexes() ) {
      assigned.indexes.emplace( entry.key(), entry.value() );
   }
   for( const auto &entry : vrrpSm_->macsNeedingVirtualRouterIndexes() ) {
      assigned.line.push_back( entry.value() );
   }
   return { wanted, assigned, view_->readAll(), indexes() };
}

std::set<Pair> Programming::wanted() const {
   std::set<Pair> pairs;
   for( const auto &entry : table_->virtualRouterMacs() ) {
      pairs.insert( entry.key() );
   }
   return pairs;
}

void Programming::change( const std::function<void()> &change ) {
   if( !vrrpSm_ ) {
      change();
      return;
   }
   // A VLAN that moves from one interface to another takes the keys that they share with it for a
   // moment. The programmer does not hear of such moments, only of what has become of them.
   const std::set<Pair> before = wanted();
   vrrpSm_->hasNotificationActiveIs( false );
   try {
      change();
   } catch( ... ) {
      catchUp( before );
      throw;
   }
   catchUp( before );
}

void Programming::catchUp( const std::set<Pair> &before ) {
   vrrpSm_->hasNotificationActiveIs( true );
   for( const Pair &pair : before ) {
      if( !table_->virtualRouterMacs().isMemberOf( pair ) ) {
         table_->virtualRouterMacNotify( pair );
      }
   }
   for( const auto &entry : table_->virtualRouterMacs() ) {
      if( !before.contains( entry.key() ) ) {
         table_->virtualRouterMacNotify( entry.key() );
      }
   }
}

void Programming::change( U32 indexes, const std::function<void()> &change ) {
   if( indexes == this->indexes() ) {
      this->change( change );
      return;
   }
   const U32 before = this->indexes();
   onRestart( false );
   if( !vrrpSm_ ) {
      makeHelperAnew( indexes, before, [this] { onRestart( true ); } );
      change();
      onRestart( true );
      return;
   }
   changes_ = takeChanges();
   removeFrom( indexes );
   const Quor::Ptr<Assignments> known = assignments_;
   stopProgrammer();
   makeHelperAnew( indexes, before, [&] { startAnew( *known ); } );
   change();
   startAnew( *known );
}

void Programming::makeHelperAnew( U32 indexes, U32 before,
                                  const std::function<void()> &goOnAsBefore ) {
   onWait( -1, OrloHelper::HardwareWork::kNever );
   view_ = nullptr;
   work_ = nullptr;
   helper_ = nullptr; // the hardware belongs to one at a time
   try {
      makeHelper( indexes );
   } catch( const LibraryError & ) {
      makeHelper( before );
      goOnAsBefore();
      throw;
   }
}

void Programming::removeFrom( U32 firstIndex ) {
   std::vector<std::pair<U32, Pair>> gone;
   for( const auto &entry : vrrpSm_->virtualRouterIndexes() ) {
      if( entry.value() >= firstIndex && entry.key().vlanId().number() != 0 ) {
         gone.emplace_back( entry.value(), entry.key() );
      }
   }
   std::sort( gone.begin(), gone.end() );
   for( const auto &[index, pair] : gone ) {
      helper_->deleteVirtualRouterMac( pair.mac(), pair.vlanId().number(), index );
   }
   work(); // by this helper: it goes
   std::size_t kept = 0;
   std::string first;
   for( const auto &[index, pair] : gone ) {
      const auto refusal = view_ ? view_->refusal( index ) : std::nullopt;
      if( !refusal || refusal->pair != pair ) {
         changes_.push_back( { PairChange::What::removed, pair, index } );
      } else if( ++kept == 1 ) {
         first = text( pair ) + "  index " + std::to_string( index ) + ": " + refusal->reason;
      }
   }
   if( kept != 0 ) {
      trouble_( "the hardware keeps " + counted( kept, "pair", "pairs" ) +
                " under indexes that it is not to have any more, the first is " + first +
                "; what it still shows of them is removed as soon as it lets go" );
   }
}

void Programming::vlanSetsAre( const VlanSets &wanted ) {
   for( const auto &[intf, vlans] : wanted ) {
      const Quor::Ptr<IntfVlanIdSet::SviVlanSet> set = vlanSets_->sviVlanSetIs( intf );
      for( const auto &entry : set->vlanIds() ) {
         if( !vlans.contains( entry.key() ) ) {
            set->vlanIdDel( entry.key() );
         }
      }
   }
   for( const auto &[intf, vlans] : wanted ) {
      for( const Bridging::VlanId vlan : vlans ) {
         vlanSets_->sviVlanSet( intf )->vlanIdIs( vlan, true );
      }
   }
}

void Programming::vlanSetDel( const Pelmo::IntfId &intf ) {
   std::vector<Routing::Fhrp::VirtualRouterMac> left;
   for( const auto &entry : status_->vrrpVirtualMacs() ) {
      if( entry.key().intf() == intf ) {
         left.push_back( entry.key() );
      }
   }
   for( const auto &record : left ) {
      status_->vrrpVirtualMacDel( record );
   }
   vlanSets_->sviVlanSetDel( intf );
}

} // namespace OrloAgent
