// What waiting costs: bytes for a pair, and how often the line asks for memory.
#include "OrloVrrpSm/WaitingLine.h"
#include "tests/unit/library/Values.h"
#include "tests/unit/quor/AllocationCount.h"

#include <gtest/gtest.h>

namespace LibraryTests {
namespace {

using Quor::allocatedBytes;
using Quor::allocations;

static_assert( sizeof( Orlo::WaitingLine::Entry ) == 24 );

class Line : public Quor::PtrInterface {
 public:
   void enq( U32 from, U32 to ) {
      for( U32 i = from; i < to; ++i ) {
         line.addLast( numbered( i ) );
      }
   }
   /// How many of the pairs were found and removed.
   U32 leave( U32 from, U32 to ) {
      U32 left = 0;
      for( U32 i = from; i < to; ++i ) {
         if( const auto entry = line.oldest( numbered( i ), naturalHash( numbered( i ) ) ) ) {
            left += line.take( entry )->value() == numbered( i );
         }
      }
      return left;
   }
   /// All VLANs of one MAC, then all of the next one.
   static VlanAndMac numbered( U32 i ) {
      return pair( static_cast<U16>( 1 + i % 4094 ), static_cast<U16>( 1 + i / 4094 ) );
   }

   Orlo::WaitingLine line{ this };
};

class WaitingLineOfLength : public testing::TestWithParam<U32> {};

TEST_P( WaitingLineOfLength, TakesAtMost36BytesForAPair ) {
   const Ptr<Line> world = Quor::make<Line>();
   const std::size_t before = allocatedBytes();
   world->enq( 0, GetParam() );
   EXPECT_LE( allocatedBytes() - before, std::size_t{ 36 } * GetParam() );
}

TEST_P( WaitingLineOfLength, TakesAtMost36BytesForAPairThatWaitsTwice ) {
   const Ptr<Line> world = Quor::make<Line>();
   const std::size_t before = allocatedBytes();
   world->enq( 0, GetParam() / 2 );
   world->enq( 0, GetParam() / 2 );
   EXPECT_LE( allocatedBytes() - before, std::size_t{ 36 } * GetParam() );
}

TEST_P( WaitingLineOfLength, NeedsNoMemoryForPairsThatLeaveAndWaitAgain ) {
   const Ptr<Line> world = Quor::make<Line>();
   world->enq( 0, GetParam() );
   U32 first = 0;
   const auto cycle = [&] {
      const std::size_t before = allocations();
      for( U32 i = 0; i < 10'000; ++i ) {
         EXPECT_EQ( world->leave( first, first + 1 ), 1u );
         world->enq( first, first + 1 );
         first = ( first + 1 ) % GetParam();
         world->line.addLast( world->line.deq()->value() );
         first = ( first + 1 ) % GetParam();
      }
      return allocations() - before;
   };
   cycle(); // whatever it keeps
   EXPECT_EQ( cycle(), 0u );
   EXPECT_EQ( world->line.queue().count(), GetParam() );
}

TEST_P( WaitingLineOfLength, LeavesItsIndexWhenAllHaveGone ) {
   const Ptr<Line> world = Quor::make<Line>();
   const std::size_t before = allocatedBytes();
   world->enq( 0, GetParam() );
   EXPECT_EQ( world->leave( 0, GetParam() ), GetParam() );
   EXPECT_LE( allocatedBytes() - before, 8192 + std::size_t{ 9 } * GetParam() );
   EXPECT_EQ( world->line.queue().count(), 0u );
}

// Also where the index has just been doubled.
INSTANTIATE_TEST_SUITE_P( Lengths, WaitingLineOfLength,
                          testing::Values( 10'000, 16'385, 65'536, 65'537, 100'000, 131'073,
                                           262'145, 1'000'000 ) );

} // namespace
} // namespace LibraryTests
