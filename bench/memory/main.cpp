// Weighs pairs. One measurement for each process, so that nothing is used again.
//
//    bench_memory programmed SUBJECT PAIRS   table, indexes and pool: bytes a pair in the heap,
//    resident bench_memory waiting SUBJECT PAIRS      the line alone: bytes a pair in the heap,
//    resident bench_memory steady SUBJECT PAIRS       calls of operator new in 10,000 events, each
//    of which adds
//                                            and removes a pair, beside so many other pairs
#include "bench/memory/MemoryUse.h"
#include "bench/subjects/Floor.h"
#include "bench/subjects/Naive.h"
#include "bench/subjects/Product.h"
#include "tests/unit/quor/AllocationCount.h"

#include <cstdio>
#include <stdexcept>

namespace OrloBench {

namespace {

constexpr std::size_t kEvents = 10'000;

/// Whatever is made once in a process has been made.
template <class Subject>
void warmUp() {
   Subject subject( Quor::make<BenchHelper>(), 1 );
   subject.startReflector();
   subject.startProgrammer();
   subject.want( VlanAndMac( vlan( 1 ), mac( 1 ) ) );
   subject.wait( VlanAndMac( vlan( 1 ), mac( 2 ) ) );
   MemoryUse::now();
}

void print( const MemoryUse &before, std::size_t pairs ) {
   const MemoryUse after = MemoryUse::now();
   const auto each = static_cast<double>( pairs );
   std::printf( "%.2f %.2f\n", ( after.heap - before.heap ) / each,
                ( after.resident - before.resident ) / each );
}

template <class Subject>
void programmed( const Pairs &pairs ) {
   const auto helper = Quor::make<BenchHelper>();
   const MemoryUse before = MemoryUse::now();
   Subject subject( helper, static_cast<U32>( pairs.size() ) );
   subject.startReflector();
   subject.startProgrammer();
   for( const VlanAndMac &pair : pairs ) {
      subject.want( pair );
   }
   print( before, pairs.size() );
   if( subject.programmed() != pairs.size() ) {
      throw std::logic_error( "not all pairs are programmed" );
   }
}

template <class Subject>
void waiting( const Pairs &pairs ) {
   Subject subject( Quor::make<BenchHelper>(), 0 );
   subject.startReflector();
   subject.startProgrammer();
   const MemoryUse before = MemoryUse::now();
   for( const VlanAndMac &pair : pairs ) {
      subject.wait( pair );
   }
   print( before, pairs.size() );
   if( subject.waiting() != pairs.size() ) {
      throw std::logic_error( "not all pairs wait" );
   }
}

template <class Subject>
void steady( const Pairs &pairs ) {
   Subject subject( Quor::make<BenchHelper>(), static_cast<U32>( pairs.size() + kEvents ) );
   subject.startReflector();
   subject.startProgrammer();
   for( const VlanAndMac &pair : pairs ) {
      subject.want( pair );
   }
   std::size_t before = 0;
   for( std::size_t event = 0; event < 2 * kEvents; ++event ) {
      if( event == kEvents ) { // from now on it has seen such events before
         before = Quor::allocations();
      }
      const VlanAndMac pair( vlan( 1 + event % 4094 ), mac( 0x02'00'00'00'00'00u + event ) );
      subject.want( pair );
      subject.unwant( pair );
   }
   std::printf( "%zu\n", Quor::allocations() - before );
}

template <class Subject>
void measure( const std::string &what, const Pairs &pairs ) {
   warmUp<Subject>();
   if( what == "programmed" ) {
      programmed<Subject>( pairs );
   } else if( what == "waiting" ) {
      waiting<Subject>( pairs );
   } else {
      steady<Subject>( pairs );
   }
}

int main( int count, char **words ) {
   if( count != 4 ) {
      std::fprintf( stderr, "usage: bench_memory programmed|waiting|steady SUBJECT PAIRS\n" );
      return 2;
   }
   const std::string subject = words[2];
   const Pairs all = pairs( 4094, macs( 510, MacKind::sequential ), std::stoul( words[3] ) );
   if( subject == Product::kName ) {
      measure<Product>( words[1], all );
   } else if( subject == Floor::kName ) {
      measure<Floor>( words[1], all );
   } else {
      measure<Naive>( words[1], all );
   }
   return 0;
}

} // namespace

} // namespace OrloBench

int main( int count, char **words ) {
   return OrloBench::main( count, words );
}
