#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"

#include "OrloVrrpPrivateVlanReflectorLib/ReflectorTrace.h"
#include "quor/Reactor.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

using IntfVlanIdSet::SviVlanSet;
using Pelmo::IntfId;
using Quor::Ptr;
using Routing::Fhrp::VirtualRouterMac;

/// What the reflector hears of the status table.
class QuorVirtualRouterMacStatusIn
      : public Quor::Reactor<Routing::Fhrp::VirtualRouterMacStatus, LibSm> {
 public:
   using Reactor::Reactor;

   /// Null: there is nobody to pass anything to.
   void libSmIs( LibSm *libSm ) noexcept { ownerIs( libSm ); }

   void onVrrpVirtualMac( const VirtualRouterMac &vrMac ) override {
      if( const Ptr<LibSm> libSm = awakeOwner() ) {
         libSm->handleVirtualRouterMac( vrMac );
      }
   }
   using NotifieeConst::onVrrpVirtualMac;
};

std::ostream &operator<<( std::ostream &out, const LibSm & ) {
   return out << "LibSm";
}

// Life

Ptr<LibSm> LibSmIs( const Ptr<const LibSm::VirtualRouterMacStatus> &virtualRouterMacStatus,
                    const Ptr<const IntfVlanIdSet::Table> &intfVlanIdSetTable,
                    const Ptr<VirtualRouterMacTable> &virtualRouterMacTable ) {
   auto libSm =
         Quor::make<LibSm>( virtualRouterMacStatus, intfVlanIdSetTable, virtualRouterMacTable );
   libSm->hasNotificationActiveIs( true );
   return libSm;
}

Ptr<LibSm> libSmFactory( const Ptr<const LibSm::VirtualRouterMacStatus> &virtualRouterMacStatus,
                         const Ptr<const IntfVlanIdSet::Table> &intfVlanIdSetTable,
                         const Ptr<VirtualRouterMacTable> &virtualRouterMacTable ) {
   return LibSmIs( virtualRouterMacStatus, intfVlanIdSetTable, virtualRouterMacTable );
}

LibSm::LibSm( const Ptr<const VirtualRouterMacStatus> &virtualRouterMacStatus,
              const Ptr<const IntfVlanIdSet::Table> &intfVlanIdSetTable,
              const Ptr<VirtualRouterMacTable> &virtualRouterMacTable )
      : intfVlanIdSetTable_( intfVlanIdSetTable ),
        virtualRouterMacTableOut_( virtualRouterMacTable ) {
   if( virtualRouterMacStatus ) {
      virtualRouterMacStatusIn_ = Quor::make<QuorVirtualRouterMacStatusIn>( this );
      virtualRouterMacStatusIn_->notifierIs( virtualRouterMacStatus );
   }
   handleInitialized();
}

LibSm::~LibSm() {
   LibSm::quorDoZombieReactors( true );
   if( virtualRouterMacStatusIn_ ) {
      virtualRouterMacStatusIn_->libSmIs( nullptr );
   }
   dmacsForIntfDelAll();
   vlanIntfSmDelAll();
}

Ptr<const LibSm::VirtualRouterMacStatus> LibSm::virtualRouterMacStatusIn() const {
   return virtualRouterMacStatusIn_ ? virtualRouterMacStatusIn_->notifier() : nullptr;
}

void LibSm::hasNotificationActiveIs( bool on ) {
   if( on == hasNotificationActive_ ) {
      return;
   }
   if( virtualRouterMacStatusIn_ ) {
      virtualRouterMacStatusIn_->hasNotificationActiveIs( on );
   }
   for( const auto &entry : vlanIntfSm_ ) {
      entry.value()->hasNotificationActiveIs( on );
   }
   hasNotificationActive_ = on; // last: what is refused can be asked for again
}

void LibSm::quorDoZombieReactors( bool on ) {
   if( virtualRouterMacStatusIn_ ) {
      virtualRouterMacStatusIn_->quorDoZombieReactors( on );
   }
}

// Collections

Quor::ValidPtr<EthAddrsForIntf> LibSm::dmacsForIntfIs( const IntfId &intf ) {
   if( Ptr<EthAddrsForIntf> existing = dmacsForIntf( intf ) ) {
      return existing;
   }
   newDmacsForIntf( intf );
   try {
      handleDmacsForIntf( intf );
   } catch( const std::bad_alloc & ) { // a set without a reactor would be reflected by nobody
      dmacsForIntf_.take( intf );
      throw;
   }
   return dmacsForIntf( intf );
}

Ptr<EthAddrsForIntf> LibSm::newDmacsForIntf( const IntfId &intf ) {
   return dmacsForIntf_.insert( intf, Quor::make<EthAddrsForIntf>( intf ) )->value();
}

Ptr<EthAddrsForIntf> LibSm::dmacsForIntfDel( const IntfId &intf ) {
   const auto removed = dmacsForIntf_.take( intf );
   handleDmacsForIntf( intf );
   return removed ? removed->value() : nullptr;
}

void LibSm::dmacsForIntfDelAll() {
   for( const auto &entry : dmacsForIntf_ ) {
      dmacsForIntfDel( entry.key() );
   }
}

namespace {

[[noreturn]] void throwMadeFromSomethingElse( const char *parameter, const void *requested,
                                              const void *current ) {
   std::ostringstream text;
   text << "Reinstantiating the pointer interface where constructor parameter attribute "
        << parameter << " has a different value of " << requested << " than the current value of "
        << current << " not allowed";
   throw Quor::NameInUseException( text.str() );
}

void needSame( const char *parameter, const void *requested, const void *current ) {
   if( requested != current ) {
      throwMadeFromSomethingElse( parameter, requested, current );
   }
}

} // namespace

