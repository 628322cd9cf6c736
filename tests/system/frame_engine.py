"""What sends, answers and hears the counted frames of frames.py: one process, with sockets in many namespaces.

It reads what to do from its standard input, a line of JSON each, says "started N" and "ended N", and ends with its
input. What it counts stands in files that the test maps as well, so that every number can be read at any time.
"""

import ctypes
import errno
import json
import mmap
import os
import select
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
BURST = 32  # frames sent at once, at most: what a veth takes without a drop is 1,000
LINGER = 300_000_000  # how long after the last sign of a flow an answer may still come

SOL_PACKET, PACKET_STATISTICS, PACKET_AUXDATA, PACKET_IGNORE_OUTGOING = 263, 6, 8, 23
TP_STATUS_VLAN_VALID = 16
AUXDATA = struct.Struct('=IIIHHHH')
SO_RCVBUFFORCE = 33
CLONE_NEWNET = 0x40000000
LIBC = ctypes.CDLL(None, use_errno=True)


def mapped(path, size):
    with open(path, 'r+b') as file:
        return memoryview(mmap.mmap(file.fileno(), size))


def mark(octets, number):
    """Counts one more of a frame, and says whether it is the first."""
    seen = octets[number]
    if seen < 255:
        octets[number] = seen + 1
    return seen == 0


def in_namespace(how, make):
    """Makes something, a socket, in the network namespace of a process; there it stays."""
    with open('/proc/self/ns/net', 'rb') as own, open(f'/proc/{how["namespace"]}/ns/net', 'rb') as other:
        enter(other)
        try:
            return make()
        finally:
            enter(own)


def enter(namespace):
    if LIBC.setns(namespace.fileno(), CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), 'setns')


def packet_socket(how):
    opened = in_namespace(how, lambda: packet_socket_here(how['interface']))
    opened.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, 32 << 20)
    opened.setsockopt(SOL_PACKET, PACKET_IGNORE_OUTGOING, 1)
    opened.setblocking(False)
    return opened


def packet_socket_here(interface):
    opened = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, 0)
    opened.bind((interface, 3))  # every protocol
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
    udp = struct.pack('!HHHH', FLOW_PORT + how['number'], PORT, length, 0)  # a checksum of 0: none
    octets += struct.pack('!H', 0x0800) + ip + udp
    return bytearray(octets + PAYLOAD.pack(MARK, how['number'], 0)), len(octets) + PAYLOAD.size - 8


def udp_in(octets, length):
    """Where the UDP header of a received frame begins, or None."""
    at = 14
    if octets[12:14] == b'\x81\x00':
        at = 18
    if length < at + 28 + PAYLOAD.size or octets[at - 2:at] != b'\x08\x00' or octets[at] != 0x45 \
            or octets[at + 9] != socket.IPPROTO_UDP:
        return None
    return at + 20


