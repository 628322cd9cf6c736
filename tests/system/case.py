"""What the system tests have in common."""

import os
import subprocess
import unittest

from agent import Agent
from lab import Lab
from orloctl import Client, Orloctl


class SystemTest(unittest.TestCase):
    """A test with two switches, left and right, joined by a link, each with the SVI br10."""

    maxDiff = None

    def setUp(self):
        self.lab = Lab()
        self.addCleanup(self.lab.close)
        self.left, self.right = self.lab.pair()

    def agent(self, switch=None, **options):
        """Starts an agent, on the left switch unless told otherwise. At the end of the test it must still run, must
        have said nothing that the test has not accounted for, and its table must agree with what it has said."""
        agent = Agent(switch or self.left, **options)
        self.addCleanup(self._finish, agent)
        return agent

    def ctl(self, agent):
        """orloctl for an agent. What of it follows the agent ends with the test."""
        ctl = Orloctl(agent.socket)
        self.addCleanup(ctl.close)
        return ctl

    def client(self, agent):
        client = Client(agent.socket)
        self.addCleanup(client.close)
        return client

    def as_nobody(self, *command):
        """Runs a command as a user who is nobody, of the group 65534; returns its status and all that it has said."""
        for path in (self.lab.directory, self.left.directory):
            os.chmod(path, 0o755)
        done = subprocess.run(['setpriv', '--reuid=65534', '--regid=65534', '--clear-groups', *command],
                              capture_output=True, text=True, timeout=10, stdin=subprocess.DEVNULL, check=False)
        return done.returncode, done.stdout + done.stderr

    def _finish(self, agent):
        if self._outcome.success and not agent.ended:
            self.assertTrue(agent.process.running(), agent.process.report())
            agent.quiet(0.05)
            agent.table()
