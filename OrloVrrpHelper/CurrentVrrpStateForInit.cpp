#include "OrloVrrpHelper/CurrentVrrpStateForInit.h"

#include "types/OrloVrrpHelper.h"

namespace OrloHelper {

const Quor::Type *CurrentVrrpStateForInit::_fwkType() noexcept {
   return &Quor::Describe<CurrentVrrpStateForInit>::type;
}

} // namespace OrloHelper
