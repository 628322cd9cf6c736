"""What the tests of faults have in common."""

from agent import SVI10
from case import SystemTest
from lab import wait_until
from soak import wanted

FEW_MEGABYTES = 6 * 1024  # in kB


class FaultyTest(SystemTest):
    """Each ends with whole(): the hardware is what the kernel's devices want, the audit is clean, and the agent has no
    more memory and descriptors than before."""

    interfaces = (SVI10,)

    def begin(self, agent):
        self.ctl(agent).text('show')
        self.memory, self.descriptors = agent.memory(), agent.descriptors()

    def whole(self, agent, interfaces=None):
        expected = wanted(self.left, interfaces or self.interfaces)

        def is_right():
            held = agent.held_in_hardware()
            return held.keys() <= expected and len(held) == min(len(expected), agent.indexes)
        wait_until(is_right, f'the hardware holds {len(expected)} pairs', 20.0,
                   lambda: f'{agent.held_in_hardware()}\n{agent.process.report()}')
        self.assertEqual((0, ''), self.ctl(agent).run('audit')[::2])
        wait_until(lambda: agent.descriptors() <= self.descriptors, f'it has {self.descriptors} descriptors', 5.0,
                   lambda: f'it has {agent.descriptors()}')
        self.assertLess(agent.memory(), self.memory + FEW_MEGABYTES)
        agent.catch_up()
