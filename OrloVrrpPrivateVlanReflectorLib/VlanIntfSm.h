// The reflector of one VLAN interface.
#ifndef ORLOVRRPPRIVATEVLANREFLECTORLIB_VLANINTFSM_H
#define ORLOVRRPPRIVATEVLANREFLECTORLIB_VLANINTFSM_H

#include "OrloVrrpPrivateVlanReflectorLib/EthAddrsForIntf.h"
#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"
#include "platform/SviVlanSet.h"
#include "quor/Reactor.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

class LibSm;
class QuorSviVlanSet;
class QuorDmacList;
class VirtualRouterMacTable;

/// Reflects every virtual router MAC of an interface onto every VLAN of the interface's VLAN set:
/// keeps the output table of its LibSm equal to the cross product of the two. The interface's own
/// VLAN is reflected when it is in the set, like any other. Keys are not counted: when two
/// interfaces stand for one key, whichever removes it leaves it absent.
///
/// LibSm makes, owns and removes it, and switches it on as soon as it is made. Both sets must be
/// there and belong to the same interface, or the process stops. Runs on the agent's one thread; an
/// event costs one write per member of the other set.
class VlanIntfSm : public Quor::PtrInterface {
 public:
   using GenericIf_ = Quor::EntityGenericIf<VlanIntfSm>;
   using _Type = Quor::TypeObject<VlanIntfSm>;
   /// Replays the VLAN set at once.
   VlanIntfSm( LibSm *libSm, const Quor::Ptr<const IntfVlanIdSet::SviVlanSet> &sviVlanSet,
               const Quor::Ptr<const EthAddrsForIntf> &dmacList );
   /// Removes no keys.
   ~VlanIntfSm() override;

   LibSm *libSm() const noexcept { return libSm_; }
   /// The interface of the MAC set; the empty one when there is none.
   Pelmo::IntfId intf() const;
   /// The key under which a collection holds this reactor.
   Pelmo::IntfId fwkKey() const { return intf(); }

   // The watched inputs; null when there is none. Connecting another one replays nothing.
   Quor::Ptr<const IntfVlanIdSet::SviVlanSet> sviVlanSet() const;
   void sviVlanSetIs( const Quor::Ptr<const IntfVlanIdSet::SviVlanSet> &sviVlanSet );
   void newSviVlanSet( const Quor::Ptr<const IntfVlanIdSet::SviVlanSet> &sviVlanSet );
   void sviVlanSetDel();
   Quor::Ptr<const EthAddrsForIntf> dmacList() const;
   void dmacListIs( const Quor::Ptr<const EthAddrsForIntf> &dmacList );
   void newDmacList( const Quor::Ptr<const EthAddrsForIntf> &dmacList );
   void dmacListDel();

   bool initialized() const noexcept { return initialized_; }
   void initializedIs( bool value ) { initialized_ = value; }

   /// Replays the VLAN set.
   void handleInitialized();
   /// A VLAN joined the set (it is there with the value true) or left it.
   void handleVlanId( Bridging::VlanId vlanId );
   /// A MAC joined the set (it is there with the value true) or left it.
   void handleDmac( const Pelmo::EthAddr &dmac );
   /// Removes every key that this reactor stands for.
   void doCleanup();

   const Quor::Name &quorFwkActivity() const noexcept { return Quor::kEventLoopActivity; }
   bool hasNotificationActive() const noexcept { return hasNotificationActive_; }
   void hasNotificationActiveIs( bool on ) override;
   static const Quor::Type *_fwkType() noexcept;
   const Quor::Type *fwkType() const override;
   virtual void quorDoZombieReactors( bool on );

 private:
   LibSm *const libSm_;
   Quor::Ptr<QuorSviVlanSet> sviVlanSet_;
   Quor::Ptr<QuorDmacList> dmacList_;
   bool initialized_ = false;
   bool hasNotificationActive_ = false;
};

/// VlanIntfSm(br10)
std::ostream &operator<<( std::ostream &out, const VlanIntfSm &sm );

} // namespace Orlo::VrrpPrivateVlanReflectorLib

#endif
