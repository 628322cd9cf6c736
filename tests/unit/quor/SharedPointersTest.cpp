// Counted objects that several threads share, when counts are atomic. What the threads write and
// the destructor reads has no other order than that of the counts: a thread sanitizer sees it when
// they give none.
#include "quor/PtrInterface.h"
#include "tests/unit/quor/AllocationCount.h"
#include "tests/unit/quor/HashMapKeys.h"
#include "tests/unit/quor/ThreadSafePointers.h"

#include <gtest/gtest.h>

#include <array>
#include <latch>
#include <thread>

namespace Quor {
namespace {

constexpr std::size_t kThreads = 4;

/// Each thread writes its own number; the end adds them up.
class Notebook : public PtrInterface {
 public:
   explicit Notebook( U32 &sum ) : sum_( sum ) {}
   ~Notebook() override {
      for( const U32 number : numbers ) {
         sum_ += number;
      }
   }
   std::array<U32, kThreads> numbers{};

 private:
   U32 &sum_;
};

/// Runs `work( i )` on each thread, all at once.
template <class Work>
void together( const Work &work ) {
   std::latch start( kThreads );
   std::vector<std::thread> threads;
   for( std::size_t i = 0; i < kThreads; ++i ) {
      threads.emplace_back( [&start, &work, i] {
         start.arrive_and_wait();
         work( i );
      } );
   }
   for( std::thread &thread : threads ) {
      thread.join();
   }
}

TEST( SharedPointers, AreCopiedAndReleasedByEveryThread ) {
   const ThreadSafePointers safe;
   U32 sum = 0;
   Ptr<Notebook> notebook = make<Notebook>( sum );
   together( [&notebook]( std::size_t i ) {
      for( U32 round = 0; round < 5000; ++round ) {
         const Ptr<Notebook> copy = notebook;
         const Ptr<const Notebook> again = ptrTo( *copy );
         ++copy->numbers.at( i );
         ASSERT_EQ( again.get(), copy.get() );
      }
   } );
   EXPECT_EQ( sum, 0u ) << "it is still held";
   notebook = nullptr;
   EXPECT_EQ( sum, 5000u * kThreads );
}

TEST( SharedPointers, TheLastReleaseSeesWhatEveryThreadHasWritten ) {
   const ThreadSafePointers safe;
   for( int round = 0; round < 200; ++round ) {
      U32 sum = 0;
      std::array<Ptr<Notebook>, kThreads> held;
      held.fill( make<Notebook>( sum ) );
      together( [&held]( std::size_t i ) {
         held.at( i )->numbers.at( i ) = 1;
         held.at( i ) = nullptr;
      } );
      ASSERT_EQ( sum, kThreads );
   }
}

TEST( SharedPointers, AreHandedOnFromThreadToThread ) {
   const ThreadSafePointers safe;
   U32 sum = 0;
   Ptr<Notebook> notebook = make<Notebook>( sum );
   for( std::size_t i = 0; i < kThreads; ++i ) {
      std::thread( [&notebook, i] {
         const Ptr<Notebook> taken = std::move( notebook );
         taken->numbers.at( i ) = 10;
         notebook = taken;
      } ).join();
   }
   std::thread( [taken = std::move( notebook )]() mutable { taken = nullptr; } ).join();
   EXPECT_EQ( sum, 10 * kThreads );
}

TEST( SharedPointers, APlaceThatWasPreparedIsTakenWithoutMemory ) {
   const ThreadSafePointers safe;
   const Ptr<Shelf> shelf = make<Shelf>();
   for( U32 number = 0; number < 20; ++number ) {
      shelf->map.prepare();
      const std::size_t before = allocations();
      shelf->map.set( { number << 20, number }, number );
      ASSERT_EQ( allocations(), before );
   }
}

TEST( SharedPointers, EntriesAreReadAndReleasedByEveryThreadAfterTheirMapHasGone ) {
   const ThreadSafePointers safe;
   for( int round = 0; round < 50; ++round ) {
      Ptr<Shelf> shelf = make<Shelf>();
      std::array<std::vector<Ptr<Shelf::Map::Entry>>, kThreads> held;
      for( U32 number = 0; number < 40; ++number ) {
         const Ptr<Shelf::Map::Entry> entry = shelf->map.set( { number << 20, number }, number );
         for( auto &entries : held ) {
            entries.push_back( entry );
         }
      }
      shelf = nullptr;
      together( [&held]( std::size_t i ) {
         U32 number = 0;
         for( const auto &entry : held.at( i ) ) {
            EXPECT_EQ( entry->value(), number++ );
            EXPECT_FALSE( entry->isMember() );
         }
         held.at( i ).clear();
      } );
   }
}

} // namespace
} // namespace Quor
