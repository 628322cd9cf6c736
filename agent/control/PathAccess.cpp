#include "agent/control/PathAccess.h"

#include "agent/Text.h"
#include "agent/control/PathError.h"
#include "agent/control/TypedText.h"
#include "text/Nearest.h"

#include <algorithm>

namespace OrloAgent {

using nlohmann::json;
using Quor::Attribute;
using Quor::AttributeIterator;
using Quor::AttrKind;
using Quor::AttrOp;
using Quor::GenericIf;
using Quor::GenericList;
using Quor::Ptr;
using Quor::Type;
namespace Op = Quor::Op;

namespace {

const char *nameOf( AttrKind kind ) {
   switch( kind ) {
   case AttrKind::value:
      return "value";
   case AttrKind::pointer:
      return "pointer";
   case AttrKind::collection:
      return "collection";
   case AttrKind::queue:
      return "queue";
   case AttrKind::function:
      return "function";
   }
   return "";
}

json nameOf( Attribute::TypeOf type ) {
   return type ? json( type()->name ) : json( nullptr );
}

std::size_t arity( const Attribute &function ) {
   return static_cast<std::size_t>(
         std::count_if( function.arguments.begin(), function.arguments.end(),
                        []( std::string_view name ) { return !name.empty(); } ) );
}

json argumentsOf( const Attribute &function ) {
   json arguments = json::array();
   for( std::size_t i = 0; i < arity( function ); ++i ) {
      arguments.push_back( { { "name", function.arguments[i] },
                             { "type", nameOf( function.argumentTypes[i] ) } } );
   }
   return arguments;
}

json rowOf( const Ptr<GenericIf> &object, const Attribute &attribute ) {
   json row{ { "name", attribute.name },
             { "id", attribute.id },
             { "kind", nameOf( attribute.kind ) },
             { "type", nameOf( attribute.type ) },
             { "writable", attribute.isWritable && !object->isConst() } };
   switch( attribute.kind ) {
   case AttrKind::value:
   case AttrKind::pointer:
      row["value"] = jsonOf( object->attributeOp( attribute.id, Op::get ) );
      break;
   case AttrKind::collection:
   case AttrKind::queue:
      row["key"] = nameOf( attribute.key );
      row["size"] = jsonOf( object->attributeOp( attribute.id, Op::size ) );
      break;
   case AttrKind::function:
      row["arguments"] = argumentsOf( attribute );
   }
   return row;
}

std::string memberText( std::string_view collection, const Ptr<GenericIf> &key ) {
   return std::string( collection ) + "[" + shortText( key ) + "]";
}

/// What an attribute's own code throws is told with the path.
template <class Action>
auto telling( const std::string &path, Action action ) {
   try {
      return action();
   } catch( const PathError & ) {
      throw;
   } catch( const std::exception &error ) {
      throw PathError( shortened( path ) + ": " + error.what() );
   }
}

PathAccess::Rows rowsOfRoots( const Roots &roots ) {
   return [roots, at = std::size_t{ 0 }]( json &row ) mutable {
      if( at == roots.size() ) {
         return false;
      }
      const auto &[name, object] = *std::next( roots.begin(), static_cast<std::ptrdiff_t>( at++ ) );
      row = jsonOf( object );
      row["name"] = name;
      return true;
   };
}

PathAccess::Rows rowsOfObject( const Ptr<GenericIf> &object ) {
   return [object, attributes = Path::attributesOf( *object->type() ),
           at = std::size_t{ 0 }]( json &row ) mutable {
      if( at == attributes.size() ) {
         return false;
      }
      row = rowOf( object, *attributes[at++] );
      return true;
   };
}

PathAccess::Rows rowsOfCollection( const Path &path ) {
   return [text = path.text(),
           at = std::shared_ptr<AttributeIterator>(
                 path.object()->attributeIteratorConst( path.attribute()->id ) )]( json &row ) {
      if( !at->nonNull() ) {
         return false;
      }
      const Ptr<GenericIf> key = at->iterKey();
      row = { { "key", jsonOf( key ) },
              { "value", jsonOf( at->iterObj() ) },
              { "path", memberText( text, key ) } };
      at->iterInc();
      return true;
   };
}

} // namespace

// Reading

PathAccess::Rows PathAccess::list( const std::string &path ) const {
   if( path.empty() ) {
      return rowsOfRoots( roots_ );
   }
   const Path at( roots_, path );
   return telling( path, [&] {
      if( at.isCollection() && !at.key() ) {
         return rowsOfCollection( at );
      }
      const Ptr<GenericIf> object = at.value();
      if( !object ) {
         throw PathError( shortened( path ) + " is null" );
      }
      if( Path::attributesOf( *object->type() ).empty() ) {
         throw PathError( shortened( path ) + " is a " + std::string( object->type()->name ) +
                          ", which has no attributes" );
      }
      return rowsOfObject( object );
   } );
}

json PathAccess::get( const std::string &path ) const {
   const Path at( roots_, path );
   return telling( path, [&] {
      return at.isCollection() && !at.key()
                   ? jsonOf( at.object()->attributeOp( at.attribute()->id, Op::size ) )
             : at.attribute() ? jsonOf( at.value() )
                              : json{ { "type", at.object()->type()->name },
                                      { "text", at.object()->strRep() } };
   } );
}

// Changing

Ptr<GenericIf> PathAccess::valueFor( const Type &type, const std::string &text,
                                     const std::string &what ) const {
   if( !type.isEntity ) {
      try {
         return typedValue( type, text );
      } catch( const Quor::Exception &error ) {
         throw PathError( what + ", a " + std::string( type.name ) + ", cannot be " +
                          shortened( text ) + ": " + error.what() );
      }
   }
   Ptr<GenericIf> object = Path( roots_, text ).value();
   if( !object || object->type()->name != type.name ) {
      throw PathError( what + " cannot be " + shortened( text ) + ": it is " +
                       ( object ? "a " + std::string( object->type()->name ) : "null" ) +
                       ", not a " + std::string( type.name ) );
   }
   return object;
}

Ptr<GenericIf> PathAccess::perform( const Path &path, AttrOp op, const Ptr<GenericIf> &key,
                                    const Ptr<GenericIf> &value ) const {
   return telling( path.text(), [&] {
      const std::string harm = guard_.harm( { path.object(), *path.attribute(), op, key, value } );
      if( !harm.empty() ) {
         throw PathError( "refused: " + harm, PathError::Kind::refused );
      }
      return path.object()->attributeOp( path.attribute()->id, op, key, value );
   } );
}

void PathAccess::set( const std::string &path, const std::string &value ) const {
   const Path at( roots_, path );
   const std::string shown = shortened( path );
   if( !at.attribute() ) {
      throw PathError( shown + " is an object: its attributes can be set" );
   }
   if( at.isFunction() ) {
      throw PathError( shown + " is a function: it can be called" );
   }
   if( at.isInValue() ) {
      throw PathError( shown + " is part of a value, which is set as a whole" );
   }
   if( at.isCollection() && !at.key() ) {
      at.needMember(); // throws: there is none
   }
   if( !at.attribute()->isWritable ) {
      throw PathError( "refused: " + shown + " cannot be set", PathError::Kind::refused );
   }
   perform( at, Op::set, at.key(), valueFor( *at.attribute()->type(), value, shown ) );
}

json PathAccess::remove( const std::string &path ) const {
   const Path at( roots_, path );
   if( !at.isCollection() ) {
      throw PathError( shortened( path ) + " is no member of a collection" );
   }
   at.needMember();
   return jsonOf( perform( at, Op::remove, at.key(), nullptr ) );
}

GenericList::Element PathAccess::argument( const Path &path, std::size_t place,
                                           const std::string &text ) const {
   const Attribute &function = *path.attribute();
   const std::vector<std::string_view> names(
         function.arguments.begin(),
         function.arguments.begin() + static_cast<std::ptrdiff_t>( arity( function ) ) );
   const auto valueOf = [&]( std::size_t which, const std::string &value ) {
      return valueFor( *function.argumentTypes[which](), value,
                       std::string( names[which] ) + " of " + shortened( path.text() ) );
   };
   const std::size_t equals = text.find( '=' );
   const std::string name = text.substr( 0, equals );
   if( equals != std::string::npos ) {
      const auto named = std::find( names.begin(), names.end(), name );
      if( named != names.end() ) {
         return { name, valueOf( static_cast<std::size_t>( named - names.begin() ),
                                 text.substr( equals + 1 ) ) };
      }
   }
   const std::string suggestion =
         equals == std::string::npos ? "" : OrloText::didYouMean( name, names );
   if( !suggestion.empty() ) {
      throw PathError( "no argument " + shortened( name ) + " of " + shortened( path.text() ) +
                       suggestion );
   }
   if( place >= names.size() ) {
      throw PathError( shortened( path.text() ) + " takes " +
                       counted( names.size(), "argument", "arguments" ) );
   }
   return { "", valueOf( place, text ) };
}

json PathAccess::call( const std::string &path, const std::vector<std::string> &arguments ) const {
   const Path at( roots_, path );
   if( !at.isFunction() ) {
      throw PathError( shortened( path ) + " is no function" );
   }
   if( arguments.size() > kMostArguments ) {
      throw PathError( counted( arguments.size(), "argument", "arguments" ) + "; " +
                       std::to_string( kMostArguments ) + " are the most" );
   }
   std::vector<GenericList::Element> elements;
   elements.reserve( arguments.size() );
   for( const std::string &text : arguments ) {
      elements.push_back( argument( at, elements.size(), text ) );
   }
   return jsonOf(
         perform( at, Op::get, Quor::make<GenericList>( std::move( elements ) ), nullptr ) );
}

// Completing

namespace {

/// A walk to find the members whose keys begin with some text looks at no more than this.
constexpr std::size_t kMostLookedAt = 10000;

class Completions {
 public:
   Completions( std::string before, std::string_view begun )
         : before_( std::move( before ) ), begun_( begun ) {}

