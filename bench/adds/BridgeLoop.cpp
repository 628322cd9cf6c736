#include "bench/adds/BridgeLoop.h"

#include "agent/netlink/NetlinkMessages.h"

#include <linux/if_ether.h>
#include <linux/neighbour.h>
#include <linux/pkt_cls.h>
#include <linux/pkt_sched.h>
#include <linux/tc_act/tc_vlan.h>
#include <netinet/in.h>
#include <system_error>

namespace OrloBench {

namespace {

using namespace OrloAgent;
using Quor::U16;
using Quor::U32;

constexpr std::size_t kLongest = 512;
constexpr U16 kPreference = 10;
constexpr U16 kPut = NLM_F_CREATE | NLM_F_REPLACE;

} // namespace

BridgeLoop::BridgeLoop( const Job &job, std::size_t batch, Answers answers )
      : job_( job ), batch_( batch ), answers_( answers ), bytes_( batch * kLongest ) {
   socket_.flagIs( NETLINK_CAP_ACK, true );
   socket_.readAheadIs( answers == Answers::each ? batch : 1 );
}

template <class Header>
nlmsghdr *BridgeLoop::begin( U16 type, U16 flags, const Header &family ) {
   nlmsghdr *const message = mnl_nlmsg_put_header( bytes_.data() + size_ );
   message->nlmsg_type = type;
   message->nlmsg_flags = flags | NLM_F_REQUEST;
   if( answers_ == Answers::each ) {
      message->nlmsg_flags |= NLM_F_ACK;
   }
   std::memcpy( mnl_nlmsg_put_extra_header( message, sizeof( family ) ), &family,
                sizeof( family ) );
   return message;
}

void BridgeLoop::end( const nlmsghdr *message ) {
   last_ = size_;
   size_ += MNL_ALIGN( message->nlmsg_len );
   if( ++count_ == batch_ ) {
      flush();
   }
}

void BridgeLoop::entry( bool isAdd, std::size_t index ) {
   ndmsg family{};
   family.ndm_family = AF_BRIDGE;
   family.ndm_ifindex = tables_.ifindex();
   family.ndm_flags = NTF_SELF;
   family.ndm_state = NUD_PERMANENT;
   nlmsghdr *const message =
         isAdd ? begin( RTM_NEWNEIGH, kPut, family ) : begin( RTM_DELNEIGH, 0, family );
   const Pair &pair = job_.pairs[index];
   const Pelmo::EthAddr::Octets octets = pair.mac().octets();
   mnl_attr_put( message, NDA_LLADDR, octets.size(), octets.data() );
   mnl_attr_put_u16( message, NDA_VLAN, pair.vlanId().number() );
   end( message );
}

void BridgeLoop::rule( bool isAdd, std::size_t index ) {
   tcmsg family{};
   family.tcm_ifindex = tables_.ifindex();
   family.tcm_handle = static_cast<U32>( index + 1 );
   family.tcm_parent = TC_H_MAKE( TC_H_CLSACT, TC_H_MIN_INGRESS );
   family.tcm_info = TC_H_MAKE( U32{ kPreference } << 16, htons( ETH_P_8021Q ) );
   nlmsghdr *const message =
         isAdd ? begin( RTM_NEWTFILTER, kPut, family ) : begin( RTM_DELTFILTER, 0, family );
   mnl_attr_put_strz( message, TCA_KIND, "flower" );
   if( isAdd ) {
      const Pair &pair = job_.pairs[index];
      const Pelmo::EthAddr::Octets octets = pair.mac().octets();
      Pelmo::EthAddr::Octets mask;
      mask.fill( 0xff );
      nlattr *const options = mnl_attr_nest_start( message, TCA_OPTIONS );
      mnl_attr_put_u16( message, TCA_FLOWER_KEY_ETH_TYPE, htons( ETH_P_8021Q ) );
      mnl_attr_put_u16( message, TCA_FLOWER_KEY_VLAN_ID, pair.vlanId().number() );
      mnl_attr_put( message, TCA_FLOWER_KEY_ETH_DST, octets.size(), octets.data() );
      mnl_attr_put( message, TCA_FLOWER_KEY_ETH_DST_MASK, mask.size(), mask.data() );
      nlattr *const actions = mnl_attr_nest_start( message, TCA_FLOWER_ACT );
      nlattr *const action = mnl_attr_nest_start( message, 1 );
      mnl_attr_put_strz( message, TCA_ACT_KIND, "vlan" );
      nlattr *const inside = mnl_attr_nest_start( message, TCA_ACT_OPTIONS );
      tc_vlan parameters{};
      parameters.action = TC_ACT_UNSPEC;
      parameters.v_action = TCA_VLAN_ACT_MODIFY;
      mnl_attr_put( message, TCA_VLAN_PARMS, sizeof( parameters ), &parameters );
      mnl_attr_put_u16( message, TCA_VLAN_PUSH_VLAN_ID,
                        static_cast<U16>( pair.vlanId().number() - 1 ) );
      mnl_attr_put_u16( message, TCA_VLAN_PUSH_VLAN_PROTOCOL, htons( ETH_P_8021Q ) );
      mnl_attr_nest_end( message, inside );
      mnl_attr_nest_end( message, action );
      mnl_attr_nest_end( message, actions );
      mnl_attr_nest_end( message, options );
   }
   end( message );
}

void BridgeLoop::flush() {
   if( count_ == 0 ) {
      return;
   }
   reinterpret_cast<nlmsghdr *>( bytes_.data() + last_ )->nlmsg_flags |= NLM_F_ACK;
   int error = socket_.send( std::span( bytes_ ).first( size_ ) );
   // The kernel has worked on everything when it has taken it: all answers are there.
   for( std::size_t missing = answers_ == Answers::each ? count_ : 1; missing != 0 && error == 0;
        --missing ) {
      if( socket_.receive() != NetlinkSocket::Received::datagram ) {
         error = ENOMSG;
         break;
      }
      NetlinkMessages messages( socket_.datagram() );
      const auto message = messages.next();
      const auto answer = message ? leading<nlmsgerr>( message->body ) : std::nullopt;
      error = answer ? -answer->error : EPROTO;
   }
   if( error != 0 ) {
      throw std::system_error( error, std::generic_category(), "the kernel's answer" );
   }
   size_ = 0;
   count_ = 0;
}

void BridgeLoop::add() {
   for( std::size_t i = 0; i < job_.pairs.size(); ++i ) {
      if( job_.isSecondary( job_.pairs[i] ) ) {
         rule( true, i );
      }
      entry( true, i );
   }
   flush();
}

void BridgeLoop::remove() {
   for( std::size_t i = 0; i < job_.pairs.size(); ++i ) {
      entry( false, i );
      if( job_.isSecondary( job_.pairs[i] ) ) {
         rule( false, i );
      }
   }
   flush();
}

} // namespace OrloBench
