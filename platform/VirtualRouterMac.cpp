#include "platform/VirtualRouterMac.h"

#include <algorithm>
#include <ostream>

namespace Routing::Fhrp {

Quor::String valueToStrep( const VirtualRouterMac &record ) {
   return valueToStrep( record.intf() ) + "/" + valueToStrep( record.mac() );
}

void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end,
                      VirtualRouterMac &record ) {
   // Not by the interface's own reader, which ends before characters that a name may well have.
   const Quor::StringIterator slash = std::find( at, end, '/' );
   Quor::StringIterator here = slash;
   Quor::needString( here, end, "/" );
   const Pelmo::IntfId intf( Quor::String( at, slash ) );
   Pelmo::EthAddr mac;
   sequenceToValue( here, end, mac );
   record = VirtualRouterMac( intf, mac );
   at = here;
}

VirtualRouterMac strepToValue( Quor::Strep<VirtualRouterMac>, const Quor::String &text ) {
   return Quor::wholeText<VirtualRouterMac>( text );
}

std::ostream &operator<<( std::ostream &out, const VirtualRouterMac &record ) {
   return out << record.intf() << '/' << record.mac();
}

} // namespace Routing::Fhrp
