"""The packets of tests/describe/signalling_packets.tsv in a capture, and what an export makes of them."""

import functools
import pathlib
import struct

import made_capture
from wireshark import pcapng

TABLE = pathlib.Path(__file__).parents[1] / "describe" / "signalling_packets.tsv"

START = 1_700_000_000_000  # milliseconds since 1970
STEP = 5  # milliseconds between the packets of a capture, a whole number of units of 1.25 ms
LATER = 7  # milliseconds from a packet's own time to that of its item

UP, DOWN = pcapng.OUTBOUND, pcapng.INBOUND


class Row:
    """A log packet, and the message that it holds."""

    def __init__(self, line):
        what, packet, self.dissector, link, message, name, fields = line.split("\t")
        self.what = what
        self.packet = bytes.fromhex(packet)
        self.direction = {"up": UP, "down": DOWN, "-": None}[link]
        self.message = b"" if message == "-" else bytes.fromhex(message)
        self.name = "" if name == "-" else name
        self.fields = dict(field.split("=") for field in fields.split()) if fields != "-" else {}

    @property
    def code(self):
        return struct.unpack_from("<H", self.packet, 6)[0]

    @property
    def is_part(self):
        return "segment" in self.fields

    @property
    def is_last_part(self):
        return self.fields.get("segment") == "7" or self.fields.get("last") == "yes"


@functools.cache
def rows():
    lines = TABLE.read_text(encoding="utf-8").splitlines()[1:]
    return [Row(line) for line in lines]


def one_row(what):
    (row,) = [row for row in rows() if row.what == what]
    return row


def steps_of(number):
    return number * 37 % 49_152


def nanoseconds_of(number):
    """The time of packet `number`, in whole nanoseconds."""
    return (START + number * STEP) * 1_000_000 + steps_of(number) * 1_250_000 // 49_152


def stamp_of(number):
    return made_capture.diag_stamp(START + number * STEP, steps_of(number))


def add_packet(capture, number, packet):
    stamped = packet[:8] + struct.pack("<Q", stamp_of(number)) + packet[16:]
    code = struct.unpack_from("<H", packet, 6)[0]
    time = made_capture.item_time(START + number * STEP + LATER)
    return capture.add_log(code, stamped[16:], time, stamp_of(number))


class Expected:
    """A frame that the capture of all rows has to give."""

    def __init__(self, row, items, message):
        self.row, self.items, self.message = row, items, message

    @property
    def comment(self):
        text = f"item {self.items[-1]}, 0x{self.row.code:04X}, COM7"
        if self.row.is_part:
            text += ", joined from items " + ", ".join(map(str, self.items))
        return text


@functools.cache
def all_rows():
    """A capture of all rows, whose item 0 is a text, and the frames that it has to give."""
    capture = made_capture.MadeCapture()
    capture.add_text("Port COM7 connected", made_capture.item_time(START))
    expected, parts = [], []
    for number, row in enumerate(rows(), 1):
        assert add_packet(capture, number, row.packet) == number
        parts = parts + [(number, row)] if row.is_part else [(number, row)]
        if not row.is_part or row.is_last_part:
            message = b"".join(part.message for _, part in parts)
            expected.append(Expected(row, [item for item, _ in parts], message))
            parts = []
    return capture.closed(), expected
