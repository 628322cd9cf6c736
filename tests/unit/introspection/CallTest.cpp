// Calling functions by name, with arguments by their place or by their name.
#include "quor/Introspection.h"
#include "tests/unit/introspection/Pipeline.h"

#include <gtest/gtest.h>

namespace IntrospectionTests {
namespace {

const Any kMac = genericIf( mac( 7 ) );
const Any kVlan = genericIf( U32{ 10 } );
const Any kIndex = genericIf( U32{ 4 } );
const Any kPair = genericIf( a );

TEST( Function, WithoutArgumentsTakesAnEmptyListAndGivesItsResult ) {
   EXPECT_EQ( called( genericIf( a ), "hash", listOf() ), "U32 " + std::to_string( a.hash() ) );
   Pipeline world;
   EXPECT_EQ( called( genericIf( world.helper ), "initializationComplete", listOf() ), "nothing" );
   EXPECT_EQ( world.story, ( Lines{ "complete" } ) );
}

TEST( Function, TakesNothingButAList ) {
   Pipeline world;
   for( const Any &argument : { Any(), kPair, genericIf( U32{ 1 } ), genericIf( world.table ) } ) {
      EXPECT_EQ( called( genericIf( a ), "hash", argument ), kNoList );
      EXPECT_EQ( called( genericIf( world.programmer ), "doCleanup", argument ), kNoList );
      EXPECT_EQ( called( genericIf( world.helper ), "addVirtualRouterMac", argument ), kNoList );
   }
   EXPECT_EQ( world.programmer->virtualRouterIndexes().size(), 3u );
   EXPECT_EQ( world.story, Lines{} );
}

TEST( Function, KnowsNoOperationButTheCall ) {
   Pipeline world;
   for( const AttrOp op : { 1u, 2u, 3u, 4u, 127u, 128u, 129u, 130u, 0xFFFFFFFFu } ) {
      EXPECT_EQ( did( genericIf( a ), "hash", op, listOf() ), notSupported( "hash", op ) );
      EXPECT_EQ( did( genericIf( world.programmer ), "doCleanup", op, listOf(), listOf() ),
                 notSupported( "doCleanup", op ) );
   }
   EXPECT_EQ( world.programmer->virtualRouterIndexes().size(), 3u );
}

TEST( Function, TakesArgumentsByTheirPlace ) {
   Pipeline world;
   EXPECT_EQ(
         called( genericIf( world.helper ), "addVirtualRouterMac", listOf( kMac, kVlan, kIndex ) ),
         "nothing" );
   EXPECT_EQ( world.story, ( Lines{ "add 00:00:5e:00:01:07 on 10 at 4" } ) );
}

TEST( Function, TakesArgumentsByTheirNameInAnyOrder ) {
   Pipeline world;
   const Any arguments = named( { { "index", kIndex }, { "macAddr", kMac }, { "vlanId", kVlan } } );
   EXPECT_EQ( called( genericIf( world.helper ), "deleteVirtualRouterMac", arguments ), "nothing" );
   EXPECT_EQ( world.story, ( Lines{ "delete 00:00:5e:00:01:07 on 10 at 4" } ) );
}

TEST( Function, TakesArgumentsByTheirPlaceAndOthersByName ) {
   Pipeline world;
   const Any arguments = named( { { "", kMac }, { "index", kIndex }, { "vlanId", kVlan } } );
   EXPECT_EQ( called( genericIf( world.helper ), "addVirtualRouterMac", arguments ), "nothing" );
   EXPECT_EQ( world.story, ( Lines{ "add 00:00:5e:00:01:07 on 10 at 4" } ) );
}

TEST( Function, NamesTheArgumentThatIsMissingOrOfAnotherType ) {
   Pipeline world;
   const Any helper = genericIf( world.helper );
   const auto add = [&]( const Any &list ) {
      return called( helper, "addVirtualRouterMac", list );
   };
   EXPECT_EQ( add( listOf() ), wrongType( "macAddr" ) );
   EXPECT_EQ( add( listOf( kMac ) ), wrongType( "vlanId" ) );
   EXPECT_EQ( add( listOf( kMac, kVlan ) ), wrongType( "index" ) );
   EXPECT_EQ( add( listOf( kVlan, kVlan, kIndex ) ), wrongType( "macAddr" ) );
   EXPECT_EQ( add( listOf( kMac, genericIf( VlanId( 10 ) ), kIndex ) ), wrongType( "vlanId" ) );
   EXPECT_EQ( add( listOf( kMac, kVlan, Any() ) ), wrongType( "index" ) );
   EXPECT_EQ( add( named( { { "index", kIndex }, { "macAddr", kMac } } ) ), wrongType( "vlanId" ) );
   EXPECT_EQ( called( helper, "syncVrrpStateOnInit", listOf( kPair ) ),
              wrongType( "currentStatePtr" ) );
   EXPECT_EQ( world.story, Lines{} ) << "nothing was called";
}

TEST( Function, RefusesAnArgumentThatItDoesNotHave ) {
   Pipeline world;
   const Any helper = genericIf( world.helper );
   const auto add = [&]( const Any &list ) {
      return called( helper, "addVirtualRouterMac", list );
   };
   const String unknown = unknownArgument( "addVirtualRouterMac" );
   EXPECT_EQ( add( listOf( kMac, kVlan, kIndex, kIndex ) ), unknown );
   EXPECT_EQ( add( named( { { "", kMac }, { "", kVlan }, { "slot", kIndex } } ) ), unknown );
   EXPECT_EQ( add( named( { { "MacAddr", kMac }, { "", kVlan }, { "", kIndex } } ) ), unknown );
   EXPECT_EQ( called( genericIf( a ), "hash", listOf( kVlan ) ), unknownArgument( "hash" ) );
   EXPECT_EQ( called( genericIf( a ), "hash", named( { { "seed", kVlan } } ) ),
              unknownArgument( "hash" ) );
   EXPECT_EQ( world.story, Lines{} );
}

TEST( Function, RefusesAnArgumentThatIsGivenTwice ) {
   Pipeline world;
   const Any helper = genericIf( world.helper );
   const auto add = [&]( const Any &list ) {
      return called( helper, "addVirtualRouterMac", list );
   };
   const String unknown = unknownArgument( "addVirtualRouterMac" );
   EXPECT_EQ( add( named( { { "", kMac }, { "macAddr", kMac }, { "index", kIndex } } ) ), unknown );
   EXPECT_EQ( add( named( { { "vlanId", kVlan }, { "vlanId", kIndex }, { "", kIndex } } ) ),
              unknown );
   EXPECT_EQ( add( named( { { "vlanId", kVlan }, { "", kIndex }, { "", kIndex } } ) ), unknown );
   EXPECT_EQ( world.story, Lines{} );
}

TEST( Function, TakesAnObjectByReference ) {
   Pipeline world;
   const auto snapshot = make<CurrentVrrpStateForInit>();
   snapshot->virtualRouterIndexIs( a, 1 );
   const Any helper = genericIf( world.helper );
   EXPECT_EQ( called( helper, "syncVrrpStateOnInit", listOf( genericIf( snapshot ) ) ), "nothing" );
   EXPECT_EQ( world.takeStory(), ( Lines{ "sync of 1" } ) );
   EXPECT_EQ( called( helper, "syncVrrpStateOnInit", listOf( genericIf( snapshot, true ) ) ),
              kConst )
         << "the helper would write to it";
   EXPECT_EQ( world.takeStory(), Lines{} );
}

TEST( Function, OfTwoOfOneNameIsChosenByTheNumberOfItsArguments ) {
   Programmer world( 3 );
   const auto table = virtualRouterMacTableFactory();
   table->newVirtualRouterMac( a, true );
   world.sm->hasNotificationActiveIs( false );
   world.sm->vrrpMacStatusIs( table ); // handles all of it
   table->newVirtualRouterMac( b, true );
   table->newVirtualRouterMac( c, true );
   world.story.clear();

   const Any sm = genericIf( world.sm );
   EXPECT_EQ( called( sm, "handleVrrpMac", listOf( genericIf( c ) ) ), "nothing" );
   EXPECT_EQ( std::exchange( world.story, {} ), ( Lines{ "add 00:00:5e:00:01:02 on 30 at 1" } ) );
   EXPECT_EQ( called( sm, "handleVrrpMac", named( { { "vrrpMac", genericIf( b ) } } ) ),
              "nothing" );
   EXPECT_EQ( std::exchange( world.story, {} ), ( Lines{ "add 00:00:5e:00:01:01 on 20 at 2" } ) );
}

TEST( Function, OfTwoOfOneNameWithoutArgumentsHandlesAll ) {
   Programmer world( 3 );
   const auto table = virtualRouterMacTableFactory();
   world.sm->vrrpMacStatusIs( table );
   table->newVirtualRouterMac( a, true );
   table->newVirtualRouterMac( c, true );
   EXPECT_EQ( called( genericIf( world.sm ), "handleVrrpMac", listOf() ), "nothing" );
   EXPECT_EQ( world.sm->virtualRouterIndexes().size(), 2u );
}

TEST( Function, OfTwoOfOneNameFailsAsOneDoes ) {
   Pipeline world;
   const Any sm = genericIf( world.programmer );
   EXPECT_EQ( called( sm, "handleVrrpMac", listOf( kVlan ) ), wrongType( "vrrpMac" ) );
   EXPECT_EQ( called( sm, "handleVrrpMac", listOf( Any() ) ), wrongType( "vrrpMac" ) );
   EXPECT_EQ( called( sm, "handleVrrpMac", listOf( kPair, kPair ) ),
              unknownArgument( "handleVrrpMac" ) );
   EXPECT_EQ( called( sm, "handleVrrpMac", named( { { "vrMac", kPair } } ) ),
              unknownArgument( "handleVrrpMac" ) );
   EXPECT_EQ( called( sm, "handleVrrpMac", nullptr ), kNoList );
   EXPECT_EQ( world.story, Lines{} );
}

TEST( Function, OfTheProgrammerDoesWhatTheTypedOneDoes ) {
   Pipeline world;
   const Any sm = genericIf( world.programmer );
   EXPECT_EQ( called( sm, "doAddVirtualRouterMac", listOf( genericIf( c ), kIndex ) ), "nothing" );
   EXPECT_EQ( called( sm, "doDeleteVirtualRouterMac",
                      named( { { "index", kIndex }, { "vr", genericIf( c ) } } ) ),
              "nothing" );
   EXPECT_EQ( world.takeStory(), ( Lines{ "add 00:00:5e:00:01:02 on 30 at 4",
                                          "delete 00:00:5e:00:01:02 on 30 at 4" } ) );
   EXPECT_EQ( called( sm, "handleInitialized", listOf() ), "nothing" );
   EXPECT_EQ( called( sm, "doCleanup", listOf() ), "nothing" );
   EXPECT_EQ( world.programmer->virtualRouterIndexes().size(), 0u );
   EXPECT_EQ( world.programmer->freeVirtualRouterIndexes().count(), 3u );
   EXPECT_EQ( world.takeStory(), Lines{} ) << "the hardware keeps its entries";
}

TEST( Function, OfTheReflectorDoesWhatTheTypedOneDoes ) {
   Pipeline world;
   const IntfId br10( "br10" );
   const VirtualRouterMac record( br10, mac( 1 ) );
   world.reflector->hasNotificationActiveIs( false );
   world.status->vrrpVirtualMacDel( record );
   const Any reflector = genericIf( world.reflector );
   EXPECT_EQ( called( reflector, "handleVirtualRouterMac", listOf( genericIf( record ) ) ),
              "nothing" );
   EXPECT_EQ( world.macs()->ethAddrs().size(), 1u );
   world.macs()->newEthAddr( mac( 9 ), true ); // unseen
   EXPECT_EQ(
         called( genericIf( world.interface() ), "handleDmac", listOf( genericIf( mac( 9 ) ) ) ),
         "nothing" );
   EXPECT_TRUE( world.table->virtualRouterMac( pair( 20, 9 ) ) );
   world.br10->newVlanId( VlanId( 30 ), true ); // unseen
   EXPECT_EQ( called( genericIf( world.interface() ), "handleVlanId",
                      named( { { "vlanId", genericIf( VlanId( 30 ) ) } } ) ),
              "nothing" );
   EXPECT_TRUE( world.table->virtualRouterMac( pair( 30, 9 ) ) );
   EXPECT_EQ( called( genericIf( world.interface() ), "doCleanup", listOf() ), "nothing" );
   EXPECT_EQ( world.table->virtualRouterMacs().size(), 2u ) << "of the MAC that left unseen";
   EXPECT_EQ( called( reflector, "handleInitialized", listOf() ), "nothing" );
   EXPECT_EQ( world.table->virtualRouterMacs().size(), 0u );
   EXPECT_EQ( called( reflector, "handleDmacsForIntf", listOf( genericIf( br10 ) ) ), "nothing" );
}

TEST( Function, ThatModifiesIsRefusedByAnInterfaceThatOnlyReads ) {
   Pipeline world;
   const Any programmer = genericIf( world.programmer, true );
   EXPECT_EQ( called( programmer, "doCleanup", listOf() ), kConst );
   EXPECT_EQ( called( programmer, "handleVrrpMac", listOf( kPair ) ), kConst );
   EXPECT_EQ( called( programmer, "hasNotificationActiveIs", listOf( genericIf( false ) ) ),
              kConst );
   EXPECT_EQ( called( genericIf( world.helper, true ), "addVirtualRouterMac",
                      listOf( kMac, kVlan, kIndex ) ),
              kConst );
   EXPECT_EQ( did( programmer, "doCleanup", Op::size, listOf() ),
              notSupported( "doCleanup", Op::size ) );
   EXPECT_EQ( world.programmer->virtualRouterIndexes().size(), 3u );
   EXPECT_TRUE( world.programmer->hasNotificationActive() );
   EXPECT_EQ( world.story, Lines{} );
}

TEST( Function, ThatOnlyReadsIsCalledThroughAnInterfaceThatOnlyReads ) {
   EXPECT_EQ( called( genericIf( a, true ), "hash", listOf() ),
              "U32 " + std::to_string( a.hash() ) );
}

TEST( Function, IsConstInItsDescriptionWhenAllOfItsOverloadsAre ) {
   Lines reading;
   for( const auto &[name, registered] : Quor::IntrospectionReactor::instance().types() ) {
      for( const Quor::Attribute &attribute : registered.type()->attributes ) {
         if( attribute.isConst ) {
            reading.push_back( name + " " + String( attribute.name ) );
         }
      }
   }
   EXPECT_EQ( reading, ( Lines{ "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac hash" } ) );
}

TEST( Function, ThatThrowsThrowsThroughTheInterface ) {
   Pipeline world;
   const auto other = make<IntfVlanIdSet::Table>();
   world.vlanSets->sviVlanSetDel( IntfId( "br10" ) );
   world.vlanSets->sviVlanSetIs( IntfId( "br10" ) ); // another object under the same name
   const String failure = called( genericIf( world.reflector ), "handleDmacsForIntf",
                                  listOf( genericIf( IntfId( "br10" ) ) ) );
   EXPECT_EQ( failure.substr( 0, 20 ), "NameInUseException: " ) << failure;
}

TEST( Function, ThatSwitchesNotificationIsCalledLikeAnyOther ) {
   Pipeline world;
   const Any on = listOf( genericIf( true ) );
   const Any off = named( { { "on", genericIf( false ) } } );
   for( const Any &any : { genericIf( world.programmer ), genericIf( world.reflector ),
                           genericIf( world.interface() ) } ) {
      EXPECT_EQ( called( any, "hasNotificationActiveIs", off ), "nothing" );
      EXPECT_EQ( called( any, "quorDoZombieReactors", on ), "nothing" );
      EXPECT_EQ( called( any, "hasNotificationActiveIs", listOf( kVlan ) ), wrongType( "on" ) );
   }
   EXPECT_FALSE( world.programmer->hasNotificationActive() );
   EXPECT_FALSE( world.reflector->hasNotificationActive() );
   EXPECT_FALSE( world.interface()->hasNotificationActive() );
}

} // namespace
} // namespace IntrospectionTests
