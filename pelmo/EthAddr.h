// An Ethernet MAC address.
#ifndef PELMO_ETHADDR_H
#define PELMO_ETHADDR_H

#include "quor/Strep.h"
#include "quor/Types.h"

#include <array>
#include <compare>
#include <iosfwd>

namespace Pelmo {

/// Three 16-bit words, most significant first. Plain value, 6 bytes; ordered as a 48-bit number.
class EthAddr {
 public:
   using Octets = std::array<Quor::U8, 6>;

   constexpr EthAddr() noexcept = default;
   constexpr EthAddr( Quor::U16 high, Quor::U16 middle, Quor::U16 low ) noexcept
         : words_{ high, middle, low } {}
   /// In the order in which they stand on the wire.
   constexpr explicit EthAddr( const Octets &o ) noexcept
         : words_{ word( o[0], o[1] ), word( o[2], o[3] ), word( o[4], o[5] ) } {}

   constexpr Octets octets() const noexcept {
      return { high( words_[0] ), low( words_[0] ),  high( words_[1] ),
               low( words_[1] ),  high( words_[2] ), low( words_[2] ) };
   }
   constexpr Quor::U64 number() const noexcept {
      return ( Quor::U64{ words_[0] } << 32 ) | ( Quor::U64{ words_[1] } << 16 ) | words_[2];
   }

   /// Spreads the MACs that VRRP makes (RFC 9568: 00:00:5e:00:01:VRID and 00:00:5e:00:02:VRID) so
   /// well that, mixed with a VLAN number by XOR, aligned blocks of VLANs and VRIDs fill their
   /// buckets evenly; any other MAC behaves as a random number. One look-up and one multiplication.
   Quor::U32 hash() const noexcept { return hash( number() ); }
   /// Of the MAC in the low 48 bits; the others do not count.
   static Quor::U32 hash( Quor::U64 number ) noexcept;

   constexpr auto operator<=>( const EthAddr & ) const noexcept = default;

 private:
   static constexpr Quor::U16 word( Quor::U8 a, Quor::U8 b ) noexcept {
      return static_cast<Quor::U16>( ( a << 8 ) | b );
   }
   static constexpr Quor::U8 high( Quor::U16 w ) noexcept {
      return static_cast<Quor::U8>( w >> 8 );
   }
   static constexpr Quor::U8 low( Quor::U16 w ) noexcept { return static_cast<Quor::U8>( w ); }

   std::array<Quor::U16, 3> words_{};
};

namespace EthAddrHash {

/// Bit i of the result is the XOR of those bits j of x for which j is a bitwise subset of i
/// (Pascal's triangle modulo 2). Of any n consecutive results' low n bits, no two are alike.
constexpr Quor::U32 pascal( Quor::U32 x ) noexcept {
   x ^= ( x & 0x55555555u ) << 1;
   x ^= ( x & 0x33333333u ) << 2;
   x ^= ( x & 0x0F0F0F0Fu ) << 4;
   x ^= ( x & 0x00FF00FFu ) << 8;
   x ^= ( x & 0x0000FFFFu ) << 16;
   return x;
}

constexpr std::array<Quor::U32, 256> makeLastOctetTable() noexcept {
   std::array<Quor::U32, 256> table{};
   for( Quor::U32 i = 0; i < table.size(); ++i ) {
      table[i] = pascal( ( i - 1 ) & 255 ); // VRIDs count from 1
   }
   return table;
}

inline constexpr std::array<Quor::U32, 256> kLastOctet = makeLastOctetTable();

} // namespace EthAddrHash

inline Quor::U32 EthAddr::hash( Quor::U64 number ) noexcept {
   const Quor::U64 upper = number << 16 >> 24; // all but the last octet
   return EthAddrHash::kLastOctet[number & 0xFF] ^
          static_cast<Quor::U32>( ( upper * 0x1b7e0c18a49a14a5u ) >> 32 );
}

/// Six lower-case pairs with colons: 00:00:5e:00:01:0a.
Quor::String valueToStrep( const EthAddr &mac );
/// 00:00:5e:00:01:0a, 00-00-5e-00-01-0a or 0000.5e00.010a, in either case.
void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end, EthAddr &mac );
EthAddr strepToValue( Quor::Strep<EthAddr>, const Quor::String &text );

std::ostream &operator<<( std::ostream &out, const EthAddr &mac );

/// Buckets of maps keyed by MAC.
inline Quor::U32 naturalHash( const EthAddr &mac ) noexcept {
   return mac.hash();
}

} // namespace Pelmo

#endif
