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

/// So many that announcing all cache lines of a MAC pays.
constexpr Quor::U32 kManyVlans = 1024;

/// The pairs of a VLAN with all MACs stand far from each other in the table (those of a MAC with
/// all VLANs do not): a walk over the MACs says which of them come next.
[[gnu::noinline]] void announce( const VirtualRouterMacTable &table, Bridging::VlanId vlanId,
                                 const EthAddrsForIntf::EthAddrs::KeyWalk &mac ) {
   using Pairs = VirtualRouterMacTable::VirtualRouterMacs;
   const auto hash = [&]( const Pelmo::EthAddr *ahead ) {
      return ahead ? naturalHash( vlanId, ahead->hash() ) : 0;
   };
   table.virtualRouterMacsAhead( hash( mac.ahead( Pairs::kLater ) ),
                                 hash( mac.ahead( Pairs::kSoon ) ) );
}

/// The pairs of a MAC with all VLANs are neighbours, but not in the order of a walk over the VLANs:
/// its first steps come to another cache line each. So these are announced before a long walk, one
/// line after the other.
[[gnu::noinline]] void announceLines( const VirtualRouterMacTable &table, Quor::U32 macHash ) {
   using Pairs = VirtualRouterMacTable::VirtualRouterMacs;
   constexpr Quor::U32 kVlans = 4096;
   constexpr Quor::U32 kBucketsInALine = 16;
   constexpr Quor::U32 kSteps = ( Pairs::kLater - Pairs::kSoon ) * kBucketsInALine;
   for( Quor::U32 number = 0; number < kVlans; number += kBucketsInALine ) {
      table.virtualRouterMacsAhead( macHash ^ number,
                                    macHash ^ ( number < kSteps ? number : number - kSteps ) );
   }
}

/// Adds keys to the output table, or removes them, each with its trace. Made for one event, whose
/// handler holds everything.
template <bool kIsPresent>
class Writer {
 public:
   Writer( const VlanIntfSm &sm, VirtualRouterMacTable &table, const char *function ) noexcept
         : sm_( sm ), table_( table ), function_( function ) {}

   // Flat: this is where the reflector spends its time.
   [[gnu::flatten, gnu::noinline]] void onVlans( const Pelmo::EthAddr &mac,
                                                 const SviVlanSet &vlans ) const {
      const VlanAndMac pair( Bridging::VlanId(), mac );
      const Quor::U32 macHash = mac.hash();
      if( table_.virtualRouterMacs().isFarApart() && vlans.vlanIds().size() >= kManyVlans ) {
         announceLines( table_, macHash );
      }
      for( auto vlan = vlans.vlanIds().keys(); vlan; ++vlan ) {
         write( pair.on( *vlan ), naturalHash( *vlan, macHash ) );
      }
   }
   [[gnu::flatten, gnu::noinline]] void forMacs( Bridging::VlanId vlanId,
                                                 const EthAddrsForIntf &macs ) const {
      for( auto mac = macs.ethAddrs().keys(); mac; ++mac ) {
         if( table_.virtualRouterMacs().isFarApart() ) {
            announce( table_, vlanId, mac );
         }
         write( VlanAndMac( vlanId, *mac ), naturalHash( vlanId, ( *mac ).hash() ) );
      }
   }

 private:
   void write( const VlanAndMac &key, Quor::U32 hash ) const {
      if( ReflectorTrace t{ 2, function_ } ) {
         t << sm_ << ( kIsPresent ? " adding " : " removing " ) << key;
      }
      if constexpr( kIsPresent ) {
         table_.virtualRouterMacIs( key, hash, true );
      } else {
         table_.virtualRouterMacDel( key, hash );
      }
   }

   const VlanIntfSm &sm_;
   VirtualRouterMacTable &table_;
   const char *const function_;
};

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

void VlanIntfSm::handleVlanId( Bridging::VlanId vlanId ) {
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
   if( isPresent ) {
      Writer<true>( *this, *table, "handleVlanId" ).forMacs( vlanId, *macs );
   } else {
      Writer<false>( *this, *table, "handleVlanId" ).forMacs( vlanId, *macs );
   }
}

void VlanIntfSm::handleDmac( const Pelmo::EthAddr &mac ) {
   const Ptr<VlanIntfSm> self = Quor::ptrTo( *this );
   const Ptr<LibSm> libSm = Ptr<LibSm>::share( libSm_ );
   const Pelmo::EthAddr dmac = mac; // the entry it stands in may go
   if( ReflectorTrace t{ 8, "handleDmac" } ) {
      t << *this << "::handleDmac(" << Pelmo::EthAddr( dmac ) << ")";
   }
   const bool isPresent = dmacList()->ethAddr( dmac );
   const auto table = libSm->virtualRouterMacTableOut();
   const auto vlans = sviVlanSet();
   if( isPresent ) {
      Writer<true>( *this, *table, "handleDmac" ).onVlans( dmac, *vlans );
   } else {
      Writer<false>( *this, *table, "handleDmac" ).onVlans( dmac, *vlans );
   }
}

void VlanIntfSm::doCleanup() {
   const Ptr<VlanIntfSm> self = Quor::ptrTo( *this );
   const Ptr<LibSm> libSm = Ptr<LibSm>::share( libSm_ );
   if( ReflectorTrace t{ 8, "doCleanup" } ) {
      t << *this << "::doCleanup";
   }
   const auto table = libSm->virtualRouterMacTableOut();
   const auto macs = dmacList();
   const auto vlans = sviVlanSet();
   const Writer<false> writer( *this, *table, "doCleanup" );
   for( auto vlan = vlans->vlanIds().keys(); vlan; ++vlan ) {
      writer.forMacs( *vlan, *macs );
   }
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
