"""Measures the agent itself: the kernel's devices in a private network namespace on one side, the memory helper's table
of slots on the other."""

import array
import json
import os
import statistics
import subprocess
import sys
import time

import report

sys.path.insert(0, str(report.ROOT / 'tests' / 'system'))

from agent import PROGRAM  # noqa: E402  the folder has to be known first
from lab import Lab, wait_until  # noqa: E402
from orloctl import CTL  # noqa: E402

ROUTERS = 250  # one VLAN each: the smallest events
ROUNDS = 10
MANY = 16  # virtual routers on all VLANs: 65,504 pairs
VLANS = 4094
TIMES = 5
SHOWN = {'show': ['show'], 'show pairs': ['show', 'pairs']}
LIMIT = 20.0


class RunningAgent:
    """One agent on a switch. It prints into a file, so that nobody has to read along."""

    def __init__(self, switch, indexes, interface):
        self._switch = switch
        self.slots, self.socket, self._output = (switch.path(name) for name in ('slots', 'control', 'output'))
        self._configuration = switch.write('agent.json', json.dumps(
            {'hardware': {'kind': 'memory', 'indexes': indexes, 'path': self.slots},
             'control': {'path': self.socket}, 'interfaces': [interface]}))
        self._process = None

    def start(self):
        """Returns the seconds until it was ready."""
        with open(self._output, 'wb') as output:
            begin = time.monotonic()
            self._process = subprocess.Popen(self._switch.command(PROGRAM, self._configuration), stdout=output,
                                             stderr=output)
        with open(self._output, 'rb') as printed:
            rest = b'\n'
            while b'\nready: ' not in rest:
                assert self._process.poll() is None, f'the agent has ended: {rest.decode("utf-8", "replace")}'
                assert time.monotonic() - begin < LIMIT, 'the agent does not get ready'
                time.sleep(0.0005)
                rest = rest[-4096:] + printed.read()
        return time.monotonic() - begin

    def stop(self):
        if self._process is not None:
            self._process.terminate()
            self._process.wait(LIMIT)
            self._process = None

    def held(self):
        """How many slots are in use."""
        with open(self.slots, 'rb') as file:
            words = array.array('Q', file.read()[64:])
        return len(words) - words.count(0)

    def wait_held(self, count):
        wait_until(lambda: self.held() == count, f'that {count} slots are in use', LIMIT, every=0.0005)

    def processor(self):
        """Seconds that it has run so far."""
        with open(f'/proc/{self._process.pid}/schedstat', encoding='ascii') as schedstat:
            return int(schedstat.read().split()[0]) * 1e-9

    def memory(self, what):
        """VmRSS or VmHWM, in megabytes."""
        with open(f'/proc/{self._process.pid}/status', encoding='ascii') as status:
            return next(int(line.split()[1]) / 1024 for line in status if line.startswith(f'{what}:'))

    def took(self, count, *lines):
        """Runs lines of ip until so many slots are in use. Returns the seconds, and those of the agent's processor."""
        before, begin = self.processor(), time.monotonic()
        self._switch.ip(*lines)
        self.wait_held(count)
        end = time.monotonic()
        return end - begin, self.processor() - before


def devices(switch, count):
    """Up, and without any address: also without the link-local one that the kernel would make of the MAC."""
    switch.ip(*(f'link add vr.{vrid} link br10 address 00:00:5e:00:01:{vrid:02x} type macvlan mode private'
                for vrid in range(1, count + 1)),
              *(f'link set vr.{vrid} addrgenmode none' for vrid in range(1, count + 1)),
              *(f'link set vr.{vrid} up' for vrid in range(1, count + 1)))


def addresses(what, count):
    return [f'addr {what} 192.0.2.{vrid}/32 dev vr.{vrid}' for vrid in range(1, count + 1)]


def span(values, form='{:,.1f}'):
    return [form.format(value) for value in (statistics.median(values), min(values), max(values))]


def small_events(switch, rows):
    agent = RunningAgent(switch, ROUTERS, {'name': 'br10', 'vlan': 10})
    agent.start()
    try:
        devices(switch, ROUTERS)
        figures = {what: [] for what in ('add', 'del')}
        for _ in range(ROUNDS):
            figures['add'].append(agent.took(ROUTERS, *addresses('add', ROUTERS)))
            figures['del'].append(agent.took(0, *addresses('del', ROUTERS)))
    finally:
        agent.stop()
    for what, name in (('add', 'an address comes, its pair is programmed'), ('del', 'it goes, and the pair with it')):
        rows.append([f'{name}: events a second, `ip -batch` included',
                     *span([ROUTERS / wall for wall, _ in figures[what]], '{:,.0f}')])
        rows.append([f'{name}: events in a second of the agent\'s processor',
                     *span([ROUTERS / processor for _, processor in figures[what]], '{:,.0f}')])


def large_events(switch, rows):
    pairs = MANY * VLANS
    agent = RunningAgent(switch, pairs, {'name': 'br10', 'vlan': 1, 'secondaryVlans': list(range(2, VLANS + 1))})
    figures = {name: [] for name in ('add', 'del', 'adopting', 'programming', 'resident', 'peak', *SHOWN)}
    try:
        agent.start()
        devices(switch, MANY)
        for _ in range(TIMES):
            figures['add'].append(agent.took(pairs, *addresses('add', MANY)))
            figures['del'].append(agent.took(0, *addresses('del', MANY)))
        agent.took(pairs, *addresses('add', MANY))
        for _ in range(TIMES):
            agent.stop()
            figures['adopting'].append(agent.start() * 1e3)
            figures['resident'].append(agent.memory('VmRSS'))
            for name, words in SHOWN.items():
                begin = time.monotonic()
                subprocess.run([CTL, '--socket', agent.socket, *words], stdout=subprocess.DEVNULL, check=True)
                figures[name].append((time.monotonic() - begin) * 1e3)
            figures['peak'].append(agent.memory('VmHWM'))
        for _ in range(TIMES):
            agent.stop()
            os.unlink(agent.slots)
            figures['programming'].append(agent.start() * 1e3)
            agent.wait_held(pairs)
    finally:
        agent.stop()
    for what, name in (('add', f'{MANY} addresses, each on {VLANS:,} VLANs, come'), ('del', 'they go')):
        rows.append([f'{name}: pairs a second', *span([pairs / wall for wall, _ in figures[what]], '{:,.0f}')])
        rows.append([f'{name}: pairs in a second of the agent\'s processor',
                     *span([pairs / processor for _, processor in figures[what]], '{:,.0f}')])
    for what, name in (('programming', 'start to ready, empty hardware, ms'), ('adopting', 'start to ready, all adopted, ms'),
                       ('resident', 'resident memory when it is ready, MB'), ('peak', 'the most after all of it was shown, MB'),
                       *((name, f'`orloctl {name}`, ms (goal: 200)') for name in SHOWN)):
        rows.append([f'{pairs:,} pairs: {name}', *span(figures[what])])


def measure(say):
    """The table; needs root, or what else it takes to make a network namespace."""
    rows = []
    for what, part in (('small events', small_events), ('large events', large_events)):
        say(f'the agent, {what}')
        with Lab() as lab:
            switch = lab.switch('bench')
            switch.svi('br10', '192.0.2.254/24')
            part(switch, rows)
    return report.table(('', 'median', 'lowest', 'highest'), rows)
