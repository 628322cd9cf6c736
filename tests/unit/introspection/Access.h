// How the stories below reach attributes by name, and what they see: every answer and every failure
// as a line of text, with its type.
#ifndef TESTS_UNIT_INTROSPECTION_ACCESS_H
#define TESTS_UNIT_INTROSPECTION_ACCESS_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"
#include "types/VlanAndMac.h"

#include <vector>

namespace IntrospectionTests {

using Bridging::VlanId;
using Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;
using Pelmo::EthAddr;
using Pelmo::IntfId;
using Quor::AttributeIterator;
using Quor::AttrId;
using Quor::AttrOp;
using Quor::GenericIf;
using Quor::genericIf;
using Quor::GenericList;
using Quor::make;
using Quor::Ptr;
using Quor::String;
using Quor::Type;
using Quor::typeOf;
using Quor::U16;
using Quor::U32;
namespace Op = Quor::Op;

using Any = Ptr<GenericIf>;
using Lines = std::vector<String>;

/// The virtual router MAC of a VRID.
inline EthAddr mac( U16 vrid ) {
   return EthAddr( 0x0000, 0x5e00, static_cast<U16>( 0x0100 | vrid ) );
}
inline VlanAndMac pair( U16 vlan, U16 vrid ) {
   return VlanAndMac( VlanId( vlan ), mac( vrid ) );
}
inline const VlanAndMac a = pair( 10, 1 );
inline const VlanAndMac b = pair( 20, 1 );
inline const VlanAndMac c = pair( 30, 2 );

/// Values meant by their place.
template <class... Values>
Any listOf( const Values &...values ) {
   return make<GenericList>( std::vector<GenericList::Element>{ { "", values }... } );
}
/// Values meant by their name.
inline Any named( std::vector<GenericList::Element> elements ) {
   return make<GenericList>( std::move( elements ) );
}

/// "bool true", "const U32 3", "nothing" for null.
String shown( const Any &any );
/// The class of an exception and its text: "TypeException: missing value or ..."
String shown( const std::exception &error );

/// One operation on the attribute of this name.
Any perform( const Any &instance, const String &name, AttrOp op, const Any &key = nullptr,
             const Any &value = nullptr );

/// What an action gives, or how it fails.
template <class Action>
String outcome( Action action ) {
   try {
      return shown( action() );
   } catch( const std::exception &error ) {
      return shown( error );
   }
}

/// The same of one operation on the attribute of this name.
String did( const Any &instance, const String &name, AttrOp op, const Any &key = nullptr,
            const Any &value = nullptr );
inline String got( const Any &instance, const String &name, const Any &key = nullptr ) {
   return did( instance, name, Op::get, key );
}
/// Calls a function.
inline String called( const Any &instance, const String &name, const Any &arguments ) {
   return did( instance, name, Op::get, arguments );
}
/// An attribute that is there and can be read.
inline Any read( const Any &instance, const String &name ) {
   return perform( instance, name, Op::get );
}

/// "key -> value" of every entry from here to the end.
Lines walked( std::unique_ptr<AttributeIterator> at );
Lines walked( const Any &instance, const String &name );

// How failures read.
inline const String kConst = "ConstException: attempting to modify a const instance";
inline const String kNoList =
      "TypeException: missing value or value of another type: Quor::GenericIf::List_";
inline const String kNoKey = "TypeException: missing value or value of another type: quor_index";
inline String wrongType( const String &what ) {
   return "TypeException: missing value or value of another type: " + what;
}
inline String badIndex( const String &attribute ) {
   return "BadIndexException: bad index for attribute " + attribute;
}
inline String notSupported( const String &attribute, AttrOp op ) {
   return "OperationNotSupportedException: operation " + std::to_string( op ) +
          " not supported by attribute " + attribute;
}
inline String unknownArgument( const String &function ) {
   return "UnknownArgumentException: unknown argument of " + function;
}
inline String noAttribute( const String &type, const String &attribute ) {
   return "NoSuchAttributeException: " + type + " has no such attribute: " + attribute;
}

} // namespace IntrospectionTests

#endif
