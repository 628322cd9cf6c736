// The order of the bits of a hash decides the bucket of a key: the bucket is taken from the top,
// the hashes of keys differ at the bottom.
#ifndef QUOR_BITREVERSE_H
#define QUOR_BITREVERSE_H

#include "quor/Types.h"

namespace Quor {

/// Bit 0 goes to bit 31, bit 1 to bit 30, and so on: five swap steps.
constexpr U32 bitReverse( U32 x ) noexcept {
   x = ( ( x & 0x55555555u ) << 1 ) | ( ( x >> 1 ) & 0x55555555u );
   x = ( ( x & 0x33333333u ) << 2 ) | ( ( x >> 2 ) & 0x33333333u );
   x = ( ( x & 0x0F0F0F0Fu ) << 4 ) | ( ( x >> 4 ) & 0x0F0F0F0Fu );
   x = ( ( x & 0x00FF00FFu ) << 8 ) | ( ( x >> 8 ) & 0x00FF00FFu );
   return ( x << 16 ) | ( x >> 16 );
}

} // namespace Quor

#endif
