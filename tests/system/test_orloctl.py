"""What orloctl shows of a running agent, against the agent's own table, and what it may change."""

import json
import os
import signal
import statistics
import subprocess
import time

from agent import REPOSITORY, Change, appears, disappears, programmed, removed
from case import SystemTest
from daemons import Instance, Keepalived, mac
from lab import wait_until
from orloctl import CTL

RECORD = 'virtualRouterMacStatus/vrrpVirtualMac[br10,{}]'
METRICS_PORT = 9742


class LookingTest(SystemTest):
    """Two virtual routers and one index too few, as a rule: all but one of six pairs are programmed."""

    def one_waits(self, **options):
        agent = self.agent(indexes=5, **options)
        for vrid in (51, 52):
            self.left.router(vrid)
            agent.take(4)
        return agent, self.ctl(agent), agent.line[0]

    def test_show(self):
        agent, ctl, _ = self.one_waits()

        shown = ctl.json('show')

        wanted, held, waiting, used, total = agent.table().totals
        self.assertEqual({'wanted': wanted, 'programmed': held, 'waiting': waiting}, shown['pairs'])
        self.assertEqual({'total': total, 'used': used, 'available': total - used}, shown['slots'])
        self.assertEqual((True, 'memory', 'memory', 1, 2, 0, 0, 0),
                         tuple(shown[name] for name in ('ready', 'kind', 'helper', 'interfaces', 'macs', 'mismatches',
                                                        'refusals', 'restarts')))
        self.assertIn('6 wanted, 5 programmed, 1 waiting', ctl.text('show'))

    def test_show_pairs_is_the_table_of_the_agent(self):
        agent, ctl, waiting = self.one_waits()

        table = {(row.vlan, row.mac): (row.place, row.wanted == 'yes', row.programmed == 'yes', [row.interface])
                 for row in agent.table().rows}
        shown = {(row['vlan'], row['mac']): (f'line {row["place"]}' if row['index'] is None else row['index'],
                                             row['wanted'], row['programmed'], row['interfaces'])
                 for row in ctl.json('show', 'pairs')['pairs']}

        self.assertEqual(table, shown)
        self.assertEqual(('line 1', True, False, ['br10']), shown[waiting])
        lines = ctl.text('show', 'pairs').splitlines()
        self.assertEqual(['VLAN', 'MAC', 'INTERFACE', 'INDEX', 'WANTED', 'PROGRAMMED', 'SINCE'], lines[0].split())
        said = {tuple(line.replace('line ', 'line-').split()[:6]) for line in lines[1:-1]}
        self.assertEqual({(str(row.vlan), row.mac, row.interface, str(row.place).replace(' ', '-'), row.wanted,
                           row.programmed) for row in agent.table().rows}, said)

    def test_show_pairs_of_some(self):
        agent = self.agent(interfaces=[{'name': 'br10', 'vlan': 10, 'secondaryVlans': [11]},
                                       {'name': 'br20', 'vlan': 20}])
        self.left.svi('br20', '10.0.20.1/24')
        self.left.router(51)
        self.left.router(52)
        self.left.router(51, 'br20', name='vr20.51')
        agent.take(8)
        ctl = self.ctl(agent)

        def pairs(*words):
            return {(row['vlan'], row['mac']) for row in ctl.json('show', 'pairs', *words)['pairs']}
        everything = {(row.vlan, row.mac) for row in agent.table().rows}
        self.assertEqual(everything, pairs())
        self.assertEqual({(11, mac(51)), (11, mac(52))}, pairs('--vlan', 11))
        self.assertEqual({(10, mac(51)), (11, mac(51)), (20, mac(51))}, pairs('--mac', mac(51)))
        self.assertEqual({(20, mac(51))}, pairs('--interface', 'br20'))
        self.assertEqual({(10, mac(52))}, pairs('--vlan', 10, '--mac', mac(52), '--interface', 'br10'))
        self.assertEqual(set(), pairs('--vlan', 20, '--interface', 'br10'))

    def test_show_waiting_is_the_line(self):
        agent = self.agent(indexes=3)
        for vrid in (51, 52, 53):
            self.left.router(vrid)
            agent.take(4)
        ctl = self.ctl(agent)

        shown = ctl.json('show', 'waiting')

        self.assertEqual(agent.line, [(row['vlan'], row['mac']) for row in shown['waiting']])
        self.assertEqual([1, 2, 3, 4, 5, 6], [row['place'] for row in shown['waiting']])
        self.assertIn('6 pairs wait', ctl.text('show', 'waiting'))

    def test_show_slots_has_the_free_ones_in_their_order(self):
        agent = self.agent(indexes=5, interfaces=[{'name': 'br10', 'vlan': 10}])
        for vrid in (51, 52, 53):
            self.left.router(vrid)
            agent.take(2)
        self.left.ip('link del vr.51')
        agent.take(2)

        slots = self.ctl(agent).json('show', 'slots')

        self.assertEqual((5, 2, 3), (slots['total'], slots['used'], slots['available']))
        self.assertEqual(agent.held,
                         {(row['vlan'], row['mac']): row['index'] for row in slots['slots'] if 'mac' in row})
        self.assertEqual([3, 4, 0], [row['index'] for row in slots['slots'] if 'free' in row])
        self.assertEqual([1, 2, 3], [row['free'] for row in slots['slots'] if 'free' in row])
        self.assertTrue(all(row['hardware'] for row in slots['slots'] if 'mac' in row))

    def test_show_interfaces(self):
        _, ctl, _ = self.one_waits()
        self.left.router(53, up=False)

        def devices():
            return {device['device']: (device['mac'], device['published'], device['reason'])
                    for device in ctl.json('show', 'interfaces')['interfaces'][0]['devices']}
        wait_until(lambda: 'vr.53' in devices(), 'the agent knows vr.53')
        shown = ctl.json('show', 'interfaces')['interfaces'][0]
        self.assertEqual(('br10', [10, 11, 12], [mac(51), mac(52)]), (shown['name'], shown['vlans'], shown['macs']))
        self.assertEqual({'vr.51': (mac(51), True, 'has 192.0.2.51'), 'vr.52': (mac(52), True, 'has 192.0.2.52'),
                          'vr.53': (mac(53), False, 'is down')}, devices())
        self.assertRegex(ctl.text('show', 'interfaces'), r'vr\.53 +00:00:5e:00:01:35 +no +is down')

    def steps(self, explained):
        return {step['step']: step['ok'] for step in explained['steps']}

    def test_explain_agrees_with_the_table(self):
        agent, ctl, waiting = self.one_waits()

        for row in agent.table().rows:
            explained = ctl.json('explain', row.vlan, row.mac)
            is_held = row.programmed == 'yes'
            self.assertEqual('programmed' if is_held else 'waiting', explained['verdict'], row)
            self.assertEqual({'interface': True, 'kernel': True, 'status': True, 'wanted': True,
                              'programmer': is_held, 'hardware': is_held}, self.steps(explained))
            place = f'index {row.place} ' if is_held else 'it waits at place 1 of 1'
            self.assertIn(place, next(step['text'] for step in explained['steps'] if step['step'] == 'programmer'))
        self.assertIn('raise "indexes"', ctl.json('explain', *waiting)['change'])
        self.assertEqual('unknown', ctl.json('explain', 99, mac(51))['verdict'])
        self.assertRegex(ctl.text('explain', *waiting), rf'^VLAN {waiting[0]}  {mac(52)}  waiting\n')

    def test_explain_of_a_backup(self):
        Keepalived(self.right, Instance(51, priority=200))
        self.right.wait_published('vrrp.51')
        agent = self.agent()
        Keepalived(self.left, Instance(51, priority=100)).wait_state('vrrp.51', 'BACKUP')
        ctl = self.ctl(agent)

        def unpublished():
            explained = ctl.json('explain', 11, mac(51))
            return explained if explained['verdict'] == 'unpublished' else None
        explained = wait_until(unpublished, 'the agent knows the device')

        self.assertEqual({'interface': True, 'kernel': False, 'status': False, 'wanted': False, 'programmer': False,
                          'hardware': False}, self.steps(explained))
        self.assertIn('has to become master on vrrp.51', explained['change'])
        self.assertIn('vrrp.51 on br10 is not published: has no address',
                      [step['text'] for step in explained['steps']])
        self.assertEqual([], agent.table().rows)

    def test_metrics_of_orloctl_and_over_http(self):
        _, ctl, _ = self.one_waits(control={'metrics': {'port': METRICS_PORT}})
        fetch = ('import urllib.request; answer = urllib.request.urlopen('
                 f'"http://127.0.0.1:{METRICS_PORT}/metrics"); print(answer.headers["Content-Type"]); '
                 'print(answer.read().decode(), end="")')

        kind, _, page = self.left.run('/usr/bin/python3', '-I', '-c', fetch).partition('\n')

        self.assertEqual('text/plain; version=0.0.4', kind)
        for text in (page, ctl.text('metrics')):
            values = dict(line.split() for line in text.splitlines() if not line.startswith('#'))
            self.assertLessEqual(0, int(values.pop('orlo_waiting_oldest_seconds')))
            self.assertEqual({'orlo_slots': '5', 'orlo_slots_used': '5', 'orlo_wanted': '6', 'orlo_waiting': '1',
                              'orlo_audit_mismatches': '0', 'orlo_refused': '0',
                              'orlo_program_failures_total': '0', 'orlo_hardware_writes_total': '5',
                              'orlo_adopted_total': '0'}, values)
            self.assertEqual(len(values) + 1, text.count('# TYPE orlo_'))

    def test_metrics_count_what_was_adopted(self):
        agent, ctl, _ = self.one_waits()
        agent.kill()
        agent.start()
        agent.take(8)
        self.assertIn('\norlo_adopted_total 5\n', ctl.text('metrics'))

    def test_every_object_can_be_listed(self):
        _, ctl, _ = self.one_waits()

        objects = [row['name'] for row in ctl.json('list')['members']]

        self.assertEqual(['intfVlanIdSetTable', 'libSm', 'virtualRouterMacStatus', 'virtualRouterMacTable',
                          'vrrpHelper', 'vrrpHwStatus', 'vrrpSm'], objects)
        for name in objects:
            words = ctl.text('list', name).split()
            for row in ctl.json('list', name)['members']:
                self.assertIn(str(row['id']), words)
        self.assertEqual('5\n', ctl.text('get', 'vrrpHwStatus/virtualRouterCount'))

    def test_answers_come_at_once(self):
        agent = self.agent(indexes=600)
        vrids = range(1, 201)
        self.left.ip(*(f'link add vr.{n} link br10 address 00:00:5e:00:01:{n:02x} type macvlan mode private'
                       for n in vrids),
                     *(f'addr add 192.0.2.{n}/32 dev vr.{n}' for n in vrids),
                     *(f'link set vr.{n} up' for n in vrids))
        agent.take(800)
        ctl = self.ctl(agent)

        took = {}
        for words in (('show',), ('show', 'pairs'), ('explain', '10', mac(51))):
            times = []
            for _ in range(11):
                began = time.monotonic()
                ctl.text(*words)
                times.append(time.monotonic() - began)
            took[' '.join(words[:2])] = f'{statistics.median(times) * 1000:.1f} ms'

        self.assertEqual(600, len(ctl.json('show', 'pairs')['pairs']))
        print(f'               600 pairs, median of 11: {took}')


