// Another configuration for the running agent: the hardware sees exactly the difference.
#include "tests/unit/agent/AgentOnFakeKernel.h"

#include <algorithm>
#include <filesystem>

namespace OrloAgent {
namespace {

using Bridging::VlanId;
using Strings = std::vector<std::string>;

/// br10 with VLANs 10, 11, 12 and br20 with VLAN 20; virtual router 51 is master on both.
class Reload : public AgentOnFakeKernel {
 protected:
   Reload() {
      kernel_.linkIs( svi( 4, "br20" ) );
      kernel_.linkIs( svi( 5, "br30" ) );
   }
   void master( IfIndex ifindex, IfIndex on, Quor::U8 vrid ) {
      kernel_.linkIs(
            macvlan( ifindex, "vrrp." + std::to_string( ifindex ), on, vrrpMac( vrid ) ) );
      becomeMaster( ifindex );
   }
   void startWithMasters( Quor::U32 indexes = 8 ) {
      master( 51, kSvi, 51 );
      master( 52, 4, 51 );
      master( 53, 5, 51 );
      startAndRead( indexes );
      next_ = configuration( indexes );
      said();
   }
   InterfaceConfiguration &interface( std::size_t i ) { return next_.interfaces[i]; }
   /// What is said of the reload, without the line that sums it up.
   Strings reload() {
      const Quor::U64 before = writes();
      const Agent::Reloaded done = agent_->reload( next_ );
      changes_ = done.changes;
      EXPECT_EQ( done.calls, writes() - before ) << "every call writes one slot";
      Strings lines;
      std::istringstream text( said() );
      for( std::string line; std::getline( text, line ); ) {
         lines.push_back( line );
      }
      EXPECT_TRUE( !lines.empty() && lines.back().starts_with( "reloaded    " ) );
      lines.pop_back();
      return lines;
   }

