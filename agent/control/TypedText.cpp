#include "agent/control/TypedText.h"

#include "quor/GenericInstance.h"

namespace OrloAgent {

using Quor::Attribute;
using Quor::GenericIf;
using Quor::GenericList;
using Quor::Ptr;
using Quor::Type;

namespace {

using Fields = std::vector<GenericList::Element>;

std::vector<const Attribute *> fieldsOf( const Type &type ) {
   std::vector<const Attribute *> fields;
   for( const Attribute &attribute : type.attributes ) {
      if( attribute.isParameter && !type.isEntity ) {
         fields.push_back( &attribute );
      }
   }
   return fields;
}

/// Reads the fields from one on. A field may have commas of its own: every comma that can end it is
/// tried, the nearest first.
bool readFields( const std::vector<const Attribute *> &types, const std::string &text,
                 Fields &fields ) {
   const std::size_t at = fields.size();
   const Type &type = *types[at]->type();
   const bool isLast = at + 1 == types.size();
   for( std::size_t comma = isLast ? text.size() : text.find( ',' ); comma != std::string::npos;
        comma = isLast ? std::string::npos : text.find( ',', comma + 1 ) ) {
      try {
         fields.push_back( { "", type.parse( text.substr( 0, comma ), true ) } );
      } catch( const Quor::RangeException & ) {
         continue;
      }
      if( isLast || readFields( types, text.substr( comma + 1 ), fields ) ) {
         return true;
      }
      fields.pop_back();
   }
   return false;
}

} // namespace

Ptr<GenericIf> typedValue( const Type &type, const std::string &text ) {
   if( text.size() > kMostValueText ) {
      throw Quor::RangeException( "a text of " + std::to_string( text.size() ) +
                                  " bytes is too long for a value" );
   }
   if( !type.parse ) {
      throw Quor::RangeException( "a " + std::string( type.name ) + " has no text" );
   }
   try {
      return type.parse( text, true );
   } catch( const Quor::RangeException & ) {
      const std::vector<const Attribute *> types = fieldsOf( type );
      Fields fields;
      if( types.empty() || !readFields( types, text, fields ) ) {
         throw;
      }
      return type.construct( *Quor::make<GenericList>( std::move( fields ) ) );
   }
}

std::string shortText( const Ptr<GenericIf> &value ) {
   std::string text;
   for( const Attribute *const field : fieldsOf( *value->type() ) ) {
      text +=
            ( text.empty() ? "" : "," ) + value->attributeOp( field->id, Quor::Op::get )->strRep();
   }
   return text.empty() ? value->strRep() : text;
}

nlohmann::json jsonOf( const Ptr<GenericIf> &value ) {
   if( !value ) {
      return nullptr;
   }
   if( const void *const number = value->voidPtrIs( Quor::typeOf<Quor::U32>() ) ) {
      return *static_cast<const Quor::U32 *>( number );
   }
   if( const void *const flag = value->voidPtrIs( Quor::typeOf<bool>() ) ) {
      return *static_cast<const bool *>( flag );
   }
   if( value->type()->isEntity ) {
      return { { "type", value->type()->name }, { "text", value->strRep() } };
   }
   return value->strRep();
}

} // namespace OrloAgent
