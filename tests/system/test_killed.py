"""The agent is killed right before each single write to the hardware in turn, and started again: it always converges,
and nothing that the hardware held and is still wanted changes its index."""

import os
import signal
import unittest

from agent import PROGRAM, SVI10, Agent
from daemons import mac
from hardware import BridgeHardware, EbpfHardware, MemoryHardware, OneByOne
from lab import Lab, wait_until
from orloctl import Orloctl
from routed_lab import PRIMARY, FilteringLab


class Doomed(Agent):
    """An agent that a failpoint may kill at any time: nothing it should have said is waited for in vain."""

    def __init__(self, switch, at_write, **options):
        self._at_write = at_write
        super().__init__(switch, **options)

    def start(self, on_line=None):
        self.process = self._switch.start('/usr/bin/env', f'ORLO_FAILPOINT={self._at_write}', *self.command)
        self.ended = True

    def lives(self, word, times):
        """Waits until it has said the word so often, which it does when the hardware is written; false: it was killed
        before."""
        def said():
            return sum(line.startswith(word) for line in self.process.lines()) >= times
        wait_until(lambda: said() or not self.process.running(), f'it says {word}, or is killed', 20.0,
                   self.process.report)
        return said()


class KilledTest(unittest.TestCase):
    """On a slot file."""

    vlans, indexes = (10, 11, 12), 5
    writes = 11  # at least: 5 at the start, 3 removed and 1 handed on, 2 for the last router
    svi = 'br10'
    step = 1

    def setUp(self):
        lab = Lab()
        self.addCleanup(lab.close)
        self.switch = lab.switch('switch')
        self.switch.svi('br10', '10.0.10.1/24')
        self.hardware = MemoryHardware(self.switch)

    def options(self):
        interface = {**SVI10, 'name': self.svi, 'secondaryVlans': list(self.vlans[1:])}
        return {'indexes': self.indexes, 'interfaces': [interface], 'hardware': self.hardware}

    def routers_are(self, vrids):
        for vrid in (51, 52, 53):
            if (self.switch.show(f'vr.{vrid}') is not None) != (vrid in vrids):
                if vrid in vrids:
                    self.switch.router(vrid, self.svi)
                else:
                    self.switch.ip(f'link del vr.{vrid}')

    def scenario(self, at_write):
        """With an agent that is killed before its at_write-th write: more pairs than indexes; then a virtual router goes
        and who waits takes over an index; then another router comes. Returns the agent, the routers that are there in
        the end, and whether it has come through."""
        self.hardware.empty()
        self.routers_are((51, 52))
        agent = Doomed(self.switch, at_write, **self.options())
        if not agent.lives('ready', 1):
            return agent, (51, 52), False
        self.routers_are((52,))
        if not agent.lives('withdrawn', 1):
            return agent, (52,), False
        self.routers_are((52, 53))
        return agent, (52, 53), agent.lives('published', 3)

    def test_at_every_single_write(self):
        writes, kills = 1, 0
        while True:
            doomed, routers, came_through = self.scenario(writes)
            if came_through:
                doomed.process.stop(signal.SIGKILL)
                break
            self.assertEqual(-signal.SIGKILL, doomed.process.returncode, doomed.process.report())
            with self.subTest(writes=writes, said=doomed.process.lines()[-1:]):
                self.converges(routers)
            kills += 1
            writes += self.step
        self.assertGreater(writes, self.writes)
        print(f'               killed before {kills} of {writes - 1} writes, one after the other'
              + (f'; scripts/soak --part kills takes every one, not every {self.step}th' if self.step > 1 else ''))

    def converges(self, routers):
        found = self.hardware.entries()
        wanted = {(vlan, mac(vrid)) for vrid in routers for vlan in self.vlans}

        agent = Agent(self.switch, **self.options())

        agent.judge()
        held = self.hardware.entries()
        self.assertEqual(agent.held, held)
        self.assertEqual(min(self.indexes, len(wanted)), len(held))
        self.assertLessEqual(set(held), wanted)
        self.assertEqual({pair: index for pair, index in found.items() if pair in wanted},
                         {pair: index for pair, index in held.items() if pair in found})
        self.assertEqual((0, ''), Orloctl(agent.socket).run('audit')[::2])
        agent.kill()


class KilledEbpfTest(KilledTest):
    """On the tables of the program at the switch ports, written one by one."""

    def setUp(self):
        super().setUp()
        tables = EbpfHardware(self.switch, ['port-br10'])
        self.addCleanup(tables.close)
        self.hardware = OneByOne(tables, os.path.dirname(os.path.dirname(PROGRAM)))


class KilledBridgeTest(KilledTest):
    """On a bridge with VLANs, written one by one: a slot, a rule and an FDB entry for a pair."""

    needs_vlan_kernel = True
    vlans, indexes, svi = (10, 11), 3, 'br0.10'
    step = int(os.environ.get('ORLO_KILL_STEP', 6))  # that kernel is slow

    def setUp(self):
        lab = FilteringLab()
        self.addCleanup(lab.close)
        self.switch = lab.switch
        self.hardware = OneByOne(BridgeHardware(lab.switch, lab.bridge, PRIMARY),
                                 os.path.dirname(os.path.dirname(PROGRAM)))
