"""What sends, answers and hears the counted frames of frames.py: a program of its own, which runs in a namespace.

    frame_engine.py ROLE JSON

It prints "ready" and ends at SIGTERM. What it counts stands in files that the test maps as well, so that every number
can be read at any time, and nothing is lost when somebody is killed.
"""

import json
import mmap
import os
import select
import signal
import socket
import struct
import sys
import time

PORT = 7777  # of the upstream host; a flow's own is FLOW_PORT + its number
FLOW_PORT = 20000

# The file of a flow: numbers of 64 bits, then one octet a frame that was answered, and one that arrived upstream.
SENT, ANSWERED, RECEIVED, AGAIN, FIRST, LAST, LATE, DROPPED = range(8)
HEADER = 64
CAPACITY = 1 << 22
FLOW_SIZE = HEADER + 2 * CAPACITY

# The file of a listener: how many frames were heard with each VLAN tag, 0 for none.
LISTENER_SIZE = 4096 * 8

MARK = b'counted '
PAYLOAD = struct.Struct('!8sIQ')
BURST = 32  # frames sent at once to make up for lost time: what a veth takes without a drop is 1,000

SOL_PACKET, PACKET_STATISTICS, PACKET_AUXDATA, PACKET_IGNORE_OUTGOING = 263, 6, 8, 23
TP_STATUS_VLAN_VALID = 16
AUXDATA = struct.Struct('=IIIHHHH')
SO_RCVBUFFORCE = 33


class Stop:
    """Becomes true at SIGTERM."""

    def __init__(self):
        self.now = False
        signal.signal(signal.SIGTERM, self._set)

    def _set(self, *_):
        self.now = True


def mapped(path, size):
    with open(path, 'r+b') as file:
        return memoryview(mmap.mmap(file.fileno(), size))


def mark(octets, number):
    """Counts one more of a frame, and says whether it is the first."""
    seen = octets[number]
    if seen < 255:
        octets[number] = seen + 1
    return seen == 0


def packet_socket(interface):
    opened = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, 0)
    opened.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, 32 << 20)
    opened.setsockopt(SOL_PACKET, PACKET_IGNORE_OUTGOING, 1)
    opened.bind((interface, 3))  # every protocol
    opened.setblocking(False)
    return opened


def checksum(header):
    total = sum(struct.unpack(f'!{len(header) // 2}H', header))
    total = (total & 0xffff) + (total >> 16)
    return ~(total + (total >> 16)) & 0xffff


def frame_of(how):
    """A frame of a flow, and where in it the number of the frame stands."""
    octets = bytes.fromhex(how['destinationMac'].replace(':', '') + how['sourceMac'].replace(':', ''))
    if how['vlan']:
        octets += struct.pack('!HH', 0x8100, how['vlan'])
    length = PAYLOAD.size + 8
    addresses = socket.inet_aton(how['source']) + socket.inet_aton(how['destination'])
    ip = struct.pack('!BBHHHBBH', 0x45, 0, 20 + length, 0, 0x4000, 64, socket.IPPROTO_UDP, 0) + addresses
    ip = ip[:10] + struct.pack('!H', checksum(ip)) + ip[12:]
    udp = struct.pack('!HHHH', FLOW_PORT + how['flow'], PORT, length, 0)  # a checksum of 0: none
    octets += struct.pack('!H', 0x0800) + ip + udp
    return bytearray(octets + PAYLOAD.pack(MARK, how['flow'], 0)), len(octets) + PAYLOAD.size - 8


def udp_in(octets, length):
    """Where the UDP header of a received frame begins, or None."""
    at = 14
    if octets[12:14] == b'\x81\x00':
        at = 18
    if length < at + 28 + PAYLOAD.size or octets[at - 2:at] != b'\x08\x00' or octets[at] != 0x45 \
            or octets[at + 9] != socket.IPPROTO_UDP:
        return None
    return at + 20


