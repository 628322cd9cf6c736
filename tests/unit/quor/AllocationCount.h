// How often the program has asked for memory, and how much of it is in use.
#ifndef TESTS_UNIT_QUOR_ALLOCATIONCOUNT_H
#define TESTS_UNIT_QUOR_ALLOCATIONCOUNT_H

#include <cstddef>

namespace Quor {

/// Calls of operator new by any thread since the start.
std::size_t allocations() noexcept;
/// What operator new has given and nobody has given back; with what malloc adds to each piece.
std::size_t allocatedBytes() noexcept;

} // namespace Quor

#endif
