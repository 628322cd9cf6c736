"""Files that the agent lives on, in the hands of somebody else: its slot table broken, cut short, removed; a full disk."""

import os
import struct
import subprocess

from agent import appears
from daemons import mac
from faults import FaultyTest
from hardware import MemoryHardware, slots_of
from lab import Timeout, need, wait_until


def word(vlan, vrid):
    return 0xA << 60 | vlan << 48 | int(mac(vrid).replace(':', ''), 16)


class SlotTableTest(FaultyTest):
    """With two virtual routers, whose pairs are in slots 0 to 5 of eight."""

    def start(self, **options):
        agent = self.agent(**options)
        for vrid in (51, 52):
            self.left.router(vrid)
            agent.expect(appears(vrid))
        self.begin(agent)
        return agent

    def said(self, agent, words):
        return [line for line in agent.process.lines() if words in line]

    def test_a_broken_one_is_set_aside_and_filled_anew(self):
        agent = self.start()
        good = agent.hardware()

        def with_words(at, *words):
            return good[:at] + struct.pack(f'={len(words)}Q', *words) + good[at + 8 * len(words):]
        for name, content in (('no magic number', b'\1' + good[1:]), ('another version', with_words(8, 7)),
                              ('more slots than are there', with_words(16, 1 << 20)), ('a bad check', with_words(16, 8)),
                              ('what has to be zero', with_words(40, 5)), ('half a header', good[:33]),
                              ('half the slots', good[:64 + 4 * 8]), ('a slot that is none', with_words(72, 1 << 50)),
                              ('noise', os.urandom(4096)), ('a text', b'remember the milk\n' * 100)):
            with self.subTest(name):
                agent.kill()
                with open(agent.slots, 'wb') as slots:
                    slots.write(content)

                agent.start()

                self.assertEqual((0, 6), (agent.ready['adopted'], agent.ready['programmed']))
                line, = self.said(agent, 'cannot be used')
                aside = line.partition('set aside as ')[2].partition(',')[0]
                with open(aside, 'rb') as kept:
                    self.assertEqual(content, kept.read())
                os.unlink(aside)
                agent.take(8)
                self.whole(agent)

    def test_wrong_contents_of_a_good_one_are_put_right(self):
        agent = self.start()
        good = agent.hardware()
        right = slots_of(agent.slots)

        for name, slots in (('a pair twice', {7: word(10, 51)}), ('another pair', {6: word(99, 51)}),
                            ('VLAN 0', {6: word(0, 51)}), ('VLAN 4095', {6: word(4095, 51)}),
                            ('no virtual router', {7: 0xA << 60 | 10 << 48 | 0xffffffffffff}),
                            ('a slot emptied', {2: 0}), ('all at once', {6: word(10, 51), 7: word(10, 51), 1: 0})):
            with self.subTest(name):
                agent.kill()
                content = bytearray(good)
                for index, value in slots.items():
                    struct.pack_into('=Q', content, 64 + 8 * index, value)
                with open(agent.slots, 'wb') as file:
                    file.write(content)

                agent.start()

                self.assertEqual([], self.said(agent, 'cannot be used'))
                self.whole(agent)
                kept = {pair: index for pair, index in right.items() if index not in slots}
                held = agent.held_in_hardware()
                self.assertEqual(kept, {pair: held[pair] for pair in kept})
                agent.table()

    def test_one_that_is_cut_short_or_removed_under_the_running_agent(self):
        agent = self.start()
        ctl = self.ctl(agent)
        hardware = agent.held_in_hardware()
        for name, harm, what in (('emptied', lambda: os.truncate(agent.slots, 0), 'cut short'),
                                 ('cut', lambda: os.truncate(agent.slots, 80), 'cut short'),
                                 ('removed', lambda: os.unlink(agent.slots), 'removed')):
            with self.subTest(name):
                begin = len(agent.process.lines())
                harm()
                ctl.json('show', 'pairs')
                if what == 'cut short':
                    ctl.run('audit', '--repair')
                else:
                    self.left.ip('addr add 192.0.2.200/32 dev vr.51')  # something for it to hear
                    self.left.router(53)
                    agent.take(4)

                agent.process.wait_line(lambda line: f'somebody has {what}' in line, 'what has happened', begin=begin)
                self.whole(agent)
                held = agent.held_in_hardware()
                self.assertEqual(hardware, {pair: held[pair] for pair in hardware})
                self.assertTrue(agent.process.running())


class Elsewhere(MemoryHardware):
    """A slot table at another place."""

    def __init__(self, path):
        self._path = path


class FullDiskTest(FaultyTest):

    def setUp(self):
        super().setUp()
        self.disk = self.left.path('disk')
        os.mkdir(self.disk)
        subprocess.run([need('mount', 'mount'), '-t', 'tmpfs', '-o', 'size=64k', 'tmpfs', self.disk], check=True)
        self.addCleanup(lambda: subprocess.run([need('umount', 'mount'), '--lazy', self.disk], check=True))

    def fill(self):
        with open(os.path.join(self.disk, 'filler'), 'wb', buffering=0) as filler:
            try:
                while True:
                    filler.write(bytes(4096))
            except OSError:
                pass

    def test_it_is_full_when_the_agent_starts(self):
        self.fill()
        slots = os.path.join(self.disk, 'slots')
        self.left.router(51)
        with self.assertRaises(Timeout):
            self.agent(hardware=Elsewhere(slots))
        ended = self.left.processes[-1]
        self.assertEqual(1, ended.wait())
        self.assertIn(f'cannot allocate the slot table {slots}: No space left on device', ended.report())

        os.unlink(os.path.join(self.disk, 'filler'))
        again = self.agent(hardware=Elsewhere(slots))

        again.expect(appears(51))
        self.assertEqual(3, len(slots_of(slots)))

    def test_it_becomes_full_while_the_agent_runs(self):
        slots = os.path.join(self.disk, 'slots')
        agent = self.agent(hardware=Elsewhere(slots), indexes=1000)
        self.left.router(51)
        agent.expect(appears(51))
        self.fill()

        self.left.router(52)
        agent.expect(appears(52))
        self.assertEqual(6, len(slots_of(slots)), 'what it needs, it has from the beginning')

        os.truncate(slots, 0)
        self.fill()
        self.left.router(53)
        agent.process.wait_line(lambda line: 'somebody has cut the slot table' in line, 'why it is refused')
        os.unlink(os.path.join(self.disk, 'filler'))

        wait_until(lambda: len(slots_of(slots)) == 9, 'all of it is back', 20.0, agent.process.report)
        agent.process.wait_line(lambda line: 'has taken everything' in line, 'that it is over')
        agent.take(4)
        self.assertEqual((0, ''), self.ctl(agent).run('audit')[::2])
