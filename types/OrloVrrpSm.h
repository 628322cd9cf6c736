// The types of the module OrloVrrpSm, attribute by attribute.
#ifndef TYPES_ORLOVRRPSM_H
#define TYPES_ORLOVRRPSM_H

#include "OrloVrrpSm/VrrpSm.h"
#include "quor/Type.h"

namespace Quor {

template <>
struct Describe<Orlo::VrrpSm> {
   using T = Orlo::VrrpSm;
   using Pair = T::VlanAndMac;
   static constexpr auto attrs = attributes<T::kVrrpMacStatus>(
         pointer<&T::vrrpMacStatus, &T::vrrpMacStatusIs>( "vrrpMacStatus" ),
         pointer<&T::vrrpHwStatus>( "vrrpHwStatus" ), pointer<&T::vrrpHelper>( "vrrpHelper" ),
         queue<&T::freeVirtualRouterIndexes, &T::freeVirtualRouterIndexIs,
               &T::freeVirtualRouterIndexDel>( "freeVirtualRouterIndex" ),
         keyed<&T::virtualRouterIndexes, &T::virtualRouterIndexIs, &T::virtualRouterIndexDel>(
               "virtualRouterIndex" ),
         queue<&T::macsNeedingVirtualRouterIndexes, &T::macsNeedingVirtualRouterIndexIs,
               &T::macsNeedingVirtualRouterIndexDel>( "macsNeedingVirtualRouterIndex" ),
         pointer<&T::currentVrrpStateForInit>( "currentVrrpStateForInit" ),
         value<&T::initialized, &T::initializedIs>( "initialized" ),
         value<&T::freeVirtualRouterIndexMetadata, &T::freeVirtualRouterIndexMetadataIs>(
               "freeVirtualRouterIndexMetadata" ),
         value<&T::macsNeedingVirtualRouterIndexMetadata,
               &T::macsNeedingVirtualRouterIndexMetadataIs>(
               "macsNeedingVirtualRouterIndexMetadata" ),
         function<taking<>( &T::handleVrrpMac ), taking<const Pair &>( &T::handleVrrpMac )>(
               "handleVrrpMac", "vrrpMac" ),
         function<&T::handleInitialized>( "handleInitialized" ),
         function<&T::doAddVirtualRouterMac>( "doAddVirtualRouterMac", "vr", "index" ),
         function<&T::doDeleteVirtualRouterMac>( "doDeleteVirtualRouterMac", "vr", "index" ),
         function<&T::doCleanup>( "doCleanup" ),
         function<&T::hasNotificationActiveIs>( "hasNotificationActiveIs", "on" ),
         function<&T::quorDoZombieReactors>( "quorDoZombieReactors", "on" ) );
   static constexpr Type type = describe( "Orlo::VrrpSm", attrs );
   static_assert( type.find( "freeVirtualRouterIndex" )->id == T::kFreeVirtualRouterIndex );
   static_assert( type.find( "virtualRouterIndex" )->id == T::kVirtualRouterIndex );
   static_assert( type.find( "macsNeedingVirtualRouterIndex" )->id ==
                  T::kMacsNeedingVirtualRouterIndex );
   static_assert( type.find( "initialized" )->id == T::kInitialized );
};

} // namespace Quor

#endif
