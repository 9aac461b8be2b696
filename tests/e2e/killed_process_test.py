"""A few kills of captures by corvane.dll over both transports (scripts/kill_test.py has many)."""

import sys
import unittest

from support import environment, wine

sys.path.insert(0, str(wine.ROOT / "scripts"))

import kill_test  # noqa: E402  (needs the path above)

TIMES = 2


class KilledProcess(unittest.TestCase):
    def test_nothing_is_lost_over_a_com_port(self):
        proven = kill_test.kill_over_serial_port(TIMES, 7, environment.programs)
        self.assertGreater(proven, TIMES * 5)

    def test_nothing_is_lost_over_mobile_broadband(self):
        proven = kill_test.kill_over_mobile_broadband(TIMES, 7, environment.programs)
        self.assertGreater(proven, TIMES * 5)


if __name__ == "__main__":
    unittest.main()