class StatusTest(SystemTest):
    """How orloctl ends, and what it says then."""

    def test_the_answer_is_yes_or_no(self):
        ctl = self.ctl(self.agent())
        self.assertEqual(0, ctl.run('show')[0])
        for words, reason in ((('get', 'nothing'), 'no object nothing'),
                              (('get', 'vrrpHwStatus/virtualRouterCuont'), 'did you mean'),
                              (('remove', RECORD.format(mac(51))), 'no member')):
            with self.subTest(words):
                self.assertIn(reason, ctl.fails(1, *words))

    def test_bad_usage(self):
        ctl = self.ctl(self.agent())
        for words, reason in ((('shwo',), 'did you mean "show"'),
                              (('show', 'pairs', '--vlan', '9999'), '--vlan'),
                              (('explain', '10'), 'MAC'),
                              (('explain', '10', 'x'), 'must be a MAC address'),
                              (('trace', 'OrloVrp', '0-9'), 'no trace facility'),
                              (('--nonsense',), '--nonsense'),
                              ((), 'a command is wanted')):
            with self.subTest(words):
                self.assertIn(reason, ctl.fails(2, *words))

    def test_no_agent(self):
        agent = self.agent()
        ctl = self.ctl(agent)
        agent.stop()
        self.assertIn(agent.socket, ctl.fails(3, 'show'))
        agent.start()
        self.assertEqual(0, ctl.json('show')['macs'])
        agent.kill()  # it leaves its socket behind, and takes it again
        self.assertIn(agent.socket, ctl.fails(3, 'show'))
        agent.start()
        self.assertEqual(0, ctl.json('show')['macs'])

    def test_an_agent_that_does_not_answer(self):
        agent = self.agent()
        ctl = self.ctl(agent)
        agent.process.send(signal.SIGSTOP)
        said = ctl.fails(3, '--timeout', '0.2', 'show')
        agent.process.send(signal.SIGCONT)
        self.assertIn('does not answer', said)
        self.assertEqual(0, ctl.run('show')[0])


