"""Counted frames: hosts send numbered UDP frames to the MAC of a router, and a host behind it counts and answers each.

    answerer = Answerer(upstream)
    with Flow(answerer, host, source_mac=..., router_mac=..., source=..., destination=..., rate=1000) as flow:
        ...
    flow.sent, flow.received_upstream, flow.answered, flow.lost, flow.rate

The numbers can be read at any time. After the with they are final: an answer that was on its way has been waited for.
Frames leave from a packet socket, with a VLAN tag or without one; the kernel's addresses and neighbours of the host play
no part, and the host must not have the address, or its kernel would refuse the answers. One thousand frames a second and
flow are no trouble; what was held is in the rate, and how far it fell behind at worst in late.
"""

import itertools
import json
import mmap
import os

import frame_engine as engine
from lab import PYTHON, wait_until

PROGRAM = engine.__file__


def start(namespace, role, **how):
    process = namespace.start(PYTHON, '-S', '-B', PROGRAM, role, json.dumps(how))
    process.wait_line(lambda line: line == 'ready', 'that it is ready')
    return process


def finish(process, timeout=30.0):
    status = process.stop(timeout=timeout)
    assert (status, process.lines()) == (0, ['ready']), f'it has ended with {status}\n{process.report()}'


def shared(path, size):
    """A file of numbers that an engine and the test both map."""
    with open(path, 'w+b') as file:
        file.truncate(size)
        return memoryview(mmap.mmap(file.fileno(), size))


class Answerer:
    """The host behind the router, for any number of flows. It ends with its namespace."""

    def __init__(self, namespace):
        self.folder = namespace.directory
        self.process = start(namespace, 'answerer', folder=self.folder)


class Flow:
    """A host that sends. It begins when it is made, and stops at stop() or at the end of a with."""

    _numbers = itertools.count(1)

    def __init__(self, answerer, namespace, interface='eth0', *, source_mac, router_mac, source, destination, vlan=0,
                 rate=1000, count=None):
        self.number = next(self._numbers)
        self.asked_rate = rate
        path = os.path.join(answerer.folder, f'flow-{self.number}')
        view = shared(path, engine.FLOW_SIZE)
        self._numbers_of = view[:engine.HEADER].cast('Q')
        self._answered = view[engine.HEADER:engine.HEADER + engine.CAPACITY]
        self._received = view[engine.HEADER + engine.CAPACITY:]
        self._process = start(namespace, 'sender', file=path, flow=self.number, interface=interface, vlan=vlan,
                              sourceMac=source_mac, destinationMac=router_mac, source=source, destination=destination,
                              rate=rate, count=count)

    def stop(self):
        """Sends no more, waits for the answers that still come, and makes sure that nothing was missed here."""
        finish(self._process)
        missed = self._numbers_of[engine.DROPPED]
        assert missed == 0, f'the sender itself was too slow for {missed} answers: the numbers are worth nothing'
        return self

    def wait(self, timeout=30.0):
        """Waits until it has sent as many frames as it was told to, and for their answers."""
        self._process.wait(timeout)
        return self.stop()

    def wait_sent(self, number, timeout=10.0):
        """Waits until so many more frames have been sent."""
        self._wait_more(lambda: self.sent, number, 'sent', timeout)

    def wait_answered(self, number, timeout=10.0):
        """Waits until so many more frames have been answered."""
        self._wait_more(lambda: self.answered, number, 'answered', timeout)

    def _wait_more(self, count, number, word, timeout):
        goal = count() + number
        wait_until(lambda: count() >= goal or not self._process.running(), f'{number} more frames are {word}', timeout,
                   lambda: f'{self}\n{self._process.report()}')
        assert count() >= goal, self._process.report()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    @property
    def sent(self):
        return self._numbers_of[engine.SENT]

    @property
    def received_upstream(self):
        """How many different frames have arrived upstream."""
        return self._numbers_of[engine.RECEIVED]

    @property
    def answered(self):
        """How many different frames have come back."""
        return self._numbers_of[engine.ANSWERED]

    @property
    def again(self):
        """How many answers came more than once."""
        return self._numbers_of[engine.AGAIN]

    @property
    def lost(self):
        """The numbers of the frames without an answer; while it runs, those on their way are among them."""
        return _missing(self._answered, self.sent)

    @property
    def lost_upstream(self):
        """The numbers of the frames that did not arrive upstream."""
        return _missing(self._received, self.sent)

    @property
    def seconds(self):
        return (self._numbers_of[engine.LAST] - self._numbers_of[engine.FIRST]) / 1e9

    @property
    def rate(self):
        """The frames a second that were really sent, from the first to the last."""
        return (self.sent - 1) / self.seconds if self.sent > 1 and self.seconds > 0 else 0.0

    @property
    def late(self):
        """By how many seconds the frame that was latest left too late. What was behind is made up for."""
        return self._numbers_of[engine.LATE] / 1e9

    def __str__(self):
        return (f'flow {self.number}: {self.sent} sent, {self.received_upstream} received upstream, '
                f'{self.answered} answered, {self.rate:.0f}/s of {self.asked_rate}/s in {self.seconds:.1f} s, '
                f'late by {self.late * 1000:.0f} ms at worst')


def _missing(octets, end):
    seen = bytes(octets[:end])
    missing, at = [], seen.find(0)
    while at >= 0:
        missing.append(at)
        at = seen.find(0, at + 1)
    return missing


class Listener:
    """Counts the frames of all flows that arrive at an interface with the MAC of a router, by their VLAN tag there.

        with Listener(namespace, 'eth0', mac) as listener:
            ...
        listener.heard == {0: 20}

    VLAN 0 is a frame without a tag.
    """

    _numbers = itertools.count(1)

    def __init__(self, namespace, interface, mac):
        path = namespace.path(f'listener-{next(self._numbers)}')
        self._heard = shared(path, engine.LISTENER_SIZE).cast('Q')
        self._process = start(namespace, 'listener', file=path, interface=interface, mac=mac)

    @property
    def heard(self):
        return {vlan: number for vlan, number in enumerate(self._heard) if number}

    def stop(self):
        finish(self._process)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
