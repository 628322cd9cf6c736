#include "types/Descriptor.h"

#include "quor/GenericException.h"

namespace Orlo {

namespace {

void needType( const Quor::String &type, const Quor::String &attribute ) {
   if( !Quor::IntrospectionReactor::instance().find( type ) ) {
      throw Quor::NoSuchTypeException( type + ", whose attribute " + attribute + " is used" );
   }
}

} // namespace

void lookUp( std::span<Descriptor> descriptors ) {
   const Quor::IntrospectionReactor &registry = Quor::IntrospectionReactor::instance();
   for( Descriptor &descriptor : descriptors ) {
      const Quor::String type( descriptor.type );
      const Quor::String attribute( descriptor.attribute );
      needType( type, attribute );
      descriptor.found = &registry.attribute( type, attribute );
   }
}

} // namespace Orlo
