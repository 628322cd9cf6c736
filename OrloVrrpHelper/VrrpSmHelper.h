// The seam between the programmer and the forwarding hardware.
#ifndef ORLOVRRPHELPER_VRRPSMHELPER_H
#define ORLOVRRPHELPER_VRRPSMHELPER_H

#include "OrloVrrpHelper/CurrentVrrpStateForInit.h"
#include "platform/OrloBaseHelper.h"

namespace OrloHelper {

/// A platform derives from it and overrides addVirtualRouterMac() and deleteVirtualRouterMac(),
/// and, to keep the hardware undisturbed when its agent restarts, syncVrrpStateOnInit(). The
/// programmer decides which (VLAN, MAC) pair gets which index and calls; it never calls with VLAN
/// 0, and never two pairs under one index at a time.
///
/// All calls come on the agent's one thread, from inside a change of the table. What an override
/// throws goes through the programmer to the watcher of the table and leaves the pair without an
/// entry: keep and retry in the helper what the hardware refuses.
class VrrpSmHelper : public Orlo::OrloBaseHelper {
 public:
   using GenericIf_ = Quor::EntityGenericIf<VrrpSmHelper>;
   using _Type = Quor::TypeObject<VrrpSmHelper>;
   class NotifieeConst;
   class Notifiee;
   enum Attr : Quor::AttrId {
      kSyncCurrentStateOnInit = 386,
      kAddVirtualRouterMac,
      kDeleteVirtualRouterMac,
      kSyncVrrpStateOnInit,
      kInitializationComplete
   };

   explicit VrrpSmHelper( Quor::Name name );

   static const Quor::Type *_fwkType() noexcept;
   const Quor::Type *fwkType() const override;
   Quor::String attributeString( Quor::AttrId id ) const override;

   /// Install `macAddr` as a router's own destination MAC on VLAN `vlanId`, in hardware slot
   /// `index`. A platform must override it: this one stops the process, unless ORLO_NOOP_AGENT is
   /// in the environment.
   virtual void addVirtualRouterMac( const Pelmo::EthAddr &macAddr, Quor::U32 vlanId,
                                     Quor::U32 index );
   /// Remove what the add with the same three arguments has installed. Must be overridden as well.
   virtual void deleteVirtualRouterMac( const Pelmo::EthAddr &macAddr, Quor::U32 vlanId,
                                        Quor::U32 index );
   /// Fill the snapshot with what the hardware holds: every pair once, every index once, indexes
   /// below the hardware's count. Called at most once, at start, and only when
   /// syncCurrentStateOnInit is set.
   virtual void
   syncVrrpStateOnInit( const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &currentStatePtr );
   /// The start-up pass is over: everything that is wanted has been added or adopted.
   virtual void initializationComplete();

   /// Does the hardware hold entries that are to be adopted? The platform sets it before it makes
   /// the programmer, which clears it at the end of its start-up pass.
   bool syncCurrentStateOnInit() const noexcept { return syncCurrentStateOnInit_; }
   /// Stores and notifies; the same value again does nothing.
   virtual void syncCurrentStateOnInitIs( bool value );

 private:
   bool syncCurrentStateOnInit_ = false;
};

class VrrpSmHelper::NotifieeConst : public Orlo::OrloBaseHelper::NotifieeConst {
 public:
   ~NotifieeConst() override; // here, so that a watcher of any module has this one base
   virtual void onSyncCurrentStateOnInit() {}
};

class VrrpSmHelper::Notifiee : public Quor::NotifieeOf<VrrpSmHelper, NotifieeConst> {
 public:
   ~Notifiee() override;
};

} // namespace OrloHelper

#endif
