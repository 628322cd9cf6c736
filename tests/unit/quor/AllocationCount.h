// How often the program has asked for memory.
#ifndef TESTS_UNIT_QUOR_ALLOCATIONCOUNT_H
#define TESTS_UNIT_QUOR_ALLOCATIONCOUNT_H

#include <cstddef>

namespace Quor {

/// Calls of operator new by any thread since the start.
std::size_t allocations() noexcept;

} // namespace Quor

#endif
