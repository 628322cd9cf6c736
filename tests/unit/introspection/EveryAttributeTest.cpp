// Every registered attribute of every type, with every operation that it supports, on the instances
// of a whole running system.
#include "quor/Introspection.h"
#include "tests/unit/introspection/Pipeline.h"

#include <gtest/gtest.h>

#include <map>

namespace IntrospectionTests {
namespace {

using Quor::Attribute;
using Quor::AttrKind;

/// A running system and an instance of every type in it, by the type's name. Values stand in for
/// arguments, keys and members as well: keys of collections of objects are there, others are not.
struct Live {
   Pipeline world;
   std::map<String, Any> instances;

   Live() {
      for( const Any &any : { genericIf( world.status ),
                              genericIf( world.vlanSets ),
                              genericIf( world.br10 ),
                              genericIf( world.table ),
                              genericIf( world.hardware ),
                              genericIf( world.helper ),
                              genericIf( Ptr<Orlo::OrloBaseHelper>( world.helper ) ),
                              genericIf( world.reflector ),
                              genericIf( world.programmer ),
                              genericIf( world.interface() ),
                              genericIf( world.macs() ),
                              genericIf( world.programmer->currentVrrpStateForInit() ),
                              genericIf( true ),
                              genericIf( U32{ 77 } ),
                              genericIf( String( "text" ) ),
                              genericIf( Quor::Name( "name" ) ),
                              genericIf( VlanId( 30 ) ),
                              genericIf( mac( 7 ) ),
                              genericIf( IntfId( "br10" ) ),
                              genericIf( c ),
                              genericIf( VirtualRouterMac( IntfId( "br10" ), mac( 7 ) ) ),
                              genericIf( Orlo::QueueMetadata{ 1, 1 } ) } ) {
         instances.emplace( any->type()->name, any );
      }
   }

   Any of( const Type *type ) const {
      const auto found = instances.find( String( type->name ) );
      return found == instances.end() ? nullptr : found->second;
   }

   /// A value to be written over `current`, which is null or of this type.
   Any another( const Type *type, const Any &current ) const {
      if( type == typeOf<bool>() ) {
         return genericIf( !current || current->strRep() == "false" );
      }
      if( type == typeOf<IntfId>() ) {
         return genericIf( IntfId( "br20" ) );
      }
      if( type == typeOf<Orlo::QueueMetadata>() ) { // its count follows from the entries
         Orlo::QueueMetadata metadata =
               *static_cast<const Orlo::QueueMetadata *>( current->voidPtrIs( type ) );
         metadata.nextKey = 40;
         return genericIf( metadata );
      }
      if( type == typeOf<VirtualRouterMacTable>() ) {
         return genericIf( virtualRouterMacTableFactory() );
      }
      if( type == typeOf<SviVlanSet>() ) {
         return genericIf( make<SviVlanSet>( IntfId( "br10" ) ) );
      }
      if( type == typeOf<EthAddrsForIntf>() ) {
         return genericIf( make<EthAddrsForIntf>( IntfId( "br10" ) ) );
      }
      return of( type );
   }
};

/// The same value, or the same object.
bool isSame( const Any &left, const Any &right ) {
   if( !left || !right || left->type() != right->type() ) {
      return !left && !right;
   }
   return left->type()->isEntity
                ? left->voidPtrIs( left->type() ) == right->voidPtrIs( right->type() )
                : left->strRep() == right->strRep();
}

/// Performs what one attribute supports, and tells it: "vlanId: get set".
class Performance {
 public:
   Performance( const Type *type, const Attribute &attribute )
         : instance_( live_.of( type ) ), attribute_( attribute ), name_( attribute.name ),
           line_( name_ + ":" ) {}

   String performed() {
      if( !instance_ ) {
         return name_ + " has no instance";
      }
      EXPECT_EQ( instance_->attributeId( name_ ), attribute_.id );
      switch( attribute_.kind ) {
      case AttrKind::value:
      case AttrKind::pointer:
         plain();
         break;
      case AttrKind::collection:
      case AttrKind::queue:
         collection();
         break;
      case AttrKind::function:
         function();
      }
      return line_;
   }

 private:
   Any perform( AttrOp op, const Any &key = nullptr, const Any &value = nullptr ) {
      return instance_->attributeOp( attribute_.id, op, key, value );
   }
   String failure( AttrOp op, const Any &key = nullptr, const Any &value = nullptr ) {
      return outcome( [&] { return perform( op, key, value ); } );
   }
   /// Adds the word when the set was done; it is either done or not supported.
   bool canSet( const Any &key, const Any &value ) {
      const String result = failure( Op::set, key, value );
      EXPECT_EQ( attribute_.isWritable, result != notSupported( name_, Op::set ) ) << line_;
      if( !attribute_.isWritable ) {
         return false;
      }
      EXPECT_EQ( result, "nothing" ) << line_;
      line_ += " set";
      return true;
   }

