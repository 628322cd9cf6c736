// The whole agent in simulated histories. By the environment:
//
//    ORLO_SIM_SEED=N        the first seed; of a failure: that one
//    ORLO_SIM_HISTORIES=N   so many, one after the other
//    ORLO_SIM_STEPS=N       the length of each
//    ORLO_SIM_SECONDS=N     instead: for so long
//    ORLO_SIM_TRACE=FILE    everything that happens is written there
#include "tests/model/Environment.h"
#include "tests/simulator/History.h"
#include "tests/unit/quor/AllocationCount.h"

#include <gtest/gtest.h>

#include <chrono>
#include <iostream>

namespace Simulator {
namespace {

using ModelTests::fromEnvironment;
using ModelTests::kSanitized;

/// Gives its digest.
U64 runHistory( U64 seed, U32 steps, Figures &figures ) {
   History history( seed, steps );
   try {
      history.run();
   } catch( const Violation &violation ) {
      ADD_FAILURE() << violation.what() << "again: ORLO_SIM_SEED=" << seed
                    << " ORLO_SIM_HISTORIES=1 ORLO_SIM_STEPS=" << steps;
   }
   figures += history.figures();
   return history.digest();
}

TEST( Simulator, EveryHistoryKeepsTheRules ) {
   const U64 first = fromEnvironment( "ORLO_SIM_SEED", 1 );
   const U32 steps = fromEnvironment( "ORLO_SIM_STEPS", 200 );
   const U32 limit = fromEnvironment( "ORLO_SIM_SECONDS", 0 );
   const U64 count = fromEnvironment( "ORLO_SIM_HISTORIES", kSanitized ? 60 : 600 );
   const auto end = std::chrono::steady_clock::now() + std::chrono::seconds( limit );
   Figures figures;
   U64 digest = 0;
   for( U64 seed = first;
        limit != 0 ? std::chrono::steady_clock::now() < end : seed < first + count; ++seed ) {
      digest = digest * 31 + runHistory( seed, steps, figures );
      if( HasFailure() ) {
         break;
      }
   }
   std::cout << "simulated: seeds from " << first << ", " << figures.text() << "; digest "
             << std::hex << digest << std::dec << std::endl;
   EXPECT_GT( figures.checks, figures.histories );
}

/// Histories that have found a fault of the product. Each becomes another one when the agent reads
/// or is called at other moments than then; what they showed has unit tests as well.
TEST( Simulator, WhatWasFoundStaysFound ) {
   Figures figures;
   struct Found {
      U64 seed;
      U32 steps = 200;
   };
   for( const Found &found : std::initializer_list<Found>{
              { 73 },     // bridge: a slot was overwritten while the bridge could not be read
              { 577 },    // bridge: a stray rule stayed when its removal was refused once
              { 3949 },   // an address was skipped at the end of the dump of its family
              { 1057 },   // after a reload that failed nobody waited for the hardware
              { 44 },     // memory: a repair was refused since the table was cut short
              { 203896 }, // bridge: a reload before the start had everything removed
              { 205842 }, // ebpf: a row was written again, for an SVI looked up before the start
              { 9000244, 400 }, // bridge: a stray rule was forgotten while its index had a pair
              { 9001336, 240 }, // the last of 256 datagrams at once was the last thing heard
              { 5007662, 600 }, // ebpf: a reading that failed was never made up for
        } ) {
      runHistory( found.seed, found.steps, figures );
   }
   EXPECT_GT( figures.checks, 0u );
}

TEST( Simulator, ASeedIsAHistory ) {
   Figures figures;
   for( U64 seed = 1; seed <= 20; ++seed ) {
      const U64 once = runHistory( seed, 200, figures );
      const U64 again = runHistory( seed, 200, figures );
      EXPECT_EQ( once, again ) << "seed " << seed;
      EXPECT_NE( once, runHistory( seed + 1000, 200, figures ) );
   }
}

TEST( Simulator, AHistoryLeavesNothingInMemory ) {
   Figures figures;
   constexpr U64 kSeeds = 20;
   for( U64 seed = 1; seed <= kSeeds; ++seed ) {
      runHistory( seed, 200, figures ); // what is made once is there now
   }
   const std::size_t before = Quor::allocatedBytes();
   for( U64 seed = 1; seed <= kSeeds; ++seed ) {
      runHistory( seed, 200, figures );
   }
   EXPECT_EQ( before, Quor::allocatedBytes() );
}

} // namespace
} // namespace Simulator
