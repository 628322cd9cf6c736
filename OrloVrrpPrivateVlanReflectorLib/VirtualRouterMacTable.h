// The hand-over point between the reflector and the programmer: the pairs to be programmed.
#ifndef ORLOVRRPPRIVATEVLANREFLECTORLIB_VIRTUALROUTERMACTABLE_H
#define ORLOVRRPPRIVATEVLANREFLECTORLIB_VIRTUALROUTERMACTABLE_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"
#include "quor/Entity.h"
#include "quor/NotifiedMap.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

/// A set of keys; a pair is wanted exactly while its key is there. The reflector writes it (always
/// with the flag true), the programmer watches it. Lives as long as somebody holds it. Every change
/// tells the watchers at once, inside the writer's call, on the agent's one thread.
class VirtualRouterMacTable : public Quor::Entity {
 public:
   using GenericIf_ = Quor::EntityGenericIf<VirtualRouterMacTable>;
   using _Type = Quor::TypeObject<VirtualRouterMacTable>;
   class NotifieeConst;
   class Notifiee;
   enum Attr : Quor::AttrId { kVirtualRouterMac = Quor::kFirstEntityAttribute };
   using VirtualRouterMacs = Quor::HashMap<VlanAndMac, bool>;
   using QuorVirtualRouterMac = VirtualRouterMacs::Entry;

   const VirtualRouterMacs &virtualRouterMacs() const noexcept { return virtualRouterMac_; }
   /// The flag of a key; false when it is absent.
   bool virtualRouterMac( const VlanAndMac &key ) const { return virtualRouterMac_.value( key ); }
   /// Adds the key or changes its flag, and notifies; the same flag again does nothing.
   void virtualRouterMacIs( const VlanAndMac &key, bool value ) {
      virtualRouterMac_.is( key, value );
   }
   /// `hash`, here and below: the key's naturalHash(), for somebody who knows it already.
   void virtualRouterMacIs( const VlanAndMac &key, Quor::U32 hash, bool value ) {
      virtualRouterMac_.is( key, hash, value );
   }
   /// Adds without notifying; NameInUseException when the key is there.
   Quor::Ptr<QuorVirtualRouterMac> newVirtualRouterMac( const VlanAndMac &key, bool value ) {
      return virtualRouterMac_.insert( key, value );
   }
   /// Removes, notifies and gives the removed flag; an absent key gives false and notifies nobody.
   bool virtualRouterMacDel( const VlanAndMac &key ) { return virtualRouterMac_.del( key ); }
   bool virtualRouterMacDel( const VlanAndMac &key, Quor::U32 hash ) {
      return virtualRouterMac_.del( key, hash );
   }
   bool virtualRouterMacDel( const VirtualRouterMacs::Iterator &at ) {
      return virtualRouterMac_.del( at );
   }
   /// Removes the keys one by one in order, each with its own notification.
   void virtualRouterMacDelAll() { virtualRouterMac_.delAll(); }
   /// Calls onVirtualRouterMac( key ) of every registered watcher.
   void virtualRouterMacNotify( const VlanAndMac &key ) const;
   /// Who is about to change many keys of a large table announces them, by their natural hashes:
   /// one that comes HashMap's kLater steps later and one that comes kSoon steps later. Changes
   /// nothing.
   void virtualRouterMacsAhead( Quor::U32 later, Quor::U32 soon ) const;

   static const Quor::Type *_fwkType() noexcept;
   const Quor::Type *fwkType() const override;

 private:
   Quor::NotifiedMap<VlanAndMac, bool, &VirtualRouterMacTable::virtualRouterMacNotify>
         virtualRouterMac_{ this };
};

class VirtualRouterMacTable::NotifieeConst : public Quor::NotifieeConstOf<VirtualRouterMacTable> {
 public:
   /// A key was added, changed or removed; the table tells which.
   virtual void onVirtualRouterMac( const VlanAndMac & ) {}
   /// Everything is to be looked at again.
   virtual void onVirtualRouterMacquorImmediate() {}
   /// The collection as a whole changed.
   virtual void onVirtualRouterMac() {}
   /// A hint, given to an only watcher: what keys will come, as in virtualRouterMacsAhead().
   virtual void onVirtualRouterMacsAhead( Quor::U32 /*later*/, Quor::U32 /*soon*/ ) {}
};

class VirtualRouterMacTable::Notifiee
      : public Quor::NotifieeOf<VirtualRouterMacTable, NotifieeConst> {};

[[gnu::always_inline]] inline void
VirtualRouterMacTable::virtualRouterMacNotify( const VlanAndMac &key ) const {
   notify<NotifieeConst, const VlanAndMac &, &NotifieeConst::onVirtualRouterMac>( kVirtualRouterMac,
                                                                                  key );
}

inline void VirtualRouterMacTable::virtualRouterMacsAhead( Quor::U32 later, Quor::U32 soon ) const {
   virtualRouterMac_.prefetch( later, soon );
   hint<NotifieeConst>(
         [=]( NotifieeConst &watcher ) { watcher.onVirtualRouterMacsAhead( later, soon ); } );
}

/// A new, empty table, for the agent to hand to the reflector and to the programmer.
Quor::Ptr<VirtualRouterMacTable> virtualRouterMacTableFactory();

} // namespace Orlo::VrrpPrivateVlanReflectorLib

#endif
