// What orlo-agent does on its command line and then ends, beside running.
#ifndef ORLOAGENT_MAIN_VISIT_H
#define ORLOAGENT_MAIN_VISIT_H

#include "agent/Configuration.h"

namespace OrloAgent::Visit {

/// Compares what is wanted with what the hardware holds, and prints it: the agent on the
/// configured control socket does it when there is one; otherwise the kernel is read once, and the
/// hardware is looked at. Changes nothing. Gives the exit status: 0 no difference, 1 differences, 3
/// an agent is there and does not answer, 4 there was no audit, and why has been said.
int audit( const Configuration &configuration );

/// Removes what is ours from the hardware, which no agent may have. Gives the exit status: 0
/// nothing is left, 1 the hardware keeps something. Throws std::exception when it cannot be done.
int flush( const Configuration &configuration );

} // namespace OrloAgent::Visit

#endif
