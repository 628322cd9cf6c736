#include "agent/control/Path.h"

#include "agent/control/PathError.h"
#include "agent/control/TypedText.h"
#include "quor/Exception.h"
#include "text/Nearest.h"

#include <algorithm>

namespace OrloAgent {

using Quor::Attribute;
using Quor::AttrKind;
using Quor::GenericIf;
using Quor::Ptr;
using Quor::Type;

std::string shortened( std::string_view text ) {
   constexpr std::size_t kMost = 100;
   return text.size() <= kMost ? std::string( text )
                               : std::string( text.substr( 0, kMost ) ) + "...";
}

std::vector<const Attribute *> Path::attributesOf( const Type &type ) {
   std::vector<const Attribute *> all;
   for( const Type *at = &type; at; at = at->base ) {
      for( const Attribute &attribute : at->attributes ) {
         all.push_back( &attribute );
      }
   }
   return all;
}

Path::Path( const Roots &roots, std::string_view text ) : text_( text ) {
   if( text_.size() > kMostBytes ) {
      throw PathError( "a path of " + std::to_string( text_.size() ) + " bytes; " +
                       std::to_string( kMostBytes ) + " are the most" );
   }
   begin( roots );
   for( std::size_t components = 1; at_ < text_.size(); ++components ) {
      if( components == kMostComponents ) {
         throw PathError( here() + " leads on: a path has at most " +
                          std::to_string( kMostComponents ) + " names" );
      }
      follow();
      readComponent();
   }
}

/// The path as far as it has been read.
std::string Path::here() const {
   return shortened( std::string_view( text_ ).substr( 0, at_ ) );
}

void Path::begin( const Roots &roots ) {
   const std::string name = text_.substr( 0, text_.find_first_of( "/[" ) );
   const auto root = roots.find( name );
   if( root == roots.end() || !root->second ) {
      std::vector<std::string_view> names;
      for( const auto &[known, object] : roots ) {
         names.push_back( known );
      }
      throw PathError( name.empty() ? "a path begins with the name of an object"
                                    : "no object " + shortened( name ) +
                                            OrloText::didYouMean( name, names ) );
   }
   object_ = root->second;
   at_ = name.size();
   if( at_ < text_.size() && text_[at_] == '[' ) {
      throw PathError( here() + " is no collection" );
   }
}

bool Path::isCollection() const noexcept {
   return attribute_ &&
          ( attribute_->kind == AttrKind::collection || attribute_->kind == AttrKind::queue );
}

bool Path::isFunction() const noexcept {
   return attribute_ && attribute_->kind == AttrKind::function;
}

Ptr<GenericIf> Path::value() const {
   if( !attribute_ ) {
      return object_;
   }
   if( isFunction() ) {
      throw PathError( here() + " is a function: it can be called" );
   }
   if( isCollection() ) {
      needMember();
   }
   return object_->attributeOp( attribute_->id, Quor::Op::get, key_ );
}

void Path::needMember() const {
   if( !key_ ) {
      throw PathError( here() + " is a collection: a member of it is " + here() + "[KEY]" );
   }
   const Ptr<GenericIf> there = object_->attributeOp( attribute_->id, Quor::Op::isMember, key_ );
   if( there->strRep() != "true" ) {
      throw PathError( "no member " + here() );
   }
}

/// Goes to the object that the path leads to so far.
void Path::follow() {
   if( !attribute_ ) {
      return;
   }
   const Ptr<GenericIf> next = value();
   if( !next ) {
      throw PathError( here() + " is null" );
   }
   if( attributesOf( *next->type() ).empty() ) {
      throw PathError( here() + " is a " + std::string( next->type()->name ) +
                       ", which has no attributes" );
   }
   object_ = next;
   isInValue_ = isInValue_ || !next->type()->isEntity;
   attribute_ = nullptr;
   key_ = nullptr;
}

void Path::readComponent() {
   const std::string owner = here();
   const std::size_t from = at_ + 1; // behind the slash
   const std::size_t end = std::min( text_.find_first_of( "/[", from ), text_.size() );
   const std::string name = text_.substr( from, end - from );
   const std::vector<const Attribute *> attributes = attributesOf( *object_->type() );
   const auto found = std::find_if( attributes.begin(), attributes.end(),
                                    [&]( const Attribute *a ) { return a->name == name; } );
   if( found == attributes.end() ) {
      std::vector<std::string_view> names;
      names.reserve( attributes.size() );
      for( const Attribute *const known : attributes ) {
         names.push_back( known->name );
      }
      throw PathError( name.empty() ? "no name behind " + owner + "/"
                                    : "no attribute " + shortened( name ) + " in " + owner +
                                            OrloText::didYouMean( name, names ) );
   }
   attribute_ = *found;
   at_ = end;
   if( at_ < text_.size() && text_[at_] == '[' ) {
      readKey();
   }
}

void Path::readKey() {
   if( !isCollection() ) {
      throw PathError( here() + " is no collection" );
   }
   const Type &type = *attribute_->key();
   const std::size_t from = at_ + 1;
   std::string why;
   for( std::size_t end = text_.find( ']', from );
        end != std::string::npos && end - from <= kMostValueText;
        end = text_.find( ']', end + 1 ) ) {
      if( end + 1 < text_.size() && text_[end + 1] != '/' ) {
         continue;
      }
      try {
         key_ = typedValue( type, text_.substr( from, end - from ) );
         at_ = end + 1;
         return;
      } catch( const Quor::Exception &error ) {
         why = why.empty() ? error.what() : why;
      }
   }
   throw PathError( here() + " has no key " + shortened( text_.substr( at_ ) ) + ": " +
                    ( why.empty() ? "no ] ends it" : why ) + " (its keys are " +
                    std::string( type.name ) + ")" );
}

} // namespace OrloAgent
