// What is found, listed and said by path.
#include "tests/unit/control/ControlledSystem.h"

#include "agent/control/TypedText.h"

#include <gtest/gtest.h>

namespace OrloAgent {
namespace {

using nlohmann::json;

struct ByPath : testing::Test {
   ControlledSystem system;

   template <class Action>
   std::string failure( Action action ) {
      try {
         action();
      } catch( const PathError &error ) {
         return error.what();
      }
      return "no failure";
   }
   std::string get( const std::string &path ) {
      try {
         return system.access->get( path ).dump();
      } catch( const PathError &error ) {
         return error.what();
      }
   }
   std::string set( const std::string &path, const std::string &value ) {
      return failure( [&] { system.access->set( path, value ); } );
   }
   std::string remove( const std::string &path ) {
      return failure( [&] { system.access->remove( path ); } );
   }
   std::string call( const std::string &path, const Lines &arguments ) {
      return failure( [&] { system.access->call( path, arguments ); } );
   }
   std::vector<json> list( const std::string &path ) {
      std::vector<json> rows;
      json row;
      for( const auto next = system.access->list( path ); next( row ); ) {
         rows.push_back( row );
      }
      return rows;
   }
   json row( const std::string &path, const std::string &name ) {
      for( const json &one : list( path ) ) {
         if( one.at( "name" ) == name ) {
            return one;
         }
      }
      return nullptr;
   }
   Lines completions( const std::string &prefix ) { return system.access->completions( prefix ); }
};

// Reading

TEST_F( ByPath, AValueIsReadWithItsJsonType ) {
   EXPECT_EQ( get( "vrrpSm/initialized" ), "true" );
   EXPECT_EQ( get( "vrrpHwStatus/virtualRouterCount" ), "5" );
   EXPECT_EQ( get( "libSm/vlanIntfSm[br10]/intf" ), "\"br10\"" );
   EXPECT_EQ( get( "vrrpSm/quorFwkActivity" ), "\"'eventLoop'\"" );
   EXPECT_EQ( get( "vrrpSm/macsNeedingVirtualRouterIndexMetadata" ), "\"nextKey 0, count 1\"" );
}

TEST_F( ByPath, AnObjectIsReadAsItsTypeAndText ) {
   const json br10{ { "type", "Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm" },
                    { "text", "VlanIntfSm(br10)" } };
   EXPECT_EQ( get( "libSm/vlanIntfSm[br10]" ), br10.dump() );
   EXPECT_EQ( get( "vrrpSm" ), R"({"text":"Orlo::VrrpSm","type":"Orlo::VrrpSm"})" );
   EXPECT_EQ( get( "vrrpSm/vrrpHelper" ), get( "vrrpHelper" ) );
}

TEST_F( ByPath, AMemberIsReadByTheTextOfItsKeyOrByItsFields ) {
   EXPECT_EQ( get( "virtualRouterMacStatus/vrrpVirtualMac[br10,00:00:5e:00:01:01]" ), "true" );
   EXPECT_EQ( get( "virtualRouterMacStatus/vrrpVirtualMac[br10/00:00:5e:00:01:01]" ), "true" );
   const Pair held = system.heldPair();
   const std::string index =
         std::to_string( system.vrrpSm->virtualRouterIndexes().begin()->value() );
   EXPECT_EQ( get( "vrrpSm/virtualRouterIndex[" + shortText( genericIf( held ) ) + "]" ), index );
   EXPECT_EQ( get( "vrrpSm/virtualRouterIndex[" + valueToStrep( held ) + "]" ), index );
   EXPECT_EQ( get( "intfVlanIdSetTable/sviVlanSet[br10]/vlanId[11]" ), "true" );
   EXPECT_EQ( get( "vrrpSm/macsNeedingVirtualRouterIndex[0]" ),
              json( valueToStrep( system.waitingPair() ) ).dump() );
   EXPECT_EQ( get( "vrrpSm/macsNeedingVirtualRouterIndex[0]/vlanId" ),
              "\"" + valueToStrep( system.waitingPair().vlanId() ) + "\"" );
}

TEST_F( ByPath, ACollectionIsReadAsItsSize ) {
   EXPECT_EQ( get( "vrrpSm/virtualRouterIndex" ), "5" );
   EXPECT_EQ( get( "vrrpSm/macsNeedingVirtualRouterIndex" ), "1" );
   EXPECT_EQ( get( "vrrpSm/freeVirtualRouterIndex" ), "0" );
}

TEST_F( ByPath, KeysMayHaveBracketsSlashesAndCommas ) {
   for( const char *const name : { "a]b", "a,b", "a[b", "]", "x]]", "a)b}" } ) {
      const Ptr<SviVlanSet> set = system.vlanSets->sviVlanSetIs( IntfId( name ) );
      set->vlanIdIs( VlanId( 3000 ), true );
      system.status->vrrpVirtualMacIs( recordOf( name, 9 ), true );
      const std::string key = std::string( "[" ) + name + "]";
      EXPECT_EQ( get( "intfVlanIdSetTable/sviVlanSet" + key + "/vlanId[3000]" ), "true" ) << name;
      EXPECT_EQ( get( "intfVlanIdSetTable/sviVlanSet" + key + "/vlanIntf" ), json( name ).dump() );
      for( const char between : { ',', '/' } ) {
         EXPECT_EQ( get( std::string( "virtualRouterMacStatus/vrrpVirtualMac[" ) + name + between +
                         "00:00:5e:00:01:09]" ),
                    "true" )
               << name << between;
      }
      system.status->vrrpVirtualMacDel( recordOf( name, 9 ) );
      set->vlanIdDel( VlanId( 3000 ) );
   }
}

// Listing

TEST_F( ByPath, NoPathListsTheRootsAndTheirTypes ) {
   Lines names;
   for( const json &one : list( "" ) ) {
      names.push_back( one.at( "name" ) );
   }
   EXPECT_EQ( names, ( Lines{ "intfVlanIdSetTable", "libSm", "virtualRouterMacStatus",
                              "virtualRouterMacTable", "vrrpHelper", "vrrpHwStatus", "vrrpSm" } ) );
   EXPECT_EQ( row( "", "vrrpHwStatus" ).at( "type" ), "Routing::Fhrp::Hardware::Status" );
}

TEST_F( ByPath, AnObjectListsItsAttributes ) {
   EXPECT_EQ( list( "vrrpSm" ).size(), 18u );
   EXPECT_EQ( row( "vrrpSm", "initialized" ), json::parse( R"({ "name": "initialized", "id": 137,
      "kind": "value", "type": "bool", "writable": true, "value": true })" ) );
   EXPECT_EQ( row( "vrrpSm", "vrrpHelper" ), json::parse( R"({ "name": "vrrpHelper", "id": 132,
      "kind": "pointer", "type": "OrloHelper::VrrpSmHelper", "writable": false, "value":
      { "type": "OrloHelper::VrrpSmHelper", "text": "OrloHelper::VrrpSmHelper" } })" ) );
   EXPECT_EQ( row( "vrrpSm", "freeVirtualRouterIndex" ),
              json::parse( R"({ "name": "freeVirtualRouterIndex", "id": 133, "kind": "queue",
      "type": "U32", "writable": true, "key": "U32", "size": 0 })" ) );
   EXPECT_EQ( row( "vrrpHelper", "addVirtualRouterMac" ),
              json::parse( R"({ "name": "addVirtualRouterMac", "id": 387, "kind": "function",
      "type": null, "writable": false, "arguments": [ { "name": "macAddr", "type": "Pelmo::EthAddr" },
      { "name": "vlanId", "type": "U32" }, { "name": "index", "type": "U32" } ] })" ) );
   EXPECT_EQ( row( "vrrpHelper", "name" ).at( "id" ), 130 ) << "of its base";
   EXPECT_EQ( row( "libSm/virtualRouterMacStatusIn", "vrrpVirtualMac" ).at( "writable" ), false )
         << "through a pointer that only reads";
   EXPECT_EQ( list( "vrrpSm/macsNeedingVirtualRouterIndex[0]" ).size(), 3u ) << "of a record";
}

TEST_F( ByPath, ACollectionListsItsMembersWithTheirPaths ) {
   const std::vector<json> rows = list( "vrrpSm/virtualRouterIndex" );
   ASSERT_EQ( rows.size(), 5u );
   for( const json &one : rows ) {
      EXPECT_EQ( get( one.at( "path" ) ), one.at( "value" ).dump() );
   }
   EXPECT_EQ( rows[0].at( "key" ), valueToStrep( system.heldPair() ) );
   EXPECT_EQ( list( "libSm/vlanIntfSm" ).at( 0 ).at( "value" ).at( "text" ), "VlanIntfSm(br10)" );
   EXPECT_EQ( list( "vrrpSm/freeVirtualRouterIndex" ).size(), 0u );
}

TEST_F( ByPath, ALongCollectionIsWalkedRowByRowWhileItChanges ) {
   for( U16 vlan = 100; vlan < 1100; ++vlan ) {
      system.vlanSets->sviVlanSet( IntfId( "br30" ) )->vlanIdIs( VlanId( vlan ), true );
   }
   const auto next = system.access->list( "intfVlanIdSetTable/sviVlanSet[br30]/vlanId" );
   json row;
   for( int i = 0; i < 10; ++i ) {
      EXPECT_TRUE( next( row ) );
   }
   system.vlanSets->sviVlanSet( IntfId( "br30" ) )->vlanIdDelAll();
   int rest = 0;
   while( next( row ) ) {
      ++rest;
   }
   EXPECT_LE( rest, 1 );
   EXPECT_FALSE( next( row ) ) << "and stays at its end";
}

TEST_F( ByPath, WhatHasNoAttributesIsNotListed ) {
   const auto listing = [&]( const std::string &path ) { return failure( [&] { list( path ); } ); };
   EXPECT_EQ( listing( "vrrpSm/initialized" ),
              "vrrpSm/initialized is a bool, which has no attributes" );
   EXPECT_EQ( listing( "intfVlanIdSetTable/sviVlanSet[br10]/vlanId[10]" ),
              "intfVlanIdSetTable/sviVlanSet[br10]/vlanId[10] is a bool, which has no attributes" );
   EXPECT_EQ( listing( "vrrpSm/doCleanup" ), "vrrpSm/doCleanup is a function: it can be called" );
   system.vrrpSm->currentVrrpStateForInitDel();
   EXPECT_EQ( listing( "vrrpSm/currentVrrpStateForInit" ),
              "vrrpSm/currentVrrpStateForInit is null" );
   EXPECT_EQ( get( "vrrpSm/currentVrrpStateForInit" ), "null" );
}

// What is not there

TEST_F( ByPath, AWrongNameIsToldWithTheNearest ) {
   EXPECT_EQ( get( "vrrpSm/vrrpHelpr" ),
              "no attribute vrrpHelpr in vrrpSm; did you mean vrrpHelper?" );
   EXPECT_EQ( get( "vrrpsm/vrrpHelper" ), "no object vrrpsm; did you mean vrrpSm?" );
   EXPECT_EQ( get( "intfVlanIdSetTable/sviVlanSet[br10]/vlan[11]" ),
              "no attribute vlan in intfVlanIdSetTable/sviVlanSet[br10]; did you mean vlanId?" );
   EXPECT_EQ( get( "vrrpSm/nothingLikeIt" ), "no attribute nothingLikeIt in vrrpSm" );
   EXPECT_EQ( get( "nothing" ), "no object nothing" );
   EXPECT_EQ( call( "vrrpSm/handleVrrpMac", { "vrrpMca=10,00:00:5e:00:01:01" } ),
              "no argument vrrpMca of vrrpSm/handleVrrpMac; did you mean vrrpMac?" );
   EXPECT_EQ( get( "vrrpHelper/nme" ), "no attribute nme in vrrpHelper; did you mean name?" );
}

TEST_F( ByPath, AWrongKeyIsToldWithWhatIsWrongWithIt ) {
   const std::string set = "intfVlanIdSetTable/sviVlanSet[br10]/vlanId";
   EXPECT_EQ( get( set + "[99]" ), "no member " + set + "[99]" );
   EXPECT_EQ( get( set + "[x]" ).substr( 0, set.size() + 17 ), set + " has no key [x]: " );
   EXPECT_NE( get( set + "[x]" ).find( "(its keys are Bridging::VlanId)" ), std::string::npos );
   EXPECT_EQ( get( set + "[10" ), set + " has no key [10: no ] ends it (its keys are "
                                        "Bridging::VlanId)" );
   EXPECT_EQ( get( "vrrpSm[10]" ), "vrrpSm is no collection" );
   EXPECT_EQ( get( "vrrpSm/initialized[10]" ), "vrrpSm/initialized is no collection" );
   EXPECT_EQ( get( "intfVlanIdSetTable/sviVlanSet/vlanId" ),
              "intfVlanIdSetTable/sviVlanSet is a collection: a member of it is "
              "intfVlanIdSetTable/sviVlanSet[KEY]" );
   EXPECT_EQ( get( "intfVlanIdSetTable/sviVlanSet[br99]/vlanId" ),
              "no member intfVlanIdSetTable/sviVlanSet[br99]" );
}

TEST_F( ByPath, APathThatLeadsNowhereSaysWhereItEnds ) {
   EXPECT_EQ( get( "" ), "a path begins with the name of an object" );
   EXPECT_EQ( get( "/" ), "a path begins with the name of an object" );
   EXPECT_EQ( get( "vrrpSm/" ), "no name behind vrrpSm/" );
   EXPECT_EQ( get( "vrrpSm//vrrpHelper" ), "no name behind vrrpSm/" );
   EXPECT_EQ( get( "vrrpSm/initialized/x" ),
              "vrrpSm/initialized is a bool, which has no attributes" );
   EXPECT_EQ( get( "vrrpSm/doCleanup" ), "vrrpSm/doCleanup is a function: it can be called" );
   EXPECT_EQ( get( "vrrpSm/doCleanup/x" ), "vrrpSm/doCleanup is a function: it can be called" );
   system.vrrpSm->currentVrrpStateForInitDel();
   EXPECT_EQ( get( "vrrpSm/currentVrrpStateForInit/virtualRouterIndex" ),
              "vrrpSm/currentVrrpStateForInit is null" );
}

TEST_F( ByPath, APathHasALimit ) {
   std::string path = "libSm";
   for( int i = 0; i < 7; ++i ) {
      path += "/vlanIntfSm[br10]/libSm";
   }
   EXPECT_EQ( get( path + "/initialized" ), "false" ) << "16 names";
   EXPECT_NE( get( path + "/vlanIntfSm[br10]/intf" ).find( "a path has at most 16 names" ),
              std::string::npos );
   EXPECT_EQ( get( "vrrpSm/" + std::string( 4089, 'x' ) ),
              "no attribute " + std::string( 100, 'x' ) + "... in vrrpSm" );
   EXPECT_EQ( get( "vrrpSm/" + std::string( 4090, 'x' ) ),
              "a path of 4097 bytes; 4096 are the most" );
   EXPECT_EQ( completions( "vrrpSm/" + std::string( 4090, 'x' ) ), Lines{} );
   EXPECT_NE(
         get( "vrrpSm/virtualRouterIndex[" + std::string( 300, ',' ) + "]" ).find( "no ] ends it" ),
         std::string::npos );
}

// Changing

TEST_F( ByPath, AChangeByPathIsAChange ) {
   EXPECT_EQ( set( "virtualRouterMacStatus/vrrpVirtualMac[br20,00:00:5e:00:01:03]", "true" ),
              "no failure" );
   EXPECT_TRUE( system.table->virtualRouterMac( pairOf( 20, 3 ) ) );
   EXPECT_EQ( system.access->remove( "intfVlanIdSetTable/sviVlanSet[br20]/vlanId[20]" ), true );
   EXPECT_FALSE( system.table->virtualRouterMac( pairOf( 20, 3 ) ) );
   EXPECT_EQ( remove( "intfVlanIdSetTable/sviVlanSet[br20]/vlanId[20]" ),
              "no member intfVlanIdSetTable/sviVlanSet[br20]/vlanId[20]" );
}

TEST_F( ByPath, ACallGivesWhatTheFunctionGives ) {
   const Pair waiting = system.waitingPair();
   EXPECT_EQ( system.access->call( "vrrpSm/macsNeedingVirtualRouterIndex[0]/hash", {} ),
              waiting.hash() );
   EXPECT_EQ( system.access->call( "libSm/handleDmacsForIntf", { "intf=br10" } ), nullptr );
   EXPECT_EQ( system.access->call( "libSm/handleDmacsForIntf", { "br10" } ), nullptr );
}

TEST_F( ByPath, OnlyWhatCanBeChangedIsChanged ) {
   EXPECT_EQ( set( "vrrpSm", "x" ), "vrrpSm is an object: its attributes can be set" );
   EXPECT_EQ( set( "vrrpSm/doCleanup", "x" ), "vrrpSm/doCleanup is a function: it can be called" );
   EXPECT_EQ( set( "vrrpSm/macsNeedingVirtualRouterIndex[0]/vlanId", "7" ),
              "vrrpSm/macsNeedingVirtualRouterIndex[0]/vlanId is part of a value, which is set as "
              "a whole" );
   EXPECT_EQ( set( "virtualRouterMacStatus/vrrpVirtualMac", "true" ),
              "virtualRouterMacStatus/vrrpVirtualMac is a collection: a member of it is "
              "virtualRouterMacStatus/vrrpVirtualMac[KEY]" );
   EXPECT_EQ( remove( "vrrpSm/initialized" ), "vrrpSm/initialized is no member of a collection" );
   EXPECT_EQ( remove( "vrrpSm" ), "vrrpSm is no member of a collection" );
   EXPECT_EQ( remove( "vrrpSm/virtualRouterIndex" ),
              "vrrpSm/virtualRouterIndex is a collection: a member of it is "
              "vrrpSm/virtualRouterIndex[KEY]" );
   EXPECT_EQ( call( "vrrpSm/initialized", {} ), "vrrpSm/initialized is no function" );
   EXPECT_EQ( call( "vrrpSm", {} ), "vrrpSm is no function" );
}

TEST_F( ByPath, AWrongValueIsToldWithItsType ) {
   EXPECT_EQ( set( "libSm/disableCleanupOnRestart", "yes" ).substr( 0, 59 ),
              "libSm/disableCleanupOnRestart, a bool, cannot be yes: expec" );
   EXPECT_EQ( call( "libSm/handleDmacsForIntf", { "a b" } ).substr( 0, 70 ),
              "intf of libSm/handleDmacsForIntf, a Pelmo::IntfId, cannot be a b: \"a b" );
   EXPECT_EQ( set( "vrrpSm/vrrpMacStatus", "libSm" ),
              "vrrpSm/vrrpMacStatus cannot be libSm: it is a "
              "Orlo::VrrpPrivateVlanReflectorLib::LibSm, not a "
              "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable" );
   EXPECT_EQ( set( "vrrpSm/vrrpMacStatus", "libsm" ), "no object libsm; did you mean libSm?" );
   EXPECT_EQ( set( "libSm/disableCleanupOnRestart", std::string( 257, 't' ) ),
              "libSm/disableCleanupOnRestart, a bool, cannot be " + std::string( 100, 't' ) +
                    "...: a text of 257 bytes is too long for a value" );
}

TEST_F( ByPath, WrongArgumentsAreTold ) {
   EXPECT_EQ( call( "libSm/handleDmacsForIntf", { "br10", "br20" } ),
              "libSm/handleDmacsForIntf takes 1 argument" );
   EXPECT_EQ( call( "vrrpSm/doCleanup", { "x" } ), "vrrpSm/doCleanup takes 0 arguments" );
   EXPECT_EQ( call( "libSm/handleDmacsForIntf", {} ),
              "libSm/handleDmacsForIntf: missing value or value of another type: intf" );
   EXPECT_EQ( call( "libSm/handleDmacsForIntf", { "br10", "intf=br10" } ),
              "libSm/handleDmacsForIntf: unknown argument of handleDmacsForIntf" );
   EXPECT_EQ( call( "vrrpSm/doCleanup", Lines( 17, "x" ) ), "17 arguments; 16 are the most" );
}

TEST_F( ByPath, WhatTheAttributesCodeThrowsIsToldWithThePath ) {
   system.vlanSets->sviVlanSetDel( IntfId( "br10" ) );
   system.vlanSets->sviVlanSetIs( IntfId( "br10" ) ); // another object under the same name
   const std::string told = call( "libSm/handleDmacsForIntf", { "br10" } );
   EXPECT_EQ( told.substr( 0, 40 ), "libSm/handleDmacsForIntf: Reinstantiatin" );
}

TEST_F( ByPath, ARefusalIsToldApartFromAMistake ) {
   for( const auto &[path, isRefusal] : std::map<std::string, bool>{
              { "vrrpSm/initialized", true }, { "vrrpSm/inished", false } } ) {
      try {
         system.access->set( path, "false" );
         ADD_FAILURE() << path;
      } catch( const PathError &error ) {
         EXPECT_EQ( error.isRefusal(), isRefusal ) << path;
      }
   }
}

// Completing

TEST_F( ByPath, RootsAreCompleted ) {
   EXPECT_EQ( completions( "vrrpH" ), ( Lines{ "vrrpHelper", "vrrpHwStatus" } ) );
   EXPECT_EQ( completions( "" ).size(), 7u );
   EXPECT_EQ( completions( "x" ), Lines{} );
}

TEST_F( ByPath, AttributesAreCompletedAndCollectionsAskForAKey ) {
   EXPECT_EQ( completions( "vrrpSm/vrrp" ),
              ( Lines{ "vrrpSm/vrrpMacStatus", "vrrpSm/vrrpHwStatus", "vrrpSm/vrrpHelper" } ) );
   EXPECT_EQ( completions( "vrrpSm/virt" ), ( Lines{ "vrrpSm/virtualRouterIndex[" } ) );
   EXPECT_EQ( completions( "vrrpSm/vrrpHelper/n" ), ( Lines{ "vrrpSm/vrrpHelper/name" } ) );
   EXPECT_EQ( completions( "libSm/vlanIntfSm[br10]/int" ),
              ( Lines{ "libSm/vlanIntfSm[br10]/intf" } ) );
   EXPECT_EQ( completions( "vrrpSm/initialized/" ), Lines{} );
}

TEST_F( ByPath, KeysAreCompleted ) {
   EXPECT_EQ( completions( "intfVlanIdSetTable/sviVlanSet[br1" ),
              ( Lines{ "intfVlanIdSetTable/sviVlanSet[br10]" } ) );
   EXPECT_EQ( completions( "virtualRouterMacStatus/vrrpVirtualMac[br10" ).size(), 2u );
   EXPECT_EQ( completions( "virtualRouterMacStatus/vrrpVirtualMac[br10/0" ), Lines{} )
         << "keys are completed field by field";
   for( const std::string &path : completions( "vrrpSm/virtualRouterIndex[" ) ) {
      EXPECT_NE( get( path ).find_first_of( "01234" ), std::string::npos ) << path;
   }
}

TEST_F( ByPath, AtMostAHundredCompletionsAreGiven ) {
   for( U16 vlan = 1000; vlan < 1200; ++vlan ) {
      system.vlanSets->sviVlanSet( IntfId( "br30" ) )->vlanIdIs( VlanId( vlan ), true );
   }
   EXPECT_EQ( completions( "intfVlanIdSetTable/sviVlanSet[br30]/vlanId[" ).size(), 100u );
   EXPECT_EQ( completions( "intfVlanIdSetTable/sviVlanSet[br30]/vlanId[119" ).size(), 10u );
}

} // namespace
} // namespace OrloAgent
