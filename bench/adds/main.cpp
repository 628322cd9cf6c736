// Measures one way to program one kind of hardware; scripts/bench-adds calls it for all of them.
//
//    bench_adds WAY PAIRS ROUNDS FOLDER [secondaries]
//
// Prints a line for each round, on new hardware, with the nanoseconds that it took: to add the
// pairs, to hear what the hardware says to that later, and to remove them.
#include "bench/adds/BridgeLoop.h"
#include "bench/adds/EbpfLoop.h"
#include "bench/adds/Helper.h"
#include "bench/adds/IprouteBatch.h"
#include "bench/adds/MemoryLoop.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>

namespace OrloBench {

namespace {

using Quor::U16;
using Quor::U8;

constexpr std::size_t kBatch = 128; // as the helpers have it
constexpr std::size_t kVirtualRouters = 16;

using Make = std::function<std::unique_ptr<Way>( const Job & )>;

template <class T, class... Arguments>
Make way( Arguments... arguments ) {
   return [=]( const Job &job ) { return std::make_unique<T>( job, arguments... ); };
}

Make helper( const std::string &name ) {
   return [=]( const Job &job ) { return std::make_unique<Helper>( name, job ); };
}

const std::map<std::string, Make> &ways() {
   using Answers = BridgeLoop::Answers;
   static const std::map<std::string, Make> ways{
         { "memory-helper", helper( "memory" ) },
         { "memory-stores", way<MemoryLoop>() },
         { "ebpf-helper", helper( "ebpf" ) },
         { "ebpf-one", way<EbpfLoop>( std::size_t{ 1 } ) },
         { "ebpf-128", way<EbpfLoop>( kBatch ) },
         { "ebpf-all",
           []( const Job &job ) { return std::make_unique<EbpfLoop>( job, job.pairs.size() ); } },
         { "bridge-helper", helper( "bridge" ) },
         { "bridge-one", way<BridgeLoop>( std::size_t{ 1 }, Answers::each ) },
         { "bridge-128", way<BridgeLoop>( kBatch, Answers::each ) },
         { "bridge-128-last", way<BridgeLoop>( kBatch, Answers::last ) },
         { "bridge-iproute2", way<IprouteBatch>() },
   };
   return ways;
}

/// Every virtual router is on every VLAN.
std::vector<Pair> pairs( std::size_t count ) {
   std::vector<Pair> pairs;
   for( std::size_t i = 0; i < count; ++i ) {
      const Pelmo::EthAddr::Octets mac{ 0, 0, 0x5e,
                                        0, 1, static_cast<U8>( 1 + i % kVirtualRouters ) };
      pairs.emplace_back( Bridging::VlanId( static_cast<U16>( 1 + i / kVirtualRouters ) ),
                          Pelmo::EthAddr( mac ) );
   }
   return pairs;
}

long long nanoseconds( const std::function<void()> &what ) {
   const auto begin = std::chrono::steady_clock::now();
   what();
   const auto end = std::chrono::steady_clock::now();
   return std::chrono::duration_cast<std::chrono::nanoseconds>( end - begin ).count();
}

void check( Way &way, const Job &job, bool isAdded, bool isBridge ) {
   std::vector<Pair> held = way.held();
   std::vector<Pair> expected = isAdded ? job.pairs : std::vector<Pair>();
   std::sort( held.begin(), held.end() );
   std::sort( expected.begin(), expected.end() );
   if( held != expected ) {
      throw std::runtime_error( "the hardware holds " + std::to_string( held.size() ) +
                                " pairs, and not these " + std::to_string( expected.size() ) );
   }
   if( !isBridge ) {
      return;
   }
   const BridgeTables tables;
   const auto rules = std::count_if( expected.begin(), expected.end(),
                                     [&]( const Pair &pair ) { return job.isSecondary( pair ); } );
   if( tables.pairs().size() != expected.size() ||
       tables.rules() != static_cast<std::size_t>( rules ) ) {
      throw std::runtime_error( "the bridge holds other entries or rules than it should" );
   }
}

void measure( const std::string &name, const Job &job ) {
   std::filesystem::create_directory( job.folder );
   {
      const std::unique_ptr<Way> way = ways().at( name )( job );
      const bool isBridge = name.starts_with( "bridge" );
      const long long adding = nanoseconds( [&] { way->add(); } );
      const long long settling = nanoseconds( [&] { way->settle(); } );
      check( *way, job, true, isBridge );
      const long long removing = nanoseconds( [&] { way->remove(); } );
      check( *way, job, false, isBridge );
      std::printf( "%lld %lld %lld\n", adding, settling, removing );
   }
   std::filesystem::remove_all( job.folder );
}

int main( int count, char **words ) {
   if( count < 5 || !ways().contains( words[1] ) ) {
      std::fprintf( stderr, "usage: bench_adds WAY PAIRS ROUNDS FOLDER [secondaries]\nWAY is" );
      for( const auto &[name, make] : ways() ) {
         std::fprintf( stderr, " %s", name.c_str() );
      }
      std::fprintf( stderr, "\n" );
      return 2;
   }
   try {
      for( int round = 0; round < std::stoi( words[3] ); ++round ) {
         measure( words[1], { pairs( std::stoul( words[2] ) ), count > 5,
                              std::string( words[4] ) + "/" + std::to_string( round ) } );
      }
   } catch( const std::exception &error ) {
      std::fprintf( stderr, "bench_adds: %s: %s\n", words[1], error.what() );
      return 1;
   }
   return 0;
}

} // namespace

} // namespace OrloBench

int main( int count, char **words ) {
   return OrloBench::main( count, words );
}
