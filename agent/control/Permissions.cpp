#include "agent/control/Permissions.h"

#include "OrloVrrpPrivateVlanReflectorLib/VlanIntfSm.h"
#include "agent/input/Devices.h"
#include "platform/Descriptions.h"
#include "quor/Calls.h"

namespace OrloAgent {

using Bridging::VlanId;
using IntfVlanIdSet::SviVlanSet;
using Orlo::VrrpSm;
using Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf;
using Orlo::VrrpPrivateVlanReflectorLib::LibSm;
using Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
using Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm;
using OrloHelper::CurrentVrrpStateForInit;
using OrloHelper::VrrpSmHelper;
using Pelmo::EthAddr;
using Pelmo::IntfId;
using Quor::GenericIf;
using Quor::Ptr;
using Routing::Fhrp::VirtualRouterMac;
using Routing::Fhrp::VirtualRouterMacStatus;
using Hardware = Routing::Fhrp::Hardware::Status;
namespace Op = Quor::Op;

/// What a change of one attribute does: one text, or what a look at the state says.
struct Permissions::Rule {
   std::string_view type;
   std::string_view attribute;
   const char *harm;
   std::string ( Permissions::*look )( const Change & ) const = nullptr;
};

namespace {

constexpr char kSplits[] = "would split what the programmer knows from what the hardware holds";
constexpr char kUnread[] = "would change nothing but a flag that nobody reads";

// Types by name: the plug-in's are known when it is loaded, not when this is linked.
template <class T>
constexpr const char *kNameOf = nullptr;
template <>
constexpr const char *kNameOf<Pair> = "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac";
template <>
constexpr const char *kNameOf<VirtualRouterMacTable> =
      "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable";
template <>
constexpr const char *kNameOf<EthAddrsForIntf> =
      "Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf";
template <>
constexpr const char *kNameOf<CurrentVrrpStateForInit> = "OrloHelper::CurrentVrrpStateForInit";
template <>
constexpr const char *kNameOf<LibSm> = "Orlo::VrrpPrivateVlanReflectorLib::LibSm";
template <>
constexpr const char *kNameOf<VlanIntfSm> = "Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm";
template <>
constexpr const char *kNameOf<VrrpSm> = "Orlo::VrrpSm";
template <>
constexpr const char *kNameOf<VrrpSmHelper> = "OrloHelper::VrrpSmHelper";
template <class T>
std::string_view nameOf() {
   if constexpr( kNameOf<T> != nullptr ) {
      return kNameOf<T>;
   } else {
      return Quor::typeOf<T>()->name;
   }
}

/// The instance in an interface; null when there is none, or one of another type.
template <class T>
const T *instanceIn( GenericIf *any ) {
   const bool isOne = any && any->type()->name == nameOf<T>();
   return isOne ? static_cast<const T *>( any->voidPtrIs( any->type() ) ) : nullptr;
}
template <class T>
const T *objectOf( const Change &change ) {
   return instanceIn<T>( change.object.get() );
}
/// What a pointer attribute of the change's object leads to.
template <class T>
Ptr<const T> pointerOf( const Change &change, const char *attribute ) {
   const Ptr<GenericIf> found =
         change.object->attributeOp( change.object->attributeId( attribute ), Op::get );
   return Ptr<const T>::share( instanceIn<T>( found.get() ) );
}
/// The argument that a function will find; without one it is not called, and says so itself.
template <class V>
const V *argumentOf( const Change &change ) {
   return instanceIn<V>( Quor::Rows::argument( Quor::needList( change.key.get() ),
                                               change.attribute.arguments[0], 0 ) );
}

bool isTrue( const Ptr<GenericIf> &value ) {
   const bool *const flag = instanceIn<bool>( value.get() );
   return flag && *flag;
}
bool isUsableVlan( VlanId vlan ) {
   return vlan.number() >= kFirstVlan && vlan.number() <= kLastVlan;
}

template <class V>
std::string text( const V &value ) {
   return valueToStrep( value );
}
std::string pairText( const Pair &pair ) {
   return "VLAN " + text( pair.vlanId() ) + "  " + text( pair.mac() );
}
std::string requiresVlanSet( const IntfId &intf ) {
   return "would stop the process: the reflector requires a VLAN set for " + text( intf );
}

} // namespace

const Permissions::Rule *Permissions::find( const Change &change ) {
   using P = Permissions;
   static const Rule rules[]{
         { nameOf<Pair>(), "hash", nullptr, &P::allowed },
         { nameOf<VirtualRouterMacStatus>(), "vrrpVirtualMac", nullptr, &P::ofRecord },
         { nameOf<SviVlanSet>(), "vlanId", nullptr, &P::ofVlan },
         { nameOf<IntfVlanIdSet::Table>(), "sviVlanSet", nullptr, &P::ofVlanSet },
         { nameOf<Hardware>(), "virtualRouterCount",
           "would not change the pool of indexes: change the configuration and reload" },
         { nameOf<VirtualRouterMacTable>(), "virtualRouterMac", nullptr, &P::ofWantedPair },
         { nameOf<EthAddrsForIntf>(), "ethAddr",
           "would part the MACs of an interface from the status table: change that" },
         { nameOf<CurrentVrrpStateForInit>(), "virtualRouterIndex",
           "would change what the hardware held at the start, which nobody reads again" },

         { nameOf<LibSm>(), "disableCleanupOnRestart", nullptr, &P::allowed },
         { nameOf<LibSm>(), "handleVirtualRouterMac", nullptr, &P::ofHandlingRecord },
         { nameOf<LibSm>(), "handleDmacsForIntf", nullptr, &P::ofHandlingInterface },
         { nameOf<LibSm>(), "vlanIntfSm",
           "would leave the pairs of the interface in the table, with nobody to remove them" },
         { nameOf<LibSm>(), "dmacsForIntf",
           "would take MACs from the hardware that the status table still has" },
         { nameOf<LibSm>(), "initialized", kUnread },
         { nameOf<LibSm>(), "handleInitialized",
           "would empty the table of wanted pairs: every pair would leave the hardware" },
         { nameOf<LibSm>(), "hasNotificationActiveIs", nullptr, &P::ofHearing },
         { nameOf<LibSm>(), "quorDoZombieReactors", nullptr, &P::ofZombies },

         { nameOf<VlanIntfSm>(), "handleVlanId", nullptr, &P::ofHandlingVlan },
         { nameOf<VlanIntfSm>(), "handleDmac", nullptr, &P::ofHandlingMac },
         { nameOf<VlanIntfSm>(), "sviVlanSet",
           "would leave the pairs of the set before in the table: nothing is replayed" },
         { nameOf<VlanIntfSm>(), "dmacList",
           "would leave the pairs of the MACs before in the table: nothing is replayed" },
         { nameOf<VlanIntfSm>(), "initialized", kUnread },
         { nameOf<VlanIntfSm>(), "handleInitialized",
           "would stop the process unless VLAN set and MACs are of one interface, and do nothing "
           "when they are" },
         { nameOf<VlanIntfSm>(), "doCleanup",
           "would take the pairs of the interface from the hardware while they are wanted" },
         { nameOf<VlanIntfSm>(), "hasNotificationActiveIs", nullptr, &P::ofHearing },
         { nameOf<VlanIntfSm>(), "quorDoZombieReactors", nullptr, &P::ofZombies },

         { nameOf<VrrpSm>(), "handleVrrpMac", nullptr, &P::ofHandlingPair },
         { nameOf<VrrpSm>(), "vrrpMacStatus", nullptr, &P::ofInputTable },
         { nameOf<VrrpSm>(), "freeVirtualRouterIndex", kSplits },
         { nameOf<VrrpSm>(), "freeVirtualRouterIndexMetadata", kSplits },
         { nameOf<VrrpSm>(), "virtualRouterIndex", kSplits },
         { nameOf<VrrpSm>(), "macsNeedingVirtualRouterIndex", kSplits },
         { nameOf<VrrpSm>(), "macsNeedingVirtualRouterIndexMetadata", kSplits },
         { nameOf<VrrpSm>(), "initialized", nullptr, &P::ofStarted },
         { nameOf<VrrpSm>(), "handleInitialized",
           "would do nothing: the programmer has started, and starts once" },
         { nameOf<VrrpSm>(), "doAddVirtualRouterMac",
           "would write an index of the hardware that the pool counts as free, or as another's" },
         { nameOf<VrrpSm>(), "doDeleteVirtualRouterMac",
           "would take a pair from the hardware that the programmer counts as programmed" },
         { nameOf<VrrpSm>(), "doCleanup",
           "would give every index back while the hardware keeps its entries" },
         { nameOf<VrrpSm>(), "hasNotificationActiveIs", nullptr, &P::ofHearing },
         { nameOf<VrrpSm>(), "quorDoZombieReactors", nullptr, &P::ofZombies },

         { nameOf<VrrpSmHelper>(), "syncCurrentStateOnInit",
           "would make the programmer take pairs for adopted that it has programmed itself" },
         { nameOf<VrrpSmHelper>(), "addVirtualRouterMac",
           "would write the hardware behind the programmer's back" },
         { nameOf<VrrpSmHelper>(), "deleteVirtualRouterMac",
           "would write the hardware behind the programmer's back" },
         { nameOf<VrrpSmHelper>(), "syncVrrpStateOnInit",
           "would read the hardware, and clean it, for a start that is over" },
         { nameOf<VrrpSmHelper>(), "initializationComplete",
           "would tell the helper of a start that is over" } };
   for( const Rule &rule : rules ) {
      if( rule.type == change.object->type()->name && rule.attribute == change.attribute.name ) {
         return &rule;
      }
   }
   return nullptr;
}

std::string Permissions::harm( const Change &change ) const {
   const Rule *const rule = find( change );
   if( !rule ) {
      return "would do what no rule allows";
   }
   return rule->look ? ( this->*rule->look )( change ) : rule->harm;
}

bool Permissions::hasVlanSet( const IntfId &intf ) const {
   return live_.vlanSets->sviVlanSets().isMemberOf( intf );
}

bool Permissions::isHeld( const Pair &pair ) const {
   return live_.vrrpSm->virtualRouterIndexes().isMemberOf( pair );
}

bool Permissions::isWaiting( const Pair &pair ) const {
   for( const auto &entry : live_.vrrpSm->macsNeedingVirtualRouterIndexes() ) {
      if( entry.value() == pair ) {
         return true;
      }
   }
   return false;
}

Ptr<const SviVlanSet> Permissions::otherWith( VlanId vlan, const IntfId &intf ) const {
   for( const auto &entry : live_.vlanSets->sviVlanSets() ) {
      if( entry.key() != intf && entry.value()->vlanIds().isMemberOf( vlan ) ) {
         return entry.value();
      }
   }
   return nullptr;
}

// Inputs

std::string Permissions::ofRecord( const Change &change ) const {
   const VirtualRouterMac *const record = instanceIn<VirtualRouterMac>( change.key.get() );
   if( objectOf<VirtualRouterMacStatus>( change ) != live_.status.get() || !record ) {
      return "would change a table that the reflector does not watch";
   }
   if( !hasVlanSet( record->intf() ) ) {
      return requiresVlanSet( record->intf() );
   }
   if( !isVrrpMac( record->mac() ) ) {
      return "would route frames to " + text( record->mac() ) + ", which is no MAC of VRRP";
   }
   if( change.op == Op::set && !isTrue( change.value ) ) {
      return "would leave a key that counts as absent: remove it";
   }
   return {};
}

std::string Permissions::ofVlan( const Change &change ) const {
   const SviVlanSet *const set = objectOf<SviVlanSet>( change );
   const VlanId *const vlan = instanceIn<VlanId>( change.key.get() );
   if( !set || !vlan || live_.vlanSets->sviVlanSet( set->vlanIntf() ).get() != set ) {
      return "would change a set that is not in the table of VLAN sets";
   }
   if( change.op == Op::remove ) {
      return {};
   }
   if( !isTrue( change.value ) ) {
      return "would leave VLAN " + text( *vlan ) +
             " in the set, where the next MAC takes it for a member: remove it";
   }
   if( !isUsableVlan( *vlan ) ) {
      return "would take indexes for VLAN " + text( *vlan ) + ": VLANs are 1 to 4094";
   }
   if( const Ptr<const SviVlanSet> other = otherWith( *vlan, set->vlanIntf() ) ) {
      return "would share VLAN " + text( *vlan ) + " with " + text( other->vlanIntf() ) +
             ": a pair that one of them removes is gone for both";
   }
   return {};
}

std::string Permissions::ofVlanSet( const Change &change ) const {
   const IntfId *const intf = instanceIn<IntfId>( change.key.get() );
   return "would stop the process when " + ( intf ? text( *intf ) : "it" ) +
          " next gets a first MAC: the reflector requires its VLAN set";
}

std::string Permissions::ofWantedPair( const Change &change ) const {
   const Pair *const pair = instanceIn<Pair>( change.key.get() );
   const bool isThere = pair && live_.table->virtualRouterMacs().isMemberOf( *pair );
   if( change.op == Op::remove ) {
      return "would take a pair from the hardware that the reflector still stands for";
   }
   if( isTrue( change.value ) ) {
      return isThere ? "would do nothing: the reflector has put it there"
                     : "would program a pair that the reflector does not stand for, and never "
                       "removes";
   }
   if( !isThere ) {
      return "would stop the process when the reflector wants the pair: a flag that changes makes "
             "the programmer take a held pair for a new one";
   }
   return pair && isHeld( *pair )
                ? "would stop the process: the programmer takes a held pair whose flag changes for "
                  "a new one"
                : "would let the pair wait twice, and stop the process at its second turn";
}

// The reflector

std::string Permissions::ofHandlingRecord( const Change &change ) const {
   const VirtualRouterMac *const record = argumentOf<VirtualRouterMac>( change );
   if( !record ) {
      return {};
   }
   if( !live_.status->vrrpVirtualMac( *record ) ) {
      return "would withdraw " + text( *record ) + ", which is not in the status table";
   }
   const bool isUsable =
         live_.libSm->dmacsForIntf( record->intf() ) || hasVlanSet( record->intf() );
   return isUsable ? "" : requiresVlanSet( record->intf() );
}

std::string Permissions::ofHandlingInterface( const Change &change ) const {
   const IntfId *const intf = argumentOf<IntfId>( change );
   if( !intf || hasVlanSet( *intf ) ) {
      return {};
   }
   if( live_.libSm->vlanIntfSm( *intf ) ) {
      return "would fail: the reactor of " + text( *intf ) +
             " was made for a VLAN set that is gone";
   }
   return live_.libSm->dmacsForIntf( *intf ) ? requiresVlanSet( *intf ) : "";
}

std::string Permissions::ofReactor( const Change &change ) const {
   const Ptr<const EthAddrsForIntf> macs = pointerOf<EthAddrsForIntf>( change, "dmacList" );
   if( !macs || !pointerOf<SviVlanSet>( change, "sviVlanSet" ) ) {
      return "would stop the process: the reactor requires a VLAN set and MACs";
   }
   if( live_.libSm->vlanIntfSm( macs->vlanIntf() ).get() != objectOf<VlanIntfSm>( change ) ) {
      return "would let a reactor write that the reflector has let go of";
   }
   return {};
}

std::string Permissions::ofHandlingVlan( const Change &change ) const {
   const VlanId *const vlan = argumentOf<VlanId>( change );
   std::string harm = ofReactor( change );
   if( !vlan || !harm.empty() ) {
      return harm;
   }
   const Ptr<const SviVlanSet> set = pointerOf<SviVlanSet>( change, "sviVlanSet" );
   if( set->vlanId( *vlan ) ) {
      return {};
   }
   if( const Ptr<const SviVlanSet> other = otherWith( *vlan, set->vlanIntf() ) ) {
      return "would take the pairs on VLAN " + text( *vlan ) + " from " + text( other->vlanIntf() );
   }
   return "would do nothing: VLAN " + text( *vlan ) + " is not in the set of " +
          text( set->vlanIntf() );
}

std::string Permissions::ofHandlingMac( const Change &change ) const {
   const EthAddr *const mac = argumentOf<EthAddr>( change );
   std::string harm = ofReactor( change );
   if( !mac || !harm.empty() ) {
      return harm;
   }
   const Ptr<const EthAddrsForIntf> macs = pointerOf<EthAddrsForIntf>( change, "dmacList" );
   return macs->ethAddr( *mac ) ? ""
                                : "would do nothing: " + text( *mac ) + " is not active on " +
                                        text( macs->vlanIntf() );
}

// The programmer

std::string Permissions::ofHandlingPair( const Change &change ) const {
   if( Quor::needList( change.key.get() ).elements().empty() ) {
      return "would stop the process: the programmer takes every held pair for a new one";
   }
   const Pair *const pair = argumentOf<Pair>( change );
   if( !pair ) {
      return {};
   }
   if( isHeld( *pair ) ) {
      return "would stop the process: the programmer takes the held pair " + pairText( *pair ) +
             " for a new one";
   }
   return isWaiting( *pair ) ? "would let " + pairText( *pair ) +
                                     " wait twice, and stop the process at its second turn"
                             : "";
}

std::string Permissions::ofInputTable( const Change &change ) const {
   const VirtualRouterMacTable *const table =
         instanceIn<VirtualRouterMacTable>( change.value.get() );
   return table == live_.table.get()
                ? "would do nothing: the programmer watches this table already"
                : "would leave in the hardware what only the table before wanted, and stop the "
                  "process at the first pair that both want";
}

std::string Permissions::ofStarted( const Change &change ) const {
   return isTrue( change.value )
                ? "would do nothing: the programmer has started"
                : "would stop the process at the next event: its handlers require a start";
}

// Hearing

std::string Permissions::ofHearing( const Change &change ) const {
   const bool *const on = argumentOf<bool>( change );
   return on && *on ? "would do nothing: it hears what changes"
                    : "would make it deaf: what changes would not reach the hardware";
}

std::string Permissions::ofZombies( const Change &change ) const {
   const bool *const on = argumentOf<bool>( change );
   return on && !*on ? "would do nothing: it is no zombie"
                     : "would make it deaf: what changes would not reach the hardware";
}

} // namespace OrloAgent
