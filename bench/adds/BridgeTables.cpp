#include "bench/adds/BridgeTables.h"

#include "agent/netlink/NetlinkMessages.h"
#include "agent/netlink/NetlinkSocket.h"

#include <array>
#include <functional>
#include <linux/neighbour.h>
#include <linux/pkt_sched.h>
#include <net/if.h>
#include <stdexcept>

namespace OrloBench {

namespace {

using namespace OrloAgent;
using Quor::U16;
using Quor::U64;

constexpr U64 kVirtualRouters = 0x00005e0001; // the first octets of VRRP's MACs, RFC 9568
constexpr int kReceiveTries = 1000;

template <class Header>
void dump( U16 type, const Header &family,
           const std::function<void( const NetlinkMessages::Message & )> &row ) {
   alignas( nlmsghdr ) std::array<char, 64> request{};
   nlmsghdr *const header = mnl_nlmsg_put_header( request.data() );
   header->nlmsg_type = type;
   header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
   std::memcpy( mnl_nlmsg_put_extra_header( header, sizeof( family ) ), &family, sizeof( family ) );
   NetlinkSocket socket;
   socket.flagIs( NETLINK_GET_STRICT_CHK, true );
   socket.send( std::as_bytes( std::span( request ).first( header->nlmsg_len ) ) );
   for( int tries = 0; tries < kReceiveTries; ) {
      if( socket.receive() != NetlinkSocket::Received::datagram ) {
         ++tries;
         continue;
      }
      NetlinkMessages messages( socket.datagram() );
      while( const auto message = messages.next() ) {
         if( message->header.nlmsg_type == NLMSG_DONE ) {
            return;
         }
         if( message->header.nlmsg_type == NLMSG_ERROR ) {
            throw std::runtime_error( "the kernel does not tell what the bridge holds" );
         }
         row( *message );
      }
   }
   throw std::runtime_error( "the kernel does not tell all that the bridge holds" );
}

} // namespace

BridgeTables::BridgeTables() : ifindex_( static_cast<int>( if_nametoindex( kBridge ) ) ) {
   if( ifindex_ == 0 ) {
      throw std::runtime_error( std::string( "there is no bridge " ) + kBridge );
   }
}

std::vector<Pair> BridgeTables::pairs() const {
   std::vector<Pair> pairs;
   ndmsg family{};
   family.ndm_family = AF_BRIDGE;
   family.ndm_ifindex = ifindex_;
   dump( RTM_GETNEIGH, family, [&]( const NetlinkMessages::Message &message ) {
      const auto header = leading<ndmsg>( message.body );
      std::optional<Pelmo::EthAddr::Octets> octets;
      U16 vlan = 0;
      for( const nlattr *attribute : NetlinkAttributes( behind<ndmsg>( message.body ) ) ) {
         if( mnl_attr_get_type( attribute ) == NDA_LLADDR ) {
            octets = leading<Pelmo::EthAddr::Octets>( payload( attribute ) );
         } else if( mnl_attr_get_type( attribute ) == NDA_VLAN ) {
            vlan = leading<U16>( payload( attribute ) ).value_or( 0 );
         }
      }
      const Pelmo::EthAddr mac( octets.value_or( Pelmo::EthAddr::Octets{} ) );
      const bool isStatic = header && ( header->ndm_state & NUD_PERMANENT ) != 0;
      if( isStatic && header->ndm_ifindex == ifindex_ && vlan != 0 &&
          mac.number() >> 8 == kVirtualRouters ) {
         pairs.emplace_back( Bridging::VlanId( vlan ), mac );
      }
   } );
   return pairs;
}

std::size_t BridgeTables::rules() const {
   std::size_t rules = 0;
   tcmsg family{};
   family.tcm_ifindex = ifindex_;
   family.tcm_parent = TC_H_MAKE( TC_H_CLSACT, TC_H_MIN_INGRESS );
   dump( RTM_GETTFILTER, family, [&]( const NetlinkMessages::Message &message ) {
      const auto header = leading<tcmsg>( message.body );
      rules += header && header->tcm_handle != 0 ? 1 : 0; // otherwise the head of the list
   } );
   return rules;
}

} // namespace OrloBench
