"""The agent is killed right before each single write to the hardware in turn, and started again: it always converges,
and nothing that the hardware held and is still wanted changes its index."""

import signal

from agent import SVI10, Agent
from case import SystemTest
from daemons import mac
from hardware import MemoryHardware
from lab import wait_until

VLANS = (10, 11, 12)
INDEXES = 5


class Doomed(Agent):
    """An agent that a failpoint may kill at any time: nothing it should have said is waited for in vain."""

    def __init__(self, switch, at_write, **options):
        self._at_write = at_write
        super().__init__(switch, **options)

    def start(self, on_line=None):
        self.process = self._switch.start('/usr/bin/env', f'ORLO_FAILPOINT={self._at_write}', *self.command)
        self.ended = True

    def wait(self, words):
        """Until it has said so many of the words since the last time, or was killed; whether it lives."""
        def all_said():
            lines = self.process.lines()
            return all(sum(line.startswith(word) for line in lines) >= number for word, number in words.items())
        wait_until(lambda: all_said() or not self.process.running(), f'{words} are said, or it is killed', 10.0,
                   self.process.report)
        return self.process.running()


class KilledTest(SystemTest):

    interface = SVI10

    def setUp(self):
        super().setUp()
        self.hardware = self.make_hardware()

    def make_hardware(self):
        return MemoryHardware(self.left)

    def doomed(self, at_write):
        """Runs the whole scenario with an agent that is killed before its at_write-th write. Six pairs for five indexes;
        then a virtual router goes and the waiting pair takes over an index; then another router comes. Returns the
        routers that are there in the end, and whether the agent has come through."""
        agent = Doomed(self.left, at_write, indexes=INDEXES, interfaces=[self.interface], hardware=self.hardware)
        if not agent.wait({'ready': 1, 'programmed': 5, 'waiting': 1}):
            return agent, (51, 52), False
        self.left.ip('link del vr.51')
        if not agent.wait({'removed': 3, 'programmed': 6}):
            return agent, (52,), False
        self.left.router(53, self.interface['name'])
        if not agent.wait({'programmed': 8, 'waiting': 2}):
            return agent, (52, 53), False
        return agent, (52, 53), True

    def routers_are(self, vrids):
        for vrid in (51, 52, 53):
            if (self.left.show(f'vr.{vrid}') is not None) != (vrid in vrids):
                if vrid in vrids:
                    self.left.router(vrid, self.interface['name'])
                else:
                    self.left.ip(f'link del vr.{vrid}')

    def test_at_every_single_write(self):
        writes = 0
        while True:
            writes += 1
            self.hardware.empty()
            self.routers_are((51, 52))
            doomed, routers, came_through = self.doomed(writes)
            if came_through:
                doomed.process.stop(signal.SIGKILL)
                break
            self.assertEqual(-signal.SIGKILL, doomed.process.returncode, doomed.process.report())
            with self.subTest(writes=writes, said=doomed.process.lines()[-1:]):
                self.converges(routers)
        # 5 at the start, 3 removed and 1 handed on, 2 for the last router; the survivor is one further
        self.assertGreater(writes, 11)

    def converges(self, routers):
        found = self.hardware.entries()
        wanted = {(vlan, mac(vrid)) for vrid in routers for vlan in VLANS}

        agent = self.agent(indexes=INDEXES, interfaces=[self.interface], hardware=self.hardware)

        agent.judge()
        self.assertEqual(agent.held, self.hardware.entries())
        self.assertEqual(min(INDEXES, len(wanted)), len(agent.held))
        self.assertLessEqual(set(agent.held), wanted)
        self.assertEqual({pair: index for pair, index in found.items() if pair in wanted},
                         {pair: index for pair, index in agent.held.items() if pair in found})
        agent.kill()
