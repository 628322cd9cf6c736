// The key of the system, attribute by attribute.
#ifndef TYPES_VLANANDMAC_H
#define TYPES_VLANANDMAC_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"
#include "platform/Descriptions.h"
#include "quor/Describe.h"

namespace Quor {

template <>
struct Describe<Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac> {
   using T = Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;
   static constexpr auto attrs = attributes<kFirstValueAttribute>(
         parameter( value<&T::vlanId, &T::vlanIdIs>( "vlanId" ) ),
         parameter( value<&T::mac, &T::macIs>( "mac" ) ), function<&T::hash>( "hash" ) );
   static constexpr Type type = record<T>( "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac", attrs );
   static_assert( type.find( "vlanId" )->id == 2 && type.find( "mac" )->id == 3 &&
                  type.find( "hash" )->id == 4 );
};

} // namespace Quor

#endif
