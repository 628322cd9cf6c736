#include "tests/unit/quor/AllocationCount.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

// Counted without an order: a thread sanitizer is not to see one that is not there.
std::atomic<std::size_t> count{ 0 };
std::atomic<std::size_t> bytes{ 0 };

std::size_t toBeRefused = 0; // calls until then; 0: never
bool isRefused = false;

bool refuses() noexcept {
   if( toBeRefused == 0 || --toBeRefused != 0 ) {
      return false;
   }
   return isRefused = true;
}

/// The piece with its size, which stands before it.
std::size_t sizeOf( void *memory ) {
   return memory ? malloc_usable_size( memory ) + sizeof( std::size_t ) : 0;
}

void giveBack( void *memory ) noexcept {
   bytes.fetch_sub( sizeOf( memory ), std::memory_order_relaxed );
   std::free( memory );
}

} // namespace

namespace Quor {

std::size_t allocations() noexcept {
   return count;
}

std::size_t allocatedBytes() noexcept {
   return bytes;
}

void refusedAllocationIs( std::size_t number ) noexcept {
   toBeRefused = number;
   isRefused = false;
}

bool isAllocationRefused() noexcept {
   return isRefused;
}

} // namespace Quor

void *operator new( std::size_t size, const std::nothrow_t & ) noexcept {
   count.fetch_add( 1, std::memory_order_relaxed );
   if( refuses() ) {
      return nullptr;
   }
   void *const memory = std::malloc( size == 0 ? 1 : size );
   bytes.fetch_add( sizeOf( memory ), std::memory_order_relaxed );
   return memory;
}

void *operator new( std::size_t size ) {
   if( void *const memory = operator new( size, std::nothrow ) ) {
      return memory;
   }
   throw std::bad_alloc();
}

void operator delete( void *memory ) noexcept {
   giveBack( memory );
}

void operator delete( void *memory, const std::nothrow_t & ) noexcept {
   giveBack( memory );
}

void operator delete( void *memory, std::size_t ) noexcept {
   giveBack( memory );
}
