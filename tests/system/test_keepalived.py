"""What is programmed in every state of a real keepalived."""

from agent import appears, disappears, programmed
from case import SystemTest
from daemons import Instance, Keepalived, mac


class KeepalivedTest(SystemTest):

    def test_a_master_has_its_mac_on_every_vlan(self):
        agent = self.agent()
        self.assertEqual((8, 0, 0, 0), tuple(agent.ready.values()))

        Keepalived(self.left, Instance(51))

        agent.expect(appears(51), settle=0.3)
        self.assertEqual({0, 1, 2}, set(agent.held.values()))
        self.assertEqual({'br10'}, {row.interface for row in agent.table().rows})

    def test_a_master_that_was_there_before_the_agent(self):
        Keepalived(self.left, Instance(51))
        self.left.wait_published('vrrp.51')

        agent = self.agent()

        self.assertEqual((8, 0, 3, 0), tuple(agent.ready.values()))
        agent.expect(appears(51), timeout=0, settle=0.3)

    def test_a_backup_has_nothing(self):
        Keepalived(self.right, Instance(51, priority=200))
        self.right.wait_published('vrrp.51')
        agent = self.agent()

        Keepalived(self.left, Instance(51, priority=100)).wait_state('vrrp.51', 'BACKUP')

        agent.quiet(0.6)
        self.assertIn('LOWER_UP', self.left.show('vrrp.51')['flags'])
        self.assertEqual([], agent.table().rows)

    def test_a_higher_priority_arrives_and_leaves(self):
        agent, peer = self.agent(), self.agent(self.right)
        Keepalived(self.left, Instance(51, priority=100))
        agent.expect(appears(51))

        other = Keepalived(self.right, Instance(51, priority=200))
        peer.expect(appears(51))
        agent.expect(disappears(51))

        other.terminate()
        peer.expect(disappears(51))
        agent.expect(appears(51))

    def test_sigterm_of_the_master(self):
        agent, peer = self.agent(), self.agent(self.right)
        master = Keepalived(self.left, Instance(51, priority=200))
        agent.expect(appears(51))
        Keepalived(self.right, Instance(51, priority=100)).wait_state('vrrp.51', 'BACKUP')

        master.terminate()

        agent.expect(disappears(51))
        peer.expect(appears(51))
        # The device stays for a second without its address and is then deleted: that is no second withdrawal.
        self.assertEqual(0, master.process.wait())
        self.assertIsNone(self.left.show('vrrp.51'))
        agent.quiet(0.2)

    def test_fault_of_the_link_below(self):
        agent, peer = self.agent(), self.agent(self.right)
        Keepalived(self.left, Instance(51, priority=200))
        agent.expect(appears(51))
        Keepalived(self.right, Instance(51, priority=100)).wait_state('vrrp.51', 'BACKUP')

        self.left.carrier('br10', False)
        agent.expect(disappears(51))
        peer.expect(appears(51))
        agent.quiet(0.3)

        self.left.carrier('br10', True)
        agent.expect(appears(51))
        peer.expect(disappears(51))

    def test_kill_of_the_vrrp_process(self):
        agent = self.agent()
        daemon = Keepalived(self.left, Instance(51))
        agent.expect(appears(51))

        daemon.kill_child()

        # Its parent starts another one, which takes the address from the device and wins the election again.
        agent.expect(disappears(51) + appears(51), settle=0.5)
        self.assertTrue(daemon.process.running())

    def test_kill_of_both_processes_leaves_the_pairs_until_the_next_election(self):
        agent, peer = self.agent(), self.agent(self.right)
        master = Keepalived(self.left, Instance(51, priority=200))
        agent.expect(appears(51))
        Keepalived(self.right, Instance(51, priority=100)).wait_state('vrrp.51', 'BACKUP')

        master.kill()

        # Nobody is left to take the address from the device: for the kernel this switch still routes.
        peer.expect(appears(51))
        agent.quiet(0.5)
        self.assertEqual(3, len(agent.table().rows))
        device = self.left.show('vrrp.51')['ifindex']

        master.start()

        agent.expect(disappears(51) + appears(51))
        peer.expect(disappears(51))
        self.assertEqual(device, self.left.show('vrrp.51')['ifindex'])
        agent.quiet(0.3)

    def test_restart_of_a_killed_daemon_that_loses_the_election(self):
        agent = self.agent()
        daemon = Keepalived(self.left, Instance(51, priority=100))
        agent.expect(appears(51))
        daemon.kill()
        Keepalived(self.right, Instance(51, priority=200))
        self.right.wait_published('vrrp.51')
        agent.quiet(0.2)

        daemon.start()

        agent.expect(disappears(51), settle=0.6)

    def test_an_instance_is_added_and_taken_out(self):
        agent = self.agent()
        daemon = Keepalived(self.left, Instance(51))
        agent.expect(appears(51))

        daemon.configure(Instance(51), Instance(52))
        daemon.reload()
        agent.expect(appears(52), settle=0.3)

        daemon.configure(Instance(52))
        daemon.reload()
        agent.expect(disappears(51), settle=0.5)
        self.assertIsNone(self.left.show('vrrp.51'))
        self.assertEqual({3, 4, 5}, set(agent.held.values()))

    def test_fail_over_of_one_of_two_instances_with_one_index_too_few(self):
        agent = self.agent(indexes=5)
        daemon = Keepalived(self.left, Instance(51))
        agent.expect(appears(51))
        daemon.configure(Instance(51), Instance(52))
        daemon.reload()

        came = agent.take(4, settle=0.2)
        self.assertEqual(['published', 'programmed', 'programmed', 'waiting'], [change.word for change in came])
        waiting = came[-1]
        self.assertEqual((mac(52), 1), (waiting.mac, waiting.number))

        Keepalived(self.right, Instance(51, priority=200))

        agent.expect(disappears(51) + programmed(52, [waiting.where]), settle=0.3)
        self.assertEqual((3, 3, 0, 3, 5), agent.table().totals)


class KeepalivedIpv6Test(SystemTest):

    def setUp(self):
        super().setUp()
        for switch, number in ((self.left, 1), (self.right, 2)):
            switch.ip(f'addr add 2001:db8:10::{number}/64 dev br10 nodad')

    def instance(self, priority=100):
        return Instance(61, priority, address='fe80::61/64', more=['2001:db8:10::61/64'])

    def test_an_ipv6_backup_has_only_the_link_local_address_of_its_svi(self):
        Keepalived(self.right, self.instance(200))
        self.right.wait_published('vrrp6.61')
        agent = self.agent()
        backup = Keepalived(self.left, self.instance(100))
        backup.wait_state('vrrp6.61', 'BACKUP')

        agent.quiet(0.6)

        below = [entry['local'] for entry in self.left.show('br10')['addr_info'] if entry['scope'] == 'link']
        above = [entry['local'] for entry in self.left.show('vrrp6.61')['addr_info']]
        self.assertEqual(below, above)

    def test_an_ipv6_master_comes_and_goes(self):
        agent, peer = self.agent(), self.agent(self.right)
        Keepalived(self.left, self.instance(100))
        agent.expect(appears(61, ipv6=True))

        other = Keepalived(self.right, self.instance(200))
        peer.expect(appears(61, ipv6=True))
        agent.expect(disappears(61, ipv6=True))

        other.terminate()
        agent.expect(appears(61, ipv6=True))
        peer.expect(disappears(61, ipv6=True))

    def test_one_number_for_both_families(self):
        agent = self.agent()

        Keepalived(self.left, Instance(61), self.instance())

        agent.expect(appears(61) + appears(61, ipv6=True), settle=0.3)
