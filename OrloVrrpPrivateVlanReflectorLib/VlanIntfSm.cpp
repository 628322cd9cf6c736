#include "OrloVrrpPrivateVlanReflectorLib/VlanIntfSm.h"

#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "OrloVrrpPrivateVlanReflectorLib/ReflectorTrace.h"
#include "quor/Reactor.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

using IntfVlanIdSet::SviVlanSet;
using Quor::Ptr;

/// What the reactor hears of its VLAN set.
class QuorSviVlanSet : public Quor::Reactor<SviVlanSet, VlanIntfSm> {
 public:
   using Reactor::ownerIs;
   using Reactor::Reactor;

   void onVlanId( Bridging::VlanId vlanId ) override {
      if( const Ptr<VlanIntfSm> sm = awakeOwner() ) {
         sm->handleVlanId( vlanId );
      }
   }
   using NotifieeConst::onVlanId;
};

/// What the reactor hears of its MAC set.
class QuorDmacList : public Quor::Reactor<EthAddrsForIntf, VlanIntfSm> {
 public:
   using Reactor::ownerIs;
   using Reactor::Reactor;

   void onEthAddr( const Pelmo::EthAddr &mac ) override {
      if( const Ptr<VlanIntfSm> sm = awakeOwner() ) {
         sm->handleDmac( mac );
      }
   }
   using NotifieeConst::onEthAddr;
};

namespace {

template <class Listener>
void disconnect( Ptr<Listener> &listener ) {
   if( const auto gone = std::exchange( listener, nullptr ) ) {
      gone->ownerIs( nullptr );
   }
}

template <class Listener, class Input>
void connect( Ptr<Listener> &listener, VlanIntfSm &sm, const Ptr<const Input> &input ) {
   disconnect( listener );
   if( input ) {
      const auto made = Quor::make<Listener>( &sm );
      made->notifierIs( input );
      made->hasNotificationActiveIs( sm.hasNotificationActive() );
      listener = made;
   }
}

/// The pairs of a VLAN with all MACs stand far from each other in the table (those of a MAC with
/// all VLANs do not): a walk over the MACs says which of them come next.
[[gnu::noinline]] void announce( const VirtualRouterMacTable &table, Bridging::VlanId vlanId,
                                 const EthAddrsForIntf::EthAddrs &macs,
                                 const EthAddrsForIntf::EthAddrs::Iterator &at ) {
   using Pairs = VirtualRouterMacTable::VirtualRouterMacs;
   const auto *const later = macs.ahead<Pairs::kLater>( at );
   const auto *const soon = macs.ahead<Pairs::kSoon>( at );
   const auto hash = [&]( const auto *mac ) {
      return mac ? naturalHash( VlanAndMac( vlanId, mac->key() ) ) : 0;
   };
   table.virtualRouterMacsAhead( hash( later ), hash( soon ) );
}

} // namespace

std::ostream &operator<<( std::ostream &out, const VlanIntfSm &sm ) {
   return out << "VlanIntfSm(" << sm.intf() << ")";
}

VlanIntfSm::VlanIntfSm( LibSm *libSm, const Ptr<const SviVlanSet> &sviVlanSet,
                        const Ptr<const EthAddrsForIntf> &dmacList )
      : libSm_( libSm ) {
   connect( sviVlanSet_, *this, sviVlanSet );
   connect( dmacList_, *this, dmacList );
   handleInitialized();
}

VlanIntfSm::~VlanIntfSm() {
   VlanIntfSm::quorDoZombieReactors( true );
   sviVlanSetDel();
   dmacListDel();
}

Pelmo::IntfId VlanIntfSm::intf() const {
   const auto macs = dmacList();
   return macs ? macs->vlanIntf() : Pelmo::IntfId();
}

Ptr<const SviVlanSet> VlanIntfSm::sviVlanSet() const {
   return sviVlanSet_ ? sviVlanSet_->notifier() : nullptr;
}

void VlanIntfSm::sviVlanSetIs( const Ptr<const SviVlanSet> &sviVlanSet ) {
   if( sviVlanSet != this->sviVlanSet() ) {
      newSviVlanSet( sviVlanSet );
   }
}

void VlanIntfSm::newSviVlanSet( const Ptr<const SviVlanSet> &sviVlanSet ) {
   connect( sviVlanSet_, *this, sviVlanSet );
}

void VlanIntfSm::sviVlanSetDel() {
   disconnect( sviVlanSet_ );
}

Ptr<const EthAddrsForIntf> VlanIntfSm::dmacList() const {
   return dmacList_ ? dmacList_->notifier() : nullptr;
}

void VlanIntfSm::dmacListIs( const Ptr<const EthAddrsForIntf> &dmacList ) {
   if( dmacList != this->dmacList() ) {
      newDmacList( dmacList );
   }
}

void VlanIntfSm::newDmacList( const Ptr<const EthAddrsForIntf> &dmacList ) {
   connect( dmacList_, *this, dmacList );
}

