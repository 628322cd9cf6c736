#include "quor/GenericNotifiee.h"

#include "quor/GenericException.h"

namespace Quor {

namespace {

Ptr<NotifieeConst> watching( const Ptr<GenericIf> &any, GenericObserver &observer,
                             Binding binding ) {
   if( !any ) {
      throw TypeException( "what is to be watched" );
   }
   const Type &type = *any->type();
   if( !type.watch ) {
      throw NotWatchableException( type.name );
   }
   return type.watch( any->voidPtrIs( &type ), observer, binding );
}

} // namespace

GenericNotifiee::GenericNotifiee( const Ptr<GenericIf> &any, GenericObserver &observer,
                                  Binding binding )
      : adapter_( watching( any, observer, binding ) ) {}

GenericNotifiee::~GenericNotifiee() {
   // At once: a notification that is under way may hold the adapter for a while yet, but does not
   // call what nobody else holds.
   adapter_->isRegisteredNotifieeIs( false );
}

} // namespace Quor
