// What the framework knows of a type: its name and its attributes, and how to reach them in an
// instance.
//
// A Type is a constant, made once from the type's description (Describe.h). Everything here works
// on plain pointers to instances; GenericIf.h is the safe way to use it.
#ifndef QUOR_TYPE_H
#define QUOR_TYPE_H

#include "quor/PtrInterface.h"
#include "quor/Types.h"

#include <array>
#include <memory>
#include <span>
#include <string_view>

namespace Quor {

class AttributeIterator;
class GenericIf;
class GenericList;
class GenericObserver;
class NotifieeConst;
struct Type;
enum class Binding;

/// What is done to an attribute. Codes of 128 and above modify.
using AttrOp = U32;
namespace Op {
inline constexpr AttrOp get =
      0; ///< the value; of a collection, the one under a key; calls a function
inline constexpr AttrOp size = 1;     ///< the number of members of a collection
inline constexpr AttrOp capacity = 2; ///< the number of its buckets, or of a queue's pages
inline constexpr AttrOp isMember = 3; ///< is the key there?
inline constexpr AttrOp firstModifying = 128;
inline constexpr AttrOp set = 128;
inline constexpr AttrOp remove = 129; ///< gives what was removed
} // namespace Op

enum class AttrKind : U8 {
   value,      ///< a plain value, read and perhaps written
   pointer,    ///< a pointer to another object
   collection, ///< a keyed collection
   queue,      ///< a position-keyed queue
   function    ///< a function, called by name
};

/// One row of a type's description. Identifiers and names are unique within a type.
struct Attribute {
   static constexpr std::size_t kMostArguments = 3;
   using Operate = Ptr<GenericIf> ( * )( void *instance, const Attribute &attribute, AttrOp op,
                                         GenericIf *key, GenericIf *value );
   using Iterate = std::unique_ptr<AttributeIterator> ( * )( void *instance,
                                                             const Attribute &attribute,
                                                             GenericIf *from );
   using TypeOf = const Type *(*)();
   using WrapKey = Ptr<GenericIf> ( * )( const void *key );

   std::string_view name;
   AttrKind kind{};
   bool isParameter = false; ///< of the constructor
   bool isWritable = false;  ///< can be set
   bool isConst = false;     ///< a function that may be called through a const interface
   TypeOf key = nullptr;     ///< of a collection
   TypeOf type = nullptr;    ///< of the value, or of what a function gives
   std::array<std::string_view, kMostArguments> arguments{}; ///< of a function
   std::array<TypeOf, kMostArguments> argumentTypes{};
   Operate operate = nullptr;
   Iterate iterate = nullptr; ///< of a collection
   WrapKey wrapKey = nullptr; ///< of a collection: the interface to one of its keys
   AttrId id = 0;
};

struct Type {
   std::string_view name;
   std::span<const Attribute> attributes{};
   bool isEntity = false;
   const Type *base = nullptr;            ///< whose attributes an instance has as well
   void *( *toBase )( void * ) = nullptr; ///< the base part of an instance
   String ( *text )( const void * ) = nullptr;
   /// Of entities: the interface to an object of this type or of one that derives from it, when
   /// only the object's fwkType() is known. A null object is not allowed.
   Ptr<GenericIf> ( *wrap )( PtrInterface *object, bool isConst ) = nullptr;
   /// Of values: reads a whole text.
   Ptr<GenericIf> ( *parse )( const String &text, bool isConst ) = nullptr;
   /// Makes an instance from the values of its constructor parameters; null when it cannot be made
   /// by name.
   Ptr<GenericIf> ( *construct )( const GenericList &parameters ) = nullptr;
   /// Makes a watcher that is registered at an instance, and tells the observer of every change;
   /// null when the type tells nobody.
   Ptr<NotifieeConst> ( *watch )( void *instance, GenericObserver &observer,
                                  Binding binding ) = nullptr;

   /// The same type: each shared object that uses a description has its own copy of the constant.
   constexpr bool operator==( const Type &other ) const noexcept {
      return this == &other || name == other.name;
   }
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
   /// The name without its namespaces.
   constexpr std::string_view shortName() const noexcept {
      return name.substr( name.rfind( ':' ) + 1 );
   }
};

/// The description of a type; specialised once per type.
template <class T>
struct Describe;

/// The registered type of T.
template <class T>
const Type *typeOf() {
   return &Describe<T>::type;
}

} // namespace Quor

#endif
