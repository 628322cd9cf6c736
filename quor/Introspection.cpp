#include "quor/Introspection.h"

#include "quor/GenericException.h"

#include <algorithm>

namespace Quor {

namespace {

String nameOf( Attribute::TypeOf type ) {
   return type ? String( type()->name ) : String();
}

U32 flagsOf( const Attribute &attribute ) {
   const bool isCollection =
         attribute.kind == AttrKind::collection || attribute.kind == AttrKind::queue;
   return ( attribute.isParameter ? QuorAttr::kParameter : 0u ) |
          ( isCollection ? QuorAttr::kCollection : 0u ) |
          ( attribute.kind == AttrKind::function ? QuorAttr::kFunction : QuorAttr::kInstantiating );
}

} // namespace

const QuorAttr *RegisteredType::find( std::string_view name ) const noexcept {
   const auto found =
         std::find_if( attributes_.begin(), attributes_.end(),
                       [name]( const QuorAttr &attribute ) { return attribute.name == name; } );
   return found == attributes_.end() ? nullptr : &*found;
}

IntrospectionReactor &IntrospectionReactor::instance() {
   static IntrospectionReactor &registry = *new IntrospectionReactor; // outlives every module
   return registry;
}

void IntrospectionReactor::handleNameSpace( const String &name ) {
   if( !scopes_.empty() && scopes_.back().type ) {
      throw RangeException( "the name space " + name + " inside of a type" );
   }
   scopes_.push_back( { .nameSpace = name } );
}

RegisteredType &IntrospectionReactor::handleType( const Type *type, const Type *base ) {
   String prefix;
   for( const Scope &scope : scopes_ ) {
      prefix += scope.nameSpace + "::";
   }
   const String name( type->name );
   if( name != prefix + String( type->shortName() ) ) {
      throw RangeException( "the type " + name + " does not belong into " + prefix );
   }
   scopes_.reserve( scopes_.size() + 1 ); // so that a type is not left without its scope
   const auto [at, isNew] = types_.emplace( name, RegisteredType( type, base ) );
   if( !isNew ) {
      throw NameInUseException( "the type " + name + " is registered already" );
   }
   scopes_.push_back( { .nameSpace = {}, .type = &at->second } );
   return at->second;
}

IntrospectionReactor::Scope &IntrospectionReactor::typeScope( const char *what ) {
   if( scopes_.empty() || !scopes_.back().type ) {
      throw RangeException( String( what ) + " outside of a type" );
   }
   return scopes_.back();
}

void IntrospectionReactor::handleAttr( const QuorAttr &attribute ) {
   Scope &scope = typeScope( "an attribute" );
   std::vector<QuorAttr> &attributes = scope.type->attributes_;
   if( scope.isAttribute ) {
      attributes.back().arguments.push_back( attribute );
      return;
   }
   if( scope.type->find( attribute.name ) ) {
      throw NameInUseException( String( scope.type->type()->name ) + " has an attribute " +
                                attribute.name + " already" );
   }
   attributes.push_back( attribute );
   scope.isAttribute = ( attribute.flags & QuorAttr::kFunction ) != 0;
}

void IntrospectionReactor::handleAttrContextExit() {
   Scope &scope = typeScope( "the end of a function" );
   if( !scope.isAttribute ) {
      throw RangeException( "the end of a function outside of one" );
   }
   scope.isAttribute = false;
}

void IntrospectionReactor::defNoninstantiatingAttr( QuorAttr attribute ) {
   attribute.flags &= ~U32{ QuorAttr::kInstantiating };
   handleAttr( attribute );
}

void IntrospectionReactor::handleScopeExit() {
   if( scopes_.empty() || scopes_.back().isAttribute ) {
      throw RangeException( "the end of a scope that is not open" );
   }
   scopes_.pop_back();
}

void IntrospectionReactor::typeDel( const Type *type ) noexcept {
   const auto found = types_.find( type->name );
   if( found != types_.end() && found->second.type() == type ) {
      types_.erase( found );
   }
}

const RegisteredType *IntrospectionReactor::find( const String &typeName ) const {
   const auto found = types_.find( typeName );
   return found == types_.end() ? nullptr : &found->second;
}

const QuorAttr &IntrospectionReactor::attribute( const String &typeName,
                                                 const String &name ) const {
   const RegisteredType *type = find( typeName );
   if( !type ) {
      throw NoSuchTypeException( typeName );
   }
   while( type ) {
      if( const QuorAttr *const attribute = type->find( name ) ) {
         return *attribute;
      }
      type = type->base() ? find( String( type->base()->name ) ) : nullptr;
   }
   throw NoSuchAttributeException( typeName, name );
}

namespace {

void registerAttributes( IntrospectionReactor &registry, const Type *type ) {
   for( const Attribute &attribute : type->attributes ) {
      QuorAttr row = QuorAttr::attrIs( String( attribute.name ), nameOf( attribute.type ),
                                       flagsOf( attribute ), attribute.id );
      if( attribute.kind == AttrKind::function ) {
         registry.defNoninstantiatingAttr( row );
         for( std::size_t i = 0; i < Attribute::kMostArguments && !attribute.arguments[i].empty();
              ++i ) {
            registry.handleAttr( QuorAttr::attrIs( String( attribute.arguments[i] ),
                                                   nameOf( attribute.argumentTypes[i] ), 0,
                                                   static_cast<AttrId>( i ) ) );
         }
         registry.handleAttrContextExit();
         continue;
      }
      if( attribute.key ) {
         row.arguments.push_back( QuorAttr::attrIs( "quor_index", nameOf( attribute.key ), 0, 0 ) );
      }
      registry.handleAttr( row );
   }
}

} // namespace

/// Declarations that count all or not at all: when one is refused, the registry is as before.
class Registration {
 public:
   Registration( IntrospectionReactor &registry, std::span<const Type *const> types )
         : registry_( registry ), scopes_( registry.openScopes() ), types_( types ) {}
   ~Registration() {
      registry_.scopes_.resize( std::min( scopes_, registry_.scopes_.size() ) );
      for( std::size_t i = 0; i < begun_; ++i ) {
         registry_.typeDel( types_[i] );
      }
   }
   Registration( const Registration & ) = delete;
   Registration &operator=( const Registration & ) = delete;

   void run( const std::vector<String> &nameSpace ) {
      for( const String &name : nameSpace ) {
         registry_.handleNameSpace( name );
      }
      for( const Type *const type : types_ ) {
         begin( type );
         registerAttributes( registry_, type );
         registry_.handleScopeExit();
      }
      begun_ = 0;
   }

 private:
   void begin( const Type *type ) {
      registry_.handleType( type, type->base ).hasGenericIfSupportIs( true );
      ++begun_;
   }

   IntrospectionReactor &registry_;
   const std::size_t scopes_; // that were open before
   const std::span<const Type *const> types_;
   std::size_t begun_ = 0; // of them, to be taken back
};

void registerTypes( const std::vector<String> &nameSpace, std::span<const Type *const> types ) {
   Registration( IntrospectionReactor::instance(), types ).run( nameSpace );
}

} // namespace Quor
