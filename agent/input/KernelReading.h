// What the kernel shows at one moment: for whoever does not stay to listen.
#ifndef ORLOAGENT_INPUT_KERNELREADING_H
#define ORLOAGENT_INPUT_KERNELREADING_H

#include "agent/EventLoop.h"
#include "agent/input/Devices.h"

namespace OrloAgent {

/// Reads all links and addresses, and gives what the rule says about each device; the SVIs are
/// those of Devices. Runs `loop`, which nobody else has use for meanwhile. Throws
/// std::runtime_error when the kernel has not told everything when `limit` is over, and
/// std::system_error when it cannot be asked.
std::vector<Verdict> readKernel( EventLoop &loop, Kernel &kernel,
                                 const std::set<Pelmo::IntfId> &svis,
                                 std::chrono::milliseconds limit );

} // namespace OrloAgent

#endif