   bool isFull() const noexcept { return found_.size() == PathAccess::kMostCompletions; }
   void offer( const std::string &name ) {
      if( !isFull() && name.starts_with( begun_ ) ) {
         found_.push_back( before_ + name );
      }
   }
   void offerMembers( const std::string &name, AttributeIterator &at ) {
      for( std::size_t i = 0; i < kMostLookedAt && at.nonNull() && !isFull(); ++i, at.iterInc() ) {
         offer( memberText( name, at.iterKey() ) );
      }
   }
   std::vector<std::string> take() { return std::move( found_ ); }

 private:
   const std::string before_;
   const std::string_view begun_;
   std::vector<std::string> found_;
};

std::vector<std::string> completionsIn( const Ptr<GenericIf> &object, const std::string &before,
                                        std::string_view begun ) {
   Completions found( before, begun );
   const std::size_t bracket = begun.find( '[' );
   for( const Attribute *const attribute : Path::attributesOf( *object->type() ) ) {
      const std::string name( attribute->name );
      if( bracket == std::string_view::npos ) {
         found.offer( attribute->iterate ? name + "[" : name );
      } else if( attribute->iterate && begun.substr( 0, bracket ) == name ) {
         found.offerMembers( name, *object->attributeIteratorConst( attribute->id ) );
      }
   }
   return found.take();
}

} // namespace

std::vector<std::string> PathAccess::completions( const std::string &prefix ) const {
   if( prefix.size() > Path::kMostBytes ) {
      return {};
   }
   // Keys may have slashes of their own: the last one behind which a name can stand counts.
   for( std::size_t slash = prefix.rfind( '/' ); slash != std::string::npos;
        slash = slash == 0 ? std::string::npos : prefix.rfind( '/', slash - 1 ) ) {
      try {
         const Ptr<GenericIf> object = Path( roots_, prefix.substr( 0, slash ) ).value();
         if( object ) {
            return completionsIn( object, prefix.substr( 0, slash + 1 ),
                                  std::string_view( prefix ).substr( slash + 1 ) );
         }
      } catch( const std::exception & ) {
         continue;
      }
   }
   Completions found( "", prefix );
   for( const auto &[name, object] : roots_ ) {
      found.offer( name );
   }
   return found.take();
}

} // namespace OrloAgent
