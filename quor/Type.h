// What the framework knows of a type: its name and its attributes, written once as a constexpr
// table.
//
//    template <> struct Describe<Lamp> {
//       static constexpr auto attrs = attributes<Lamp::kFirstAttribute>(
//             value<&Lamp::lit, &Lamp::litIs>( "lit" ),
//             function<&Lamp::blink>( "blink", "times" ) );
//       static constexpr Type type = describe( "Shop::Lamp", attrs );
//    };
//
// A row binds public things: the accessor that reads the attribute and the mutators that write it,
// so that access by name runs exactly the code of a typed access. A row that does not fit the type
// does not compile, nor does a table in which a name stands twice. Identifiers count up from the
// first one, row by row.
#ifndef QUOR_TYPE_H
#define QUOR_TYPE_H

#include "quor/HashMap.h"
#include "quor/LinkQueue.h"
#include "quor/Types.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <type_traits>

namespace Quor {

enum class AttrKind : U8 {
   value,      ///< a plain value, read and perhaps written
   pointer,    ///< a pointer to another object
   collection, ///< a keyed collection
   queue,      ///< a position-keyed queue
   function    ///< a function, called by name
};

struct Attribute {
   static constexpr std::size_t kMostArguments = 3;

   std::string_view name;
   AttrKind kind{};
   std::array<std::string_view, kMostArguments> arguments{}; // of a function
   AttrId id = 0;
};

struct Type {
   std::string_view name;
   std::span<const Attribute> attributes;

   /// Null when the type has no such attribute of its own.
   constexpr const Attribute *find( std::string_view attribute ) const noexcept {
      for( const Attribute &a : attributes ) {
         if( a.name == attribute ) {
            return &a;
         }
      }
      return nullptr;
   }
   constexpr const Attribute *find( AttrId id ) const noexcept {
      for( const Attribute &a : attributes ) {
         if( a.id == id ) {
            return &a;
         }
      }
      return nullptr;
   }
};

/// Specialised once per type, in the folder types/ of the module.
template <class T>
struct Describe;

namespace Rows {

/// Of a member function: its class, and what it gives without reference and const.
template <class F>
struct Member;
template <class T, class R, class... A>
struct Member<R ( T::* )( A... )> {
   using Owner = T;
   using Result = std::remove_cvref_t<R>;
};
template <class T, class R, class... A>
struct Member<R ( T::* )( A... ) const> : Member<R ( T::* )( A... )> {};
template <class T, class R, class... A>
struct Member<R ( T::* )( A... ) noexcept> : Member<R ( T::* )( A... )> {};
template <class T, class R, class... A>
struct Member<R ( T::* )( A... ) const noexcept> : Member<R ( T::* )( A... )> {};

template <auto Read>
using OwnerOf = typename Member<decltype( Read )>::Owner;
template <auto Read>
using ResultOf = typename Member<decltype( Read )>::Result;

/// The types in a collection: for HashMap<Key, Value> and LinkQueue<Value>.
template <class C>
struct Collection;
template <class K, class V>
struct Collection<HashMap<K, V>> {
   using Key = K;
   using Value = V;
};
template <class V, class L>
struct Collection<LinkQueue<V, L>> {
   using Key = U32;
   using Value = V;
};

template <auto Read>
using KeyOf = typename Collection<ResultOf<Read>>::Key;
template <auto Read>
using ValueOf = typename Collection<ResultOf<Read>>::Value;
template <class K>
using ByValueOrReference = std::conditional_t<( sizeof( K ) <= 4 ), K, const K &>;

template <auto Read>
using SetOf = void ( OwnerOf<Read>::* )( ByValueOrReference<KeyOf<Read>>,
                                         ByValueOrReference<ValueOf<Read>> );
template <auto Read>
using RemoveOf = ValueOf<Read> ( OwnerOf<Read>::* )( ByValueOrReference<KeyOf<Read>> );

} // namespace Rows

/// A plain value; `Write` is its `xIs`, nullptr when it is fixed for the object's life.
template <auto Read, auto Write = nullptr>
constexpr Attribute value( std::string_view name ) {
   static_assert( std::is_member_function_pointer_v<decltype( Read )> );
   return { .name = name, .kind = AttrKind::value };
}

/// A pointer to another object.
template <auto Read, auto Write = nullptr>
constexpr Attribute pointer( std::string_view name ) {
   static_assert( std::is_member_function_pointer_v<decltype( Read )> );
   return { .name = name, .kind = AttrKind::pointer };
}

/// A collection: the accessor of the whole, its `xIs( key, value )` and its `xDel( key )`.
template <auto Read, Rows::SetOf<Read> Set, Rows::RemoveOf<Read> Remove>
constexpr Attribute keyed( std::string_view name ) {
   return { .name = name, .kind = AttrKind::collection };
}

/// A collection of objects that its owner makes, each filed under its own key.
template <auto Read, auto Remove>
constexpr Attribute owned( std::string_view name ) {
   static_assert( std::is_member_function_pointer_v<decltype( Remove )> );
   return { .name = name, .kind = AttrKind::collection };
}

/// A queue: the same by position key.
template <auto Read, Rows::SetOf<Read> Set, Rows::RemoveOf<Read> Remove>
constexpr Attribute queue( std::string_view name ) {
   return { .name = name, .kind = AttrKind::queue };
}

/// A function with the names of its arguments; several overloads may answer to one name.
template <auto... Functions, class... Names>
constexpr Attribute function( std::string_view name, Names... arguments ) {
   static_assert( ( std::is_member_function_pointer_v<decltype( Functions )> && ... ) );
   return { .name = name, .kind = AttrKind::function, .arguments = { arguments... } };
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

template <std::size_t N>
constexpr Type describe( std::string_view name, const std::array<Attribute, N> &attributes ) {
   return { name, attributes };
}

} // namespace Quor

#endif
