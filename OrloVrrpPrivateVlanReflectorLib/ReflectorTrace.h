// Traces of the reflector.
#ifndef ORLOVRRPPRIVATEVLANREFLECTORLIB_REFLECTORTRACE_H
#define ORLOVRRPPRIVATEVLANREFLECTORLIB_REFLECTORTRACE_H

#include "quor/Trace.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

inline constexpr char kReflectorSource[] = "OrloVrrpPrivateVlanReflectorLib";

/// A trace of the facility "OrloVrrpPrivateVlanReflectorLib", with the line it stands on.
class ReflectorTrace : public Quor::Trace {
 public:
   ReflectorTrace( Quor::U32 level, const char *function, Quor::U32 line = __builtin_LINE() )
         : Quor::Trace( facility_, level, kReflectorSource, line, function ) {}

 private:
   static const Quor::TraceHandle &_defaultTraceHandle();

   static constinit inline Quor::TraceFacility facility_{ _defaultTraceHandle };
};

} // namespace Orlo::VrrpPrivateVlanReflectorLib

#endif
