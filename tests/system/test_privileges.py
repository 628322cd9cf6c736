"""What the agent may do beside of what everybody may: what its hardware needs, and nothing else."""

import os
import unittest

from agent import PROGRAM, Agent, appears
from case import SystemTest
from hardware import EbpfHardware
from lab import Lab
from test_bridge_hardware import SVI, OnBridge

NET_ADMIN, BPF = 1 << 12, 1 << 39
NOBODY = ('setpriv', '--reuid=65534', '--regid=65534', '--clear-groups')


def status_of(agent):
    """The capabilities of the process, and whether it can get more."""
    with open(f'/proc/{agent.process.pid}/status', encoding='ascii') as file:
        fields = dict(line.rstrip('\n').split(':\t', 1) for line in file if ':\t' in line)
    return {name: int(fields[name], 16) for name in ('CapInh', 'CapPrm', 'CapEff', 'CapBnd', 'CapAmb', 'NoNewPrivs')}


def only(kept):
    return {'CapInh': 0, 'CapPrm': kept, 'CapEff': kept, 'CapBnd': kept, 'CapAmb': 0, 'NoNewPrivs': 1}


def of_somebody(kept):
    """The same of a user who is not root: the bounding set cannot be changed, and gives nothing back."""
    return {name: value for name, value in only(kept).items() if name != 'CapBnd'}


def without_bounding(agent):
    return {name: value for name, value in status_of(agent).items() if name != 'CapBnd'}


def said(agent):
    """What it says that it keeps."""
    return [line for line in agent.process.lines() if 'capabilities kept' in line]


class MemoryTest(SystemTest):

    def test_root_keeps_nothing(self):
        agent = self.agent()
        self.assertEqual(only(0), status_of(agent))
        self.assertEqual(['orlo-agent: capabilities kept: none'], said(agent))
        self.left.router(51)
        agent.expect(appears(51))

    def test_what_only_the_start_needs_is_gone_after_it(self):
        agent = self.agent(control={'group': '65534', 'metrics': {'port': 99}})
        self.assertEqual(only(0), status_of(agent))
        self.assertEqual(65534, os.stat(agent.socket).st_gid)
        with open(f'/proc/{agent.process.pid}/net/tcp', encoding='ascii') as sockets:
            self.assertIn(f'0100007F:{99:04X} ', sockets.read())

    def test_somebody_without_any_privilege_runs_it(self):
        os.chmod(self.lab.directory, 0o755)
        os.chown(self.left.directory, 65534, 65534)
        agent = self.agent(prefix=NOBODY)
        self.assertEqual(of_somebody(0), without_bounding(agent))
        self.left.router(51)
        agent.expect(appears(51))
        agent.configure(9)
        self.assertEqual(0, self.ctl(agent).json('reload')['calls'])

    def test_a_reload_that_cannot_read_is_announced_at_the_start(self):
        agent = self.agent()
        agent.stop()
        os.chown(agent.configuration, 65534, 65534)
        os.chmod(agent.configuration, 0o600)
        agent.start()
        self.assertIn(f'orlo-agent: {agent.configuration} cannot be read by this user any more: a reload will be '
                      'refused', agent.process.lines())


class EbpfTest(unittest.TestCase):

    def setUp(self):
        self.lab = Lab()
        self.addCleanup(self.lab.close)
        self.switch = self.lab.switch('switch')
        self.switch.svi('br10')
        self.switch.ip('link add swp1 type veth peer name host', 'link set swp1 up', 'link set host up')
        self.hardware = EbpfHardware(self.switch, ['swp1'])
        self.addCleanup(self.hardware.close)

    def test_root_keeps_what_a_program_and_its_filters_need(self):
        agent = Agent(self.switch, hardware=self.hardware)
        self.assertEqual(only(NET_ADMIN | BPF), status_of(agent))
        self.assertEqual(['orlo-agent: capabilities kept: CAP_NET_ADMIN CAP_BPF'], said(agent))

        self.switch.router(51)
        agent.expect(appears(51))
        self.assertEqual(3, len(self.hardware.entries()))
        filters = self.hardware.filters()
        self.assertEqual(1, len(filters['swp1']))
        agent.stop()
        agent.start()
        self.assertEqual((3, 0), (agent.ready['adopted'], agent.ready['programmed']))
        self.assertEqual(filters, self.hardware.filters())

    def test_what_is_missing_is_said(self):
        agent = Agent(self.switch, hardware=self.hardware)
        agent.stop()
        process = self.switch.start('setpriv', '--bounding-set=-bpf', PROGRAM, agent.configuration)
        self.assertEqual(1, process.wait())
        self.assertEqual(['orlo-agent: the ebpf hardware needs CAP_BPF, and this process does not have it: start it as '
                          'root, or add it to CapabilityBoundingSet= and AmbientCapabilities= of the service'],
                         process.lines())


class EbpfInAnotherKernelTest(EbpfTest):
    """Linux 6.1, whose verifier is stricter with whoever has no CAP_PERFMON."""

    needs_vlan_kernel = True


class BridgeTest(OnBridge):

    def setUp(self):
        super().setUp()
        self.switch.router(51, 'br0.10')

    def agent(self, *prefix):
        agent = Agent(self.switch, interfaces=[SVI], hardware=self.hardware, prefix=prefix)
        self.assertEqual(3, agent.ready['adopted'] + agent.ready['programmed'])
        self.assertEqual(3, len(self.hardware.entries()), agent.process.report())
        self.assertEqual(['orlo-agent: capabilities kept: CAP_NET_ADMIN'], said(agent))
        return agent

    def test_root_keeps_what_entries_and_rules_need(self):
        self.assertEqual(only(NET_ADMIN), status_of(self.agent()))

    def test_a_user_of_its_own_needs_one_capability(self):
        os.chmod(self.lab.directory, 0o755)
        os.chown(self.switch.directory, 65534, 65534)
        agent = self.agent(*NOBODY, '--inh-caps=-all,+net_admin', '--ambient-caps=-all,+net_admin')
        self.assertEqual(of_somebody(NET_ADMIN), without_bounding(agent))
