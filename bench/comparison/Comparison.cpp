#include "bench/comparison/Comparison.h"

#include <algorithm>
#include <cstdlib>
#include <malloc.h>

namespace OrloBench {

namespace {

/// What runs so few times in a repetition is large.
constexpr benchmark::IterationCount kFew = 20;

/// The heap as nobody left it: whoever runs next would have to clear up small pieces of memory that
/// another one gave back. What is large gets fresh pages as well.
void tidyUp( bool isLarge ) {
   if( isLarge ) {
      malloc_trim( 0 );
      return;
   }
   void *consolidates = std::malloc( 100'000 );
   benchmark::DoNotOptimize( consolidates );
   std::free( consolidates );
}

double median( std::vector<double> values ) {
   const auto middle = values.begin() + static_cast<std::ptrdiff_t>( values.size() / 2 );
   std::nth_element( values.begin(), middle, values.end() );
   return *middle;
}

} // namespace

void Comparison::registerIt( int iterations ) && {
   const std::string name = name_;
   const auto run = [self = std::move( *this )]( benchmark::State &state ) { self.run( state ); };
   benchmark::RegisterBenchmark( name.c_str(), run )
         ->UseManualTime()
         ->Iterations( iterations )
         ->Unit( benchmark::kMillisecond );
}

void Comparison::run( benchmark::State &state ) const {
   std::map<std::string, std::vector<double>> figures;
   const bool isLarge = state.max_iterations <= kFew;
   std::size_t first = 0;
   for( [[maybe_unused]] auto _ : state ) {
      double total = 0;
      std::map<std::string, Quor::U64> digests;
      for( std::size_t i = 0; i < subjects_.size(); ++i ) {
         const Subject &subject = subjects_[( first + i ) % subjects_.size()];
         tidyUp( isLarge );
         const Round round = subject.measure();
         for( const auto &[phase, time] : round.phases ) {
            figures[subject.name + '.' + phase].push_back( time );
            total += time;
         }
         digests[subject.name] = round.digest;
      }
      ++first;
      for( const auto &[name, digest] : digests ) {
         if( digest != digests.begin()->second ) {
            state.SkipWithError(
                  ( name + " did something else than " + digests.begin()->first ).c_str() );
            return;
         }
      }
      state.SetIterationTime( total * 1e-9 );
   }
   for( auto &[name, times] : figures ) {
      state.counters[name] = median( std::move( times ) );
   }
}

} // namespace OrloBench
