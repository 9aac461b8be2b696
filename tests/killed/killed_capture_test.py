"""A few kills of captures on this machine (scripts/kill_test.py has many), and whether a loss shows."""

import os
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))

import kill_test  # noqa: E402  (needs the path above)

PROGRAMS = pathlib.Path(os.environ["CORVANE_PROGRAMS"])
CORVANE = PROGRAMS / "corvane"
ENTRY_SIZE = 7
HEADER_SIZE = 4


class KilledCapture(unittest.TestCase):
    def test_what_was_recorded_before_a_kill_is_found(self):
        proven = kill_test.kill_native(times=12, seed=7, programs=PROGRAMS)
        self.assertGreater(proven, 12 * 10)


class Check(unittest.TestCase):
    """The check itself, on a capture of which something is taken away."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="corvane-")
        self.addCleanup(folder.cleanup)
        path = pathlib.Path(folder.name) / "killed.isf"
        self.capture = kill_test.NativeCapture(PROGRAMS / "kill_host", path, "serial", 0)
        try:
            deliveries = kill_test.make_deliveries(1, 50)
            while self.capture.dealt_with < 40:
                self.capture.stream(deliveries, 0.01)
        finally:
            self.capture.kill()

    def assert_loss(self):
        with self.assertRaises(kill_test.Loss):
            kill_test.check_left(CORVANE, self.capture.path, self.capture.check)

    def test_a_whole_file_passes(self):
        kill_test.check_left(CORVANE, self.capture.path, self.capture.check)

    def test_the_end_that_is_missing_is_a_loss(self):
        with open(self.capture.path, "r+b") as file:
            file.truncate(self.capture.path.stat().st_size // 2 + 40_000)
        self.assert_loss()

    def test_an_entry_that_is_missing_is_a_loss(self):
        with open(self.capture.path, "r+b") as file:
            file.seek(HEADER_SIZE + 20 * ENTRY_SIZE)
            file.write(bytes(ENTRY_SIZE))
        self.assert_loss()

    def test_a_byte_that_changed_is_a_loss(self):
        data = bytearray(self.capture.path.read_bytes())
        data[data.index(b"\x10\x00") + 10] ^= 1
        self.capture.path.write_bytes(data)
        self.assert_loss()


if __name__ == "__main__":
    unittest.main()
