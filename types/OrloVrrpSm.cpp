#include "types/OrloVrrpSm.h"

#include "quor/Introspection.h"
#include "types/Modules.h"

namespace Orlo {

const Quor::Type *VrrpSm::_fwkType() noexcept {
   return Quor::typeOf<VrrpSm>();
}

std::span<const Quor::Type *const> orloVrrpSmTypes() noexcept {
   static constexpr std::array<const Quor::Type *, 2> types{ &Quor::Describe<QueueMetadata>::type,
                                                             &Quor::Describe<VrrpSm>::type };
   return types;
}

void quorInitOrloVrrpSm() {
   Quor::registerTypes( { "Orlo" }, orloVrrpSmTypes() );
}

} // namespace Orlo
