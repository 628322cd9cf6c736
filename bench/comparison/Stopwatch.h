// Measures one phase.
#ifndef ORLOBENCH_COMPARISON_STOPWATCH_H
#define ORLOBENCH_COMPARISON_STOPWATCH_H

#include <algorithm>
#include <chrono>
#include <valgrind/callgrind.h>

namespace OrloBench {

/// Runs from its construction until it is asked. Below callgrind it lets instructions be counted
/// meanwhile.
class Stopwatch {
 public:
   Stopwatch() {
      CALLGRIND_TOGGLE_COLLECT;
      begin_ = Clock::now();
   }

   /// Nanoseconds, without what reading the clock itself takes.
   double stop() {
      const auto end = Clock::now();
      CALLGRIND_TOGGLE_COLLECT;
      return std::max( 0.0, nanoseconds( end - begin_ ) - reading() );
   }

 private:
   using Clock = std::chrono::steady_clock;

   static double nanoseconds( Clock::duration time ) {
      return std::chrono::duration<double, std::nano>( time ).count();
   }
   static double reading() {
      static const double shortest = [] {
         double least = 1e9;
         for( int i = 0; i < 10'000; ++i ) {
            const auto begin = Clock::now();
            least = std::min( least, nanoseconds( Clock::now() - begin ) );
         }
         return least;
      }();
      return shortest;
   }

   Clock::time_point begin_;
};

} // namespace OrloBench

#endif
