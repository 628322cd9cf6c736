// What the programmer hears of its table.
#ifndef ORLOVRRPSM_QUORVRRPMACSTATUS_H
#define ORLOVRRPSM_QUORVRRPMACSTATUS_H

#include "OrloVrrpSm/VrrpSm.h"
#include "quor/Reactor.h"

namespace Orlo {

/// Passes changes of the table to its VrrpSm, which holds it.
class QuorVrrpMacStatus
      : public Quor::Reactor<VrrpPrivateVlanReflectorLib::VirtualRouterMacTable, VrrpSm> {
 public:
   using VirtualRouterMacTable = VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;

   QuorVrrpMacStatus() : Reactor( nullptr ) {}

   /// Null: there is nobody to pass anything to.
   void vrrpSmIs( VrrpSm *vrrpSm ) noexcept { ownerIs( vrrpSm ); }

   /// Takes the table and, when it is another one and not null, has all of it handled.
   void notifierIs( const Quor::Ptr<const VirtualRouterMacTable> &table ) {
      if( table == notifier() ) {
         return;
      }
      NotifieeConst::notifierIs( table );
      if( table ) {
         onVirtualRouterMacquorImmediate();
      }
   }

   /// The table has the key. `hash`: its naturalHash().
   bool isWanted( const VrrpPrivateVlanReflectorLib::VlanAndMac &vrMac,
                  Quor::U32 hash ) const noexcept {
      return entity() && static_cast<const VirtualRouterMacTable *>( entity() )
                               ->virtualRouterMacs()
                               .isMemberOf( vrMac, hash );
   }

   void onVirtualRouterMac( const VrrpPrivateVlanReflectorLib::VlanAndMac &vrMac ) override;
   void onVirtualRouterMacquorImmediate() override {
      if( const Quor::Ptr<VrrpSm> vrrpSm = awakeOwner() ) {
         vrrpSm->handleVrrpMac();
      }
   }
   using NotifieeConst::onVirtualRouterMac;
   void onVirtualRouterMacsAhead( Quor::U32 later, Quor::U32 soon ) override;
};

} // namespace Orlo

#endif
