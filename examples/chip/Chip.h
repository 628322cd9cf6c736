// An imaginary chip with slots for router MACs.
#ifndef CHIP_H
#define CHIP_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"

#include <fstream>
#include <map>
#include <string>

/// Its slots are the lines of a file, "3 10 00:00:5e:00:01:33", which is there for as long as a
/// real chip has power.
class Chip {
 public:
   using Slot = Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;

   /// Finds what the chip holds; RangeException when that cannot be read.
   Chip( std::string device, Quor::U32 count ) : device_( std::move( device ) ) {
      std::ifstream file( device_ );
      Quor::U32 index = 0;
      Quor::U16 vlan = 0;
      for( std::string mac; file >> index >> vlan >> mac; ) {
         if( index < count ) {
            slots_[index] = { Bridging::VlanId( vlan ),
                              strepToValue( Quor::Strep<Pelmo::EthAddr>{}, mac ) };
         }
      }
   }

   /// By index; those that are free are not there.
   const std::map<Quor::U32, Slot> &slots() const { return slots_; }
   /// False: the chip has not taken it.
   bool slotIs( Quor::U32 index, const Slot &slot ) {
      slots_[index] = slot;
      return write();
   }
   bool slotDel( Quor::U32 index ) {
      slots_.erase( index );
      return write();
   }

 private:
   bool write() const {
      std::ofstream file( device_ );
      for( const auto &[index, slot] : slots_ ) {
         file << index << ' ' << slot.vlanId() << ' ' << slot.mac() << '\n';
      }
      return bool( file.flush() );
   }

   const std::string device_;
   std::map<Quor::U32, Slot> slots_;
};

#endif
