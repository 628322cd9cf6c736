// What queues cost: bytes, and how often they ask for memory.
#include "tests/unit/quor/AllocationCount.h"
#include "tests/unit/quor/Line.h"

#include <gtest/gtest.h>

namespace Quor {
namespace {

static_assert( sizeof( Line::Queue::Entry ) == 12 );

void append( Line &line, U32 count ) {
   for( U32 i = 0; i < count; ++i ) {
      line.queue.enq( i );
   }
}

void drain( Line &line, U32 count ) {
   for( U32 i = 0; i < count; ++i ) {
      line.queue.deq();
   }
}

class LinkQueueOfLength : public testing::TestWithParam<U32> {};

TEST_P( LinkQueueOfLength, TakesAtMost15BytesForANumber ) {
   const Ptr<Line> line = make<Line>();
   const std::size_t before = allocatedBytes();
   append( *line, GetParam() );
   EXPECT_LE( allocatedBytes() - before, std::size_t{ 15 } * GetParam() );
}

TEST_P( LinkQueueOfLength, LeavesAHalfByteAtMostForANumberThatHasGone ) {
   const Ptr<Line> line = make<Line>();
   const std::size_t before = allocatedBytes();
   append( *line, GetParam() );
   drain( *line, GetParam() );
   EXPECT_LE( allocatedBytes() - before, 4096 + GetParam() / 2 );
}

TEST_P( LinkQueueOfLength, AsksForMemoryOnceFor32Entries ) {
   const Ptr<Line> line = make<Line>();
   const std::size_t before = allocations();
   append( *line, GetParam() );
   EXPECT_LE( allocations() - before, GetParam() / 32 + 32 ); // with its table's growth
}

TEST_P( LinkQueueOfLength, NeedsNoMemoryForWhatGoesAndIsAppendedAgain ) {
   const Ptr<Line> line = make<Line>();
   append( *line, GetParam() );
   const auto cycle = [&] {
      const std::size_t before = allocations();
      for( U32 i = 0; i < 10'000; ++i ) {
         line->queue.enq( line->queue.deq()->value() );
      }
      for( U32 i = 0; i < 100; ++i ) { // several at once
         drain( *line, 200 );
         append( *line, 200 );
      }
      return allocations() - before;
   };
   EXPECT_LE( cycle(), 8u ); // the pages that are kept
   EXPECT_EQ( cycle(), 0u );
   EXPECT_EQ( line->queue.count(), GetParam() );
}

INSTANTIATE_TEST_SUITE_P( Lengths, LinkQueueOfLength,
                          testing::Values( 1'000, 10'000, 65'536, 65'537, 100'000, 131'073,
                                           1'000'000 ) );

TEST( LinkQueueMemory, AnEmptyQueueNeedsNoMemoryForWhatComesAndGoes ) {
   const Ptr<Line> line = make<Line>();
   const auto cycle = [&] {
      const std::size_t before = allocations();
      for( U32 i = 0; i < 1000; ++i ) {
         append( *line, 1 + i % 32 );
         drain( *line, 1 + i % 32 );
      }
      return allocations() - before;
   };
   EXPECT_LE( cycle(), 3u ); // with the table of two pages
   EXPECT_EQ( cycle(), 0u );
}

TEST( LinkQueueMemory, PositionsFarApartCostAPageEach ) {
   const Ptr<Line> line = make<Line>();
   const std::size_t before = allocatedBytes();
   for( U32 i = 0; i < 1000; ++i ) {
      line->queue.set( i * 1000, i );
   }
   EXPECT_LE( allocatedBytes() - before, std::size_t{ 1000 } * 480 );
   EXPECT_EQ( line->queue.pageCount(), 1000u );
}

TEST( LinkQueueMemory, AllOfItIsGivenBack ) {
   const std::size_t before = allocatedBytes();
   {
      const Ptr<Line> line = make<Line>();
      append( *line, 1000 );
      const auto held = line->queue.take( 500 );
      line->queue.set( 500, 1 );
      drain( *line, 100 );
   }
   EXPECT_EQ( allocatedBytes(), before );
}

} // namespace
} // namespace Quor
