#include "agent/hardware/bridge/BridgeMessages.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <linux/if.h>
#include <linux/if_bridge.h>
#include <linux/if_ether.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/pkt_cls.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>
#include <linux/tc_act/tc_vlan.h>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>

namespace OrloAgent {

namespace {

using Bridging::VlanId;
using Octets = Pelmo::EthAddr::Octets;
using Quor::U16;
using Quor::U32;
using What = BridgeKernel::Change::What;

constexpr U16 kChange = NLM_F_REQUEST | NLM_F_ACK;
constexpr U16 kDump = NLM_F_REQUEST | NLM_F_DUMP;
constexpr U32 kIngress = TC_H_MAKE( TC_H_CLSACT, TC_H_MIN_INGRESS );
constexpr char kFlower[] = "flower";
constexpr char kVlanAction[] = "vlan";
constexpr U32 kSkipStatistics = RTEXT_FILTER_SKIP_STATS;

/// Of a message of type RTM_...TFILTER.
U32 filterInfo() {
   return TC_H_MAKE( U32{ BridgeRequests::kRulePreference } << 16, htons( ETH_P_8021Q ) );
}

tcmsg filterHeader( IfIndex bridge, U32 number ) {
   tcmsg header{};
   header.tcm_family = AF_UNSPEC;
   header.tcm_ifindex = bridge;
   header.tcm_handle = number;
   header.tcm_parent = kIngress;
   header.tcm_info = filterInfo();
   return header;
}

ndmsg entryHeader( IfIndex bridge, Quor::U16 state ) {
   ndmsg header{};
   header.ndm_family = AF_BRIDGE;
   header.ndm_ifindex = bridge;
   header.ndm_flags = NTF_SELF;
   header.ndm_state = state;
   return header;
}

bool isOur( const tcmsg &header ) {
   return header.tcm_parent == kIngress && header.tcm_info == filterInfo();
}

std::optional<Octets> octets( NetlinkSpan value ) {
   return value.size() == sizeof( Octets ) ? leading<Octets>( value ) : std::nullopt;
}

} // namespace

/// One request. None of ours needs more than 300 bytes.
struct BridgeRequests::Message {
   template <class T>
   Message( U16 type, U16 flags, U32 sequence, const T &family ) {
      header = mnl_nlmsg_put_header( bytes.data() );
      header->nlmsg_type = type;
      header->nlmsg_flags = flags;
      header->nlmsg_seq = sequence;
      std::memcpy( mnl_nlmsg_put_extra_header( header, sizeof( family ) ), &family,
                   sizeof( family ) );
   }
   Message( const Message & ) = delete;
   Message &operator=( const Message & ) = delete;

   template <class T>
   Message &value( U16 type, const T &what ) {
      mnl_attr_put( header, type, sizeof( what ), &what );
      return *this;
   }
   Message &text( U16 type, const char *what ) {
      mnl_attr_put_strz( header, type, what );
      return *this;
   }
   /// Attributes in an attribute.
   template <class F>
   Message &nest( U16 type, F fill ) {
      nlattr *const outer = mnl_attr_nest_start( header, type );
      fill();
      mnl_attr_nest_end( header, outer );
      return *this;
   }
   Message &pair( const Pair &what ) {
      value( NDA_LLADDR, what.mac().octets() );
      return value( NDA_VLAN, what.vlanId().number() );
   }

