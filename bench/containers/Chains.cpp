#include "bench/containers/Cases.h"
#include "bench/subjects/Values.h"

#include <algorithm>
#include <bit>
#include <cstdio>

namespace OrloBench {

namespace {

constexpr std::size_t kShown = 5;

/// A line: how many MACs, of which kind; percent of the keys in chains of 1, 2, ... entries, in all
/// longer ones; the longest chain. With as many buckets as a map of so many keys has.
void print( std::size_t count, MacKind kind ) {
   const Pairs keys = pairs( 4094, macs( count, kind ) );
   const auto bits = std::bit_width( keys.size() - 1 );
   std::vector<U32> lengths( std::size_t{ 1 } << bits );
   for( const VlanAndMac &key : keys ) {
      ++lengths[key.hash() >> ( 32 - bits )];
   }
   std::vector<std::size_t> keysIn( kShown + 1 );
   for( const U32 length : lengths ) {
      keysIn[std::min<std::size_t>( length, kShown + 1 ) - ( length == 0 ? 0 : 1 )] += length;
   }
   std::printf( "%zu %s", count, kind == MacKind::sequential ? "sequential" : "random" );
   for( const std::size_t each : keysIn ) {
      std::printf( " %.2f",
                   100.0 * static_cast<double>( each ) / static_cast<double>( keys.size() ) );
   }
   std::printf( " %u\n", *std::max_element( lengths.begin(), lengths.end() ) );
}

} // namespace

void printChains() {
   for( const std::size_t count : { 16u, 150u, 255u, 510u } ) {
      print( count, MacKind::sequential );
      print( count, MacKind::random );
   }
}

} // namespace OrloBench
