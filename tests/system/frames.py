"""Counted frames: hosts send numbered UDP frames to the MAC of a router, and a host behind it counts and answers each.

    engine = Engine(folder)
    engine.start('answer', upstream)
    with Flow(engine, host, source_mac=..., router_mac=..., source=..., destination=..., rate=1000) as flow:
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
import subprocess

import frame_engine as layout
from lab import PYTHON, Process, wait_until


class Engine:
    """The process that sends, answers and listens for a test; it ends with the test, whichever way that ends."""

    def __init__(self, folder):
        self._folder = folder
        self._process = Process('the frame engine', [PYTHON, '-S', '-B', layout.__file__], stdin=subprocess.PIPE)
        self._numbers, self._files = itertools.count(1), itertools.count(1)

    def file(self, kind, size):
        """A file of numbers that the engine and the test both map: its path, and what is in it."""
        path = os.path.join(self._folder, f'{kind}-{next(self._files)}')
        with open(path, 'w+b') as file:
            file.truncate(size)
            return path, memoryview(mmap.mmap(file.fileno(), size))

    def start(self, do, namespace, **how):
        number = next(self._numbers)
        self._say(do=do, number=number, namespace=namespace.pid, **how)
        self._wait(f'started {number}')
        return number

    def stop(self, number, timeout=30.0):
        self._say(do='stop', number=number)
        self.wait(number, timeout)

    def wait(self, number, timeout):
        self._wait(f'ended {number}', timeout)

    def running(self):
        return self._process.running()

    def report(self):
        return self._process.report()

    def close(self):
        self._process.release()

    def _say(self, **how):
        assert self.running(), self.report()
        self._process.write(json.dumps(how) + '\n')

    def _wait(self, said, timeout=10.0):
        self._process.wait_line(lambda line: line == said, f'"{said}"', timeout)


class Flow:
    """A host that sends. It begins when it is made, and stops at stop() or at the end of a with."""

    def __init__(self, engine, namespace, interface='eth0', *, source_mac, router_mac, source, destination, vlan=0,
                 rate=1000, count=None):
        self._engine = engine
        self._asked = rate
        path, view = engine.file('flow', layout.FLOW_SIZE)
        self._numbers = view[:layout.HEADER].cast('Q')
        self._answered = view[layout.HEADER:layout.HEADER + layout.CAPACITY]
        self._received = view[layout.HEADER + layout.CAPACITY:]
        self.number = engine.start('send', namespace, file=path, interface=interface, vlan=vlan, sourceMac=source_mac,
                                   destinationMac=router_mac, source=source, destination=destination, rate=rate,
                                   count=count)

    def stop(self, timeout=30.0):
        """Sends no more, waits for the answers that still come, and makes sure that nothing was missed here."""
        self._engine.stop(self.number, timeout)
        missed = self._numbers[layout.DROPPED]
        assert missed == 0, f'the sender itself was too slow for {missed} answers: the numbers are worth nothing'
        return self

    def wait(self, timeout=30.0):
        """Waits until it has sent as many frames as it was told to, and for their answers."""
        self._engine.wait(self.number, timeout)
        return self.stop()

    def wait_sent(self, number, timeout=10.0):
        """Waits until so many more frames have been sent."""
        self._wait_more(lambda: self.sent, number, 'sent', timeout)

    def wait_answered(self, number, timeout=10.0):
        """Waits until so many more frames have been answered."""
        self._wait_more(lambda: self.answered, number, 'answered', timeout)

    def _wait_more(self, count, number, word, timeout):
        goal = count() + number
        wait_until(lambda: count() >= goal or not self._engine.running(), f'{number} more frames are {word}', timeout,
                   lambda: f'{self}\n{self._engine.report()}')
        assert count() >= goal, self._engine.report()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    @property
    def sent(self):
        return self._numbers[layout.SENT]

    @property
    def received_upstream(self):
        """How many different frames have arrived upstream."""
        return self._numbers[layout.RECEIVED]

    @property
    def answered(self):
        """How many different frames have come back."""
        return self._numbers[layout.ANSWERED]

    @property
    def again(self):
        """How many answers came more than once."""
        return self._numbers[layout.AGAIN]

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
        return (self._numbers[layout.LAST] - self._numbers[layout.FIRST]) / 1e9

    @property
    def rate(self):
        """The frames a second that were really sent, from the first to the last."""
        return (self.sent - 1) / self.seconds if self.sent > 1 and self.seconds > 0 else 0.0

    @property
    def late(self):
        """By how many seconds the frame that was latest left too late. What was behind is made up for."""
        return self._numbers[layout.LATE] / 1e9

    def __str__(self):
        return (f'flow {self.number}: {self.sent} sent, {self.received_upstream} received upstream, '
                f'{self.answered} answered, {self.rate:.0f}/s of {self._asked}/s in {self.seconds:.1f} s, '
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

        with Listener(engine, namespace, 'eth0', mac) as listener:
            ...
        listener.heard == {0: 20}

    VLAN 0 is a frame without a tag.
    """

    def __init__(self, engine, namespace, interface, mac):
        self._engine = engine
        path, view = engine.file('listener', layout.LISTENER_SIZE)
        self._heard = view.cast('Q')
        self._number = engine.start('listen', namespace, file=path, interface=interface, mac=mac)

    @property
    def heard(self):
        return {vlan: number for vlan, number in enumerate(self._heard) if number}

    def stop(self):
        self._engine.stop(self._number)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
