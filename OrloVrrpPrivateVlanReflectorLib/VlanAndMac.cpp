#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"

#include "quor/Exception.h"

#include <ostream>

namespace Orlo::VrrpPrivateVlanReflectorLib {

namespace {

template <class V>
V readAttribute( Quor::StringIterator &at, Quor::StringIterator end, const Quor::String &name ) {
   try {
      V value;
      sequenceToValue( at, end, value );
      return value;
   } catch( const Quor::RangeException &error ) {
      Quor::rethrowFromDeserializeAttr( error, name );
   }
}

} // namespace

VlanAndMac::VlanAndMac( Quor::StringIterator &at, Quor::StringIterator end ) : VlanAndMac() {
   for( const char *const token :
        { " Value", " (", " 'Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac'", " ,", " **",
          " {" } ) {
      Quor::needString( at, end, token );
   }
   for( bool isFirst = true;; isFirst = false ) {
      Quor::needString( at, end, " " );
      if( at == end ) {
         throw Quor::RangeException( "premature end of value type VlanAndMac" );
      }
      if( *at == '}' ) {
         Quor::needString( at, end, "} " );
         Quor::needString( at, end, ") " );
         return;
      }
      if( !isFirst ) {
         Quor::needString( at, end, ", " );
      }
      Quor::String name;
      Quor::sequenceToValue( at, end, name );
      Quor::needString( at, end, " : " );
      if( name == "vlanId" ) {
         vlanIdIs( readAttribute<Bridging::VlanId>( at, end, name ) );
      } else if( name == "mac" ) {
         macIs( readAttribute<Pelmo::EthAddr>( at, end, name ) );
      } else {
         throw Quor::RangeException( "VlanAndMac has no such attribute: " + name );
      }
   }
}

Quor::String valueToStrep( const VlanAndMac &key ) {
   return "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': " +
          valueToStrep( key.vlanId() ) + ", 'mac': " + valueToStrep( key.mac() ) + "})";
}

void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end, VlanAndMac &key ) {
   Quor::StringIterator here = at;
   key = VlanAndMac( here, end );
   at = here;
}

VlanAndMac strepToValue( Quor::Strep<VlanAndMac>, const Quor::String &text ) {
   return Quor::wholeText<VlanAndMac>( text );
}

std::ostream &operator<<( std::ostream &out, const VlanAndMac &key ) {
   return out << valueToStrep( key );
}

} // namespace Orlo::VrrpPrivateVlanReflectorLib
