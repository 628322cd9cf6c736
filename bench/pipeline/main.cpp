// Measures the whole way of a pair, from the record in the status table to the helper.
//
//    bench_pipeline [Google Benchmark's options]   first checks that all subjects do the same
//    bench_pipeline --self-check                   only checks
//    bench_pipeline --instructions VLANS MACS      two cycles of each subject, for callgrind
#include "bench/pipeline/Cases.h"
#include "bench/pipeline/Cycles.h"
#include "bench/subjects/SameCalls.h"

#include <cstdio>
#include <cstring>

namespace OrloBench {

namespace {

bool selfCheck() {
   std::size_t calls = 0;
   const auto all = histories();
   for( const History &history : all ) {
      const SameCalls same( history );
      if( !same.difference().empty() ) {
         std::fprintf( stderr, "bench_pipeline: %s\n", same.difference().c_str() );
         return false;
      }
      calls += same.calls();
   }
   std::fprintf( stderr,
                 "bench_pipeline: product, floor and naive code do the same in %zu histories, "
                 "%zu calls\n",
                 all.size(), calls );
   return true;
}

int main( int count, char **words ) {
   if( count == 4 && std::strcmp( words[1], "--instructions" ) == 0 ) {
      const Size size{ std::stoul( words[2] ), std::stoul( words[3] ) };
      for( int round = 0; round < 2; ++round ) { // the first one also finds all functions
         cycle<Product>( size, MacKind::sequential );
         cycle<Floor>( size, MacKind::sequential );
         cycle<Naive>( size, MacKind::sequential );
      }
      return 0;
   }
   if( !selfCheck() ) {
      return 1;
   }
   if( count == 2 && std::strcmp( words[1], "--self-check" ) == 0 ) {
      return 0;
   }
   benchmark::Initialize( &count, words );
   if( benchmark::ReportUnrecognizedArguments( count, words ) ) {
      return 2;
   }
   registerCycles();
   registerBulk();
   registerLines();
   registerStartAndEnd();
   registerLongestEvent();
   benchmark::RunSpecifiedBenchmarks();
   return 0;
}

} // namespace

} // namespace OrloBench

int main( int count, char **words ) {
   return OrloBench::main( count, words );
}
