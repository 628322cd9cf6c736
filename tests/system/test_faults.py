"""What the kernel and the machine can do to the agent: it lives on or is started again, and nothing is lost."""

import os
import random
import signal
import socket
import time
import unittest

from agent import SVI10, Agent, appears, disappears
from daemons import mac
from faults import FaultyTest
from lab import Lab, need, wait_until
from orloctl import Client, Orloctl

ROUTERS = [f'00:00:5e:00:{family}:{vrid:02x}' for family in ('01', '02') for vrid in range(60, 256)]


class FaultTest(FaultyTest):

    def storm(self, devices):
        """So many devices come at once, among them those of hundreds of virtual routers."""
        macs = ROUTERS[:devices]
        macs += [f'02:00:00:00:{n >> 8:02x}:{n & 0xff:02x}' for n in range(devices - len(macs))]
        return ([f'link add storm.{n} group 77 link br10 address {address} type macvlan mode private'
                 for n, address in enumerate(macs)]
                + [f'addr add 198.51.{n >> 8}.{n & 0xff}/32 dev storm.{n}' for n in range(devices)]
                + [f'link set storm.{n} up' for n in range(devices)])

    def ip_in_background(self, lines):
        return self.left.start(need('ip', 'iproute2'), '-batch', self.left.write('storm', '\n'.join(lines) + '\n'))

    def test_a_storm_of_devices_while_it_sleeps(self):
        agent = self.agent(indexes=30)
        self.left.router(51)
        agent.expect(appears(51))
        self.begin(agent)
        stays = agent.held

        agent.process.send(signal.SIGSTOP)
        for _ in range(2):
            self.left.ip(*self.storm(1000), 'link del group 77', *(f'link set lo alias {n:0>200}' for n in range(3000)))
        self.left.router(52)
        agent.process.send(signal.SIGCONT)

        agent.process.wait_line(lambda line: line.startswith('overrun'), 'that it was overrun', 20.0)
        agent.expect(appears(52))
        self.whole(agent)
        self.assertEqual(stays, {pair: index for pair, index in agent.held.items() if pair in stays})

    def test_a_storm_of_devices_while_it_works(self):
        agent = self.agent(indexes=30)
        self.left.router(51)
        agent.expect(appears(51))
        self.begin(agent)
        stays = agent.words()

        for _ in range(2):
            self.left.ip(*self.storm(600))
            self.left.ip('link del group 77')

        self.whole(agent)
        self.assertEqual(stays, agent.words())
        agent.judge()

    def test_reloads_in_the_middle_of_a_storm(self):
        agent = self.agent(indexes=2000)
        self.left.router(51)
        agent.expect(appears(51))
        self.begin(agent)
        before = agent.words()
        dice = random.Random(1)

        storm = self.ip_in_background(self.storm(300))
        while storm.running():
            more = {**SVI10, 'secondaryVlans': [11, 12, *dice.sample(range(20, 30), 3)]}
            agent.configure(2000, [more])
            self.ctl(agent).json('reload')
        self.assertEqual(0, storm.wait())
        agent.configure(2000, [SVI10])
        self.ctl(agent).json('reload')

        self.whole(agent)
        self.assertEqual(before, {index: word for index, word in agent.words().items() if index in before})
        agent.table()
        self.left.ip('link del group 77')
        self.whole(agent)

    def test_a_device_with_another_name_and_one_with_another_index(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))
        self.begin(agent)
        words = agent.words()

        agent.process.send(signal.SIGSTOP)
        self.left.ip('link set vr.51 down', 'link set vr.51 name other', 'link set other up')
        agent.process.send(signal.SIGCONT)
        agent.quiet(0.1)
        agent.process.send(signal.SIGSTOP)
        self.left.ip('link del other')
        self.left.router(51)
        agent.process.send(signal.SIGCONT)
        agent.quiet(0.1)

        self.assertEqual(words, agent.words(), 'what came back before it was looked at is not touched')
        self.whole(agent)

    def test_the_svi_is_deleted_under_its_devices(self):
        agent = self.agent()
        for vrid in (51, 52):
            self.left.router(vrid)
            agent.expect(appears(vrid))
        self.begin(agent)

        self.left.ip('link del br10', 'link del port-br10')
        agent.expect(disappears(51) + disappears(52))
        self.whole(agent)
        self.left.svi('br10', '10.0.10.1/24')
        self.left.router(51)
        agent.expect(appears(51))

        self.whole(agent)

    def test_sigterm_at_any_moment(self):
        agent = self.agent(indexes=20)
        for vrid in (51, 52, 53):
            self.left.router(vrid)
            agent.expect(appears(vrid))
        words, dice = agent.words(), random.Random(1)
        agent.stop()
        storm = self.ip_in_background([f'link set vr.5{n} {state}' for _ in range(150) for n in (2, 3)
                                       for state in ('down', 'up')])
        in_order = 0

        for _ in range(15):
            one = self.left.start(*agent.command)
            time.sleep(dice.uniform(0, 0.06))
            if dice.random() < 0.3:
                one.send(signal.SIGHUP)
            status = one.stop(signal.SIGTERM)
            # Before it has asked for them to be told to it, a signal is the end as well.
            self.assertIn(status, (0, -signal.SIGTERM, -signal.SIGHUP), one.report())
            in_order += status == 0
        storm.wait(20.0)
        self.assertGreater(in_order, 0)

        agent.start()
        self.begin(agent)
        self.whole(agent)
        stays = {index: word for index, word in words.items() if word & 0xff == 51}
        self.assertEqual(stays, {index: agent.words()[index] for index in stays})
        hardware = agent.hardware()
        agent.stop()
        agent.start()
        self.assertEqual((9, hardware), (agent.ready['adopted'], agent.hardware()))
        agent.catch_up()

    def test_no_descriptor_is_left(self):
        agent = self.agent(prefix=[need('prlimit', 'util-linux'), '--nofile=32:32'])
        self.left.router(51)
        agent.expect(appears(51))
        self.begin(agent)
        ctl, crowd = self.ctl(agent), [self.quiet_client(agent) for _ in range(50)]
        agent.process.wait_line(lambda line: 'cannot accept another client: Too many open files' in line, 'what is short')

        self.left.router(52)
        agent.expect(appears(52))
        begin = len(agent.process.lines())
        agent.process.send(signal.SIGHUP)
        agent.process.wait_line(lambda line: line.endswith('; nothing has been changed'), 'why it cannot reload',
                                begin=begin)
        for one in crowd:
            one.close()

        agent.process.wait_line(lambda line: 'clients are accepted again' in line, 'that there is room again')
        self.assertEqual([], ctl.json('reload')['changes'])
        self.whole(agent)

    def quiet_client(self, agent):
        """Connects, and asks nothing."""
        one = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.addCleanup(one.close)
        one.connect(agent.socket)
        return one

    def test_the_control_socket_is_removed(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))
        ctl = self.ctl(agent)
        self.begin(agent)

        os.unlink(agent.socket)
        agent.process.wait_line(lambda line: 'somebody has removed the control socket' in line, 'that it is gone')

        self.assertEqual(1, ctl.json('show')['macs'])
        self.whole(agent)


    def test_nobody_reads_what_it_says(self):
        # Its output goes to a pipe that nobody reads; its first lines are in a file, so that its start can be seen.
        agent = self.agent(prefix=['/bin/sh', '-c', '"$@" 2>&1 | { head -n 2; exec sleep 1000; }', 'sh'])
        ctl = self.ctl(agent)
        for _ in range(20):
            self.left.ip(*self.storm(40))
            self.left.ip('link del group 77')
        self.left.router(51)

        def is_there():
            return set(agent.held_in_hardware()) == {(vlan, mac(51)) for vlan in (10, 11, 12)}
        wait_until(is_there, 'the hardware holds what is wanted', 20.0, lambda: str(agent.held_in_hardware()))
        self.assertEqual(1, ctl.json('show')['macs'])
        self.assertEqual((0, ''), ctl.run('audit')[::2])
        agent.kill()