REFUSED = [
    ('set', 'virtualRouterMacTable/virtualRouterMac[10,{mac}]', 'false'),
    ('remove', 'virtualRouterMacTable/virtualRouterMac[10,{mac}]'),
    ('set', 'virtualRouterMacTable/virtualRouterMac[77,{mac}]', 'true'),
    ('remove', 'intfVlanIdSetTable/sviVlanSet[br10]'),
    ('set', 'intfVlanIdSetTable/sviVlanSet[br10]/vlanId[0]', 'true'),
    ('set', 'intfVlanIdSetTable/sviVlanSet[br10]/vlanId[10]', 'false'),
    ('set', 'virtualRouterMacStatus/vrrpVirtualMac[br77,{mac}]', 'true'),
    ('set', 'virtualRouterMacStatus/vrrpVirtualMac[br10,02:00:00:00:00:01]', 'true'),
    ('set', 'virtualRouterMacStatus/vrrpVirtualMac[br10,{mac}]', 'false'),
    ('set', 'vrrpHwStatus/virtualRouterCount', '9'),
    ('set', 'vrrpSm/virtualRouterIndex[10,{mac}]', '4'),
    ('remove', 'vrrpSm/virtualRouterIndex[10,{mac}]'),
    ('set', 'vrrpSm/initialized', 'false'),
    ('call', 'vrrpSm/handleVrrpMac'),
    ('call', 'vrrpSm/handleVrrpMac', '10,{mac}'),
    ('call', 'vrrpSm/handleInitialized'),
    ('call', 'vrrpSm/doAddVirtualRouterMac', '77,{mac}', '4'),
    ('call', 'vrrpSm/doDeleteVirtualRouterMac', '10,{mac}', '1'),
    ('call', 'vrrpSm/doCleanup'),
    ('call', 'vrrpSm/hasNotificationActiveIs', 'false'),
    ('call', 'vrrpHelper/addVirtualRouterMac', '{mac}', '10', '4'),
    ('call', 'vrrpHelper/deleteVirtualRouterMac', '{mac}', '10', '1'),
    ('call', 'libSm/handleInitialized'),
    ('call', 'libSm/hasNotificationActiveIs', 'false'),
    ('call', 'libSm/quorDoZombieReactors', 'true'),
    ('call', 'libSm/vlanIntfSm[br10]/doCleanup'),
    ('set', 'libSm/initialized', 'true'),
]


