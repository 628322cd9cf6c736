// Where the traces and assertions of the module stand: the line numbers are part of the log format
// and stay when the code moves.
#ifndef ORLOVRRPSM_SITES_H
#define ORLOVRRPSM_SITES_H

#include "quor/Assert.h"
#include "quor/Trace.h"

namespace Orlo {

inline constexpr char kVrrpSmSource[] = "OrloVrrpSm";

/// Full signatures, as traces and assertions show them.
namespace Signature {
inline constexpr char kHandleInitialized[] = "void Orlo::VrrpSm::handleInitialized()";
inline constexpr char kDoCleanup[] = "void Orlo::VrrpSm::doCleanup()";
inline constexpr char kHandleAll[] = "void Orlo::VrrpSm::handleVrrpMac()";
inline constexpr char kHandleKey[] =
      "void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)";
inline constexpr char kDoAdd[] = "void Orlo::VrrpSm::doAddVirtualRouterMac("
                                 "const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)";
inline constexpr char kDoDelete[] = "void Orlo::VrrpSm::doDeleteVirtualRouterMac("
                                    "const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)";
} // namespace Signature

struct TraceSite {
   Quor::U32 level;
   Quor::U32 line;
   const char *function;
};

namespace Traced {
inline constexpr TraceSite kHandleInitialized{ 2, 33, "handleInitialized" };
inline constexpr TraceSite kPreparing{ 3, 39, "handleInitialized" };
inline constexpr TraceSite kSyncing{ 3, 49, "handleInitialized" };
inline constexpr TraceSite kAdopting{ 3, 54, "handleInitialized" };
inline constexpr TraceSite kDoCleanup{ 2, 75, "doCleanup" };
inline constexpr TraceSite kHandleVrrpMac{ 4, 108, "handleVrrpMac" };
inline constexpr TraceSite kAdding{ 4, 122, "handleVrrpMac" };
inline constexpr TraceSite kWaiting{ 4, 127, "handleVrrpMac" };
inline constexpr TraceSite kDeleting{ 4, 132, "handleVrrpMac" };
inline constexpr TraceSite kNotWaiting{ 4, 148, "handleVrrpMac" };
inline constexpr TraceSite kDoAdd{ 5, 160, "doAddVirtualRouterMac" };
inline constexpr TraceSite kDoAddInvalid{ 4, 164, "doAddVirtualRouterMac" };
inline constexpr TraceSite kDoDelete{ 5, 178, "doDeleteVirtualRouterMac" };
inline constexpr TraceSite kDoDeleteInvalid{ 4, 182, "doDeleteVirtualRouterMac" };
} // namespace Traced

namespace Asserted {
inline constexpr Quor::AssertSite kHelperAtStart{ "vrrpHelper()", 46, kVrrpSmSource,
                                                  Signature::kHandleInitialized };
inline constexpr Quor::AssertSite kInitializedForAll{ "initialized()", 96, kVrrpSmSource,
                                                      Signature::kHandleAll };
inline constexpr Quor::AssertSite kInitializedForKey{ "initialized()", 107, kVrrpSmSource,
                                                      Signature::kHandleKey };
inline constexpr Quor::AssertSite kNewPairHasNoIndex{
      "!virtualRouterIndexIteratorConst().isMemberOf( vrMac )", 124, kVrrpSmSource,
      Signature::kHandleKey };
inline constexpr Quor::AssertSite kWaitingPairHasNoIndex{
      "!virtualRouterIndexIteratorConst().isMemberOf( vrMacNew )", 140, kVrrpSmSource,
      Signature::kHandleKey };
inline constexpr Quor::AssertSite kHelperForAdd{ "vrrpHelper()", 169, kVrrpSmSource,
                                                 Signature::kDoAdd };
inline constexpr Quor::AssertSite kHelperForDelete{ "vrrpHelper()", 187, kVrrpSmSource,
                                                    Signature::kDoDelete };
} // namespace Asserted

/// A trace of the facility "OrloVrrp".
class VrrpTrace : public Quor::Trace {
 public:
   explicit VrrpTrace( const TraceSite &site )
         : Quor::Trace( facility_, site.level, kVrrpSmSource, site.line, site.function ) {}

 private:
   static const Quor::TraceHandle &_defaultTraceHandle();

   static constinit inline Quor::TraceFacility facility_{ _defaultTraceHandle };
};

} // namespace Orlo

#endif
