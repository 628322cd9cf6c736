// The whole pipeline on an imaginary chip: a virtual router MAC that is published on br10 appears
// in the chip on every VLAN of br10, and a restart of the agent leaves the chip alone. Ends with
// status 0 when it does.
#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "OrloVrrpSm/VrrpSm.h"
#include "examples/ChipHelper.h"

#include <iostream>

namespace Reflector = Orlo::VrrpPrivateVlanReflectorLib;

int main() {
   Chip chip;
   const Pelmo::IntfId br10( "br10" );
   const auto published = Quor::make<Routing::Fhrp::VirtualRouterMacStatus>();
   const auto vlanSets = Quor::make<IntfVlanIdSet::Table>();
   const auto hardware = Quor::make<Routing::Fhrp::Hardware::Status>();
   hardware->virtualRouterCountIs( Quor::U32( chip.slots.size() ) );
   for( const Quor::U16 vlan : std::array<Quor::U16, 3>{ 10, 11, 12 } ) {
      vlanSets->sviVlanSetIs( br10 )->vlanIdIs( Bridging::VlanId( vlan ), true );
   }
   published->vrrpVirtualMacIs( { br10, Pelmo::EthAddr( 0, 0x5e00, 0x0133 ) }, true );

   Quor::U32 used = 0;
   for( const char *const run : { "first start", "restart" } ) {
      const auto table = Reflector::virtualRouterMacTableFactory();
      const auto reflector = Reflector::libSmFactory( published, vlanSets, table );
      auto programmer = Orlo::VrrpSmIs( table, hardware, Quor::make<ChipHelper>( chip ) );
      std::cout << run << ":\n";
      used = 0;
      for( std::size_t index = 0; index < chip.slots.size(); ++index ) {
         if( const Chip::Slot &slot = chip.slots[index]; slot.used ) {
            std::cout << "  slot " << index << ": VLAN " << slot.vlan << ' ' << slot.mac << '\n';
            ++used;
         }
      }
      programmer =
            nullptr; // before the reflector, which empties the table: the chip keeps its entries
   }
   return used == 3 ? 0 : 1;
}
