"""Requests while scenes run. Generous, for machines that do other things; bench/control_load.py prints the figures."""

import os
import unittest

from device import PATIENCE
from load import FRAME, RATE, at, measure

SECONDS = float(os.environ.get("TARNWATCH_LOAD_SECONDS", "5"))


class Load(unittest.TestCase):
    def test_of_200_requests_a_second_keeps_scenes_and_answers_in_time(self):
        told = measure(SECONDS)
        self.assertEqual(told["failures"], [])
        self.assertEqual(told["missing"], 0)
        self.assertGreater(len(told["loaded"]), 0.9 * RATE * SECONDS)
        self.assertGreater(told["rate"], 100)
        slack = PATIENCE / 20
        self.assertLess(at(told["loaded"], 0.5), FRAME * slack)
        self.assertLess(told["loaded"][-1], 15 * FRAME * slack)
        self.assertLess(at(told["answers"], 0.5), 0.05 * slack)


if __name__ == "__main__":
    unittest.main()
