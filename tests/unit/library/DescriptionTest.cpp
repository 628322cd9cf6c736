// How the types of the library describe themselves: names, identifiers, kinds, arguments.
#include "OrloVrrpHelper/VrrpSmHelper.h"
#include "tests/unit/library/Story.h"
#include "tests/unit/library/Values.h"
#include "types/OrloVrrpHelper.h"
#include "types/OrloVrrpPrivateVlanReflectorLib.h"
#include "types/OrloVrrpSm.h"

#include <gtest/gtest.h>

#include <set>

namespace LibraryTests {
namespace {

using namespace Orlo::VrrpPrivateVlanReflectorLib;
using Orlo::VrrpSm;
using OrloHelper::CurrentVrrpStateForInit;
using OrloHelper::VrrpSmHelper;

String kindText( Quor::AttrKind kind ) {
   switch( kind ) {
   case Quor::AttrKind::value:
      return "value";
   case Quor::AttrKind::pointer:
      return "pointer";
   case Quor::AttrKind::collection:
      return "collection";
   case Quor::AttrKind::queue:
      return "queue";
   case Quor::AttrKind::function:
      return "function";
   }
   return "unknown kind";
}

/// "130 virtualRouterMac collection", "387 addVirtualRouterMac function( macAddr, vlanId, index )"
String text( const Quor::Attribute &attribute ) {
   String line = std::to_string( attribute.id ) + " " + String( attribute.name ) + " " +
                 kindText( attribute.kind );
   String arguments;
   for( const std::string_view argument : attribute.arguments ) {
      if( !argument.empty() ) {
         arguments += ( arguments.empty() ? "( " : ", " ) + String( argument );
      }
   }
   return line + arguments + ( arguments.empty() ? "" : " )" );
}

template <class T>
Lines attributesOf() {
   Lines lines;
   for( const Quor::Attribute &attribute : Quor::Describe<T>::type.attributes ) {
      lines.push_back( text( attribute ) );
   }
   return lines;
}

template <class T>
String nameOf() {
   return String( Quor::Describe<T>::type.name );
}

TEST( Description, ThePair ) {
   EXPECT_EQ( nameOf<VlanAndMac>(), "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac" );
   EXPECT_EQ( attributesOf<VlanAndMac>(),
              ( Lines{ "2 vlanId value", "3 mac value", "4 hash function" } ) );
}

TEST( Description, TheHandOverTable ) {
   EXPECT_EQ( nameOf<VirtualRouterMacTable>(),
              "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable" );
   EXPECT_EQ( attributesOf<VirtualRouterMacTable>(),
              ( Lines{ "130 virtualRouterMac collection" } ) );
}

TEST( Description, TheMacsOfAnInterface ) {
   EXPECT_EQ( nameOf<EthAddrsForIntf>(), "Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf" );
   EXPECT_EQ( attributesOf<EthAddrsForIntf>(),
              ( Lines{ "130 vlanIntf value", "131 ethAddr collection", "132 fwkKey value" } ) );
}

TEST( Description, TheSnapshot ) {
   EXPECT_EQ( nameOf<CurrentVrrpStateForInit>(), "OrloHelper::CurrentVrrpStateForInit" );
   EXPECT_EQ( attributesOf<CurrentVrrpStateForInit>(),
              ( Lines{ "130 virtualRouterIndex collection" } ) );
}

TEST( Description, TheHelper ) {
   EXPECT_EQ( nameOf<VrrpSmHelper>(), "OrloHelper::VrrpSmHelper" );
   EXPECT_EQ( attributesOf<VrrpSmHelper>(),
              ( Lines{ "386 syncCurrentStateOnInit value",
                       "387 addVirtualRouterMac function( macAddr, vlanId, index )",
                       "388 deleteVirtualRouterMac function( macAddr, vlanId, index )",
                       "389 syncVrrpStateOnInit function( currentStatePtr )",
                       "390 initializationComplete function" } ) );
}

// Of the reactors only what is fixed is written out: the order of the rest is nobody's business.

template <class T>
std::set<String> withoutIdentifiers() {
   std::set<String> texts;
   for( const String &line : attributesOf<T>() ) {
      texts.insert( line.substr( line.find( ' ' ) + 1 ) );
   }
   return texts;
}

/// What is missing from a type's description.
template <class T>
Lines missing( const Lines &required ) {
   const auto present = withoutIdentifiers<T>();
   Lines absent;
   for( const String &line : required ) {
      if( present.count( line ) == 0 ) {
         absent.push_back( line );
      }
   }
   return absent;
}

TEST( Description, TheProgrammer ) {
   EXPECT_EQ( nameOf<VrrpSm>(), "Orlo::VrrpSm" );
   EXPECT_EQ( missing<VrrpSm>( {
                    "vrrpMacStatus pointer",
                    "vrrpHwStatus pointer",
                    "vrrpHelper pointer",
                    "freeVirtualRouterIndex queue",
                    "freeVirtualRouterIndexMetadata value",
                    "virtualRouterIndex collection",
                    "macsNeedingVirtualRouterIndex queue",
                    "macsNeedingVirtualRouterIndexMetadata value",
                    "currentVrrpStateForInit pointer",
                    "initialized value",
                    "handleVrrpMac function( vrrpMac )",
                    "handleInitialized function",
                    "doAddVirtualRouterMac function( vr, index )",
                    "doDeleteVirtualRouterMac function( vr, index )",
                    "doCleanup function",
                    "quorFwkActivity value",
                    "hasNotificationActiveIs function( on )",
                    "quorDoZombieReactors function( on )",
              } ),
              Lines{} );
}

TEST( Description, TheReactorOfAnInterface ) {
   EXPECT_EQ( nameOf<VlanIntfSm>(), "Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm" );
   EXPECT_EQ( missing<VlanIntfSm>( {
                    "libSm pointer",
                    "sviVlanSet pointer",
                    "dmacList pointer",
                    "intf value",
                    "initialized value",
                    "handleVlanId function( vlanId )",
                    "handleDmac function( dmac )",
                    "handleInitialized function",
                    "doCleanup function",
                    "fwkKey value",
                    "quorFwkActivity value",
                    "hasNotificationActiveIs function( on )",
                    "quorDoZombieReactors function( on )",
              } ),
              Lines{} );
}

TEST( Description, TheReflector ) {
   EXPECT_EQ( nameOf<LibSm>(), "Orlo::VrrpPrivateVlanReflectorLib::LibSm" );
   EXPECT_EQ( missing<LibSm>( {
                    "virtualRouterMacStatusIn pointer",
                    "intfVlanIdSetTable pointer",
                    "virtualRouterMacTableOut pointer",
                    "dmacsForIntf collection",
                    "vlanIntfSm collection",
                    "disableCleanupOnRestart value",
                    "initialized value",
                    "handleVirtualRouterMac function( vrMac )",
                    "handleDmacsForIntf function( intf )",
                    "handleInitialized function",
                    "quorFwkActivity value",
                    "hasNotificationActiveIs function( on )",
                    "quorDoZombieReactors function( on )",
              } ),
              Lines{} );
   const Lines lines = attributesOf<LibSm>();
   EXPECT_EQ( Lines( lines.begin(), lines.begin() + 4 ),
              ( Lines{ "130 virtualRouterMacStatusIn pointer", "131 intfVlanIdSetTable pointer",
                       "132 virtualRouterMacTableOut pointer", "133 vlanIntfSm collection" } ) );
}

// All of them

template <class T>
class EveryType : public testing::Test {};

using Types = testing::Types<VlanAndMac, VirtualRouterMacTable, EthAddrsForIntf, VlanIntfSm, LibSm,
                             VrrpSm, CurrentVrrpStateForInit, VrrpSmHelper>;
TYPED_TEST_SUITE( EveryType, Types );

TYPED_TEST( EveryType, GivesItsDescription ) {
   EXPECT_EQ( TypeParam::_fwkType(), &Quor::Describe<TypeParam>::type );
}

TYPED_TEST( EveryType, NumbersItsAttributesOneByOneFromTheFirst ) {
   Quor::AttrId id = Quor::Describe<TypeParam>::type.attributes[0].id;
   for( const Quor::Attribute &attribute : Quor::Describe<TypeParam>::type.attributes ) {
      EXPECT_EQ( attribute.id, id++ );
   }
}

TYPED_TEST( EveryType, FindsEachAttributeByNameAndByIdentifier ) {
   const Quor::Type &type = Quor::Describe<TypeParam>::type;
   for( const Quor::Attribute &attribute : type.attributes ) {
      EXPECT_EQ( type.find( attribute.name ), &attribute );
      EXPECT_EQ( type.find( attribute.id ), &attribute );
   }
   EXPECT_EQ( type.find( "nonsense" ), nullptr );
   EXPECT_EQ( type.find( Quor::AttrId{ 1 } ), nullptr );
}

TEST( Description, ObjectsGiveTheTypeThatTheyAre ) {
   const auto table = virtualRouterMacTableFactory();
   EXPECT_EQ( table->fwkType(), VirtualRouterMacTable::_fwkType() );
   EXPECT_EQ( Quor::make<EthAddrsForIntf>( IntfId() )->fwkType(), EthAddrsForIntf::_fwkType() );
   EXPECT_EQ( Quor::make<CurrentVrrpStateForInit>()->fwkType(),
              CurrentVrrpStateForInit::_fwkType() );
   EXPECT_EQ( LibSmIs( nullptr, nullptr, table )->fwkType(), LibSm::_fwkType() );

   class PlatformHelper : public VrrpSmHelper {
    public:
      PlatformHelper() : VrrpSmHelper( "chip" ) {}
   };
   const auto helper = Quor::make<PlatformHelper>();
   EXPECT_EQ( helper->fwkType(), VrrpSmHelper::_fwkType() );
   const auto hardware = Quor::make<Routing::Fhrp::Hardware::Status>();
   EXPECT_EQ( Orlo::VrrpSmIs( table, hardware, helper )->fwkType(), VrrpSm::_fwkType() );

   const auto reflector = LibSmIs( nullptr, nullptr, table );
   const auto reactor =
         Quor::make<VlanIntfSm>( reflector.get(), Quor::make<IntfVlanIdSet::SviVlanSet>( IntfId() ),
                                 Quor::make<EthAddrsForIntf>( IntfId() ) );
   EXPECT_EQ( reactor->fwkType(), VlanIntfSm::_fwkType() );
}

TEST( Description, TheIdentifiersOfNotificationsAreThoseOfTheDescription ) {
   const auto id = []( const char *name ) { return Quor::Describe<VrrpSm>::type.find( name )->id; };
   EXPECT_EQ( id( "freeVirtualRouterIndex" ), VrrpSm::kFreeVirtualRouterIndex );
   EXPECT_EQ( id( "virtualRouterIndex" ), VrrpSm::kVirtualRouterIndex );
   EXPECT_EQ( id( "macsNeedingVirtualRouterIndex" ), VrrpSm::kMacsNeedingVirtualRouterIndex );
   EXPECT_EQ( Quor::Describe<VrrpSmHelper>::type.find( "syncCurrentStateOnInit" )->id,
              VrrpSmHelper::kSyncCurrentStateOnInit );
   EXPECT_EQ( Quor::Describe<EthAddrsForIntf>::type.find( "ethAddr" )->id,
              EthAddrsForIntf::kEthAddr );
}

} // namespace
} // namespace LibraryTests
