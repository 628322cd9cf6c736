// The registry of types: what exists in this process, found by name.
//
// A module registers its types when it is loaded, scope by scope:
//
//    IntrospectionReactor &registry = IntrospectionReactor::instance();
//    registry.handleNameSpace( "Shop" );
//    registry.handleType( typeOf<Lamp>(), nullptr ).hasGenericIfSupportIs( true );
//    registry.handleAttr( QuorAttr::attrIs( "lit", "bool", 0, 130 ) );
//    registry.handleScopeExit();   // of the type
//    registry.handleScopeExit();   // of the name space
//
// registerTypes() does that for described types.
#ifndef QUOR_INTROSPECTION_H
#define QUOR_INTROSPECTION_H

#include "quor/Type.h"

#include <map>
#include <memory>

namespace Quor {

/// What is known of an attribute beside its operation: for tools that list.
struct QuorAttr {
   enum Flag : U32 { kParameter = 1, kCollection = 2, kFunction = 4, kInstantiating = 8 };

   static QuorAttr attrIs( String name, String type, U32 flags, AttrId id ) {
      return { std::move( name ), std::move( type ), flags, id, {} };
   }

   String name;
   String type; ///< of the value, or of what a function gives; empty for nothing
   U32 flags = 0;
   AttrId id = 0;
   std::vector<QuorAttr> arguments; ///< of a function, in order; of a collection, its key
};

/// A type that has been declared.
class RegisteredType {
 public:
   RegisteredType( const Type *type, const Type *base ) : type_( type ), base_( base ) {}

   const Type *type() const noexcept { return type_; }
   const Type *base() const noexcept { return base_; }
   bool hasGenericIfSupport() const noexcept { return hasGenericIfSupport_; }
   void hasGenericIfSupportIs( bool value ) noexcept { hasGenericIfSupport_ = value; }
   const std::vector<QuorAttr> &attributes() const noexcept { return attributes_; }
   /// Null when there is no attribute of this name.
   const QuorAttr *find( std::string_view name ) const noexcept;

 private:
   friend class IntrospectionReactor;
   const Type *type_;
   const Type *base_;
   bool hasGenericIfSupport_ = false;
   std::vector<QuorAttr> attributes_;
};

/// The one registry of the process. Used while modules are loaded and unloaded, and read by tools;
/// one thread. A declaration outside of its scope, or of a name that is taken, throws
/// NameInUseException or RangeException.
class IntrospectionReactor {
 public:
   using Types = std::map<String, RegisteredType, std::less<>>;

   static IntrospectionReactor &instance();

   // Declarations, each inside the scope that was entered last.
   void handleNameSpace( const String &name );
   /// Enters the type's scope. Its full name must begin with the name spaces that are open.
   RegisteredType &handleType( const Type *type, const Type *base );
   /// Declares an attribute of the open type, and enters its context when it is a function: what is
   /// declared next are its arguments.
   void handleAttr( const QuorAttr &attribute );
   void handleAttrContextExit();
   /// Declares an attribute that creates nothing.
   void defNoninstantiatingAttr( QuorAttr attribute );
   void handleScopeExit();

   /// Forgets a type, when its module is unloaded; nothing when it is not there.
   void typeDel( const Type *type ) noexcept;

   /// Null when no type is registered under this name.
   const RegisteredType *find( const String &typeName ) const;
   /// The attribute of a registered type or of one of its bases; NoSuchTypeException,
   /// NoSuchAttributeException.
   const QuorAttr &attribute( const String &typeName, const String &name ) const;
   /// By full name, in order.
   const Types &types() const noexcept { return types_; }
   /// The scopes that are open: none between two modules' registrations.
   std::size_t openScopes() const noexcept { return scopes_.size(); }

 private:
   friend class Registration;
   struct Scope {
      String nameSpace;               ///< or
      RegisteredType *type = nullptr; ///< whose attributes are being declared
      bool isAttribute = false;       ///< the last of them, whose arguments are being declared
   };
   Scope &typeScope( const char *what );

   Types types_;
   std::vector<Scope> scopes_;
};

/// Declares described types with all their attributes, in the name space with these components: all
/// of them, or none when one is refused.
void registerTypes( const std::vector<String> &nameSpace, std::span<const Type *const> types );

} // namespace Quor

#endif
