"""The kernel of the switch as the hardware: the program at its ports brings frames to virtual router MACs up into their
SVI, also while no agent runs, and the ports keep it whatever happens to them."""

import re
import unittest

from agent import PROGRAM, Agent, adopted, appears, published, removed, run_agent
from hardware import EbpfHardware
from lab import Lab, need, wait_until
from orloctl import Orloctl
from routed_lab import PRIMARY, SECONDARY, VLANS, FilteringLab, TaggedLab

SET = (PRIMARY, *SECONDARY)


def counts(flow):
    return flow.sent, flow.received_upstream, flow.answered


class PortsTest(unittest.TestCase):
    """Hosts that send through the ports."""

    maxDiff = None
    lab_type = None

    def setUp(self):
        self.lab = self.lab_type()
        self.addCleanup(self.lab.close)
        self.switch = self.lab.switch
        self.use(EbpfHardware(self.switch, self.lab.ports.values()))
        self.lab.router(51)

    def use(self, hardware):
        self.hardware = hardware
        self.addCleanup(self.hardware.close)

    def agent(self, indexes=8):
        agent = Agent(self.switch, indexes=indexes, interfaces=[self.lab.interface], hardware=self.hardware)
        if indexes:
            agent.expect(appears(51, interface=self.lab.svi))
        return agent

    def send(self, vlans=VLANS, number=20, **how):
        """What becomes of the frames of each host."""
        flows = {vlan: self.lab.flow(vlan, 51, count=number, **how) for vlan in vlans}
        return {vlan: counts(flow.wait()) for vlan, flow in flows.items()}


class AccessPortsTest(PortsTest):
    """In a kernel with VLANs: the hosts are on access ports and tag nothing, the SVI is a VLAN device on the bridge."""

    needs_vlan_kernel = True
    lab_type = FilteringLab

    def setUp(self):
        super().setUp()
        self.hardware.ports_are({'name': port, 'vlan': vlan} for vlan, port in self.lab.ports.items())

    def test_frames_of_the_set_are_routed_and_not_flooded(self):
        self.agent()

        with self.lab.flooded(51) as flooded:
            came = self.send()

        self.assertEqual({10: (20, 20, 20), 11: (20, 20, 20), 12: (20, 20, 20), 20: (20, 0, 0)}, came)
        self.assertEqual({20: 20}, flooded.heard)

    def test_without_an_index_all_of_them_are_flooded(self):
        self.agent(indexes=0)

        with self.lab.flooded(51) as flooded:
            came = self.send()

        self.assertEqual({vlan: (20, 0, 0) for vlan in VLANS}, came)
        self.assertEqual({vlan: 20 for vlan in VLANS}, flooded.heard)


