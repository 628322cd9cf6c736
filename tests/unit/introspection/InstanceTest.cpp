// Interfaces as such: making instances from lists and texts, copies, texts, pointers, switches.
#include "tests/unit/introspection/Pipeline.h"

#include <gtest/gtest.h>

namespace IntrospectionTests {
namespace {

/// What a list makes, of the type of `like`.
String made( const Any &like, const Any &list ) {
   return outcome( [&] { return like->genericIfListConstructor( list ); } );
}
Any construct( const Type *type, const Any &list ) {
   return type->construct( Quor::needList( list.get() ) );
}
template <class T>
Ptr<T> objectIn( const Any &any ) {
   return Ptr<T>::share( static_cast<T *>( any->voidPtrIs( typeOf<T>() ) ) );
}

const Any kVlan = genericIf( VlanId( 20 ) );
const Any kMac = genericIf( mac( 5 ) );
const Any kName = genericIf( Quor::Name( "x" ) );

// From lists

TEST( Instance, IsReadFromEveryTextThatItCanHave ) {
   for( const char *name : { "br10", "", "a,b", "x)", "}", "a]b", "a=b" } ) {
      const Any any = typeOf<IntfId>()->parse( name, false );
      EXPECT_EQ( any->strRep(), name );
      EXPECT_EQ( shown( any ), shown( genericIf( IntfId( name ) ) ) );
   }
   EXPECT_THROW( typeOf<IntfId>()->parse( "a b", false ), Quor::RangeException );
   EXPECT_THROW( typeOf<VlanId>()->parse( "10,", false ), Quor::RangeException );
}

TEST( Instance, OfAnObjectOfWhichOnlyTheBaseIsKnownIsMadeByTheObjectsType ) {
   using Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
   const auto table = make<VirtualRouterMacTable>();
   Quor::PtrInterface &object = *table;
   const Any any = object.fwkType()->wrap( &object, true );
   EXPECT_TRUE( any->isConst() );
   EXPECT_EQ( objectIn<VirtualRouterMacTable>( any ), table );
   EXPECT_FALSE( object.fwkType()->wrap( &object, false )->isConst() );
}

TEST( ListConstruction, OfAPairTakesTheVlanAndThenTheMac ) {
   const Any like = genericIf( a );
   EXPECT_EQ( made( like, listOf( kVlan, kMac ) ), shown( genericIf( pair( 20, 5 ) ) ) );
   EXPECT_EQ( made( like, named( { { "mac", kMac }, { "vlanId", kVlan } } ) ),
              shown( genericIf( pair( 20, 5 ) ) ) );
   EXPECT_EQ( shown( like ), shown( genericIf( a ) ) ) << "it is another instance";
}

TEST( ListConstruction, OfAPairKeepsTheDefaultOfWhatIsNotGiven ) {
   const Any like = genericIf( a );
   EXPECT_EQ( made( like, listOf() ), shown( genericIf( VlanAndMac() ) ) );
   EXPECT_EQ( made( like, listOf( kVlan ) ),
              shown( genericIf( VlanAndMac( VlanId( 20 ), EthAddr() ) ) ) );
   EXPECT_EQ( made( like, named( { { "mac", kMac } } ) ),
              shown( genericIf( VlanAndMac( VlanId( 1 ), mac( 5 ) ) ) ) );
}

TEST( ListConstruction, OfAPairNamesTheFieldOfTheWrongType ) {
   const Any like = genericIf( a );
   EXPECT_EQ( made( like, listOf( kMac, kVlan ) ), wrongType( "vlanId" ) );
   EXPECT_EQ( made( like, listOf( kVlan, kVlan ) ), wrongType( "mac" ) );
   EXPECT_EQ( made( like, listOf( genericIf( U32{ 20 } ), kMac ) ), wrongType( "vlanId" ) );
   EXPECT_EQ( made( like, listOf( Any(), kMac ) ), wrongType( "vlanId" ) );
   EXPECT_EQ( made( like, listOf( kVlan, Any() ) ), wrongType( "mac" ) );
   EXPECT_EQ( made( like, named( { { "mac", kVlan } } ) ), wrongType( "mac" ) );
}

TEST( ListConstruction, OfAPairRefusesAFurtherElement ) {
   const Any like = genericIf( a );
   EXPECT_EQ( made( like, listOf( kVlan, kMac, kMac ) ), unknownArgument( "VlanAndMac" ) );
   EXPECT_EQ( made( like, named( { { "hash", kVlan } } ) ), unknownArgument( "VlanAndMac" ) );
   EXPECT_EQ( made( like, named( { { "", kVlan }, { "vlanId", kVlan } } ) ),
              unknownArgument( "VlanAndMac" ) );
}

TEST( ListConstruction, NeedsAList ) {
   for( const Any &argument : { Any(), kVlan, genericIf( a ) } ) {
      EXPECT_EQ( made( genericIf( a ), argument ), kNoList );
      EXPECT_EQ( made( genericIf( virtualRouterMacTableFactory() ), argument ), kNoList );
   }
}

TEST( ListConstruction, OfAnInterfaceThatOnlyReadsMakesAnInstanceThatCanBeWritten ) {
   const Any instance = genericIf( a, true )->genericIfListConstructor( listOf( kVlan, kMac ) );
   EXPECT_FALSE( instance->isConst() );
}

TEST( ListConstruction, OfARecord ) {
   const Any like = genericIf( VirtualRouterMac() );
   EXPECT_EQ( made( like, listOf( genericIf( IntfId( "br10" ) ), kMac ) ),
              "Routing::Fhrp::VirtualRouterMac br10/00:00:5e:00:01:05" );
   EXPECT_EQ( made( like, listOf( kMac ) ), wrongType( "intf" ) );
   EXPECT_EQ( made( like, listOf( kMac, kMac, kMac ) ), unknownArgument( "VirtualRouterMac" ) );
}

TEST( ListConstruction, OfEntitiesWithoutParametersMakesEmptyOnes ) {
   for( const Type *const type :
        { typeOf<VirtualRouterMacTable>(), typeOf<VirtualRouterMacStatus>(), typeOf<Hardware>(),
          typeOf<IntfVlanIdSet::Table>(), typeOf<CurrentVrrpStateForInit>() } ) {
      const Any instance = construct( type, listOf() );
      EXPECT_EQ( instance->type(), type );
      EXPECT_FALSE( instance->isConst() );
      EXPECT_EQ( outcome( [&] { return construct( type, listOf( kName ) ); } ),
                 unknownArgument( String( type->shortName() ) ) );
   }
   const auto table =
         objectIn<VirtualRouterMacTable>( construct( typeOf<VirtualRouterMacTable>(), listOf() ) );
   EXPECT_EQ( table->virtualRouterMacs().size(), 0u );
}

TEST( ListConstruction, OfTheMacsOfAnInterface ) {
   const Any like = genericIf( make<EthAddrsForIntf>( IntfId( "br10" ) ) );
   const Any br20 = genericIf( IntfId( "br20" ) );
   EXPECT_EQ( got( like->genericIfListConstructor( listOf( br20 ) ), "vlanIntf" ),
              "Pelmo::IntfId br20" );
   EXPECT_EQ( made( like, listOf() ), wrongType( "vlanIntf" ) );
   EXPECT_EQ( made( like, listOf( kMac ) ), wrongType( "vlanIntf" ) );
   EXPECT_EQ( made( like, listOf( br20, br20 ) ), unknownArgument( "EthAddrsForIntf" ) );
   EXPECT_EQ(
         got( construct( typeOf<SviVlanSet>(), named( { { "vlanIntf", br20 } } ) ), "vlanIntf" ),
         "Pelmo::IntfId br20" );
}

TEST( ListConstruction, OfTheProgrammerMakesARunningOne ) {
   Pipeline world;
   const Any table = genericIf( virtualRouterMacTableFactory() );
   const Any hardware = genericIf( world.hardware, true ); // is only read
   const Any helper = genericIf( world.helper );
   const Any sm = construct( typeOf<VrrpSm>(), listOf( table, hardware, helper ) );
   EXPECT_EQ( world.takeStory(), ( Lines{ "complete" } ) );
   EXPECT_EQ( got( sm, "initialized" ), "bool true" );
   EXPECT_EQ( did( sm, "freeVirtualRouterIndex", Op::size ), "U32 3" );
   EXPECT_EQ( did( table, "virtualRouterMac", Op::set, genericIf( c ), genericIf( true ) ),
              "nothing" );
   EXPECT_EQ( world.takeStory(), ( Lines{ "add 00:00:5e:00:01:02 on 30 at 0" } ) );

   const auto failure = [&]( const Any &list ) {
      return outcome( [&] { return construct( typeOf<VrrpSm>(), list ); } );
   };
   EXPECT_EQ( failure( listOf( table, hardware ) ), wrongType( "vrrpHelper" ) );
   EXPECT_EQ( failure( listOf( hardware, table, helper ) ), wrongType( "vrrpMacStatus" ) );
   EXPECT_EQ( failure( listOf( table, hardware, helper, helper ) ), unknownArgument( "VrrpSm" ) );
   EXPECT_EQ( failure( listOf( table, hardware, genericIf( world.helper, true ) ) ), kConst );
   EXPECT_EQ( world.takeStory(), Lines{} );
}

TEST( ListConstruction, OfTheReflectorMakesARunningOne ) {
   Pipeline world;
   const auto table = virtualRouterMacTableFactory();
   const Any sm = construct(
         typeOf<LibSm>(), named( { { "virtualRouterMacTableOut", genericIf( table ) },
                                   { "intfVlanIdSetTable", genericIf( world.vlanSets ) },
                                   { "virtualRouterMacStatusIn", genericIf( world.status ) } } ) );
   EXPECT_TRUE( objectIn<LibSm>( sm )->hasNotificationActive() );
   EXPECT_EQ( table->virtualRouterMacs().size(), 4u );
   EXPECT_EQ( outcome( [&] { return construct( typeOf<LibSm>(), listOf() ); } ),
              wrongType( "virtualRouterMacStatusIn" ) );
}

TEST( ListConstruction, OfWhatIsMadeByItsOwnerOrByAPlatformIsNotSupported ) {
   Pipeline world;
   for( const Any &like : { genericIf( world.interface() ), genericIf( world.helper ),
                            genericIf( VlanId( 1 ) ), genericIf( U32{ 1 } ), listOf() } ) {
      EXPECT_EQ( made( like, listOf() ), notSupported( String( like->type()->name ), Op::get ) );
   }
}

// From texts, values and pointers

TEST( TypeObject, WrapsAValueAndAText ) {
   using PairType = VlanAndMac::_Type;
   EXPECT_EQ( PairType::type(), VlanAndMac::_fwkType() );
   EXPECT_EQ( shown( PairType::genericIf( a, false ) ), shown( genericIf( a ) ) );
   EXPECT_EQ( shown( PairType::genericIf( a, true ) ), "const " + shown( genericIf( a ) ) );
   EXPECT_EQ( shown( PairType::genericIf( valueToStrep( c ), false ) ), shown( genericIf( c ) ) );
   EXPECT_TRUE( PairType::genericIf( valueToStrep( c ), true )->isConst() );
}

TEST( TypeObject, ReadsTheWholeTextOrNothing ) {
   const auto read = []( const String &text ) {
      return outcome( [&] { return VlanAndMac::_Type::genericIf( text, false ); } );
   };
   const String text = valueToStrep( a );
   EXPECT_EQ( read( text + "x" ), "RangeException: junk at column " +
                                        std::to_string( text.size() ) + " deserializing " + text +
                                        "x" );
   EXPECT_EQ( read( text.substr( 0, text.size() - 2 ) ),
              "RangeException: premature end of value type VlanAndMac" );
   EXPECT_EQ( read( "" ).substr( 0, 16 ), "RangeException: " );
}

TEST( TypeObject, WrapsAnEntityByPointerAndByInstance ) {
   const auto table = virtualRouterMacTableFactory();
   using TableType = VirtualRouterMacTable::_Type;
   EXPECT_EQ( TableType::type(), VirtualRouterMacTable::_fwkType() );
   for( const bool isConst : { false, true } ) {
      for( const Any &any :
           { TableType::genericIf_( table, isConst ), TableType::genericIf( *table, isConst ) } ) {
         EXPECT_EQ( any->isConst(), isConst );
         EXPECT_EQ( any->voidPtrIs( typeOf<VirtualRouterMacTable>() ), table.get() );
      }
   }
   EXPECT_EQ( TableType::genericIf_( nullptr, false ), nullptr );
}

TEST( TypeObject, OfEveryValueReadsWhatItWrites ) {
   for( const Any &value :
        { genericIf( a ), genericIf( VlanId( 4094 ) ), genericIf( mac( 9 ) ),
          genericIf( IntfId( "br10" ) ), genericIf( U32{ 7 } ), genericIf( true ),
          genericIf( String( "it's" ) ), genericIf( Quor::Name( "x" ) ),
          genericIf( VirtualRouterMac( IntfId( "br10" ), mac( 1 ) ) ),
          genericIf( Orlo::QueueMetadata{ 4, 2 } ) } ) {
      const Any again = value->type()->parse( value->strRep(), false );
      EXPECT_EQ( shown( again ), shown( value ) );
      EXPECT_THROW( value->type()->parse( value->strRep() + "/!", false ), Quor::RangeException )
            << shown( value );
   }
}

TEST( TypeObject, EveryTypeOfTheLibraryNamesItsInterfaces ) {
   static_assert( std::is_base_of_v<GenericIf, VlanAndMac::GenericIf_> );
   static_assert( std::is_same_v<VrrpSm::GenericIf_, Quor::EntityGenericIf<VrrpSm>> );
   static_assert( std::is_same_v<LibSm::_Type, Quor::TypeObject<LibSm>> );
   Pipeline world;
   VrrpSmHelper::GenericIf_ helper( world.helper, true );
   EXPECT_EQ( helper.type(), VrrpSmHelper::_fwkType() );
   EXPECT_EQ( helper.entity(), world.helper );
   VlanAndMac::GenericIf_ value( a );
   EXPECT_EQ( value.value(), a );
   EXPECT_EQ( value.type(), VlanAndMac::_fwkType() );
}

// Texts, copies, pointers

TEST( Interface, ShowsTheTextFormOfWhatItWraps ) {
   Pipeline world;
   EXPECT_EQ( genericIf( a )->strRep(), valueToStrep( a ) );
   EXPECT_EQ( genericIf( mac( 5 ) )->strRep(), "00:00:5e:00:01:05" );
   EXPECT_EQ( genericIf( world.reflector )->strRep(), "LibSm" );
   EXPECT_EQ( genericIf( world.interface() )->strRep(), "VlanIntfSm(br10)" );
   EXPECT_EQ( genericIf( world.table )->strRep(),
              "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable" );
   EXPECT_EQ( listOf()->strRep(), "[]" );
   EXPECT_EQ( named( { { "", kVlan }, { "mac", kMac }, { "on", nullptr } } )->strRep(),
              "[20, mac: 00:00:5e:00:01:05, on: null]" );
}

TEST( Interface, ToAValueIsClonedWithItsValue ) {
   for( const bool isConst : { false, true } ) {
      const Any any = genericIf( a, isConst );
      const Any clone = any->clone();
      EXPECT_EQ( shown( clone ), shown( any ) );
      EXPECT_NE( clone, any );
   }
   const Any any = genericIf( a );
   const Any clone = any->clone();
   did( clone, "vlanId", Op::set, nullptr, kVlan );
   EXPECT_EQ( got( any, "vlanId" ), "Bridging::VlanId 10" );
   EXPECT_EQ( got( clone, "vlanId" ), "Bridging::VlanId 20" );
}

TEST( Interface, ToAnEntityIsClonedToTheSameEntity ) {
   const auto table = virtualRouterMacTableFactory();
   for( const bool isConst : { false, true } ) {
      const Any clone = genericIf( table, isConst )->clone();
      EXPECT_EQ( clone->voidPtrIs( typeOf<VirtualRouterMacTable>() ), table.get() );
      EXPECT_EQ( clone->isConst(), isConst );
   }
   EXPECT_EQ( listOf( kVlan, kMac )->clone()->strRep(), "[20, 00:00:5e:00:01:05]" );
}

TEST( Interface, GivesItsInstanceOnlyAsWhatItIs ) {
   Pipeline world;
   const Any any = genericIf( a );
   ASSERT_NE( any->voidPtrIs( typeOf<VlanAndMac>() ), nullptr );
   EXPECT_EQ( *static_cast<const VlanAndMac *>( any->voidPtrIs( typeOf<VlanAndMac>() ) ), a );
   EXPECT_EQ( any->voidPtrIs( typeOf<VlanId>() ), nullptr );
   EXPECT_EQ( any->voidPtrIs( nullptr ), nullptr );
   const Any helper = genericIf( world.helper );
   EXPECT_EQ( helper->voidPtrIs( typeOf<VrrpSmHelper>() ), world.helper.get() );
   EXPECT_EQ( helper->voidPtrIs( typeOf<Orlo::OrloBaseHelper>() ), nullptr );
}

TEST( Interface, KeepsItsEntityAlive ) {
   auto table = virtualRouterMacTableFactory();
   const Any any = genericIf( table );
   table->virtualRouterMacIs( a, true );
   table = nullptr;
   EXPECT_EQ( did( any, "virtualRouterMac", Op::size ), "U32 1" );
}

// Switches

TEST( Interface, PassesTheSwitchesOnToTheEntity ) {
   Pipeline world;
   const Any sm = genericIf( world.programmer );
   sm->hasNotificationActiveIs( false );
   EXPECT_FALSE( world.programmer->hasNotificationActive() );
   world.table->virtualRouterMacDel( a );
   EXPECT_EQ( world.takeStory(), Lines{} );
   sm->hasNotificationActiveIs( true );
   EXPECT_TRUE( world.programmer->hasNotificationActive() );
   world.table->virtualRouterMacDel( b );
   EXPECT_EQ( world.takeStory().size(), 2u ) << "one is deleted, the one that waits is added";

   sm->quorDoZombieReactors( true );
   world.table->virtualRouterMacIs( c, true );
   EXPECT_EQ( world.takeStory(), Lines{} ) << "a zombie hears nothing";
   sm->quorDoZombieReactors( false );
   world.table->virtualRouterMacDel( pair( 10, 2 ) );
   EXPECT_EQ( world.takeStory().size(), 1u );

   const Any reflector = genericIf( world.reflector );
   reflector->hasNotificationActiveIs( false );
   EXPECT_FALSE( world.reflector->hasNotificationActive() );
   EXPECT_FALSE( world.interface()->hasNotificationActive() );
}

TEST( Interface, WithoutSwitchesIgnoresThem ) {
   const Any value = genericIf( a );
   value->hasNotificationActiveIs( true );
   value->quorDoZombieReactors( true );
   EXPECT_EQ( shown( value ), shown( genericIf( a ) ) );
   const Any table = genericIf( virtualRouterMacTableFactory() );
   table->hasNotificationActiveIs( true );
   table->quorDoZombieReactors( true );
}

} // namespace
} // namespace IntrospectionTests
