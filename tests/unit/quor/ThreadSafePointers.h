// Counts that several threads may change, for the length of a test.
#ifndef TESTS_UNIT_QUOR_THREADSAFEPOINTERS_H
#define TESTS_UNIT_QUOR_THREADSAFEPOINTERS_H

#include "quor/RefCount.h"

namespace Quor {

/// Counts are atomic for a scope.
class ThreadSafePointers {
 public:
   ThreadSafePointers() { enableThreadSafePointersIs( true ); }
   ~ThreadSafePointers() { enableThreadSafePointersIs( false ); }
   ThreadSafePointers( const ThreadSafePointers & ) = delete;
   ThreadSafePointers &operator=( const ThreadSafePointers & ) = delete;
};

} // namespace Quor

#endif
