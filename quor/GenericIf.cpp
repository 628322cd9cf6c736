#include "quor/GenericIf.h"

#include "quor/GenericException.h"

namespace Quor {

AttrId GenericIf::attributeId( const String &name ) const {
   for( const Type *at = type(); at; at = at->base ) {
      if( const Attribute *const attribute = at->find( name ) ) {
         return attribute->id;
      }
   }
   throw NoSuchAttributeException( type()->name, name );
}

GenericIf::Place GenericIf::find( AttrId id ) const {
   void *part = instance();
   for( const Type *at = type(); at; at = at->base ) {
      if( const Attribute *const attribute = at->find( id ) ) {
         return { part, attribute };
      }
      part = at->base ? at->toBase( part ) : part;
   }
   throw NoSuchAttributeException( type()->name, valueToStrep( id ) );
}

Ptr<GenericIf> GenericIf::attributeOp( AttrId id, AttrOp op, const Ptr<GenericIf> &key,
                                       const Ptr<GenericIf> &value ) {
   if( op >= Op::firstModifying && isConst_ ) {
      throw ConstException();
   }
   const Place place = find( id );
   const Attribute &attribute = *place.attribute;
   switch( attribute.kind ) {
   case AttrKind::value:
   case AttrKind::pointer:
      if( key ) {
         throw BadIndexException( attribute.name );
      }
      if( op != Op::get && op != Op::set ) {
         throw OperationNotSupportedException( attribute.name, op );
      }
      break;
   case AttrKind::function:
      if( op != Op::get ) {
         throw OperationNotSupportedException( attribute.name, op );
      }
      if( isConst_ && !attribute.isConst ) {
         throw ConstException();
      }
      break;
   case AttrKind::collection:
   case AttrKind::queue:
      if( op > Op::isMember && op != Op::set && op != Op::remove ) {
         throw OperationNotSupportedException( attribute.name, op );
      }
      if( !key && op != Op::size && op != Op::capacity ) {
         throw TypeException( "quor_index" );
      }
      break;
   }
   if( op == Op::set && !value ) {
      throw TypeException( attribute.name );
   }
   return attribute.operate( place.instance, attribute, op, key.get(), value.get() );
}

std::unique_ptr<AttributeIterator> GenericIf::iterate( AttrId id,
                                                       const Ptr<GenericIf> &from ) const {
   const Place place = find( id );
   if( !place.attribute->iterate ) {
      throw OperationNotSupportedException( place.attribute->name, Op::get );
   }
   return place.attribute->iterate( place.instance, *place.attribute, from.get() );
}

std::unique_ptr<AttributeIterator> GenericIf::attributeIteratorConst( AttrId id ) const {
   return iterate( id, nullptr );
}

std::unique_ptr<AttributeIterator>
GenericIf::attributeIteratorKeyConst( AttrId id, const Ptr<GenericIf> &key ) const {
   if( !key ) {
      throw TypeException( "quor_index" );
   }
   return iterate( id, key );
}

Ptr<GenericIf> GenericIf::genericIfListConstructor( const Ptr<GenericIf> &list ) const {
   const GenericList &parameters = needList( list.get() );
   if( !type()->construct ) {
      throw OperationNotSupportedException( type()->name, Op::get );
   }
   return type()->construct( parameters );
}

String GenericIf::strRep() const {
   return type()->text( instance() );
}

const Type *GenericList::type() const {
   return typeOf<GenericList>();
}

String Describe<GenericList>::text( const void *list ) {
   String text = "[";
   for( const auto &element : static_cast<const GenericList *>( list )->elements() ) {
      text += text.size() > 1 ? ", " : "";
      text += element.name.empty() ? "" : element.name + ": ";
      text += element.value ? element.value->strRep() : "null";
   }
   return text + "]";
}

const GenericList &needList( GenericIf *argument ) {
   const void *const list = argument ? argument->voidPtrIs( typeOf<GenericList>() ) : nullptr;
   if( !list ) {
      throw TypeException( typeOf<GenericList>()->name );
   }
   return *static_cast<const GenericList *>( list );
}

} // namespace Quor
