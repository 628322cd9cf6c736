// The VLANs that one VLAN interface (SVI) serves.
#ifndef PLATFORM_SVIVLANSET_H
#define PLATFORM_SVIVLANSET_H

#include "bridging/VlanId.h"
#include "pelmo/IntfId.h"
#include "quor/Entity.h"
#include "quor/NotifiedMap.h"

namespace IntfVlanIdSet {

/// The interface's own VLAN and, with private VLANs (RFC 5517), the secondary VLANs whose hosts it
/// routes for; the own VLAN is a member like any other. A VLAN is present when its key is there
/// with the value true. Written by the platform, watched by the reflector. Every change tells the
/// watchers at once.
class SviVlanSet : public Quor::Entity {
 public:
   class NotifieeConst;
   class Notifiee;
   enum Attr : Quor::AttrId { kVlanIntf = Quor::kFirstEntityAttribute, kVlanId };
   using VlanIds = Quor::HashMap<Bridging::VlanId, bool>;
   using QuorVlanId = VlanIds::Entry;

   explicit SviVlanSet( const Pelmo::IntfId &vlanIntf ) : vlanIntf_( vlanIntf ) {}

   const Pelmo::IntfId &vlanIntf() const noexcept { return vlanIntf_; }

   const VlanIds &vlanIds() const noexcept { return vlanId_; }
   /// The flag of a VLAN; false when it is absent.
   bool vlanId( Bridging::VlanId vlanId ) const { return vlanId_.value( vlanId ); }
   /// Adds the VLAN or changes its flag, and notifies; the same flag again does nothing.
   void vlanIdIs( Bridging::VlanId vlanId, bool value ) { vlanId_.is( vlanId, value ); }
   /// Adds without notifying; NameInUseException when the VLAN is there.
   Quor::Ptr<QuorVlanId> newVlanId( Bridging::VlanId vlanId, bool value ) {
      return vlanId_.insert( vlanId, value );
   }
   /// Removes, notifies and gives the removed flag; an absent VLAN gives false and notifies nobody.
   bool vlanIdDel( Bridging::VlanId vlanId ) { return vlanId_.del( vlanId ); }
   bool vlanIdDel( const VlanIds::Iterator &at ) { return vlanId_.del( at ); }
   /// Removes the VLANs one by one in order, each with its own notification.
   void vlanIdDelAll() { vlanId_.delAll(); }
   void vlanIdNotify( Bridging::VlanId vlanId ) const;

 private:
   const Pelmo::IntfId vlanIntf_;
   Quor::NotifiedMap<Bridging::VlanId, bool, &SviVlanSet::vlanIdNotify> vlanId_{ this };
};

class SviVlanSet::NotifieeConst : public Quor::NotifieeConstOf<SviVlanSet> {
 public:
   /// A VLAN was added, changed or removed; the set tells which.
   virtual void onVlanId( Bridging::VlanId ) {}
   virtual void onVlanIdquorImmediate() {}
   virtual void onVlanId() {}
};

class SviVlanSet::Notifiee : public Quor::NotifieeOf<SviVlanSet, NotifieeConst> {};

inline void SviVlanSet::vlanIdNotify( Bridging::VlanId vlanId ) const {
   notify<NotifieeConst, Bridging::VlanId, &NotifieeConst::onVlanId>( kVlanId, vlanId );
}

} // namespace IntfVlanIdSet

#endif