void VlanIntfSm::dmacListDel() {
   disconnect( dmacList_ );
}

void VlanIntfSm::hasNotificationActiveIs( bool on ) {
   if( on == hasNotificationActive_ ) {
      return;
   }
   if( sviVlanSet_ ) {
      sviVlanSet_->hasNotificationActiveIs( on );
   }
   if( dmacList_ ) {
      dmacList_->hasNotificationActiveIs( on );
   }
   hasNotificationActive_ = on; // last: what is refused can be asked for again
}

void VlanIntfSm::quorDoZombieReactors( bool on ) {
   if( sviVlanSet_ ) {
      sviVlanSet_->quorDoZombieReactors( on );
   }
   if( dmacList_ ) {
      dmacList_->quorDoZombieReactors( on );
   }
}

inline void VlanIntfSm::write( VirtualRouterMacTable &table, const VlanAndMac &key, bool isPresent,
                               const char *function ) const {
   if( ReflectorTrace t{ 2, function } ) {
      t << *this << ( isPresent ? " adding " : " removing " ) << key;
   }
   if( isPresent ) {
      table.virtualRouterMacIs( key, true );
   } else {
      table.virtualRouterMacDel( key );
   }
}

// Every handler holds what it works on: whoever is told of a key may let go of all of it.

void VlanIntfSm::handleInitialized() {
   const Ptr<VlanIntfSm> self = Quor::ptrTo( *this );
   if( ReflectorTrace t{ 8, "handleInitialized" } ) {
      t << *this << "::handleInitialized";
   }
   const auto vlans = sviVlanSet();
   const auto macs = dmacList();
   Quor::require( vlans->vlanIntf() == macs->vlanIntf(),
                  { "sviVlanSet()->vlanIntf() == dmacList()->vlanIntf()", __LINE__,
                    kReflectorSource,
                    "void Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm::handleInitialized()" } );
   for( const auto &vlan : vlans->vlanIds() ) {
      handleVlanId( vlan.key() );
   }
}

[[gnu::flatten]] void VlanIntfSm::handleVlanId( Bridging::VlanId vlanId ) {
   const Ptr<VlanIntfSm> self = Quor::ptrTo( *this );
   const Ptr<LibSm> libSm = Ptr<LibSm>::share( libSm_ );
   if( ReflectorTrace t{ 8, "handleVlanId" } ) {
      t << *this << "::handleVlanId(" << vlanId << ")";
   }
   const bool isPresent = sviVlanSet()->vlanId( vlanId );
   if( ReflectorTrace t{ 1, "handleVlanId" } ) {
      t << "Intf " << intf() << ( isPresent ? " adding" : " deleting" ) << " VLAN " << vlanId;
   }
   const auto table = libSm->virtualRouterMacTableOut();
   const auto macs = dmacList();
   for( auto at = macs->ethAddrs().begin(); at != macs->ethAddrs().end(); ++at ) {
      if( table->virtualRouterMacs().isFarApart() ) {
         announce( *table, vlanId, macs->ethAddrs(), at );
      }
      write( *table, VlanAndMac( vlanId, at->key() ), isPresent, "handleVlanId" );
   }
}

[[gnu::flatten]] void VlanIntfSm::handleDmac( const Pelmo::EthAddr &mac ) {
   const Ptr<VlanIntfSm> self = Quor::ptrTo( *this );
   const Ptr<LibSm> libSm = Ptr<LibSm>::share( libSm_ );
   const Pelmo::EthAddr dmac = mac; // the entry it stands in may go
   if( ReflectorTrace t{ 8, "handleDmac" } ) {
      t << *this << "::handleDmac(" << Pelmo::EthAddr( dmac ) << ")";
   }
   const bool isPresent = dmacList()->ethAddr( dmac );
   const auto table = libSm->virtualRouterMacTableOut();
   const VlanAndMac pair( Bridging::VlanId(), dmac );
   for( const auto &vlan : sviVlanSet()->vlanIds() ) {
      write( *table, pair.on( vlan.key() ), isPresent, "handleDmac" );
   }
}

[[gnu::flatten]] void VlanIntfSm::doCleanup() {
   const Ptr<VlanIntfSm> self = Quor::ptrTo( *this );
   const Ptr<LibSm> libSm = Ptr<LibSm>::share( libSm_ );
   if( ReflectorTrace t{ 8, "doCleanup" } ) {
      t << *this << "::doCleanup";
   }
   const auto table = libSm->virtualRouterMacTableOut();
   const auto macs = dmacList();
   for( const auto &vlan : sviVlanSet()->vlanIds() ) {
      for( auto at = macs->ethAddrs().begin(); at != macs->ethAddrs().end(); ++at ) {
         if( table->virtualRouterMacs().isFarApart() ) {
            announce( *table, vlan.key(), macs->ethAddrs(), at );
         }
         write( *table, VlanAndMac( vlan.key(), at->key() ), false, "doCleanup" );
      }
   }
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