   void plain() {
      const Any current = perform( Op::get );
      line_ += current ? " get" : " get-nothing";
      if( current ) {
         EXPECT_EQ( current->type(), attribute_.type() ) << line_;
      }
      const Any value = live_.another( attribute_.type(), current );
      for( const AttrOp op : { Op::size, Op::capacity, Op::isMember, Op::remove } ) {
         EXPECT_EQ( failure( op, nullptr, value ), notSupported( name_, op ) );
      }
      EXPECT_EQ( failure( Op::get, genericIf( U32{ 0 } ) ), badIndex( name_ ) );
      EXPECT_TRUE( isSame( perform( Op::get ), current ) ) << line_;
      const bool isSet = canSet( nullptr, value );
      EXPECT_TRUE( isSame( perform( Op::get ), isSet ? value : current ) ) << line_;
   }

   bool isMember( const Any &key ) { return perform( Op::isMember, key )->strRep() == "true"; }
   std::size_t size() { return std::stoul( perform( Op::size )->strRep() ); }
   std::size_t walked() {
      std::size_t count = 0;
      for( const auto at = instance_->attributeIteratorConst( attribute_.id ); at->nonNull();
           at->iterInc() ) {
         EXPECT_EQ( at->iterKey()->type(), attribute_.key() );
         EXPECT_EQ( at->iterObj()->type(), attribute_.type() );
         EXPECT_TRUE( isMember( at->iterKey() ) );
         EXPECT_TRUE( isSame( perform( Op::get, at->iterKey() ), at->iterObj() ) );
         const auto same = instance_->attributeIteratorKeyConst( attribute_.id, at->iterKey() );
         EXPECT_TRUE( isSame( same->iterKey(), at->iterKey() ) );
         ++count;
      }
      return count;
   }

   void collection() {
      const Any key = live_.of( attribute_.key() );
      const Any value = live_.another( attribute_.type(), nullptr );
      ASSERT_TRUE( key && value ) << line_;
      const std::size_t before = size();
      const bool ofObjects = attribute_.type()->isEntity;
      EXPECT_EQ( isMember( key ), ofObjects ) << line_;
      EXPECT_EQ( static_cast<bool>( perform( Op::get, key ) ), true ) << line_;
      EXPECT_GT( perform( Op::capacity )->strRep().size(), 0u );
      line_ += " get size capacity isMember";
      if( canSet( key, value ) ) {
         EXPECT_TRUE( isSame( perform( Op::get, key ), value ) ) << line_;
      }
      EXPECT_TRUE( isMember( key ) ) << line_;
      EXPECT_EQ( size(), ofObjects ? before : before + 1 ) << line_;
      EXPECT_EQ( walked(), size() ) << line_;
      line_ += " walk";
      const Any present = perform( Op::get, key );
      EXPECT_TRUE( isSame( perform( Op::remove, key ), present ) ) << line_;
      EXPECT_FALSE( isMember( key ) ) << line_;
      EXPECT_EQ( size(), ofObjects ? before - 1 : before ) << line_;
      line_ += " remove";
   }

   void function() {
      std::vector<GenericList::Element> arguments;
      for( std::size_t i = 0; i < Attribute::kMostArguments && attribute_.argumentTypes[i]; ++i ) {
         arguments.push_back( { "", live_.of( attribute_.argumentTypes[i]() ) } );
         EXPECT_NE( arguments.back().value, nullptr ) << line_;
      }
      EXPECT_EQ( failure( Op::get, genericIf( U32{ 0 } ) ), kNoList );
      EXPECT_EQ( failure( Op::get, named( { { "nonsense", genericIf( true ) } } ) ),
                 unknownArgument( name_ ) );
      for( const AttrOp op : { Op::size, Op::capacity, Op::isMember, Op::set, Op::remove } ) {
         EXPECT_EQ( failure( op, named( arguments ), genericIf( true ) ),
                    notSupported( name_, op ) );
      }
      const Any result = perform( Op::get, named( arguments ) );
      EXPECT_EQ( result ? result->type() : nullptr, attribute_.type ? attribute_.type() : nullptr );
      line_ += " call";
   }

