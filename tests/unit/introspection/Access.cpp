#include "tests/unit/introspection/Access.h"

#include "quor/GenericException.h"

namespace IntrospectionTests {

String shown( const Any &any ) {
   if( !any ) {
      return "nothing";
   }
   return String( any->isConst() ? "const " : "" ) + String( any->type()->name ) + " " +
          any->strRep();
}

namespace {

template <class E>
bool is( const std::exception &error ) {
   return dynamic_cast<const E *>( &error ) != nullptr;
}

const char *className( const std::exception &error ) {
   return is<Quor::ConstException>( error )                   ? "ConstException"
          : is<Quor::TypeException>( error )                  ? "TypeException"
          : is<Quor::BadIndexException>( error )              ? "BadIndexException"
          : is<Quor::OperationNotSupportedException>( error ) ? "OperationNotSupportedException"
          : is<Quor::UnknownArgumentException>( error )       ? "UnknownArgumentException"
          : is<Quor::NoSuchAttributeException>( error )       ? "NoSuchAttributeException"
          : is<Quor::NoSuchTypeException>( error )            ? "NoSuchTypeException"
          : is<Quor::NameInUseException>( error )             ? "NameInUseException"
          : is<Quor::RangeException>( error )                 ? "RangeException"
                                                              : "another exception";
}

} // namespace

String shown( const std::exception &error ) {
   return String( className( error ) ) + ": " + error.what();
}

Any perform( const Any &instance, const String &name, AttrOp op, const Any &key,
             const Any &value ) {
   return instance->attributeOp( instance->attributeId( name ), op, key, value );
}

String did( const Any &instance, const String &name, AttrOp op, const Any &key, const Any &value ) {
   return outcome( [&] { return perform( instance, name, op, key, value ); } );
}

Lines walked( std::unique_ptr<AttributeIterator> at ) {
   Lines lines;
   for( ; at->nonNull(); at->iterInc() ) {
      lines.push_back( shown( at->iterKey() ) + " -> " + shown( at->iterObj() ) );
   }
   return lines;
}

Lines walked( const Any &instance, const String &name ) {
   return walked( instance->attributeIteratorConst( instance->attributeId( name ) ) );
}

} // namespace IntrospectionTests
