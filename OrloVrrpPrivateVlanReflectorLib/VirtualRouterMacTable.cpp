#include "OrloVrrpPrivateVlanReflectorLib/VirtualRouterMacTable.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

Quor::Ptr<VirtualRouterMacTable> virtualRouterMacTableFactory() {
   return Quor::make<VirtualRouterMacTable>();
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
