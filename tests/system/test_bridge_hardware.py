"""The bridge hardware: pairs in the FDB of a VLAN-aware bridge, rules for those on secondary VLANs, and frames."""

import time
import unittest

from agent import Agent
from daemons import mac
from hardware import BridgeHardware
from lab import Lab, need, wait_until
from routed_lab import FilteringLab, VLANS

SVI = {'name': 'br0.10', 'vlan': 10, 'secondaryVlans': [11, 12]}
OURS = {(vlan, mac(51)) for vlan in (10, 11, 12)}
RULES = {((vlan, mac(51)), 10) for vlan in (11, 12)}


def make_bridge(switch, vlans=(10, 11, 12)):
    switch.ip('link add br0 type bridge vlan_filtering 1 vlan_default_pvid 0 stp_state 0 forward_delay 0',
              'link set br0 up',
              'link add port type veth peer name host', 'link set host up', 'link set port master br0 up',
              'link add br0.10 link br0 type vlan id 10', 'link set br0.10 up')
    bridge(switch, *(f'vlan add dev port vid {vlan}' for vlan in vlans),
           *(f'vlan add dev br0 vid {vlan} self' for vlan in vlans))


def bridge(switch, *lines):
    switch.run(need('bridge', 'iproute2'), '-batch', '-', text='\n'.join(lines) + '\n')


class OnBridge(unittest.TestCase):
    """A switch with a bridge, and its FDB as the hardware."""

    needs_vlan_kernel = True
    maxDiff = None

    def setUp(self):
        self.lab = Lab()
        self.addCleanup(self.lab.close)
        self.switch = self.lab.switch('switch')
        self.hardware = BridgeHardware(self.switch, 'br0', 10)
        make_bridge(self.switch)


