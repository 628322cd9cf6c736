#include "tests/unit/quor/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> count{ 0 };

} // namespace

namespace Quor {

std::size_t allocations() noexcept {
   return count;
}

} // namespace Quor

void *operator new( std::size_t size, const std::nothrow_t & ) noexcept {
   ++count;
   return std::malloc( size == 0 ? 1 : size );
}

void *operator new( std::size_t size ) {
   if( void *const memory = operator new( size, std::nothrow ) ) {
      return memory;
   }
   throw std::bad_alloc();
}

void operator delete( void *memory ) noexcept {
   std::free( memory );
}

void operator delete( void *memory, const std::nothrow_t & ) noexcept {
   std::free( memory );
}

void operator delete( void *memory, std::size_t ) noexcept {
   std::free( memory );
}