class Flow:
    """Sends numbered frames at a rate, and counts the answers."""

    def __init__(self, how):
        self.opened = packet_socket(how)
        view = mapped(how['file'], FLOW_SIZE)
        self.numbers = view[:HEADER].cast('Q')
        self._answered = view[HEADER:HEADER + CAPACITY]
        self._received = view[HEADER + CAPACITY:]
        self._frame, self._at = frame_of(how)
        self._flow, self._rate = how['number'], how['rate']
        self._most = min(how['count'] or CAPACITY, CAPACITY)
        self._mac = bytes(self._frame[6:12])
        self._begin = self._last = self._progress = self.numbers[FIRST] = time.monotonic_ns()

    def _due(self, number):
        return self._begin + number * 1_000_000_000 // self._rate

    def work(self, now):
        """Sends what is due. Returns when it wants to be called again, or None when it has come to its end."""
        numbers = self.numbers
        sent = numbers[SENT]
        if sent == self._most:
            # The last answers are on their way: some time without one is the end.
            over = numbers[ANSWERED] == sent or now > self._progress + LINGER
            return None if over else now + 5_000_000
        if (late := now - self._due(sent)) > numbers[LATE]:
            numbers[LATE] = late
        # What is behind is made up for at twice the rate: the kernel, which passes the frames on, was held up as well.
        due = (now - self._begin) * self._rate // 1_000_000_000 + 1
        most = min(1 + 2 * (now - self._last) * self._rate // 1_000_000_000, BURST)
        self._last = now
        for sent in range(sent, min(due, self._most, sent + most)):
            struct.pack_into('!Q', self._frame, self._at, sent)
            try:
                self.opened.send(self._frame)
            except OSError as error:
                if error.errno != errno.ENOBUFS:
                    raise
                return now + 1_000_000  # the kernel has not taken it: once more
            numbers[SENT] = sent + 1
            self._progress = numbers[LAST] = now
        return max(self._due(numbers[SENT]), now + 500_000_000 // self._rate)

    def stop(self):
        self._most = self.numbers[SENT]

    def receive(self, room):
        """Takes an answer."""
        length = self.opened.recv_into(room)
        at = udp_in(room, length)
        if at is None or room[:6] != self._mac or struct.unpack_from('!H', room, at)[0] != PORT:
            return
        marked, flow, number = PAYLOAD.unpack_from(room, at + 8)
        if marked == MARK and flow == self._flow and number < CAPACITY:
            self.numbers[ANSWERED if mark(self._answered, number) else AGAIN] += 1
            self._progress = time.monotonic_ns()

    def arrived(self, number):
        """A frame of it has arrived upstream."""
        if mark(self._received, number):
            self.numbers[RECEIVED] += 1

    def close(self):
        _, self.numbers[DROPPED] = struct.unpack('=II', self.opened.getsockopt(SOL_PACKET, PACKET_STATISTICS, 8))
        self.opened.close()


class Answerer:
    """Counts what arrives upstream, flow by flow, and sends each back to where it came from."""

    def __init__(self, how, flows):
        self._flows = flows
        self.opened = in_namespace(how, lambda: socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
        self.opened.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, 32 << 20)
        self.opened.bind(('', PORT))
        self.opened.setblocking(False)

    def receive(self, room):
        length, sender = self.opened.recvfrom_into(room)
        if length == PAYLOAD.size and room.startswith(MARK):
            _, flow, number = PAYLOAD.unpack_from(room)
            if flow in self._flows and number < CAPACITY:
                self._flows[flow].arrived(number)
                self.opened.sendto(room[:length], sender)


class Listener:
    """Counts the frames of flows that arrive at an interface for one MAC, by the VLAN tag that they have there."""

    def __init__(self, how):
        self.opened = packet_socket(how)
        self.opened.setsockopt(SOL_PACKET, PACKET_AUXDATA, 1)
        self._heard = mapped(how['file'], LISTENER_SIZE).cast('Q')
        self._mac = bytes.fromhex(how['mac'].replace(':', ''))

    def receive(self, _):
        octets, extra, _, _ = self.opened.recvmsg(2048, 256)
        at = udp_in(octets, len(octets))
        if at is None or octets[:6] != self._mac or octets[at + 8:at + 16] != MARK:
            return
        vlan = struct.unpack_from('!H', octets, 14)[0] & 0xfff if at == 38 else 0
        for level, kind, data in extra:
            if level == SOL_PACKET and kind == PACKET_AUXDATA:
                status, *_, tag, _ = AUXDATA.unpack_from(data)
                vlan = tag & 0xfff if status & TP_STATUS_VLAN_VALID else vlan
        self._heard[vlan] += 1

    def close(self):
        _, dropped = struct.unpack('=II', self.opened.getsockopt(SOL_PACKET, PACKET_STATISTICS, 8))
        if dropped:
            sys.exit(f'the listener was too slow for {dropped} frames')
        self.opened.close()


class Engine:
    """Everything that goes on, by its number."""

    def __init__(self):
        self._flows, self._listeners = {}, {}
        self._readers = {0: None}  # by descriptor
        self._typed = b''
        self._room = bytearray(2048)

    def run(self):
        while True:
            now = time.monotonic_ns()
            calls = []
            for number, flow in list(self._flows.items()):
                if (again := flow.work(now)) is None:
                    self._end(self._flows, number)
                else:
                    calls.append(again)
            wait = max(min(calls) - time.monotonic_ns(), 0) / 1e9 if calls else None
            for ready in select.select(self._readers, [], [], wait)[0]:
                if ready == 0:
                    if not self._command():
                        return
                elif ready in self._readers:
                    self._drain(self._readers[ready], 2 * BURST)

    def _drain(self, reader, most):
        try:
            for _ in range(most):
                reader.receive(self._room)
        except BlockingIOError:
            pass

    def _command(self):
        if not (came := os.read(0, 65536)):
            return False
        *lines, self._typed = (self._typed + came).split(b'\n')
        for how in map(json.loads, lines):
            getattr(self, '_do_' + how['do'])(how)
        return True

    def _add(self, kind, made, how):
        if kind is not None:
            kind[how['number']] = made
        self._readers[made.opened.fileno()] = made
        print(f'started {how["number"]}', flush=True)

    def _end(self, kind, number):
        gone = kind.pop(number)
        del self._readers[gone.opened.fileno()]
        gone.close()
        print(f'ended {number}', flush=True)

    def _do_answer(self, how):
        self._add(None, Answerer(how, self._flows), how)

    def _do_send(self, how):
        self._add(self._flows, Flow(how), how)

    def _do_listen(self, how):
        self._add(self._listeners, Listener(how), how)

    def _do_stop(self, how):
        """A flow ends later, when its last answers have come, and may have done so by itself."""
        number = how['number']
        if number in self._flows:
            self._flows[number].stop()
        elif number in self._listeners:
            self._drain(self._listeners[number], 1_000_000)
            self._end(self._listeners, number)


if __name__ == '__main__':
    Engine().run()