Ptr<VlanIntfSm> LibSm::vlanIntfSmIs( LibSm *libSm, const Ptr<const SviVlanSet> &sviVlanSet,
                                     const Ptr<const EthAddrsForIntf> &dmacList ) {
   Ptr<VlanIntfSm> existing = vlanIntfSm( dmacList ? dmacList->vlanIntf() : IntfId() );
   if( !existing ) {
      return newVlanIntfSm( libSm, sviVlanSet, dmacList );
   }
   needSame( "_libSm", libSm, existing->libSm() );
   needSame( "_sviVlanSet", sviVlanSet.get(), existing->sviVlanSet().get() );
   needSame( "_dmacList", dmacList.get(), existing->dmacList().get() );
   return existing;
}

Ptr<VlanIntfSm> LibSm::newVlanIntfSm( LibSm *libSm, const Ptr<const SviVlanSet> &sviVlanSet,
                                      const Ptr<const EthAddrsForIntf> &dmacList ) {
   auto made = Quor::make<VlanIntfSm>( libSm, sviVlanSet, dmacList );
   vlanIntfSm_.insert( made->intf(), made );
   try {
      made->hasNotificationActiveIs( true );
   } catch( const std::bad_alloc & ) { // one that does not listen is as good as none
      vlanIntfSm_.take( made->intf() );
      throw;
   }
   return made;
}

Ptr<VlanIntfSm> LibSm::vlanIntfSmDel( const IntfId &intf ) {
   const auto removed = vlanIntfSm_.take( intf );
   if( !removed ) {
      return nullptr;
   }
   removed->value()->quorDoZombieReactors( true ); // somebody else may hold it for a while yet
   return removed->value();
}

void LibSm::vlanIntfSmDelAll() {
   for( const auto &entry : vlanIntfSm_ ) {
      vlanIntfSmDel( entry.key() );
   }
}

// Handlers. Each holds what it works on: whoever is told of a key may let go of all of it.

void LibSm::handleInitialized() {
   const Ptr<LibSm> self = Quor::ptrTo( *this );
   if( ReflectorTrace t{ 8, "handleInitialized" } ) {
      t << "handleInitialized";
   }
   virtualRouterMacTableOut_->virtualRouterMacDelAll();
   const auto status = virtualRouterMacStatusIn();
   if( !status ) {
      return;
   }
   for( const auto &record : status->vrrpVirtualMacs() ) {
      handleVirtualRouterMac( record.key() );
   }
}

void LibSm::handleVirtualRouterMac( const VirtualRouterMac &record ) {
   const Ptr<LibSm> self = Quor::ptrTo( *this );
   const VirtualRouterMac vrMac = record; // the entry it stands in may go
   if( ReflectorTrace t{ 8, "handleVirtualRouterMac" } ) {
      t << *this << "::handleVirtualRouterMac(" << vrMac << ")";
   }
   if( virtualRouterMacStatusIn()->vrrpVirtualMac( vrMac ) ) {
      appeared( vrMac );
   } else {
      disappeared( vrMac );
   }
}

void LibSm::appeared( const VirtualRouterMac &vrMac ) {
   if( ReflectorTrace t{ 2, "handleVirtualRouterMac" } ) {
      t << vrMac << " appeared in input table";
   }
   const Ptr<EthAddrsForIntf> macs = dmacsForIntfIs( vrMac.intf() );
   macs->ethAddrIs( vrMac.mac(), true );
}

void LibSm::disappeared( const VirtualRouterMac &vrMac ) {
   if( ReflectorTrace t{ 2, "handleVirtualRouterMac" } ) {
      t << vrMac << " disappeared from input table";
   }
   const Ptr<EthAddrsForIntf> macs = dmacsForIntf( vrMac.intf() );
   if( !macs ) {
      return;
   }
   macs->ethAddrDel( vrMac.mac() );
   if( macs->ethAddrs().size() != 0 ) {
      return;
   }
   if( ReflectorTrace t{ 4, "handleVirtualRouterMac" } ) {
      t << "Removing dmacs table for " << vrMac.intf();
   }
   dmacsForIntfDel( vrMac.intf() );
   handleDmacsForIntf( vrMac.intf() ); // finds nothing left to do; its trace is part of the log
}

void LibSm::handleDmacsForIntf( IntfId intf ) {
   const Ptr<LibSm> self = Quor::ptrTo( *this );
   if( ReflectorTrace t{ 8, "handleDmacsForIntf" } ) {
      t << *this << "::handleDmacsForIntf(" << intf << ")";
   }
   const Ptr<VlanIntfSm> existing = vlanIntfSm( intf );
   if( const Ptr<EthAddrsForIntf> macs = dmacsForIntf( intf ) ) {
      const auto vlans = intfVlanIdSetTable_->intfIdToVlanIdSet( intf );
      if( ReflectorTrace t{ 0, "handleDmacsForIntf" } ) {
         t << "Creating vlan sm for " << intf;
      }
      vlanIntfSmIs( this, vlans, macs );
   } else if( existing ) {
      if( !disableCleanupOnRestart_ ) {
         if( ReflectorTrace t{ 0, "handleDmacsForIntf" } ) {
            t << "Removing vlan sm for " << intf;
         }
         existing->doCleanup();
      }
      vlanIntfSmDel( intf );
   }
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
