// The inside of Describe.h: calling functions and constructors with a list of generic values.
#ifndef QUOR_CALLS_H
#define QUOR_CALLS_H

#include "quor/Members.h"
#include "quor/Unwrap.h"

#include <algorithm>
#include <sstream>

namespace Quor::Rows {

/// The element of this name, or without a name at this place; null when there is none.
const GenericList::Element *elementFor( const GenericList &list, std::string_view name,
                                        std::size_t place );
/// Its value; null when there is no such element, or nothing in it.
GenericIf *argument( const GenericList &list, std::string_view name, std::size_t place );

template <auto F, std::size_t... I>
Ptr<GenericIf> call( OwnerOf<F> &owner, const Attribute &function, const GenericList &list,
                     std::index_sequence<I...> ) {
   using Arguments = ArgumentsOf<F>;
   const Arguments arguments{ Unwrap<std::tuple_element_t<I, Arguments>>::from(
         argument( list, function.arguments[I], I ), function.arguments[I] )... };
   if constexpr( std::is_void_v<ResultOf<F>> ) {
      ( owner.*F )( std::get<I>( arguments )... );
      return nullptr;
   } else {
      return wrap( ( owner.*F )( std::get<I>( arguments )... ) );
   }
}

template <auto F>
inline constexpr std::size_t kArity = std::tuple_size_v<ArgumentsOf<F>>;

/// UnknownArgumentException naming `whose` unless every element of the list is one of the first
/// `most` names, or stands in one of the first `most` places, and none is given twice.
void needKnownArguments( const GenericList &list, std::span<const std::string_view> names,
                         std::size_t most, std::string_view whose );

/// Calls F when it takes as many arguments as there are, or is the only one of its name.
template <auto F, bool IsOnly>
bool tryCall( void *instance, const Attribute &function, const GenericList &list,
              Ptr<GenericIf> &result ) {
   if( !IsOnly && kArity<F> != list.elements().size() ) {
      return false;
   }
   result = call<F>( *static_cast<OwnerOf<F> *>( instance ), function, list,
                     std::make_index_sequence<kArity<F>>{} );
   return true;
}

template <auto... Functions>
Ptr<GenericIf> operateFunction( void *instance, const Attribute &function, AttrOp, GenericIf *key,
                                GenericIf * ) {
   const GenericList &list = needList( key );
   needKnownArguments( list, function.arguments, std::max( { kArity<Functions>... } ),
                       function.name );
   Ptr<GenericIf> result;
   if( !( tryCall<Functions, sizeof...( Functions ) == 1>( instance, function, list, result ) ||
          ... ) ) {
      throw TypeException( function.arguments[list.elements().size()] );
   }
   return result;
}

template <class V>
constexpr Attribute::TypeOf typeOrNone() {
   if constexpr( std::is_void_v<V> ) {
      return nullptr;
   } else {
      return &typeOf<Pointee<V>>;
   }
}

template <auto F, std::size_t... I>
constexpr std::array<Attribute::TypeOf, Attribute::kMostArguments>
argumentTypes( std::index_sequence<I...> ) {
   return { typeOrNone<std::tuple_element_t<I, ArgumentsOf<F>>>()... };
}

template <auto First, auto... Rest>
struct Last : Last<Rest...> {};
template <auto F>
struct Last<F> {
   static constexpr std::size_t kArity = Rows::kArity<F>;
   static constexpr Attribute::TypeOf kResultType = typeOrNone<ResultOf<F>>();
   static constexpr std::array<Attribute::TypeOf, Attribute::kMostArguments> kArgumentTypes =
         argumentTypes<F>( std::make_index_sequence<Rows::kArity<F>>{} );
};

// Instances.

/// The names of the attributes that a constructor takes, in order.
std::vector<std::string_view> parameterNames( const Type &type );

/// A default T with its fields set in order.
template <class T>
Ptr<GenericIf> constructValue( const GenericList &parameters ) {
   const Type &type = *typeOf<T>();
   const std::vector<std::string_view> names = parameterNames( type );
   needKnownArguments( parameters, names, names.size(), type.shortName() );
   Ptr<GenericIf> made = genericIf( T{} );
   for( std::size_t i = 0; i < names.size(); ++i ) {
      if( const GenericList::Element *const given = elementFor( parameters, names[i], i ) ) {
         made->attributeOp( type.find( names[i] )->id, Op::set, nullptr, given->value );
      }
   }
   return made;
}

template <auto Make, std::size_t... I>
auto constructWith( const GenericList &parameters, const std::vector<std::string_view> &names,
                    std::index_sequence<I...> ) {
   using Arguments = ArgumentsOf<Make>;
   const Arguments arguments{ Unwrap<std::tuple_element_t<I, Arguments>>::from(
         argument( parameters, names[I], I ), names[I] )... };
   return Make( std::get<I>( arguments )... );
}

template <class T, auto Make>
Ptr<GenericIf> constructEntity( const GenericList &parameters ) {
   const Type &type = *typeOf<T>();
   const std::vector<std::string_view> names = parameterNames( type );
   needKnownArguments( parameters, names, names.size(), type.shortName() );
   return wrap(
         constructWith<Make>( parameters, names, std::make_index_sequence<kArity<Make>>{} ) );
}

template <class T, auto Make>
constexpr auto constructorOf() -> decltype( Type::construct ) {
   if constexpr( std::is_null_pointer_v<decltype( Make )> ) {
      return nullptr;
   } else {
      return &constructEntity<T, Make>;
   }
}

/// What the entity writes to a stream; the name of its type when it writes nothing.
template <class T>
String entityText( const void *instance ) {
   if constexpr( requires( std::ostream & out, const T &entity ) { out << entity; } ) {
      std::ostringstream text;
      text << *static_cast<const T *>( instance );
      return text.str();
   } else {
      return String( typeOf<T>()->name );
   }
}

} // namespace Quor::Rows

#endif
