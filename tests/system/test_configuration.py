"""The configuration file: what is good, and how a bad one is answered."""

import json
import os
import re
import tempfile
import unittest

from agent import SVI10, run_agent

GOOD = {'hardware': {'kind': 'memory', 'indexes': 5, 'path': 'slots'}, 'interfaces': [SVI10]}


def changed(**changes):
    """The good configuration with changes: hardware__kind='x' changes the kind of the hardware, interfaces=[...] all
    the interfaces, hardware__path=None takes the path out."""
    made = json.loads(json.dumps(GOOD))
    for where, value in changes.items():
        *path, last = where.split('__')
        place = made
        for step in path:
            place = place[step]
        if value is None:
            del place[last]
        else:
            place[last] = value
    return made


def svi(name='br10', vlan=10, **more):
    return {'name': name, 'vlan': vlan, **more}


# The configuration, the place that is at fault, and the value there.
BAD = [
    (changed(interfaces=[svi(vlan=4095)]), '/interfaces/0/vlan', 4095),
    (changed(interfaces=[svi(vlan=0)]), '/interfaces/0/vlan', 0),
    (changed(interfaces=[svi(vlan=-1)]), '/interfaces/0/vlan', -1),
    (changed(interfaces=[svi(vlan='10')]), '/interfaces/0/vlan', '10'),
    (changed(interfaces=[svi(vlan=10.5)]), '/interfaces/0/vlan', 10.5),
    (changed(interfaces=[svi(vlan=65546)]), '/interfaces/0/vlan', 65546),
    (changed(interfaces=[svi(secondaryVlans=[11, 4095])]), '/interfaces/0/secondaryVlans/1', 4095),
    (changed(interfaces=[svi(secondaryVlans=[11, 10])]), '/interfaces/0/secondaryVlans/1', 10),
    (changed(interfaces=[svi(secondaryVlans=[11, 11])]), '/interfaces/0/secondaryVlans/1', 11),
    (changed(interfaces=[svi(), svi('br20', 10)]), '/interfaces/1/vlan', 10),
    (changed(interfaces=[SVI10, svi('br20', 12)]), '/interfaces/1/vlan', 12),
    (changed(interfaces=[SVI10, svi('br20', 20, secondaryVlans=[21, 11])]), '/interfaces/1/secondaryVlans/1', 11),
    (changed(interfaces=[svi(), svi('br10', 20)]), '/interfaces/1/name', 'br10'),
    (changed(interfaces=[svi('')]), '/interfaces/0/name', ''),
    (changed(interfaces=[svi('a-name-of-16-long')]), '/interfaces/0/name', 'a-name-of-16-long'),
    (changed(hardware__indexes=-1), '/hardware/indexes', -1),
    (changed(hardware__indexes='5'), '/hardware/indexes', '5'),
    (changed(hardware__indexes=4294967296), '/hardware/indexes', 4294967296),
    (changed(hardware__kind='magic'), '/hardware/kind', 'magic'),
    (changed(hardware__path=''), '/hardware/path', ''),
]

# A configuration that lacks something: the answer names the place, there is no value to show.
INCOMPLETE = [
    (changed(hardware=None), 'hardware'),
    (changed(interfaces=None), 'interfaces'),
    (changed(hardware__kind=None), 'kind'),
    (changed(hardware__indexes=None), 'indexes'),
    (changed(interfaces=[{'name': 'br10'}]), 'vlan'),
    (changed(interfaces=[{'vlan': 10}]), 'name'),
    (changed(hardware=7), 'hardware'),
    (changed(interfaces={}), 'interfaces'),
    (changed(interfaces=[7]), 'interfaces'),
    (changed(interfaces=[svi(secondaryVlan=[11])]), 'secondaryVlan'),
    ([], ''),
]


class ConfigurationTest(unittest.TestCase):

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix='orlo-configuration-')
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def write(self, what):
        path = os.path.join(self.folder, 'agent.json')
        if not isinstance(what, str):
            what = json.dumps({**what, 'hardware': {**what['hardware'], 'path': self.slots()}}
                              if isinstance(what, dict) and isinstance(what.get('hardware'), dict)
                              and what['hardware'].get('path') else what)
        with open(path, 'w', encoding='utf-8') as out:
            out.write(what)
        return path

    def slots(self):
        return os.path.join(self.folder, 'slots')

    def refused(self, path, *options):
        """Runs the agent on a bad configuration; returns what it says of it."""
        status, output, errors = run_agent(*options, path)
        self.assertEqual(2, status, output + errors)
        self.assertEqual('', output)
        self.assertFalse(os.path.exists(self.slots()), 'it has started on a bad configuration')
        self.assertEqual(1, errors.count('\n'), errors)
        self.assertTrue(errors.startswith(f'orlo-agent: {path}: '), errors)
        return errors.rstrip('\n').removeprefix(f'orlo-agent: {path}: ')

    def test_a_good_one_is_said_to_be_good(self):
        path = self.write(GOOD)

        status, output, errors = run_agent('--check', path)

        self.assertEqual((0, ''), (status, errors))
        self.assertRegex(output, rf'^{re.escape(path)}: good: .+\n$')
        self.assertFalse(os.path.exists(self.slots()), 'a check is not to start anything')

    def test_comments_are_allowed(self):
        path = self.write('// the switch\n{ "hardware": { "kind": "memory", /* few */ "indexes": 5, "path": "'
                          + self.slots() + '" },\n  "interfaces": [ { "name": "br10", "vlan": 4094 } ] // none\n}\n')

        status, output, errors = run_agent('--check', path)

        self.assertEqual((0, ''), (status, errors), output)

    def test_a_bad_value_is_answered_with_its_place_and_what_is_allowed(self):
        for configuration, place, value in BAD:
            for options in ((), ('--check',)):
                with self.subTest(place=place, value=value, options=options):
                    said = self.refused(self.write(configuration), *options)

                    shown = re.escape(json.dumps(value))
                    if isinstance(value, str):
                        shown += '|' + re.escape(value)
                    self.assertRegex(said, rf'^{re.escape(place)}: ({shown}): \S.*$')

    def test_the_words_for_a_vlan(self):
        self.assertEqual('/interfaces/0/vlan: 4095: must be a VLAN number, 1 to 4094',
                         self.refused(self.write(changed(interfaces=[svi(vlan=4095)]))))

    def test_what_is_missing_or_of_another_kind_is_named(self):
        for configuration, name in INCOMPLETE:
            with self.subTest(configuration):
                self.assertIn(name, self.refused(self.write(configuration)))

    def test_what_is_no_json(self):
        for text in ('', '{', '{ "hardware": }', '[1, 2', 'vlan 10\n'):
            with self.subTest(text):
                self.refused(self.write(text))

    def test_a_file_that_is_not_there(self):
        self.refused(os.path.join(self.folder, 'nothing.json'))
