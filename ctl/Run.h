// Asks the agent and shows the answer.
#ifndef ORLOCTL_RUN_H
#define ORLOCTL_RUN_H

#include "ctl/CommandLine.h"

namespace OrloCtl {

/// Does what the command line says, on standard output; gives the exit status, or throws Failure.
int run( const CommandLine &line );

} // namespace OrloCtl

#endif
