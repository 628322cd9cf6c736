"""A short piece of the long random run; make soak makes it longer."""

import os
import unittest

from soak import Soak

SECONDS = float(os.environ.get('ORLO_SOAK_SECONDS', 8))
SEED = int(os.environ.get('ORLO_SEED', 1))


class SoakTest(unittest.TestCase):

    def test_whatever_happens_everything_is_as_it_has_to_be(self):
        report = Soak(SEED).run(SECONDS)

        print(f'               seed {SEED}: {report["events"]} events, {report["fail-overs"]} fail-overs, '
              f'{report["starts of the agent"]} new starts, {report["audits"]} audits, '
              f'{report["frames sent"]} frames sent, {report["frames received"]} received')
        self.assertGreater(report['events'], 0)
        self.assertGreater(report['quiet points'], 1)
        self.assertEqual(report['frames sent'], report['frames received'])
