"""The kernel with VLANs that other tests run in: what it has, and what is known of a program that runs in it."""

import threading
import unittest

import vlan_kernel
from lab import Lab


class InsideTest(unittest.TestCase):
    needs_vlan_kernel = True

    def test_it_has_vlan_filtering_and_8021q_devices(self):
        lab = Lab()
        self.addCleanup(lab.close)
        switch = lab.switch('switch')

        switch.ip('link add br0 type bridge vlan_filtering 1 vlan_default_pvid 0',
                  'link add br0.10 link br0 type vlan id 10')

        self.assertEqual((1, 10), (switch.show('br0')['linkinfo']['info_data']['vlan_filtering'],
                                   switch.show('br0.10')['linkinfo']['info_data']['id']))


class OutsideTest(unittest.TestCase):

    def test_several_at_once_each_tell_their_own(self):
        if (reason := vlan_kernel.obstacle()) is not None:
            self.skipTest(reason)
        commands = {'fails': ('echo to stdout; echo to stderr >&2; exit 7', 60),
                    'goes on and on': ('seq 1 5000; exec sleep 600', 1)}
        lines = {name: [] for name in commands}
        done = {}

        def run(name, command, limit):
            done[name] = vlan_kernel.run(['/bin/sh', '-c', command], lines[name].append, limit)

        runs = [threading.Thread(target=run, args=(name, *how)) for name, how in commands.items()]
        for one in runs:
            one.start()
        for one in runs:
            one.join()

        if not all(one.booted for one in done.values()):
            self.skipTest(f'the VLAN-aware kernel does not boot here: {done["fails"].last_words}')
        self.assertEqual({'fails': 7, 'goes on and on': 124}, {name: one.status for name, one in done.items()})
        self.assertEqual({'fails': ['to stdout', 'to stderr'],
                          'goes on and on': [str(n) for n in range(1, 5001)]}, lines)
