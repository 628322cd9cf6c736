"""The agent under test: it is started on a switch, its lines are read as changes, and every change is held against what
a pool of indexes and a waiting line allow."""

import collections
import json
import os
import re
import signal
import struct
import subprocess
import time

from daemons import mac
from hardware import MemoryHardware
from lab import LabError, Timeout

REPOSITORY = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PROGRAM = os.environ.get('ORLO_AGENT') or os.path.join(REPOSITORY, 'build/release/agent/orlo-agent')

SVI10 = {'name': 'br10', 'vlan': 10, 'secondaryVlans': [11, 12]}

# One line of the agent about one thing: for a pair, where is its VLAN, number its index or its place in the line; for a
# virtual router MAC, where is its interface.
Change = collections.namedtuple('Change', 'word where mac number', defaults=(None,))
Row = collections.namedtuple('Row', 'vlan mac interface place wanted programmed')
Table = collections.namedtuple('Table', 'rows totals')

LINES = [re.compile(pattern) for pattern in (
    r'(?P<word>published) +(?P<interface>\S+) +(?P<mac>\S+) +from +(?P<device>\S+)$',
    r'(?P<word>withdrawn) +(?P<interface>\S+) +(?P<mac>\S+) +(?P<device>\S+): (?P<reason>.+)$',
    r'(?P<word>programmed|removed|adopted) +VLAN +(?P<vlan>\d+) +(?P<mac>\S+) +index +(?P<number>\d+)$',
    r'(?P<word>waiting) +VLAN +(?P<vlan>\d+) +(?P<mac>\S+) +place +(?P<number>\d+)$',
    r'(?P<word>left) +VLAN +(?P<vlan>\d+) +(?P<mac>\S+) +no longer waits$',
)]
ROW = re.compile(r' *(\d+) +([0-9a-f:]{17}) +(\S+) +(\d+|line \d+) +(yes|no) +(yes|no)$')
TOTALS = re.compile(r'(\d+) pairs? wanted, (\d+) programmed, (\d+) waiting; (\d+) of (\d+) indexes used$')
READY = re.compile(r'ready: (\d+) index(?:es)?, (\d+) adopted, (\d+) pairs? programmed, (\d+) waiting$')


def parse(line):
    """A line as a change, or None when it is about something else."""
    for pattern in LINES:
        if found := pattern.match(line):
            part = found.groupdict()
            where = int(part['vlan']) if 'vlan' in part else part['interface']
            return Change(part['word'], where, part['mac'], int(part['number']) if part.get('number') else None)
    return None


def of_pairs(word):
    """Makes a function that names the changes of one virtual router: one for each VLAN."""
    def changes(vrid, vlans=(10, 11, 12), ipv6=False):
        return [Change(word, vlan, mac(vrid, ipv6)) for vlan in vlans]
    return changes


def of_macs(word):
    def changes(vrid, interface='br10', ipv6=False):
        return [Change(word, interface, mac(vrid, ipv6))]
    return changes


programmed, removed, adopted = of_pairs('programmed'), of_pairs('removed'), of_pairs('adopted')
published, withdrawn = of_macs('published'), of_macs('withdrawn')


def appears(vrid, vlans=(10, 11, 12), ipv6=False, interface='br10'):
    """What the agent says when a virtual router begins to route here and every pair gets an index."""
    return published(vrid, interface, ipv6) + programmed(vrid, vlans, ipv6)


def disappears(vrid, vlans=(10, 11, 12), ipv6=False, interface='br10'):
    return withdrawn(vrid, interface, ipv6) + removed(vrid, vlans, ipv6)


class Pool:
    """Follows the changes and refuses one that cannot be: an index that is taken or not the one next in turn, a pair
    programmed twice, a freed index that is not handed to the oldest waiting pair."""

    def __init__(self, size):
        self.free = collections.deque(range(size))
        self.held = {}
        self.line = []
        self.handed = None  # an index that was freed while pairs waited: it is the next one to be programmed

    def apply(self, change):
        if change.word == 'adopted':
            self._take(change)
        elif change.word == 'programmed':
            self._program(change)
        elif change.word == 'removed':
            self._remove(change)
        elif change.word == 'waiting':
            self.line.append(change[1:3])
            assert not self.free, f'{change} waits, while the indexes {list(self.free)} are free'
            assert change.number == len(self.line), f'{change}: this is place {len(self.line)}'
        elif change.word == 'left':
            assert change[1:3] in self.line, f'{change} did not wait'
            self.line.remove(change[1:3])

    def _take(self, change):
        assert change.number in self.free, f'{change}: the index is not free'
        self.free.remove(change.number)
        self.held[change[1:3]] = change.number

    def _program(self, change):
        pair = change[1:3]
        assert pair not in self.held, f'{change}: it already has index {self.held.get(pair)}'
        if self.handed is None:
            assert self.free, f'{change}: no index is free'
            assert change.number == self.free[0], f'{change}: index {self.free[0]} is the next in turn'
            self.free.popleft()
        else:
            assert change.number == self.handed, f'{change}: the freed index {self.handed} is to be used first'
            assert pair == self.line[0], f'{change}: {self.line[0]} has waited longer'
            self.line.pop(0)
            self.handed = None
        self.held[pair] = change.number

    def _remove(self, change):
        pair = change[1:3]
        assert self.handed is None, f'{change}: the index {self.handed} freed before was not handed on'
        if pair not in self.held:  # what an earlier run left behind is removed at start
            self._take(change)
        assert self.held[pair] == change.number, f'{change}: it has index {self.held[pair]}'
        del self.held[pair]
        if self.line:
            self.handed = change.number
        else:
            self.free.append(change.number)


