// The VLANs and MACs that the benchmarks use.
#ifndef ORLOBENCH_SUBJECTS_VALUES_H
#define ORLOBENCH_SUBJECTS_VALUES_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"

#include <random>
#include <vector>

namespace OrloBench {

using Bridging::VlanId;
using Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;
using Pelmo::EthAddr;
using Quor::U16;
using Quor::U32;
using Quor::U64;

using Macs = std::vector<EthAddr>;
using Pairs = std::vector<VlanAndMac>;

enum class MacKind { sequential, random };

inline VlanId vlan( std::size_t number ) {
   return VlanId( static_cast<U16>( number ) );
}

inline EthAddr mac( U64 number ) {
   return EthAddr( static_cast<U16>( number >> 32 ), static_cast<U16>( number >> 16 ),
                   static_cast<U16>( number ) );
}

/// Virtual routers from VRID 1: those of IPv4, and behind the 255th those of IPv6. Or MACs that
/// have nothing in common, the same ones every time.
inline Macs macs( std::size_t count, MacKind kind ) {
   Macs macs;
   std::mt19937_64 random( 1 );
   for( std::size_t i = 0; i < count; ++i ) {
      macs.push_back( kind == MacKind::random ? mac( random() & 0xFEFFFFFFFFFFu )
                      : i < 255               ? mac( 0x00005E000101u + i )
                                              : mac( 0x00005E000201u + ( i - 255 ) ) );
   }
   return macs;
}

/// MAC by MAC, each on VLAN 1 to `vlans`; at most `count` of them.
inline Pairs pairs( std::size_t vlans, const Macs &macs, std::size_t count = SIZE_MAX ) {
   Pairs pairs;
   for( const EthAddr &mac : macs ) {
      for( std::size_t number = 1; number <= vlans && pairs.size() < count; ++number ) {
         pairs.emplace_back( vlan( number ), mac );
      }
   }
   return pairs;
}

} // namespace OrloBench

#endif
