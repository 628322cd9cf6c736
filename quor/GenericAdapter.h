// The inside of GenericNotifiee.h: a watcher of a known type that tells an observer of none.
#ifndef QUOR_GENERICADAPTER_H
#define QUOR_GENERICADAPTER_H

#include "quor/Entity.h"
#include "quor/GenericObserver.h"

namespace Quor {

/// Watches entities of type E like any other of E's watchers, and passes every change on under the
/// identifier and key type of E's description. The observer must outlive it. A change that nobody
/// observes costs it nothing; one that it passes on costs the wrapping of its key.
template <class E>
class GenericAdapter : public E::Notifiee {
 public:
   explicit GenericAdapter( GenericObserver &observer ) : observer_( observer ) {
      this->isGenericIs( true );
   }

 protected:
   void onAttribute( AttrId id, const void *key ) override;

 private:
   GenericObserver &observer_;
};

/// Tells the observer of a change of an instance of `type`. An identifier that the type does not
/// describe is not told: the instance is of a derived type.
void tell( GenericObserver &observer, const Type &type, AttrId id, const void *key );

template <class E>
void GenericAdapter<E>::onAttribute( AttrId id, const void *key ) {
   tell( observer_, *typeOf<E>(), id, key );
}

namespace Rows {

template <class E>
Ptr<NotifieeConst> watch( void *instance, GenericObserver &observer, Binding binding ) {
   const auto adapter = make<GenericAdapter<E>>( observer );
   const auto entity = Ptr<E>::share( static_cast<E *>( instance ) );
   if( binding == Binding::counted ) {
      adapter->notifierIs( entity );
   } else {
      adapter->uncountedNotifierIs( entity );
   }
   adapter->isRegisteredNotifieeIs( true );
   return adapter;
}

/// Null when E has no watchers, or declares them only.
template <class E>
constexpr auto watchOf() -> decltype( Type::watch ) {
   if constexpr( requires { sizeof( typename E::Notifiee ); } ) {
      return &watch<E>;
   } else {
      return nullptr;
   }
}

} // namespace Rows

} // namespace Quor

#endif
