// The virtual router MACs that are active on one VLAN interface.
#ifndef ORLOVRRPPRIVATEVLANREFLECTORLIB_ETHADDRSFORINTF_H
#define ORLOVRRPPRIVATEVLANREFLECTORLIB_ETHADDRSFORINTF_H

#include "pelmo/EthAddr.h"
#include "pelmo/IntfId.h"
#include "quor/Entity.h"
#include "quor/NotifiedMap.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

/// The destination MACs of an interface; one is active exactly while its key is there. Made, filled
/// and removed by the reflector's top reactor (always with the flag true), watched by the
/// interface's own reactor.
class EthAddrsForIntf : public Quor::Entity {
 public:
   using GenericIf_ = Quor::EntityGenericIf<EthAddrsForIntf>;
   using _Type = Quor::TypeObject<EthAddrsForIntf>;
   class NotifieeConst;
   class Notifiee;
   enum Attr : Quor::AttrId { kVlanIntf = Quor::kFirstEntityAttribute, kEthAddr };
   using EthAddrs = Quor::HashMap<Pelmo::EthAddr, bool>;
   using QuorEthAddr = EthAddrs::Entry;

   explicit EthAddrsForIntf( const Pelmo::IntfId &vlanIntf ) : vlanIntf_( vlanIntf ) {}

   const Pelmo::IntfId &vlanIntf() const noexcept { return vlanIntf_; }
   /// The key under which a collection holds this entity.
   const Pelmo::IntfId &fwkKey() const noexcept { return vlanIntf_; }

   const EthAddrs &ethAddrs() const noexcept { return ethAddr_; }
   /// The flag of a MAC; false when it is absent.
   bool ethAddr( const Pelmo::EthAddr &mac ) const { return ethAddr_.value( mac ); }
   /// Adds the MAC or changes its flag, and notifies; the same flag again does nothing.
   void ethAddrIs( const Pelmo::EthAddr &mac, bool value ) { ethAddr_.is( mac, value ); }
   /// Adds without notifying; NameInUseException when the MAC is there.
   Quor::Ptr<QuorEthAddr> newEthAddr( const Pelmo::EthAddr &mac, bool value ) {
      return ethAddr_.insert( mac, value );
   }
   /// Removes, notifies and gives the removed flag; an absent MAC gives false and notifies nobody.
   bool ethAddrDel( const Pelmo::EthAddr &mac ) { return ethAddr_.del( mac ); }
   bool ethAddrDel( const EthAddrs::Iterator &at ) { return ethAddr_.del( at ); }
   /// Removes the MACs one by one in order, each with its own notification.
   void ethAddrDelAll() { ethAddr_.delAll(); }
   /// Calls onEthAddr( mac ) of every registered watcher.
   void ethAddrNotify( const Pelmo::EthAddr &mac ) const;

   static const Quor::Type *_fwkType() noexcept;
   const Quor::Type *fwkType() const override;

 private:
   const Pelmo::IntfId vlanIntf_;
   Quor::NotifiedMap<Pelmo::EthAddr, bool, &EthAddrsForIntf::ethAddrNotify> ethAddr_{ this };
};

class EthAddrsForIntf::NotifieeConst : public Quor::NotifieeConstOf<EthAddrsForIntf> {
 public:
   /// A MAC was added, changed or removed; the set tells which.
   virtual void onEthAddr( const Pelmo::EthAddr & ) {}
   virtual void onEthAddrquorImmediate() {}
   /// The set as a whole changed.
   virtual void onEthAddr() {}
};

class EthAddrsForIntf::Notifiee : public Quor::NotifieeOf<EthAddrsForIntf, NotifieeConst> {};

inline void EthAddrsForIntf::ethAddrNotify( const Pelmo::EthAddr &mac ) const {
   notify<NotifieeConst, const Pelmo::EthAddr &, &NotifieeConst::onEthAddr>( kEthAddr, mac );
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib

#endif
