/* What the program at the switch ports and the agent have in common: the tables that the agent
   writes and the program looks up. Everything is in the byte order of the machine, but for the MAC,
   which is as on the wire. C and C++. */
#ifndef ORLOAGENT_HARDWARE_EBPF_PROGRAM_ROUTERMACTABLES_H
#define ORLOAGENT_HARDWARE_EBPF_PROGRAM_ROUTERMACTABLES_H

#include <linux/types.h>

/* Of the table `router_macs`: a frame's VLAN and destination. */
struct RouterMacKey {
   __u16 vlan; /* 1 to 4094 */
   __u8 mac[6];
};

struct RouterMacValue {
   __u32 index; /* the slot that the pair has, below the number of entries of frame_counts */
   __u32 svi;   /* interface index of the SVI that routes the VLAN */
};

/* Of the table `ports`, by interface index: every port that the program is attached to. */
struct PortValue {
   __u32 accessVlan; /* of frames without a tag; 0: they pass by */
};

/* Of the table `frame_counts`, by the pair's index, for each processor. */
struct FrameCount {
   __u64 frames;
   __u64 bytes; /* from the Ethernet header on, without the tag */
};

enum { kMostPorts = 4096 };

#endif
