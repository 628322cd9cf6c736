"""The agent under a service manager: what it tells it, and what it writes into the journal. Both are datagram sockets,
at whose other end is the test."""

import os
import signal
import socket

from agent import PROGRAM, appears
from case import SystemTest
from daemons import Instance, Keepalived, mac
from lab import wait_until


class Datagrams:
    """A socket that the agent sends to."""

    def __init__(self, path):
        self.path = path
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.bind(path)
        self._socket.settimeout(5.0)

    def next(self):
        """The fields of the next datagram."""
        text = self._socket.recv(65536).decode()
        return dict(line.split('=', 1) for line in text.splitlines())

    def pending(self):
        """The fields of every datagram that is there already."""
        came = []
        self._socket.setblocking(False)
        try:
            while True:
                came.append(self.next())
        except BlockingIOError:
            return came
        finally:
            self._socket.settimeout(5.0)

    def close(self):
        self._socket.close()


class NotifyTest(SystemTest):

    def setUp(self):
        super().setUp()
        self.manager = Datagrams(self.left.path('notify'))
        self.addCleanup(self.manager.close)

    def supervised(self, *environment, **options):
        return self.agent(prefix=('env', f'NOTIFY_SOCKET={self.manager.path}', *environment), **options)

    def test_ready_comes_after_the_start_up_pass(self):
        agent = self.supervised(indexes=100)
        agent.stop()
        self.manager.pending()
        for vrid in range(1, 51):
            self.left.router(vrid)

        process = self.left.start('env', f'NOTIFY_SOCKET={self.manager.path}', PROGRAM, agent.configuration)

        # When the first word arrives, all that was to be programmed is.
        first, words = self.manager.next(), agent.words()
        self.assertEqual({'READY': '1', 'STATUS': '100 of 150 pairs programmed, 50 waiting'}, first)
        self.assertEqual(100, len(words))
        self.assertEqual(0, process.stop())
        self.assertEqual([{'STOPPING': '1'}], self.manager.pending())

    def test_an_agent_that_cannot_start_is_never_ready(self):
        first = self.agent()  # which has the hardware
        second = self.left.start('env', f'NOTIFY_SOCKET={self.manager.path}', PROGRAM, first.configuration)
        self.assertEqual(1, second.wait())
        self.assertFalse(any('READY' in told for told in self.manager.pending()))

    def test_a_reload_is_announced_and_ended(self):
        agent = self.supervised()
        self.assertIn('READY', self.manager.next())
        before = int(self.left.run('cut', '-d.', '-f1', '/proc/uptime'))

        for write in (lambda: agent.configure(8), lambda: self.left.write('agent.json', '{')):
            write()
            agent.process.send(signal.SIGHUP)
            reloading, ready = self.manager.next(), self.manager.next()
            self.assertEqual(['RELOADING', 'MONOTONIC_USEC'], list(reloading))
            self.assertEqual('1', reloading['RELOADING'])
            self.assertGreaterEqual(int(reloading['MONOTONIC_USEC']) // 1000000, before)
            self.assertEqual({'READY': '1', 'STATUS': '0 of 0 pairs programmed, 0 waiting'}, ready)
        self.assertEqual([], self.manager.pending())

    def test_the_end_is_announced(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(number.name):
                agent = self.supervised()
                self.assertIn('READY', self.manager.next())
                agent.stop(number)
                self.assertEqual([{'STOPPING': '1'}], self.manager.pending())

    def test_the_watchdog_is_fed_while_the_agent_works(self):
        agent = self.supervised('WATCHDOG_USEC=200000')
        told = [self.manager.next() for _ in range(4)]
        self.assertEqual(1, told.count({'READY': '1', 'STATUS': '0 of 0 pairs programmed, 0 waiting'}))
        self.assertEqual(3, told.count({'WATCHDOG': '1'}))

        agent.process.send(signal.SIGSTOP)
        wait_until(lambda: self.state_of(agent) == 'T', 'it is stopped')
        self.manager.pending()
        self.assertEqual([], self.manager.pending())
        agent.process.send(signal.SIGCONT)
        self.assertEqual({'WATCHDOG': '1'}, self.manager.next())

    def state_of(self, agent):
        with open(f'/proc/{agent.process.pid}/stat', encoding='ascii') as stat:
            return stat.read().rpartition(')')[2].split()[0]

    def test_a_manager_that_has_gone_is_no_trouble(self):
        agent = self.supervised('WATCHDOG_USEC=50000')
        self.manager.close()
        os.unlink(self.manager.path)
        self.left.router(51)
        agent.expect(appears(51), settle=0.1)


# What a service manager would have done: the journal's socket at its place, its standard output in the environment.
# Its mounts are its own first; in a change of root that is no mount of its own, at least the one at /run.
JOURNALED = '''
mount --make-rprivate / 2>/dev/null || mount --make-private /run
mount -t tmpfs none /run
mkdir -p /run/systemd/journal
ln -s "$1" /run/systemd/journal/socket
exec 3>&1
JOURNAL_STREAM=$(stat -L -c %d:%i /proc/self/fd/3)
export JOURNAL_STREAM
exec 3>&-
shift
exec "$@"
'''


class JournalTest(SystemTest):

    def setUp(self):
        super().setUp()
        self.journal = Datagrams(self.left.path('journal'))
        self.addCleanup(self.journal.close)

    def start(self, indexes):
        """An agent whose changes go to the journal. What it prints is the table alone."""
        made = self.agent(indexes=indexes)  # writes the configuration, and is not wanted any more
        made.stop()
        own_mounts = ('unshare', '-m', '--propagation', 'unchanged', '--', '/bin/sh', '-ec', JOURNALED, 'sh')
        return self.left.start(*own_mounts, self.journal.path, PROGRAM, made.configuration)

    def next(self, count=1):
        entries = [self.journal.next() for _ in range(count)]
        for entry in entries:
            self.assertEqual(('6', 'orlo-agent'), (entry.pop('PRIORITY'), entry.pop('SYSLOG_IDENTIFIER')))
            for automatic in ('CODE_FILE', 'CODE_LINE', 'CODE_FUNC'):
                entry.pop(automatic, None)
        return entries

    def test_every_change_is_an_entry_with_its_fields(self):
        agent = self.start(2)
        self.assertEqual([{'MESSAGE': 'ready: 2 indexes, 0 adopted, 0 pairs programmed, 0 waiting',
                           'ORLO_EVENT': 'ready'}], self.next())

        Keepalived(self.left, Instance(51))

        entries = self.next(5)
        self.assertEqual({'MESSAGE': f'published   br10  {mac(51)}  from vrrp.51', 'ORLO_EVENT': 'published',
                          'ORLO_INTERFACE': 'br10', 'ORLO_MAC': mac(51), 'ORLO_DEVICE': 'vrrp.51'}, entries[0])
        pairs = set()
        for index, entry in enumerate(entries[1:3]):
            vlan = entry['ORLO_VLAN']
            pairs.add(vlan)
            self.assertEqual({'MESSAGE': f'programmed  VLAN {vlan}  {mac(51)}  index {index}',
                              'ORLO_EVENT': 'programmed', 'ORLO_VLAN': vlan, 'ORLO_MAC': mac(51),
                              'ORLO_INDEX': str(index)}, entry)
        vlan = entries[3]['ORLO_VLAN']
        self.assertEqual({'MESSAGE': f'waiting     VLAN {vlan}  {mac(51)}  place 1', 'ORLO_EVENT': 'waiting',
                          'ORLO_VLAN': vlan, 'ORLO_MAC': mac(51), 'ORLO_PLACE': '1'}, entries[3])
        self.assertEqual({'10', '11', '12'}, pairs | {vlan})
        self.assertEqual('full', entries[4]['ORLO_EVENT'])

        Keepalived(self.right, Instance(51, priority=200))

        self.assertEqual([('withdrawn', None), ('removed', '0'), ('programmed', '0'), ('removed', '1'),
                          ('removed', '0')],
                         [(entry['ORLO_EVENT'], entry.get('ORLO_INDEX')) for entry in self.next(5)])
        self.assertEqual([], [line for line in agent.lines() if mac(51) in line])
        agent.send(signal.SIGUSR1)
        agent.wait_line(lambda line: line.startswith('0 pairs wanted'), 'its table')
        self.assertEqual(0, agent.stop())

    def test_a_reload_and_an_adoption_are_entries_as_well(self):
        agent = self.start(8)
        self.assertEqual('ready', self.next()[0]['ORLO_EVENT'])
        self.left.router(51)
        self.assertEqual(['published'] + ['programmed'] * 3, [entry['ORLO_EVENT'] for entry in self.next(4)])
        agent.send(signal.SIGHUP)
        self.assertEqual([{'MESSAGE': 'reloaded    the configuration is the same', 'ORLO_EVENT': 'reloaded'}],
                         self.next())
        self.assertEqual(0, agent.stop())

        self.start(8)
        entries = self.next(5)
        self.assertEqual(['published'] + ['adopted'] * 3 + ['ready'], [entry['ORLO_EVENT'] for entry in entries])
        self.assertEqual(['0', '1', '2'], [entry['ORLO_INDEX'] for entry in entries[1:4]])

    def test_a_stream_that_is_another_is_no_journal(self):
        agent = self.agent(prefix=('env', 'JOURNAL_STREAM=1:1'))
        self.left.router(51)
        agent.expect(appears(51))
