"""The memory that commands take which make files does not grow with the number of items."""

import ctypes
import os
import pathlib
import subprocess
import tempfile
import unittest

import exported
import made_capture
from export_formats_test import checksum

FORMATS = ("pcapng", "gsmtap", "hdlc", "jsonl", "csv")
START = 1_700_000_000_000  # milliseconds since 1970

SMALL, LARGE = 1_500, 15_000  # times ten packets
# By how much two runs may differ, in KiB: by less than 32 bytes for each item more.
MOST_GROWTH = 4096

PR_SET_CHILD_SUBREAPER = 36


def frame(packet):
    data = packet + checksum(packet).to_bytes(2, "little")
    return data.replace(b"\x7d", b"\x7d\x5d").replace(b"\x7e", b"\x7d\x5e") + b"\x7e"


def ten_packets():
    """LTE RRC, and nine logs that carry no signalling."""
    stamp = made_capture.diag_stamp(START)
    rrc = bytes.fromhex("0209000144012107000001 0100 2a")
    packets = [made_capture.log_packet(0xB0C0, rrc, stamp)]
    packets += [made_capture.log_packet(0xB061, bytes(80), stamp)] * 9
    return b"".join(map(frame, packets))


def peak_memory(*command):
    """-> the most memory that the program took, in KiB"""
    # In Linux a program's peak begins with that of the program which it replaces. That shall be a
    # shell's, which is small. As the shell ends, this program becomes the other's parent.
    if ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")
    shell = subprocess.run(
        ["sh", "-c", '"$@" >/dev/null 2>&1 & echo $!', "sh", *command],
        stdout=subprocess.PIPE,
        check=True,
        timeout=exported.DEADLINE,
    )
    _, status, usage = os.wait4(int(shell.stdout), 0)
    assert status == 0, (status, command)
    return usage.ru_maxrss


class Memory(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="corvane-memory-")
        cls.addClassCleanup(folder.cleanup)
        cls.captures, cls.imports = [], []
        for times in (SMALL, LARGE):
            stream = pathlib.Path(folder.name) / f"{times}.hdlc"
            stream.write_bytes(ten_packets() * times)
            capture = stream.with_suffix(".isf")
            cls.imports.append(peak_memory(exported.program(), "import", stream, "-o", capture))
            cls.captures.append(capture)

    def assert_alike(self, peaks):
        small, large = peaks
        self.assertLess(large - small, MOST_GROWTH, peaks)

    def assert_exports_are_alike(self, *options):
        command = (exported.program(), "export", "-w", "/dev/null", *options)
        self.assert_alike([peak_memory(*command, capture) for capture in self.captures])

    def test_the_measure_sees_memory_that_is_taken(self):
        eight_mib = "head -c 8388608 /dev/zero | tr '\\0' a"
        little, much = (
            peak_memory("sh", "-c", f"text=$({what}); : $text") for what in ("echo a", eight_mib)
        )
        self.assertGreater(much - little, 8192)

    def test_captures_have_the_items_that_they_should(self):
        small, large = (capture.stat().st_size for capture in self.captures)
        self.assertGreater(small, SMALL * 10 * 80)
        self.assertGreater(large, 9 * small)

    def test_of_an_import(self):
        self.assert_alike(self.imports)

    def test_of_an_export_in_each_format(self):
        for name in FORMATS:
            with self.subTest(format=name):
                self.assert_exports_are_alike("--format", name)

    def test_of_an_export_of_all_there_is(self):
        self.assert_exports_are_alike("--events", "--messages", "--requests", "--raw")

    def assert_captures_are_alike(self, command, *options):
        with tempfile.TemporaryDirectory(prefix="corvane-memory-") as folder:
            made = pathlib.Path(folder) / "made.isf"
            arguments = (exported.program(), command, "-o", made, "--overwrite", *options)
            self.assert_alike([peak_memory(*arguments, capture) for capture in self.captures])
            self.assertGreater(made.stat().st_size, LARGE * 10 * 80)

    def test_of_captures_made_of_a_capture(self):
        for command in ("recover", "cut", "merge"):
            with self.subTest(command=command):
                self.assert_captures_are_alike(command)


if __name__ == "__main__":
    unittest.main()
