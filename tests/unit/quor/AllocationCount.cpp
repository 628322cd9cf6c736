#include "tests/unit/quor/AllocationCount.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> count{ 0 };
std::atomic<std::size_t> bytes{ 0 };

/// The piece with its size, which stands before it.
std::size_t sizeOf( void *memory ) {
   return memory ? malloc_usable_size( memory ) + sizeof( std::size_t ) : 0;
}

} // namespace

namespace Quor {

std::size_t allocations() noexcept {
   return count;
}

std::size_t allocatedBytes() noexcept {
   return bytes;
}

} // namespace Quor

void *operator new( std::size_t size, const std::nothrow_t & ) noexcept {
   ++count;
   void *const memory = std::malloc( size == 0 ? 1 : size );
   bytes += sizeOf( memory );
   return memory;
}

void *operator new( std::size_t size ) {
   if( void *const memory = operator new( size, std::nothrow ) ) {
      return memory;
   }
   throw std::bad_alloc();
}

void operator delete( void *memory ) noexcept {
   bytes -= sizeOf( memory );
   std::free( memory );
}

void operator delete( void *memory, const std::nothrow_t & ) noexcept {
   bytes -= sizeOf( memory );
   std::free( memory );
}

void operator delete( void *memory, std::size_t ) noexcept {
   bytes -= sizeOf( memory );
   std::free( memory );
}