class ChangingTest(SystemTest):

    def test_what_would_harm_is_refused_with_its_reason(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))
        ctl, hardware = self.ctl(agent), agent.hardware()

        for words in REFUSED:
            with self.subTest(words):
                said = ctl.fails(1, *(word.format(mac=mac(51)) for word in words))
                self.assertRegex(said, r'^refused: would \S.{15}')

        self.assertEqual(hardware, agent.hardware())
        agent.quiet(0.05)
        agent.table()
        self.left.ip('link del vr.51')
        agent.expect(disappears(51))

    def test_a_record_that_is_set_and_removed_reaches_the_hardware(self):
        agent = self.agent()
        ctl, record = self.ctl(agent), RECORD.format(mac(99))

        self.assertEqual('', ctl.text('set', record, 'true'))

        agent.expect(programmed(99))
        self.assertEqual('true\n', ctl.text('get', record))
        self.assertEqual({0, 1, 2}, set(agent.words()))
        self.assertTrue(all(word & 0xffffffffffff == 0x00005e000163 for word in agent.words().values()))

        ctl.text('remove', record)

        agent.expect(removed(99))
        self.assertEqual({}, agent.words())

    def test_a_vlan_that_is_set_and_removed_reaches_the_hardware(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))
        ctl, vlan = self.ctl(agent), 'intfVlanIdSetTable/sviVlanSet[br10]/vlanId[13]'

        ctl.text('set', vlan, 'true')
        agent.expect([Change('programmed', 13, mac(51))])
        ctl.text('remove', vlan)
        agent.expect([Change('removed', 13, mac(51))])

    def test_without_a_group_it_is_for_root_alone(self):
        agent = self.agent()
        for words in (['show'], ['reload'], ['set', RECORD.format(mac(51)), 'true']):
            with self.subTest(words):
                status, said = self.as_nobody(CTL, '--socket', agent.socket, *words)
                self.assertEqual(3, status, said)
                self.assertIn('ermission denied', said)
        agent.quiet(0.05)

    def test_members_of_the_group_may_change(self):
        agent = self.agent(control={'group': '65534'})
        self.assertEqual((0, ''), self.as_nobody(CTL, '--socket', agent.socket, 'set', RECORD.format(mac(51)),
                                                'true'))
        agent.expect(programmed(51))


