"""Libraries that the agent cannot use: it says which and why, and ends with 1 before it has touched anything."""

import json
import os
import shutil
import tempfile
import unittest

from agent import PROGRAM, SVI10, run_agent

BUILD = os.path.dirname(os.path.dirname(PROGRAM))
CHIP = os.path.join(BUILD, 'examples/chip/chip.so')
MEMORY = os.path.join(BUILD, 'orlo-helper-memory.so')
OF_TESTS = os.path.join(BUILD, 'tests/unit/plugin')


class ModulesTest(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix='orlo-modules-')
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def cannot_run(self, **changes):
        """Runs the agent with a configuration of which some members are others; returns why it has ended."""
        with open(self.path('agent.json'), 'w', encoding='utf-8') as out:
            json.dump({'hardware': {'kind': 'memory', 'indexes': 5, 'path': self.path('slots')},
                       'control': {'path': self.path('control')}, 'interfaces': [SVI10], **changes}, out)
        status, output, errors = run_agent(self.path('agent.json'))
        self.assertEqual((1, ''), (status, output), errors)
        self.assertEqual(1, errors.count('\n'), errors)
        self.assertTrue(errors.startswith('orlo-agent: '), errors)
        self.assertEqual(['agent.json'], [name for name in os.listdir(self.folder) if not name.endswith('.so')])
        return errors.removeprefix('orlo-agent: ').rstrip('\n')

    def module(self, module, **settings):
        return {'hardware': {'kind': 'module', 'indexes': 5, 'module': module, 'settings': settings}}

    def no_library(self):
        path = self.path('text.so')
        with open(path, 'w', encoding='utf-8') as out:
            out.write('no library\n')
        return path

    def test_a_plug_in_that_is_not_there(self):
        self.assertRegex(self.cannot_run(plugin='/nowhere/liborlovrrp.so.1'),
                         '^cannot load the plug-in /nowhere/liborlovrrp.so.1: .*No such file or directory; is the path '
                         'in "plugin" of the configuration right[?]$')

    def test_a_plug_in_that_is_no_library(self):
        said = self.cannot_run(plugin=self.no_library())
        self.assertIn(f'cannot load the plug-in {self.path("text.so")}: ', said)

    def test_a_plug_in_that_is_another_library(self):
        for path in (os.path.join(BUILD, 'libquor.so.1'), os.path.join(OF_TESTS, 'no_record/libplugin_no_record.so')):
            with self.subTest(path):
                said = self.cannot_run(plugin=path)
                self.assertIn(f'{path} is not the plug-in: it has no orloVrrpPlugin', said)

    def test_a_plug_in_of_another_version(self):
        path = os.path.join(OF_TESTS, 'other_abi/libplugin_other_abi.so')
        self.assertRegex(self.cannot_run(plugin=path),
                         rf'^the plug-in {path} is of another version: its interface is \d+ [(][0-9.]+[)], this agent '
                         r'needs \d+; install the plug-in that belongs to this agent$')

    def test_a_module_that_is_not_there(self):
        self.assertRegex(self.cannot_run(**self.module('/nowhere/chip.so')),
                         '^cannot load the helper module /nowhere/chip.so: .*No such file or directory; is the '
                         'hardware in the configuration right, ')

    def test_a_module_that_is_no_library(self):
        said = self.cannot_run(**self.module(self.no_library()))
        self.assertIn(f'cannot load the helper module {self.path("text.so")}: ', said)

    def test_a_module_without_a_helper(self):
        path = os.path.join(OF_TESTS, 'no_record/libplugin_no_record.so')
        self.assertEqual(f'{path} is not a helper module: it has no orloHelperNew',
                         self.cannot_run(**self.module(path)))

    def test_a_library_that_fails_to_register(self):
        copy = self.path('copy.so')
        shutil.copy(os.path.join(BUILD, 'liborlovrrp.so.1'), copy)
        self.assertRegex(self.cannot_run(**self.module(copy)),
                         rf'^cannot load the helper module {copy}: its start-up failed: the type \S+ is registered '
                         'already$')

    def test_a_module_that_throws(self):
        self.assertEqual('which chip? There is no "device" in its settings', self.cannot_run(**self.module(CHIP)))
        self.assertEqual('the memory hardware needs a setting "path"', self.cannot_run(**self.module(MEMORY)))

    def test_hardware_that_cannot_be_had(self):
        said = self.cannot_run(**self.module(MEMORY, path='/nowhere/slots'))
        self.assertIn('/nowhere/slots', said)

    def test_a_check_does_not_load_them(self):
        with open(self.path('agent.json'), 'w', encoding='utf-8') as out:
            json.dump({**self.module('/nowhere/chip.so'), 'interfaces': [SVI10]}, out)
        status, output, errors = run_agent('--check', self.path('agent.json'))
        self.assertEqual((0, ''), (status, errors), output)
