"""What the system tests have in common."""

import unittest

from agent import Agent
from lab import Lab


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

    def _finish(self, agent):
        if self._outcome.success and not agent.ended:
            self.assertTrue(agent.process.running(), agent.process.report())
            agent.quiet(0.1)
            agent.table()
