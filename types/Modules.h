// The three modules of the plug-in, as the registry knows them.
#ifndef TYPES_MODULES_H
#define TYPES_MODULES_H

#include "quor/Type.h"

// Of each module: its types in the order of their registration, and the function that registers
// them, which is called once, when the plug-in is loaded.

namespace OrloHelper {
std::span<const Quor::Type *const> orloVrrpHelperTypes() noexcept;
void quorInitOrloVrrpHelper();
} // namespace OrloHelper

namespace Orlo {
std::span<const Quor::Type *const> orloVrrpSmTypes() noexcept;
void quorInitOrloVrrpSm();
} // namespace Orlo

namespace Orlo::VrrpPrivateVlanReflectorLib {
std::span<const Quor::Type *const> orloVrrpPrivateVlanReflectorLibTypes() noexcept;
void quorInitOrloVrrpPrivateVlanReflectorLib();
} // namespace Orlo::VrrpPrivateVlanReflectorLib

#endif
