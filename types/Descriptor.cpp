#include "types/Descriptor.h"

#include "quor/GenericException.h"

namespace Orlo {

void lookUp( std::span<Descriptor> descriptors ) {
   const Quor::IntrospectionReactor &registry = Quor::IntrospectionReactor::instance();
   for( Descriptor &descriptor : descriptors ) {
      const Quor::String type( descriptor.type );
      const Quor::String attribute( descriptor.attribute );
      if( !registry.find( type ) ) {
         throw Quor::NoSuchTypeException( type + ", whose attribute " + attribute + " is used" );
      }
      descriptor.found = &registry.attribute( type, attribute );
   }
}

} // namespace Orlo
