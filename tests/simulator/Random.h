// Where a history gets its decisions from: the same seed gives the same ones, on every machine.
#ifndef TESTS_SIMULATOR_RANDOM_H
#define TESTS_SIMULATOR_RANDOM_H

#include "quor/Types.h"

#include <iterator>

namespace Simulator {

using Quor::U32;
using Quor::U64;

/// SplitMix64.
class Random {
 public:
   explicit Random( U64 seed ) : state_( seed ) {}

   U64 next() {
      U64 mixed = state_ += 0x9e3779b97f4a7c15;
      mixed = ( mixed ^ ( mixed >> 30 ) ) * 0xbf58476d1ce4e5b9;
      mixed = ( mixed ^ ( mixed >> 27 ) ) * 0x94d049bb133111eb;
      return mixed ^ ( mixed >> 31 );
   }
   /// 0 to one less.
   U64 below( U64 end ) { return next() % end; }
   U64 between( U64 first, U64 last ) { return first + below( last - first + 1 ); }
   bool chance( U32 inThousand ) { return below( 1000 ) < inThousand; }
   template <class Container>
   const auto &pick( const Container &from ) {
      return *std::next( std::begin( from ), static_cast<long>( below( std::size( from ) ) ) );
   }

 private:
   U64 state_;
};

} // namespace Simulator

#endif
