#include "bridging/VlanId.h"

#include <ostream>

namespace Bridging {

Quor::String valueToStrep( VlanId vlanId ) {
   return std::to_string( vlanId.number() );
}

void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end, VlanId &vlanId ) {
   vlanId = VlanId(
         static_cast<Quor::U16>( Quor::sequenceToNumber( at, end, 0xFFFF, "a VLAN number" ) ) );
}

VlanId strepToValue( Quor::Strep<VlanId>, const Quor::String &text ) {
   return Quor::wholeText<VlanId>( text );
}

std::ostream &operator<<( std::ostream &out, VlanId vlanId ) {
   return out << vlanId.number();
}

} // namespace Bridging