   Live live_;
   Any instance_;
   const Attribute &attribute_;
   const String name_;
   String line_;
};

const std::map<String, Lines> &expectations() {
   static const String kReflector = "Orlo::VrrpPrivateVlanReflectorLib::";
   static const String kFlags = ": get size capacity isMember set walk remove";
   static const String kObjects = ": get size capacity isMember walk remove";
   static const std::map<String, Lines> expected{
         { "IntfVlanIdSet::SviVlanSet", { "vlanIntf: get", "vlanId" + kFlags } },
         { "IntfVlanIdSet::Table", { "sviVlanSet" + kObjects } },
         { "Orlo::OrloBaseHelper", { "name: get" } },
         { "OrloHelper::CurrentVrrpStateForInit", { "virtualRouterIndex" + kFlags } },
         { "OrloHelper::VrrpSmHelper",
           { "syncCurrentStateOnInit: get set", "addVirtualRouterMac: call",
             "deleteVirtualRouterMac: call", "syncVrrpStateOnInit: call",
             "initializationComplete: call" } },
         { "Orlo::VrrpSm",
           { "vrrpMacStatus: get set", "vrrpHwStatus: get", "vrrpHelper: get",
             "freeVirtualRouterIndex" + kFlags, "virtualRouterIndex" + kFlags,
             "macsNeedingVirtualRouterIndex" + kFlags, "currentVrrpStateForInit: get",
             "initialized: get set", "freeVirtualRouterIndexMetadata: get set",
             "macsNeedingVirtualRouterIndexMetadata: get set", "handleVrrpMac: call",
             "handleInitialized: call", "doAddVirtualRouterMac: call",
             "doDeleteVirtualRouterMac: call", "doCleanup: call", "quorFwkActivity: get",
             "hasNotificationActiveIs: call", "quorDoZombieReactors: call" } },
         { kReflector + "VlanAndMac", { "vlanId: get set", "mac: get set", "hash: call" } },
         { kReflector + "VirtualRouterMacTable", { "virtualRouterMac" + kFlags } },
         { kReflector + "EthAddrsForIntf", { "vlanIntf: get", "ethAddr" + kFlags, "fwkKey: get" } },
         { kReflector + "VlanIntfSm",
           { "libSm: get", "sviVlanSet: get set", "dmacList: get set", "intf: get",
             "initialized: get set", "handleVlanId: call", "handleDmac: call",
             "handleInitialized: call", "doCleanup: call", "fwkKey: get", "quorFwkActivity: get",
             "hasNotificationActiveIs: call", "quorDoZombieReactors: call" } },
         { kReflector + "LibSm",
           { "virtualRouterMacStatusIn: get", "intfVlanIdSetTable: get",
             "virtualRouterMacTableOut: get", "vlanIntfSm" + kObjects, "dmacsForIntf" + kObjects,
             "disableCleanupOnRestart: get set", "initialized: get set",
             "handleVirtualRouterMac: call", "handleDmacsForIntf: call", "handleInitialized: call",
             "quorFwkActivity: get", "hasNotificationActiveIs: call",
             "quorDoZombieReactors: call" } },
         { "Routing::Fhrp::Hardware::Status", { "virtualRouterCount: get set" } },
         { "Routing::Fhrp::VirtualRouterMac", { "intf: get set", "mac: get set" } },
         { "Routing::Fhrp::VirtualRouterMacStatus", { "vrrpVirtualMac" + kFlags } } };
   return expected;
}

TEST( EveryAttribute, SupportsTheseOperationsAndNoOther ) {
   for( const auto &[name, registered] : Quor::IntrospectionReactor::instance().types() ) {
      Lines lines;
      for( const Quor::QuorAttr &row : registered.attributes() ) {
         const Attribute *const attribute = registered.type()->find( row.name );
         ASSERT_NE( attribute, nullptr ) << name << " " << row.name;
         EXPECT_EQ( attribute->id, row.id );
         lines.push_back( Performance( registered.type(), *attribute ).performed() );
      }
      const auto expected = expectations().find( name );
      EXPECT_EQ( lines, expected == expectations().end() ? Lines{} : expected->second ) << name;
   }
   for( const auto &[name, lines] : expectations() ) {
      EXPECT_NE( Quor::IntrospectionReactor::instance().find( name ), nullptr ) << name;
   }
}

TEST( EveryAttribute, OfTheBaseIsReachedThroughTheDerivedType ) {
   const Live live;
   const Any helper = live.of( typeOf<VrrpSmHelper>() );
   for( const Attribute &attribute : typeOf<Orlo::OrloBaseHelper>()->attributes ) {
      EXPECT_EQ( helper->attributeId( String( attribute.name ) ), attribute.id );
      EXPECT_TRUE(
            isSame( helper->attributeOp( attribute.id, Op::get ),
                    read( live.of( typeOf<Orlo::OrloBaseHelper>() ), String( attribute.name ) ) ) );
   }
}

TEST( EveryAttribute, EveryTypeHasAnInstanceATextAndACopyOfTheSame ) {
   const Live live;
   for( const auto &[name, registered] : Quor::IntrospectionReactor::instance().types() ) {
      const Any instance = live.of( registered.type() );
      ASSERT_NE( instance, nullptr ) << name;
      EXPECT_FALSE( instance->strRep().empty() ) << name;
      EXPECT_TRUE( isSame( instance->clone(), instance ) ) << name;
      EXPECT_EQ( registered.type()->parse == nullptr, registered.type()->isEntity ) << name;
      if( registered.type()->parse ) {
         EXPECT_TRUE( isSame( registered.type()->parse( instance->strRep(), false ), instance ) )
               << name;
      }
   }
}

} // namespace
} // namespace IntrospectionTests
