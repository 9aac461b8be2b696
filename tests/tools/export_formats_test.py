"""corvane export into raw streams and rows, read back by readers of the test's own."""

import csv
import io
import json
import struct
import unittest

import exported
import made_capture

START = 1_700_000_000_000  # milliseconds since 1970; 2023-11-14 22:13:20 UTC


# --- HDLC


def checksum(data):
    """CRC-16/X.25, bit by bit."""
    crc = 0xFFFF
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = crc >> 1 ^ 0x8408 if crc & 1 else crc >> 1
    return crc ^ 0xFFFF


def packets_of(stream):
    """The packets of a stream of frames, each of which must be good."""
    assert stream.endswith(b"\x7e") or not stream
    found = []
    for frame in stream.split(b"\x7e")[:-1]:
        first, *escaped = frame.split(b"\x7d")
        data = first + b"".join(bytes([part[0] ^ 0x20]) + part[1:] for part in escaped)
        packet, crc = data[:-2], struct.unpack("<H", data[-2:])[0]
        assert crc == checksum(packet), frame.hex()
        found.append(packet)
    return found


def get_item(packet):
    return bytes.fromhex("4b250800 00000000 00 00000000") + packet


def event(identifier, payload):
    """A single event, with a payload of one byte."""
    word = identifier | 1 << 13
    return struct.pack("<BHHQ", 0x60, 10 + len(payload), word, made_capture.diag_stamp(START)) + payload


class Capture:
    """A capture of every kind of item, and the packets that were received."""

    def __init__(self):
        self.made = made_capture.MadeCapture()
        self.received = []
        stamp = made_capture.diag_stamp(START)
        flags = made_capture.log_packet(0xB0C0, bytes(range(0x70, 0x90)) * 8, stamp)
        rebuilt = made_capture.log_packet(0x412F, bytes.fromhex("fe000100aa"), stamp)
        plain = made_capture.log_packet(0x1234, b"\x7e\x7d", stamp + (10 << 16))
        self.text("Corvane version 1.0")
        self.text("Port COM7 connected")
        self.request(bytes.fromhex("73000000"))
        self.item(made_capture.PACKET, bytes.fromhex("600000"))
        self.item(made_capture.LOG, flags)
        self.item(made_capture.SIGNALLING_LOG, rebuilt, received=False)
        self.item(made_capture.EVENT, event(1606, b"\x04"))
        self.item(made_capture.SUBSYSTEM, get_item(plain))
        self.item(made_capture.LOG, plain, received=False)
        self.item(made_capture.LOG, plain)
        self.item(made_capture.MESSAGE, bytes.fromhex("79000000") + bytes(16) + b'a "b", c\0f.c\0')
        self.text("Subscription 2")
        self.item(made_capture.LOG, plain, wrapped=2)
        self.text("Subscription none")
        self.item(made_capture.SHORT_LOG, b"\x10\x00\x01")

    def add(self, kind, packet):
        self.made.add(kind, made_capture.item_time(START), packet)

    def text(self, text):
        self.add(made_capture.INFORMATION, made_capture.text_packet(text))

    def request(self, packet):
        self.add(made_capture.REQUEST, packet)

    def item(self, kind, packet, received=True, wrapped=None):
        self.add(kind, packet)
        if received:
            head = struct.pack("<BBHI", 0x98, 1, 0, wrapped) if wrapped else b""
            self.received.append(head + packet)


class Hdlc(unittest.TestCase):
    def test_the_received_packets_come_in_order(self):
        capture = Capture()
        stream, code, messages = exported.export(capture.made.closed(), "--format", "hdlc")
        self.assertEqual(packets_of(stream), capture.received)
        self.assertEqual(code, 0)
        self.assertEqual(
            messages,
            [
                "corvane export: 1 system-information block that the recorder rebuilt is left out "
                "(--synthetic keep)",
                "corvane export: 1 packet is left out, because the reply in front holds the same",
            ],
        )

    def test_a_capture_without_packets_gives_nothing(self):
        made = made_capture.MadeCapture()
        made.add_text("Corvane version 1.0", made_capture.item_time(START))
        self.assertEqual(exported.good_export(made.closed(), "--format", "hdlc"), b"")


def in_csv(value):
    """A value as a field of CSV has it: as a number, or as a text that acts on nothing."""
    if not isinstance(value, str):
        return str(value)
    controls = [chr(code) for code in range(0xA0) if code < 0x20 or code > 0x7E]
    for control in controls:
        if control not in "\t\r\n":
            value = value.replace(control, f"\\x{ord(control):02X}")
    return "'" + value if value.startswith(tuple("=+-@\t\r")) else value


class Rows(unittest.TestCase):
    def rows(self, capture, *options):
        """The rows as JSON has them and as CSV has them; both have to tell the same."""
        lines = exported.good_export(capture, "--format", "jsonl", *options).decode("utf-8")
        objects = [json.loads(line) for line in lines.splitlines()]
        table = exported.good_export(capture, "--format", "csv", *options).decode("utf-8")
        records = list(csv.DictReader(io.StringIO(table, newline=""), strict=True))
        self.assertEqual(
            [{name: in_csv(value) for name, value in row.items()} for row in objects],
            [{name: value for name, value in record.items() if value != ""} for record in records],
        )
        return objects

    def test_every_item_is_a_row(self):
        capture = Capture()
        rows = self.rows(capture.made.closed())
        self.assertEqual([row["number"] for row in rows], list(range(capture.made.items)))
        self.assertEqual({row["time"] for row in rows}, {"2023-11-14T22:13:20.000Z"})
        self.assertEqual(
            [row["sort"] for row in rows],
            "text text request reply log log event reply log log message text log text log".split(),
        )
        self.assertEqual([row.get("port") for row in rows], [None] + ["COM7"] * (len(rows) - 1))
        self.assertEqual(
            [row["number"] for row in rows if row.get("subscription") == 2], [11, 12]
        )
        self.assertEqual([row["number"] for row in rows if row.get("rebuilt")], [5])
        self.assertEqual([row["number"] for row in rows if row.get("cut_off")], [14])
        self.assertEqual(rows[10]["text"], 'a "b", c')
        self.assertEqual((rows[6]["event_id"], rows[6]["event_payload"]), (1606, "04"))
        self.assertEqual(rows[4]["log_code"], "0xB0C0")

    def test_any_text_becomes_good_utf8(self):
        made = made_capture.MadeCapture()
        time = made_capture.item_time(START)
        text = 'Grüße, "€" \U0001f600\n\t\\ \x01'
        half = b"\xc0\xff\xff\xff" + "a\ud83db".encode("utf-16-le", "surrogatepass") + b"\0\0"
        made.add_text(text, time)
        made.add(made_capture.INFORMATION, time, half)
        for byte in range(1, 256):
            packet = bytes.fromhex("79000000") + bytes(16) + bytes([0x61, byte, 0x62, 0, byte, 0])
            made.add(made_capture.MESSAGE, time, packet)
        rows = self.rows(made.closed())
        self.assertEqual(rows[0]["text"], text)
        self.assertEqual(rows[1]["text"], "a\ufffdb")

    def test_leap_seconds_are_taken_off(self):
        made = made_capture.MadeCapture()
        made.add_log(0x1234, b"", made_capture.item_time(START), made_capture.diag_stamp(START, 49_151))
        (row,) = self.rows(made.closed(), "--leap-seconds", "20")
        self.assertEqual(row["modem_time"], "2023-11-14T22:13:00.001249974Z")


if __name__ == "__main__":
    unittest.main()