class Sender:
    """Sends numbered frames at a rate, and counts the answers."""

    def __init__(self, how):
        self._opened = packet_socket(how['interface'])
        view = mapped(how['file'], FLOW_SIZE)
        self._numbers = view[:HEADER].cast('Q')
        self._answered = view[HEADER:HEADER + CAPACITY]
        self._frame, self._at = frame_of(how)
        self._flow, self._rate = how['flow'], how['rate']
        self._most = min(how['count'] or CAPACITY, CAPACITY)
        self._mac = bytes(self._frame[6:12])
        self._room = bytearray(2048)

    def run(self, stop):
        numbers, sent = self._numbers, 0
        begin = numbers[FIRST] = numbers[LAST] = time.monotonic_ns()
        while not stop.now and sent < self._most:
            now = time.monotonic_ns()
            due = min((now - begin) * self._rate // 1_000_000_000 + 1, self._most)
            if sent < due:
                numbers[LATE] = max(numbers[LATE], now - begin - sent * 1_000_000_000 // self._rate)
            for sent in range(sent, min(due, sent + BURST)):
                struct.pack_into('!Q', self._frame, self._at, sent)
                self._opened.send(self._frame)
                sent += 1
                numbers[SENT] = sent
                numbers[LAST] = time.monotonic_ns()
            wait = begin + sent * 1_000_000_000 // self._rate - time.monotonic_ns()
            self._receive(max(wait, 0) / 1e9)
        # The last answers are on their way: half a second without one is the end.
        while numbers[ANSWERED] < sent and self._receive(0.5):
            pass
        received, numbers[DROPPED] = struct.unpack('=II', self._opened.getsockopt(SOL_PACKET, PACKET_STATISTICS, 8))

    def _receive(self, seconds):
        """Takes the answers that are there, or the first within some seconds; whether there was anything."""
        if not select.select([self._opened], [], [], seconds)[0]:
            return False
        octets, numbers = self._room, self._numbers
        for _ in range(2 * BURST):
            try:
                length = self._opened.recv_into(octets)
            except BlockingIOError:
                break
            at = udp_in(octets, length)
            if at is None or octets[:6] != self._mac or struct.unpack_from('!H', octets, at)[0] != PORT:
                continue
            marked, flow, number = PAYLOAD.unpack_from(octets, at + 8)
            if marked == MARK and flow == self._flow and number < CAPACITY:
                numbers[ANSWERED if mark(self._answered, number) else AGAIN] += 1
        return True


class Answerer:
    """Counts what arrives upstream, flow by flow, and sends each back to where it came from."""

    def __init__(self, how):
        self._folder = how['folder']
        self._flows = {}
        self._opened = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._opened.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, 32 << 20)
        self._opened.bind(('', PORT))
        self._opened.setblocking(False)

    def _flow(self, number):
        if number not in self._flows:
            path = os.path.join(self._folder, f'flow-{number}')
            view = mapped(path, FLOW_SIZE)
            self._flows[number] = (view[:HEADER].cast('Q'), view[HEADER + CAPACITY:])
        return self._flows[number]

    def run(self, stop):
        room = bytearray(2048)
        while not stop.now:
            if not select.select([self._opened], [], [], 0.05)[0]:
                continue
            try:
                while True:
                    length, sender = self._opened.recvfrom_into(room)
                    if length != PAYLOAD.size or not room.startswith(MARK):
                        continue
                    _, flow, number = PAYLOAD.unpack_from(room)
                    numbers, arrived = self._flow(flow)
                    if mark(arrived, number):
                        numbers[RECEIVED] += 1
                    self._opened.sendto(room[:length], sender)
            except BlockingIOError:
                pass


class Listener:
    """Counts the frames of flows that arrive at an interface for one MAC, by the VLAN tag that they have there."""

    def __init__(self, how):
        self._opened = packet_socket(how['interface'])
        self._opened.setsockopt(SOL_PACKET, PACKET_AUXDATA, 1)
        self._heard = mapped(how['file'], LISTENER_SIZE).cast('Q')
        self._mac = bytes.fromhex(how['mac'].replace(':', ''))

    def run(self, stop):
        while True:
            last = stop.now  # what is there when it is told to stop is still counted
            if select.select([self._opened], [], [], 0 if last else 0.05)[0]:
                self._receive()
            if last:
                break
        _, dropped = struct.unpack('=II', self._opened.getsockopt(SOL_PACKET, PACKET_STATISTICS, 8))
        if dropped:
            sys.exit(f'the listener was too slow for {dropped} frames')

    def _receive(self):
        while True:
            try:
                octets, extra, _, _ = self._opened.recvmsg(2048, 256)
            except BlockingIOError:
                return
            at = udp_in(octets, len(octets))
            if at is None or octets[:6] != self._mac or octets[at + 8:at + 16] != MARK:
                continue
            vlan = struct.unpack_from('!H', octets, 14)[0] & 0xfff if at == 38 else 0
            for level, kind, data in extra:
                if level == SOL_PACKET and kind == PACKET_AUXDATA:
                    status, *_, tag, _ = AUXDATA.unpack_from(data)
                    vlan = tag & 0xfff if status & TP_STATUS_VLAN_VALID else vlan
            self._heard[vlan] += 1


def main(role, how):
    stop = Stop()
    engine = {'sender': Sender, 'answerer': Answerer, 'listener': Listener}[role](json.loads(how))
    print('ready', flush=True)
    engine.run(stop)


if __name__ == '__main__':
    main(*sys.argv[1:])
