#include "quor/Exception.h"

namespace Quor {

void rethrowFromDeserializeAttr( const RangeException &error, const String &attributeName ) {
   throw RangeException( "attribute '" + attributeName + "': " + error.what() );
}

} // namespace Quor
