// An imaginary chip with slots for router MACs.
#ifndef CHIP_H
#define CHIP_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"

#include <fstream>
#include <map>
#include <string>

/// Its slots are the lines of a file, "3 10 00:00:5e:00:01:33", which is there for as long as a
/// real chip has power. While there is a file beside it with ".busy" behind the name, it does
/// nothing that it is asked.
class Chip {
 public:
   using Slot = Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;

   explicit Chip( std::string device ) : device_( std::move( device ) ) {}

   /// By index; those that are free are not there. RangeException when they cannot be read.
   std::map<Quor::U32, Slot> slots() const {
      std::map<Quor::U32, Slot> slots;
      std::ifstream file( device_ );
      Quor::U32 index = 0;
      Quor::U16 vlan = 0;
      for( std::string mac; file >> index >> vlan >> mac; ) {
         slots[index] = { Bridging::VlanId( vlan ),
                          strepToValue( Quor::Strep<Pelmo::EthAddr>{}, mac ) };
      }
      return slots;
   }
   /// False: the chip does not take it.
   bool slotIs( Quor::U32 index, const Slot &slot ) {
      auto changed = slots();
      changed[index] = slot;
      return write( changed );
   }
   /// Frees the slot if that is what it holds. False: the chip keeps it.
   bool slotDel( Quor::U32 index, const Slot &slot ) {
      auto changed = slots();
      const auto at = changed.find( index );
      if( at == changed.end() || at->second != slot ) {
         return true;
      }
      changed.erase( at );
      return write( changed );
   }

 private:
   bool write( const std::map<Quor::U32, Slot> &slots ) const {
      if( std::ifstream( device_ + ".busy" ) ) {
         return false;
      }
      std::ofstream file( device_ );
      for( const auto &[index, slot] : slots ) {
         file << index << ' ' << slot.vlanId() << ' ' << slot.mac() << '\n';
      }
      return bool( file.flush() );
   }

   const std::string device_;
};

#endif
