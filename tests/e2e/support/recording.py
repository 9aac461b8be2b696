"""What every item of a capture has to be: its type by its packet, its time by the test's clock."""

import time
import unittest

from support import isf

_UNIX_EPOCH = 11_644_473_600_000  # milliseconds since 1601-01-01 UTC
_CLOCK_REALTIME_COARSE = 5  # Linux's number, which the time module does not name

_SUBSYSTEM_COMMANDS = (0x4B, 0x80)
_MESSAGES = (0x1F, 0x79, 0x92)
_EVENT_REPORTS = (0x60, 0x74)
_EVENT_REPORTING_REPLY = bytes.fromhex("600000")

# The logs with a type of their own, as (first, last).
_SIGNALLING_LOGS = (
    (0x1004, 0x1008),
    (0x1048, 0x1049),
    (0x104C, 0x104D),
    (0x1052, 0x1053),
    (0x1076, 0x1079),
    (0x107C, 0x107C),
    (0x1085, 0x1086),
    (0x1090, 0x1091),
    (0x10D6, 0x10D8),
    (0x1388, 0x1389),
    (0x138B, 0x138D),
    (0x141B, 0x141C),
    (0x149F, 0x149F),
    (0x412F, 0x412F),
    (0x512F, 0x512F),
    (0x5226, 0x5226),
    (0x5230, 0x5230),
    (0x713A, 0x713A),
    (0x7B3A, 0x7B3A),
    (0xA000, 0xA000),
    (0xA100, 0xA103),
)

REQUEST_TYPES = (isf.REQUEST, isf.SUBSYSTEM_REQUEST)
DEVICE_TYPES = (
    isf.SHORT_LOG,
    isf.PACKET,
    isf.EVENT,
    isf.LOG,
    isf.MESSAGE,
    isf.SIGNALLING_LOG,
    isf.SUBSYSTEM,
)


def request_item(packet):
    """-> (type, packet) of a request of the library"""
    return (isf.SUBSYSTEM_REQUEST if packet[0] in _SUBSYSTEM_COMMANDS else isf.REQUEST), packet


def _log_type(packet):
    if len(packet) < 16:
        return isf.SHORT_LOG
    code = int.from_bytes(packet[6:8], "little")
    is_signalling = any(first <= code <= last for first, last in _SIGNALLING_LOGS)
    return isf.SIGNALLING_LOG if is_signalling else isf.LOG


def device_item(packet):
    """-> (type, packet) of a packet of the modem, or of a single event of one of its reports"""
    command = packet[0]
    if command == 0x10:
        return _log_type(packet), packet
    if command in _EVENT_REPORTS and packet != _EVENT_REPORTING_REPLY:
        return isf.EVENT, packet
    if command in _MESSAGES:
        return isf.MESSAGE, packet
    return (isf.SUBSYSTEM if command in _SUBSYSTEM_COMMANDS else isf.PACKET), packet


def exchange(requests, replies):
    """-> the items of requests and of the reply to each, in turn"""
    pairs = zip(map(request_item, requests), map(device_item, replies))
    return [item for pair in pairs for item in pair]


def items_of(capture):
    """-> (type, packet) of each item but the library's texts"""
    return [(item.type, item.packet) for item in capture.items if item.type != isf.INFORMATION]


class RecordingTestCase(unittest.TestCase):
    """A test that looks at the type and the time of every item of the captures that it reads."""

    def setUp(self):
        super().setUp()
        self.output = None
        self.capture_begins()

    def capture_begins(self):
        """No item of a capture that is read from now on is older."""
        # The coarse clock is never ahead of the one that the library has its times from.
        clock = time.clock_gettime_ns(_CLOCK_REALTIME_COARSE)
        self._began = clock // 1_000_000 + _UNIX_EPOCH

    def read_capture(self, path=None):
        """-> the complete capture file at `path`, or at self.output"""
        capture = isf.read(self.output if path is None else path)
        self.assert_recorded(capture.items)
        return capture

    def assert_recorded(self, items):
        """Each item has a type that its packet can have, and a time since the capture began."""
        now = time.time_ns() // 1_000_000 + _UNIX_EPOCH
        for item in items:
            self.assertTrue(self._began <= item.time <= now, f"{item}: {self._began} to {now}")
            if item.type == isf.INFORMATION:
                self.assertTrue(item.text, item)
            else:
                packet = item.packet
                types = (device_item(packet)[0], request_item(packet)[0])
                self.assertIn(item.type, types, item)
