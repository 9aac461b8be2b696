"""The tables of signalling packets are as written, and tshark shows their messages as they say."""

import io
import pathlib
import unittest

import make_signalling_packets
from wireshark import exported_pdu, pcapng, tshark

HERE = pathlib.Path(__file__).parent

# Otherwise Wireshark tries what is ciphered as plain, and shows some of it by chance.
CIPHERED_IS_CIPHERED = "nas-eps.null_decipher:FALSE"


class Row:
    def __init__(self, line):
        self.what, _, self.dissector, link, message, name, fields = line.split("\t")
        self.sent = {"up": True, "down": False, "-": None}[link]
        self.message = bytes.fromhex(message)
        self.name = "" if name == "-" else name
        self.is_segment = "segment=" in fields
        self.is_last = "last=yes" in fields


def joined(rows):
    """The rows, those of segments as one with the whole message."""
    parts = b""
    for row in rows:
        if row.is_segment:
            row.message = parts = parts + row.message
            if not row.is_last:
                continue
            parts = b""
        yield row


def capture(rows):
    stream = io.BytesIO()
    writer = pcapng.Writer(stream)
    interface = writer.add_interface(exported_pdu.LINK_TYPE, "rows")
    for row in rows:
        # WCDMA's dissectors fill the Info column only where another column is filled already.
        frame = exported_pdu.write(row.dissector, row.message, sent=row.sent, protocol="-")
        writer.packet(interface, 0, frame)
    return stream.getvalue()


class Tables(unittest.TestCase):
    def test_the_files_are_as_they_are_made(self):
        for name, text in make_signalling_packets.tables().items():
            with self.subTest(name):
                self.assertEqual(HERE.joinpath(name).read_text(encoding="utf-8"), text)

    def test_tshark_shows_every_message_as_the_table_says(self):
        lines = HERE.joinpath("signalling_packets.tsv").read_text(encoding="utf-8").splitlines()
        rows = list(joined(Row(line) for line in lines[1:]))
        frames = tshark.frames_of(capture(rows), preferences=[CIPHERED_IS_CIPHERED])
        for row, frame in zip(rows, frames, strict=True):
            with self.subTest(row.what):
                self.assertEqual(frame.info.strip(), row.name)
                self.assertEqual((frame.malformed, frame.complaints), (False, []))
                self.assertGreater(len(frame.dissectors), 1)


if __name__ == "__main__":
    unittest.main()
