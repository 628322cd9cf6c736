// The whole agent between a fake kernel and a real slot table: what it says, compared whole, and
// what is in the table.
#include "tests/unit/agent/AgentOnFakeKernel.h"

#include <algorithm>
#include <csignal>
#include <random>
#include <set>

#include <sys/wait.h>
#include <unistd.h>

namespace OrloAgent {
namespace {

using AgentTest = AgentOnFakeKernel;

TEST_F( AgentTest, AMasterComesAndGoes ) {
   startAndRead();
   deviceIs( kDevice51, 51 );
   kernel_.quiet();
   becomeMaster( kDevice51 );
   kernel_.quiet();
   becomeBackup( kDevice51 );
   kernel_.quiet();
   EXPECT_EQ( said(), "ready: 8 indexes, 0 adopted, 0 pairs programmed, 0 waiting\n"
                      "published   br10  00:00:5e:00:01:33  from vrrp.51\n"
                      "programmed  VLAN 12  00:00:5e:00:01:33  index 0\n"
                      "programmed  VLAN 10  00:00:5e:00:01:33  index 1\n"
                      "programmed  VLAN 11  00:00:5e:00:01:33  index 2\n"
                      "withdrawn   br10  00:00:5e:00:01:33  vrrp.51: has no address\n"
                      "removed     VLAN 12  00:00:5e:00:01:33  index 0\n"
                      "removed     VLAN 10  00:00:5e:00:01:33  index 1\n"
                      "removed     VLAN 11  00:00:5e:00:01:33  index 2\n" );
   EXPECT_EQ( err_.str(), "" );
}

TEST_F( AgentTest, TheLastPairWaitsAndGetsAFreedIndex ) {
   startAndRead( 5 );
   masters( { { kDevice51, 51 } } );
   kernel_.quiet();
   masters( { { kDevice52, 52 } } );
   kernel_.quiet();
   EXPECT_EQ( said(), "ready: 5 indexes, 0 adopted, 0 pairs programmed, 0 waiting\n"
                      "published   br10  00:00:5e:00:01:33  from vrrp.51\n"
                      "programmed  VLAN 12  00:00:5e:00:01:33  index 0\n"
                      "programmed  VLAN 10  00:00:5e:00:01:33  index 1\n"
                      "programmed  VLAN 11  00:00:5e:00:01:33  index 2\n"
                      "published   br10  00:00:5e:00:01:34  from vrrp.52\n"
                      "programmed  VLAN 12  00:00:5e:00:01:34  index 3\n"
                      "programmed  VLAN 10  00:00:5e:00:01:34  index 4\n"
                      "waiting     VLAN 11  00:00:5e:00:01:34  place 1\n"
                      "full        5 of 5 indexes in use: what comes now waits\n" );
   EXPECT_EQ( table(), "VLAN  MAC                INTERFACE  INDEX    WANTED  PROGRAMMED\n"
                       "  10  00:00:5e:00:01:33  br10       1        yes     yes\n"
                       "  10  00:00:5e:00:01:34  br10       4        yes     yes\n"
                       "  11  00:00:5e:00:01:33  br10       2        yes     yes\n"
                       "  11  00:00:5e:00:01:34  br10       line 1   yes     no\n"
                       "  12  00:00:5e:00:01:33  br10       0        yes     yes\n"
                       "  12  00:00:5e:00:01:34  br10       3        yes     yes\n"
                       "6 pairs wanted, 5 programmed, 1 waiting; 5 of 5 indexes used\n" );

   becomeBackup( kDevice51 );
   kernel_.quiet();
   EXPECT_EQ( said(), "withdrawn   br10  00:00:5e:00:01:33  vrrp.51: has no address\n"
                      "removed     VLAN 12  00:00:5e:00:01:33  index 0\n"
                      "programmed  VLAN 11  00:00:5e:00:01:34  index 0\n"
                      "removed     VLAN 10  00:00:5e:00:01:33  index 1\n"
                      "removed     VLAN 11  00:00:5e:00:01:33  index 2\n"
                      "relieved    nobody waits any more\n" );
   becomeBackup( kDevice52 );
   kernel_.quiet();
   EXPECT_EQ( said().find( "left" ), std::string::npos ) << "it had got an index";
}

TEST_F( AgentTest, WhatIsToldTwiceIsDoneOnce ) {
   startAndRead();
   said();
   for( int i = 0; i < 2; ++i ) {
      masters( { { kDevice51, 51 } } );
      masters( { { kDevice51, 51 } } );
      kernel_.quiet();
   }
   EXPECT_EQ( said(), "published   br10  00:00:5e:00:01:33  from vrrp.51\n"
                      "programmed  VLAN 12  00:00:5e:00:01:33  index 0\n"
                      "programmed  VLAN 10  00:00:5e:00:01:33  index 1\n"
                      "programmed  VLAN 11  00:00:5e:00:01:33  index 2\n" );
   EXPECT_EQ( writes(), 3u );
   for( int i = 0; i < 2; ++i ) {
      becomeBackup( kDevice51 );
      becomeBackup( kDevice51 );
      kernel_.quiet();
   }
   EXPECT_EQ( said(), "withdrawn   br10  00:00:5e:00:01:33  vrrp.51: has no address\n"
                      "removed     VLAN 12  00:00:5e:00:01:33  index 0\n"
                      "removed     VLAN 10  00:00:5e:00:01:33  index 1\n"
                      "removed     VLAN 11  00:00:5e:00:01:33  index 2\n" );
   EXPECT_EQ( writes(), 6u );
}

TEST_F( AgentTest, APairThatGivesUpWaitingLeaves ) {
   startAndRead( 1 );
   masters( { { kDevice51, 51 } } );
   kernel_.quiet();
   said();
   becomeBackup( kDevice51 );
   kernel_.quiet();
   // The pairs go one by one, so each hands the only index to the next.
   EXPECT_EQ( said(), "withdrawn   br10  00:00:5e:00:01:33  vrrp.51: has no address\n"
                      "removed     VLAN 12  00:00:5e:00:01:33  index 0\n"
                      "programmed  VLAN 10  00:00:5e:00:01:33  index 0\n"
                      "removed     VLAN 10  00:00:5e:00:01:33  index 0\n"
                      "programmed  VLAN 11  00:00:5e:00:01:33  index 0\n"
                      "removed     VLAN 11  00:00:5e:00:01:33  index 0\n"
                      "relieved    nobody waits any more\n" );
}

TEST_F( AgentTest, WithoutIndexesEverythingWaits ) {
   masters( { { kDevice51, 51 } } );
   startAndRead( 0 );
   EXPECT_EQ( said(), "published   br10  00:00:5e:00:01:33  from vrrp.51\n"
                      "waiting     VLAN 10  00:00:5e:00:01:33  place 1\n"
                      "waiting     VLAN 12  00:00:5e:00:01:33  place 2\n"
                      "waiting     VLAN 11  00:00:5e:00:01:33  place 3\n"
                      "full        0 of 0 indexes in use: what comes now waits\n"
                      "ready: 0 indexes, 0 adopted, 0 pairs programmed, 3 waiting\n" );
   becomeBackup( kDevice51 );
   kernel_.quiet();
   EXPECT_EQ( said(), "withdrawn   br10  00:00:5e:00:01:33  vrrp.51: has no address\n"
                      "left        VLAN 12  00:00:5e:00:01:33  no longer waits\n"
                      "left        VLAN 10  00:00:5e:00:01:33  no longer waits\n"
                      "left        VLAN 11  00:00:5e:00:01:33  no longer waits\n"
                      "relieved    nobody waits any more\n" );
}

TEST_F( AgentTest, NothingIsDoneBeforeTheKernelIsKnownAsAWhole ) {
   masters( { { kDevice51, 51 } } );
   start();
   kernel_.quiet();
   kernel_.tellEverything();
   kernel_.quiet();
   EXPECT_EQ( said(), "" );
   EXPECT_FALSE( agent_->isReady() );

   kernel_.watcher().onOverrun();
   kernel_.watcher().onReadingAll();
   kernel_.tellEverything();
   kernel_.quiet();
   EXPECT_EQ( said(), "overrun     the kernel dropped messages; reading everything again\n" );
   EXPECT_EQ( writes(), 0u );

   kernel_.watcher().onReadAll();
   EXPECT_FALSE( agent_->isReady() );
   kernel_.quiet();
   EXPECT_TRUE( agent_->isReady() );
   EXPECT_EQ( writes(), 3u );
}

TEST_F( AgentTest, ATransitionIsJudgedWhenTheKernelIsQuiet ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   said();
   // The first of two messages about one transition is inconsistent.
   kernel_.linkIs( kDevice51, []( Link &link ) { link.lowerUp = false; } );
   kernel_.linkIs( kDevice51, []( Link &link ) { link.lowerUp = true; } );
   becomeBackup( kDevice51 );
   becomeMaster( kDevice51 );
   kernel_.quiet();
   EXPECT_EQ( said(), "" );
   EXPECT_EQ( writes(), 3u );
}

TEST_F( AgentTest, AnOverrunIsFollowedByTheTruthAndNothingInBetween ) {
   masters( { { kDevice51, 51 }, { kDevice52, 52 } } );
   startAndRead();
   said();
   kernel_.lose();
   becomeBackup( kDevice51 );
   kernel_.linkDel( kDevice52 );
   deviceIs( 9, 53 );
   becomeMaster( 9 );
   kernel_.overrun();
   // A change in the middle of the reading is not judged before its end.
   kernel_.linkIs( kSvi, []( Link &link ) { link.mac = mac( "02:00:00:00:00:09" ); } );
   kernel_.quiet();
   EXPECT_EQ( said(), "overrun     the kernel dropped messages; reading everything again\n" );
   kernel_.read();
   EXPECT_EQ( said(), "withdrawn   br10  00:00:5e:00:01:33  vrrp.51: has no address\n"
                      "removed     VLAN 12  00:00:5e:00:01:33  index 2\n"
                      "removed     VLAN 10  00:00:5e:00:01:33  index 0\n"
                      "removed     VLAN 11  00:00:5e:00:01:33  index 4\n"
                      "withdrawn   br10  00:00:5e:00:01:34  vrrp.52: the device is gone\n"
                      "removed     VLAN 12  00:00:5e:00:01:34  index 3\n"
                      "removed     VLAN 10  00:00:5e:00:01:34  index 5\n"
                      "removed     VLAN 11  00:00:5e:00:01:34  index 1\n"
                      "published   br10  00:00:5e:00:01:35  from vrrp.53\n"
                      "programmed  VLAN 12  00:00:5e:00:01:35  index 6\n"
                      "programmed  VLAN 10  00:00:5e:00:01:35  index 7\n"
                      "programmed  VLAN 11  00:00:5e:00:01:35  index 2\n" );
}

TEST_F( AgentTest, AnOverrunThatLostNothingOfInterestChangesNothing ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   said();
   kernel_.overrun();
   kernel_.read();
   EXPECT_EQ( said(), "overrun     the kernel dropped messages; reading everything again\n" );
   EXPECT_EQ( writes(), 3u );
}

TEST_F( AgentTest, TheVlanInterfaceGoesAndComesWithItsDevices ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   said();
   kernel_.linkDel( kDevice51 );
   kernel_.linkDel( kSvi );
   kernel_.quiet();
   EXPECT_EQ( said(), "withdrawn   br10  00:00:5e:00:01:33  vrrp.51: the device is gone\n"
                      "removed     VLAN 12  00:00:5e:00:01:33  index 1\n"
                      "removed     VLAN 10  00:00:5e:00:01:33  index 0\n"
                      "removed     VLAN 11  00:00:5e:00:01:33  index 2\n" );
   kernel_.linkIs( svi( 23, "br10" ) );
   kernel_.linkIs( macvlan( 27, "vrrp.51", 23, vrrpMac( 51 ) ) );
   becomeMaster( 27 );
   kernel_.quiet();
   EXPECT_EQ( said(), "published   br10  00:00:5e:00:01:33  from vrrp.51\n"
                      "programmed  VLAN 12  00:00:5e:00:01:33  index 3\n"
                      "programmed  VLAN 10  00:00:5e:00:01:33  index 4\n"
                      "programmed  VLAN 11  00:00:5e:00:01:33  index 5\n" );
}

TEST_F( AgentTest, DeletedAndMadeAgainBetweenTwoLooksNothingChanges ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   said();
   kernel_.linkDel( kDevice51 );
   kernel_.linkIs( macvlan( 27, "vrrp.51", kSvi, vrrpMac( 51 ) ) );
   becomeMaster( 27 );
   kernel_.quiet();
   EXPECT_EQ( said(), "" );
   EXPECT_EQ( writes(), 3u );
}

TEST_F( AgentTest, EveryInterfaceHasItsOwnVlans ) {
   kernel_.linkIs( svi( 4, "br20" ) );
   kernel_.linkIs( svi( 5, "br30" ) );
   kernel_.linkIs( macvlan( 17, "vrrp.51-20", 4, vrrpMac( 51 ) ) );
   kernel_.linkIs( macvlan( 18, "vrrp.51-30", 5, vrrpMac( 51 ) ) );
   becomeMaster( 17 );
   becomeMaster( 18 );
   startAndRead();
   EXPECT_EQ( said(), "published   br20  00:00:5e:00:01:33  from vrrp.51-20\n"
                      "programmed  VLAN 20  00:00:5e:00:01:33  index 0\n"
                      "ready: 8 indexes, 0 adopted, 1 pair programmed, 0 waiting\n" );
   EXPECT_EQ( table(), "VLAN  MAC                INTERFACE  INDEX    WANTED  PROGRAMMED\n"
                       "  20  00:00:5e:00:01:33  br20       0        yes     yes\n"
                       "1 pair wanted, 1 programmed, 0 waiting; 1 of 8 indexes used\n" );
}

TEST_F( AgentTest, TheNextAgentAdoptsWithoutAWrite ) {
   masters( { { kDevice51, 51 }, { kDevice52, 52 } } );
   startAndRead( 5 );
   said();
   agent_->stop();
   agent_.reset();
   EXPECT_EQ( said(), "" ) << "the hardware stays as it is";

   startAndRead( 5 );
   EXPECT_EQ( said(), "published   br10  00:00:5e:00:01:33  from vrrp.51\n"
                      "published   br10  00:00:5e:00:01:34  from vrrp.52\n"
                      "adopted     VLAN 10  00:00:5e:00:01:33  index 0\n"
                      "adopted     VLAN 11  00:00:5e:00:01:34  index 1\n"
                      "adopted     VLAN 12  00:00:5e:00:01:33  index 2\n"
                      "adopted     VLAN 12  00:00:5e:00:01:34  index 3\n"
                      "adopted     VLAN 11  00:00:5e:00:01:33  index 4\n"
                      "waiting     VLAN 10  00:00:5e:00:01:34  place 1\n"
                      "full        5 of 5 indexes in use: what comes now waits\n"
                      "ready: 5 indexes, 5 adopted, 0 pairs programmed, 1 waiting\n" );
   EXPECT_EQ( writes(), 5u );
}

TEST_F( AgentTest, TheNextAgentAfterAKillAdoptsToo ) {
   masters( { { kDevice51, 51 } } );
   const pid_t child = fork();
   ASSERT_GE( child, 0 );
   if( child == 0 ) {
      startAndRead();
      kill( getpid(), SIGKILL );
   }
   int status = 0;
   ASSERT_EQ( waitpid( child, &status, 0 ), child );
   ASSERT_TRUE( WIFSIGNALED( status ) );

   startAndRead();
   EXPECT_EQ( said(), "published   br10  00:00:5e:00:01:33  from vrrp.51\n"
                      "adopted     VLAN 10  00:00:5e:00:01:33  index 0\n"
                      "adopted     VLAN 12  00:00:5e:00:01:33  index 1\n"
                      "adopted     VLAN 11  00:00:5e:00:01:33  index 2\n"
                      "ready: 8 indexes, 3 adopted, 0 pairs programmed, 0 waiting\n" );
   EXPECT_EQ( writes(), 3u );
}

TEST_F( AgentTest, WhatIsNotWantedAnyMoreIsRemovedAtTheStart ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   agent_.reset();
   said();
   becomeBackup( kDevice51 );
   masters( { { kDevice52, 52 } } );

   startAndRead();
   EXPECT_EQ( said(), "published   br10  00:00:5e:00:01:34  from vrrp.52\n"
                      "removed     VLAN 10  00:00:5e:00:01:33  index 0\n"
                      "removed     VLAN 12  00:00:5e:00:01:33  index 1\n"
                      "removed     VLAN 11  00:00:5e:00:01:33  index 2\n"
                      "programmed  VLAN 11  00:00:5e:00:01:34  index 3\n"
                      "programmed  VLAN 12  00:00:5e:00:01:34  index 4\n"
                      "programmed  VLAN 10  00:00:5e:00:01:34  index 5\n"
                      "ready: 8 indexes, 0 adopted, 3 pairs programmed, 0 waiting\n" );
}

TEST_F( AgentTest, TheTableBeforeItIsReadyShowsWhatTheHardwareHolds ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   agent_.reset();
   said();
   start();
   EXPECT_EQ( table(), "VLAN  MAC                INTERFACE  INDEX    WANTED  PROGRAMMED\n"
                       "  10  00:00:5e:00:01:33  br10       0        no      yes\n"
                       "  11  00:00:5e:00:01:33  br10       2        no      yes\n"
                       "  12  00:00:5e:00:01:33  br10       1        no      yes\n"
                       "0 pairs wanted, 3 programmed, 0 waiting; 3 of 8 indexes used\n" );
}

TEST_F( AgentTest, AfterTheStopNothingHappens ) {
   masters( { { kDevice51, 51 } } );
   startAndRead();
   said();
   agent_->stop();
   agent_->stop();
   becomeBackup( kDevice51 );
   kernel_.quiet();
   kernel_.overrun();
   kernel_.read();
   EXPECT_EQ( writes(), 3u );
   EXPECT_EQ( said(), "" );
}

TEST_F( AgentTest, TroubleGoesToTheOtherStream ) {
   startAndRead();
   said();
   kernel_.watcher().onTrouble( "something is wrong" );
   EXPECT_EQ( said(), "" );
   EXPECT_EQ( err_.str(), "orlo-agent: something is wrong\n" );
}

TEST_F( AgentTest, ATableOfAnotherSizeIsSaidAloud ) {
   startAndRead( 8 );
   agent_.reset();
   start( 5 );
   EXPECT_EQ( err_.str(), "orlo-agent: the slot table " + folder_.path( "slots" ) +
                                " had 8 slots and has 5 now\n" );
}

TEST_F( AgentTest, WithoutHardwareItDoesNotStart ) {
   start();
   EXPECT_THROW( Agent( configuration( 8 ), kernel_, out_, err_ ), LibraryError );
}

/// Many transitions at random, looked at at random moments: what is wanted is what the rule says,
/// it is in the hardware as far as there are indexes, and no pair is written more often than it
/// changes.
TEST_F( AgentTest, WhateverHappensTheHardwareFollows ) {
   constexpr Quor::U32 kIndexes = 7;
   startAndRead( kIndexes );
   std::mt19937 random( 1 );
   std::set<Quor::U8> masters; // as the kernel has them
   for( int step = 0; step < 3000; ++step ) {
      const auto vrid = static_cast<Quor::U8>( 1 + random() % 6 );
      const IfIndex ifindex = 100 + vrid;
      switch( random() % 5 ) {
      case 0:
         deviceIs( ifindex, vrid );
         becomeMaster( ifindex );
         masters.insert( vrid );
         break;
      case 1:
         becomeBackup( ifindex );
         masters.erase( vrid );
         break;
      case 2:
         kernel_.linkDel( ifindex );
         masters.erase( vrid );
         break;
      case 3:
         if( random() % 10 == 0 ) {
            kernel_.overrun();
            kernel_.read();
         }
         break;
      default:
         kernel_.quiet();
      }
      if( random() % 3 != 0 ) {
         continue;
      }
      kernel_.quiet();
      std::set<Pair> wanted;
      for( const Quor::U8 master : masters ) {
         for( const Quor::U16 vlan : { Quor::U16{ 10 }, Quor::U16{ 11 }, Quor::U16{ 12 } } ) {
            wanted.emplace( Bridging::VlanId( vlan ), vrrpMac( master ) );
         }
      }
      std::set<Pair> programmed;
      const SlotFile &slots = helper().slots();
      for( Quor::U32 index = 0; index < kIndexes; ++index ) {
         if( const auto pair = slots.slot( index ) ) {
            EXPECT_TRUE( programmed.insert( *pair ).second ) << *pair << " stands twice";
            EXPECT_TRUE( wanted.contains( *pair ) ) << *pair << " is not wanted";
         }
      }
      ASSERT_EQ( programmed.size(), std::min<std::size_t>( wanted.size(), kIndexes ) );
   }
   EXPECT_EQ( helper().refusals(), 0u );
   EXPECT_EQ( err_.str(), "" );
}

} // namespace
} // namespace OrloAgent
