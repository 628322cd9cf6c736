// The table of VLAN sets by VLAN interface.
#ifndef PLATFORM_INTFVLANIDSETTABLE_H
#define PLATFORM_INTFVLANIDSETTABLE_H

#include "platform/SviVlanSet.h"

namespace IntfVlanIdSet {

/// Owns one SviVlanSet per interface. The reflector looks sets up and does not watch the table: it
/// keeps the set that it found. So an interface keeps one set object for its life, and its VLANs
/// are changed in place.
class Table : public Quor::Entity {
 public:
   class NotifieeConst;
   class Notifiee;
   enum Attr : Quor::AttrId { kSviVlanSet = Quor::kFirstEntityAttribute };
   using SviVlanSets = Quor::HashMap<Pelmo::IntfId, Quor::Ptr<SviVlanSet>>;

   const SviVlanSets &sviVlanSets() const noexcept { return sviVlanSet_; }
   /// Null when the interface has no set.
   Quor::Ptr<SviVlanSet> sviVlanSet( const Pelmo::IntfId &intf ) const {
      return sviVlanSet_.value( intf );
   }
   Quor::Ptr<const SviVlanSet> intfIdToVlanIdSet( const Pelmo::IntfId &intf ) const {
      return sviVlanSet( intf );
   }
   /// The interface's set; makes an empty one and notifies when there is none.
   Quor::Ptr<SviVlanSet> sviVlanSetIs( const Pelmo::IntfId &intf ) {
      if( Quor::Ptr<SviVlanSet> existing = sviVlanSet( intf ) ) {
         return existing;
      }
      auto made = Quor::make<SviVlanSet>( intf );
      sviVlanSet_.is( intf, made );
      return made;
   }
   /// Removes the interface's set, notifies and gives it; null when there was none.
   Quor::Ptr<SviVlanSet> sviVlanSetDel( const Pelmo::IntfId &intf ) {
      return sviVlanSet_.del( intf );
   }
   void sviVlanSetNotify( const Pelmo::IntfId &intf ) const;

 private:
   Quor::NotifiedMap<Pelmo::IntfId, Quor::Ptr<SviVlanSet>, &Table::sviVlanSetNotify> sviVlanSet_{
         this };
};

class Table::NotifieeConst : public Quor::NotifieeConstOf<Table> {
 public:
   /// The set of an interface was made or removed.
   virtual void onSviVlanSet( const Pelmo::IntfId & ) {}
};

class Table::Notifiee : public Quor::NotifieeOf<Table, NotifieeConst> {};

inline void Table::sviVlanSetNotify( const Pelmo::IntfId &intf ) const {
   notify<NotifieeConst, const Pelmo::IntfId &, &NotifieeConst::onSviVlanSet>( kSviVlanSet, intf );
}

} // namespace IntfVlanIdSet

#endif
