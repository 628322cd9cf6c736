// Measures the collections alone.
//
//    bench_containers [Google Benchmark's options]
//    bench_containers --chains      how evenly the hash fills the buckets
#include "bench/containers/Cases.h"

#include <benchmark/benchmark.h>

#include <cstring>

int main( int count, char **words ) {
   if( count == 2 && std::strcmp( words[1], "--chains" ) == 0 ) {
      OrloBench::printChains();
      return 0;
   }
   benchmark::Initialize( &count, words );
   if( benchmark::ReportUnrecognizedArguments( count, words ) ) {
      return 2;
   }
   OrloBench::registerMaps();
   OrloBench::registerQueues();
   benchmark::RunSpecifiedBenchmarks();
   return 0;
}
