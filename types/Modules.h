// The three modules of the plug-in, as the registry knows them.
#ifndef TYPES_MODULES_H
#define TYPES_MODULES_H

#include "types/Descriptor.h"

// Of each module: its types in the order of their registration; the descriptors of the attributes
// that its code uses; the function that looks these up (NoSuchTypeException,
// NoSuchAttributeException); and the function that registers the types and looks up, which is
// called once, when the plug-in is loaded. What it throws ends the loading.

namespace OrloHelper {
std::span<const Quor::Type *const> orloVrrpHelperTypes() noexcept;
std::span<const Orlo::Descriptor> orloVrrpHelperDescriptors() noexcept;
void lookUpOrloVrrpHelper();
void quorInitOrloVrrpHelper();
} // namespace OrloHelper

namespace Orlo {
std::span<const Quor::Type *const> orloVrrpSmTypes() noexcept;
std::span<const Descriptor> orloVrrpSmDescriptors() noexcept;
void lookUpOrloVrrpSm();
void quorInitOrloVrrpSm();
} // namespace Orlo

namespace Orlo::VrrpPrivateVlanReflectorLib {
std::span<const Quor::Type *const> orloVrrpPrivateVlanReflectorLibTypes() noexcept;
std::span<const Descriptor> orloVrrpPrivateVlanReflectorLibDescriptors() noexcept;
void lookUpOrloVrrpPrivateVlanReflectorLib();
void quorInitOrloVrrpPrivateVlanReflectorLib();
} // namespace Orlo::VrrpPrivateVlanReflectorLib

#endif
