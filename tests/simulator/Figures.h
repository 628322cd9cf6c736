// What has happened in histories, as numbers.
#ifndef TESTS_SIMULATOR_FIGURES_H
#define TESTS_SIMULATOR_FIGURES_H

#include "quor/Types.h"

#include <string>

namespace Simulator {

using Quor::U64;

/// Figures of one or more histories.
struct Figures {
   U64 histories = 0;
   U64 steps = 0;
   U64 happenings = 0; ///< of links and daemons
   U64 datagrams = 0;
   U64 overruns = 0;
   U64 interruptions = 0;
   U64 callbacks = 0;
   U64 requests = 0;
   U64 reloads = 0;
   U64 starts = 0;
   U64 crashes = 0;
   U64 writes = 0;
   U64 refusals = 0;
   U64 checks = 0;
   double years = 0; ///< of simulated time

   Figures &operator+=( const Figures &other );
   std::string text() const;
};

} // namespace Simulator

#endif
