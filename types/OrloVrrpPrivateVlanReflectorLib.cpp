#include "types/OrloVrrpPrivateVlanReflectorLib.h"

#include "quor/Introspection.h"
#include "types/Modules.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

namespace {

constexpr char kTable[] = "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable";
constexpr char kMacs[] = "Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf";
constexpr char kVlanIntfSm[] = "Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm";
constexpr char kLibSm[] = "Orlo::VrrpPrivateVlanReflectorLib::LibSm";

constinit Orlo::Descriptor descriptors[]{
      { kTable, "virtualRouterMac" },
      { kMacs, "vlanIntf" },
      { kMacs, "ethAddr" },
      { kMacs, "fwkKey" },
      { kVlanIntfSm, "libSm" },
      { kVlanIntfSm, "sviVlanSet" },
      { kVlanIntfSm, "dmacList" },
      { kVlanIntfSm, "intf" },
      { kVlanIntfSm, "initialized" },
      { kVlanIntfSm, "fwkKey" },
      { kVlanIntfSm, "handleVlanId" },
      { kVlanIntfSm, "handleDmac" },
      { kVlanIntfSm, "handleInitialized" },
      { kVlanIntfSm, "doCleanup" },
      { kVlanIntfSm, "quorFwkActivity" },
      { kVlanIntfSm, "hasNotificationActiveIs" },
      { kVlanIntfSm, "quorDoZombieReactors" },
      { kLibSm, "virtualRouterMacStatusIn" },
      { kLibSm, "intfVlanIdSetTable" },
      { kLibSm, "virtualRouterMacTableOut" },
      { kLibSm, "vlanIntfSm" },
      { kLibSm, "dmacsForIntf" },
      { kLibSm, "disableCleanupOnRestart" },
      { kLibSm, "initialized" },
      { kLibSm, "handleVirtualRouterMac" },
      { kLibSm, "handleDmacsForIntf" },
      { kLibSm, "handleInitialized" },
      { kLibSm, "quorFwkActivity" },
      { kLibSm, "hasNotificationActiveIs" },
      { kLibSm, "quorDoZombieReactors" },
};

} // namespace

const Quor::Type *VlanAndMac::_fwkType() noexcept {
   return Quor::typeOf<VlanAndMac>();
}

const Quor::Type *VirtualRouterMacTable::_fwkType() noexcept {
   return Quor::typeOf<VirtualRouterMacTable>();
}

const Quor::Type *VirtualRouterMacTable::fwkType() const {
   return _fwkType();
}

const Quor::Type *EthAddrsForIntf::_fwkType() noexcept {
   return Quor::typeOf<EthAddrsForIntf>();
}

const Quor::Type *EthAddrsForIntf::fwkType() const {
   return _fwkType();
}

const Quor::Type *VlanIntfSm::_fwkType() noexcept {
   return Quor::typeOf<VlanIntfSm>();
}

const Quor::Type *VlanIntfSm::fwkType() const {
   return _fwkType();
}

const Quor::Type *LibSm::_fwkType() noexcept {
   return Quor::typeOf<LibSm>();
}

const Quor::Type *LibSm::fwkType() const {
   return _fwkType();
}

std::span<const Quor::Type *const> orloVrrpPrivateVlanReflectorLibTypes() noexcept {
   static constexpr std::array<const Quor::Type *, 5> types{
         &Quor::Describe<VlanAndMac>::type, &Quor::Describe<VirtualRouterMacTable>::type,
         &Quor::Describe<EthAddrsForIntf>::type, &Quor::Describe<VlanIntfSm>::type,
         &Quor::Describe<LibSm>::type };
   return types;
}

std::span<const Orlo::Descriptor> orloVrrpPrivateVlanReflectorLibDescriptors() noexcept {
   return descriptors;
}

void lookUpOrloVrrpPrivateVlanReflectorLib() {
   Orlo::lookUp( descriptors );
}

void quorInitOrloVrrpPrivateVlanReflectorLib() {
   Quor::registerTypes( { "Orlo", "VrrpPrivateVlanReflectorLib" },
                        orloVrrpPrivateVlanReflectorLibTypes() );
   lookUpOrloVrrpPrivateVlanReflectorLib();
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
