#include "types/Plugin.h"

extern "C" constinit const Orlo::Plugin orloVrrpPlugin{
      .abi = Orlo::Plugin::kAbi,
      .version = ORLO_VERSION,
      .virtualRouterMacTableFactory =
            &Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory,
      .libSmFactory = &Orlo::VrrpPrivateVlanReflectorLib::libSmFactory,
      .vrrpSmIs = &Orlo::VrrpSmIs };
