// The status table of virtual router MACs: what the redundancy protocol wants routed.
#ifndef PLATFORM_VIRTUALROUTERMACSTATUS_H
#define PLATFORM_VIRTUALROUTERMACSTATUS_H

#include "platform/VirtualRouterMac.h"
#include "quor/Entity.h"
#include "quor/NotifiedMap.h"

namespace Routing::Fhrp {

/// A set of records; one is present when its key is in the collection with the value true. Written
/// by whoever speaks the protocol, watched by the reflector. Every change tells the watchers at
/// once.
class VirtualRouterMacStatus : public Quor::Entity {
 public:
   class NotifieeConst;
   class Notifiee;
   enum Attr : Quor::AttrId { kVrrpVirtualMac = Quor::kFirstEntityAttribute };
   using VrrpVirtualMacs = Quor::HashMap<VirtualRouterMac, bool>;
   using QuorVrrpVirtualMac = VrrpVirtualMacs::Entry;

   const VrrpVirtualMacs &vrrpVirtualMacs() const noexcept { return vrrpVirtualMac_; }
   /// The flag of a record; false when it is absent.
   bool vrrpVirtualMac( const VirtualRouterMac &record ) const {
      return vrrpVirtualMac_.value( record );
   }
   /// Adds the record or changes its flag, and notifies; the same flag again does nothing.
   void vrrpVirtualMacIs( const VirtualRouterMac &record, bool value ) {
      vrrpVirtualMac_.is( record, value );
   }
   /// Adds without notifying; NameInUseException when the record is there.
   Quor::Ptr<QuorVrrpVirtualMac> newVrrpVirtualMac( const VirtualRouterMac &record, bool value ) {
      return vrrpVirtualMac_.insert( record, value );
   }
   /// Removes, notifies and gives the removed flag; an absent record gives false and notifies
   /// nobody.
   bool vrrpVirtualMacDel( const VirtualRouterMac &record ) {
      return vrrpVirtualMac_.del( record );
   }
   bool vrrpVirtualMacDel( const VrrpVirtualMacs::Iterator &at ) {
      return vrrpVirtualMac_.del( at );
   }
   /// Removes the records one by one in order, each with its own notification.
   void vrrpVirtualMacDelAll() { vrrpVirtualMac_.delAll(); }
   void vrrpVirtualMacNotify( const VirtualRouterMac &record ) const;

 private:
   Quor::NotifiedMap<VirtualRouterMac, bool, &VirtualRouterMacStatus::vrrpVirtualMacNotify>
         vrrpVirtualMac_{ this };
};

class VirtualRouterMacStatus::NotifieeConst : public Quor::NotifieeConstOf<VirtualRouterMacStatus> {
 public:
   /// A record was added, changed or removed; the status table tells which.
   virtual void onVrrpVirtualMac( const VirtualRouterMac & ) {}
   virtual void onVrrpVirtualMacquorImmediate() {}
   virtual void onVrrpVirtualMac() {}
};

class VirtualRouterMacStatus::Notifiee
      : public Quor::NotifieeOf<VirtualRouterMacStatus, NotifieeConst> {};

inline void VirtualRouterMacStatus::vrrpVirtualMacNotify( const VirtualRouterMac &record ) const {
   notify<NotifieeConst, const VirtualRouterMac &, &NotifieeConst::onVrrpVirtualMac>(
         kVrrpVirtualMac, record );
}

} // namespace Routing::Fhrp

#endif
