"""What is wanted, assigned and in the hardware is compared and put right, with an agent and without one, and the
hardware is emptied."""

import json
import os
import struct
import subprocess

from agent import PROGRAM, appears, disappears
from case import SystemTest
from daemons import mac
from orloctl import CTL

HEADER = 64  # bytes of the slot table before its slots
USED = 0xA


def word(vlan, vrid):
    """How a used slot looks."""
    return USED << 60 | vlan << 48 | int(mac(vrid).replace(':', ''), 16)


class Blind:
    """A module that says of nothing what the hardware holds."""

    kind = 'module'

    @staticmethod
    def settings():
        build = os.path.dirname(os.path.dirname(PROGRAM))
        return {'module': os.path.join(build, 'tests/unit/agent/blind_helper/libagent_blind_helper.so'),
                'capabilities': []}


class AuditTest(SystemTest):

    def slot_is(self, agent, index, value):
        """Somebody else writes into the table of the hardware, past its agent."""
        with open(agent.slots, 'r+b') as slots:
            slots.seek(HEADER + 8 * index)
            slots.write(struct.pack('=Q', value))

    def audit(self, ctl, *words):
        """The exit status, the answer, and what differs in it."""
        status, output, errors = ctl.run('--json', 'audit', *words)
        self.assertEqual('', errors)
        answer = json.loads(output)
        rows = [(row['what'], row['vlan'], row['mac'], row['assigned'], row['held']) for row in answer['differences']]
        return status, answer, sorted(rows, key=str)

    def alone(self, agent, *words):
        """orlo-agent with these words and the configuration, on the left switch; exit status, output, errors."""
        done = subprocess.run(self.left.command(PROGRAM, *words, agent.configuration), capture_output=True, text=True,
                              timeout=20, stdin=subprocess.DEVNULL, check=False)
        return done.returncode, done.stdout, done.stderr

    def test_no_difference_with_a_pair_that_waits(self):
        agent = self.agent(indexes=5)
        for vrid in (51, 52):
            self.left.router(vrid)
            agent.take(4)
        ctl = self.ctl(agent)
        line = '6 pairs wanted, 5 assigned, 5 in the hardware: no difference\n'

        self.assertEqual((0, line, ''), ctl.run('audit'))
        self.assertEqual((0, line, ''), self.alone(agent, '--audit'))
        before = agent.hardware()
        self.assertEqual((0, line, ''), ctl.run('audit', '--repair'))
        self.assertEqual(before, agent.hardware())

    def test_what_somebody_did_is_listed_and_put_right(self):
        agent = self.agent()
        for vrid in (51, 52):
            self.left.router(vrid)
            agent.expect(appears(vrid))
        ctl, held, words = self.ctl(agent), agent.held, agent.words()
        freed, moved = held[(10, mac(51))], held[(11, mac(52))]

        self.slot_is(agent, freed, 0)
        self.slot_is(agent, moved, 0)
        self.slot_is(agent, 6, word(11, 52))
        self.slot_is(agent, 7, word(99, 99))

        expected = sorted([('missing', 10, mac(51), freed, None), ('wrong index', 11, mac(52), moved, 6),
                           ('extra', 99, mac(99), None, 7)], key=str)
        status, answer, rows = self.audit(ctl)
        self.assertEqual((1, 3, expected), (status, answer['left'], rows))
        status, output, errors = self.alone(agent, '--audit')
        self.assertEqual((1, ''), (status, errors))
        self.assertTrue(output.endswith('6 pairs wanted, 6 assigned, 6 in the hardware: 3 differences\n'), output)
        self.assertEqual(1, ctl.run('audit')[0])
        written = agent.writes()

        status, answer, rows = self.audit(ctl, '--repair')

        self.assertEqual((0, 0, 3, expected), (status, answer['left'], answer['repaired'], rows))
        self.assertEqual(4, agent.writes() - written)  # one comes, one goes, one goes and comes
        self.assertEqual(4, answer['writes'])
        self.assertEqual(words, agent.words())
        self.assertEqual(0, self.audit(ctl)[0])
        agent.quiet()

    def test_without_an_agent(self):
        agent = self.agent(indexes=4)
        self.left.router(51)
        agent.expect(appears(51))
        agent.kill()
        first = f'no agent answers at {agent.socket}: the hardware is held against what the kernel shows\n'

        self.assertEqual((0, first + '3 pairs wanted, 3 in the hardware: no difference\n', ''),
                         self.alone(agent, '--audit'))

        self.left.router(52)
        self.left.ip('link del vr.51')
        hardware = agent.hardware()
        status, output, errors = self.alone(agent, '--audit')
        self.assertEqual((1, ''), (status, errors))
        lines = output.splitlines()
        rows = [line for line in lines[2:-1] if not line.startswith(' ')]  # the others say more of why
        self.assertEqual(['extra'] * 3 + ['missing'] * 3, sorted(row.split()[0] for row in rows))
        self.assertEqual('3 pairs wanted, 3 in the hardware: 6 differences', lines[-1])
        self.assertEqual(hardware, agent.hardware())

    def test_without_an_agent_nothing_is_made_or_set_aside(self):
        agent = self.agent()
        agent.kill()
        os.unlink(agent.slots)
        self.assertEqual(0, self.alone(agent, '--audit')[0])
        self.assertFalse(os.path.exists(agent.slots))

        with open(agent.slots, 'w', encoding='ascii') as slots:
            slots.write('something else')
        self.assertEqual((4, '', f'orlo-agent: cannot read the slot table {agent.slots}: it is no slot table\n'),
                         self.alone(agent, '--audit'))
        with open(agent.slots, encoding='ascii') as slots:
            self.assertEqual('something else', slots.read())

    def test_a_repair_needs_the_right_to_change(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))
        os.chmod(agent.socket, 0o666)
        self.slot_is(agent, agent.held[(10, mac(51))], 0)
        before = agent.hardware()

        status, said = self.as_nobody(CTL, '--socket', agent.socket, 'audit', '--repair')
        self.assertEqual(4, status)
        self.assertIn('a repair needs root', said)
        self.assertEqual(before, agent.hardware())
        status, said = self.as_nobody(CTL, '--socket', agent.socket, 'audit')
        self.assertEqual(1, status)
        self.assertIn('in the hardware: 1 difference', said)
        self.assertEqual(0, self.ctl(agent).run('audit', '--repair')[0])

    def test_hardware_that_cannot_be_read_back_is_no_difference(self):
        agent = self.agent(hardware=Blind())

        status, output, errors = self.ctl(agent).run('audit')
        self.assertEqual((4, '', 'orloctl: there is no audit of this hardware: its helper cannot read it back\n'),
                         (status, output, errors))
        self.assertEqual((4, '', 'orlo-agent: there is no audit of this hardware: its helper cannot read it back\n'),
                         self.alone(agent, '--audit'))
        agent.stop()
        self.assertEqual((4, '', 'orlo-agent: there is no audit of this hardware: its helper cannot read it back\n'),
                         self.alone(agent, '--audit'))

    def test_a_flush_is_refused_while_an_agent_runs(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))
        hardware = agent.hardware()

        status, output, errors = self.alone(agent, '--flush')

        self.assertEqual((1, ''), (status, output))
        self.assertIn('another orlo-agent uses it', errors)
        self.assertEqual(hardware, agent.hardware())

    def test_a_flush_empties_the_hardware(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))
        agent.kill()

        self.assertEqual((0, 'flushed: 3 pairs removed from the hardware\n', ''), self.alone(agent, '--flush'))

        self.assertEqual({}, agent.words())
        self.assertEqual((0, 'flushed: 0 pairs removed from the hardware\n', ''), self.alone(agent, '--flush'))
        agent.start()
        agent.expect(appears(51))
        self.left.ip('link del vr.51')
        agent.expect(disappears(51))

    def test_an_agent_that_may_not_be_asked_is_not_passed_over(self):
        agent = self.agent()

        status, said = self.as_nobody(PROGRAM, '--audit', agent.configuration)

        self.assertEqual(3, status)
        self.assertIn("be root or a member of the socket's group", said)

    def test_one_way_of_not_running(self):
        agent = self.agent()
        for words in (('--audit', '--flush'), ('--check', '--audit')):
            status, output, errors = self.alone(agent, *words)
            self.assertEqual((2, ''), (status, output), words)
            self.assertIn('orlo-agent --help', errors)
