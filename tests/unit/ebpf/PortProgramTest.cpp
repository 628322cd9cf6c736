// What the program at the switch ports does with a frame. It runs inside the kernel, on frames made
// here; without the privilege to load it these tests are skipped.
#include "agent/hardware/ebpf/program/RouterMacTables.h"
#include "tests/unit/ebpf/program/TestRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bpf/bpf.h>
#include <bpf/libbpf.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>
#include <memory>
#include <ostream>
#include <system_error>
#include <unistd.h>

namespace OrloAgent {

using Quor::U16;
using Quor::U32;
using Quor::U64;
using Quor::U8;

void PrintTo( const Tag &tag, std::ostream *out ) {
   *out << std::hex << tag.etherType << "/" << tag.control << std::dec;
}

namespace {

constexpr int kGoesOn = TC_ACT_UNSPEC;
constexpr int kIntoSvi = TC_ACT_REDIRECT;
constexpr U32 kPort = 1; // where every frame of a test-run comes in
constexpr U32 kSvi = 1;  // any interface would do
constexpr U32 kIndexes = 8;

constexpr U8 kVirtual[ETH_ALEN] = { 0x00, 0x00, 0x5e, 0x00, 0x01, 0x33 };
constexpr U8 kOther[ETH_ALEN] = { 0x00, 0x00, 0x5e, 0x00, 0x01, 0x34 };
constexpr U8 kNeighbour[ETH_ALEN] = { 0x02, 0x00, 0x00, 0x00, 0x00, 0x01 };
constexpr U8 kEverybody[ETH_ALEN] = { 0xff, 0xff, 0xff, 0xff, 0xff, 0xff };
constexpr U8 kVrrpGroup[ETH_ALEN] = { 0x01, 0x00, 0x5e, 0x00, 0x00, 0x12 };

/// `size` bytes in all.
std::vector<U8> frame( const U8 ( &to )[ETH_ALEN], std::size_t size = 60, U16 etherType = 0x0800 ) {
   std::vector<U8> bytes( size );
   std::copy( std::begin( to ), std::end( to ), bytes.begin() );
   std::copy( std::begin( kNeighbour ), std::end( kNeighbour ), bytes.begin() + ETH_ALEN );
   bytes[12] = static_cast<U8>( etherType >> 8 );
   bytes[13] = static_cast<U8>( etherType );
   for( std::size_t i = 14; i < size; ++i ) {
      bytes[i] = static_cast<U8>( i );
   }
   return bytes;
}

Tag tag( U16 vlan, unsigned priority = 0, bool mayBeDropped = false ) {
   return { ETH_P_8021Q,
            static_cast<U16>( priority << 13 | ( mayBeDropped ? 1u : 0u ) << 12 | vlan ) };
}

Tag serviceTag( U16 vlan ) {
   return { ETH_P_8021AD, vlan };
}

class PortProgramTest : public testing::Test {
 protected:
   void SetUp() override {
      try {
         program_ = std::make_unique<PortProgram>( kIndexes );
         program_->load();
         run_ = std::make_unique<TestRun>( *program_ );
      } catch( const std::system_error &error ) {
         if( error.code().value() != EPERM || geteuid() == 0 ) {
            throw;
         }
         GTEST_SKIP() << error.what() << ": run it as root";
      }
   }

   template <typename Key, typename Value>
   void put( PortProgram::Table table, const Key &key, const Value &value ) {
      ASSERT_EQ( bpf_map_update_elem( program_->table( table ), &key, &value, BPF_ANY ), 0 );
   }
   void programmed( U16 vlan, const U8 ( &mac )[ETH_ALEN], U32 index ) {
      RouterMacKey key{ vlan, {} };
      std::copy( std::begin( mac ), std::end( mac ), key.mac );
      put( PortProgram::kRouterMacs, key, RouterMacValue{ index, kSvi } );
   }
   void accessVlanIs( U32 vlan ) { put( PortProgram::kPorts, kPort, PortValue{ vlan } ); }

   int action( const U8 ( &to )[ETH_ALEN], const std::vector<Tag> &tags ) const {
      return run_->answer( frame( to ), tags ).action;
   }

   /// Frames and bytes of an index, on all processors together.
   std::pair<U64, U64> counted( U32 index ) const {
      std::vector<FrameCount> each( static_cast<std::size_t>( libbpf_num_possible_cpus() ) );
      EXPECT_EQ( bpf_map_lookup_elem( program_->table( PortProgram::kFrameCounts ), &index,
                                      each.data() ),
                 0 );
      std::pair<U64, U64> all;
      for( const FrameCount &one : each ) {
         all.first += one.frames;
         all.second += one.bytes;
      }
      return all;
   }
   std::vector<std::pair<U64, U64>> countedAll() const {
      std::vector<std::pair<U64, U64>> all;
      for( U32 index = 0; index < kIndexes; ++index ) {
         all.push_back( counted( index ) );
      }
      return all;
   }