class EbpfTest(PortsTest):
    """All hosts tag their frames: see TaggedLab."""

    lab_type = TaggedLab

    def again(self, agent):
        """Starts the agent once more: it adopts everything."""
        agent.start()
        agent.expect(published(51) + adopted(51))

    def writes(self, agent):
        return int(re.search(r'^orlo_hardware_writes_total (\d+)$', Orloctl(agent.socket).text('metrics'),
                             re.MULTILINE).group(1))

    def ifindex(self, device):
        return self.switch.show(device)['ifindex']

    def wait_filter(self, port, there=True):
        wait_until(lambda: bool(self.hardware.filters()[port]) == there,
                   f'{port} has {"the program" if there else "no program"}', 5.0, self.switch.report)

    def tc(self, *words):
        self.switch.run(need('tc', 'iproute2'), *words)

    # Frames

    def test_frames_of_the_set_are_routed_and_counted(self):
        agent = self.agent()

        came = self.send()

        self.assertEqual({10: (20, 20, 20), 11: (20, 20, 20), 12: (20, 20, 20), 20: (20, 0, 0)}, came)
        frames = {index: frames for index, (frames, _) in self.hardware.counts().items()}
        self.assertEqual({index: 20 for index in agent.held.values()}, frames)
        self.assertEqual(1, len({octets for _, octets in self.hardware.counts().values()}))

    def test_without_an_index_none_of_them_is(self):
        self.agent(indexes=0)

        self.assertEqual({vlan: (20, 0, 0) for vlan in VLANS}, self.send())
        self.assertEqual({}, self.hardware.counts())

    def test_frames_without_a_tag_belong_to_the_access_vlan_of_their_port(self):
        ports = self.lab.ports
        self.hardware.ports_are([ports[10], {'name': ports[11], 'vlan': 11}, {'name': ports[12], 'vlan': 10},
                                 ports[20]])
        agent = self.agent()

        came = self.send(vlans=SET, tag=0)

        # On this bridge they would be routed without the program as well: what it has done is in its counters.
        self.assertEqual({vlan: (20, 20, 20) for vlan in SET}, came)
        counted = {pair[0]: self.hardware.counts().get(index, (0, 0))[0] for pair, index in agent.held.items()}
        self.assertEqual({10: 20, 11: 20, 12: 0}, counted)

    def test_frames_to_a_router_that_has_gone_are_not_routed(self):
        agent = self.agent()
        before = self.send(vlans=SET)
        self.switch.ip('link set vr.51 down')
        agent.take(4)

        self.assertEqual({}, self.hardware.entries())
        self.assertEqual({vlan: (20, 0, 0) for vlan in SET}, self.send(vlans=SET))
        self.assertEqual({vlan: (20, 20, 20) for vlan in SET}, before)

    # The agent ends and starts again

    def test_it_forwards_while_no_agent_runs_and_the_next_one_changes_nothing(self):
        agent = self.agent()
        before = self.hardware.rows(), self.hardware.ports(), self.hardware.ids(), self.hardware.filters()
        flows = [self.lab.flow(vlan, 51) for vlan in SET]

        agent.kill()
        for flow in flows:
            flow.wait_answered(200)
        self.again(agent)
        for flow in flows:
            flow.wait_answered(200)
            flow.stop()

        after = self.hardware.rows(), self.hardware.ports(), self.hardware.ids(), self.hardware.filters()
        self.assertEqual(before, after)
        self.assertEqual(0, self.writes(agent))
        self.assertEqual([[]] * 3, [flow.lost for flow in flows], '\n'.join(map(str, flows)))

    def test_another_number_of_indexes_loses_no_frame(self):
        agent = self.agent()
        held, ids = agent.held, self.hardware.ids()
        flows = [self.lab.flow(vlan, 51) for vlan in SET]
        for indexes in (3, 500):
            agent.kill()
            agent.configure(indexes, [self.lab.interface])
            self.again(agent)
            self.assertEqual(held, self.hardware.entries())
            for flow in flows:
                flow.wait_answered(200)
        for flow in flows:
            flow.stop()

        self.assertEqual([[]] * 3, [flow.lost for flow in flows], '\n'.join(map(str, flows)))
        self.assertNotEqual(ids['program'], self.hardware.ids()['program'])
        self.assertEqual(ids['ports'], self.hardware.ids()['ports'])
        self.assertEqual({str(self.hardware.ids()['program'])},
                         {program for filters in self.hardware.filters().values() for _, _, program in filters})

    def test_an_svi_that_was_made_again_meanwhile(self):
        lab = Lab()
        self.addCleanup(lab.close)
        self.switch = lab.switch('left')
        self.switch.svi('br10')
        self.use(EbpfHardware(self.switch, ['port-br10']))
        self.switch.router(51)
        agent = self.agent()
        before = self.ifindex('br10')
        self.assertEqual({before}, {svi for _, svi in self.hardware.rows().values()})

        agent.kill()
        self.switch.ip('link del br10', 'link add br10 type bridge stp_state 0 forward_delay 0', 'link set br10 up',
                       'link set port-br10 master br10')
        self.switch.router(51)
        self.switch.wait_published('vr.51')
        self.again(agent)

        self.assertNotEqual(before, self.ifindex('br10'))
        wait_until(lambda: {self.ifindex('br10')} == {svi for _, svi in self.hardware.rows().values()},
                   'all of them go into the new SVI', 5.0, self.switch.report)
        self.assertEqual(agent.held, self.hardware.entries())

    def test_what_is_not_wanted_any_more_is_removed(self):
        agent = self.agent()
        agent.kill()
        self.switch.ip('link del vr.51')
        agent.start()

        agent.expect(removed(51))
        self.assertEqual({}, self.hardware.entries())

    def test_a_second_agent_is_turned_away(self):
        self.agent()
        other = self.switch.write('other.json', open(self.switch.path('agent.json'), encoding='utf-8').read()
                                  .replace('/control', '/other-control'))

        process = self.switch.start(PROGRAM, other)

        self.assertEqual(1, process.wait())
        self.assertIn('another orlo-agent uses it', process.report())

    def test_pins_that_are_not_in_a_bpf_file_system(self):
        configuration = self.switch.write('wrong.json', f'''{{
            "hardware": {{ "kind": "ebpf", "indexes": 4, "ports": [], "pins": "{self.switch.path('pins')}" }},
            "control": {{ "path": "{self.switch.path('control')}" }}, "interfaces": [] }}''')

        status, _, errors = run_agent(configuration)

        self.assertEqual(1, status)
        self.assertIn('is not in a BPF file system', errors)
        self.assertIn('mount -t bpf bpf', errors)

    # Ports

    def test_a_port_that_is_made_again_is_in_service_again(self):
        self.agent()
        old = self.ifindex('port-11')

        self.switch.ip('link del port-11')
        wait_until(lambda: old not in self.hardware.ports(), 'the port is out of service', 5.0, self.switch.report)
        self.switch.ip(f'link add port-11 index 1500 type veth peer name host-11 index 2500 '
                       f'address {self.lab.host_mac(11)} netns {self.lab.hosts.pid}', 'link set port-11 master br10 up')
        self.lab.hosts.ip('link set host-11 up')
        self.wait_filter('port-11')
        wait_until(lambda: self.switch.forwards('port-11'), 'port-11 forwards')

        self.assertEqual({11: (20, 20, 20)}, self.send(vlans=[11]))
        self.assertEqual({self.ifindex(port): 0 for port in self.lab.ports.values()}, self.hardware.ports())

    def test_a_port_that_comes_later(self):
        self.hardware.ports_are([*self.lab.ports.values(), 'late'])
        agent = self.agent()
        agent.process.wait_line(lambda line: 'there is no port late' in line, 'that a port is missing')

        self.switch.ip('link add late type veth peer name far')
        self.wait_filter('late')

        self.assertIn(self.ifindex('late'), self.hardware.ports())

    def test_a_filter_that_somebody_takes_away_comes_back(self):
        agent = self.agent()
        before = self.hardware.filters()

        self.tc('filter', 'del', 'dev', 'port-10', 'ingress')
        self.wait_filter('port-10')
        self.tc('qdisc', 'del', 'dev', 'port-12', 'clsact')
        self.wait_filter('port-12')

        self.assertEqual(before, self.hardware.filters())
        self.assertEqual({vlan: (20, 20, 20) for vlan in SET}, self.send(vlans=SET))
        agent.quiet(0.05)

    def test_other_filters_of_a_port_are_left_alone_and_see_their_frames(self):
        self.tc('qdisc', 'add', 'dev', 'port-20', 'clsact')
        place = ('dev', 'port-20', 'ingress', 'pref', '50000')
        self.tc('filter', 'add', *place, 'protocol', 'all', 'u32', 'match', 'u32', '0', '0')
        agent = self.agent()
        line = agent.process.wait_line(lambda text: 'port port-20 is not in service' in text, 'that it cannot')

        self.assertIn('it has one that is not ours', agent.process.lines()[line])
        self.assertEqual([], self.hardware.filters()['port-20'])
        self.tc('filter', 'del', *place)
        self.wait_filter('port-20')

        # One behind it takes what the program passes by, and the bridge has nothing left to flood.
        with self.lab.flooded(51) as before:
            self.send(vlans=[20])
        self.switch.ip('link add sink type veth peer name drain', 'link set sink up', 'link set drain up')
        self.tc('filter', 'add', 'dev', 'port-20', 'ingress', 'pref', '60000', 'protocol', 'all', 'u32',
                'match', 'u32', '0', '0', 'action', 'mirred', 'egress', 'redirect', 'dev', 'sink')
        with self.lab.flooded(51) as after:
            self.send(vlans=[20])
        self.assertEqual(({20: 20}, {}), (before.heard, after.heard))

    def test_a_port_that_is_none_any_more_is_left(self):
        agent = self.agent()
        agent.kill()
        both = [self.lab.ports[vlan] for vlan in (10, 11)]
        self.hardware.ports_are(both)
        agent.configure(8, [self.lab.interface])
        self.again(agent)

        self.assertEqual({10: (20, 20, 20), 11: (20, 20, 20), 12: (20, 0, 0)}, self.send(vlans=SET))
        self.assertEqual({self.ifindex(port) for port in both}, set(self.hardware.ports()))
        self.hardware.ports_are(self.lab.ports.values())
        self.assertEqual([1, 1, 0, 0], [len(filters) for filters in self.hardware.filters().values()])

