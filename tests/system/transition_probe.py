"""How long it takes from the kernel's news of a transition to the entry in the hardware. A program, started in the
network namespace of a switch:

    transition_probe.py ADDRESS SLOTS WORD...

For each arrival of ADDRESS on a device it prints one line: the nanoseconds until the first and until the last of the
WORDs (hexadecimal) stands in the slot file. The kernel's news reach it and the agent at the same moment, so what it
takes the scheduler to wake this program is not counted; the file is looked at without pause until then.
"""

import mmap
import socket
import struct
import sys
import time

RTMGRP_IPV4_IFADDR = 0x10
RTM_NEWADDR = 20
IFA_LOCAL = 2
LONGEST = 5_000_000_000


def addresses(datagram):
    """The local addresses that have arrived."""
    while len(datagram) >= 16:
        length, kind = struct.unpack_from('=IH', datagram)
        if length < 16:
            return
        attributes = datagram[24:length] if kind == RTM_NEWADDR else b''
        while len(attributes) >= 4:
            size, number = struct.unpack_from('=HH', attributes)
            if size < 4:
                break
            if number == IFA_LOCAL:
                yield attributes[4:size]
            attributes = attributes[(size + 3) & ~3:]
        datagram = datagram[(length + 3) & ~3:]


def watch(address, slots, words):
    with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE) as kernel, open(slots, 'rb') as file:
        kernel.bind((0, RTMGRP_IPV4_IFADDR))
        table = memoryview(mmap.mmap(file.fileno(), 0, prot=mmap.PROT_READ)).cast('Q')
        print('watching', flush=True)
        while True:
            if address not in addresses(kernel.recv(65536)):
                continue
            began = time.monotonic_ns()
            first, missing = None, set(words)
            while missing and time.monotonic_ns() - began < LONGEST:
                missing.difference_update(table[8:])
                if first is None and len(missing) < len(words):
                    first = time.monotonic_ns() - began
            print('never' if missing else f'{first} {time.monotonic_ns() - began}', flush=True)


if __name__ == '__main__':
    watch(socket.inet_aton(sys.argv[1]), sys.argv[2], [int(word, 16) for word in sys.argv[3:]])