class FdbTest(OnBridge):
    """What the agent writes, and what it does about what others write."""

    def agent(self, indexes=8):
        return Agent(self.switch, indexes=indexes, interfaces=[SVI], hardware=self.hardware)

    def programmed(self):
        """An agent that has programmed virtual router 51 on three VLANs."""
        self.switch.router(51, 'br0.10')
        agent = self.agent()
        self.wait_whole(agent)
        return agent

    def wait(self, condition, what, agent):
        wait_until(condition, what, 10.0, agent.process.report)

    def wait_whole(self, agent):
        self.wait(lambda: set(self.hardware.entries()) == OURS and set(self.hardware.rules().values()) == RULES,
                  'everything is there', agent)
        self.assertEqual({index: pair for pair, index in self.hardware.entries().items() if pair[0] != 10},
                         {index: pair for index, (pair, _) in self.hardware.rules().items()})

    def test_pairs_come_and_go(self):
        agent = self.programmed()

        self.switch.ip('link del vr.51')

        self.wait(lambda: not self.hardware.local() and not self.hardware.rules(), 'nothing is left', agent)
        agent.stop()

    def test_what_was_learned_from_the_peer_is_replaced(self):
        bridge(self.switch, f'fdb add {mac(51)} dev port master dynamic vlan 10')

        agent = self.programmed()

        agent.stop()

    def test_an_entry_of_somebody_else_is_used_and_stays(self):
        bridge(self.switch, f'fdb add {mac(51)} dev br0 self permanent vlan 11')
        agent = self.programmed()
        agent.process.wait_line(lambda line: 'is in the FDB of bridge br0 already' in line, 'whose entry it is')
        agent.kill()
        agent.start()
        self.wait_whole(agent)

        self.switch.ip('link del vr.51')

        self.wait(lambda: not self.hardware.rules(), 'the rules are gone', agent)
        self.wait(lambda: self.hardware.local() == {(11, mac(51))}, 'this entry is left alone', agent)

    def test_entries_and_rules_that_somebody_removes_are_put_back(self):
        agent = self.programmed()
        tc = need('tc', 'iproute2')
        for what, remove in (
                ('an entry', lambda: bridge(self.switch, f'fdb del {mac(51)} dev br0 self vlan 11')),
                ('an entry, to a port', lambda: bridge(self.switch,
                                                       f'fdb replace {mac(51)} dev port master static vlan 10')),
                ('a rule', lambda: self.switch.run(tc, 'filter', 'del', 'dev', 'br0', 'ingress', 'pref', 0x5652,
                                                   'protocol', '802.1Q', 'handle', min(self.hardware.rules()) + 1,
                                                   'flower')),
                ('all rules', lambda: self.switch.run(tc, 'filter', 'del', 'dev', 'br0', 'ingress', 'pref', 0x5652)),
                ('their place', lambda: self.switch.run(tc, 'qdisc', 'del', 'dev', 'br0', 'clsact'))):
            with self.subTest(what):
                remove()
                self.wait_whole(agent)
        agent.stop()

    def test_a_vlan_that_the_bridge_lacks_is_refused_until_it_comes(self):
        bridge(self.switch, 'vlan del dev br0 vid 12 self')
        self.switch.router(51, 'br0.10')
        agent = self.agent()
        agent.process.wait_line(lambda line: line.startswith('refused     VLAN 12') and line.endswith(
            'VLAN 12 is not on bridge br0: bridge vlan add dev br0 vid 12 self'), 'why it is refused')
        self.assertEqual({10, 11}, {vlan for vlan, _ in self.hardware.entries()})

        bridge(self.switch, 'vlan add dev br0 vid 12 self')

        self.wait_whole(agent)

    def test_a_bridge_that_is_made_anew_is_filled_again(self):
        agent = self.programmed()
        self.switch.ip('link del br0', 'link del port')
        agent.process.wait_line(lambda line: line.startswith('withdrawn'), 'that the device is gone')

        make_bridge(self.switch)
        self.switch.router(51, 'br0.10')

        self.wait_whole(agent)
        agent.stop()

    def test_a_restart_writes_nothing(self):
        agent = self.programmed()
        before = self.hardware.entries(), self.hardware.rules()
        agent.kill()
        tc, marks = need('tc', 'iproute2'), iter(range(1, 100))
        fdb = self.switch.start(need('bridge', 'iproute2'), 'monitor', 'fdb')
        rules = self.switch.start(tc, 'monitor')

        def mark():
            """What both tell of what has happened before, they have told when they tell of this."""
            number = next(marks)
            bridge(self.switch, f'fdb add 02:00:00:00:00:{number:02x} dev port master static vlan 10')
            self.switch.run(tc, 'qdisc', 'replace', 'dev', 'host', 'root', 'handle', f'{number}:', 'pfifo')
            return f'02:00:00:00:00:{number:02x}', f'pfifo {number}:'

        def told(process, what):
            return any(what in line for line in process.lines())

        def both_listen():
            one, other = mark()
            time.sleep(0.01)
            return told(fdb, one) and told(rules, other)

        wait_until(both_listen, 'both listen', 10.0)

        agent.start()

        self.assertEqual(3, agent.ready['adopted'])
        one, other = mark()
        fdb.wait_line(lambda line: one in line, one)
        rules.wait_line(lambda line: other in line, other)
        self.assertEqual([], [line for line in fdb.lines() if mac(51) in line])
        self.assertEqual([], [line for line in rules.lines() if 'dev br0' in line])
        self.assertEqual(before, (self.hardware.entries(), self.hardware.rules()))
        agent.stop()


class FramesTest(unittest.TestCase):
    """Hosts on access ports send to the virtual router."""

    needs_vlan_kernel = True

    def setUp(self):
        self.lab = FilteringLab()
        self.addCleanup(self.lab.close)
        self.hardware = BridgeHardware(self.lab.switch, 'br0', 10)
        self.lab.router(51)

    def send(self):
        """Each host sends 20 frames. How many of each were flooded, and how many routed and answered, by VLAN."""
        with self.lab.flooded(51) as flooded:
            flows = {vlan: self.lab.flow(vlan, 51, count=20) for vlan in VLANS}
            for flow in flows.values():
                flow.wait()
        return {vlan: (flooded.heard.get(vlan, 0), flow.received_upstream, flow.answered)
                for vlan, flow in flows.items()}

    def test_frames_are_routed_with_an_index_and_flooded_without(self):
        def agent(indexes):
            return Agent(self.lab.switch, indexes=indexes, interfaces=[self.lab.interface], hardware=self.hardware)
        flooded, routed = (20, 0, 0), (0, 20, 20)

        none = agent(0)
        none.take(4)
        self.assertEqual({vlan: flooded for vlan in VLANS}, self.send())
        none.stop()

        some = agent(8)
        wait_until(lambda: len(self.hardware.entries()) == 3, 'three pairs are programmed', 10.0, some.process.report)
        self.assertEqual({10: routed, 11: routed, 12: routed, 20: flooded}, self.send())
        some.kill()
        self.assertEqual({10: routed, 11: routed, 12: routed, 20: flooded}, self.send())