class Agent:
    """An agent on a switch. Each expect() accounts for every change since the one before."""

    patience = 5.0  # seconds until it is ready

    def __init__(self, switch, indexes=8, interfaces=(SVI10,), on_line=None, control=None, prefix=(), hardware=None):
        if not os.access(PROGRAM, os.X_OK):
            raise LabError(f'there is no {PROGRAM}: build it first, or set ORLO_AGENT')
        self._switch = switch
        self._prefix = prefix  # of the command: what starts it
        self._hardware = hardware or MemoryHardware(switch)
        self.slots = switch.path('slots')
        self.socket = switch.path('control')
        self._control = {'path': self.socket, **(control or {})}
        self.configure(indexes, interfaces)
        self.start(on_line)

    def configure(self, indexes, interfaces=(SVI10,), **more):
        """Writes the configuration; a running agent takes it when it reloads."""
        self.indexes = indexes
        self.configuration = self._switch.write('agent.json', json.dumps(
            {'hardware': {'kind': self._hardware.kind, 'indexes': indexes, **self._hardware.settings()},
             'control': self._control, 'interfaces': list(interfaces), **more}, indent=2) + '\n')
        self.command = (*self._prefix, PROGRAM, self.configuration)

    def start(self, on_line=None):
        """Starts it, also once more after its end, and waits until it is ready."""
        self.process = self._switch.start(*self.command, on_line=on_line)
        self.ended = False
        self._seen = 0
        self._pool, self._judged = Pool(self.indexes), 0
        position = self.process.wait_line(lambda line: line.startswith('ready'), 'that it is ready',
                                          self.patience)
        found = READY.match(self.process.lines()[position])
        assert found, f'not what was agreed on: {self.process.lines()[position]}'
        self.ready = dict(zip(('indexes', 'adopted', 'programmed', 'waiting'), map(int, found.groups())))

    # Changes

    def changes(self, begin=0):
        return [change for change in map(parse, self.process.lines(begin)) if change]

    def take(self, count, timeout=5.0, settle=0.0):
        """Waits for the next changes, takes note of them and returns them. It is for the caller to compare them; when
        too few come in time, it returns those few. With settle it watches that much longer whether more come."""
        came = self._next(count, timeout, settle)
        self.judge()
        return came

    def take_anew(self, count, timeout=5.0, settle=0.0):
        """Like take(), of a reload to another number of indexes. The pool is filled anew by that: what was held stays,
        the others are free in ascending order, and the line is made again. So these changes are all the caller's."""
        came = self._next(count, timeout, settle)
        self.begin_anew()
        return came

    def begin_anew(self):
        """What it has said so far counts no more: the table says what is held and who waits, and in which order the
        free indexes are handed out next is what a reload to another number of them makes it."""
        begin = self._ask_for_table()
        rows = self._read_table(begin).rows
        header = next(n for n, line in enumerate(self.process.lines()) if n >= begin and line.startswith('VLAN  MAC'))
        self._judged = len([line for line in self.process.lines()[:header] if parse(line)])
        self._pool = Pool(self.indexes)
        self._pool.held = {(row.vlan, row.mac): row.place for row in rows if isinstance(row.place, int)}
        self._pool.free = collections.deque(n for n in range(self.indexes) if n not in self._pool.held.values())
        waiting = {int(row.place.split()[1]): (row.vlan, row.mac) for row in rows if isinstance(row.place, str)}
        self._pool.line = [waiting[place] for place in sorted(waiting)]

    def free_are(self, indexes):
        """The order in which free indexes are handed out, from somebody who has asked the agent."""
        assert set(indexes) == set(self._pool.free), (indexes, self._pool.free)
        self._pool.free = collections.deque(indexes)

    def _next(self, count, timeout, settle):
        deadline = time.monotonic() + timeout
        while True:
            lines = self.process.lines(self._seen)
            if len([line for line in lines if parse(line)]) >= count or time.monotonic() >= deadline:
                break
            time.sleep(0.005)
        if settle > 0:
            time.sleep(settle)
            lines = self.process.lines(self._seen)
        self._seen += len(lines)
        return [change for change in map(parse, lines) if change]

    def expect(self, changes=(), timeout=5.0, settle=0.0):
        """The next changes are exactly these, in any order of the VLANs: none missing, none too many."""
        expected = collections.Counter(change[:3] for change in changes)
        got = collections.Counter(change[:3] for change in self.take(len(changes), timeout, settle))
        if got != expected:
            raise Timeout('\n'.join(['the changes are not the expected ones',
                                     *(f'  missing: {key} x {n}' for key, n in (expected - got).items()),
                                     *(f'  too many: {key} x {n}' for key, n in (got - expected).items()),
                                     self._switch.report()]))

    def catch_up(self):
        """The changes so far are accounted for otherwise."""
        self._seen = len(self.process.lines())

    def quiet(self, seconds=0.3):
        """Nothing changes for a while."""
        self.expect((), settle=seconds)

    def judge(self):
        """Holds every change so far against the pool."""
        came = self.changes()
        for change in came[self._judged:]:
            self._pool.apply(change)
        self._judged = len(came)

    @property
    def held(self):
        """The index of every pair that is programmed, by what the agent has said so far."""
        self.judge()
        return dict(self._pool.held)

    @property
    def line(self):
        self.judge()
        return list(self._pool.line)

    # The table

    def table(self):
        """Asks for the table; it must agree with the changes said so far."""
        return self._table(self._ask_for_table())

    def _ask_for_table(self):
        begin = len(self.process.lines())
        self.process.send(signal.SIGUSR1)
        return begin

    def _table(self, begin):
        table = self._read_table(begin)
        self._compare(table)
        return table

    def _read_table(self, begin):
        end = self.process.wait_line(TOTALS.match, 'the table', begin=begin)
        lines = self.process.lines()[begin:end + 1]
        header = next((n for n, line in enumerate(lines) if line.split()[:2] == ['VLAN', 'MAC']), None)
        assert header is not None, f'a table without its header\n{self.process.report(begin)}'
        assert lines[header].split() == ['VLAN', 'MAC', 'INTERFACE', 'INDEX', 'WANTED', 'PROGRAMMED'], lines[header]
        rows = []
        for line in lines[header + 1:-1]:
            found = ROW.match(line)
            assert found, f'not a row of the table: {line!r}'
            vlan, address, interface, place, wanted, is_programmed = found.groups()
            rows.append(Row(int(vlan), address, interface, int(place) if place.isdigit() else place, wanted,
                            is_programmed))
        return Table(rows, tuple(map(int, TOTALS.match(lines[-1]).groups())))

    def _compare(self, table):
        self.judge()
        shown = {(row.vlan, row.mac): row.place for row in table.rows}
        said = {**self._pool.held,
                **{pair: f'line {place}' for place, pair in enumerate(self._pool.line, 1)}}
        assert shown == said, f'the table shows\n  {shown}\nand the changes say\n  {said}\n{self.process.report()}'
        assert len(shown) == len(table.rows), f'a pair stands twice in the table: {table.rows}'
        for row in table.rows:
            assert row.wanted == 'yes', f'{row}: nothing is in the table that is not wanted'
            assert row.programmed == ('yes' if isinstance(row.place, int) else 'no'), row
        held, waiting = len(self._pool.held), len(self._pool.line)
        assert table.totals == (held + waiting, held, waiting, held, self.indexes), table.totals

    # Its end

    def stop(self, number=signal.SIGTERM):
        """Ends it in order: it prints its table and leaves with 0. Returns the table."""
        begin = len(self.process.lines())
        self.ended = True
        status = self.process.stop(number)
        assert status == 0, f'it has ended with {status}\n{self.process.report()}'
        return self._table(begin)

    def kill(self):
        self.ended = True
        self.process.stop(signal.SIGKILL)

    def memory(self, name='VmRSS'):
        """What it has in memory, in kB; VmHWM: the most that it ever had."""
        with open(f'/proc/{self.process.pid}/status', encoding='ascii') as status:
            return next(int(line.split()[1]) for line in status if line.startswith(name))

    def descriptors(self):
        return len(os.listdir(f'/proc/{self.process.pid}/fd'))

    def hardware(self):
        """What is in the file of the hardware, byte for byte."""
        with open(self.slots, 'rb') as slots:
            return slots.read()

    def held_in_hardware(self):
        """The index of every pair, by what the hardware itself says."""
        return self._hardware.entries()

    def writes(self):
        """How often a slot has been written since the file was made."""
        return struct.unpack_from('=Q', self.hardware(), 24)[0]

    def words(self):
        """What stands in each slot, by index; free ones are not in it."""
        slots = struct.unpack_from(f'={self.indexes}Q', self.hardware(), 64)
        return {index: word for index, word in enumerate(slots) if word}


def run_agent(*arguments):
    """Runs the agent to its end, without a switch; returns the exit status, its output and its errors."""
    if not os.access(PROGRAM, os.X_OK):
        raise LabError(f'there is no {PROGRAM}: build it first, or set ORLO_AGENT')
    try:
        done = subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=5,
                              stdin=subprocess.DEVNULL, check=False)
    except subprocess.TimeoutExpired:
        raise Timeout(f'{" ".join([PROGRAM, *arguments])} goes on and on') from None
    return done.returncode, done.stdout, done.stderr
