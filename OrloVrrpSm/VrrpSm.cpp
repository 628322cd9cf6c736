#include "OrloVrrpSm/VrrpSm.h"

#include "OrloVrrpSm/QuorVrrpMacStatus.h"
#include "OrloVrrpSm/Sites.h"

namespace Orlo {

using Quor::Ptr;
using Quor::require;
using VrrpPrivateVlanReflectorLib::VlanAndMac;

const Quor::TraceHandle &VrrpTrace::_defaultTraceHandle() {
   static const Quor::TraceHandle facility( "OrloVrrp", false );
   return facility;
}

// Life

Ptr<VrrpSm> VrrpSmIs( const Ptr<VrrpSm::VirtualRouterMacTable> &vrrpMacStatus,
                      const Ptr<const Routing::Fhrp::Hardware::Status> &vrrpHwStatus,
                      const Ptr<OrloHelper::VrrpSmHelper> &vrrpHelper ) {
   return Quor::make<VrrpSm>( vrrpMacStatus, vrrpHwStatus, vrrpHelper );
}

VrrpSm::VrrpSm( const Ptr<VirtualRouterMacTable> &vrrpMacStatus,
                const Ptr<const Routing::Fhrp::Hardware::Status> &vrrpHwStatus,
                const Ptr<OrloHelper::VrrpSmHelper> &vrrpHelper )
      : vrrpHwStatus_( vrrpHwStatus ), vrrpHelper_( vrrpHelper ) {
   if( vrrpMacStatus ) {
      vrrpMacStatus_ = Quor::make<QuorVrrpMacStatus>();
      vrrpMacStatus_->notifierIs( vrrpMacStatus ); // nothing to handle yet: it has no VrrpSm
      vrrpMacStatus_->vrrpSmIs( this );
   }
   handleInitialized();
   VrrpSm::hasNotificationActiveIs( true );
}

VrrpSm::~VrrpSm() {
   VrrpSm::quorDoZombieReactors( true );
   if( vrrpMacStatus_ ) {
      vrrpMacStatus_->vrrpSmIs( nullptr );
   }
   currentVrrpStateForInitDel();
}

Ptr<const VrrpSm::VirtualRouterMacTable> VrrpSm::vrrpMacStatus() const {
   return vrrpMacStatus_ ? vrrpMacStatus_->notifier() : nullptr;
}

void VrrpSm::vrrpMacStatusIs( const Ptr<VirtualRouterMacTable> &table ) {
   if( !table ) {
      vrrpMacStatusDel();
   } else if( vrrpMacStatus_ ) {
      Ptr<QuorVrrpMacStatus>( vrrpMacStatus_ )->notifierIs( table );
   } else {
      newVrrpMacStatus( table );
   }
}

void VrrpSm::newVrrpMacStatus( const Ptr<VirtualRouterMacTable> &table ) {
   vrrpMacStatusDel();
   const auto reactor = Quor::make<QuorVrrpMacStatus>();
   reactor->vrrpSmIs( this );
   reactor->hasNotificationActiveIs( hasNotificationActive_ );
   vrrpMacStatus_ = reactor;
   reactor->notifierIs( table );
}

void VrrpSm::vrrpMacStatusDel() {
   if( const auto reactor = std::exchange( vrrpMacStatus_, nullptr ) ) {
      reactor->vrrpSmIs( nullptr );
   }
}

Quor::ValidPtr<OrloHelper::CurrentVrrpStateForInit> VrrpSm::currentVrrpStateForInitIs() {
   if( !currentVrrpStateForInit_ ) {
      currentVrrpStateForInit_ = Quor::make<OrloHelper::CurrentVrrpStateForInit>();
   }
   return currentVrrpStateForInit_;
}

void VrrpSm::currentVrrpStateForInitDel() {
   currentVrrpStateForInit_ = nullptr;
}

void VrrpSm::hasNotificationActiveIs( bool on ) {
   if( on == hasNotificationActive_ ) {
      return;
   }
   if( vrrpMacStatus_ ) {
      vrrpMacStatus_->hasNotificationActiveIs( on );
   }
   hasNotificationActive_ = on; // last: what is refused can be asked for again
}

void VrrpSm::quorDoZombieReactors( bool on ) {
   if( vrrpMacStatus_ ) {
      vrrpMacStatus_->quorDoZombieReactors( on );
   }
}

// Start and cleanup

/// Flat, for a start that finds everything in the hardware.
[[gnu::flatten]] void VrrpSm::handleInitialized() {
   if( VrrpTrace t{ Traced::kHandleInitialized } ) {
      t << Signature::kHandleInitialized;
   }
   if( initialized_ ) {
      return;
   }
   const Ptr<VrrpSm> self = Quor::ptrTo( *this );
   initializedIs( true ); // first: handling a pair requires it
   if( VrrpTrace t{ Traced::kPreparing } ) {
      t << "Preparing indexes for " << vrrpHwStatus_->virtualRouterCount() << " Vrrp routers.";
   }
   for( U32 i = 0; i < vrrpHwStatus_->virtualRouterCount(); ++i ) {
      freeVirtualRouterIndex_.append( i );
   }
   require( static_cast<bool>( vrrpHelper_ ), Asserted::kHelperAtStart );
   currentVrrpStateForInitIs();
   if( vrrpHelper_->syncCurrentStateOnInit() ) {
      if( VrrpTrace t{ Traced::kSyncing } ) {
         t << "Syncing vrrp state";
      }
      vrrpHelper_->syncVrrpStateOnInit( currentVrrpStateForInit_ );
      const auto &held = currentVrrpStateForInit_->virtualRouterIndexes();
      const auto table = vrrpMacStatus();
      virtualRouterIndex_.reserve( held.size() );
      for( auto at = held.begin(); at != held.end(); ++at ) {
         if( const auto *const next =
                   table ? held.prefetchAll( at, virtualRouterIndex_, table->virtualRouterMacs() )
                         : nullptr ) {
            freeVirtualRouterIndex_.prefetch( next->value() );
         }
         adopt( at->key(), at->value() );
      }
   }
   handleVrrpMac();
   vrrpHelper_->syncCurrentStateOnInitIs( false );
   vrrpHelper_->initializationComplete();
}

inline bool VrrpSm::isWanted( const VlanAndMac &vrMac, U32 hash ) const {
   return vrrpMacStatus_ && vrrpMacStatus_->isWanted( vrMac, hash );
}

/// The free queue has just been filled, so position and index coincide: an index outside of it
/// removes nothing and is adopted all the same.
inline void VrrpSm::adopt( const VlanAndMac &vrMac, U32 index ) {
   if( VrrpTrace t{ Traced::kAdopting } ) {
      t << "Index:" << index << " vrmac:" << vrMac;
   }
   virtualRouterIndexIs( vrMac, index );
   freeVirtualRouterIndex_.del( index );
   if( !isWanted( vrMac, naturalHash( vrMac ) ) ) {
      reconcile( vrMac );
   }
}

void VrrpSm::doCleanup() {
   if( VrrpTrace t{ Traced::kDoCleanup } ) {
      t << Signature::kDoCleanup;
   }
   const Ptr<VrrpSm> self = Quor::ptrTo( *this );
   const auto &indexes = virtualRouterIndex_;
   for( auto first = indexes.begin(); first != indexes.end(); first = indexes.begin() ) {
      freeVirtualRouterIndexEnq( first->value() );
      virtualRouterIndexDel( first );
   }
   macsNeedingVirtualRouterIndexDelAll();
}

// Reaction to the table

void VrrpSm::handleVrrpMac() {
   require( initialized(), Asserted::kInitializedForAll );
   const Ptr<VrrpSm> self = Quor::ptrTo( *this );
   const auto table = vrrpMacStatus();
   if( !table ) {
      return;
   }
   const auto &wanted = table->virtualRouterMacs();
   for( auto at = wanted.begin(); at != wanted.end(); ++at ) {
      wanted.prefetchAll( at, virtualRouterIndex_ );
      reconcile( at->key() );
   }
}

[[gnu::flatten]] void VrrpSm::handleVrrpMac( const VlanAndMac &vrMac ) {
   const Ptr<VrrpSm> self = Quor::ptrTo( *this ); // the helper may let go of it
   reconcile( vrMac );
}

/// The pair is a copy: the helper may remove the entry that it stands in.
void VrrpSm::reconcile( const VlanAndMac vrMac ) {
   require( initialized(), Asserted::kInitializedForKey );
   if( VrrpTrace t{ Traced::kHandleVrrpMac } ) {
      t << Signature::kHandleKey << "( " << vrMac << " )";
   }
   const U32 hash = naturalHash( vrMac ); // for the table and for the indexes
   U32 index = 0;
   if( isWanted( vrMac, hash ) ) {
      programNew( vrMac, hash );
   } else if( virtualRouterIndex_.taken( vrMac, hash, index ) ) {
      if( VrrpTrace t{ Traced::kDeleting } ) {
         t << " deleting vrmac " << vrMac << "at index " << index;
      }
      doDeleteVirtualRouterMac( vrMac, index );
      handOn( index );
   } else if( const auto waiting = macsNeedingVirtualRouterIndex_.oldest( vrMac, hash ) ) {
      if( VrrpTrace t{ Traced::kNotWaiting } ) {
         t << " del from macsNeedingVirtualRouterIndex ";
      }
      macsNeedingVirtualRouterIndex_.del( waiting );
   }
}

inline void VrrpSm::programNew( const VlanAndMac &vrMac, U32 hash ) {
   if( vrrpHelper_->syncCurrentStateOnInit() && virtualRouterIndex_.isMemberOf( vrMac, hash ) ) {
      return; // adopted: the hardware has it
   }
   if( freeVirtualRouterIndex_.count() == 0 ) {
      if( VrrpTrace t{ Traced::kWaiting } ) {
         t << " enq to macsNeedingVirtualRouterIndex ";
      }
      macsNeedingVirtualRouterIndex_.append( vrMac );
      return;
   }
   virtualRouterIndex_.prepare(); // what is programmed can be written down
   const U32 index = freeVirtualRouterIndex_.next();
   if( VrrpTrace t{ Traced::kAdding } ) {
      t << " adding vrmac at index " << index;
   }
   doAddVirtualRouterMac( vrMac, index );
   require( virtualRouterIndex_.isNew( vrMac, hash, index ), Asserted::kNewPairHasNoIndex );
}

/// To the pair that waits longest, or to the end of the free ones.
inline void VrrpSm::handOn( U32 index ) {
   if( macsNeedingVirtualRouterIndexes().count() == 0 ) {
      freeVirtualRouterIndex_.append( index );
      return;
   }
   const VlanAndMac vrMac = macsNeedingVirtualRouterIndex_.next();
   doAddVirtualRouterMac( vrMac, index );
   require( virtualRouterIndex_.isNew( vrMac, naturalHash( vrMac ), index ),
            Asserted::kWaitingPairHasNoIndex );
}

void VrrpSm::doAddVirtualRouterMac( const VlanAndMac &vr, U32 index ) {
   if( VrrpTrace t{ Traced::kDoAdd } ) {
      t << Signature::kDoAdd << "( " << vr << " ), " << index;
   }
   if( vr.vlanId().number() == 0 ) {
      if( VrrpTrace t{ Traced::kDoAddInvalid } ) {
         t << "Ignoring VirtualRouterMac for invalid vlan";
      }
      return;
   }
   require( static_cast<bool>( vrrpHelper_ ), Asserted::kHelperForAdd );
   vrrpHelper_->addVirtualRouterMac( vr.mac(), vr.vlanId().number(), index );
}

void VrrpSm::doDeleteVirtualRouterMac( const VlanAndMac &vr, U32 index ) {
   if( VrrpTrace t{ Traced::kDoDelete } ) {
      t << Signature::kDoDelete << "( " << vr << " ), " << index;
   }
   if( vr.vlanId().number() == 0 ) {
      if( VrrpTrace t{ Traced::kDoDeleteInvalid } ) {
         t << "Ignoring VirtualRouterMac for invalid vlan";
      }
      return;
   }
   require( static_cast<bool>( vrrpHelper_ ), Asserted::kHelperForDelete );
   vrrpHelper_->deleteVirtualRouterMac( vr.mac(), vr.vlanId().number(), index );
}

/// Flat, as handleVrrpMac() is: this is where the programmer spends its time.
[[gnu::flatten]] void
QuorVrrpMacStatus::onVirtualRouterMac( const VrrpPrivateVlanReflectorLib::VlanAndMac &vrMac ) {
   if( const Ptr<VrrpSm> vrrpSm = awakeOwner() ) {
      vrrpSm->reconcile( vrMac );
   }
}

/// The pairs have the same hashes among the indexes.
void QuorVrrpMacStatus::onVirtualRouterMacsAhead( Quor::U32 later, Quor::U32 soon ) {
   if( const VrrpSm *const vrrpSm = owner() ) {
      vrrpSm->virtualRouterIndexes().prefetch( later, soon );
   }
}

} // namespace Orlo
