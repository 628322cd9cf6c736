"""The configuration changes while the agent runs: what it means for each pair, and that the others are left alone."""

import signal

from agent import SVI10, Change, appears, disappears, published, withdrawn
from case import SystemTest
from daemons import Instance, Keepalived, mac


def svi(name, vlan, *secondary):
    return {'name': name, 'vlan': vlan, 'secondaryVlans': list(secondary)}


def changes(word, vrid, *vlans):
    return [Change(word, vlan, mac(vrid)) for vlan in vlans]


class ReloadTest(SystemTest):

    def setUp(self):
        super().setUp()
        self.left.svi('br20', '10.0.20.1/24')

    def start(self, *interfaces, indexes=8):
        """An agent with virtual router 51 on br10, and on br20 where that is configured."""
        agent = self.agent(indexes=indexes, interfaces=interfaces)
        for interface in interfaces:
            name = interface['name']
            self.left.router(51, name, name=f'vr-{name}')
            agent.take(2 + len(interface.get('secondaryVlans', ())))
        return agent

    def reload(self, agent, interfaces, indexes=None, by_signal=False):
        """Writes the configuration and lets the agent take it; returns what orloctl says of it, if that was asked."""
        agent.configure(indexes if indexes is not None else agent.indexes, interfaces)
        if not by_signal:
            writes = agent.writes()
            done = self.ctl(agent).json('reload')
            # A slot that was written back and forth in between would count as well.
            self.assertEqual(done['calls'], agent.writes() - writes)
            return done
        self.reload_by_signal(agent, 'reloaded')
        return None

    def reload_by_signal(self, agent, word):
        begin = len(agent.process.lines())
        agent.process.send(signal.SIGHUP)
        position = agent.process.wait_line(lambda line: line.startswith(word), f'{word} after SIGHUP', begin=begin)
        return agent.process.lines()[position]

    def assert_kept(self, agent, before, *pairs):
        """The slots of these pairs hold what they held, byte for byte."""
        after = agent.words()
        for pair in pairs:
            index = agent.held[pair]
            self.assertEqual(before[index], after[index], pair)

    def test_a_vlan_joins(self):
        agent = self.start(svi('br10', 10, 11))
        before, writes = agent.words(), agent.writes()

        done = self.reload(agent, [svi('br10', 10, 11, 12)])
        agent.expect(changes('programmed', 51, 12))
        self.assertEqual({'calls': 1, 'changes': ['br10 has VLANs 10, 11, 12 now, had VLANs 10, 11']}, done)

        self.reload(agent, [svi('br10', 10, 11, 12, 13)], by_signal=True)
        agent.expect(changes('programmed', 51, 13))
        self.assertIn('reloaded    br10 has VLANs 10, 11, 12, 13 now, had VLANs 10, 11, 12', agent.process.lines())

        self.assertEqual(writes + 2, agent.writes())
        self.assert_kept(agent, before, (10, mac(51)), (11, mac(51)))

    def test_a_vlan_leaves(self):
        agent = self.start(svi('br10', 10, 11, 12))
        before, writes = agent.words(), agent.writes()

        done = self.reload(agent, [svi('br10', 10, 12)])

        agent.expect(changes('removed', 51, 11))
        self.assertEqual((1, writes + 1), (done['calls'], agent.writes()))
        self.assert_kept(agent, before, (10, mac(51)), (12, mac(51)))

    def test_a_vlan_moves_between_two_svis_with_the_same_virtual_router(self):
        agent = self.start(svi('br10', 10, 11, 12), svi('br20', 20))
        hardware = agent.hardware()

        done = self.reload(agent, [svi('br10', 10, 11), svi('br20', 20, 12)])

        agent.quiet(0.05)
        self.assertEqual(0, done['calls'])
        self.assertEqual(hardware, agent.hardware(), 'not one slot is written: the counter is the same as well')
        self.assertEqual({'br20'}, {row.interface for row in agent.table().rows if row.vlan == 12})

        self.left.ip('link del vr-br10')
        agent.expect(disappears(51, [10, 11]))
        self.left.ip('link del vr-br20')
        agent.expect(disappears(51, [12, 20], interface='br20'))

    def test_a_vlan_moves_to_an_svi_without_the_virtual_router(self):
        agent = self.start(svi('br10', 10, 11, 12))
        before = agent.words()

        self.reload(agent, [svi('br10', 10, 11), svi('br20', 20, 12)])

        agent.expect(changes('removed', 51, 12))
        self.assert_kept(agent, before, (10, mac(51)), (11, mac(51)))
        self.left.router(52, 'br20')
        agent.expect(appears(52, [20, 12], interface='br20'))

    def test_two_svis_change_their_vlans_for_each_other(self):
        agent = self.start(svi('br10', 10, 11), svi('br20', 20, 21))
        hardware = agent.hardware()

        self.reload(agent, [svi('br10', 20, 21), svi('br20', 10, 11)])

        agent.quiet(0.05)
        self.assertEqual(hardware, agent.hardware())
        self.assertEqual({(10, 'br20'), (11, 'br20'), (20, 'br10'), (21, 'br10')},
                         {(row.vlan, row.interface) for row in agent.table().rows})

    def test_an_svi_is_added_and_removed(self):
        agent = self.start(SVI10)
        self.left.router(52, 'br20')
        before = agent.words()

        done = self.reload(agent, [SVI10, svi('br20', 20, 21)])
        agent.expect(appears(52, [20, 21], interface='br20'))
        self.assertEqual({'calls': 2, 'changes': ['br20 added: VLANs 20, 21']}, done)

        done = self.reload(agent, [SVI10])
        agent.expect(disappears(52, [20, 21], interface='br20'))
        self.assertEqual({'calls': 2, 'changes': ['br20 removed']}, done)
        self.assertEqual(before, agent.words())
        self.assertIn('withdrawn   br20  00:00:5e:00:01:34  vr.52: br20 is not configured any more',
                      agent.process.lines())

    def test_the_same_configuration(self):
        agent = self.start(SVI10)
        hardware = agent.hardware()

        self.assertEqual({'calls': 0, 'changes': []}, self.reload(agent, [SVI10]))
        self.assertEqual('reloaded    the configuration is the same', self.reload_by_signal(agent, 'reloaded'))

        agent.quiet(0.05)
        self.assertEqual(hardware, agent.hardware())
        self.assertEqual(0, self.ctl(agent).json('show')['restarts'])

    def waiting(self, indexes):
        """An agent with six pairs for fewer indexes."""
        agent = self.agent(indexes=indexes)
        for vrid in (51, 52):
            self.left.router(vrid)
            agent.take(4)
        return agent

    def test_more_indexes(self):
        agent = self.waiting(4)
        before, held = agent.words(), agent.held

        done = self.reload(agent, [SVI10], 10)

        came = agent.take_anew(2)
        self.assertEqual(['programmed'] * 2, [change.word for change in came])
        self.assertEqual({'calls': 2, 'changes': ['10 indexes now, 4 before']}, done)
        self.assertEqual({4, 5}, {change.number for change in came})
        self.assertEqual({**held, **{change[1:3]: change.number for change in came}}, agent.held)
        self.assert_kept(agent, before, *held)
        self.assertEqual((6, 6, 0, 6, 10), agent.table().totals)
        self.assertEqual(1, self.ctl(agent).json('show')['restarts'])
        self.left.router(53)
        agent.expect(appears(53))

    def test_fewer_indexes(self):
        agent = self.waiting(6)
        before = agent.words()
        gone = {pair for pair, index in agent.held.items() if index >= 4}
        kept = {pair: index for pair, index in agent.held.items() if index < 4}

        done = self.reload(agent, [SVI10], 4)

        came = agent.take_anew(4)
        self.assertEqual(['removed'] * 2 + ['waiting'] * 2, [change.word for change in came])
        self.assertEqual([4, 5, 1, 2], [change.number for change in came])
        self.assertEqual([gone] * 2, [{change[1:3] for change in came[:2]}, {change[1:3] for change in came[2:]}])
        self.assertEqual({'calls': 2, 'changes': ['4 indexes now, 6 before']}, done)
        self.assertEqual(kept, agent.held)
        self.assert_kept(agent, before, *kept)
        self.left.ip('link del vr.51')
        agent.take(4 + len([pair for pair in agent.line if pair[1] == mac(51)]), settle=0.2)
        self.assertEqual((3, 3, 0, 3, 4), agent.table().totals)

    def test_no_index_at_all_and_back(self):
        agent = self.waiting(6)

        self.reload(agent, [SVI10], 0)
        came = agent.take_anew(12)
        self.assertEqual(['removed'] * 6 + ['waiting'] * 6, [change.word for change in came])
        self.assertEqual({}, agent.words())

        self.reload(agent, [SVI10], 6)
        came = agent.take_anew(6)
        self.assertEqual(['programmed'] * 6, [change.word for change in came])

    def test_indexes_and_vlans_at_once(self):
        agent = self.waiting(4)
        before = agent.words()
        kept = {pair: index for pair, index in agent.held.items() if pair[0] != 11}

        self.reload(agent, [svi('br10', 10, 12, 13)], 8)

        agent.take_anew(4 - len(kept) + 6 - len(kept))
        self.assertEqual({(vlan, mac(vrid)) for vlan in (10, 12, 13) for vrid in (51, 52)}, set(agent.held))
        self.assertEqual(kept, {pair: agent.held[pair] for pair in kept})
        self.assert_kept(agent, before, *kept)

    def test_a_broken_configuration_changes_nothing(self):
        agent = self.start(SVI10)
        ctl, hardware = self.ctl(agent), agent.hardware()
        agent.configure(8, [SVI10, svi('br20', 12)])
        with open(agent.configuration, encoding='utf-8') as written:
            shared = written.read()
        for text, reason in (('{ "hardware": ', 'agent.json'), ('[]', 'agent.json'),
                             (shared, '/interfaces/1/vlan: 12')):
            with self.subTest(text):
                self.left.write('agent.json', text)
                said = ctl.fails(1, 'reload')
                self.assertIn(reason, said)
                self.assertTrue(said.endswith('; nothing has been changed'), said)
                line = self.reload_by_signal(agent, 'orlo-agent: ')
                self.assertIn(reason, line)
                self.assertTrue(line.endswith('; nothing has been changed'), line)
                self.assertEqual(hardware, agent.hardware())
        agent.quiet(0.05)
        agent.configure(8, [SVI10])
        self.assertEqual([], ctl.json('reload')['changes'])

    def test_what_only_a_restart_can_change_is_refused(self):
        agent = self.start(SVI10)
        ctl, hardware = self.ctl(agent), agent.hardware()
        other = self.left.path('other')
        for member, more in (('/hardware other than /hardware/indexes',
                              {'hardware': {'kind': 'memory', 'indexes': 9, 'path': other}}),
                             ('/control', {'control': {'path': other}}),
                             ('/plugin', {'plugin': '/usr/lib/liborlovrrp.so.1'})):
            with self.subTest(member):
                agent.configure(8, [SVI10, svi('br20', 20)], **more)

                said = ctl.fails(1, 'reload')

                self.assertIn(f'{member} cannot be changed while the agent runs: restart it; nothing has been changed',
                              said)
                self.assertEqual(hardware, agent.hardware())
                self.assertEqual(['br10'], [row['name'] for row in ctl.json('show', 'interfaces')['interfaces']])
        agent.quiet(0.05)

    def test_a_real_daemon_goes_on_through_reloads(self):
        agent = self.agent()
        Keepalived(self.left, Instance(51))
        agent.expect(appears(51))
        before = agent.words()
        agent.configure(12, [SVI10, svi('br20', 20)])

        self.ctl(agent).json('reload')

        self.assertEqual([], agent.take_anew(0, settle=0.2))
        self.assertEqual(before, agent.words())
        Keepalived(self.right, Instance(51, priority=200))
        agent.expect(withdrawn(51) + changes('removed', 51, 10, 11, 12))

    def test_an_index_that_is_lost_while_something_waits_goes_back_in_the_line(self):
        agent = self.waiting(5)
        waited = agent.line

        self.reload(agent, [SVI10], 4)

        came = agent.take_anew(2)
        self.assertEqual(['removed', 'waiting'], [change.word for change in came])
        self.assertEqual({waited[0], came[0][1:3]}, set(agent.line))
        rows = self.ctl(agent).json('show', 'waiting')['waiting']
        self.assertEqual(agent.line, [(row['vlan'], row['mac']) for row in rows])


class AfterTheReloadTest(SystemTest):

    def test_a_start_finds_what_the_reload_has_made(self):
        agent = self.agent(interfaces=[svi('br10', 10)])
        self.left.router(51)
        agent.take(2)
        agent.configure(4, [SVI10])
        self.ctl(agent).json('reload')
        agent.take_anew(2)
        hardware = agent.hardware()

        agent.kill()
        agent.start()

        agent.expect(published(51) + changes('adopted', 51, 10, 11, 12), settle=0.2)
        self.assertEqual(hardware, agent.hardware())
