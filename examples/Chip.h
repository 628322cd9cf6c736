// An imaginary chip: four slots for router MACs.
#ifndef EXAMPLES_CHIP_H
#define EXAMPLES_CHIP_H

#include "pelmo/EthAddr.h"

#include <array>

struct Chip {
   struct Slot {
      bool used = false;
      Quor::U32 vlan = 0;
      Pelmo::EthAddr mac;
   };
   std::array<Slot, 4> slots;
};

#endif
