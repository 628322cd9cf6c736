// Reading and changing attributes by name: what each operation gives on each kind of attribute, and
// how it fails.
#include "tests/unit/introspection/Pipeline.h"

#include <gtest/gtest.h>

namespace IntrospectionTests {
namespace {

const String kPair = "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac";
const String kTable = "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable";

/// Codes that no attribute knows.
const AttrOp kNoCodes[] = { 4, 5, 100, 127, 130, 131, 255, 0xFFFFFFFFu };
/// All that changes.
const AttrOp kModifying[] = { 128, 129, 130, 255, 0x80000000u, 0xFFFFFFFFu };

AttrId idOf( const Any &instance, const String &name ) {
   return instance->attributeId( name );
}
/// One operation on a number.
String didAt( const Any &instance, AttrId id, AttrOp op ) {
   return outcome( [&] { return instance->attributeOp( id, op, nullptr, genericIf( true ) ); } );
}
String idFailure( const Any &instance, const String &name ) {
   return outcome( [&] { return genericIf( instance->attributeId( name ) ); } );
}

// Identifiers

TEST( AttributeId, OfAValueCountsFromTwo ) {
   const Any any = genericIf( a );
   EXPECT_EQ( idOf( any, "vlanId" ), 2u );
   EXPECT_EQ( idOf( any, "mac" ), 3u );
   EXPECT_EQ( idOf( any, "hash" ), 4u );
}

TEST( AttributeId, OfAnEntityCountsFrom130 ) {
   Pipeline world;
   EXPECT_EQ( idOf( genericIf( world.table ), "virtualRouterMac" ), 130u );
   EXPECT_EQ( idOf( genericIf( world.macs() ), "vlanIntf" ), 130u );
   EXPECT_EQ( idOf( genericIf( world.macs() ), "ethAddr" ), 131u );
   EXPECT_EQ( idOf( genericIf( world.reflector ), "vlanIntfSm" ), 133u );
   EXPECT_EQ( idOf( genericIf( world.programmer ), "vrrpMacStatus" ), 130u );
}

TEST( AttributeId, OfTheHelperCountsFrom386BehindTheBasesName ) {
   Pipeline world;
   const Any helper = genericIf( world.helper );
   EXPECT_EQ( idOf( helper, "syncCurrentStateOnInit" ), 386u );
   EXPECT_EQ( idOf( helper, "addVirtualRouterMac" ), 387u );
   EXPECT_EQ( idOf( helper, "deleteVirtualRouterMac" ), 388u );
   EXPECT_EQ( idOf( helper, "syncVrrpStateOnInit" ), 389u );
   EXPECT_EQ( idOf( helper, "initializationComplete" ), 390u );
   EXPECT_EQ( idOf( helper, "name" ), 130u );
}

TEST( AttributeId, OfANameThatNeitherTheTypeNorItsBaseHasIsNamed ) {
   Pipeline world;
   EXPECT_EQ( idFailure( genericIf( a ), "vlan" ), noAttribute( kPair, "vlan" ) );
   EXPECT_EQ( idFailure( genericIf( a ), "" ), noAttribute( kPair, "" ) );
   EXPECT_EQ( idFailure( genericIf( a ), "VlanId" ), noAttribute( kPair, "VlanId" ) );
   EXPECT_EQ( idFailure( genericIf( world.helper ), "names" ),
              noAttribute( "OrloHelper::VrrpSmHelper", "names" ) );
   EXPECT_EQ( idFailure( listOf(), "vlanId" ), noAttribute( "Quor::GenericIf::List_", "vlanId" ) );
   EXPECT_EQ( idFailure( genericIf( U32{ 1 } ), "x" ), noAttribute( "U32", "x" ) );
}

TEST( AttributeId, OfANumberThatNeitherTheTypeNorItsBaseHasIsNamed ) {
   Pipeline world;
   for( const AttrId id : { AttrId{ 0 }, AttrId{ 1 }, AttrId{ 5 }, AttrId{ 130 } } ) {
      EXPECT_EQ( didAt( genericIf( a ), id, Op::get ), noAttribute( kPair, std::to_string( id ) ) );
   }
   for( const AttrId id : { AttrId{ 2 }, AttrId{ 129 }, AttrId{ 131 } } ) {
      EXPECT_EQ( didAt( genericIf( world.table ), id, Op::get ),
                 noAttribute( kTable, std::to_string( id ) ) );
   }
   for( const AttrId id : { AttrId{ 131 }, AttrId{ 385 }, AttrId{ 391 } } ) {
      EXPECT_EQ( didAt( genericIf( world.helper ), id, Op::set ),
                 noAttribute( "OrloHelper::VrrpSmHelper", std::to_string( id ) ) );
   }
}

// Values

TEST( ValueAttribute, IsReadWithItsType ) {
   const Any any = genericIf( pair( 10, 5 ) );
   EXPECT_EQ( got( any, "vlanId" ), "Bridging::VlanId 10" );
   EXPECT_EQ( got( any, "mac" ), "Pelmo::EthAddr 00:00:5e:00:01:05" );
}

TEST( ValueAttribute, IsWrittenInTheInterfacesOwnCopy ) {
   const VlanAndMac original = pair( 10, 5 );
   const Any any = genericIf( original );
   EXPECT_EQ( did( any, "vlanId", Op::set, nullptr, genericIf( VlanId( 20 ) ) ), "nothing" );
   EXPECT_EQ( got( any, "vlanId" ), "Bridging::VlanId 20" );
   EXPECT_EQ( did( any, "mac", Op::set, nullptr, genericIf( mac( 6 ) ) ), "nothing" );
   EXPECT_EQ( shown( any ), kPair + " " + valueToStrep( pair( 20, 6 ) ) );
   EXPECT_EQ( original, pair( 10, 5 ) );
}

TEST( ValueAttribute, KeepsItsValueWhateverFails ) {
   const Any any = genericIf( a );
   const Any twenty = genericIf( VlanId( 20 ) );
   const Any key = genericIf( U32{ 0 } );
   const String before = shown( any );
   const auto untouched = [&]( const String &failure ) {
      EXPECT_EQ( shown( any ), before ) << failure;
      return failure;
   };
   for( const char *name : { "vlanId", "mac" } ) {
      EXPECT_EQ( untouched( did( any, name, Op::get, key ) ), badIndex( name ) );
      EXPECT_EQ( untouched( did( any, name, Op::set, key, twenty ) ), badIndex( name ) );
      EXPECT_EQ( untouched( did( any, name, Op::set, key ) ), badIndex( name ) );
      EXPECT_EQ( untouched( did( any, name, Op::set ) ), wrongType( name ) );
      EXPECT_EQ( untouched( did( any, name, Op::set, nullptr, genericIf( U32{ 20 } ) ) ),
                 wrongType( name ) );
      EXPECT_EQ( untouched( did( any, name, Op::set, nullptr, any ) ), wrongType( name ) );
      for( const AttrOp op : { Op::size, Op::capacity, Op::isMember, Op::remove } ) {
         EXPECT_EQ( untouched( did( any, name, op, nullptr, twenty ) ), notSupported( name, op ) );
      }
      for( const AttrOp op : kNoCodes ) {
         EXPECT_EQ( untouched( did( any, name, op, nullptr, twenty ) ), notSupported( name, op ) );
      }
   }
   EXPECT_EQ( untouched( did( any, "mac", Op::set, nullptr, twenty ) ), wrongType( "mac" ) );
}

TEST( ValueAttribute, OfAnEntityIsWrittenThroughItsOwnOperation ) {
   Pipeline world;
   const Any hardware = genericIf( world.hardware );
   EXPECT_EQ( got( hardware, "virtualRouterCount" ), "U32 3" );
   EXPECT_EQ( did( hardware, "virtualRouterCount", Op::set, nullptr, genericIf( U32{ 9 } ) ),
              "nothing" );
   EXPECT_EQ( world.hardware->virtualRouterCount(), 9u );
   const Any reflector = genericIf( world.reflector );
   EXPECT_EQ( did( reflector, "disableCleanupOnRestart", Op::set, nullptr, genericIf( true ) ),
              "nothing" );
   EXPECT_TRUE( world.reflector->disableCleanupOnRestart() );
}

TEST( ValueAttribute, ThatIsFixedForLifeCannotBeWritten ) {
   Pipeline world;
   const Any other = genericIf( IntfId( "br20" ) );
   EXPECT_EQ( did( genericIf( world.macs() ), "vlanIntf", Op::set, nullptr, other ),
              notSupported( "vlanIntf", Op::set ) );
   EXPECT_EQ( did( genericIf( world.macs() ), "fwkKey", Op::set, nullptr, other ),
              notSupported( "fwkKey", Op::set ) );
   EXPECT_EQ( did( genericIf( world.br10 ), "vlanIntf", Op::set, nullptr, other ),
              notSupported( "vlanIntf", Op::set ) );
   EXPECT_EQ( did( genericIf( world.macs() ), "vlanIntf", Op::set ), wrongType( "vlanIntf" ) );
   EXPECT_EQ( got( genericIf( world.macs() ), "vlanIntf" ), "Pelmo::IntfId br10" );
   EXPECT_EQ( got( genericIf( world.macs() ), "fwkKey" ), "Pelmo::IntfId br10" );
   EXPECT_EQ( got( genericIf( world.programmer ), "quorFwkActivity" ), "Quor::Name 'eventLoop'" );
}

TEST( ValueAttribute, OfTheBaseIsReachedThroughTheHelper ) {
   Pipeline world;
   const Any helper = genericIf( world.helper );
   EXPECT_EQ( got( helper, "name" ), "Quor::Name 'telling'" );
   EXPECT_EQ( got( helper, "name", genericIf( U32{ 0 } ) ), badIndex( "name" ) );
   EXPECT_EQ( did( helper, "name", Op::set, nullptr, genericIf( Quor::Name( "x" ) ) ),
              notSupported( "name", Op::set ) );
   EXPECT_EQ( did( helper, "name", Op::size ), notSupported( "name", Op::size ) );
}

TEST( ValueAttribute, ThatIsTheStateOfAQueueIsReadAndItsNextKeyWritten ) {
   Programmer world( 3 );
   const Any sm = genericIf( world.sm );
   const String name = "freeVirtualRouterIndexMetadata";
   EXPECT_EQ( got( sm, name ), "Orlo::QueueMetadata nextKey 2, count 3" );
   const Any other = typeOf<Orlo::QueueMetadata>()->parse( "nextKey 40, count 9", false );
   EXPECT_EQ( did( sm, name, Op::set, nullptr, other ), "nothing" );
   EXPECT_EQ( got( sm, name ), "Orlo::QueueMetadata nextKey 40, count 3" );
}

// Pointers

TEST( PointerAttribute, GivesAnInterfaceToWhatItPointsTo ) {
   Pipeline world;
   const Any sm = genericIf( world.programmer );
   const Any helper = read( sm, "vrrpHelper" );
   EXPECT_EQ( helper->voidPtrIs( typeOf<VrrpSmHelper>() ), world.helper.get() );
   EXPECT_FALSE( helper->isConst() );
   const Any table = read( sm, "vrrpMacStatus" );
   EXPECT_EQ( table->voidPtrIs( typeOf<VirtualRouterMacTable>() ), world.table.get() );
   EXPECT_TRUE( table->isConst() ) << "the programmer only reads it";
   EXPECT_EQ( did( table, "virtualRouterMac", Op::remove, genericIf( a ) ), kConst );
   const Any out = read( genericIf( world.reflector ), "virtualRouterMacTableOut" );
   EXPECT_EQ( out->voidPtrIs( typeOf<VirtualRouterMacTable>() ), world.table.get() );
   EXPECT_FALSE( out->isConst() ) << "the reflector writes it";
   const Any owner = read( genericIf( world.interface() ), "libSm" );
   EXPECT_EQ( owner->voidPtrIs( typeOf<LibSm>() ), world.reflector.get() );
}

TEST( PointerAttribute, ThatIsNullGivesNothing ) {
   Programmer world( 1 );
   EXPECT_EQ( got( genericIf( world.sm ), "vrrpMacStatus" ), "nothing" );
   world.sm->currentVrrpStateForInitDel();
   EXPECT_EQ( got( genericIf( world.sm ), "currentVrrpStateForInit" ), "nothing" );
   EXPECT_EQ( genericIf( Ptr<VrrpSm>() ), nullptr );
}

TEST( PointerAttribute, IsWrittenThroughItsOwnOperation ) {
   Programmer world( 2 );
   const auto table = virtualRouterMacTableFactory();
   table->virtualRouterMacIs( a, true );
   const Any sm = genericIf( world.sm );
   EXPECT_EQ( did( sm, "vrrpMacStatus", Op::set, nullptr, genericIf( table ) ), "nothing" );
   EXPECT_EQ( world.sm->vrrpMacStatus(), table );
   EXPECT_EQ( world.story, ( Lines{ "add 00:00:5e:00:01:01 on 10 at 0" } ) );
}

TEST( PointerAttribute, KeepsItsValueWhateverFails ) {
   Pipeline world;
   const Any sm = genericIf( world.programmer );
   const Any helper = genericIf( world.helper );
   EXPECT_EQ( did( sm, "vrrpHelper", Op::set, nullptr, helper ),
              notSupported( "vrrpHelper", Op::set ) );
   EXPECT_EQ( did( sm, "vrrpMacStatus", Op::set ), wrongType( "vrrpMacStatus" ) );
   EXPECT_EQ( did( sm, "vrrpMacStatus", Op::set, nullptr, helper ), wrongType( "vrrpMacStatus" ) );
   EXPECT_EQ( got( sm, "vrrpMacStatus", helper ), badIndex( "vrrpMacStatus" ) );
   EXPECT_EQ( did( sm, "vrrpMacStatus", Op::size ), notSupported( "vrrpMacStatus", Op::size ) );
   EXPECT_EQ( did( sm, "vrrpMacStatus", Op::remove ), notSupported( "vrrpMacStatus", Op::remove ) );
   const auto other = virtualRouterMacTableFactory();
   EXPECT_EQ( did( sm, "vrrpMacStatus", Op::set, nullptr, genericIf( other, true ) ), kConst )
         << "what may only be read is not handed to one who may write";
   EXPECT_EQ( world.programmer->vrrpMacStatus(), world.table );
   EXPECT_EQ( world.programmer->vrrpHelper(), world.helper );
}

TEST( PointerAttribute, ThatOnlyReadsTakesWhatMayOnlyBeRead ) {
   Pipeline world;
   const auto other = make<SviVlanSet>( IntfId( "br10" ) );
   const Any sm = genericIf( world.interface() );
   EXPECT_EQ( did( sm, "sviVlanSet", Op::set, nullptr, genericIf( other, true ) ), "nothing" );
   EXPECT_EQ( world.interface()->sviVlanSet(), other );
}

// Collections

TEST( CollectionAttribute, IsReadByKey ) {
   const auto table = virtualRouterMacTableFactory();
   table->virtualRouterMacIs( a, true );
   table->virtualRouterMacIs( b, false );
   const Any any = genericIf( table );
   EXPECT_EQ( got( any, "virtualRouterMac", genericIf( a ) ), "bool true" );
   EXPECT_EQ( got( any, "virtualRouterMac", genericIf( b ) ), "bool false" );
   EXPECT_EQ( got( any, "virtualRouterMac", genericIf( c ) ), "bool false" );
   EXPECT_EQ( did( any, "virtualRouterMac", Op::isMember, genericIf( a ) ), "bool true" );
   EXPECT_EQ( did( any, "virtualRouterMac", Op::isMember, genericIf( b ) ), "bool true" );
   EXPECT_EQ( did( any, "virtualRouterMac", Op::isMember, genericIf( c ) ), "bool false" );
}

TEST( CollectionAttribute, TellsItsSizeAndItsBuckets ) {
   const auto set = make<EthAddrsForIntf>( IntfId( "br10" ) );
   const Any any = genericIf( set );
   EXPECT_EQ( did( any, "ethAddr", Op::size ), "U32 0" );
   EXPECT_EQ( did( any, "ethAddr", Op::capacity ), "U32 1" );
   for( U16 vrid = 1; vrid <= 5; ++vrid ) {
      set->ethAddrIs( mac( vrid ), true );
   }
   EXPECT_EQ( did( any, "ethAddr", Op::size ), "U32 5" );
   EXPECT_EQ( did( any, "ethAddr", Op::capacity ),
              "U32 " + std::to_string( set->ethAddrs().bucketCount() ) );
   EXPECT_GT( set->ethAddrs().bucketCount(), 1u );
}

TEST( CollectionAttribute, IsWrittenByKeyAndGivesWhatItRemoves ) {
   const auto table = virtualRouterMacTableFactory();
   const Any any = genericIf( table );
   const auto set = [&]( const VlanAndMac &key, bool flag ) {
      return did( any, "virtualRouterMac", Op::set, genericIf( key ), genericIf( flag ) );
   };
   EXPECT_EQ( set( a, true ), "nothing" );
   EXPECT_EQ( set( b, false ), "nothing" );
   EXPECT_TRUE( table->virtualRouterMac( a ) );
   EXPECT_EQ( table->virtualRouterMacs().size(), 2u );
   EXPECT_EQ( set( a, false ), "nothing" );
   EXPECT_FALSE( table->virtualRouterMac( a ) );
   EXPECT_EQ( set( a, true ), "nothing" );
   EXPECT_EQ( did( any, "virtualRouterMac", Op::remove, genericIf( a ) ), "bool true" );
   EXPECT_EQ( did( any, "virtualRouterMac", Op::remove, genericIf( b ) ), "bool false" );
   EXPECT_EQ( did( any, "virtualRouterMac", Op::remove, genericIf( c ) ), "bool false" );
   EXPECT_EQ( table->virtualRouterMacs().size(), 0u );
}

/// What fails on every collection, in the same way and without a trace: `key` is present.
void expectFailures( const Any &any, const String &name, const Any &key, const Any &otherValue ) {
   const Lines before = walked( any, name );
   const auto untouched = [&]( const String &failure ) {
      EXPECT_EQ( walked( any, name ), before ) << failure;
      return failure;
   };
   const Any noKey = genericIf( Quor::Name( "of another type" ) );
   for( const AttrOp op : { Op::get, Op::isMember, Op::set, Op::remove } ) {
      EXPECT_EQ( untouched( did( any, name, op, nullptr, otherValue ) ), kNoKey ) << op;
      EXPECT_EQ( untouched( did( any, name, op, noKey, otherValue ) ), kNoKey ) << op;
   }
   EXPECT_EQ( untouched( did( any, name, Op::set, key ) ), wrongType( name ) );
   EXPECT_EQ( untouched( did( any, name, Op::set, key, noKey ) ), wrongType( name ) );
   EXPECT_EQ( untouched( did( any, name, Op::set ) ), kNoKey );
   for( const AttrOp op : kNoCodes ) {
      EXPECT_EQ( untouched( did( any, name, op, key, otherValue ) ), notSupported( name, op ) );
   }
}

TEST( CollectionAttribute, KeepsItsMembersWhateverFails ) {
   Pipeline world;
   expectFailures( genericIf( world.table ), "virtualRouterMac", genericIf( a ),
                   genericIf( false ) );
   expectFailures( genericIf( world.macs() ), "ethAddr", genericIf( mac( 1 ) ),
                   genericIf( false ) );
   expectFailures( genericIf( world.br10 ), "vlanId", genericIf( VlanId( 10 ) ),
                   genericIf( false ) );
   expectFailures( genericIf( world.status ), "vrrpVirtualMac",
                   genericIf( VirtualRouterMac( IntfId( "br10" ), mac( 1 ) ) ),
                   genericIf( false ) );
   expectFailures( genericIf( world.programmer ), "virtualRouterIndex", genericIf( a ),
                   genericIf( U32{ 77 } ) );
   expectFailures( genericIf( world.programmer ), "macsNeedingVirtualRouterIndex",
                   genericIf( U32{ 0 } ), genericIf( c ) );
   EXPECT_EQ( world.takeStory(), Lines{} );
}

TEST( CollectionAttribute, OfObjectsGivesAndRemovesThemButCannotBeSet ) {
   Pipeline world;
   const Any reflector = genericIf( world.reflector );
   const Any br10 = genericIf( IntfId( "br10" ) );
   const Any br20 = genericIf( IntfId( "br20" ) );
   const Any macs = perform( reflector, "dmacsForIntf", Op::get, br10 );
   EXPECT_EQ( macs->voidPtrIs( typeOf<EthAddrsForIntf>() ), world.macs().get() );
   EXPECT_EQ( got( reflector, "dmacsForIntf", br20 ), "nothing" );
   EXPECT_EQ( did( reflector, "dmacsForIntf", Op::isMember, br10 ), "bool true" );
   EXPECT_EQ( did( reflector, "dmacsForIntf", Op::isMember, br20 ), "bool false" );
   EXPECT_EQ( did( reflector, "dmacsForIntf", Op::size ), "U32 1" );
   for( const char *name : { "dmacsForIntf", "vlanIntfSm" } ) {
      EXPECT_EQ( did( reflector, name, Op::set, br10, macs ), notSupported( name, Op::set ) );
   }
   EXPECT_EQ( did( reflector, "dmacsForIntf", Op::remove, br20 ), "nothing" );
   const Any gone = perform( reflector, "dmacsForIntf", Op::remove, br10 );
   EXPECT_EQ( gone->voidPtrIs( typeOf<EthAddrsForIntf>() ),
              macs->voidPtrIs( typeOf<EthAddrsForIntf>() ) );
   EXPECT_EQ( world.interface(), nullptr ) << "as when it is removed by a typed call";
   EXPECT_EQ( did( genericIf( world.vlanSets ), "sviVlanSet", Op::remove, br10 ),
              "IntfVlanIdSet::SviVlanSet IntfVlanIdSet::SviVlanSet" );
   EXPECT_EQ( world.vlanSets->sviVlanSets().size(), 0u );
}

// Queues

TEST( QueueAttribute, IsReadAndWrittenByPosition ) {
   Programmer world( 3 );
   const Any sm = genericIf( world.sm );
   const auto at = []( U32 position ) { return genericIf( position ); };
   const String name = "freeVirtualRouterIndex";
   EXPECT_EQ( did( sm, name, Op::size ), "U32 3" );
   EXPECT_EQ( did( sm, name, Op::capacity ), "U32 1" );
   EXPECT_EQ( got( sm, name, at( 2 ) ), "U32 2" );
   EXPECT_EQ( got( sm, name, at( 3 ) ), "U32 0" );
   EXPECT_EQ( did( sm, name, Op::isMember, at( 0 ) ), "bool true" );
   EXPECT_EQ( did( sm, name, Op::isMember, at( 3 ) ), "bool false" );
   EXPECT_EQ( did( sm, name, Op::set, at( 200 ), genericIf( U32{ 9 } ) ), "nothing" );
   EXPECT_EQ( did( sm, name, Op::set, at( 1 ), genericIf( U32{ 7 } ) ), "nothing" );
   EXPECT_EQ( did( sm, name, Op::capacity ), "U32 2" );
   EXPECT_EQ( did( sm, name, Op::remove, at( 2 ) ), "U32 2" );
   EXPECT_EQ( did( sm, name, Op::remove, at( 2 ) ), "U32 0" );
   EXPECT_EQ( walked( sm, name ),
              ( Lines{ "U32 0 -> U32 0", "U32 1 -> U32 7", "U32 200 -> U32 9" } ) );
}

TEST( QueueAttribute, OfPairsGivesTheDefaultPairWhereNoneStands ) {
   Pipeline world;
   const Any sm = genericIf( world.programmer );
   const String name = "macsNeedingVirtualRouterIndex";
   EXPECT_EQ( did( sm, name, Op::size ), "U32 1" );
   EXPECT_EQ( got( sm, name, genericIf( U32{ 9 } ) ), kPair + " " + valueToStrep( VlanAndMac() ) );
   EXPECT_EQ( did( sm, name, Op::set, genericIf( U32{ 9 } ), genericIf( c ) ), "nothing" );
   EXPECT_EQ( got( sm, name, genericIf( U32{ 9 } ) ), kPair + " " + valueToStrep( c ) );
   EXPECT_EQ( did( sm, name, Op::remove, genericIf( U32{ 9 } ) ), kPair + " " + valueToStrep( c ) );
}

// Interfaces that only read

TEST( ConstInterface, RefusesEveryChangeBeforeAnythingElse ) {
   Pipeline world;
   const auto refused = [&]( const Any &instance, const String &name ) {
      EXPECT_TRUE( instance->isConst() );
      for( const AttrOp op : kModifying ) {
         EXPECT_EQ( did( instance, name, op ), kConst ) << name << " " << op;
         EXPECT_EQ( didAt( instance, 9999, op ), kConst ) << op;
      }
   };
   const Any value = genericIf( a, true );
   for( const char *name : { "vlanId", "mac", "hash" } ) {
      refused( value, name );
   }
   EXPECT_EQ( did( value, "vlanId", Op::set, nullptr, genericIf( VlanId( 20 ) ) ), kConst );
   EXPECT_EQ( got( value, "vlanId" ), "Bridging::VlanId 10" );
   EXPECT_EQ( called( value, "hash", listOf() ), "U32 " + std::to_string( a.hash() ) );

   refused( genericIf( world.table, true ), "virtualRouterMac" );
   refused( genericIf( Ptr<const VirtualRouterMacTable>( world.table ) ), "virtualRouterMac" );
   refused( genericIf( Ptr<const VirtualRouterMacTable>( world.table ), false ),
            "virtualRouterMac" );
   refused( genericIf( world.helper, true ), "name" );
   refused( genericIf( world.programmer, true ), "freeVirtualRouterIndex" );
   EXPECT_EQ( world.table->virtualRouterMacs().size(), 4u );
}

TEST( ConstInterface, ReadsEverything ) {
   Pipeline world;
   const Any table = genericIf( Ptr<const VirtualRouterMacTable>( world.table ) );
   EXPECT_EQ( got( table, "virtualRouterMac", genericIf( a ) ), "bool true" );
   EXPECT_EQ( did( table, "virtualRouterMac", Op::size ), "U32 4" );
   EXPECT_EQ( walked( table, "virtualRouterMac" ).size(), 4u );
   EXPECT_EQ( didAt( table, 9999, Op::get ), noAttribute( kTable, "9999" ) );
}

TEST( ConstInterface, IsOnlyMadeOnRequest ) {
   Pipeline world;
   EXPECT_FALSE( genericIf( a )->isConst() );
   EXPECT_FALSE( genericIf( world.table )->isConst() );
   EXPECT_TRUE( listOf()->isConst() );
}

} // namespace
} // namespace IntrospectionTests
