"""corvane.exe export: the same bytes as elsewhere, into a file and through standard output."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import signalling_table
from support import environment, wine
from wireshark import exported_pdu, pcapng

DEADLINE = 120.0


class ExportProgram(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="corvane-"))
        self.addCleanup(shutil.rmtree, self.folder)
        data, self.expected = signalling_table.all_rows()
        self.capture = self.folder / "drive.isf"
        self.capture.write_bytes(data)
        self.output = self.folder / "drive.pcapng"

    def export(self, *arguments, **options):
        """-> exit code, standard output, messages"""
        ended = subprocess.run(
            [
                wine.ROOT / "scripts" / "wine.sh",
                environment.programs / "corvane.exe",
                "export",
                wine.windows_path(self.capture),
                *arguments,
            ],
            env=environment.prefix().environment,
            stdin=subprocess.DEVNULL,
            stdout=options.pop("stdout", subprocess.PIPE),
            stderr=subprocess.PIPE,
            timeout=DEADLINE,
            check=False,
            **options,
        )
        messages = ended.stderr.decode("utf-8").replace("\r", "").splitlines()
        return ended.returncode, ended.stdout, messages

    def check(self, data):
        """That `data` has every message of the table."""
        file = pcapng.read(data)
        self.assertEqual([interface.name for interface in file.interfaces], ["COM7"])
        self.assertEqual(len(file.packets), len(self.expected))
        for packet, frame in zip(file.packets, self.expected):
            pdu = exported_pdu.read(packet.data)
            self.assertEqual(pdu.dissector, frame.row.dissector)
            self.assertEqual(pdu.message, frame.message)
            self.assertEqual(packet.comments, [frame.comment])
            self.assertEqual(
                file.nanoseconds(packet), signalling_table.nanoseconds_of(frame.items[-1])
            )

    def test_standard_output_takes_the_bytes_as_they_are(self):
        code, data, messages = self.export("-w", "-")
        self.assertEqual((code, len(messages)), (0, 1), messages)
        # A line feed that was written as text would have a carriage return in front of it.
        self.assertIn(b"\n", data)
        self.check(data)

    def test_a_file_is_made_and_replaced_when_asked_for(self):
        where = wine.windows_path(self.output)
        self.assertEqual(self.export("-o", where)[0], 0)
        self.check(self.output.read_bytes())
        self.output.write_bytes(b"kept")
        code, _, messages = self.export("-o", where)
        self.assertEqual(code, 1)
        self.assertIn("is there already; --overwrite replaces it", messages[0])
        self.assertEqual(self.output.read_bytes(), b"kept")
        self.assertEqual(self.export("-o", where, "--overwrite")[0], 0)
        self.check(self.output.read_bytes())
        names = sorted(path.name for path in self.folder.iterdir())
        self.assertEqual(names, ["drive.isf", "drive.pcapng"])

    def test_a_pipe_whose_reader_has_gone_ends_the_export_quietly(self):
        read_end, write_end = os.pipe()
        os.close(read_end)
        with open(write_end, "wb") as pipe:
            code, _, messages = self.export("-w", "-", stdout=pipe)
        self.assertEqual((code, messages), (0, []))


if __name__ == "__main__":
    unittest.main()
