#include "quor/GenericAdapter.h"

namespace Quor {

void tell( GenericObserver &observer, const Type &type, AttrId id, const void *key ) {
   if( id == kZeroReferences ) {
      observer.onZeroReferences();
      return;
   }
   for( const Type *at = &type; at; at = at->base ) {
      if( const Attribute *const attribute = at->find( id ) ) {
         const bool hasKey = key && attribute->wrapKey;
         observer.onAttribute( *attribute, hasKey ? attribute->wrapKey( key ) : nullptr );
         return;
      }
   }
}

} // namespace Quor
