"""The agent is killed again and again while it writes to the hardware, and no frame is lost: three hosts send all the
time to a virtual router that stays, while many others come and go and have it all rewritten around that one."""

import os
import random
import re
import signal
import time
import unittest

from agent import PROGRAM, Agent
from daemons import mac
from hardware import BridgeHardware, Broken, EbpfHardware, OneByOne
from lab import wait_until
from orloctl import Orloctl
from routed_lab import PRIMARY, FilteringLab, TaggedLab

RATE = 1000
VLANS = (10, 11, 12)
STAYS = 51
LONGEST = 0.1  # seconds from a burst to the kill


class Killer:
    """A switch that routes for three hosts by its hardware, and an agent that is killed."""

    def __init__(self, test, lab, hardware, routers, secondaries, slowness):
        """routers: how many come when as many go. A fifth of their pairs waits. slowness: microseconds that a write takes
        longer, so that there is a middle to be killed in."""
        self.test, self.lab, self.hardware = test, lab, hardware
        self.come_and_go = (range(60, 60 + routers), range(100, 100 + routers))
        interface = {**lab.interface, 'secondaryVlans': list(secondaries)}
        self.pairs = (1 + len(secondaries)) * (1 + routers)
        self.indexes = self.pairs * 4 // 5
        lab.router(STAYS)
        self.agent = Agent(lab.switch, indexes=self.indexes, interfaces=[interface], hardware=hardware,
                           prefix=['/usr/bin/env', f'ORLO_WRITE_DELAY={slowness}'])
        self.ctl = Orloctl(self.agent.socket)
        self.agent.take(2 + len(secondaries))
        for group in self.come_and_go:
            for vrid in group:
                lab.switch.router(vrid, lab.svi, up=False)
        self.present = 1
        self.burst()
        self.agent.process.send(signal.SIGCONT)
        self.settle()
        self.stays = self.of_the_one_that_stays(hardware.entries())
        test.assertEqual(1 + len(secondaries), len(self.stays))
        self.dice = random.Random(int(os.environ.get('ORLO_SEED', 1)))
        self.outstanding = self.half_done = 0

    @staticmethod
    def of_the_one_that_stays(entries):
        return {pair: index for pair, index in entries.items() if pair[1] == mac(STAYS)}

    def burst(self):
        """Virtual routers go and others come; the agent, which has been stopped, hears of it when it goes on."""
        self.agent.process.send(signal.SIGSTOP)
        gone, self.present = self.come_and_go[self.present], 1 - self.present
        there = self.come_and_go[self.present]
        self.lab.switch.ip(*(f'link set vr.{vrid} down' for vrid in gone), *(f'link set vr.{vrid} up' for vrid in there))
        self.lab.only_by_entry(*there)

    def settle(self):
        """Until the hardware is full, and all the others wait."""
        def settled():
            pairs = self.ctl.json('show')['pairs']
            return (pairs['wanted'], pairs['programmed'], pairs['waiting']) == (self.pairs, self.indexes,
                                                                                self.pairs - self.indexes)
        wait_until(settled, f'{self.indexes} pairs are programmed', 10.0, self.agent.process.report)

    def kill(self):
        """One kill, at a random instant after a burst; then a new start."""
        before = self.hardware.entries()
        self.burst()
        self.agent.process.send(signal.SIGCONT)
        time.sleep(self.dice.uniform(0, LONGEST))
        self.agent.kill()
        left = self.hardware.entries()
        self.test.assertEqual(self.stays, self.of_the_one_that_stays(left))
        self.agent.start()
        self.settle()
        now = self.hardware.entries()
        written = set(left.items()) ^ set(now.items())
        self.test.assertEqual(self.stays, self.of_the_one_that_stays(now))
        self.test.assertEqual(self.indexes, len(set(now.values())))
        self.test.assertEqual(len(written), self.writes(), 'something that is right has been written again')
        self.test.assertEqual((0, ''), self.ctl.run('audit')[::2])
        self.outstanding += bool(written)
        self.half_done += left not in (before, now)

    def writes_of_a_restart(self):
        """Of one without any change."""
        self.agent.kill()
        self.agent.start()
        return self.writes()

    def writes(self):
        return int(re.search(r'^orlo_hardware_writes_total (\d+)$', self.ctl.text('metrics'), re.MULTILINE).group(1))


