// A port to a chip: this class is all that a platform has to write.
#ifndef EXAMPLES_CHIPHELPER_H
#define EXAMPLES_CHIPHELPER_H

#include "OrloVrrpHelper/VrrpSmHelper.h"
#include "examples/Chip.h"

class ChipHelper : public OrloHelper::VrrpSmHelper {
 public:
   explicit ChipHelper( Chip &chip ) : VrrpSmHelper( "chip" ), chip_( chip ) {
      syncCurrentStateOnInitIs( true ); // what the chip still holds is to be adopted
   }
   void addVirtualRouterMac( const Pelmo::EthAddr &mac, Quor::U32 vlan, Quor::U32 index ) override {
      chip_.slots[index] = { true, vlan, mac };
   }
   void deleteVirtualRouterMac( const Pelmo::EthAddr &, Quor::U32, Quor::U32 index ) override {
      chip_.slots[index] = {};
   }
   void
   syncVrrpStateOnInit( const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &state ) override {
      for( Quor::U32 index = 0; index < chip_.slots.size(); ++index ) {
         if( const Chip::Slot &slot = chip_.slots[index]; slot.used ) {
            state->virtualRouterIndexIs( { Bridging::VlanId( Quor::U16( slot.vlan ) ), slot.mac },
                                         index );
         }
      }
   }

 private:
   Chip &chip_;
};

#endif
