"""More pairs than indexes: who gets one, who waits, and who is next."""

from agent import Change, appears, disappears, programmed, published, withdrawn
from case import SystemTest
from daemons import mac


class WaitingTest(SystemTest):

    def test_the_last_pair_waits_and_is_served_first(self):
        agent = self.agent(indexes=5)
        self.left.router(51)
        agent.expect(appears(51))
        self.left.router(52)
        came = agent.take(4)
        self.assertEqual(['published', 'programmed', 'programmed', 'waiting'], [change.word for change in came])
        waiting = came[-1]
        self.assertEqual((6, 5, 1, 5, 5), agent.table().totals)

        self.left.ip('link del vr.51')

        came = agent.take(5, settle=0.2)
        self.assertEqual('withdrawn', came[0].word)
        # The first index that is freed goes to the waiting pair before anything else is removed.
        self.assertEqual(['removed', 'programmed', 'removed', 'removed'], [change.word for change in came[1:]])
        self.assertEqual((waiting.where, mac(52)), came[2][1:3])
        self.assertEqual(came[1].number, came[2].number)

    def test_a_waiting_pair_that_disappears_leaves_the_line(self):
        agent = self.agent(indexes=3)
        for vrid in (51, 52, 53):
            self.left.router(vrid)
            agent.take(4)
        self.assertEqual([mac(52)] * 3 + [mac(53)] * 3, [pair[1] for pair in agent.line])

        self.left.ip('link del vr.52')

        agent.expect(withdrawn(52) + [Change('left', vlan, mac(52)) for vlan in (10, 11, 12)], settle=0.2)
        rows = [row for row in agent.table().rows if row.mac == mac(53)]
        self.assertEqual({'line 1', 'line 2', 'line 3'}, {row.place for row in rows})
        self.assertEqual({'no'}, {row.programmed for row in rows})

        self.left.ip('link del vr.51')
        agent.expect(disappears(51) + programmed(53))

    def test_first_come_first_served(self):
        agent = self.agent(indexes=3)
        order = (60, 51, 99, 52)
        for vrid in order:
            self.left.router(vrid)
            agent.take(4)

        for gone, served in zip(order, order[1:]):
            self.left.ip(f'link del vr.{gone}')
            agent.expect(disappears(gone) + programmed(served))

    def test_a_pair_that_returns_stands_at_the_end_of_the_line(self):
        agent = self.agent(indexes=3)
        for vrid in (51, 52, 53):
            self.left.router(vrid)
            agent.take(4)

        self.left.ip('link set vr.52 down')
        agent.take(4)
        self.left.ip('link set vr.52 up')
        agent.expect(published(52) + [Change('waiting', vlan, mac(52)) for vlan in (10, 11, 12)])

        self.assertEqual([mac(53)] * 3 + [mac(52)] * 3, [pair[1] for pair in agent.line])

    def test_indexes_are_handed_out_in_turn(self):
        agent = self.agent(indexes=4, interfaces=[{'name': 'br10', 'vlan': 10}])

        used = []
        for _ in range(6):
            self.left.router(51)
            agent.expect(appears(51, [10]))
            used.append(agent.held[(10, mac(51))])
            self.left.ip('link del vr.51')
            agent.expect(disappears(51, [10]))

        # The one that has been free the longest comes first.
        self.assertEqual([0, 1, 2, 3, 0, 1], used)
