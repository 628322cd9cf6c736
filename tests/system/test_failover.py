"""Two switches with keepalived and the agent; the master dies, and the other one has its pairs in the hardware."""

import os
import statistics

from agent import appears, disappears
from case import SystemTest
from daemons import Instance, Keepalived, mac
from lab import PYTHON, wait_until

FAIL_OVERS = int(os.environ.get('ORLO_FAIL_OVERS', 5))
PROBE = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'transition_probe.py')


class Side:
    """A switch with an agent, a daemon, and a probe that sees when the pairs are in the hardware."""

    def __init__(self, test, switch, priority):
        self.agent = test.agent(switch)
        words = [f'{0xA << 60 | vlan << 48 | int(mac(51).replace(":", ""), 16):x}' for vlan in (10, 11, 12)]
        self._probe = switch.start(PYTHON, '-S', '-B', PROBE, '10.0.10.51', self.agent.slots, *words)
        self._probe.wait_line(lambda line: line == 'watching', 'that it watches')
        self._read = 1
        # Who comes back stays the backup until the other one dies.
        self.daemon = Keepalived(switch, Instance(51, priority, preempt=False))

    def measured(self):
        """Milliseconds until the first and until the last pair was in the hardware, of the next transition."""
        wait_until(lambda: len(self._probe.lines()) > self._read, 'a transition is measured', 10.0, self._probe.report)
        line = self._probe.lines()[self._read]
        assert line != 'never', 'the agent has said it, and the hardware does not hold it'
        self._read += 1
        return tuple(int(word) / 1e6 for word in line.split())


class FailOverTest(SystemTest):

    def test_from_the_transition_to_the_hardware(self):
        master = Side(self, self.left, 200)
        master.agent.expect(appears(51))
        master.measured()
        standby = Side(self, self.right, 100)
        taken = []

        for _ in range(FAIL_OVERS):
            standby.daemon.wait_state('vrrp.51', 'BACKUP')
            master.daemon.kill()
            standby.agent.expect(appears(51))
            taken.append(standby.measured())
            master.daemon.start()
            master.agent.expect(disappears(51))
            master, standby = standby, master

        first, last = zip(*taken)
        print(f'               {FAIL_OVERS} fail-overs, from the kernel\'s news to the hardware, in ms: first pair median '
              f'{statistics.median(first):.2f}, all three median {statistics.median(last):.2f} worst {max(last):.2f}')
