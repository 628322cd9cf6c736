// The types of the module OrloVrrpSm, attribute by attribute.
#ifndef TYPES_ORLOVRRPSM_H
#define TYPES_ORLOVRRPSM_H

#include "OrloVrrpSm/VrrpSm.h"
#include "types/OrloVrrpHelper.h"
#include "types/OrloVrrpPrivateVlanReflectorLib.h"

namespace Quor {

template <>
struct Describe<Orlo::QueueMetadata> {
   using T = Orlo::QueueMetadata;
   static constexpr Type type = plainValue<T>( "Orlo::QueueMetadata" );
};

template <>
struct Describe<Orlo::VrrpSm> {
   using T = Orlo::VrrpSm;
   using Pair = T::VlanAndMac;
   static constexpr auto attrs = attributes<T::kVrrpMacStatus>(
         parameter( pointer<&T::vrrpMacStatus, &T::vrrpMacStatusIs>( "vrrpMacStatus" ) ),
         parameter( pointer<&T::vrrpHwStatus>( "vrrpHwStatus" ) ),
         parameter( pointer<&T::vrrpHelper>( "vrrpHelper" ) ),
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
         function<&T::doCleanup>( "doCleanup" ), value<&T::quorFwkActivity>( "quorFwkActivity" ),
         function<&T::hasNotificationActiveIs>( "hasNotificationActiveIs", "on" ),
         function<&T::quorDoZombieReactors>( "quorDoZombieReactors", "on" ) );
   static constexpr Type type = entity<T, &Orlo::VrrpSmIs>( "Orlo::VrrpSm", attrs );
   static_assert( type.find( "freeVirtualRouterIndex" )->id == T::kFreeVirtualRouterIndex );
   static_assert( type.find( "virtualRouterIndex" )->id == T::kVirtualRouterIndex );
   static_assert( type.find( "macsNeedingVirtualRouterIndex" )->id ==
                  T::kMacsNeedingVirtualRouterIndex );
   static_assert( type.find( "initialized" )->id == T::kInitialized );
};

} // namespace Quor

#endif
