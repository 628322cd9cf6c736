"""What is programmed in every state of a real FRR vrrpd."""

import signal

from agent import appears, disappears
from case import SystemTest
from daemons import Frr


class FrrTest(SystemTest):

    def daemon(self, switch, priority):
        daemon = Frr(switch, 53, priority)
        daemon.make_device()
        return daemon

    def test_a_device_waits_without_carrier_for_its_vrrpd(self):
        agent = self.agent()

        self.daemon(self.left, 100)

        agent.quiet(0.3)
        device = self.left.show('vrrp4-53')
        self.assertTrue(device['proto_down'])
        self.assertEqual(['10.0.10.53'], [entry['local'] for entry in device['addr_info']])

    def test_a_device_with_carrier_counts_before_vrrpd_runs(self):
        agent = self.agent()

        Frr(self.left, 53).make_device(protodown=False)

        agent.expect(appears(53), settle=0.3)

    def test_a_master_has_its_mac_on_every_vlan(self):
        agent = self.agent()

        self.daemon(self.left, 100).start()

        agent.expect(appears(53), settle=0.3)

    def test_a_higher_priority_arrives_and_leaves(self):
        agent, peer = self.agent(), self.agent(self.right)
        self.daemon(self.left, 100).start()
        agent.expect(appears(53))

        other = self.daemon(self.right, 200)
        other.start()
        peer.expect(appears(53))
        agent.expect(disappears(53), settle=0.3)
        self.assertEqual(['7'], list(map(str, self.left.show('vrrp4-53')['proto_down_reason'])))

        other.terminate()
        peer.expect(disappears(53))
        agent.expect(appears(53))

    def test_a_backup_has_nothing(self):
        self.daemon(self.right, 200).start()
        self.right.wait_published('vrrp4-53')
        agent = self.agent()

        backup = self.daemon(self.left, 100)
        backup.start()
        backup.wait_state('Backup')

        agent.quiet(0.6)

    def test_fault_of_the_link_below_the_master(self):
        agent, peer = self.agent(), self.agent(self.right)
        self.daemon(self.left, 200).start()
        agent.expect(appears(53))
        backup = self.daemon(self.right, 100)
        backup.start()
        backup.wait_state('Backup')

        # vrrpd itself stays master: it is the carrier alone that tells.
        self.left.carrier('br10', False)
        agent.expect(disappears(53))
        peer.expect(appears(53))
        agent.quiet(0.3)

        self.left.carrier('br10', True)
        agent.expect(appears(53))
        peer.expect(disappears(53))

    def test_a_backup_that_is_cut_off_elects_itself(self):
        self.daemon(self.left, 200).start()
        self.left.wait_published('vrrp4-53')
        backup = self.daemon(self.right, 100)
        backup.start()
        backup.wait_state('Backup')
        agent = self.agent(self.right)

        backup.vrrpd.send(signal.SIGSTOP)
        self.right.carrier('br10', False)
        agent.quiet(0.1)
        # The kernel gives carrier to a device that is protocol-down no more, though the SVI below has none.
        backup.vrrpd.send(signal.SIGCONT)
        agent.expect(appears(53), settle=0.3)

        self.right.carrier('br10', True)
        agent.expect(disappears(53), settle=0.3)

    def test_kill_leaves_the_pairs_until_the_next_election(self):
        agent, peer = self.agent(), self.agent(self.right)
        master = self.daemon(self.left, 200)
        master.start()
        agent.expect(appears(53))
        backup = self.daemon(self.right, 100)
        backup.start()
        backup.wait_state('Backup')

        master.kill()

        peer.expect(appears(53))
        agent.quiet(0.5)
        self.assertEqual(3, len(agent.table().rows))

        master.start()

        agent.expect(disappears(53) + appears(53))
        peer.expect(disappears(53))
        agent.quiet(0.3)
