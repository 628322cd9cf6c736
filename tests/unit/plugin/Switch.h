// A switch that is put together from what was loaded.
#ifndef TESTS_UNIT_PLUGIN_SWITCH_H
#define TESTS_UNIT_PLUGIN_SWITCH_H

#include "OrloVrrpHelper/HardwareWork.h"
#include "tests/unit/plugin/Library.h"

namespace PluginTests {

/// A helper that gathers what an event brings does it now, as in an agent's loop.
inline void eventEnds( const Ptr<OrloHelper::VrrpSmHelper> &helper ) {
   Quor::PtrInterface *const base = helper.get();
   if( auto *const work = dynamic_cast<OrloHelper::HardwareWork *>( base ) ) {
      work->work( {} );
   }
}

/// br10 on VLAN 10, four indexes, and nothing published. What it is made of goes as an agent lets
/// it go: the programmer first.
struct Switch {
   Switch( const Orlo::Plugin &plugin, Ptr<OrloHelper::VrrpSmHelper> wantedHelper )
         : helper( std::move( wantedHelper ) ), table( plugin.virtualRouterMacTableFactory() ) {
      vlanSets->sviVlanSetIs( br10 )->vlanIdIs( Bridging::VlanId( 10 ), true );
      hardware->virtualRouterCountIs( 4 );
      reflector = plugin.libSmFactory( published, vlanSets, table );
      programmer = plugin.vrrpSmIs( table, hardware, helper );
   }

   void publish( const Pelmo::EthAddr &mac ) {
      published->vrrpVirtualMacIs( { br10, mac }, true );
      eventEnds( helper );
   }
   void withdraw( const Pelmo::EthAddr &mac ) {
      published->vrrpVirtualMacDel( { br10, mac } );
      eventEnds( helper );
   }

   const Pelmo::IntfId br10{ "br10" };
   const Ptr<Routing::Fhrp::VirtualRouterMacStatus> published =
         Quor::make<Routing::Fhrp::VirtualRouterMacStatus>();
   const Ptr<IntfVlanIdSet::Table> vlanSets = Quor::make<IntfVlanIdSet::Table>();
   const Ptr<Routing::Fhrp::Hardware::Status> hardware =
         Quor::make<Routing::Fhrp::Hardware::Status>();
   const Ptr<OrloHelper::VrrpSmHelper> helper;
   const Ptr<Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable> table;
   Ptr<Orlo::VrrpPrivateVlanReflectorLib::LibSm> reflector;
   Ptr<Orlo::VrrpSm> programmer;
};

inline const Pelmo::EthAddr kMac51( 0x0000, 0x5e00, 0x0133 );
inline const Pelmo::EthAddr kMac52( 0x0000, 0x5e00, 0x0134 );

} // namespace PluginTests

#endif
