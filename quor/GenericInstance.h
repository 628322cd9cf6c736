// Interfaces to instances: every value and every entity of a described type can be wrapped.
#ifndef QUOR_GENERICINSTANCE_H
#define QUOR_GENERICINSTANCE_H

#include "quor/GenericException.h"
#include "quor/GenericIf.h"
#include "quor/Name.h"

namespace Quor {

/// The interface to a value: holds a copy.
template <class T>
class ValueGenericIf : public GenericIf {
 public:
   explicit ValueGenericIf( const T &value, bool isConst = false )
         : GenericIf( isConst ), value_( value ) {}

   const T &value() const noexcept { return value_; }
   const Type *type() const override { return typeOf<T>(); }
   Ptr<GenericIf> clone() const override { return make<ValueGenericIf>( value_, this->isConst() ); }

 protected:
   void *instance() const override { return const_cast<T *>( &value_ ); }

 private:
   T value_;
};

/// The interface to an entity: holds a reference.
template <class T>
class EntityGenericIf : public GenericIf {
 public:
   explicit EntityGenericIf( Ptr<T> entity, bool isConst = false )
         : GenericIf( isConst ), entity_( std::move( entity ) ) {}

   const Ptr<T> &entity() const noexcept { return entity_; }
   const Type *type() const override { return typeOf<T>(); }
   Ptr<GenericIf> clone() const override {
      return make<EntityGenericIf>( entity_, this->isConst() );
   }
   void hasNotificationActiveIs( bool on ) override { entity_->hasNotificationActiveIs( on ); }
   void quorDoZombieReactors( bool on ) override {
      if constexpr( requires( T & entity ) { entity.quorDoZombieReactors( on ); } ) {
         entity_->quorDoZombieReactors( on );
      }
   }

 protected:
   void *instance() const override { return entity_.get(); }

 private:
   Ptr<T> entity_;
};

/// Wraps a value.
template <class T>
Ptr<GenericIf> genericIf( const T &value, bool isConst = false ) {
   return make<ValueGenericIf<T>>( value, isConst );
}
/// Wraps a reference to an entity; null for null. One to a const entity gives a const interface.
template <class T>
Ptr<GenericIf> genericIf( const Ptr<T> &entity, bool isConst = std::is_const_v<T> ) {
   using Plain = std::remove_const_t<T>;
   if( !entity ) {
      return nullptr;
   }
   return make<EntityGenericIf<Plain>>( Ptr<Plain>::share( const_cast<Plain *>( entity.get() ) ),
                                        isConst || std::is_const_v<T> );
}

/// The same for an object of which only the base is known to the caller.
template <class T>
Ptr<GenericIf> wrapped( PtrInterface *object, bool isConst ) {
   return genericIf( Ptr<T>::share( static_cast<T *>( object ) ), isConst );
}

/// The class of a type object: what makes interfaces to instances of T.
template <class T>
struct TypeObject {
   static const Type *type() { return typeOf<T>(); }
   static Ptr<GenericIf> genericIf( const T &instance,
                                    bool isConst ) requires( !Describe<T>::type.isEntity ) {
      return Quor::genericIf( instance, isConst );
   }
   static Ptr<GenericIf> genericIf( const String &text,
                                    bool isConst ) requires( !Describe<T>::type.isEntity ) {
      return type()->parse( text, isConst );
   }
   static Ptr<GenericIf> genericIf( T &instance,
                                    bool isConst ) requires( Describe<T>::type.isEntity ) {
      return Quor::genericIf( ptrTo( instance ), isConst );
   }
   static Ptr<GenericIf> genericIf_( const Ptr<T> &entity,
                                     bool isConst ) requires( Describe<T>::type.isEntity ) {
      return Quor::genericIf( entity, isConst );
   }
};

/// The types of plain values, beside the record types that are described with attributes.
template <class T>
String textOf( const void *value ) {
   return valueToStrep( *static_cast<const T *>( value ) );
}
/// By the type's own reader of whole texts, which may take more than its reader of sequences.
template <class T>
Ptr<GenericIf> parsed( const String &text, bool isConst ) {
   if constexpr( requires { strepToValue( Strep<T>{}, text ); } ) {
      return genericIf( strepToValue( Strep<T>{}, text ), isConst );
   } else {
      return genericIf( wholeText<T>( text ), isConst );
   }
}
template <class T>
constexpr Type plainValue( std::string_view name ) {
   return { .name = name, .text = &textOf<T>, .parse = &parsed<T> };
}

template <>
struct Describe<bool> {
   static constexpr Type type = plainValue<bool>( "bool" );
};
template <>
struct Describe<U32> {
   static constexpr Type type = plainValue<U32>( "U32" );
};
template <>
struct Describe<String> {
   static constexpr Type type = plainValue<String>( "Quor::String" );
};
template <>
struct Describe<Name> {
   static constexpr Type type = plainValue<Name>( "Quor::Name" );
};

} // namespace Quor

#endif
