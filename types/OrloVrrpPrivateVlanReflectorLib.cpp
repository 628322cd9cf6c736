#include "types/OrloVrrpPrivateVlanReflectorLib.h"

#include "quor/Introspection.h"
#include "types/Modules.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

const Quor::Type *VlanAndMac::_fwkType() noexcept {
   return Quor::typeOf<VlanAndMac>();
}

const Quor::Type *VirtualRouterMacTable::_fwkType() noexcept {
   return Quor::typeOf<VirtualRouterMacTable>();
}

const Quor::Type *EthAddrsForIntf::_fwkType() noexcept {
   return Quor::typeOf<EthAddrsForIntf>();
}

const Quor::Type *VlanIntfSm::_fwkType() noexcept {
   return Quor::typeOf<VlanIntfSm>();
}

const Quor::Type *LibSm::_fwkType() noexcept {
   return Quor::typeOf<LibSm>();
}

std::span<const Quor::Type *const> orloVrrpPrivateVlanReflectorLibTypes() noexcept {
   static constexpr std::array<const Quor::Type *, 5> types{
         &Quor::Describe<VlanAndMac>::type, &Quor::Describe<VirtualRouterMacTable>::type,
         &Quor::Describe<EthAddrsForIntf>::type, &Quor::Describe<VlanIntfSm>::type,
         &Quor::Describe<LibSm>::type };
   return types;
}

void quorInitOrloVrrpPrivateVlanReflectorLib() {
   Quor::registerTypes( { "Orlo", "VrrpPrivateVlanReflectorLib" },
                        orloVrrpPrivateVlanReflectorLibTypes() );
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