class UndisturbedTest(unittest.TestCase):
    """On the machine's own kernel: the hosts tag their frames, the hardware is the program at the ports."""

    lab_type = TaggedLab
    kills = int(os.environ.get('ORLO_KILLS', 10))
    routers, secondaries = 20, range(11, 61)
    slowness = 50
    is_way_back_exact = True

    def setUp(self):
        self.lab = self.lab_type()
        self.addCleanup(self.lab.close)
        self.hardware = self.make_hardware()
        self.addCleanup(self.hardware.close)

    def make_hardware(self):
        return EbpfHardware(self.lab.switch, self.lab.ports.values())

    def killer(self, hardware):
        return Killer(self, self.lab, hardware, self.routers, self.secondaries, self.slowness)

    def broken(self, fault):
        return Broken(self.hardware, fault, os.path.dirname(os.path.dirname(PROGRAM)))

    def flows(self):
        return [self.lab.flow(vlan, STAYS, rate=RATE) for vlan in VLANS]

    def test_no_frame_is_lost_however_often_it_is_killed(self):
        one_by_one = OneByOne(self.hardware, os.path.dirname(os.path.dirname(PROGRAM)))
        killer = self.killer(one_by_one)
        flows = self.flows()
        self.assertEqual(0, killer.writes_of_a_restart())
        kills = 0
        while kills < self.kills or (killer.outstanding < kills / 2 and kills < 3 * self.kills):
            killer.kill()
            kills += 1
        for flow in flows:
            flow.stop()

        print(f'               {kills} kills, {killer.outstanding} of them with writes outstanding, '
              f'{killer.half_done} in the middle of them; frames sent {sum(flow.sent for flow in flows)} at '
              f'{min(flow.rate for flow in flows):.0f}/s each, '
              f'not routed {sum(len(flow.lost_upstream) for flow in flows)}, '
              f'not answered {sum(len(flow.lost) for flow in flows)}')
        for flow in flows:
            self.assertGreater(flow.answered, RATE, flow)
            self.assertEqual((flow.sent, []), (flow.received_upstream, flow.lost_upstream), flow)
            self.assertEqual([], flow.lost if self.is_way_back_exact else [], flow)
        self.assertGreaterEqual(killer.outstanding, kills / 2)

    def test_without_an_index_nothing_is_routed(self):
        self.lab.router(STAYS)
        agent = Agent(self.lab.switch, indexes=0, interfaces=[self.lab.interface], hardware=self.hardware)
        agent.take(4)

        flows = [self.lab.flow(vlan, STAYS, count=100) for vlan in VLANS]

        self.assertEqual([(100, 0, 0)] * 3,
                         [(flow.wait().sent, flow.received_upstream, flow.answered) for flow in flows])

    def test_an_agent_that_does_not_adopt_is_found_by_its_writes(self):
        killer = self.killer(self.broken('adoption'))

        self.assertGreater(killer.writes_of_a_restart(), 0)

    def test_an_agent_that_empties_the_hardware_is_found_by_lost_frames(self):
        killer = self.killer(self.broken('empty'))
        flows = self.flows()
        for flow in flows:
            flow.wait_answered(100)

        killer.agent.kill()
        killer.agent.start()

        for flow in flows:
            flow.wait_answered(100)
            flow.stop()
        self.assertGreater(sum(len(flow.lost) for flow in flows), 0)


class UndisturbedBridgeTest(UndisturbedTest):
    """In a kernel with VLANs: access ports, the hardware is the bridge."""

    needs_vlan_kernel = True
    lab_type = FilteringLab
    kills = int(os.environ.get('ORLO_KILLS', 5))
    routers, secondaries = 6, (11, 12)
    slowness = 1000
    is_way_back_exact = False  # on its one processor, answers may find a full queue: those are shown, and no more

    def make_hardware(self):
        return BridgeHardware(self.lab.switch, self.lab.bridge, PRIMARY)
