// A port to a chip: this class is all that a platform has to write.
#ifndef CHIPHELPER_H
#define CHIPHELPER_H

#include "Chip.h"
#include "OrloVrrpHelper/HelperModule.h"

class ChipHelper : public OrloHelper::VrrpSmHelper {
 public:
   ChipHelper( Chip chip, std::function<void( const std::string & )> trouble )
         : VrrpSmHelper( "chip" ), chip_( std::move( chip ) ), trouble_( std::move( trouble ) ) {
      syncCurrentStateOnInitIs( true ); // what the chip still holds is to be adopted
   }
   void addVirtualRouterMac( const Pelmo::EthAddr &mac, Quor::U32 vlan, Quor::U32 index ) override {
      if( !chip_.slotIs( index, { Bridging::VlanId( Quor::U16( vlan ) ), mac } ) ) {
         trouble_( "the chip does not take slot " + std::to_string( index ) );
      }
   }
   void deleteVirtualRouterMac( const Pelmo::EthAddr &, Quor::U32, Quor::U32 index ) override {
      if( !chip_.slotDel( index ) ) {
         trouble_( "the chip does not free slot " + std::to_string( index ) );
      }
   }
   void
   syncVrrpStateOnInit( const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &state ) override {
      for( const auto &[index, slot] : chip_.slots() ) {
         state->virtualRouterIndexIs( slot, index );
      }
   }

 private:
   Chip chip_;
   const std::function<void( const std::string & )> trouble_;
};

#endif
