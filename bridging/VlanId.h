// The number of a VLAN.
#ifndef BRIDGING_VLANID_H
#define BRIDGING_VLANID_H

#include "quor/Strep.h"
#include "quor/Types.h"

#include <compare>
#include <iosfwd>

namespace Bridging {

/// A 16-bit VLAN number. IEEE 802.1Q uses 1 to 4094; this type takes 0 to 65535 and judges nothing:
/// who reads VLAN numbers from outside checks them there. Plain value, 2 bytes.
class VlanId {
 public:
   constexpr VlanId() noexcept = default;
   constexpr explicit VlanId( Quor::U16 number ) noexcept : number_( number ) {}

   constexpr Quor::U16 number() const noexcept { return number_; }
   /// The number itself.
   constexpr Quor::U32 hash() const noexcept { return number_; }

   constexpr auto operator<=>( const VlanId & ) const noexcept = default;

 private:
   Quor::U16 number_ = 0;
};

/// Decimal.
Quor::String valueToStrep( VlanId vlanId );
/// Decimal digits, 0 to 65535.
void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end, VlanId &vlanId );
VlanId strepToValue( Quor::Strep<VlanId>, const Quor::String &text );

std::ostream &operator<<( std::ostream &out, VlanId vlanId );

/// Buckets of maps keyed by VLAN.
constexpr Quor::U32 naturalHash( VlanId vlanId ) noexcept {
   return vlanId.hash();
}

} // namespace Bridging

#endif
