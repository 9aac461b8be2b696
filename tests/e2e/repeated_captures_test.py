"""A few of the starts, stops, plugs and unplugs of scripts/cycle_test.py, which has many."""

import sys
import unittest

from support import environment, wine

sys.path.insert(0, str(wine.ROOT / "scripts"))

import cycle_test  # noqa: E402  (needs the path above)

MEMORY = 512  # KiB; so few captures are not all of the warming up


class RepeatedCaptures(unittest.TestCase):
    """The run itself fails when a file is wrong, or when something is not given back."""

    def test_nothing_is_kept_of_captures_over_a_com_port(self):
        before, after = cycle_test.over_serial_port(
            7, environment.programs, starts=1, plugs=1, stops=1, warm_ups=0, memory=MEMORY
        )
        self.assertFalse(after.exceeds(before, MEMORY))

    def test_nothing_is_kept_of_captures_over_mobile_broadband(self):
        before, after = cycle_test.over_mobile_broadband(
            7, environment.programs, starts=8, plugs=4, stops=4, warm_ups=1, memory=MEMORY
        )
        self.assertFalse(after.exceeds(before, MEMORY))

    def test_something_more_is_too_much(self):
        before = cycle_test.holdings.Holdings(threads=2, files=3, handles=4, memory=100)
        self.assertFalse(before.exceeds(before, memory=0))
        for more in ("threads", "files", "handles", "memory"):
            with self.subTest(more):
                after = cycle_test.holdings.dataclasses.replace(
                    before, **{more: getattr(before, more) + 1}
                )
                self.assertTrue(after.exceeds(before, memory=0))


if __name__ == "__main__":
    unittest.main()
