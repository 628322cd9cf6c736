#include "OrloVrrpPrivateVlanReflectorLib/VirtualRouterMacTable.h"

#include "types/OrloVrrpPrivateVlanReflectorLib.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

Quor::Ptr<VirtualRouterMacTable> virtualRouterMacTableFactory() {
   return Quor::make<VirtualRouterMacTable>();
}

const Quor::Type *VirtualRouterMacTable::_fwkType() noexcept {
   return &Quor::Describe<VirtualRouterMacTable>::type;
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
