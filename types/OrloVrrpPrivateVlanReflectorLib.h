// The types of the module OrloVrrpPrivateVlanReflectorLib, attribute by attribute.
#ifndef TYPES_ORLOVRRPPRIVATEVLANREFLECTORLIB_H
#define TYPES_ORLOVRRPPRIVATEVLANREFLECTORLIB_H

#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "OrloVrrpPrivateVlanReflectorLib/VlanIntfSm.h"
#include "platform/Descriptions.h"
#include "quor/Describe.h"
#include "types/VlanAndMac.h"

namespace Quor {

template <>
struct Describe<Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable> {
   using T = Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
   static constexpr auto attrs = attributes<T::kVirtualRouterMac>(
         keyed<&T::virtualRouterMacs, &T::virtualRouterMacIs, &T::virtualRouterMacDel>(
               "virtualRouterMac" ) );
   static constexpr Type type =
         entity<T, &make<T>>( "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable", attrs );
   static_assert( type.find( "virtualRouterMac" )->id == 130 );
};

template <>
struct Describe<Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf> {
   using T = Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf;
   static constexpr auto attrs =
         attributes<T::kVlanIntf>( parameter( value<&T::vlanIntf>( "vlanIntf" ) ),
                                   keyed<&T::ethAddrs, &T::ethAddrIs, &T::ethAddrDel>( "ethAddr" ),
                                   value<&T::fwkKey>( "fwkKey" ) );
   static constexpr Type type = entity<T, &make<T, const Pelmo::IntfId &>>(
         "Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf", attrs );
   static_assert( type.find( "vlanIntf" )->id == 130 );
   static_assert( type.find( "ethAddr" )->id == 131 && T::kEthAddr == 131 );
};

template <>
struct Describe<Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm> {
   using T = Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm;
   static constexpr auto attrs = attributes<kFirstEntityAttribute>(
         parameter( pointer<&T::libSm>( "libSm" ) ),
         parameter( pointer<&T::sviVlanSet, &T::sviVlanSetIs>( "sviVlanSet" ) ),
         parameter( pointer<&T::dmacList, &T::dmacListIs>( "dmacList" ) ),
         value<&T::intf>( "intf" ), value<&T::initialized, &T::initializedIs>( "initialized" ),
         function<&T::handleVlanId>( "handleVlanId", "vlanId" ),
         function<&T::handleDmac>( "handleDmac", "dmac" ),
         function<&T::handleInitialized>( "handleInitialized" ),
         function<&T::doCleanup>( "doCleanup" ), value<&T::fwkKey>( "fwkKey" ),
         value<&T::quorFwkActivity>( "quorFwkActivity" ),
         function<&T::hasNotificationActiveIs>( "hasNotificationActiveIs", "on" ),
         function<&T::quorDoZombieReactors>( "quorDoZombieReactors", "on" ) );
   static constexpr Type type = entity<T>( "Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm", attrs );
};

template <>
struct Describe<Orlo::VrrpPrivateVlanReflectorLib::LibSm> {
   using T = Orlo::VrrpPrivateVlanReflectorLib::LibSm;
   static constexpr auto attrs = attributes<kFirstEntityAttribute>(
         parameter( pointer<&T::virtualRouterMacStatusIn>( "virtualRouterMacStatusIn" ) ),
         parameter( pointer<&T::intfVlanIdSetTable>( "intfVlanIdSetTable" ) ),
         parameter( pointer<&T::virtualRouterMacTableOut>( "virtualRouterMacTableOut" ) ),
         owned<&T::vlanIntfSms, &T::vlanIntfSmDel>( "vlanIntfSm" ),
         owned<&T::dmacsForIntfs, &T::dmacsForIntfDel>( "dmacsForIntf" ),
         value<&T::disableCleanupOnRestart, &T::disableCleanupOnRestartIs>(
               "disableCleanupOnRestart" ),
         value<&T::initialized, &T::initializedIs>( "initialized" ),
         function<&T::handleVirtualRouterMac>( "handleVirtualRouterMac", "vrMac" ),
         function<&T::handleDmacsForIntf>( "handleDmacsForIntf", "intf" ),
         function<&T::handleInitialized>( "handleInitialized" ),
         value<&T::quorFwkActivity>( "quorFwkActivity" ),
         function<&T::hasNotificationActiveIs>( "hasNotificationActiveIs", "on" ),
         function<&T::quorDoZombieReactors>( "quorDoZombieReactors", "on" ) );
   static constexpr Type type = entity<T, &Orlo::VrrpPrivateVlanReflectorLib::LibSmIs>(
         "Orlo::VrrpPrivateVlanReflectorLib::LibSm", attrs );
   static_assert( type.find( "vlanIntfSm" )->id == 133 );
};

} // namespace Quor

#endif
