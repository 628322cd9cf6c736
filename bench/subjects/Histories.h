// What happens to a subject, from its start to its end.
#ifndef ORLOBENCH_SUBJECTS_HISTORIES_H
#define ORLOBENCH_SUBJECTS_HISTORIES_H

#include "bench/subjects/BenchHelper.h"
#include "bench/subjects/Step.h"

#include <string>

namespace OrloBench {

struct History {
   std::string name;
   U32 indexes = 0;
   std::vector<Slot> held;   ///< by the hardware when the programmer starts
   std::vector<Step> before; ///< the start of the programmer
   std::vector<Step> after;
};

/// Everything that is measured, in small, and random ones.
std::vector<History> histories();

} // namespace OrloBench

#endif
