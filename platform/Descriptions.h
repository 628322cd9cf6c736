// The platform's values and entities, attribute by attribute.
#ifndef PLATFORM_DESCRIPTIONS_H
#define PLATFORM_DESCRIPTIONS_H

#include "platform/HardwareStatus.h"
#include "platform/IntfVlanIdSetTable.h"
#include "platform/OrloBaseHelper.h"
#include "platform/VirtualRouterMacStatus.h"
#include "quor/Describe.h"

namespace Quor {

template <>
struct Describe<Bridging::VlanId> {
   static constexpr Type type = plainValue<Bridging::VlanId>( "Bridging::VlanId" );
};

template <>
struct Describe<Pelmo::EthAddr> {
   static constexpr Type type = plainValue<Pelmo::EthAddr>( "Pelmo::EthAddr" );
};

template <>
struct Describe<Pelmo::IntfId> {
   static constexpr Type type = plainValue<Pelmo::IntfId>( "Pelmo::IntfId" );
};

template <>
struct Describe<Routing::Fhrp::VirtualRouterMac> {
   using T = Routing::Fhrp::VirtualRouterMac;
   static constexpr auto attrs =
         attributes<kFirstValueAttribute>( parameter( value<&T::intf, &T::intfIs>( "intf" ) ),
                                           parameter( value<&T::mac, &T::macIs>( "mac" ) ) );
   static constexpr Type type = record<T>( "Routing::Fhrp::VirtualRouterMac", attrs );
};

template <>
struct Describe<Routing::Fhrp::VirtualRouterMacStatus> {
   using T = Routing::Fhrp::VirtualRouterMacStatus;
   static constexpr auto attrs = attributes<T::kVrrpVirtualMac>(
         keyed<&T::vrrpVirtualMacs, &T::vrrpVirtualMacIs, &T::vrrpVirtualMacDel>(
               "vrrpVirtualMac" ) );
   static constexpr Type type =
         entity<T, &make<T>>( "Routing::Fhrp::VirtualRouterMacStatus", attrs );
};

template <>
struct Describe<Routing::Fhrp::Hardware::Status> {
   using T = Routing::Fhrp::Hardware::Status;
   static constexpr auto attrs = attributes<T::kVirtualRouterCount>(
         value<&T::virtualRouterCount, &T::virtualRouterCountIs>( "virtualRouterCount" ) );
   static constexpr Type type = entity<T, &make<T>>( "Routing::Fhrp::Hardware::Status", attrs );
};

template <>
struct Describe<IntfVlanIdSet::SviVlanSet> {
   using T = IntfVlanIdSet::SviVlanSet;
   static constexpr auto attrs =
         attributes<T::kVlanIntf>( parameter( value<&T::vlanIntf>( "vlanIntf" ) ),
                                   keyed<&T::vlanIds, &T::vlanIdIs, &T::vlanIdDel>( "vlanId" ) );
   static constexpr Type type =
         entity<T, &make<T, const Pelmo::IntfId &>>( "IntfVlanIdSet::SviVlanSet", attrs );
};

template <>
struct Describe<IntfVlanIdSet::Table> {
   using T = IntfVlanIdSet::Table;
   static constexpr auto attrs =
         attributes<T::kSviVlanSet>( owned<&T::sviVlanSets, &T::sviVlanSetDel>( "sviVlanSet" ) );
   static constexpr Type type = entity<T, &make<T>>( "IntfVlanIdSet::Table", attrs );
};

template <>
struct Describe<Orlo::OrloBaseHelper> {
   using T = Orlo::OrloBaseHelper;
   static constexpr auto attrs = attributes<T::kName>( value<&T::name>( "name" ) );
   static constexpr Type type = entity<T>( "Orlo::OrloBaseHelper", attrs );
};

} // namespace Quor

#endif
