#include "types/OrloVrrpHelper.h"

#include "quor/Introspection.h"
#include "types/Modules.h"

namespace OrloHelper {

const Quor::Type *CurrentVrrpStateForInit::_fwkType() noexcept {
   return Quor::typeOf<CurrentVrrpStateForInit>();
}

const Quor::Type *VrrpSmHelper::_fwkType() noexcept {
   return Quor::typeOf<VrrpSmHelper>();
}

std::span<const Quor::Type *const> orloVrrpHelperTypes() noexcept {
   static constexpr std::array<const Quor::Type *, 2> types{
         &Quor::Describe<CurrentVrrpStateForInit>::type, &Quor::Describe<VrrpSmHelper>::type };
   return types;
}

void quorInitOrloVrrpHelper() {
   Quor::registerTypes( { "OrloHelper" }, orloVrrpHelperTypes() );
}

} // namespace OrloHelper