   Configuration next_;
   Strings changes_;
};

TEST_F( Reload, OfTheSameChangesNothing ) {
   startWithMasters();
   EXPECT_EQ( reload(), Strings{} );
   EXPECT_EQ( changes_, Strings{} );
}

TEST_F( Reload, AVlanThatComesAndOneThatGoes ) {
   startWithMasters();
   interface( 0 ).secondaryVlans = { VlanId( 12 ), VlanId( 13 ) };
   EXPECT_EQ( reload(), ( Strings{ "removed     VLAN 11  00:00:5e:00:01:33  index 3",
                                   "programmed  VLAN 13  00:00:5e:00:01:33  index 4" } ) );
   EXPECT_EQ( changes_, Strings{ "br10 has VLANs 10, 12, 13 now, had VLANs 10, 11, 12" } );
}

TEST_F( Reload, TheOtherVlanOfAnInterfaceKeepsItsIndex ) {
   startWithMasters();
   interface( 0 ).vlan = VlanId( 11 );
   interface( 0 ).secondaryVlans = { VlanId( 10 ), VlanId( 12 ) };
   EXPECT_EQ( reload(), Strings{} ) << "the same set, whichever is the primary VLAN";
}

TEST_F( Reload, AVlanThatMovesBetweenInterfacesOfTheSameVirtualRouterIsNotTouched ) {
   startWithMasters();
   interface( 0 ).secondaryVlans = { VlanId( 12 ) };
   interface( 1 ).secondaryVlans = { VlanId( 11 ) };
   EXPECT_EQ( reload(), Strings{} );
   std::swap( interface( 0 ).secondaryVlans, interface( 1 ).secondaryVlans );
   EXPECT_EQ( reload(), Strings{} );
   EXPECT_EQ( table(), "VLAN  MAC                INTERFACE  INDEX    WANTED  PROGRAMMED\n"
                       "  10  00:00:5e:00:01:33  br10       0        yes     yes\n"
                       "  11  00:00:5e:00:01:33  br10       3        yes     yes\n"
                       "  12  00:00:5e:00:01:33  br20       2        yes     yes\n"
                       "  20  00:00:5e:00:01:33  br20       1        yes     yes\n"
                       "4 pairs wanted, 4 programmed, 0 waiting; 4 of 8 indexes used\n" );
}

TEST_F( Reload, AnInterfaceThatComesBringsItsMacs ) {
   startWithMasters();
   next_.interfaces.push_back( { Pelmo::IntfId( "br30" ), VlanId( 30 ), { VlanId( 31 ) } } );
   EXPECT_EQ( reload(), ( Strings{ "published   br30  00:00:5e:00:01:33  from vrrp.53",
                                   "programmed  VLAN 30  00:00:5e:00:01:33  index 4",
                                   "programmed  VLAN 31  00:00:5e:00:01:33  index 5" } ) );
   EXPECT_EQ( changes_, Strings{ "br30 added: VLANs 30, 31" } );
}

TEST_F( Reload, AnInterfaceThatGoesTakesItsMacs ) {
   startWithMasters();
   next_.interfaces.erase( next_.interfaces.begin() );
   EXPECT_EQ( reload(),
              ( Strings{ "withdrawn   br10  00:00:5e:00:01:33  vrrp.51: br10 is not configured "
                         "any more",
                         "removed     VLAN 10  00:00:5e:00:01:33  index 0",
                         "removed     VLAN 11  00:00:5e:00:01:33  index 3",
                         "removed     VLAN 12  00:00:5e:00:01:33  index 2" } ) );
   EXPECT_EQ( changes_, Strings{ "br10 removed" } );
   becomeBackup( 51 );
   kernel_.quiet();
   EXPECT_EQ( said(), "" );
   next_ = configuration( 8 );
   EXPECT_EQ( reload(), Strings{} ) << "its device is a backup's now";
   becomeMaster( 51 );
   kernel_.quiet();
   EXPECT_NE( said().find( "programmed  VLAN 11" ), std::string::npos );
}

TEST_F( Reload, WhatSomebodyPutOnAnInterfaceByHandGoesWithIt ) {
   startWithMasters();
   agent_->programming().status()->vrrpVirtualMacIs( { Pelmo::IntfId( "br10" ), vrrpMac( 77 ) },
                                                     true );
   agent_->work();
   said();
   next_.interfaces.erase( next_.interfaces.begin() );
   reload();
   EXPECT_EQ( agent_->programming().status()->vrrpVirtualMacs().size(), 1u );
   EXPECT_EQ( agent_->programming().table()->virtualRouterMacs().size(), 1u );
}

TEST_F( Reload, AVlanSetIsChangedInPlace ) {
   startWithMasters();
   const auto set = agent_->programming().vlanSets()->sviVlanSet( Pelmo::IntfId( "br10" ) );
   interface( 0 ).secondaryVlans = {};
   reload();
   EXPECT_EQ( agent_->programming().vlanSets()->sviVlanSet( Pelmo::IntfId( "br10" ) ), set );
   EXPECT_EQ( set->vlanIds().size(), 1u );
}

TEST_F( Reload, WhoWaitsKeepsTheirPlace ) {
   startWithMasters( 2 );
   master( 61, 4, 61 ); // comes last, though the table may have it first
   kernel_.quiet();
   const auto line = [this] {
      std::vector<Pair> pairs;
      for( const auto &entry : agent_->programming().vrrpSm()->macsNeedingVirtualRouterIndexes() ) {
         pairs.push_back( entry.value() );
      }
      return pairs;
   };
   const std::vector<Pair> before = line();
   ASSERT_EQ( before.size(), 3u );
   said();
   next_.interfaces.push_back( { Pelmo::IntfId( "br30" ), VlanId( 30 ), {} } );
   reload();
   std::vector<Pair> after = before;
   after.push_back( { VlanId( 30 ), vrrpMac( 51 ) } );
   EXPECT_EQ( line(), after );
}

TEST_F( Reload, MoreIndexesServeThoseThatWait ) {
   startWithMasters( 3 );
   next_.hardware.indexes = 5;
   now_ += std::chrono::seconds( 60 );
   const auto pair = Pair{ VlanId( 10 ), vrrpMac( 51 ) };
   const auto since = agent_->programming().assignments()->programmedSince( pair );
   EXPECT_EQ( reload().size(), 2u ) << "one programmed, and nobody waits any more";
   EXPECT_EQ( changes_, Strings{ "5 indexes now, 3 before" } );
   EXPECT_EQ( agent_->programming().assignments()->programmedSince( pair ), since );
   EXPECT_EQ( agent_->programming().restarts(), 1u );
   EXPECT_EQ( agent_->programming().lastAdoption().adopted, 3u );
}

TEST_F( Reload, WhoWaitedAndIsNotWantedAnyMoreLeavesTheLine ) {
   startWithMasters( 2 ); // 12 and 11 wait
   next_.hardware.indexes = 3;
   interface( 0 ).secondaryVlans = { VlanId( 12 ) };
   EXPECT_EQ( reload(), ( Strings{ "programmed  VLAN 12  00:00:5e:00:01:33  index 2",
                                   "left        VLAN 11  00:00:5e:00:01:33  no longer waits",
                                   "relieved    nobody waits any more" } ) );
}

TEST_F( Reload, FewerIndexesRemoveWhatIsAtOrAboveThem ) {
   startWithMasters( 8 );
   next_.hardware.indexes = 2;
   const Strings lines = reload();
   EXPECT_EQ( lines, ( Strings{ "removed     VLAN 12  00:00:5e:00:01:33  index 2",
                                "removed     VLAN 11  00:00:5e:00:01:33  index 3",
                                "waiting     VLAN 12  00:00:5e:00:01:33  place 1",
                                "waiting     VLAN 11  00:00:5e:00:01:33  place 2",
                                "full        2 of 2 indexes in use: what comes now waits" } ) );
}

TEST_F( Reload, FewerIndexesMoveAPairIntoAFreeOne ) {
   startWithMasters( 8 );
   interface( 0 ).secondaryVlans = { VlanId( 11 ) }; // 12 goes, and index 2 with it
   reload();
   next_.hardware.indexes = 3;
   EXPECT_EQ( reload(), ( Strings{ "removed     VLAN 11  00:00:5e:00:01:33  index 3",
                                   "programmed  VLAN 11  00:00:5e:00:01:33  index 2",
                                   "full        3 of 3 indexes in use: what comes now waits" } ) );
}

TEST_F( Reload, EverythingAtOnce ) {
   startWithMasters( 3 );
   next_.hardware.indexes = 8;
   next_.interfaces = { { Pelmo::IntfId( "br30" ), VlanId( 12 ), { VlanId( 10 ), VlanId( 30 ) } } };
   const Strings lines = reload();
   EXPECT_EQ( std::count_if( lines.begin(), lines.end(),
                             []( const auto &line ) { return line.starts_with( "programmed" ); } ),
              1 )
         << "VLAN 30; 10 and 12 had their index and keep it";
   EXPECT_EQ( table(), "VLAN  MAC                INTERFACE  INDEX    WANTED  PROGRAMMED\n"
                       "  10  00:00:5e:00:01:33  br30       0        yes     yes\n"
                       "  12  00:00:5e:00:01:33  br30       2        yes     yes\n"
                       "  30  00:00:5e:00:01:33  br30       3        yes     yes\n"
                       "3 pairs wanted, 3 programmed, 0 waiting; 3 of 8 indexes used\n" );
}

TEST_F( Reload, WhatCannotBeChangedIsRefusedAndNothingIsDone ) {
   startWithMasters();
   const auto refused = [&]( const auto &change ) {
      Configuration next = configuration( 5 );
      next.interfaces.clear();
      change( next );
      try {
         agent_->reload( next );
      } catch( const ReloadError &error ) {
         return std::string( error.what() );
      }
      return std::string();
   };
   const std::string why = " cannot be changed while the agent runs: restart it; nothing has been "
                           "changed";
   EXPECT_EQ( refused( []( Configuration &next ) { next.plugin = "x.so"; } ), "/plugin" + why );
   EXPECT_EQ( refused( []( Configuration &next ) { next.control.group = "x"; } ),
              "/control" + why );
   for( const auto &change : std::vector<std::function<void( Configuration & )>>{
              []( Configuration &next ) { next.hardware.kind = "module"; },
              []( Configuration &next ) { next.hardware.module = "x.so"; },
              []( Configuration &next ) { next.hardware.settings["path"] = "/x"; } } ) {
      EXPECT_EQ( refused( change ), "/hardware other than /hardware/indexes" + why );
   }
   EXPECT_EQ( writes(), 4u );
   EXPECT_EQ( said(), "" );
}

TEST_F( Reload, BeforeItIsReadyItStartsWithTheNewOne ) {
   master( 51, kSvi, 51 );
   start( 2 );
   next_ = configuration( 8 );
   interface( 0 ).secondaryVlans = {};
   agent_->reload( next_ );
   said();
   kernel_.read();
   EXPECT_EQ( said(), "published   br10  00:00:5e:00:01:33  from vrrp.51\n"
                      "programmed  VLAN 10  00:00:5e:00:01:33  index 0\n"
                      "ready: 8 indexes, 0 adopted, 1 pair programmed, 0 waiting\n" );
}

TEST_F( Reload, BeforeItIsReadyTheHardwareKeepsWhatTheAgentBeforeHasLeft ) {
   master( 51, kSvi, 51 );
   start( stubborn( 8 ) );
   kernel_.read();
   agent_.reset();
   hardwareIs( "lossy" ); // it is read again as soon as it is worked
   start( stubborn( 8 ) );
   said();
   for( const Quor::U32 indexes : { 8u, 9u } ) {
      agent_->reload( stubborn( indexes ) );
   }
   said();
   kernel_.read();
   EXPECT_EQ( said(), "published   br10  00:00:5e:00:01:33  from vrrp.51\n"
                      "adopted     VLAN 10  00:00:5e:00:01:33  index 0\n"
                      "adopted     VLAN 12  00:00:5e:00:01:33  index 1\n"
                      "adopted     VLAN 11  00:00:5e:00:01:33  index 2\n"
                      "ready: 9 indexes, 3 adopted, 0 pairs programmed, 0 waiting\n" );
}

TEST_F( Reload, WhileTheKernelIsReadAgainNothingIsJudged ) {
   startWithMasters();
   kernel_.overrun();
   said();
   interface( 0 ).secondaryVlans = { VlanId( 11 ) };
   next_.interfaces.push_back( { Pelmo::IntfId( "br30" ), VlanId( 30 ), {} } );
   EXPECT_EQ( reload(), Strings{ "removed     VLAN 12  00:00:5e:00:01:33  index 2" } );
   kernel_.read();
   EXPECT_EQ( said(), "published   br30  00:00:5e:00:01:33  from vrrp.53\n"
                      "programmed  VLAN 30  00:00:5e:00:01:33  index 4\n" );
}

TEST_F( Reload, WhatTheHardwareOwesIsWaitedForAlsoWhenItCannotBeHadOtherwise ) {
   hardwareIs( "full" );
   master( 51, kSvi, 51 );
   Configuration two = stubborn( 2 );
   two.hardware.settings["most"] = "2";
   start( two );
   Instant waitsUntil = Instant::max();
   agent_->programming().onWait = [&]( int, Instant next ) { waitsUntil = next; };
   kernel_.read();
   EXPECT_NE( waitsUntil, Instant::max() );

   next_ = two;
   next_.hardware.indexes = 3;
   EXPECT_THROW( agent_->reload( next_ ), LibraryError );

   EXPECT_TRUE( agent_->isReady() );
   EXPECT_NE( waitsUntil, Instant::max() );
}

TEST_F( Reload, HardwareThatCannotBeHadGoesOnAsBefore ) {
   startWithMasters( 8 );
   // Somebody takes the table in the moment in which the agent opens it anew: nobody can have it
   // but by its name, which leads elsewhere now.
   std::filesystem::rename( folder_.path( "slots" ), folder_.path( "elsewhere" ) );
   std::filesystem::create_directory( folder_.path( "slots" ) );
   next_.hardware.indexes = 9;
   EXPECT_THROW( agent_->reload( next_ ), LibraryError );
   EXPECT_FALSE( agent_->isReady() ) << "neither can it have the table of before";
}

} // namespace
} // namespace OrloAgent
