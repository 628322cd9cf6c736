// The platform's own types are known as soon as the framework is loaded, and to its end.
#include "platform/Descriptions.h"
#include "quor/Introspection.h"

namespace {

using Quor::typeOf;

template <class... T>
void registerIn( const std::vector<Quor::String> &nameSpace ) {
   const std::array<const Quor::Type *, sizeof...( T )> types{ typeOf<T>()... };
   Quor::registerTypes( nameSpace, types );
}

const bool isRegistered = [] {
   registerIn<bool, Quor::U32>( {} );
   registerIn<Quor::String, Quor::Name>( { "Quor" } );
   registerIn<Bridging::VlanId>( { "Bridging" } );
   registerIn<Pelmo::EthAddr, Pelmo::IntfId>( { "Pelmo" } );
   registerIn<Routing::Fhrp::VirtualRouterMac, Routing::Fhrp::VirtualRouterMacStatus>(
         { "Routing", "Fhrp" } );
   registerIn<Routing::Fhrp::Hardware::Status>( { "Routing", "Fhrp", "Hardware" } );
   registerIn<IntfVlanIdSet::SviVlanSet, IntfVlanIdSet::Table>( { "IntfVlanIdSet" } );
   registerIn<Orlo::OrloBaseHelper>( { "Orlo" } );
   return true;
}();

} // namespace
