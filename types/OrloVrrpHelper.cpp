#include "types/OrloVrrpHelper.h"

#include "quor/Introspection.h"
#include "types/Modules.h"

namespace OrloHelper {

namespace {

constexpr char kSnapshot[] = "OrloHelper::CurrentVrrpStateForInit";
constexpr char kHelper[] = "OrloHelper::VrrpSmHelper";

constinit Orlo::Descriptor descriptors[]{
      { kSnapshot, "virtualRouterIndex" }, { kHelper, "syncCurrentStateOnInit" },
      { kHelper, "addVirtualRouterMac" },  { kHelper, "deleteVirtualRouterMac" },
      { kHelper, "syncVrrpStateOnInit" },  { kHelper, "initializationComplete" },
};

} // namespace

const Quor::Type *CurrentVrrpStateForInit::_fwkType() noexcept {
   return Quor::typeOf<CurrentVrrpStateForInit>();
}

const Quor::Type *CurrentVrrpStateForInit::fwkType() const {
   return _fwkType();
}

const Quor::Type *VrrpSmHelper::_fwkType() noexcept {
   return Quor::typeOf<VrrpSmHelper>();
}

const Quor::Type *VrrpSmHelper::fwkType() const {
   return _fwkType();
}

std::span<const Quor::Type *const> orloVrrpHelperTypes() noexcept {
   static constexpr std::array<const Quor::Type *, 2> types{
         &Quor::Describe<CurrentVrrpStateForInit>::type, &Quor::Describe<VrrpSmHelper>::type };
   return types;
}

std::span<const Orlo::Descriptor> orloVrrpHelperDescriptors() noexcept {
   return descriptors;
}

void lookUpOrloVrrpHelper() {
   Orlo::lookUp( descriptors );
}

void quorInitOrloVrrpHelper() {
   Quor::registerTypes( { "OrloHelper" }, orloVrrpHelperTypes() );
   lookUpOrloVrrpHelper();
}

} // namespace OrloHelper
