// How often the program has asked for memory, how much of it is in use, and when it gets none.
#ifndef TESTS_UNIT_QUOR_ALLOCATIONCOUNT_H
#define TESTS_UNIT_QUOR_ALLOCATIONCOUNT_H

#include <cstddef>

namespace Quor {

/// Calls of operator new by any thread since the start.
std::size_t allocations() noexcept;
/// What operator new has given and nobody has given back; with what malloc adds to each piece.
std::size_t allocatedBytes() noexcept;

/// The so many-th call from now on is refused, and no other; 0: none. One thread.
void refusedAllocationIs( std::size_t number ) noexcept;
/// A call has been refused since refusedAllocationIs().
bool isAllocationRefused() noexcept;

} // namespace Quor

#endif
