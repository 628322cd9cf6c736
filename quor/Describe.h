// How a type is described: once, as a constexpr table, from which everything else follows.
//
//    template <> struct Describe<Lamp> {
//       static constexpr auto attrs = attributes<Lamp::kLit>(
//             value<&Lamp::lit, &Lamp::litIs>( "lit" ),
//             function<&Lamp::blink>( "blink", "times" ) );
//       static constexpr Type type = entity<Lamp>( "Shop::Lamp", attrs );
//    };
//
// A row binds public things: the accessor that reads the attribute and the mutators that write it,
// so that access by name runs exactly the code of a typed access. A row that does not fit the type
// does not compile, nor does a table in which a name stands twice. Identifiers count up from the
// first one, row by row.
#ifndef QUOR_DESCRIBE_H
#define QUOR_DESCRIBE_H

#include "quor/Calls.h"
#include "quor/GenericAdapter.h"
#include "quor/Rows.h"

#include <algorithm>

namespace Quor {

/// A plain value; `Write` is its `xIs`, nullptr when it is fixed for the object's life.
template <auto Read, auto Write = nullptr>
constexpr Attribute value( std::string_view name ) {
   return { .name = name,
            .kind = AttrKind::value,
            .isWritable = Rows::kIsGiven<Write>,
            .type = &typeOf<Rows::ResultOf<Read>>,
            .operate = &Rows::operateValue<Read, Write> };
}

/// A pointer to another object.
template <auto Read, auto Write = nullptr>
constexpr Attribute pointer( std::string_view name ) {
   return { .name = name,
            .kind = AttrKind::pointer,
            .isWritable = Rows::kIsGiven<Write>,
            .type = &typeOf<Rows::Pointee<Rows::ResultOf<Read>>>,
            .operate = &Rows::operateValue<Read, Write> };
}

/// A value or pointer that the constructor takes, in the order of the rows.
constexpr Attribute parameter( Attribute row ) {
   row.isParameter = true;
   return row;
}

/// A collection: the accessor of the whole, its `xIs( key, value )` and its `xDel( key )`.
template <auto Read, Rows::SetOf<Read> Set, Rows::RemoveOf<Read> Remove>
constexpr Attribute keyed( std::string_view name ) {
   return Rows::collection<Read, Set, Remove>( name, AttrKind::collection );
}

/// A collection of objects that its owner makes, each filed under its own key; by name they can be
/// removed.
template <auto Read, Rows::RemoveOf<Read> Remove>
constexpr Attribute owned( std::string_view name ) {
   return Rows::collection<Read, nullptr, Remove>( name, AttrKind::collection );
}

/// A queue: the same by position key.
template <auto Read, Rows::SetOf<Read> Set, Rows::RemoveOf<Read> Remove>
constexpr Attribute queue( std::string_view name ) {
   return Rows::collection<Read, Set, Remove>( name, AttrKind::queue );
}

/// A function with the names of its arguments; several overloads may answer to one name, told apart
/// by the number of their arguments, the longest of which is the last.
template <auto... Functions, class... Names>
constexpr Attribute function( std::string_view name, Names... arguments ) {
   using Last = Rows::Last<Functions...>;
   static_assert( Last::kArity == sizeof...( Names ), "a name for each argument" );
   return { .name = name,
            .kind = AttrKind::function,
            .isConst = ( Rows::kIsConst<Functions> && ... ),
            .type = Last::kResultType,
            .arguments = { arguments... },
            .argumentTypes = Last::kArgumentTypes,
            .operate = &Rows::operateFunction<Functions...> };
}

template <class... A>
struct Taking {
   template <class T, class R>
   constexpr auto operator()( R ( T::*f )( A... ) ) const {
      return f;
   }
};
/// Chooses one of several functions of the same name: taking<U32>( &Lamp::blink ).
template <class... A>
inline constexpr Taking<A...> taking{};

/// The table of a type's own attributes.
template <AttrId First, class... Attributes>
constexpr auto attributes( Attributes... rows ) {
   std::array<Attribute, sizeof...( Attributes )> table{ rows... };
   AttrId id = First;
   for( Attribute &attribute : table ) {
      attribute.id = id++;
      const auto named = [&]( const Attribute &a ) { return a.name == attribute.name; };
      if( std::count_if( table.begin(), table.end(), named ) != 1 ) {
         throw "an attribute's name stands twice"; // at compile time
      }
   }
   return table;
}

/// A record: read from text, made from its fields.
template <class T, std::size_t N>
constexpr Type record( std::string_view name, const std::array<Attribute, N> &attributes ) {
   return { .name = name,
            .attributes = attributes,
            .text = &textOf<T>,
            .parse = &parsed<T>,
            .construct = &Rows::constructValue<T> };
}

/// An entity; `Make` makes one from its constructor parameters. It can be watched by name when T
/// has a Notifiee.
template <class T, auto Make = nullptr, std::size_t N>
constexpr Type entity( std::string_view name, const std::array<Attribute, N> &attributes ) {
   return { .name = name,
            .attributes = attributes,
            .isEntity = true,
            .text = &Rows::entityText<T>,
            .wrap = &wrapped<T>,
            .construct = Rows::constructorOf<T, Make>(),
            .watch = Rows::watchOf<T>() };
}

/// The same with the attributes of a base class behind its own.
template <class T, class Base, auto Make = nullptr, std::size_t N>
constexpr Type entityOn( std::string_view name, const std::array<Attribute, N> &attributes ) {
   Type type = entity<T, Make>( name, attributes );
   type.base = &Describe<Base>::type;
   type.toBase = []( void *instance ) -> void * {
      return static_cast<Base *>( static_cast<T *>( instance ) );
   };
   return type;
}

} // namespace Quor

#endif
