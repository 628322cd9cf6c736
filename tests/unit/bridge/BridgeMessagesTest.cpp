// Rtnetlink messages about a bridge: what we ask, and what the kernel tells.
#include "agent/hardware/bridge/BridgeMessages.h"
#include "tests/unit/agent/NetlinkBytes.h"
#include "tests/unit/quor/Dice.h"

#include <gtest/gtest.h>
#include <linux/if_bridge.h>
#include <linux/if_ether.h>
#include <linux/neighbour.h>
#include <linux/pkt_cls.h>
#include <linux/pkt_sched.h>
#include <linux/tc_act/tc_vlan.h>
#include <netinet/in.h>

namespace OrloAgent {
namespace {

using Change = BridgeKernel::Change;
using Quor::U16;
using Quor::U32;
using Quor::U8;

constexpr IfIndex kBridge = 7;
constexpr IfIndex kPort = 9;
constexpr U32 kIngress = 0xfffffff2;
constexpr U32 kInfo = 0x56520081; // preference, and 802.1Q in network order

Pair pair( U16 vlan, U8 vrid ) {
   return { Bridging::VlanId( vlan ),
            Pelmo::EthAddr( Pelmo::EthAddr::Octets{ 0, 0, 0x5e, 0, 1, vrid } ) };
}

std::vector<BridgeNews> read( std::span<const std::byte> bytes ) {
   std::vector<BridgeNews> news;
   NetlinkMessages messages( bytes );
   while( const auto message = messages.next() ) {
      news.push_back( readBridgeMessage( *message ) );
   }
   return news;
}

BridgeNews readOne( const NetlinkMessage &message ) {
   const NetlinkBytes bytes = message.bytes();
   const std::vector<BridgeNews> news = read( bytes.span() );
   EXPECT_EQ( news.size(), 1u );
   return news.at( 0 );
}

ndmsg neighbour( IfIndex ifindex, U16 state, U8 flags = 0 ) {
   ndmsg header{};
   header.ndm_family = AF_BRIDGE;
   header.ndm_ifindex = ifindex;
   header.ndm_state = state;
   header.ndm_flags = flags;
   return header;
}

tcmsg filter( U32 handle, U32 info = kInfo, U32 parent = kIngress ) {
   tcmsg header{};
   header.tcm_ifindex = kBridge;
   header.tcm_handle = handle;
   header.tcm_parent = parent;
   header.tcm_info = info;
   return header;
}

NetlinkMessage entryMessage( U16 type, const ndmsg &header, U16 vlan = 12 ) {
   return NetlinkMessage( type )
         .with( header )
         .attribute( NDA_LLADDR, { 0, 0, 0x5e, 0, 1, 51 } )
         .attribute( NDA_VLAN, &vlan, sizeof( vlan ) )
         .number( NDA_MASTER, kBridge );
}

NetlinkBytes bytesOf( BridgeRequests &requests ) {
   NetlinkBytes bytes;
   bytes.append( requests.bytes().data(), requests.bytes().size() );
   return bytes;
}

TEST( BridgeMessages, AnEntryIsAddedInPlaceOfWhatWasLearned ) {
   BridgeRequests requests;
   requests.change( kBridge, { Change::What::entryAdd, pair( 12, 51 ) }, 99 );

   const U16 vlan = 12;
   EXPECT_EQ( requests.count(), 1u );
   const NetlinkBytes expected =
         NetlinkMessage( RTM_NEWNEIGH, NLM_F_REQUEST | NLM_F_ACK | NLM_F_CREATE | NLM_F_REPLACE,
                         99 )
               .with( neighbour( kBridge, NUD_PERMANENT, NTF_SELF ) )
               .attribute( NDA_LLADDR, { 0, 0, 0x5e, 0, 1, 51 } )
               .attribute( NDA_VLAN, &vlan, sizeof( vlan ) )
               .bytes();
   const std::span<const std::byte> there = requests.bytes();
   EXPECT_TRUE(
         std::equal( there.begin(), there.end(), expected.span().begin(), expected.span().end() ) );
}

TEST( BridgeMessages, WhatIsAskedForReadsAsWhatTheKernelTellsOfIt ) {
   BridgeRequests requests;
   requests.change( kBridge, { Change::What::entryAdd, pair( 12, 51 ) }, 1 );
   requests.change( kBridge, { Change::What::entryDel, pair( 4094, 255 ) }, 2 );
   requests.change( kBridge,
                    { Change::What::ruleAdd, pair( 12, 51 ), Bridging::VlanId( 10 ), 4096 }, 3 );
   requests.change( kBridge, { Change::What::ruleDel, {}, {}, 4'294'967'295 }, 4 );
   EXPECT_EQ( requests.count(), 4u );

   const NetlinkBytes bytes = bytesOf( requests );
   EXPECT_EQ(
         read( bytes.span() ),
         ( std::vector<BridgeNews>{
               EntryNews{ kBridge, pair( 12, 51 ), FdbState::local },
               EntryNews{ kBridge, pair( 4094, 255 ), FdbState::absent },
               RuleNews{ kBridge, 4096, false, VlanRule{ pair( 12, 51 ), Bridging::VlanId( 10 ) } },
               RuleNews{ kBridge, 4'294'967'295, true, {} } } ) );
   requests.clear();
   EXPECT_EQ( requests.bytes().size(), 0u );
   EXPECT_EQ( requests.count(), 0u );
}

TEST( BridgeMessages, AnEntryIsJudgedByWhoHasMadeItAndWhereItLeads ) {
   const auto state = []( U16 type, const ndmsg &header ) {
      const BridgeNews news = readOne( entryMessage( type, header ) );
      return std::get<EntryNews>( news ).state;
   };
   EXPECT_EQ( state( RTM_NEWNEIGH, neighbour( kBridge, NUD_PERMANENT ) ), FdbState::local );
   EXPECT_EQ( state( RTM_NEWNEIGH, neighbour( kPort, NUD_REACHABLE ) ), FdbState::learned );
   EXPECT_EQ( state( RTM_NEWNEIGH, neighbour( kPort, NUD_STALE ) ), FdbState::learned );
   EXPECT_EQ( state( RTM_NEWNEIGH, neighbour( kPort, NUD_NOARP ) ), FdbState::fixed );
   EXPECT_EQ( state( RTM_NEWNEIGH, neighbour( kPort, NUD_PERMANENT ) ), FdbState::fixed );
   EXPECT_EQ( state( RTM_NEWNEIGH, neighbour( kPort, NUD_NOARP, NTF_EXT_LEARNED ) ),
              FdbState::learned );
   EXPECT_EQ( state( RTM_DELNEIGH, neighbour( kBridge, NUD_PERMANENT ) ), FdbState::absent );
}

TEST( BridgeMessages, TheKernelTellsOfAnEntryASecondTimeWithoutItsMaster ) {
   const U16 vlan = 12;
   EXPECT_EQ( readOne( NetlinkMessage( RTM_NEWNEIGH )
                             .with( neighbour( kBridge, NUD_PERMANENT, NTF_SELF ) )
                             .attribute( NDA_LLADDR, { 0, 0, 0x5e, 0, 1, 51 } )
                             .attribute( NDA_VLAN, &vlan, sizeof( vlan ) ) ),
              ( BridgeNews( EntryNews{ kBridge, pair( 12, 51 ), FdbState::local } ) ) );
}

TEST( BridgeMessages, AnAddressOfTheDeviceItselfHasNoVlan ) {
   EXPECT_EQ( readOne( NetlinkMessage( RTM_NEWNEIGH )
                             .with( neighbour( kBridge, NUD_PERMANENT, NTF_SELF ) )
                             .attribute( NDA_LLADDR, { 0, 0, 0x5e, 0, 1, 51 } ) ),
              ( BridgeNews( EntryNews{ kBridge, pair( 0, 51 ), FdbState::local } ) ) );
}

TEST( BridgeMessages, AnEntryOfNoBridgeIsNoNews ) {
   for( const U32 master : { 0u, 0x80000007u } ) {
      EXPECT_EQ( readOne( NetlinkMessage( RTM_NEWNEIGH )
                                .with( neighbour( kPort, NUD_PERMANENT ) )
                                .attribute( NDA_LLADDR, { 0, 0, 0x5e, 0, 1, 51 } )
                                .number( NDA_MASTER, master ) ),
                 BridgeNews( NoNews{} ) );
   }
   EXPECT_EQ( readOne( NetlinkMessage( RTM_NEWNEIGH )
                             .with( neighbour( kPort, NUD_PERMANENT ) )
                             .attribute( NDA_LLADDR, { 0, 0, 0x5e, 0, 1, 51 } )
                             .attribute( NDA_MASTER, { 7 } ) ), // too short for a number
              BridgeNews( NoNews{} ) );
}

TEST( BridgeMessages, NeighboursOfOtherKindsAreNoNews ) {
   ndmsg ip = neighbour( kBridge, NUD_PERMANENT );
   ip.ndm_family = AF_INET;
   EXPECT_EQ( readOne( entryMessage( RTM_NEWNEIGH, ip ) ), BridgeNews( NoNews{} ) );
   EXPECT_EQ( readOne( entryMessage( RTM_NEWNEIGH, neighbour( kBridge, NUD_PERMANENT ), 4095 ) ),
              BridgeNews( NoNews{} ) );
   EXPECT_EQ( readOne( NetlinkMessage( RTM_NEWNEIGH )
                             .with( neighbour( kBridge, NUD_PERMANENT ) )
                             .attribute( NDA_LLADDR, { 1, 2, 3, 4 } ) ),
              BridgeNews( NoNews{} ) );
}

/// A rule as the kernel shows it, with one more option, one more action, or another verdict.
class ShownRule {
 public:
   BridgeNews news( U16 type = RTM_NEWTFILTER, const tcmsg &header = filter( 3 ) ) const {
      NetlinkMessage flower( 0 );
      const U16 vlan = 12;
      const U16 dot1q = htons( ETH_P_8021Q );
      flower.attribute( TCA_FLOWER_KEY_ETH_DST, { 0, 0, 0x5e, 0, 1, 51 } )
            .attribute( TCA_FLOWER_KEY_ETH_DST_MASK, { 255, 255, 255, 255, 255, maskEnd } )
            .attribute( TCA_FLOWER_KEY_ETH_TYPE, &dot1q, sizeof( dot1q ) )
            .attribute( TCA_FLOWER_KEY_VLAN_ID, &vlan, sizeof( vlan ) )
            .number( TCA_FLOWER_FLAGS, 8 );
      if( otherOption != 0 ) {
         flower.number( otherOption, 1 );
      }
      NetlinkMessage all( 0 );
      for( int i = 1; i <= actions; ++i ) {
         NetlinkMessage options( 0 );
         tc_vlan parameters{};
         parameters.index = 17;
         parameters.action = verdict;
         parameters.v_action = doing;
         const U16 primary = 10;
         options.attribute( TCA_VLAN_PARMS, &parameters, sizeof( parameters ) )
               .attribute( TCA_VLAN_PUSH_VLAN_ID, &primary, sizeof( primary ) );
         NetlinkMessage action( 0 );
         action.attribute( TCA_ACT_KIND, kind ).nested( TCA_ACT_OPTIONS, inner( options ) );
         all.nested( static_cast<U16>( i ), inner( action ) );
      }
      flower.nested( TCA_FLOWER_ACT, inner( all ) );
      return readOne( NetlinkMessage( type )
                            .with( header )
                            .attribute( TCA_KIND, "flower" )
                            .nested( TCA_OPTIONS, inner( flower ) ) );
   }
   FoundRule rule() const { return std::get<RuleNews>( news() ).rule; }

   int maskEnd = 255;
   U16 otherOption = 0;
   int actions = 1;
   int verdict = TC_ACT_UNSPEC;
   int doing = TCA_VLAN_ACT_MODIFY;
   std::string kind = "vlan";

 private:
   static NetlinkBytes inner( const NetlinkMessage &message ) {
      const NetlinkBytes whole = message.bytes();
      NetlinkBytes bytes;
      bytes.append( whole.span().data() + sizeof( nlmsghdr ), whole.size() - sizeof( nlmsghdr ) );
      return bytes;
   }
};

TEST( BridgeMessages, ARuleIsOursWhenItDoesJustWhatOursDo ) {
   EXPECT_EQ( ShownRule().rule(), ( VlanRule{ pair( 12, 51 ), Bridging::VlanId( 10 ) } ) );
   EXPECT_EQ( ShownRule{ .maskEnd = 0 }.rule(), std::nullopt );
   EXPECT_EQ( ShownRule{ .otherOption = TCA_FLOWER_KEY_VLAN_PRIO }.rule(), std::nullopt );
   EXPECT_EQ( ShownRule{ .actions = 0 }.rule(), std::nullopt );
   EXPECT_EQ( ShownRule{ .actions = 2 }.rule(), std::nullopt );
   EXPECT_EQ( ShownRule{ .verdict = TC_ACT_SHOT }.rule(), std::nullopt );
   EXPECT_EQ( ShownRule{ .doing = TCA_VLAN_ACT_POP }.rule(), std::nullopt );
   EXPECT_EQ( ShownRule{ .kind = "gact" }.rule(), std::nullopt );
}

TEST( BridgeMessages, OnlyFiltersOfOurPreferenceAtTheIngressAreRules ) {
   const ShownRule shown;
   EXPECT_EQ( shown.news( RTM_NEWTFILTER, filter( 3, 0x56530081 ) ), BridgeNews( NoNews{} ) );
   EXPECT_EQ( shown.news( RTM_NEWTFILTER, filter( 3, kInfo, 0xfffffff3 ) ),
              BridgeNews( NoNews{} ) );
   EXPECT_EQ( shown.news( RTM_NEWTFILTER, filter( 0 ) ), BridgeNews( NoNews{} ) );
   EXPECT_EQ( shown.news( RTM_DELTFILTER, filter( 0 ) ),
              ( BridgeNews( RuleNews{ kBridge, 0, true, {} } ) ) );
   EXPECT_EQ( shown.news( RTM_DELTFILTER, filter( 3 ) ),
              ( BridgeNews( RuleNews{ kBridge, 3, true, {} } ) ) );
}

TEST( BridgeMessages, ThePlaceOfTheRulesMayGo ) {
   tcmsg header{};
   header.tcm_ifindex = kBridge;
   header.tcm_handle = 0xffff0000;
   header.tcm_parent = TC_H_CLSACT;
   EXPECT_EQ( readOne( NetlinkMessage( RTM_DELQDISC ).with( header ) ),
              BridgeNews( RulePlaceGone{ kBridge } ) );
   EXPECT_EQ( readOne( NetlinkMessage( RTM_NEWQDISC ).with( header ) ), BridgeNews( NoNews{} ) );
   header.tcm_parent = TC_H_ROOT;
   EXPECT_EQ( readOne( NetlinkMessage( RTM_DELQDISC ).with( header ) ), BridgeNews( NoNews{} ) );
}

NetlinkMessage linkMessage( const std::string &kind, U8 filtering ) {
   NetlinkMessage data( 0 );
   data.attribute( IFLA_BR_VLAN_FILTERING, &filtering, sizeof( filtering ) );
   const NetlinkBytes whole = data.bytes();
   NetlinkBytes inside;
   inside.append( whole.span().data() + sizeof( nlmsghdr ), whole.size() - sizeof( nlmsghdr ) );
   NetlinkBytes info = attributeBytes( IFLA_INFO_KIND, kind );
   const nlattr header{ static_cast<U16>( sizeof( nlattr ) + inside.size() ), IFLA_INFO_DATA };
   info.append( &header, sizeof( header ) );
   info += inside;
   return NetlinkMessage( RTM_NEWLINK )
         .with( linkHeader( kBridge ) )
         .attribute( IFLA_IFNAME, "br0" )
         .nested( IFLA_LINKINFO, info );
}

TEST( BridgeMessages, ABridgeSaysWhetherItFiltersVlans ) {
   EXPECT_EQ( readOne( linkMessage( "bridge", 1 ) ),
              ( BridgeNews( DeviceNews{ { kBridge, true, true }, "br0" } ) ) );
   EXPECT_EQ( readOne( linkMessage( "bridge", 0 ) ),
              ( BridgeNews( DeviceNews{ { kBridge, true, false }, "br0" } ) ) );
   EXPECT_EQ( readOne( linkMessage( "bond", 1 ) ),
              ( BridgeNews( DeviceNews{ { kBridge, false, false }, "br0" } ) ) );
   EXPECT_EQ( readOne( NetlinkMessage( RTM_DELLINK ).with( linkHeader( kBridge ) ) ),
              BridgeNews( DeviceGone{ kBridge } ) );
}

TEST( BridgeMessages, ABridgeWhoseVlansChangeIsNews ) {
   // Its own view, also when a port leaves it.
   EXPECT_EQ( readOne( NetlinkMessage( RTM_DELLINK ).with( linkHeader( kPort, 0, AF_BRIDGE ) ) ),
              ( BridgeNews( DeviceNews{ { kPort, false, false }, "" } ) ) );
   br_vlan_msg vlans{};
   vlans.family = AF_BRIDGE;
   vlans.ifindex = kBridge;
   EXPECT_EQ( readOne( NetlinkMessage( RTM_NEWVLAN ).with( vlans ) ),
              ( BridgeNews( DeviceNews{ { kBridge, false, false }, "" } ) ) );
}

TEST( BridgeMessages, AnAnswerHasAnErrorAndPerhapsWords ) {
   nlmsgerr answer{};
   answer.error = -EINVAL;
   EXPECT_EQ( readOne( NetlinkMessage( NLMSG_ERROR, NLM_F_CAPPED | NLM_F_ACK_TLVS )
                             .with( answer )
                             .attribute( NLMSGERR_ATTR_MSG, "no such thing" ) ),
              ( BridgeNews( RequestAnswer{ EINVAL, "no such thing" } ) ) );
   answer.error = 0;
   EXPECT_EQ( readOne( NetlinkMessage( NLMSG_ERROR ).with( answer ) ),
              ( BridgeNews( RequestAnswer{ 0, "" } ) ) );
   EXPECT_EQ( readOne( NetlinkMessage( NLMSG_DONE ).with( -EBUSY ) ),
              BridgeNews( DumpEnd{ EBUSY } ) );
   EXPECT_EQ( readOne( NetlinkMessage( NLMSG_OVERRUN ) ), BridgeNews( NewsLost{} ) );
}

TEST( BridgeMessages, WhateverTheBytesAreReadingEnds ) {
   BridgeRequests requests;
   requests.change( kBridge, { Change::What::entryAdd, pair( 12, 51 ) }, 1 );
   requests.change( kBridge, { Change::What::ruleAdd, pair( 12, 51 ), Bridging::VlanId( 10 ), 3 },
                    2 );
   NetlinkBytes good = bytesOf( requests );
   good += linkMessage( "bridge", 1 ).bytes();
   std::size_t messages = 0;
   for( U32 seed = 0; seed < 20'000; ++seed ) {
      Quor::Dice dice( seed );
      NetlinkBytes bytes = good;
      for( int i = 0; i < 3; ++i ) {
         bytes[dice.roll( static_cast<U32>( bytes.size() ) )] =
               static_cast<std::byte>( dice.roll( 256 ) );
      }
      messages +=
            read( bytes.span().first( dice.roll( static_cast<U32>( bytes.size() ) ) + 1 ) ).size();
   }
   EXPECT_GT( messages, 20'000u );
}

} // namespace
} // namespace OrloAgent
