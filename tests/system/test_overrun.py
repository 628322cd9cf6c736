"""The kernel has more to say than the agent's socket can hold."""

import os
import signal
import time

from agent import appears, disappears
from case import SystemTest
from lab import Timeout


class OverrunTest(SystemTest):

    def dropped(self, agent):
        """How many messages the kernel could not hand to the agent, by its own count."""
        opened = f'/proc/{agent.process.pid}/fd'
        sockets = {os.readlink(f'{opened}/{name}') for name in os.listdir(opened)}
        head, *rows = [row.split() for row in self.left.run('cat', '/proc/net/netlink').splitlines()]
        drops, inode = head.index('Drops'), head.index('Inode')
        return sum(int(row[drops]) for row in rows if f'socket:[{row[inode]}]' in sockets)

    def overrun(self, agent):
        """Lets the kernel talk, to a stopped agent, until it had to drop something."""
        self.left.ip('link add noise type veth peer name noise2', 'link set noise up')
        chatter = [f'link set noise alias {n:0>200}' for n in range(2000)]
        deadline = time.monotonic() + 20
        while self.dropped(agent) == 0:
            if time.monotonic() > deadline:
                raise Timeout('20 s of messages have not overrun the socket')
            self.left.ip(*chatter)

    def test_everything_that_was_lost_is_found_again(self):
        agent = self.agent(indexes=30)
        for vrid in (51, 52, 53):
            self.left.router(vrid)
            agent.expect(appears(vrid))

        agent.process.send(signal.SIGSTOP)
        self.overrun(agent)
        # Nothing of this reaches the agent: its socket is full.
        self.left.ip('link del vr.51', 'link set vr.52 down')
        self.left.router(54)
        self.assertEqual([], agent.changes()[12:])
        agent.process.send(signal.SIGCONT)

        agent.process.wait_line(lambda line: line.startswith('overrun'), 'that it was overrun')
        agent.expect(disappears(51) + disappears(52) + appears(54), settle=0.2)

        self.left.ip('link set vr.52 up')
        agent.expect(appears(52))

    def test_unchanged_pairs_are_not_written_again(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))
        hardware = agent.hardware()

        agent.process.send(signal.SIGSTOP)
        self.overrun(agent)
        agent.process.send(signal.SIGCONT)

        agent.process.wait_line(lambda line: line.startswith('overrun'), 'that it was overrun')
        agent.quiet(0.3)
        self.assertEqual(hardware, agent.hardware())

    def test_a_flap_that_nobody_saw_is_no_change(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))

        agent.process.send(signal.SIGSTOP)
        self.left.ip('link set vr.51 down', 'link set vr.51 up')
        agent.process.send(signal.SIGCONT)

        agent.quiet(0.3)
