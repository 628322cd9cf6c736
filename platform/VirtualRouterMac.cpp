#include "platform/VirtualRouterMac.h"

#include <ostream>

namespace Routing::Fhrp {

Quor::String valueToStrep( const VirtualRouterMac &record ) {
   return valueToStrep( record.intf() ) + "/" + valueToStrep( record.mac() );
}

void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end,
                      VirtualRouterMac &record ) {
   Quor::StringIterator here = at;
   Pelmo::IntfId intf;
   Pelmo::EthAddr mac;
   sequenceToValue( here, end, intf );
   Quor::needString( here, end, "/" );
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
