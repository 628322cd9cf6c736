// The key of the whole system: one virtual router MAC on one VLAN.
#ifndef ORLOVRRPPRIVATEVLANREFLECTORLIB_VLANANDMAC_H
#define ORLOVRRPPRIVATEVLANREFLECTORLIB_VLANANDMAC_H

#include "bridging/VlanId.h"
#include "pelmo/EthAddr.h"
#include "quor/BitReverse.h"
#include "quor/TypeFwd.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

/// A virtual router MAC as it must be programmed on one VLAN. Plain value, four 16-bit words.
class VlanAndMac {
 public:
   using GenericIf_ = Quor::ValueGenericIf<VlanAndMac>;
   using _Type = Quor::TypeObject<VlanAndMac>;
   /// VLAN 1 and the zero MAC: what a text without attributes reads as.
   constexpr VlanAndMac() noexcept : vlanId_( 1 ) {}
   constexpr VlanAndMac( Bridging::VlanId vlanId, const Pelmo::EthAddr &mac ) noexcept
         : vlanId_( vlanId ), mac_( mac ) {}
   /// Reads the text form from `at`, which is left behind what was read. The attributes may stand
   /// in either order; the later one of two wins, a missing one keeps its default. Throws
   /// RangeException.
   VlanAndMac( Quor::StringIterator &at, Quor::StringIterator end );

   constexpr Bridging::VlanId vlanId() const noexcept { return vlanId_; }
   constexpr const Pelmo::EthAddr &mac() const noexcept { return mac_; }
   constexpr void vlanIdIs( Bridging::VlanId vlanId ) noexcept { vlanId_ = vlanId; }
   constexpr void macIs( const Pelmo::EthAddr &mac ) noexcept { mac_ = mac; }

   /// The bits of (hash of the MAC, XOR the VLAN) in reverse order: the low bits choose the bucket.
   Quor::U32 hash() const noexcept;

   bool operator==( const VlanAndMac &other ) const noexcept {
      return vlanId_ == other.vlanId_ && mac_ == other.mac_;
   }
   /// By VLAN, then by MAC.
   bool operator<( const VlanAndMac &other ) const noexcept {
      return vlanId_ != other.vlanId_ ? vlanId_ < other.vlanId_ : mac_ < other.mac_;
   }
   bool operator!=( const VlanAndMac &other ) const noexcept { return !( *this == other ); }
   bool operator<=( const VlanAndMac &other ) const noexcept { return !( other < *this ); }
   bool operator>( const VlanAndMac &other ) const noexcept { return !( *this <= other ); }
   bool operator>=( const VlanAndMac &other ) const noexcept { return !( *this < other ); }

   static const Quor::Type *_fwkType() noexcept;

 private:
   Bridging::VlanId vlanId_;
   Pelmo::EthAddr mac_;
};

/// Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac':
/// 00:00:5e:00:01:0a})
Quor::String valueToStrep( const VlanAndMac &key );
void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end, VlanAndMac &key );
VlanAndMac strepToValue( Quor::Strep<VlanAndMac>, const Quor::String &text );

std::ostream &operator<<( std::ostream &out, const VlanAndMac &key );

/// Buckets of maps keyed by pair.
inline Quor::U32 naturalHash( const VlanAndMac &key ) noexcept {
   return key.mac().hash() ^ key.vlanId().hash();
}

inline Quor::U32 VlanAndMac::hash() const noexcept {
   return Quor::bitReverse( naturalHash( *this ) );
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib

#endif
