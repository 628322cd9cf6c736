// The key of the whole system: one virtual router MAC on one VLAN.
#ifndef ORLOVRRPPRIVATEVLANREFLECTORLIB_VLANANDMAC_H
#define ORLOVRRPPRIVATEVLANREFLECTORLIB_VLANANDMAC_H

#include "bridging/VlanId.h"
#include "pelmo/EthAddr.h"
#include "quor/BitReverse.h"
#include "quor/TypeFwd.h"

#include <bit>

namespace Orlo::VrrpPrivateVlanReflectorLib {

/// A virtual router MAC as it must be programmed on one VLAN. Plain value, four 16-bit words: 8
/// bytes that are read, written, compared and hashed as one number.
class VlanAndMac {
 public:
   using GenericIf_ = Quor::ValueGenericIf<VlanAndMac>;
   using _Type = Quor::TypeObject<VlanAndMac>;
   /// VLAN 1 and the zero MAC: what a text without attributes reads as.
   constexpr VlanAndMac() noexcept : VlanAndMac( Bridging::VlanId( 1 ), Pelmo::EthAddr() ) {}
   constexpr VlanAndMac( Bridging::VlanId vlanId, const Pelmo::EthAddr &mac ) noexcept
         : words_( std::bit_cast<Words>( Quor::U64{ vlanId.number() } << 48 | mac.number() ) ) {}
   /// Reads the text form from `at`, which is left behind what was read. The attributes may stand
   /// in either order; the later one of two wins, a missing one keeps its default. Throws
   /// RangeException.
   VlanAndMac( Quor::StringIterator &at, Quor::StringIterator end );

   constexpr Bridging::VlanId vlanId() const noexcept {
      return Bridging::VlanId( static_cast<Quor::U16>( number() >> 48 ) );
   }
   constexpr Pelmo::EthAddr mac() const noexcept {
      return Pelmo::EthAddr( static_cast<Quor::U16>( number() >> 32 ),
                             static_cast<Quor::U16>( number() >> 16 ),
                             static_cast<Quor::U16>( number() ) );
   }
   /// The same MAC on another VLAN.
   constexpr VlanAndMac on( Bridging::VlanId vlanId ) const noexcept {
      VlanAndMac pair;
      pair.words_ =
            std::bit_cast<Words>( Quor::U64{ vlanId.number() } << 48 | number() << 16 >> 16 );
      return pair;
   }
   constexpr void vlanIdIs( Bridging::VlanId vlanId ) noexcept { *this = on( vlanId ); }
   constexpr void macIs( const Pelmo::EthAddr &mac ) noexcept {
      *this = VlanAndMac( vlanId(), mac );
   }
   /// The VLAN in the upper 16 bits, the MAC in the others.
   constexpr Quor::U64 number() const noexcept { return std::bit_cast<Quor::U64>( words_ ); }

   /// The bits of (hash of the MAC, XOR the VLAN) in reverse order: the low bits choose the bucket.
   Quor::U32 hash() const noexcept;

   bool operator==( const VlanAndMac &other ) const noexcept { return number() == other.number(); }
   /// By VLAN, then by MAC.
   bool operator<( const VlanAndMac &other ) const noexcept { return number() < other.number(); }
   bool operator!=( const VlanAndMac &other ) const noexcept { return !( *this == other ); }
   bool operator<=( const VlanAndMac &other ) const noexcept { return !( other < *this ); }
   bool operator>( const VlanAndMac &other ) const noexcept { return !( *this <= other ); }
   bool operator>=( const VlanAndMac &other ) const noexcept { return !( *this < other ); }

   static const Quor::Type *_fwkType() noexcept;

 private:
   using Words = std::array<Quor::U16, 4>; // aligned so that nodes of collections stay small
   Words words_;
};

/// Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac':
/// 00:00:5e:00:01:0a})
Quor::String valueToStrep( const VlanAndMac &key );
void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end, VlanAndMac &key );
VlanAndMac strepToValue( Quor::Strep<VlanAndMac>, const Quor::String &text );

std::ostream &operator<<( std::ostream &out, const VlanAndMac &key );

/// Buckets of maps keyed by pair.
inline Quor::U32 naturalHash( Bridging::VlanId vlanId, Quor::U32 macHash ) noexcept {
   return macHash ^ vlanId.hash();
}
inline Quor::U32 naturalHash( const VlanAndMac &key ) noexcept {
   return naturalHash( key.vlanId(), Pelmo::EthAddr::hash( key.number() ) );
}

inline Quor::U32 VlanAndMac::hash() const noexcept {
   return Quor::bitReverse( naturalHash( *this ) );
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib

#endif