   alignas( nlmsghdr ) std::array<char, 512> bytes{};
   nlmsghdr *header;
};

void BridgeRequests::append( const Message &message ) {
   const auto *const first = reinterpret_cast<const std::byte *>( message.bytes.data() );
   bytes_.insert( bytes_.end(), first, first + MNL_ALIGN( message.header->nlmsg_len ) );
   ++count_;
}

void BridgeRequests::clear() {
   bytes_.clear();
   count_ = 0;
}

void BridgeRequests::getDevice( const std::string &name, U32 sequence ) {
   Message message( RTM_GETLINK, NLM_F_REQUEST, sequence, ifinfomsg{} );
   message.text( IFLA_IFNAME, name.substr( 0, IFNAMSIZ - 1 ).c_str() );
   message.value( IFLA_EXT_MASK, kSkipStatistics );
   append( message );
}

void BridgeRequests::dumpEntries( IfIndex bridge, U32 sequence ) {
   ndmsg header{}; // a strict kernel wants nothing else in it
   header.ndm_family = AF_BRIDGE;
   header.ndm_ifindex = bridge;
   append( Message( RTM_GETNEIGH, kDump, sequence, header ) );
}

void BridgeRequests::getEntry( IfIndex bridge, const Pair &pair, U32 sequence ) {
   Message message( RTM_GETNEIGH, NLM_F_REQUEST, sequence, entryHeader( bridge, 0 ) );
   append( message.pair( pair ) );
}

void BridgeRequests::dumpRules( IfIndex bridge, U32 sequence ) {
   append( Message( RTM_GETTFILTER, kDump, sequence, filterHeader( bridge, 0 ) ) );
}

void BridgeRequests::getRule( IfIndex bridge, U32 number, U32 sequence ) {
   Message message( RTM_GETTFILTER, NLM_F_REQUEST, sequence, filterHeader( bridge, number ) );
   append( message.text( TCA_KIND, kFlower ) );
}

void BridgeRequests::makeRulePlace( IfIndex bridge, U32 sequence ) {
   tcmsg header{};
   header.tcm_family = AF_UNSPEC;
   header.tcm_ifindex = bridge;
   header.tcm_handle = TC_H_MAKE( TC_H_CLSACT, 0 );
   header.tcm_parent = TC_H_CLSACT;
   Message message( RTM_NEWQDISC, kChange | NLM_F_CREATE | NLM_F_EXCL, sequence, header );
   append( message.text( TCA_KIND, "clsact" ) );
}

void BridgeRequests::change( IfIndex bridge, const BridgeKernel::Change &change, U32 sequence ) {
   constexpr U16 kPut = kChange | NLM_F_CREATE | NLM_F_REPLACE;
   switch( change.what ) {
   case What::entryAdd: {
      Message message( RTM_NEWNEIGH, kPut, sequence, entryHeader( bridge, NUD_PERMANENT ) );
      append( message.pair( change.pair ) );
      break;
   }
   case What::entryDel: {
      Message message( RTM_DELNEIGH, kChange, sequence, entryHeader( bridge, NUD_PERMANENT ) );
      append( message.pair( change.pair ) );
      break;
   }
   case What::ruleAdd: {
      // The priority bits of the tag stay as they are, and whatever other rules there are behind
      // ours see the frame as well.
      Message message( RTM_NEWTFILTER, kPut, sequence, filterHeader( bridge, change.number ) );
      message.text( TCA_KIND, kFlower ).nest( TCA_OPTIONS, [&] {
         Octets wholeMac;
         wholeMac.fill( 0xff );
         message.value( TCA_FLOWER_KEY_ETH_TYPE, htons( ETH_P_8021Q ) );
         message.value( TCA_FLOWER_KEY_VLAN_ID, change.pair.vlanId().number() );
         message.value( TCA_FLOWER_KEY_ETH_DST, change.pair.mac().octets() );
         message.value( TCA_FLOWER_KEY_ETH_DST_MASK, wholeMac );
         message.nest( TCA_FLOWER_ACT, [&] {
            message.nest( 1, [&] {
               message.text( TCA_ACT_KIND, kVlanAction ).nest( TCA_ACT_OPTIONS, [&] {
                  tc_vlan parameters{};
                  parameters.action = TC_ACT_UNSPEC;
                  parameters.v_action = TCA_VLAN_ACT_MODIFY;
                  message.value( TCA_VLAN_PARMS, parameters );
                  message.value( TCA_VLAN_PUSH_VLAN_ID, change.primary.number() );
                  message.value( TCA_VLAN_PUSH_VLAN_PROTOCOL, htons( ETH_P_8021Q ) );
               } );
            } );
         } );
      } );
      append( message );
      break;
   }
   case What::ruleDel: {
      Message message( RTM_DELTFILTER, kChange, sequence, filterHeader( bridge, change.number ) );
      append( message.text( TCA_KIND, kFlower ) );
      break;
   }
   }
}

namespace {

BridgeNews readLink( U16 type, NetlinkSpan body ) {
   const auto header = leading<ifinfomsg>( body );
   if( !header || header->ifi_index <= 0 ) {
      return NoNews{};
   }
   DeviceNews news;
   news.device.ifindex = header->ifi_index;
   if( header->ifi_family == AF_BRIDGE ) { // of a bridge or a port of one, which has not gone
      return news;
   }
   if( header->ifi_family != AF_UNSPEC ) {
      return NoNews{};
   }
   if( type == RTM_DELLINK ) {
      return DeviceGone{ header->ifi_index };
   }
   for( const nlattr *attribute : NetlinkAttributes( behind<ifinfomsg>( body ) ) ) {
      if( mnl_attr_get_type( attribute ) == IFLA_IFNAME ) {
         news.name = text( payload( attribute ) );
      }
      if( mnl_attr_get_type( attribute ) != IFLA_LINKINFO ) {
         continue;
      }
      for( const nlattr *info : NetlinkAttributes( payload( attribute ) ) ) {
         if( mnl_attr_get_type( info ) == IFLA_INFO_KIND ) {
            news.device.isBridge = text( payload( info ) ) == "bridge";
         } else if( mnl_attr_get_type( info ) == IFLA_INFO_DATA && news.device.isBridge ) {
            for( const nlattr *data : NetlinkAttributes( payload( info ) ) ) {
               if( mnl_attr_get_type( data ) == IFLA_BR_VLAN_FILTERING ) {
                  news.device.filtersVlans =
                        leading<Quor::U8>( payload( data ) ).value_or( 0 ) != 0;
               }
            }
         }
      }
   }
   return news.name.empty() ? BridgeNews( NoNews{} ) : BridgeNews( news );
}

FdbState stateOf( U16 type, const ndmsg &header, bool isBridgeItself ) {
   if( type == RTM_DELNEIGH ) {
      return FdbState::absent;
   }
   if( isBridgeItself && ( header.ndm_state & NUD_PERMANENT ) != 0 ) {
      return FdbState::local;
   }
   const bool isPinned = ( header.ndm_state & ( NUD_PERMANENT | NUD_NOARP ) ) != 0;
   return isPinned && ( header.ndm_flags & NTF_EXT_LEARNED ) == 0 ? FdbState::fixed
                                                                  : FdbState::learned;
}

BridgeNews readEntry( U16 type, NetlinkSpan body ) {
   const auto header = leading<ndmsg>( body );
   if( !header || header->ndm_family != AF_BRIDGE || header->ndm_ifindex <= 0 ) {
      return NoNews{};
   }
   std::optional<Octets> mac;
   U16 vlan = 0;
   IfIndex master = header->ndm_ifindex;
   for( const nlattr *attribute : NetlinkAttributes( behind<ndmsg>( body ) ) ) {
      const NetlinkSpan value = payload( attribute );
      switch( mnl_attr_get_type( attribute ) ) {
      case NDA_LLADDR:
         mac = octets( value );
         break;
      case NDA_VLAN:
         vlan = leading<U16>( value ).value_or( 0 );
         break;
      case NDA_MASTER:
         master = leading<IfIndex>( value ).value_or( 0 );
         break;
      default:
         break;
      }
   }
   if( !mac || vlan > kLastVlan || master <= 0 ) {
      return NoNews{};
   }
   const bool isBridgeItself = master == header->ndm_ifindex;
   return EntryNews{ master,
                     { VlanId( vlan ), Pelmo::EthAddr( *mac ) },
                     stateOf( type, *header, isBridgeItself ) };
}

/// The VLAN that the filter's only action gives to a frame; nothing when it does anything else.
std::optional<VlanId> readAction( NetlinkSpan actions ) {
   std::optional<VlanId> vlan;
   int count = 0;
   for( const nlattr *action : NetlinkAttributes( actions ) ) {
      bool isVlan = false;
      bool isOurs = false;
      ++count;
      vlan.reset();
      for( const nlattr *part : NetlinkAttributes( payload( action ) ) ) {
         if( mnl_attr_get_type( part ) == TCA_ACT_KIND ) {
            isVlan = text( payload( part ) ) == kVlanAction;
         }
         if( mnl_attr_get_type( part ) != TCA_ACT_OPTIONS || !isVlan ) {
            continue;
         }
         for( const nlattr *option : NetlinkAttributes( payload( part ) ) ) {
            const NetlinkSpan value = payload( option );
            switch( mnl_attr_get_type( option ) ) {
            case TCA_VLAN_PARMS:
               if( const auto parameters = leading<tc_vlan>( value ) ) {
                  isOurs = parameters->v_action == TCA_VLAN_ACT_MODIFY &&
                           parameters->action == TC_ACT_UNSPEC;
               }
               break;
            case TCA_VLAN_PUSH_VLAN_ID:
               if( const auto number = leading<U16>( value ) ) {
                  vlan = VlanId( *number );
               }
               break;
            case TCA_VLAN_PUSH_VLAN_PRIORITY:
               return std::nullopt;
            default:
               break;
            }
         }
      }
      if( !isOurs ) {
         return std::nullopt;
      }
   }
   return count == 1 ? vlan : std::nullopt;
}

FoundRule readRule( NetlinkSpan options ) {
   std::optional<VlanId> vlan, primary;
   std::optional<Octets> mac, mask;
   for( const nlattr *option : NetlinkAttributes( options ) ) {
      const NetlinkSpan value = payload( option );
      switch( mnl_attr_get_type( option ) ) {
      case TCA_FLOWER_KEY_VLAN_ID:
         if( const auto number = leading<U16>( value ) ) {
            vlan = VlanId( *number );
         }
         break;
      case TCA_FLOWER_KEY_ETH_DST:
         mac = octets( value );
         break;
      case TCA_FLOWER_KEY_ETH_DST_MASK:
         mask = octets( value );
         break;
      case TCA_FLOWER_ACT:
         primary = readAction( value );
         break;
      case TCA_FLOWER_KEY_ETH_TYPE: // belong to every rule
      case TCA_FLOWER_FLAGS:
      case TCA_FLOWER_IN_HW_COUNT:
         break;
      default:
         return std::nullopt; // it looks for something else as well
      }
   }
   Octets wholeMac;
   wholeMac.fill( 0xff );
   if( !vlan || !primary || !mac || mask != wholeMac ) {
      return std::nullopt;
   }
   return VlanRule{ { *vlan, Pelmo::EthAddr( *mac ) }, *primary };
}

BridgeNews readFilter( U16 type, NetlinkSpan body ) {
   const auto header = leading<tcmsg>( body );
   if( !header || header->tcm_ifindex <= 0 || !isOur( *header ) ) {
      return NoNews{};
   }
   RuleNews news{ header->tcm_ifindex, header->tcm_handle, type == RTM_DELTFILTER, {} };
   if( news.number == 0 && !news.isGone ) {
      return NoNews{}; // the head of the list
   }
   bool isFlower = false;
   for( const nlattr *attribute : NetlinkAttributes( behind<tcmsg>( body ) ) ) {
      if( mnl_attr_get_type( attribute ) == TCA_KIND ) {
         isFlower = text( payload( attribute ) ) == kFlower;
      } else if( mnl_attr_get_type( attribute ) == TCA_OPTIONS && isFlower && !news.isGone ) {
         news.rule = readRule( payload( attribute ) );
      }
   }
   return news;
}

BridgeNews readQdisc( U16 type, NetlinkSpan body ) {
   const auto header = leading<tcmsg>( body );
   if( !header || header->tcm_ifindex <= 0 || type != RTM_DELQDISC ||
       header->tcm_parent != TC_H_CLSACT ) {
      return NoNews{};
   }
   return RulePlaceGone{ header->tcm_ifindex };
}

/// The bridge's VLANs, where the kernel tells of each of them.
BridgeNews readVlans( NetlinkSpan body ) {
   const auto header = leading<br_vlan_msg>( body );
   if( !header || header->ifindex == 0 || header->ifindex > INT32_MAX ) {
      return NoNews{};
   }
   DeviceNews news;
   news.device.ifindex = static_cast<IfIndex>( header->ifindex );
   return news;
}

BridgeNews readAnswer( const nlmsghdr &header, NetlinkSpan body ) {
   const auto answer = leading<nlmsgerr>( body );
   if( !answer ) {
      return NoNews{};
   }
   RequestAnswer news{ errnoOf( answer->error ), {} };
   if( ( header.nlmsg_flags & NLM_F_ACK_TLVS ) != 0 &&
       ( header.nlmsg_flags & NLM_F_CAPPED ) != 0 ) {
      for( const nlattr *attribute : NetlinkAttributes( behind<nlmsgerr>( body ) ) ) {
         if( mnl_attr_get_type( attribute ) == NLMSGERR_ATTR_MSG ) {
            news.said = text( payload( attribute ) );
         }
      }
   }
   return news;
}

} // namespace

BridgeNews readBridgeMessage( const NetlinkMessages::Message &message ) {
   if( message.isTruncated ) {
      return NoNews{};
   }
   const U16 type = message.header.nlmsg_type;
   switch( type ) {
   case RTM_NEWLINK:
   case RTM_DELLINK:
      return readLink( type, message.body );
   case RTM_NEWNEIGH:
   case RTM_DELNEIGH:
      return readEntry( type, message.body );
   case RTM_NEWTFILTER:
   case RTM_DELTFILTER:
      return readFilter( type, message.body );
   case RTM_NEWQDISC:
   case RTM_DELQDISC:
      return readQdisc( type, message.body );
   case RTM_NEWVLAN:
   case RTM_DELVLAN:
      return readVlans( message.body );
   case NLMSG_ERROR:
      return readAnswer( message.header, message.body );
   case NLMSG_DONE:
      return DumpEnd{ errnoOf( leading<int>( message.body ).value_or( 0 ) ) };
   case NLMSG_OVERRUN:
      return NewsLost{};
   default:
      return NoNews{};
   }
}

} // namespace OrloAgent
