// The commands of the control socket, as the running agent answers them.
#include "tests/unit/agent/ControlledAgent.h"

#include "agent/control/View.h"

namespace OrloAgent {
namespace {

using Bridging::VlanId;

class ControlTest : public ControlledAgent {
 protected:
   void startWithMaster( Quor::U32 indexes = 8 ) {
      masters( { { kDevice51, 51 } } );
      startAndRead( indexes );
      next_ = configuration( indexes );
   }
   static Json error( const char *kind, const std::string &message ) {
      return { { "error", kind }, { "message", message } };
   }
};

// What is shown

TEST_F( ControlTest, ShowsWhatTheViewShows ) {
   startWithMaster( 2 );
   const View view( *agent_ );
   EXPECT_EQ( ask( "show" ), view.summary() );
   EXPECT_EQ( ask( "show pairs" ), whole( view.pairs( {} ) ) );
   EXPECT_EQ( ask( "show waiting" ), whole( view.waiting() ) );
   EXPECT_EQ( ask( "show slots" ), whole( view.slots() ) );
   EXPECT_EQ( ask( "show interfaces" ), whole( view.interfaces() ) );
   EXPECT_EQ( ask( "metrics" ), Json( { { "text", view.metrics() } } ) );
}

TEST_F( ControlTest, ShowsThePairsThatAreAskedFor ) {
   startWithMaster();
   const auto total = [&]( const std::string &arguments ) {
      return ask( "show pairs", arguments ).at( "total" ).get<int>();
   };
   EXPECT_EQ( total( R"({"vlan":11})" ), 1 );
   EXPECT_EQ( total( R"({"mac":"00:00:5e:00:01:33"})" ), 3 );
   EXPECT_EQ( total( R"({"interface":"br10"})" ), 3 );
   EXPECT_EQ( total( R"({"vlan":11,"mac":"00:00:5e:00:01:34"})" ), 0 );
   EXPECT_EQ( total( R"({"vlan":11,"interface":"br20"})" ), 0 );
}

TEST_F( ControlTest, Explains ) {
   startWithMaster();
   const Json told = ask( "explain", R"({"vlan":11,"mac":"00:00:5e:00:01:33"})" );
   EXPECT_EQ( told["verdict"], "programmed" );
   EXPECT_EQ( told["steps"].size(), 6u );
}

// By path

TEST_F( ControlTest, ListsTheObjects ) {
   startWithMaster( 2 );
   expectJson( ask( "list" ), R"(
      {
         "members": [
            {
               "name": "intfVlanIdSetTable", "text": "IntfVlanIdSet::Table",
               "type": "IntfVlanIdSet::Table" },
            {
               "name": "libSm", "text": "LibSm",
               "type": "Orlo::VrrpPrivateVlanReflectorLib::LibSm" },
            {
               "name": "virtualRouterMacStatus", "text": "Routing::Fhrp::VirtualRouterMacStatus",
               "type": "Routing::Fhrp::VirtualRouterMacStatus" },
            {
               "name": "virtualRouterMacTable",
               "text": "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable",
               "type": "Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable" },
            {
               "name": "vrrpHelper", "text": "OrloHelper::VrrpSmHelper",
               "type": "OrloHelper::VrrpSmHelper" },
            {
               "name": "vrrpHwStatus", "text": "Routing::Fhrp::Hardware::Status",
               "type": "Routing::Fhrp::Hardware::Status" },
            { "name": "vrrpSm", "text": "Orlo::VrrpSm", "type": "Orlo::VrrpSm" } ] })" );
   EXPECT_EQ( ask( "list" ), ask( "list", R"({"path":""})" ) );
}

TEST_F( ControlTest, ListsAnObjectAndACollection ) {
   startWithMaster( 2 );
   expectJson( ask( "list", R"({"path":"vrrpHwStatus"})" ), R"(
      {
         "members": [
            {
               "id": 130, "kind": "value", "name": "virtualRouterCount", "type": "U32",
               "value": 2, "writable": true } ] })" );
   expectJson( ask( "list", R"({"path":"vrrpSm/virtualRouterIndex"})" ), R"json(
      {
         "members": [
            {
               "key": "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:33})",
               "path": "vrrpSm/virtualRouterIndex[10,00:00:5e:00:01:33]", "value": 0 },
            {
               "key": "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 12, 'mac': 00:00:5e:00:01:33})",
               "path": "vrrpSm/virtualRouterIndex[12,00:00:5e:00:01:33]", "value": 1 } ] })json" );
   EXPECT_EQ( ask( "list", R"({"path":"vrrpsm"})" ),
              error( "no", "no object vrrpsm; did you mean vrrpSm?" ) );
}

TEST_F( ControlTest, GetsAndCompletes ) {
   startWithMaster();
   expectJson( ask( "get", R"({"path":"vrrpHwStatus/virtualRouterCount"})" ),
               R"({"path":"vrrpHwStatus/virtualRouterCount","value":8})" );
   EXPECT_EQ( ask( "get", R"({"path":"vrrpHwStatus/virtualRouterCuont"})" ),
              error( "no", "no attribute virtualRouterCuont in vrrpHwStatus; did you mean "
                           "virtualRouterCount?" ) );
   expectJson( ask( "complete", R"({"prefix":"vrrpH"})" ),
               R"({"completions":["vrrpHelper","vrrpHwStatus"]})" );
   expectJson( ask( "complete", R"({"prefix":"nothing/"})" ), R"({"completions":[]})" );
}

TEST_F( ControlTest, AVlanThatIsSetIsProgrammedAndReported ) {
   startWithMaster();
   said();
   const std::string path = R"("path":"intfVlanIdSetTable/sviVlanSet[br10]/vlanId[13]")";
   EXPECT_EQ( ask( "set", "{" + path + R"(,"value":"true"})" ), Json::object() );
   EXPECT_EQ( said(), "programmed  VLAN 13  00:00:5e:00:01:33  index 3\n" );
   expectJson( ask( "remove", "{" + path + "}" ), R"({"value":true})" );
   EXPECT_EQ( said(), "removed     VLAN 13  00:00:5e:00:01:33  index 3\n" );
   EXPECT_EQ( ask( "remove", "{" + path + "}" ),
              error( "no", "no member intfVlanIdSetTable/sviVlanSet[br10]/vlanId[13]" ) );
}

TEST_F( ControlTest, CallsAFunctionWithArguments ) {
   startWithMaster();
   expectJson( ask( "call", R"({"path":"libSm/handleDmacsForIntf","arguments":["intf=br10"]})" ),
               R"({"value":null})" );
   EXPECT_EQ( ask( "call", R"({"path":"vrrpSm/handleInitialized"})" ),
              error( "refused", "refused: would do nothing: the programmer has started, and starts "
                                "once" ) );
   EXPECT_EQ(
         ask( "call", R"({"path":"vrrpSm/handleVrrpMac","arguments":["vrrpMac=x"]})" )["error"],
         "no" );
   EXPECT_EQ( ask( "call", R"({"path":"vrrpSm/initialized"})" ),
              error( "no", "vrrpSm/initialized is no function" ) );
}

TEST_F( ControlTest, WhatWouldDoHarmIsRefused ) {
   startWithMaster();
   const Json told =
         ask( "set", R"({"path":"vrrpSm/virtualRouterIndex[10,00:00:5e:00:01:33]","value":"7"})" );
   EXPECT_EQ( told["error"], "refused" );
   EXPECT_TRUE( told["message"].get<std::string>().starts_with( "refused: " ) ) << told;
}

// Arguments

TEST_F( ControlTest, EveryArgumentThatIsWrongIsToldWithWhatIsAllowed ) {
   startWithMaster();
   const auto usage = []( const std::string &message ) { return error( "usage", message ); };
   const Json vlan = usage( "vlan must be a VLAN number, 1 to 4094" );
   for( const char *const wrong :
        { "0", "4095", "-1", "1.5", "\"10\"", "null", "[]", "1e99", "18446744073709551626" } ) {
      EXPECT_EQ( ask( "show pairs", std::string( R"({"vlan":)" ) + wrong + "}" ), vlan ) << wrong;
   }
   EXPECT_EQ( ask( "explain", R"({"mac":"00:00:5e:00:01:33"})" ), vlan );
   const Json mac = usage( "mac must be a MAC address such as 00:00:5e:00:01:33" );
   EXPECT_EQ( ask( "show pairs", R"({"mac":"00:00:5e"})" ), mac );
   EXPECT_EQ( ask( "show pairs", R"({"mac":"00:00:5e:00:01:33 "})" ), mac );
   EXPECT_EQ( ask( "show pairs", R"({"mac":7})" ), usage( "mac must be a text" ) );
   EXPECT_EQ( ask( "explain", R"({"vlan":10})" ), usage( "mac must be a text" ) );
   EXPECT_EQ( ask( "show pairs", R"({"interface":"abcdefghijklmnop"})" ),
              usage( "interface must be an interface name of at most 15 characters" ) );
   EXPECT_EQ( ask( "show pairs", R"({"interface":[]})" ), usage( "interface must be a text" ) );
   for( const char *const command : { "get", "set", "remove", "call" } ) {
      EXPECT_EQ( ask( command ), usage( "path must be a text" ) ) << command;
      EXPECT_EQ( ask( command, R"({"path":1})" ), usage( "path must be a text" ) ) << command;
   }
   EXPECT_EQ( ask( "list", R"({"path":1})" ), usage( "path must be a text" ) );
   EXPECT_EQ( follow( "watch", R"({"path":1})" ), usage( "path must be a text" ) );
   EXPECT_EQ( ask( "complete" ), usage( "prefix must be a text" ) );
   EXPECT_EQ( ask( "set", R"({"path":"vrrpSm"})" ), usage( "value must be a text" ) );
   const Json array = usage( "arguments must be an array of texts" );
   EXPECT_EQ( ask( "call", R"({"path":"vrrpSm/doCleanup","arguments":"x"})" ), array );
   EXPECT_EQ( ask( "call", R"({"path":"vrrpSm/doCleanup","arguments":["x",1]})" ), array );
   EXPECT_EQ( follow( "trace" ), usage( "facility must be a text" ) );
   EXPECT_EQ( follow( "trace", R"({"facility":"OrloVrrp"})" ), usage( "levels must be a text" ) );
}

TEST_F( ControlTest, AnUnknownCommandIsToldWithTheNearest ) {
   startWithMaster();
   EXPECT_EQ( ask( "shwo" ), error( "usage", "no command shwo; did you mean show?" ) );
   EXPECT_EQ( ask( "show piars" ),
              error( "usage", "no command show piars; did you mean show pairs?" ) );
   EXPECT_EQ( ask( "show everything" ), error( "usage", "no command show everything" ) );
   EXPECT_EQ( ask( "" ), error( "usage", "no command " ) );
   EXPECT_EQ( ask( std::string( 100000, 'x' ) ),
              error( "usage", "no command " + std::string( 40, 'x' ) ) );
   EXPECT_EQ( ask( "help" ), error( "usage", "no command help" ) ) << "it is the client's own";
}

// Who may change

TEST_F( ControlTest, WhoMayNotChangeMayRead ) {
   startWithMaster();
   peer_.mayChange = false;
   said();
   const auto refused = []( const std::string &command ) {
      return error( "refused", command + " needs root, or the group in \"control\" of the agent's "
                                         "configuration" );
   };
   for( const char *const command : { "set", "remove", "call", "reload" } ) {
      EXPECT_EQ( ask( command, R"({"path":"vrrpSm","value":"1"})" ), refused( command ) );
   }
   EXPECT_EQ( follow( "trace", R"({"facility":"OrloVrrp","levels":"all"})" ), refused( "trace" ) );
   EXPECT_EQ( said(), "" );
   EXPECT_EQ( follow( "watch" ), "following" );
   EXPECT_EQ( ask( "list" )["members"].size(), 7u );
   EXPECT_EQ( ask( "get", R"({"path":"vrrpSm/initialized"})" )["value"], true );
}

// Before it is ready

TEST_F( ControlTest, BeforeItIsReadyItIsReadButNotChanged ) {
   start();
   next_ = configuration( 8 );
   const Json notReady =
         error( "failed", "the agent is not ready: it does not know the kernel's state yet" );
   EXPECT_EQ( ask( "set", R"({"path":"vrrpSm/initialized","value":"true"})" ), notReady );
   EXPECT_EQ( ask( "remove" ), notReady );
   EXPECT_EQ( ask( "call" ), notReady );
   EXPECT_EQ( ask( "show" )["ready"], false );
   EXPECT_EQ( ask( "list" )["members"].size(), 5u ) << "neither reflector nor programmer";
   EXPECT_EQ( ask( "get", R"({"path":"vrrpSm"})" ), error( "no", "no object vrrpSm" ) );
   expectJson( ask( "reload" ), R"({"calls":0,"changes":[]})" );
}

TEST_F( ControlTest, ReloadBeforeItIsReadyIsNotKeptFromTheHardwareByWhoLooksAtIt ) {
   start( 8 );
   ASSERT_EQ( follow( "watch" ), "following" );
   const Answer open = control().answer( "list", { { "path", "vrrpHelper" } }, peer_ );
   next_ = configuration( 4 );
   expectJson( ask( "reload" ), R"({"calls":0,"changes":["4 indexes now, 8 before"]})" );
   EXPECT_EQ( helper().slots().count(), 4u );
   kernel_.read();
   EXPECT_TRUE( agent_->isReady() );
}

TEST_F( ControlTest, ReloadBeforeItIsReadyGoesOnAsBeforeWhenTheHardwareCannotBeHad ) {
   next_ = blind( 8 );
   next_.hardware.settings["most"] = "8";
   start( next_ );
   ASSERT_EQ( follow( "watch" ), "following" );
   next_.hardware.indexes = 9;
   EXPECT_THROW( control().answer( "reload", Json::object(), peer_ ), LibraryError );
   EXPECT_TRUE( agent_->programming().helper() );
   EXPECT_EQ( agent_->programming().indexes(), 8u );
   events();
   masters( { { kDevice51, 51 } } );
   kernel_.read();
   EXPECT_TRUE( agent_->isReady() );
   EXPECT_FALSE( events().empty() ) << "who watched goes on";
}

// New starts of the programmer

TEST_F( ControlTest, ReloadTellsWhatItDid ) {
   startWithMaster();
   next_.interfaces[0].secondaryVlans = { VlanId( 11 ), VlanId( 13 ) };
   expectJson( ask( "reload" ),
               R"({"calls":2,"changes":["br10 has VLANs 10, 11, 13 now, had VLANs 10, 11, 12"]})" );
   expectJson( ask( "reload" ), R"({"calls":0,"changes":[]})" );
}

TEST_F( ControlTest, RowsThatAreStillOpenAtANewStartEndAndDoNotKeepTheHardware ) {
   startWithMaster();
   ASSERT_EQ( follow( "watch" ), "following" );
   std::vector<Answer> open;
   for( const char *const path : { "", "vrrpSm", "vrrpHelper", "vrrpSm/virtualRouterIndex" } ) {
      open.push_back( control().answer( "list", { { "path", path } }, peer_ ) );
      Json row;
      EXPECT_TRUE( open.back().nextRow( row ) );
   }
   next_ = configuration( 4 );
   expectJson( ask( "reload" ), R"({"calls":0,"changes":["4 indexes now, 8 before"]})" );
   for( const Answer &answer : open ) {
      EXPECT_EQ( answered( [&] { return whole( answer ); } ),
                 error( "failed", "the programmer was started anew meanwhile: ask again" ) );
   }
   EXPECT_EQ( ask( "list", R"({"path":"vrrpSm/virtualRouterIndex"})" )["members"].size(), 3u );
}

TEST_F( ControlTest, RowsOfAClientThatHasGoneAreForgotten ) {
   startWithMaster();
   for( int i = 0; i < 3; ++i ) {
      Json row;
      EXPECT_TRUE( control().answer( "list", Json::object(), peer_ ).nextRow( row ) );
   }
   next_ = configuration( 4 );
   EXPECT_EQ( ask( "reload" )["changes"].size(), 1u );
}

TEST_F( ControlTest, AnotherAgentCanHaveTheHardwareWhenThisOneHasStopped ) {
   startWithMaster();
   ASSERT_EQ( follow( "watch" ), "following" );
   const Answer open = control().answer( "list", { { "path", "vrrpSm" } }, peer_ );
   agent_->stop();
   EXPECT_EQ( answered( [&] { return whole( open ); } )["error"], "failed" );
   followings_.clear();
   control_.reset();
   agent_.reset();
   startWithMaster();
   EXPECT_TRUE( agent_->isReady() );
}

} // namespace
} // namespace OrloAgent
