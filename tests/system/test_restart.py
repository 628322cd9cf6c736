"""The agent ends and starts again: the hardware goes on by itself, and what is still right in it is not touched."""

import signal

from agent import adopted, appears, disappears, programmed, published, removed
from case import SystemTest
from daemons import Instance, Keepalived, mac


class RestartTest(SystemTest):

    def test_kill_and_start_adopts_every_pair_without_a_write(self):
        agent = self.agent()
        Keepalived(self.left, Instance(51), Instance(52))
        agent.expect(appears(51) + appears(52))
        held, hardware = agent.held, agent.hardware()

        agent.kill()
        self.assertEqual(hardware, agent.hardware())
        agent.start()

        agent.expect(published(51) + published(52) + adopted(51) + adopted(52), settle=0.3)
        self.assertEqual(6, agent.ready['adopted'])
        self.assertEqual(held, agent.held)
        self.assertEqual(hardware, agent.hardware())

    def test_again_and_again(self):
        agent = self.agent(indexes=5)
        for vrid in (51, 52):
            self.left.router(vrid)
            agent.take(4)
        held, line, hardware = agent.held, agent.line, agent.hardware()

        for _ in range(5):
            agent.kill()
            agent.start()
            self.assertEqual((5, 5, 1), (agent.ready['indexes'], agent.ready['adopted'], agent.ready['waiting']))
            agent.take(8)
            self.assertEqual((held, line), (agent.held, agent.line))
        self.assertEqual(hardware, agent.hardware())

    def test_what_happened_in_between_is_made_good(self):
        agent = self.agent()
        for vrid in (51, 52):
            self.left.router(vrid)
            agent.expect(appears(vrid))
        kept = {pair: index for pair, index in agent.held.items() if pair[1] == mac(52)}

        agent.kill()
        self.left.ip('link del vr.51')
        self.left.router(53)
        agent.start()

        agent.expect(removed(51) + published(52) + adopted(52) + appears(53), settle=0.2)
        self.assertEqual((8, 3, 0), (agent.ready['indexes'], agent.ready['adopted'], agent.ready['waiting']))
        self.assertEqual(kept, {pair: index for pair, index in agent.held.items() if pair[1] == mac(52)})

    def test_a_waiting_pair_gets_an_index_that_was_left_behind(self):
        agent = self.agent(indexes=3)
        for vrid in (51, 52):
            self.left.router(vrid)
            agent.take(4)

        agent.kill()
        self.left.ip('link del vr.51')
        agent.start()

        agent.expect(removed(51) + published(52) + programmed(52), settle=0.2)

    def test_sigterm_and_sigint_leave_the_hardware(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))

        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(number.name):
                hardware = agent.hardware()

                table = agent.stop(number)

                self.assertEqual((3, 3, 0, 3, 8), table.totals)
                self.assertEqual(hardware, agent.hardware())
                agent.start()
                agent.expect(published(51) + adopted(51))

    def test_the_daemon_fails_over_while_the_agent_is_away(self):
        agent, peer = self.agent(), self.agent(self.right)
        master = Keepalived(self.left, Instance(51, priority=200))
        agent.expect(appears(51))
        Keepalived(self.right, Instance(51, priority=100)).wait_state('vrrp.51', 'BACKUP')

        agent.kill()
        master.terminate()
        peer.expect(appears(51))
        self.left.wait_published('vrrp.51', False)
        agent.start()

        agent.expect(removed(51), settle=0.2)
        self.assertEqual((8, 0, 0, 0), tuple(agent.ready.values()))

    def test_a_new_agent_on_another_switch_starts_empty(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))

        other = self.agent(self.right)

        self.assertEqual((8, 0, 0, 0), tuple(other.ready.values()))
        self.left.ip('link del vr.51')
        agent.expect(disappears(51))