class FollowingTest(SystemTest):

    def fail_over(self):
        """A master with its agent, and a function that lets the other switch take over."""
        agent = self.agent()
        Keepalived(self.left, Instance(51, priority=100))
        agent.expect(appears(51))

        def over():
            Keepalived(self.right, Instance(51, priority=200))
            agent.expect(disappears(51))
        return agent, over

    def test_watch_sees_a_fail_over_in_order(self):
        agent, over = self.fail_over()
        client = self.client(agent)
        client.request('watch')
        self.assertEqual({'following': True}, client.line()['result'])

        over()

        events = [client.line() for _ in range(10)]
        self.assertEqual(list(range(1, 11)), [event['sequence'] for event in events])
        told = [(event['event']['path'], event['event']['attribute'], event['event']['key'],
                 event['event'].get('gone', False)) for event in events]
        expected = []
        for change in agent.changes()[-3:]:
            self.assertEqual('removed', change.word)
            pair = f'{change.where},{mac(51)}'
            expected += [('vrrpSm', 'virtualRouterIndex', pair, True),
                         ('vrrpSm', 'freeVirtualRouterIndex', str(len(expected) // 3 + 8), False),
                         ('virtualRouterMacTable', 'virtualRouterMac', pair, True)]
        expected.append(('virtualRouterMacStatus', 'vrrpVirtualMac', f'br10,{mac(51)}', True))
        self.assertEqual(expected, told)

    def test_watch_goes_on_when_the_programmer_starts_anew(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))
        client = self.client(agent)
        client.request('watch', path='vrrpSm/virtualRouterIndex')
        self.assertEqual({'following': True}, client.line()['result'])

        agent.configure(9)
        self.ctl(agent).json('reload')
        self.assertEqual([], agent.take_anew(0))
        self.left.router(52)
        agent.expect(appears(52))

        told = [client.line()['event'] for _ in range(3)]
        self.assertEqual([(f'{change.where},{mac(52)}', change.number) for change in agent.changes()[-3:]],
                         [(event['key'], event['value']) for event in told])

    def test_orloctl_watch_prints_it(self):
        agent, over = self.fail_over()
        ctl = self.ctl(agent)
        watch = ctl.follow('watch', 'virtualRouterMacStatus')
        record = RECORD.format(mac(99))

        def poked():
            ctl.text('set', record, 'true')
            ctl.text('remove', record)
            agent.take(6)
            return watch.lines()
        wait_until(poked, 'that it follows', explain=watch.report)
        over()
        watch.wait_line(lambda line: mac(51) in line, 'that the record has gone')

        events = [json.loads(line) for line in watch.lines()]
        self.assertEqual(list(range(1, len(events) + 1)), [event['sequence'] for event in events])
        self.assertEqual({('virtualRouterMacStatus', 'vrrpVirtualMac')},
                         {(event['event']['path'], event['event']['attribute']) for event in events})
        self.assertEqual((f'br10,{mac(51)}', True), (events[-1]['event']['key'], events[-1]['event']['gone']))

    def test_watch_of_a_collection_and_of_one_member(self):
        agent = self.agent()
        clients = {path: self.client(agent) for path in (
            'vrrpSm/virtualRouterIndex', f'vrrpSm/virtualRouterIndex[11,{mac(51)}]',
            'virtualRouterMacStatus/vrrpVirtualMac', RECORD.format(mac(52)))}
        for path, client in clients.items():
            client.request('watch', path=path)
            self.assertEqual({'following': True}, client.line()['result'], path)

        for vrid in (51, 52):
            self.left.router(vrid)
            agent.expect(appears(vrid))
        self.left.ip('link del vr.51', 'link del vr.52')
        agent.expect(disappears(51) + disappears(52))

        def told(path, count):
            events = [clients[path].line() for _ in range(count)]
            self.assertEqual(list(range(1, count + 1)), [event['sequence'] for event in events], path)
            return [(event['event']['key'], event['event'].get('gone', False)) for event in events]
        pairs = [f'{vlan},{mac(vrid)}' for vlan in (10, 11, 12) for vrid in (51, 52)]
        self.assertEqual(sorted((pair, gone) for pair in pairs for gone in (False, True)),
                         sorted(told('vrrpSm/virtualRouterIndex', 12)))
        self.assertEqual([(f'11,{mac(51)}', False), (f'11,{mac(51)}', True)],
                         told(f'vrrpSm/virtualRouterIndex[11,{mac(51)}]', 2))
        records = [f'br10,{mac(51)}', f'br10,{mac(52)}']
        self.assertEqual(sorted((record, gone) for record in records for gone in (False, True)),
                         sorted(told('virtualRouterMacStatus/vrrpVirtualMac', 4)))
        self.assertEqual([(records[1], False), (records[1], True)], told(RECORD.format(mac(52)), 2))

    def test_watch_of_what_never_tells(self):
        ctl = self.ctl(self.agent())
        for path, reason in (('nothing', 'no object nothing'), ('libSm', 'tells nobody of its changes'),
                             ('vrrpSm/handleVrrpMac', 'is a function, which never changes'),
                             ('vrrpSm/nothing', 'no attribute nothing')):
            with self.subTest(path):
                self.assertIn(reason, ctl.fails(1, 'watch', path))

    def test_trace_follows_a_fail_over_and_is_off_afterwards(self):
        agent, over = self.fail_over()
        opened = f'/proc/{agent.process.pid}/fd'
        before = len(os.listdir(opened))
        client = self.client(agent)
        client.request('trace', facility='OrloVrrp', levels='0-9')
        self.assertEqual({'following': True}, client.line()['result'])

        over()

        traces = [client.line()['event'] for _ in range(9)]
        self.assertEqual({'OrloVrrp'}, {trace['facility'] for trace in traces})
        of_a_pair = [('handleVrrpMac', 4, 108), ('handleVrrpMac', 4, 132), ('doDeleteVirtualRouterMac', 5, 178)]
        self.assertEqual(of_a_pair * 3,
                         [(trace['function'], trace['level'], trace['line']) for trace in traces])
        self.assertEqual(3, sum(f'deleting vrmac Value(\'Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac\', '
                                in trace['message'] for trace in traces))

        client.close()
        wait_until(lambda: len(os.listdir(opened)) == before, 'the agent has let go of it')
        later = self.client(agent)
        later.request('trace', facility='OrloVrrp', levels='9')
        self.assertEqual({'following': True}, later.line()['result'])
        self.ctl(agent).text('set', RECORD.format(mac(99)), 'true')
        self.ctl(agent).text('remove', RECORD.format(mac(99)))
        agent.expect(programmed(99) + removed(99))
        later.socket.settimeout(0.1)
        with self.assertRaises(TimeoutError):
            later.line()


class CompletionTest(SystemTest):

    def test_paths(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))
        ctl = self.ctl(agent)

        def complete(begun):
            return ctl.text('complete', begun).splitlines()
        self.assertEqual(['vrrpHelper', 'vrrpHwStatus', 'vrrpSm'], complete('vrrp'))
        self.assertEqual(['virtualRouterMacTable/virtualRouterMac['], complete('virtualRouterMacTable/'))
        self.assertEqual([RECORD.format(mac(51))], complete('virtualRouterMacStatus/vrrpVirtualMac['))
        self.assertEqual([], complete('nothing'))

    def test_bash(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))

        def complete(line):
            """What bash offers behind the line, which begins with orloctl."""
            words = line.split(' ')
            script = (f'source {REPOSITORY}/ctl/orloctl.bash; COMP_LINE=$1 COMP_POINT=${{#1}} COMP_WORDS=("${{@:2}}") '
                      'COMP_CWORD=$(($# - 2)); _orloctl; printf "%s\\n" "${COMPREPLY[@]}"')
            done = subprocess.run(['bash', '-c', script, 'bash', line, *words], capture_output=True, text=True,
                                  timeout=10, check=False, env={**os.environ, 'ORLO_SOCKET': agent.socket})
            self.assertEqual(('', 0), (done.stderr, done.returncode))
            return done.stdout.split()
        self.assertEqual(['pairs', 'waiting', 'slots', 'interfaces'], complete(f'{CTL} show '))
        self.assertEqual(['show', 'set'], complete(f'{CTL} s'))
        self.assertEqual(['vrrpHelper', 'vrrpHwStatus', 'vrrpSm'], complete(f'{CTL} get vrrp'))
        self.assertEqual(['vrrpSm'], complete(f'{CTL} --socket {agent.socket} get vrrpS'))
        # bash takes what stands before a colon for a word of its own, which is there already.
        self.assertEqual(['00:5e:00:01:33]'], complete(f'{CTL} get virtualRouterMacStatus/vrrpVirtualMac[br10,00:'))
