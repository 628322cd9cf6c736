"""Whether the labs for counted frames prove anything: what routes a frame in them, and what does not. Without an agent:
the hardware's part is done by hand."""

import unittest

from daemons import mac
from routed_lab import FilteringLab, TaggedLab, VLANS


def counts(flow):
    return flow.sent, flow.received_upstream, flow.answered


class TaggedTest(unittest.TestCase):

    def setUp(self):
        self.lab = TaggedLab()
        self.addCleanup(self.lab.close)
        self.lab.router(51)

    def test_a_tagged_frame_is_for_nobody_and_an_untagged_one_needs_no_hardware(self):
        tagged = [self.lab.flow(vlan, 51, count=20) for vlan in VLANS]
        untagged = [self.lab.flow(vlan, 51, count=20, tag=0) for vlan in VLANS]

        self.assertEqual([(20, 0, 0)] * 4, [counts(flow.wait()) for flow in tagged])
        self.assertEqual([(20, 20, 20)] * 4, [counts(flow.wait()) for flow in untagged])

    def test_three_hosts_at_once_and_exactly_the_frames_that_were_lost(self):
        flows = [self.lab.flow(vlan, 51, rate=1000, tag=0) for vlan in (10, 11, 12)]
        for flow in flows:
            flow.wait_answered(200)
        self.lab.switch.ip('link set vr.51 down')
        flows[0].wait_sent(200)
        self.lab.switch.ip('link set vr.51 up')
        for flow in flows:
            flow.wait_answered(200)
            flow.stop()

        for flow in flows:
            with self.subTest(str(flow)):
                lost = flow.lost
                self.assertGreaterEqual(len(lost), 50)
                self.assertEqual(list(range(lost[0], lost[-1] + 1)), lost)  # in one piece
                self.assertEqual(lost, flow.lost_upstream)
                self.assertEqual((flow.sent - len(lost),) * 2, (flow.received_upstream, flow.answered))
                self.assertEqual(0, flow.again)


class FilteringTest(unittest.TestCase):
    needs_vlan_kernel = True

    @classmethod
    def setUpClass(cls):
        cls.lab = FilteringLab()
        cls.addClassCleanup(cls.lab.close)
        cls.lab.router(51)

    def entries(self, *vlans):
        """The local entries that bring the frames of a MAC up, by hand."""
        self.lab.run_bridge(*(f'fdb replace {mac(51)} dev br0 vlan {vlan} self permanent' for vlan in vlans))
        self.addCleanup(self.lab.run_bridge, *(f'fdb del {mac(51)} dev br0 vlan {vlan} self' for vlan in vlans))

    def rules(self, *vlans):
        """What turns frames of secondary VLANs into frames of the primary one, for one MAC."""
        self.lab.tc('qdisc add dev br0 clsact',
                    *(f'filter add dev br0 ingress pref 10 protocol 802.1Q handle {vlan} flower vlan_id {vlan} '
                      f'dst_mac {mac(51)} action vlan modify id 10' for vlan in vlans))
        self.addCleanup(self.lab.tc, 'qdisc del dev br0 clsact')

    def send(self):
        """Every host sends 20 frames. Returns, by VLAN, how many have come up to the bridge with that tag, how many
        were flooded with it, and how many of the host were routed and answered."""
        with self.lab.up(51) as up, self.lab.flooded(51) as flooded:
            flows = {vlan: self.lab.flow(vlan, 51, count=20) for vlan in VLANS}
            done = {vlan: counts(flow.wait()) for vlan, flow in flows.items()}
        self.assertEqual({vlan: (20, answered, answered) for vlan, (_, _, answered) in done.items()}, done)
        return {vlan: (up.heard.get(vlan, 0), flooded.heard.get(vlan, 0), answered)
                for vlan, (_, _, answered) in done.items()}

    def test_without_an_entry_frames_are_flooded_and_not_routed(self):
        self.assertEqual({vlan: (0, 20, 0) for vlan in VLANS}, self.send())

    def test_an_entry_ends_the_flooding_and_a_secondary_frame_comes_up_with_its_own_tag(self):
        self.entries(*VLANS)

        self.assertEqual({10: (20, 0, 20), 11: (20, 0, 0), 12: (20, 0, 0), 20: (20, 0, 0)}, self.send())

    def test_with_a_rule_a_secondary_frame_is_routed(self):
        self.rules(11, 12)
        self.entries(10, 11)

        self.assertEqual({10: (20, 0, 20), 11: (20, 0, 20), 12: (0, 20, 0), 20: (0, 20, 0)}, self.send())

    def test_three_hosts_at_once_lose_nothing(self):
        self.rules(11, 12)
        self.entries(10, 11, 12)

        flows = [self.lab.flow(vlan, 51, rate=1000, count=1000) for vlan in (10, 11, 12)]

        for flow in flows:
            flow.wait()
        self.assertEqual([(1000, 1000, 1000)] * 3, [counts(flow) for flow in flows], '\n'.join(map(str, flows)))
        self.assertEqual([[]] * 3, [flow.lost for flow in flows])
