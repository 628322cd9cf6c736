/* Puts tags on a frame, the way the kernel does for one that comes in at a port with them, and lets
   the program under test have it: a test-run cannot give a tag by itself. */
#include <linux/bpf.h>
#include <linux/if_ether.h>

#include <bpf/bpf_endian.h>
#include <bpf/bpf_helpers.h>

struct {
   __uint( type, BPF_MAP_TYPE_PROG_ARRAY );
   __uint( max_entries, 1 );
   __type( key, __u32 );
   __type( value, __u32 );
} under_test SEC( ".maps" );

/* skb->cb holds up to two tags from the inside out: EtherType, then tag control information. */
SEC( "tc" )
int tagged( struct __sk_buff *skb ) {
   if( skb->cb[0] && bpf_skb_vlan_push( skb, bpf_htons( (__u16)skb->cb[0] ), (__u16)skb->cb[1] ) ) {
      return 1001;
   }
   if( skb->cb[2] && bpf_skb_vlan_push( skb, bpf_htons( (__u16)skb->cb[2] ), (__u16)skb->cb[3] ) ) {
      return 1002;
   }
   bpf_tail_call( skb, &under_test, 0 );
   return 1003;
}
