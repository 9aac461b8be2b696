"""corvane.exe import: bytes as they are from standard input, and files that are replaced."""

import pathlib
import shutil
import struct
import subprocess
import tempfile
import unittest

from support import diag, environment, isf, wine

DEADLINE = 120.0

# 2024-05-17 12:00:00 UTC, as a DIAG time stamp and in milliseconds since 1601.
NOON_STAMP = 1_119_985_920_000 << 16
NOON = 13_360_420_800_000


def log(payload, units=0):
    """A log packet, so many times 1.25 ms after noon."""
    length = 12 + len(payload)
    stamp = NOON_STAMP + (units << 16)
    return struct.pack("<BxHHHQ", 0x10, length, length, 0xB0C0, stamp) + payload


# Line ends and the byte that ends a text file on Windows among them.
EVERY_BYTE = log(bytes(range(256)) + b"\r\n\x1a\r\n")


class ImportProgram(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.capture = self.folder / "drive.isf"
        self.stream = self.folder / "drive.hdlc"

    def run_import(self, stream, *arguments, data=b""):
        """-> exit code, what the user reads of problems"""
        ended = subprocess.run(
            [
                wine.ROOT / "scripts" / "wine.sh",
                environment.programs / "corvane.exe",
                "import",
                stream,
                "-o",
                wine.windows_path(self.capture),
                *arguments,
            ],
            env=environment.prefix().environment,
            input=data,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            timeout=DEADLINE,
            check=False,
        )
        return ended.returncode, ended.stderr.decode("utf-8").replace("\r", "")

    def test_standard_input_gives_the_bytes_as_they_are(self):
        packets = [EVERY_BYTE, log(b"\x1a", 4), EVERY_BYTE]
        data = b"".join(diag.frame(packet) for packet in packets)
        self.assertEqual(self.run_import("-", data=data), (0, ""))
        items = isf.read(self.capture).items
        self.assertEqual(items[0].text, "Imported from standard input")
        self.assertEqual([item.packet for item in items[1:]], packets)
        self.assertEqual([item.time - NOON for item in items], [0, 0, 5, 0])

    def test_a_capture_is_replaced_only_when_asked_for(self):
        self.stream.write_bytes(diag.frame(EVERY_BYTE) + b"\x55\x55\x55\x55\x7e")
        self.capture.write_bytes(b"kept")
        stream = wine.windows_path(self.stream)
        code, messages = self.run_import(stream)
        self.assertEqual(code, 1)
        self.assertIn("is there already; --overwrite replaces it", messages)
        self.assertEqual(self.capture.read_bytes(), b"kept")

        code, messages = self.run_import(stream, "--overwrite")
        self.assertEqual(code, 0)
        offset = len(diag.frame(EVERY_BYTE))
        self.assertIn(f"the frame at offset {offset} has a wrong checksum", messages)
        items = isf.read(self.capture).items
        self.assertEqual(items[0].text, "Imported from drive.hdlc")
        self.assertEqual([item.packet for item in items[1:]], [EVERY_BYTE])
        names = sorted(path.name for path in self.folder.iterdir())
        self.assertEqual(names, ["drive.hdlc", "drive.isf"])


if __name__ == "__main__":
    unittest.main()
