// Hardware in memory: a table that outlives its helpers, and refuses when it is told to.
#ifndef TESTS_UNIT_CONFORMANCE_FAKETABLE_H
#define TESTS_UNIT_CONFORMANCE_FAKETABLE_H

#include "agent/FileDescriptor.h"
#include "conformance/Subject.h"

#include <cstdint>
#include <map>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace ConformanceTests {

using OrloConformance::Pair;
using Quor::U32;
using Quor::U64;

class FakeTable {
 public:
   std::map<U32, Pair> slots;
   std::map<U32, Pair> journal; ///< for a helper that remembers what it was asked
   bool refuses = false;
   bool refusesRemovals = false;

   bool holds( U32 index, const Pair &pair ) const {
      const auto at = slots.find( index );
      return at != slots.end() && at->second == pair;
   }

   /// Readable while takeLost() has something to give.
   int fd() const { return lostFd_.get(); }
   std::vector<U32> takeLost() {
      std::uint64_t count = 0;
      if( read( fd(), &count, sizeof count ) < 0 ) {
         return {};
      }
      return std::exchange( lost_, {} );
   }

   OrloConformance::Faults faults() {
      return { .refuse = [this] { refuses = true; },
               .refuseRemovals = [this] { refusesRemovals = true; },
               .accept = [this] { refuses = refusesRemovals = false; },
               .lose =
                     [this]( const Pair &, U32 index ) {
                        slots.erase( index );
                        lost_.push_back( index );
                        const std::uint64_t one = 1;
                        [[maybe_unused]] const auto written = write( fd(), &one, sizeof one );
                     },
               .plant = [this]( const Pair &pair, U32 index ) { slots[index] = pair; } };
   }

 private:
   std::vector<U32> lost_;
   const OrloAgent::FileDescriptor lostFd_{ eventfd( 0, EFD_NONBLOCK | EFD_CLOEXEC ) };
};

} // namespace ConformanceTests

#endif
