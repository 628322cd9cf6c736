#include "OrloVrrpPrivateVlanReflectorLib/ReflectorTrace.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

const Quor::TraceHandle &ReflectorTrace::make() {
   static const Quor::TraceHandle facility( "OrloVrrpPrivateVlanReflectorLib", false );
   return facility;
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
