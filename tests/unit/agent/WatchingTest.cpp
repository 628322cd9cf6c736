// Who watches hears of every change once, also after a new start of the programmer.
#include "tests/unit/agent/ControlledAgent.h"

namespace OrloAgent {
namespace {

using Bridging::VlanId;
using Lines = std::vector<std::string>;
using Pelmo::IntfId;

class WatchingTest : public ControlledAgent {
 protected:
   void startWithMaster( Quor::U32 indexes = 8 ) {
      masters( { { kDevice51, 51 } } );
      startAndRead( indexes );
      next_ = configuration( indexes );
   }
   void reload() { EXPECT_FALSE( ask( "reload" ).contains( "error" ) ); }
   /// Starts the programmer anew.
   void reloadWith( Quor::U32 indexes ) {
      next_.hardware.indexes = indexes;
      reload();
   }
   Json watch( const std::string &path ) {
      return follow( "watch", Json( { { "path", path } } ).dump() );
   }
   /// "path attribute[key] = value" or "... gone", since the last call.
   Lines heard() {
      Lines lines;
      for( const Json &event : events() ) {
         EXPECT_EQ( event["at"], "2001-09-09T01:46:40Z" );
         std::string line =
               event["path"].get<std::string>() + " " + event["attribute"].get<std::string>();
         line += event.contains( "key" ) ? "[" + event["key"].get<std::string>() + "]" : "";
         lines.push_back( line +
                          ( event.contains( "gone" ) ? " gone" : " = " + event["value"].dump() ) );
      }
      return lines;
   }
   Quor::Ptr<IntfVlanIdSet::SviVlanSet> set( const char *intf ) const {
      return agent_->programming().vlanSets()->sviVlanSet( IntfId( intf ) );
   }
};

TEST_F( WatchingTest, EverythingIsWatchedWithoutAPath ) {
   startWithMaster();
   ASSERT_EQ( follow( "watch" ), "following" );
   set( "br20" )->vlanIdIs( VlanId( 21 ), true );
   EXPECT_EQ( heard(), Lines{ "intfVlanIdSetTable/sviVlanSet[br20] vlanId[21] = true" } );
   set( "br10" )->vlanIdIs( VlanId( 13 ), true );
   EXPECT_EQ( heard(),
              ( Lines{ "vrrpSm freeVirtualRouterIndex[3] gone",
                       "vrrpSm virtualRouterIndex[13,00:00:5e:00:01:33] = 3",
                       "virtualRouterMacTable virtualRouterMac[13,00:00:5e:00:01:33] = true",
                       "intfVlanIdSetTable/sviVlanSet[br10] vlanId[13] = true" } ) );
   becomeBackup( kDevice51 );
   kernel_.quiet();
   EXPECT_EQ( heard(),
              ( Lines{ "vrrpSm virtualRouterIndex[12,00:00:5e:00:01:33] gone",
                       "vrrpSm freeVirtualRouterIndex[8] = 1",
                       "virtualRouterMacTable virtualRouterMac[12,00:00:5e:00:01:33] gone",
                       "vrrpSm virtualRouterIndex[10,00:00:5e:00:01:33] gone",
                       "vrrpSm freeVirtualRouterIndex[9] = 0",
                       "virtualRouterMacTable virtualRouterMac[10,00:00:5e:00:01:33] gone",
                       "vrrpSm virtualRouterIndex[13,00:00:5e:00:01:33] gone",
                       "vrrpSm freeVirtualRouterIndex[10] = 3",
                       "virtualRouterMacTable virtualRouterMac[13,00:00:5e:00:01:33] gone",
                       "vrrpSm virtualRouterIndex[11,00:00:5e:00:01:33] gone",
                       "vrrpSm freeVirtualRouterIndex[11] = 2",
                       "virtualRouterMacTable virtualRouterMac[11,00:00:5e:00:01:33] gone",
                       "virtualRouterMacStatus vrrpVirtualMac[br10,00:00:5e:00:01:33] gone" } ) );
}

TEST_F( WatchingTest, AnObjectIsWatched ) {
   startWithMaster();
   ASSERT_EQ( watch( "vrrpSm" ), "following" );
   set( "br10" )->vlanIdIs( VlanId( 13 ), true );
   EXPECT_EQ( heard(), ( Lines{ "vrrpSm freeVirtualRouterIndex[3] gone",
                                "vrrpSm virtualRouterIndex[13,00:00:5e:00:01:33] = 3" } ) );
   set( "br10" )->vlanIdDel( VlanId( 13 ) );
   EXPECT_EQ( heard(), ( Lines{ "vrrpSm virtualRouterIndex[13,00:00:5e:00:01:33] gone",
                                "vrrpSm freeVirtualRouterIndex[8] = 3" } ) );
}

TEST_F( WatchingTest, AnObjectBehindAPointerAndAMemberThatIsOne ) {
   startWithMaster();
   ASSERT_EQ( watch( "vrrpSm/vrrpMacStatus" ), "following" );
   set( "br10" )->vlanIdIs( VlanId( 13 ), true );
   EXPECT_EQ( heard(),
              Lines{ "vrrpSm/vrrpMacStatus virtualRouterMac[13,00:00:5e:00:01:33] = true" } );
   followings_.clear();
   ASSERT_EQ( watch( "intfVlanIdSetTable/sviVlanSet[br10]" ), "following" );
   set( "br10" )->vlanIdDel( VlanId( 13 ) );
   set( "br20" )->vlanIdIs( VlanId( 21 ), true );
   EXPECT_EQ( heard(), Lines{ "intfVlanIdSetTable/sviVlanSet[br10] vlanId[13] gone" } );
}

TEST_F( WatchingTest, AnAttributeIsWatchedInItsOwner ) {
   startWithMaster( 3 );
   ASSERT_EQ( watch( "vrrpSm/macsNeedingVirtualRouterIndex" ), "following" );
   set( "br10" )->vlanIdIs( VlanId( 13 ), true );
   EXPECT_EQ( heard(), ( Lines{ "vrrpSm macsNeedingVirtualRouterIndex[0] = "
                                "\"Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** "
                                "{'vlanId': 13, 'mac': 00:00:5e:00:01:33})\"" } ) );
   followings_.clear();
   ASSERT_EQ( watch( "vrrpHwStatus/virtualRouterCount" ), "following" );
   reloadWith( 9 );
   EXPECT_EQ( heard(), Lines{ "vrrpHwStatus virtualRouterCount = 9" } );
}

TEST_F( WatchingTest, AMemberIsWatchedAlone ) {
   startWithMaster();
   ASSERT_EQ( watch( "vrrpSm/virtualRouterIndex[13,00:00:5e:00:01:33]" ), "following" )
         << "it may still come";
   set( "br10" )->vlanIdIs( VlanId( 14 ), true );
   EXPECT_EQ( heard(), Lines{} );
   set( "br10" )->vlanIdIs( VlanId( 13 ), true );
   EXPECT_EQ( heard(), Lines{ "vrrpSm virtualRouterIndex[13,00:00:5e:00:01:33] = 4" } );
   set( "br10" )->vlanIdDel( VlanId( 14 ) );
   set( "br10" )->vlanIdDel( VlanId( 13 ) );
   EXPECT_EQ( heard(), Lines{ "vrrpSm virtualRouterIndex[13,00:00:5e:00:01:33] gone" } );
}

TEST_F( WatchingTest, AKeyMayBeWrittenInItsLongForm ) {
   startWithMaster();
   ASSERT_EQ( watch( "intfVlanIdSetTable/sviVlanSet[br10]/vlanId[013]" ), "following" );
   set( "br10" )->vlanIdIs( VlanId( 13 ), true );
   EXPECT_EQ( heard(), Lines{ "intfVlanIdSetTable/sviVlanSet[br10] vlanId[13] = true" } );
}

TEST_F( WatchingTest, WhatCannotBeWatchedIsSaid ) {
   startWithMaster();
   const auto no = []( const std::string &message ) {
      return Json( { { "error", "no" }, { "message", message } } );
   };
   EXPECT_EQ( watch( "vrrpsm" ), no( "no object vrrpsm; did you mean vrrpSm?" ) );
   EXPECT_EQ( watch( "vrrpSm/initialised" ),
              no( "no attribute initialised in vrrpSm; did you mean initialized?" ) );
   EXPECT_EQ( watch( "vrrpSm/doCleanup" ),
              no( "vrrpSm/doCleanup is a function, which never changes" ) );
   EXPECT_EQ( watch( "intfVlanIdSetTable/sviVlanSet[br99]" ),
              no( "no member intfVlanIdSetTable/sviVlanSet[br99]" ) );
   EXPECT_EQ( watch( "vrrpSm/macsNeedingVirtualRouterIndex[0]/mac" )["error"], "no" );
   set( "br10" )->vlanIdIs( VlanId( 13 ), true );
   EXPECT_EQ( heard(), Lines{} ) << "nobody who was refused hears anything";
}

TEST_F( WatchingTest, WhoHasGoneHearsNothing ) {
   startWithMaster();
   ASSERT_EQ( follow( "watch" ), "following" );
   ASSERT_EQ( watch( "vrrpSm" ), "following" );
   followings_.clear();
   set( "br10" )->vlanIdIs( VlanId( 13 ), true );
   reloadWith( 4 );
   EXPECT_EQ( heard(), Lines{} );
}

TEST_F( WatchingTest, ANewInterfacesSetIsWatchedFromItsFirstVlanOn ) {
   startWithMaster();
   ASSERT_EQ( follow( "watch" ), "following" );
   next_.interfaces.push_back( { IntfId( "br30" ), VlanId( 30 ), {} } );
   reload();
   EXPECT_EQ(
         heard(),
         ( Lines{ "intfVlanIdSetTable sviVlanSet[br30] = "
                  "{\"text\":\"IntfVlanIdSet::SviVlanSet\",\"type\":\"IntfVlanIdSet::SviVlanSet\"}",
                  "intfVlanIdSetTable/sviVlanSet[br30] vlanId[30] = true" } ) );
   next_.interfaces.pop_back();
   reload();
   EXPECT_EQ( heard(), ( Lines{ "intfVlanIdSetTable sviVlanSet[br30] gone" } ) );
}

TEST_F( WatchingTest, ASetThatIsMadeAgainIsWatchedAgain ) {
   startWithMaster();
   ASSERT_EQ( watch( "intfVlanIdSetTable/sviVlanSet[br20]" ), "following" );
   const InterfaceConfiguration br20 = next_.interfaces[1];
   next_.interfaces.pop_back();
   reload();
   heard();
   next_.interfaces.push_back( br20 );
   reload();
   EXPECT_EQ( heard(), Lines{ "intfVlanIdSetTable/sviVlanSet[br20] vlanId[20] = true" } );
}

TEST_F( WatchingTest, ANewStartIsSurvivedAndEveryChangeHeardOnce ) {
   startWithMaster();
   ASSERT_EQ( follow( "watch" ), "following" );
   ASSERT_EQ( watch( "vrrpSm/virtualRouterIndex[13,00:00:5e:00:01:33]" ), "following" );
   next_.interfaces[1].secondaryVlans = { VlanId( 21 ) };
   reloadWith( 4 );
   EXPECT_EQ( heard(), ( Lines{ "vrrpHwStatus virtualRouterCount = 4",
                                "intfVlanIdSetTable/sviVlanSet[br20] vlanId[21] = true" } ) )
         << "what is said to objects that stay";
   reloadWith( 5 );
   heard();
   set( "br10" )->vlanIdIs( VlanId( 13 ), true );
   EXPECT_EQ( heard(),
              ( Lines{ "virtualRouterMacTable virtualRouterMac[13,00:00:5e:00:01:33] = true",
                       "vrrpSm freeVirtualRouterIndex[3] gone",
                       "vrrpSm virtualRouterIndex[13,00:00:5e:00:01:33] = 3",
                       "vrrpSm virtualRouterIndex[13,00:00:5e:00:01:33] = 3",
                       "intfVlanIdSetTable/sviVlanSet[br10] vlanId[13] = true" } ) );
}

TEST_F( WatchingTest, WhoCameBeforeTheProgrammerHearsIt ) {
   masters( { { kDevice51, 51 } } );
   start();
   ASSERT_EQ( follow( "watch" ), "following" );
   kernel_.read();
   EXPECT_EQ( heard(),
              ( Lines{ "virtualRouterMacStatus vrrpVirtualMac[br10,00:00:5e:00:01:33] = true",
                       "virtualRouterMacTable virtualRouterMac[12,00:00:5e:00:01:33] = true",
                       "virtualRouterMacTable virtualRouterMac[10,00:00:5e:00:01:33] = true",
                       "virtualRouterMacTable virtualRouterMac[11,00:00:5e:00:01:33] = true",
                       "vrrpHelper syncCurrentStateOnInit = false" } ) );
   set( "br10" )->vlanIdIs( VlanId( 13 ), true );
   const Lines lines = heard();
   EXPECT_EQ( std::count( lines.begin(), lines.end(),
                          "vrrpSm virtualRouterIndex[13,00:00:5e:00:01:33] = 3" ),
              1 );
}

} // namespace
} // namespace OrloAgent
