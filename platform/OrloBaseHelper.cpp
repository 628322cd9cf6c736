#include "platform/OrloBaseHelper.h"

#include <cstdlib>
#include <iostream>

namespace Orlo {

Quor::String OrloBaseHelper::attributeString( Quor::AttrId id ) const {
   return id == kName ? "name" : "";
}

// By value: the report names the signature.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void OrloBaseHelper::orloAssert( Quor::String message ) const {
   if( std::getenv( "ORLO_NOOP_AGENT" ) ) {
      return;
   }
   std::cerr << message << std::endl;
   Quor::assertionFailed(
         { "0", 24, "OrloCommon", "void Orlo::OrloBaseHelper::orloAssert(Quor::String) const" } );
}

} // namespace Orlo
