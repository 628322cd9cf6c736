// Typed values into generic ones, and out of them.
#ifndef QUOR_UNWRAP_H
#define QUOR_UNWRAP_H

#include "quor/GenericInstance.h"

namespace Quor::Rows {

template <class V>
Ptr<GenericIf> wrap( const V &value ) {
   return genericIf( value );
}
template <class E>
Ptr<GenericIf> wrap( const ValidPtr<E> &entity ) {
   return genericIf( static_cast<const Ptr<E> &>( entity ) );
}
template <class E>
Ptr<GenericIf> wrap( E *const &entity ) {
   return genericIf( Ptr<E>::share( entity ) );
}

/// Reads a T; TypeException naming `what` when there is none.
template <class T>
struct Unwrap {
   static T from( GenericIf *value, std::string_view what ) {
      void *const found = value ? value->voidPtrIs( typeOf<T>() ) : nullptr;
      if( !found ) {
         throw TypeException( what );
      }
      return *static_cast<const T *>( found );
   }
};
template <class E>
struct Unwrap<Ptr<E>> {
   static Ptr<E> from( GenericIf *value, std::string_view what ) {
      void *const found = value ? value->voidPtrIs( typeOf<std::remove_const_t<E>>() ) : nullptr;
      if( !found ) {
         throw TypeException( what );
      }
      if( value->isConst() && !std::is_const_v<E> ) {
         throw ConstException();
      }
      return Ptr<E>::share( static_cast<E *>( found ) );
   }
};

template <class E>
struct Unwrap<E *> {
   static E *from( GenericIf *value, std::string_view what ) {
      return Unwrap<Ptr<E>>::from( value, what ).get();
   }
};

} // namespace Quor::Rows

#endif
