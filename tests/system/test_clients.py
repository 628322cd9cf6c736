"""Clients of the control socket that misbehave, while a real fail-over is to be programmed."""

import json
import os
import random
import signal

from agent import appears, disappears, programmed, removed
from case import SystemTest
from daemons import Instance, Keepalived, mac
from lab import PYTHON, wait_until
from orloctl import CTL, Client

FEW_MEGABYTES = 6 * 1024  # in kB
MOST_CLIENTS, RESERVED = 64, 8


class ClientsTest(SystemTest):

    def start(self, **options):
        """An agent beside a master that can be beaten."""
        agent = self.agent(**options)
        Keepalived(self.left, Instance(251, priority=100))
        agent.expect(appears(251, self.vlans(options)))
        return agent

    def vlans(self, options):
        interface = options['interfaces'][0] if 'interfaces' in options else {'vlan': 10, 'secondaryVlans': [11, 12]}
        return [interface['vlan'], *interface['secondaryVlans']]

    def fail_over(self, agent, **options):
        """The other switch takes the virtual router: the agent has to see to that, whoever else wants it."""
        Keepalived(self.right, Instance(251, priority=200))
        agent.expect(disappears(251, self.vlans(options)))

    def refused(self, client):
        """The error that a client is told."""
        line = client.line()
        self.assertEqual({'kind', 'message'}, set(line['error']), line)
        return line['error']

    def try_to_send(self, client, data):
        """Sends as much as goes; the agent may close the connection before that is all."""
        try:
            client.send(data)
        except (BrokenPipeError, ConnectionResetError, TimeoutError):
            pass

    def test_garbage(self):
        agent = self.start()
        ctl = self.ctl(agent)
        ctl.text('show')
        memory = agent.memory()
        chance = random.Random(1)
        lines = [b'', b'{', b'[]', b'null', b'7', b'\0' * 100, b'\xff\xfe', b'GET / HTTP/1.1', b'[' * 20000,
                 b'{"schema":1}', b'{"schema":2,"id":1,"command":"show"}', b'{"schema":1,"id":1,"command":7}',
                 b'{"schema":1,"id":1,"command":"show pairs","arguments":{"vlan":-1}}',
                 b'{"schema":1,"id":1,"command":"show pairs","arguments":[]}',
                 b'{"schema":1,"id":{"a":[]},"command":"nothing"}', b'{"schema":1,"id":1e999,"command":"show"}',
                 *(chance.randbytes(chance.randrange(1, 2000)).replace(b'\n', b'.') for _ in range(200))]

        for line in lines:
            client = Client(agent.socket)
            client.send(line + b'\n')
            self.assertIn(self.refused(client)['kind'], ('usage', 'no'), line)
            client.close()
        noise = Client(agent.socket, timeout=0.2)
        self.addCleanup(noise.close)
        self.try_to_send(noise, chance.randbytes(1000000))
        self.fail_over(agent)

        self.assertEqual(0, ctl.json('show')['macs'])
        self.assertLess(agent.memory(), memory + FEW_MEGABYTES)

    def test_half_requests(self):
        agent = self.start()
        clients = [self.client(agent) for _ in range(20)]
        for client in clients:
            client.send(b'{"schema":1,"id":1,"comm')

        self.fail_over(agent)

        for client in clients:
            client.send(b'and":"show"}\n')
        for client in clients:
            self.assertEqual(0, client.line()['result']['macs'])

    def test_a_line_of_ten_megabytes(self):
        agent = self.start()
        ctl = self.ctl(agent)
        ctl.text('show')
        memory = agent.memory()
        clients = [self.client(agent) for _ in range(3)]

        for client in clients:
            self.try_to_send(client, b'{"schema":1,"id":1,"command":"' + b'x' * 10_000_000)
        self.fail_over(agent)

        for client in clients:
            wait_until(lambda: client.line() is None, 'the agent has closed the connection')
        self.assertEqual(0, ctl.json('show')['macs'])
        self.assertLess(agent.memory(), memory + FEW_MEGABYTES)

    def many(self):
        """An agent with two thousand pairs, beside those of the real daemon."""
        options = {'indexes': 2300,
                   'interfaces': [{'name': 'br10', 'vlan': 10, 'secondaryVlans': list(range(11, 20))}]}
        agent = self.start(**options)
        vrids = range(1, 201)
        self.left.ip(*(f'link add vr.{n} link br10 address 00:00:5e:00:01:{n:02x} type macvlan mode private'
                       for n in vrids),
                     *(f'addr add 192.0.2.{n}/32 dev vr.{n}' for n in vrids),
                     *(f'link set vr.{n} up' for n in vrids))
        self.assertEqual(2200, len(agent.take(2200)))
        return agent, options

    def test_clients_that_never_read(self):
        agent, options = self.many()
        ctl = self.ctl(agent)
        self.assertEqual(2010, ctl.json('show', 'pairs')['total'])
        memory = agent.memory()
        request = json.dumps({'schema': 1, 'id': 1, 'command': 'show pairs'}).encode() + b'\n'
        deaf = [Client(agent.socket, timeout=0.2) for _ in range(4)]
        for client in deaf:
            self.addCleanup(client.close)
            self.try_to_send(client, request * 20000)  # more than fits: the agent does not read on for ever

        self.fail_over(agent, **options)

        self.assertEqual(2000, ctl.json('show', 'pairs')['total'])
        self.assertLess(agent.memory(), memory + FEW_MEGABYTES)
        for client in deaf:
            client.close()
        self.assertEqual(2000, len(ctl.json('list', 'vrrpSm/virtualRouterIndex')['members']))

    def test_a_watcher_that_reads_too_late_is_told_what_it_has_lost(self):
        agent, _ = self.many()
        ctl, memory = self.ctl(agent), agent.memory()
        client = self.client(agent)
        client.request('watch')
        self.assertEqual({'following': True}, client.line()['result'])

        vlan = 'intfVlanIdSetTable/sviVlanSet[br10]/vlanId[99]'
        for _ in range(10):
            ctl.text('set', vlan, 'true')
            agent.take(201)
            ctl.text('remove', vlan)
            agent.take(201)
        self.assertLess(agent.memory(), memory + FEW_MEGABYTES)

        # It reads what was kept for it, and with the next change it is told what was not.
        client.socket.settimeout(0.2)
        sequence, lost = 0, 0
        while line := self.line_in_time(client):
            sequence += line.get('lost', 1)
            self.assertEqual(sequence, line['sequence'])
        client.socket.settimeout(10.0)
        ctl.text('set', vlan, 'true')
        while not lost:
            line = client.line()
            lost = line.get('lost', 0)
            sequence += line.get('lost', 1)
            self.assertEqual(sequence, line['sequence'])
        self.assertEqual(sequence + 1, client.line()['sequence'])
        self.assertEqual(201, len(agent.take(201)))

    def line_in_time(self, client):
        try:
            return client.line()
        except TimeoutError:
            return None

    def test_a_list_that_is_half_read_when_the_programmer_starts_anew(self):
        agent, options = self.many()
        client, hardware = self.client(agent), agent.hardware()
        for _ in range(5):  # more than is kept for a client: one of the answers is under way
            client.request('list', path='vrrpSm/virtualRouterIndex')
        self.assertEqual(0, client.line()['rows'][0]['path'].find('vrrpSm/virtualRouterIndex['))

        agent.configure(2400, options['interfaces'])
        self.assertEqual(0, self.ctl(agent).json('reload')['calls'])
        self.assertEqual([], agent.take_anew(0))

        ends = []
        while len(ends) < 5:
            line = client.line()
            ends += [line] if 'rows' not in line else []
        self.assertEqual(['the programmer was started anew meanwhile: ask again'],
                         [end['error']['message'] for end in ends if 'error' in end])
        self.assertEqual([2010] * 2, [len(client.ask('show pairs')['pairs']), len(agent.words())])
        self.assertEqual(hardware[64:], agent.hardware()[64:len(hardware)])

    def test_a_hundred_connections_at_once(self):
        agent = self.start()
        clients = [self.client(agent) for _ in range(100)]
        for client in clients:
            self.try_to_send(client, b'{"schema":1,"id":1,"command":"show"}\n')
        answers = [client.line() for client in clients]
        self.assertEqual(MOST_CLIENTS, sum(1 for answer in answers if answer and 'result' in answer))
        self.assertEqual({'busy'}, {answer['error']['kind'] for answer in answers if answer and 'error' in answer})

        self.fail_over(agent)

        ctl = self.ctl(agent)
        self.assertIn('clients already', ctl.fails(3, 'show'))
        for client in clients:
            client.close()
        wait_until(lambda: ctl.run('show')[0] == 0, 'there is room again')

    def test_members_of_the_group_who_only_watch_do_not_keep_root_out(self):
        agent = self.start(control={'group': '65534'})
        held = self.crowd_of_nobody(agent)

        self.assertEqual(MOST_CLIENTS - RESERVED, held)
        self.assertEqual(1, self.ctl(agent).json('show')['macs'])
        status, said = self.as_nobody(CTL, '--socket', agent.socket, 'show')
        self.assertEqual(3, status, said)
        self.assertIn('clients already', said)
        self.fail_over(agent)

    def crowd_of_nobody(self, agent):
        """Somebody of the group watches with every connection that he is given; returns how many those are."""
        code = ('import socket, sys, time\n'
                'held = []\n'
                'while True:\n'
                '    one = socket.socket(socket.AF_UNIX)\n'
                '    one.connect(sys.argv[1])\n'
                '    try:\n'
                '        one.sendall(b\'{"schema":1,"id":1,"command":"watch"}\\n\')\n'
                '        if b"following" not in one.recv(4096): break\n'
                '    except (BrokenPipeError, ConnectionResetError): break\n'  # who is one too many is not listened to
                '    held.append(one)\n'
                'print(len(held), flush=True)\n'
                'time.sleep(1000)\n')
        os.chmod(self.lab.directory, 0o755)
        os.chmod(self.left.directory, 0o755)
        crowd = self.left.start('/usr/bin/setpriv', '--reuid=65534', '--regid=65534', '--clear-groups', PYTHON, '-c',
                                code, agent.socket)
        position = crowd.wait_line(str.isdigit, 'how many it holds', 20.0)
        return int(crowd.lines()[position])

    def test_watchers_that_are_killed(self):
        agent = self.start()
        ctl, record = self.ctl(agent), f'virtualRouterMacStatus/vrrpVirtualMac[br10,{mac(99)}]'
        watchers = [ctl.follow('watch') for _ in range(10)] + [ctl.follow('trace', 'OrloVrrp', '0-9') for _ in range(5)]

        def all_follow():
            ctl.text('set', record, 'true')
            ctl.text('remove', record)
            agent.expect(programmed(99) + removed(99))
            return all(watcher.lines() for watcher in watchers)
        wait_until(all_follow, 'that all of them follow')
        for watcher in watchers[::2]:
            watcher.send(signal.SIGKILL)
        ctl.text('set', record, 'true')
        for watcher in watchers[1::4]:
            watcher.send(signal.SIGKILL)
        ctl.text('remove', record)
        agent.expect(programmed(99) + removed(99))

        self.fail_over(agent)

        alive = watchers[3]
        alive.wait_line(lambda line: mac(251) in line, 'what has come of the fail-over')
        self.assertEqual(0, ctl.json('show')['macs'])
