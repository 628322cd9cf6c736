/* Runs for every frame that comes in at a switch port (tc-bpf(8), clsact, direct action): a frame to
   a programmed virtual router MAC goes up into the SVI of its VLAN's primary, every other frame goes
   on as if this program were not there. */
#include "agent/hardware/ebpf/program/RouterMacTables.h"

#include <linux/bpf.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>

#include <bpf/bpf_endian.h>
#include <bpf/bpf_helpers.h>

#define VID_MASK 0x0fff /* of the tag control information, IEEE 802.1Q */

/* The agent sets the number of entries of these two to its number of indexes. */
struct {
   __uint( type, BPF_MAP_TYPE_HASH );
   __uint( max_entries, 1 );
   __type( key, struct RouterMacKey );
   __type( value, struct RouterMacValue );
} router_macs SEC( ".maps" );

struct {
   __uint( type, BPF_MAP_TYPE_PERCPU_ARRAY );
   __uint( max_entries, 1 );
   __type( key, __u32 );
   __type( value, struct FrameCount );
} frame_counts SEC( ".maps" );

struct {
   __uint( type, BPF_MAP_TYPE_HASH );
   __uint( map_flags, BPF_F_NO_PREALLOC );
   __uint( max_entries, kMostPorts );
   __type( key, __u32 );
   __type( value, struct PortValue );
} ports SEC( ".maps" );

static __always_inline int isTag( __u32 protocol ) {
   return protocol == bpf_htons( ETH_P_8021Q ) || protocol == bpf_htons( ETH_P_8021AD );
}

/* The VLAN that the frame belongs to; 0 when it is none of ours to route. By the time that a frame
   comes here the kernel has taken its outer tag out of it (skb->vlan_tci). */
static __always_inline __u16 vlanOf( const struct __sk_buff *skb ) {
   if( isTag( skb->protocol ) ) {
      return 0; /* a tag inside of the tag: what is in there is no packet for a router */
   }
   if( skb->vlan_present ) {
      if( skb->vlan_proto != bpf_htons( ETH_P_8021Q ) ) {
         return 0;
      }
      const __u16 vlan = skb->vlan_tci & VID_MASK;
      if( vlan != 0 ) {
         return vlan;
      }
      /* A tag with VLAN 0 has only a priority: the frame belongs where one without a tag does. */
   }
   const __u32 ifindex = skb->ifindex;
   const struct PortValue *port = bpf_map_lookup_elem( &ports, &ifindex );
   return port ? (__u16)port->accessVlan : 0;
}

static __always_inline void count( const struct __sk_buff *skb, __u32 index ) {
   struct FrameCount *counted = bpf_map_lookup_elem( &frame_counts, &index );
   if( counted ) {
      /* The kernel may have joined frames of a flow into one. */
      counted->frames += skb->gso_segs > 1 ? skb->gso_segs : 1;
      counted->bytes += skb->len;
   }
}

SEC( "tc" )
int orlo_port( struct __sk_buff *skb ) {
   const struct ethhdr *frame = (void *)(long)skb->data;
   if( (const void *)( frame + 1 ) > (void *)(long)skb->data_end ) {
      return TC_ACT_UNSPEC; /* on to the next filter of the port */
   }
   if( frame->h_dest[0] & 1 ) {
      return TC_ACT_UNSPEC; /* to a group or to everybody: no virtual router MAC is */
   }
   const __u16 vlan = vlanOf( skb );
   if( vlan == 0 ) {
      return TC_ACT_UNSPEC;
   }
   struct RouterMacKey key;
   __builtin_memcpy( key.mac, frame->h_dest, sizeof( key.mac ) );
   /* In this order: to Linux 6.1 a part of the key that is written behind the VLAN is a pointer
      corrupted, unless the agent has CAP_PERFMON. */
   barrier();
   key.vlan = vlan;
   const struct RouterMacValue *found = bpf_map_lookup_elem( &router_macs, &key );
   if( !found ) {
      return TC_ACT_UNSPEC;
   }
   const struct RouterMacValue value = *found;
   /* With its tag the SVI would not take it. */
   if( skb->vlan_present && bpf_skb_vlan_pop( skb ) != 0 ) {
      return TC_ACT_UNSPEC;
   }
   count( skb, value.index );
   /* The destination stays: by it the virtual router's device above the SVI claims the frame. */
   return (int)bpf_redirect( value.svi, BPF_F_INGRESS );
}
