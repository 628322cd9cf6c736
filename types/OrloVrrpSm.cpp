#include "types/OrloVrrpSm.h"

#include "quor/Introspection.h"
#include "types/Modules.h"

namespace Orlo {

namespace {

constexpr char kVrrpSm[] = "Orlo::VrrpSm";

constinit Orlo::Descriptor descriptors[]{
      { kVrrpSm, "vrrpMacStatus" },
      { kVrrpSm, "vrrpHwStatus" },
      { kVrrpSm, "vrrpHelper" },
      { kVrrpSm, "freeVirtualRouterIndex" },
      { kVrrpSm, "freeVirtualRouterIndexMetadata" },
      { kVrrpSm, "macsNeedingVirtualRouterIndex" },
      { kVrrpSm, "macsNeedingVirtualRouterIndexMetadata" },
      { kVrrpSm, "virtualRouterIndex" },
      { kVrrpSm, "currentVrrpStateForInit" },
      { kVrrpSm, "initialized" },
      { kVrrpSm, "handleVrrpMac" },
      { kVrrpSm, "handleInitialized" },
      { kVrrpSm, "doAddVirtualRouterMac" },
      { kVrrpSm, "doDeleteVirtualRouterMac" },
      { kVrrpSm, "doCleanup" },
      { kVrrpSm, "hasNotificationActiveIs" },
      { kVrrpSm, "quorFwkActivity" },
      { kVrrpSm, "quorDoZombieReactors" },
};

} // namespace

const Quor::Type *VrrpSm::_fwkType() noexcept {
   return Quor::typeOf<VrrpSm>();
}

const Quor::Type *VrrpSm::fwkType() const {
   return _fwkType();
}

std::span<const Quor::Type *const> orloVrrpSmTypes() noexcept {
   static constexpr std::array<const Quor::Type *, 2> types{ &Quor::Describe<QueueMetadata>::type,
                                                             &Quor::Describe<VrrpSm>::type };
   return types;
}

std::span<const Orlo::Descriptor> orloVrrpSmDescriptors() noexcept {
   return descriptors;
}

void lookUpOrloVrrpSm() {
   Orlo::lookUp( descriptors );
}

void quorInitOrloVrrpSm() {
   Quor::registerTypes( { "Orlo" }, orloVrrpSmTypes() );
   lookUpOrloVrrpSm();
}

} // namespace Orlo
