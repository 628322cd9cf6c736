#include "pelmo/IntfId.h"

#include "quor/Exception.h"

#include <algorithm>
#include <ostream>

namespace Pelmo {

namespace {

bool isNameCharacter( char c ) {
   return c != '\0' && c != '/' && c != ' ' && !( c >= '\t' && c <= '\r' );
}

bool continuesInSequence( char c ) {
   return isNameCharacter( c ) && c != ',' && c != ')' && c != '}';
}

} // namespace

IntfId::IntfId( std::string_view name ) {
   if( name.size() > kMaxLength || !std::all_of( name.begin(), name.end(), isNameCharacter ) ) {
      throw Quor::RangeException( "\"" + Quor::String( name ) +
                                  "\" is not an interface name (at most 15 bytes, no '/' and no "
                                  "white space)" );
   }
   std::copy( name.begin(), name.end(), name_.begin() );
}

Quor::String valueToStrep( const IntfId &intf ) {
   return Quor::String( intf.name() );
}

void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end, IntfId &intf ) {
   const Quor::StringIterator behind = std::find_if_not( at, end, continuesInSequence );
   intf = IntfId( Quor::String( at, behind ) );
   at = behind;
}

IntfId strepToValue( Quor::Strep<IntfId>, const Quor::String &text ) {
   return IntfId( text );
}

std::ostream &operator<<( std::ostream &out, const IntfId &intf ) {
   return out << intf.name();
}

} // namespace Pelmo
