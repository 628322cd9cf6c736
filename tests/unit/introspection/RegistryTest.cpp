// What the registry knows when the plug-in is loaded: every type with every attribute, row by row.
#include "quor/Introspection.h"
#include "tests/unit/introspection/Access.h"
#include "types/Modules.h"
#include "types/OrloVrrpSm.h"

#include <gtest/gtest.h>

namespace IntrospectionTests {
namespace {

using Quor::IntrospectionReactor;
using Quor::QuorAttr;
using Quor::RegisteredType;

IntrospectionReactor &registry() {
   return IntrospectionReactor::instance();
}

const String kReflector = "Orlo::VrrpPrivateVlanReflectorLib::";
const String kPair = kReflector + "VlanAndMac";

/// "130 virtualRouterMac[VlanAndMac]: bool", "387 f( macAddr: Pelmo::EthAddr ): nothing", with the
/// constructor's parameters marked.
String text( const QuorAttr &attribute ) {
   const bool isFunction = ( attribute.flags & QuorAttr::kFunction ) != 0;
   const bool isCollection = ( attribute.flags & QuorAttr::kCollection ) != 0;
   String line = std::to_string( attribute.id ) + " ";
   line += ( attribute.flags & QuorAttr::kParameter ) != 0 ? "parameter " : "";
   line += attribute.name;
   line += isFunction ? "(" : isCollection ? "[" : "";
   for( std::size_t i = 0; i < attribute.arguments.size(); ++i ) {
      const QuorAttr &argument = attribute.arguments[i];
      EXPECT_EQ( argument.id, i ) << line;
      EXPECT_EQ( argument.flags, 0u ) << line;
      line += ( i > 0 ? ", " : isFunction ? " " : "" ) + argument.name + ": " + argument.type;
   }
   line += isFunction ? ( attribute.arguments.empty() ? ")" : " )" ) : isCollection ? "]" : "";
   EXPECT_EQ( ( attribute.flags & QuorAttr::kInstantiating ) != 0, !isFunction ) << line;
   return line + ": " + ( attribute.type.empty() ? "nothing" : attribute.type );
}

Lines rowsOf( const String &typeName ) {
   const RegisteredType *const type = registry().find( typeName );
   if( !type ) {
      return { typeName + " is not registered" };
   }
   Lines lines;
   for( const QuorAttr &attribute : type->attributes() ) {
      lines.push_back( text( attribute ) );
   }
   return lines;
}

TEST( Registry, ThePair ) {
   EXPECT_EQ( rowsOf( kPair ), ( Lines{ "2 parameter vlanId: Bridging::VlanId",
                                        "3 parameter mac: Pelmo::EthAddr", "4 hash(): U32" } ) );
}

TEST( Registry, TheHandOverTable ) {
   EXPECT_EQ( rowsOf( kReflector + "VirtualRouterMacTable" ),
              ( Lines{ "130 virtualRouterMac[quor_index: " + kPair + "]: bool" } ) );
}

TEST( Registry, TheMacsOfAnInterface ) {
   EXPECT_EQ( rowsOf( kReflector + "EthAddrsForIntf" ),
              ( Lines{ "130 parameter vlanIntf: Pelmo::IntfId",
                       "131 ethAddr[quor_index: Pelmo::EthAddr]: bool",
                       "132 fwkKey: Pelmo::IntfId" } ) );
}

TEST( Registry, TheReactorOfAnInterface ) {
   EXPECT_EQ( rowsOf( kReflector + "VlanIntfSm" ),
              ( Lines{ "130 parameter libSm: " + kReflector + "LibSm",
                       "131 parameter sviVlanSet: IntfVlanIdSet::SviVlanSet",
                       "132 parameter dmacList: " + kReflector + "EthAddrsForIntf",
                       "133 intf: Pelmo::IntfId", "134 initialized: bool",
                       "135 handleVlanId( vlanId: Bridging::VlanId ): nothing",
                       "136 handleDmac( dmac: Pelmo::EthAddr ): nothing",
                       "137 handleInitialized(): nothing", "138 doCleanup(): nothing",
                       "139 fwkKey: Pelmo::IntfId", "140 quorFwkActivity: Quor::Name",
                       "141 hasNotificationActiveIs( on: bool ): nothing",
                       "142 quorDoZombieReactors( on: bool ): nothing" } ) );
}

TEST( Registry, TheReflector ) {
   EXPECT_EQ(
         rowsOf( kReflector + "LibSm" ),
         ( Lines{ "130 parameter virtualRouterMacStatusIn: Routing::Fhrp::VirtualRouterMacStatus",
                  "131 parameter intfVlanIdSetTable: IntfVlanIdSet::Table",
                  "132 parameter virtualRouterMacTableOut: " + kReflector + "VirtualRouterMacTable",
                  "133 vlanIntfSm[quor_index: Pelmo::IntfId]: " + kReflector + "VlanIntfSm",
                  "134 dmacsForIntf[quor_index: Pelmo::IntfId]: " + kReflector + "EthAddrsForIntf",
                  "135 disableCleanupOnRestart: bool", "136 initialized: bool",
                  "137 handleVirtualRouterMac( vrMac: Routing::Fhrp::VirtualRouterMac ): nothing",
                  "138 handleDmacsForIntf( intf: Pelmo::IntfId ): nothing",
                  "139 handleInitialized(): nothing", "140 quorFwkActivity: Quor::Name",
                  "141 hasNotificationActiveIs( on: bool ): nothing",
                  "142 quorDoZombieReactors( on: bool ): nothing" } ) );
}

TEST( Registry, TheProgrammer ) {
   EXPECT_EQ( rowsOf( "Orlo::VrrpSm" ),
              ( Lines{ "130 parameter vrrpMacStatus: " + kReflector + "VirtualRouterMacTable",
                       "131 parameter vrrpHwStatus: Routing::Fhrp::Hardware::Status",
                       "132 parameter vrrpHelper: OrloHelper::VrrpSmHelper",
                       "133 freeVirtualRouterIndex[quor_index: U32]: U32",
                       "134 virtualRouterIndex[quor_index: " + kPair + "]: U32",
                       "135 macsNeedingVirtualRouterIndex[quor_index: U32]: " + kPair,
                       "136 currentVrrpStateForInit: OrloHelper::CurrentVrrpStateForInit",
                       "137 initialized: bool",
                       "138 freeVirtualRouterIndexMetadata: Orlo::QueueMetadata",
                       "139 macsNeedingVirtualRouterIndexMetadata: Orlo::QueueMetadata",
                       "140 handleVrrpMac( vrrpMac: " + kPair + " ): nothing",
                       "141 handleInitialized(): nothing",
                       "142 doAddVirtualRouterMac( vr: " + kPair + ", index: U32 ): nothing",
                       "143 doDeleteVirtualRouterMac( vr: " + kPair + ", index: U32 ): nothing",
                       "144 doCleanup(): nothing", "145 quorFwkActivity: Quor::Name",
                       "146 hasNotificationActiveIs( on: bool ): nothing",
                       "147 quorDoZombieReactors( on: bool ): nothing" } ) );
}

TEST( Registry, TheHelperAndItsSnapshot ) {
   EXPECT_EQ( rowsOf( "OrloHelper::CurrentVrrpStateForInit" ),
              ( Lines{ "130 virtualRouterIndex[quor_index: " + kPair + "]: U32" } ) );
   const String pairAtIndex = "( macAddr: Pelmo::EthAddr, vlanId: U32, index: U32 ): nothing";
   EXPECT_EQ( rowsOf( "OrloHelper::VrrpSmHelper" ),
              ( Lines{ "386 syncCurrentStateOnInit: bool", "387 addVirtualRouterMac" + pairAtIndex,
                       "388 deleteVirtualRouterMac" + pairAtIndex,
                       "389 syncVrrpStateOnInit( currentStatePtr: "
                       "OrloHelper::CurrentVrrpStateForInit ): nothing",
                       "390 initializationComplete(): nothing" } ) );
   EXPECT_EQ( rowsOf( "Orlo::OrloBaseHelper" ), ( Lines{ "130 name: Quor::Name" } ) );
}

TEST( Registry, ThePlatformsEntitiesAndTheirRecord ) {
   EXPECT_EQ( rowsOf( "Routing::Fhrp::VirtualRouterMac" ),
              ( Lines{ "2 parameter intf: Pelmo::IntfId", "3 parameter mac: Pelmo::EthAddr" } ) );
   EXPECT_EQ(
         rowsOf( "Routing::Fhrp::VirtualRouterMacStatus" ),
         ( Lines{ "130 vrrpVirtualMac[quor_index: Routing::Fhrp::VirtualRouterMac]: bool" } ) );
   EXPECT_EQ( rowsOf( "Routing::Fhrp::Hardware::Status" ),
              ( Lines{ "130 virtualRouterCount: U32" } ) );
   EXPECT_EQ( rowsOf( "IntfVlanIdSet::SviVlanSet" ),
              ( Lines{ "130 parameter vlanIntf: Pelmo::IntfId",
                       "131 vlanId[quor_index: Bridging::VlanId]: bool" } ) );
   EXPECT_EQ( rowsOf( "IntfVlanIdSet::Table" ),
              ( Lines{ "130 sviVlanSet[quor_index: Pelmo::IntfId]: IntfVlanIdSet::SviVlanSet" } ) );
}

TEST( Registry, HasNoTypeButThese ) {
   Lines names;
   for( const auto &[name, type] : registry().types() ) {
      EXPECT_EQ( name, type.type()->name );
      names.push_back( name );
   }
   EXPECT_EQ( names, ( Lines{ "Bridging::VlanId",
                              "IntfVlanIdSet::SviVlanSet",
                              "IntfVlanIdSet::Table",
                              "Orlo::OrloBaseHelper",
                              "Orlo::QueueMetadata",
                              kReflector + "EthAddrsForIntf",
                              kReflector + "LibSm",
                              kReflector + "VirtualRouterMacTable",
                              kPair,
                              kReflector + "VlanIntfSm",
                              "Orlo::VrrpSm",
                              "OrloHelper::CurrentVrrpStateForInit",
                              "OrloHelper::VrrpSmHelper",
                              "Pelmo::EthAddr",
                              "Pelmo::IntfId",
                              "Quor::Name",
                              "Quor::String",
                              "Routing::Fhrp::Hardware::Status",
                              "Routing::Fhrp::VirtualRouterMac",
                              "Routing::Fhrp::VirtualRouterMacStatus",
                              "U32",
                              "bool" } ) );
   EXPECT_EQ( registry().openScopes(), 0u );
}

TEST( Registry, EveryTypeThatAnAttributeMentionsIsRegistered ) {
   for( const auto &[name, type] : registry().types() ) {
      for( const QuorAttr &attribute : type.attributes() ) {
         for( const QuorAttr &argument : attribute.arguments ) {
            EXPECT_NE( registry().find( argument.type ), nullptr ) << name << argument.name;
         }
         if( !attribute.type.empty() ) {
            EXPECT_NE( registry().find( attribute.type ), nullptr ) << name << attribute.name;
         }
      }
   }
}

TEST( Registry, EveryTypeHasAGenericInterfaceAndOnlyTheHelperHasABase ) {
   for( const auto &[name, type] : registry().types() ) {
      EXPECT_TRUE( type.hasGenericIfSupport() ) << name;
      const Type *const base =
            name == "OrloHelper::VrrpSmHelper" ? typeOf<Orlo::OrloBaseHelper>() : nullptr;
      EXPECT_EQ( type.base(), base ) << name;
   }
}

TEST( Registry, TheTypeObjectIsTheOneThatTheClassGives ) {
   using namespace Orlo::VrrpPrivateVlanReflectorLib;
   const auto registered = []( const String &name ) { return registry().find( name )->type(); };
   EXPECT_EQ( registered( kPair ), VlanAndMac::_fwkType() );
   EXPECT_EQ( registered( kReflector + "VirtualRouterMacTable" ),
              VirtualRouterMacTable::_fwkType() );
   EXPECT_EQ( registered( kReflector + "EthAddrsForIntf" ), EthAddrsForIntf::_fwkType() );
   EXPECT_EQ( registered( kReflector + "VlanIntfSm" ), VlanIntfSm::_fwkType() );
   EXPECT_EQ( registered( kReflector + "LibSm" ), LibSm::_fwkType() );
   EXPECT_EQ( registered( "Orlo::VrrpSm" ), Orlo::VrrpSm::_fwkType() );
   EXPECT_EQ( registered( "OrloHelper::VrrpSmHelper" ), OrloHelper::VrrpSmHelper::_fwkType() );
   EXPECT_EQ( registered( "OrloHelper::CurrentVrrpStateForInit" ),
              OrloHelper::CurrentVrrpStateForInit::_fwkType() );
}

// Look-ups

TEST( Registry, EveryDescriptorThatTheModulesUseIsFound ) {
   struct Row {
      String type;
      Lines attributes;
   };
   const Row rows[] = {
         { "OrloHelper::CurrentVrrpStateForInit", { "virtualRouterIndex" } },
         { "OrloHelper::VrrpSmHelper",
           { "name", "syncCurrentStateOnInit", "addVirtualRouterMac", "deleteVirtualRouterMac",
             "syncVrrpStateOnInit", "initializationComplete" } },
         { "Orlo::VrrpSm",
           { "vrrpMacStatus", "vrrpHwStatus", "vrrpHelper", "freeVirtualRouterIndex",
             "freeVirtualRouterIndexMetadata", "macsNeedingVirtualRouterIndex",
             "macsNeedingVirtualRouterIndexMetadata", "virtualRouterIndex",
             "currentVrrpStateForInit", "initialized", "handleVrrpMac", "handleInitialized",
             "doAddVirtualRouterMac", "doDeleteVirtualRouterMac", "doCleanup",
             "hasNotificationActiveIs", "quorFwkActivity", "quorDoZombieReactors" } },
         { kPair, { "vlanId", "mac", "hash" } },
         { kReflector + "VirtualRouterMacTable", { "virtualRouterMac" } },
         { kReflector + "EthAddrsForIntf", { "vlanIntf", "ethAddr", "fwkKey" } },
         { kReflector + "VlanIntfSm",
           { "libSm", "sviVlanSet", "dmacList", "intf", "initialized", "fwkKey", "handleDmac",
             "handleVlanId", "handleInitialized", "doCleanup", "hasNotificationActiveIs",
             "quorFwkActivity", "quorDoZombieReactors" } },
         { kReflector + "LibSm",
           { "virtualRouterMacStatusIn", "intfVlanIdSetTable", "virtualRouterMacTableOut",
             "dmacsForIntf", "vlanIntfSm", "disableCleanupOnRestart", "initialized",
             "handleVirtualRouterMac", "handleDmacsForIntf", "handleInitialized",
             "hasNotificationActiveIs", "quorFwkActivity", "quorDoZombieReactors" } } };
   for( const Row &row : rows ) {
      for( const String &name : row.attributes ) {
         try {
            EXPECT_EQ( registry().attribute( row.type, name ).name, name ) << row.type;
         } catch( const std::exception &error ) {
            ADD_FAILURE() << error.what();
         }
      }
   }
}

String lookedUp( const String &type, const String &attribute ) {
   try {
      return text( registry().attribute( type, attribute ) );
   } catch( const std::exception &error ) {
      return shown( error );
   }
}

TEST( Registry, AnAttributeOfTheBaseIsFoundThroughTheType ) {
   EXPECT_EQ( lookedUp( "OrloHelper::VrrpSmHelper", "name" ), "130 name: Quor::Name" );
   EXPECT_EQ( registry().find( "OrloHelper::VrrpSmHelper" )->find( "name" ), nullptr );
}

TEST( Registry, WhatIsMissingIsNamed ) {
   EXPECT_EQ( lookedUp( "Orlo::VrrpSm", "handleVrrpMacs" ),
              noAttribute( "Orlo::VrrpSm", "handleVrrpMacs" ) );
   EXPECT_EQ( lookedUp( "OrloHelper::VrrpSmHelper", "names" ),
              noAttribute( "OrloHelper::VrrpSmHelper", "names" ) );
   EXPECT_EQ( lookedUp( "Orlo::VrrpSmith", "name" ),
              "NoSuchTypeException: no such type: Orlo::VrrpSmith" );
   EXPECT_EQ( registry().find( "VrrpSm" ), nullptr );
   EXPECT_EQ( registry().find( "Orlo::VrrpSm" )->find( "" ), nullptr );
}

} // namespace
} // namespace IntrospectionTests