class ClockTest(unittest.TestCase):
    """In a kernel of its own, whose clock may be set."""

    needs_vlan_kernel = True

    def test_the_clock_jumps(self):
        lab = Lab()
        self.addCleanup(lab.close)
        left, _ = lab.pair()
        agent = Agent(left, indexes=10)
        ctl, client = Orloctl(agent.socket), Client(agent.socket)
        self.addCleanup(client.close)
        self.assertEqual(0, client.ask('show')['macs'])
        now, day = time.clock_gettime(time.CLOCK_REALTIME), 24 * 3600
        self.addCleanup(lambda: time.clock_settime(time.CLOCK_REALTIME, now))

        for vrid, jump in ((51, 400 * day), (52, -400 * day), (53, -8000 * day)):
            time.clock_settime(time.CLOCK_REALTIME, now + jump)
            left.router(vrid)
            agent.expect(appears(vrid))
            self.assertEqual(0, ctl.run('audit')[0])

        # Who was connected all the time has not been asked for nothing, as long as its minute is not over.
        self.assertEqual(3, client.ask('show')['macs'])
        clocks = {fact.split()[1] for fact in self.timers(agent)}
        self.assertEqual({str(time.CLOCK_MONOTONIC)}, clocks, 'every timer of it goes by the clock that never jumps')
        agent.table()
        agent.stop()

    def timers(self, agent):
        folder = f'/proc/{agent.process.pid}/fdinfo'
        for name in os.listdir(folder):
            with open(os.path.join(folder, name), encoding='ascii') as info:
                yield from (line for line in info if line.startswith('clockid:'))
