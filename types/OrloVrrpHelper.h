// The types of the module OrloVrrpHelper, attribute by attribute.
#ifndef TYPES_ORLOVRRPHELPER_H
#define TYPES_ORLOVRRPHELPER_H

#include "OrloVrrpHelper/VrrpSmHelper.h"
#include "platform/Descriptions.h"
#include "quor/Describe.h"
#include "types/VlanAndMac.h"

namespace Quor {

template <>
struct Describe<OrloHelper::CurrentVrrpStateForInit> {
   using T = OrloHelper::CurrentVrrpStateForInit;
   static constexpr auto attrs = attributes<T::kVirtualRouterIndex>(
         keyed<&T::virtualRouterIndexes, &T::virtualRouterIndexIs, &T::virtualRouterIndexDel>(
               "virtualRouterIndex" ) );
   static constexpr Type type = entity<T, &make<T>>( "OrloHelper::CurrentVrrpStateForInit", attrs );
};

template <>
struct Describe<OrloHelper::VrrpSmHelper> {
   using T = OrloHelper::VrrpSmHelper;
   static constexpr auto attrs = attributes<T::kSyncCurrentStateOnInit>(
         value<&T::syncCurrentStateOnInit, &T::syncCurrentStateOnInitIs>(
               "syncCurrentStateOnInit" ),
         function<&T::addVirtualRouterMac>( "addVirtualRouterMac", "macAddr", "vlanId", "index" ),
         function<&T::deleteVirtualRouterMac>( "deleteVirtualRouterMac", "macAddr", "vlanId",
                                               "index" ),
         function<&T::syncVrrpStateOnInit>( "syncVrrpStateOnInit", "currentStatePtr" ),
         function<&T::initializationComplete>( "initializationComplete" ) );
   static constexpr Type type =
         entityOn<T, Orlo::OrloBaseHelper>( "OrloHelper::VrrpSmHelper", attrs );
   static_assert( type.find( "syncCurrentStateOnInit" )->id == 386 );
   static_assert( type.find( "initializationComplete" )->id == T::kInitializationComplete );
};

} // namespace Quor

#endif
