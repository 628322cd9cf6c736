// Memory that is refused: every allocation of a piece of work, one after the other.
#ifndef TESTS_FAULTS_EVERYREFUSAL_H
#define TESTS_FAULTS_EVERYREFUSAL_H

#include "quor/Types.h"
#include "tests/unit/quor/AllocationCount.h"

#include <gtest/gtest.h>

#include <iostream>
#include <new>

namespace Faults {

/// All that was refused in this process, for the line at its end.
struct Refusals {
   std::size_t refused = 0;
   std::size_t thrown = 0; ///< of them: the caller got the exception

   static Refusals &all() {
      static Refusals all;
      return all;
   }
};

/// Makes a World and does `work` in it, again and again, each time with the next allocation
/// refused, until the work gets through without. After each, `check( world, thrown )` looks at what
/// has become of the world; nothing of it may be left when it has gone. Gives how many were
/// refused.
template <class World, class Work, class Check>
std::size_t refuseEach( const Work &work, const Check &check ) {
   { // what the process makes once and keeps, it has from now on
      World world;
      work( world );
   }
   for( std::size_t number = 1;; ++number ) {
      SCOPED_TRACE( "allocation " + std::to_string( number ) );
      const std::size_t before = Quor::allocatedBytes();
      bool isRefused = false;
      {
         World world;
         bool isThrown = false;
         Quor::refusedAllocationIs( number );
         try {
            work( world );
         } catch( const std::bad_alloc & ) {
            isThrown = true;
         }
         isRefused = Quor::isAllocationRefused();
         Quor::refusedAllocationIs( 0 );
         Refusals::all().refused += isRefused;
         Refusals::all().thrown += isThrown;
         EXPECT_TRUE( isRefused || !isThrown );
         check( world, isThrown );
      }
      EXPECT_EQ( Quor::allocatedBytes(), before ) << "something is left";
      if( !isRefused || testing::Test::HasFailure() ) {
         return number - 1;
      }
   }
}

/// Says how many there were, when the last test has run.
class RefusalReport : public testing::Environment {
   void TearDown() override {
      const Refusals &all = Refusals::all();
      std::cout << "allocations refused: " << all.refused << ", " << all.thrown
                << " of them told to the caller\n";
   }
};

} // namespace Faults

#endif