   std::unique_ptr<PortProgram> program_;
   std::unique_ptr<TestRun> run_;
};

TEST_F( PortProgramTest, AFrameToAProgrammedMacOnItsVlanGoesIntoTheSvi ) {
   programmed( 10, kVirtual, 3 );

   EXPECT_EQ( action( kVirtual, { tag( 10 ) } ), kIntoSvi );
}

TEST_F( PortProgramTest, EveryVlanHasItsOwnPairs ) {
   programmed( 10, kVirtual, 0 );
   programmed( 11, kOther, 1 );
   programmed( 1, kVirtual, 2 );
   programmed( 4094, kVirtual, 3 );

   std::vector<int> actions;
   for( const U16 vlan : std::initializer_list<U16>{ 1, 2, 10, 11, 20, 4094, 4095 } ) {
      actions.push_back( action( kVirtual, { tag( vlan ) } ) );
   }

   EXPECT_EQ( actions, ( std::vector<int>{ kIntoSvi, kGoesOn, kIntoSvi, kGoesOn, kGoesOn, kIntoSvi,
                                           kGoesOn } ) );
}

TEST_F( PortProgramTest, WithoutAnyPairEveryFrameGoesOn ) {
   EXPECT_EQ( action( kVirtual, { tag( 10 ) } ), kGoesOn );
   accessVlanIs( 10 );
   EXPECT_EQ( action( kVirtual, {} ), kGoesOn );
   EXPECT_EQ( countedAll(), ( std::vector<std::pair<U64, U64>>( kIndexes ) ) );
}

TEST_F( PortProgramTest, WhatIsRemovedGoesOnAgain ) {
   programmed( 10, kVirtual, 3 );
   const int before = action( kVirtual, { tag( 10 ) } );
   RouterMacKey key{ 10, {} };
   std::copy( std::begin( kVirtual ), std::end( kVirtual ), key.mac );
   ASSERT_EQ( bpf_map_delete_elem( program_->table( PortProgram::kRouterMacs ), &key ), 0 );

   EXPECT_EQ( before, kIntoSvi );
   EXPECT_EQ( action( kVirtual, { tag( 10 ) } ), kGoesOn );
}

TEST_F( PortProgramTest, PriorityAndDropEligibilityAreNoPartOfTheVlan ) {
   programmed( 10, kVirtual, 3 );

   for( unsigned priority = 0; priority < 8; ++priority ) {
      for( const bool mayBeDropped : { false, true } ) {
         EXPECT_EQ( action( kVirtual, { tag( 10, priority, mayBeDropped ) } ), kIntoSvi )
               << priority;
         EXPECT_EQ( action( kVirtual, { tag( 11, priority, mayBeDropped ) } ), kGoesOn )
               << priority;
      }
   }
}

TEST_F( PortProgramTest, WithoutATagTheAccessVlanOfThePortCounts ) {
   programmed( 10, kVirtual, 3 );

   EXPECT_EQ( action( kVirtual, {} ), kGoesOn ) << "a port that is in no table";
   accessVlanIs( 0 );
   EXPECT_EQ( action( kVirtual, {} ), kGoesOn ) << "a port without an access VLAN";
   accessVlanIs( 11 );
   EXPECT_EQ( action( kVirtual, {} ), kGoesOn ) << "an access VLAN without the pair";
   accessVlanIs( 10 );
   EXPECT_EQ( action( kVirtual, {} ), kIntoSvi );
   EXPECT_EQ( action( kVirtual, { tag( 11 ) } ), kGoesOn ) << "the tag counts before it";
}

TEST_F( PortProgramTest, ATagWithVlan0BelongsToTheAccessVlan ) {
   programmed( 10, kVirtual, 3 );

   EXPECT_EQ( action( kVirtual, { tag( 0 ) } ), kGoesOn );
   accessVlanIs( 10 );
   EXPECT_EQ( action( kVirtual, { tag( 0 ) } ), kIntoSvi );
   EXPECT_EQ( action( kVirtual, { tag( 0, 7, true ) } ), kIntoSvi );
}

TEST_F( PortProgramTest, GroupsAndBroadcastGoOn ) {
   programmed( 10, kVrrpGroup, 1 );
   programmed( 10, kEverybody, 2 );
   accessVlanIs( 10 );

   for( const auto &to : { kVrrpGroup, kEverybody } ) {
      std::vector<U8> bytes = frame( kVirtual );
      std::copy( to, to + ETH_ALEN, bytes.begin() );
      EXPECT_EQ( run_->answer( bytes, { tag( 10 ) } ).action, kGoesOn );
      EXPECT_EQ( run_->answer( bytes, {} ).action, kGoesOn );
   }
}

TEST_F( PortProgramTest, FramesWithTwoTagsGoOn ) {
   programmed( 10, kVirtual, 3 );
   programmed( 11, kVirtual, 4 );
   accessVlanIs( 10 );

   const std::vector<std::vector<Tag>> stacks{
         { serviceTag( 10 ) },     { serviceTag( 0 ) },     { tag( 10 ), serviceTag( 11 ) },
         { tag( 10 ), tag( 11 ) }, { tag( 10 ), tag( 0 ) }, { serviceTag( 10 ), tag( 11 ) } };
   for( const std::vector<Tag> &tags : stacks ) {
      EXPECT_EQ( action( kVirtual, tags ), kGoesOn ) << testing::PrintToString( tags );
   }
   EXPECT_EQ( countedAll(), ( std::vector<std::pair<U64, U64>>( kIndexes ) ) );
}

TEST_F( PortProgramTest, CountsFramesAndBytesOfEachIndex ) {
   programmed( 10, kVirtual, 3 );
   programmed( 11, kVirtual, 7 );
   accessVlanIs( 11 );

   run_->answer( frame( kVirtual, 60 ), { tag( 10 ) } );
   run_->answer( frame( kVirtual, 1514 ), { tag( 10, 5 ) } );
   run_->answer( frame( kVirtual, 100 ), { tag( 11 ) } );
   run_->answer( frame( kVirtual, 101 ), {} );
   run_->answer( frame( kVirtual, 1000 ), { tag( 12 ) } );
   run_->answer( frame( kOther, 1000 ), { tag( 10 ) } );

   std::vector<std::pair<U64, U64>> expected( kIndexes );
   expected[3] = { 2, 60 + 1514 };
   expected[7] = { 2, 100 + 101 };
   EXPECT_EQ( countedAll(), expected );
}

TEST_F( PortProgramTest, FramesThatTheKernelHasJoinedCountEach ) {
   programmed( 10, kVirtual, 0 );

   run_->answer( frame( kVirtual, 3000 ), { tag( 10 ) }, 2 );
   run_->answer( frame( kVirtual, 60 ), { tag( 10 ) }, 1 );

   EXPECT_EQ( counted( 0 ), ( std::pair<U64, U64>( 3, 3060 ) ) );
}

TEST_F( PortProgramTest, AnIndexBeyondTheCountersIsRoutedAllTheSame ) {
   programmed( 10, kVirtual, kIndexes );

   EXPECT_EQ( action( kVirtual, { tag( 10 ) } ), kIntoSvi );
   EXPECT_EQ( countedAll(), ( std::vector<std::pair<U64, U64>>( kIndexes ) ) );
}

TEST_F( PortProgramTest, LeavesTheFrameAndItsPriorityAsTheyAre ) {
   programmed( 10, kVirtual, 0 );
   for( const auto &to : { kVirtual, kOther } ) {
      std::vector<U8> bytes = frame( kVirtual, 200 );
      std::copy( to, to + ETH_ALEN, bytes.begin() );

      const TestRun::Answer answer = run_->answer( bytes, { tag( 10, 6 ) } );

      EXPECT_EQ( answer.frame, bytes );
      EXPECT_EQ( answer.priority, 3u );
   }
}

TEST_F( PortProgramTest, WhateverTheFrameCarriesTheDestinationDecides ) {
   programmed( 10, kVirtual, 0 );

   for( const U16 etherType :
        std::initializer_list<U16>{ 0x0800, 0x86dd, 0x0806, 0x88cc, 0x05dc, 0x0000, 0xffff } ) {
      EXPECT_EQ( run_->answer( frame( kVirtual, 60, etherType ), { tag( 10 ) } ).action, kIntoSvi )
            << etherType;
   }
}

TEST_F( PortProgramTest, TheShortestFrames ) {
   programmed( 10, kVirtual, 0 );

   EXPECT_EQ( run_->answer( frame( kVirtual, 15, 0x88b5 ), { tag( 10 ) } ).action, kIntoSvi );
   EXPECT_EQ( run_->answer( frame( kOther, 15, 0x88b5 ), { tag( 10 ) } ).action, kGoesOn );
   EXPECT_EQ( counted( 0 ), ( std::pair<U64, U64>( 1, 15 ) ) );
}

TEST_F( PortProgramTest, ATableOfNoIndexesIsThereAndEmpty ) {
   PortProgram program( 0 );
   EXPECT_EQ( program.shape( PortProgram::kRouterMacs ),
              ( PortProgram::Shape{ BPF_MAP_TYPE_HASH, 8, 8, 1, 0 } ) );
   EXPECT_NO_THROW( program.load() );
   const TestRun run( program );

   EXPECT_EQ( run.answer( frame( kVirtual ), { tag( 10 ) } ).action, kGoesOn );
}

TEST_F( PortProgramTest, WorksOnTablesThatAreThereAlready ) {
   programmed( 10, kVirtual, 5 );
   PortProgram second( kIndexes );
   for( std::size_t i = 0; i < PortProgram::kTables; ++i ) {
      const auto table = static_cast<PortProgram::Table>( i );
      second.tableIs( table, program_->table( table ) );
   }
   second.load();
   const TestRun run( second );

   EXPECT_EQ( run.answer( frame( kVirtual ), { tag( 10 ) } ).action, kIntoSvi );
   EXPECT_EQ( counted( 5 ), ( std::pair<U64, U64>( 1, 60 ) ) );
}

} // namespace
} // namespace OrloAgent
