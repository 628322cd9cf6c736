// A (VLAN, MAC) pair: what is wanted, waits, or is programmed.
#ifndef ORLOAGENT_PAIR_H
#define ORLOAGENT_PAIR_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"

namespace OrloAgent {

using Pair = Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;

/// IEEE 802.1Q: 0 and 4095 are no VLANs.
constexpr Quor::U16 kFirstVlan = 1;
constexpr Quor::U16 kLastVlan = 4094;

} // namespace OrloAgent

#endif
