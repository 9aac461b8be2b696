"""Some seconds of scripts/soak.py, and whether what is missing or grows shows."""

import dataclasses
import pathlib
import sys
import tempfile
import unittest

from support import environment, holdings, wine

sys.path.insert(0, str(wine.ROOT / "scripts"))

import soak  # noqa: E402  (needs the path above)

HELD = holdings.Holdings(threads=4, files=26, handles=33, memory=15000)


class LongCapture(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="corvane-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def test_every_packet_is_in_the_file_and_a_missing_one_shows(self):
        capture = soak.Soak(self.folder, seed=7, rate=3000)
        try:
            capture.run(4.0)
        finally:
            capture.close()
        packets, _ = soak.check_file(capture)
        self.assertGreater(packets, 3000)

        lines = capture.report.read_text("ascii").splitlines()
        place = next(n for n, line in enumerate(lines) if '"kind":"log"' in line)
        one_more = lines[: place + 1] + lines[place:]
        capture.report.write_text("\n".join(one_more) + "\n", "ascii")
        with self.assertRaises(soak.Trouble):
            soak.check_file(capture)

    def test_what_grows_shows(self):
        soak.check_samples(8 * [HELD])
        for name, more in (("threads", 1), ("files", 1), ("handles", 1), ("memory", 513)):
            with self.subTest(name):
                grown = dataclasses.replace(HELD, **{name: getattr(HELD, name) + more})
                with self.assertRaises(soak.Trouble):
                    soak.check_samples(4 * [HELD] + 4 * [grown])

    def test_what_is_there_for_a_moment_is_no_growth(self):
        looking = dataclasses.replace(HELD, handles=34, files=27)
        soak.check_samples(4 * [HELD] + [looking, HELD, looking, looking])


if __name__ == "__main__":
    unittest.main()
