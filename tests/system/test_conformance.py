"""orlo-conformance on each kind of hardware: its helper keeps every rule that can be tried on it."""

import json
import os
import subprocess
import unittest

from agent import PROGRAM, SVI10
from hardware import BridgeHardware, EbpfHardware, MemoryHardware
from lab import Lab, LabError
from routed_lab import PRIMARY, SECONDARY, FilteringLab

TOOL = (os.environ.get('ORLO_CONFORMANCE')
        or os.path.join(os.path.dirname(os.path.dirname(PROGRAM)), 'conformance/orlo-conformance'))
INDEXES = 16

REFUSALS = ('a-refused-pair', 'asked-again', 'a-refused-pair-taken-back', 'the-last-wish', 'accepts-again',
            'a-restart-while-refused')
REFUSED_REMOVALS = ('a-refused-removal', 'a-refused-removal-taken-back')
PLANTED = ('a-pair-twice', 'no-vlan', 'an-entry-too-many', 'an-entry-elsewhere')


class Hardware(unittest.TestCase):
    """A lab with hardware; a subclass for each kind makes them."""

    lab_type = Lab
    interface = SVI10
    not_tried = {}  # the option that is missing, by rule

    def setUp(self):
        if not os.access(TOOL, os.X_OK):
            raise LabError(f'there is no {TOOL}: build it first, or set ORLO_CONFORMANCE')
        self.lab = self.lab_type()
        self.addCleanup(self.lab.close)
        self.switch = self.make_switch()
        self.hardware, self.faults = self.make_hardware()

    def make_switch(self):
        return self.lab.switch('left')

    def run_tool(self, *options, indexes=INDEXES):
        """Its exit status, and its lines."""
        configuration = self.switch.write('tried.json', json.dumps({
            'hardware': {'kind': self.hardware.kind, 'indexes': indexes, **self.hardware.settings()},
            'interfaces': [self.interface]}))
        done = subprocess.run(self.switch.command(TOOL, configuration, *options), stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, text=True, timeout=120, check=False)
        return done.returncode, done.stdout.splitlines()


class Rules:
    """What holds for each kind."""

    def test_its_helper_keeps_every_rule(self):
        status, lines = self.run_tool('--seed', '1', *(word for fault in self.faults.items() for word in fault))

        self.assertEqual(0, status, '\n'.join(lines))
        missing = {f'not tried  {rule}: needs {option}' for rule, option in self.not_tried.items()}
        self.assertEqual(missing, {line for line in lines[:-1] if not line.startswith('ok ')}, '\n'.join(lines))
        rules = len(lines) - 1
        self.assertGreater(rules, 30)
        self.assertEqual(f'{rules} rules: {rules - len(missing)} ok, 0 broken, {len(missing)} not tried; seed 1',
                         lines[-1])
        self.assertEqual({}, self.hardware.entries())


class MemoryConformanceTest(Rules, Hardware):

    not_tried = {**dict.fromkeys(REFUSALS, '--refuse'), **dict.fromkeys(REFUSED_REMOVALS, '--refuse-removals')}

    def make_hardware(self):
        hardware = MemoryHardware(self.switch)
        return hardware, hardware.faults()

    def test_what_is_in_use_is_not_emptied_without_leave(self):
        self.assertEqual(0, self.run_tool('--rule', 'an-added-pair')[0])
        plant = self.faults['--plant']
        self.switch.run('/bin/sh', '-c', f'VLAN=10 MAC=00:00:5e:00:01:33 INDEX=3 {plant}')

        status, lines = self.run_tool('--rule', 'an-added-pair')

        self.assertEqual((2, ['orlo-conformance: the hardware holds 1 entry, and this run removes everything: say '
                              '--empty if it may']), (status, lines))
        self.assertEqual({(10, '00:00:5e:00:01:33'): 3}, self.hardware.entries())
        status, lines = self.run_tool('--rule', 'an-added-pair', '--empty', '--seed', '7')
        self.assertEqual((0, ['ok         an-added-pair', '1 rule: 1 ok, 0 broken, 0 not tried; seed 7']),
                         (status, lines))
        self.assertEqual({}, self.hardware.entries())

    def test_a_loss_that_is_not_put_back_is_a_broken_rule(self):
        # What is lost here is another entry: the one that the suite looks at stays, and is not written again.
        status, lines = self.run_tool('--rule', 'a-lost-entry', '--lose', 'true')

        self.assertEqual(1, status, lines)
        self.assertEqual('BROKEN     a-lost-entry: after the loss of one entry there were 2 writes; it should be: 3',
                         lines[0])
        self.assertRegex(lines[1], r'^1 rule: 0 ok, 1 broken, 0 not tried; seed \d+$')

    def test_what_cannot_be_run_as_asked(self):
        for options, indexes, why in (
                (['--refuse', 'true'], INDEXES, '--accept goes with --refuse or --refuse-removals'),
                (['--rule', 'an-aded-pair'], INDEXES,
                 'there is no rule an-aded-pair; did you mean an-added-pair?; --list names them'),
                ([], 3, f'{self.switch.path("tried.json")}: /hardware/indexes: 3: must be 4 or more here'),
                (['--rule', 'a-lost-entry', '--lose', 'exit 3'], INDEXES,
                 'the command of --lose ended with 3: exit 3'),
                (['--nonsense'], INDEXES, 'The following argument was not expected: --nonsense; try '
                                          'orlo-conformance --help')):
            with self.subTest(options=options):
                self.assertEqual((2, [f'orlo-conformance: {why}']), self.run_tool(*options, indexes=indexes))


class EbpfConformanceTest(Rules, Hardware):

    interface = {**SVI10, 'name': 'svi10'}
    not_tried = dict.fromkeys(REFUSED_REMOVALS, '--refuse-removals')

    def make_hardware(self):
        self.switch.ip('link add svi10 type bridge', 'link add port type veth peer name host')
        hardware = EbpfHardware(self.switch, ['port'])
        self.addCleanup(hardware.close)
        return hardware, hardware.faults('svi10')


class BridgeConformanceTest(Rules, Hardware):
    """In a kernel with VLANs."""

    needs_vlan_kernel = True
    lab_type = FilteringLab
    interface = {**SVI10, 'name': FilteringLab.svi}
    not_tried = {**dict.fromkeys(REFUSED_REMOVALS, '--refuse-removals'), **dict.fromkeys(PLANTED, '--plant')}

    def make_switch(self):
        return self.lab.switch

    def make_hardware(self):
        hardware = BridgeHardware(self.switch, FilteringLab.bridge, PRIMARY)
        return hardware, hardware.faults((PRIMARY, *SECONDARY))
