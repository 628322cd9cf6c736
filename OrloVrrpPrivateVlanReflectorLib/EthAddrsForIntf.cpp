#include "OrloVrrpPrivateVlanReflectorLib/EthAddrsForIntf.h"

#include "types/OrloVrrpPrivateVlanReflectorLib.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

const Quor::Type *EthAddrsForIntf::_fwkType() noexcept {
   return &Quor::Describe<EthAddrsForIntf>::type;
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
