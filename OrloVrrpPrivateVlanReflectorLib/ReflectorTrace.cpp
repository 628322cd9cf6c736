#include "OrloVrrpPrivateVlanReflectorLib/ReflectorTrace.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

const Quor::TraceHandle &ReflectorTrace::_defaultTraceHandle() {
   static const Quor::TraceHandle facility( "OrloVrrpPrivateVlanReflectorLib", false );
   return facility;
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
