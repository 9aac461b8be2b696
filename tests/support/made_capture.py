"""Capture files made byte by byte (docs/capture-format.md), apart from the code under test."""

import io
import struct

HEADER, TRAILER = 0xAB603108, 0xAB603107
ITEMS_PER_BLOCK = 8192
DIRECTORY_SIZE = ITEMS_PER_BLOCK * 7

SHORT_LOG, PACKET, REQUEST, EVENT, LOG, MESSAGE = 0, 1, 2, 4, 5, 6
INFORMATION, SIGNALLING_LOG, SUBSYSTEM, SUBSYSTEM_REQUEST = 7, 8, 9, 10

# 1970-01-01 in milliseconds since 1601; 1980-01-06, the DIAG epoch, in milliseconds since 1970.
UNIX_EPOCH = 11_644_473_600_000
DIAG_EPOCH = 315_964_800_000

# Log codes whose items are of a type of their own, as far as tests use them.
_SIGNALLING_LOGS = (0x412F, 0x512F, 0x5226, 0x5230, 0x713A, 0x7B3A)


def item_time(unix_milliseconds):
    return unix_milliseconds + UNIX_EPOCH


def diag_stamp(unix_milliseconds, steps=0):
    """The DIAG timestamp of a time of a multiple of 5 ms, and `steps` of 1.25 ms / 49,152 more."""
    units, rest = divmod((unix_milliseconds - DIAG_EPOCH) * 4, 5)
    assert rest == 0 and 0 <= steps < 49_152
    return units << 16 | steps


def log_packet(code, payload, stamp):
    length = 12 + len(payload)
    return struct.pack("<BBHHHQ", 0x10, 0, length, length, code, stamp) + payload


def text_packet(text):
    return b"\xc0\xff\xff\xff" + text.encode("utf-16-le") + b"\0\0"


class MadeCapture:
    """A capture in memory. Items get the numbers 0, 1, 2, ..."""

    def __init__(self):
        self._file = io.BytesIO(struct.pack("<I", HEADER))
        self._file.seek(0, io.SEEK_END)
        self._blocks = []  # position and base time
        self.items = 0

    def add(self, kind, time, packet):
        """`time` in milliseconds since 1601. -> the item's number"""
        place = self.items % ITEMS_PER_BLOCK
        if place == 0:
            self._begin_block(time)
        position, base = self._blocks[-1]
        later = time - base
        for code, (bound, layout) in enumerate(((255, "<B"), (65_535, "<H"), (2**32 - 1, "<I"))):
            if 0 <= later < bound:
                width, head = code, struct.pack(layout, later)
                break
        else:
            width, head = 3, struct.pack("<Q", time)
        record = self._file.tell()
        self._file.write(head + packet)
        entry = struct.pack("<BIH", kind | width << 5, record - position - DIRECTORY_SIZE - 16, len(packet))
        self._overwrite(position + 7 * place, entry)
        self.items += 1
        return self.items - 1

    def add_text(self, text, time):
        return self.add(INFORMATION, time, text_packet(text))

    def add_log(self, code, payload, time, stamp):
        kind = SIGNALLING_LOG if code in _SIGNALLING_LOGS else LOG
        return self.add(kind, time, log_packet(code, payload, stamp))

    def unclosed(self):
        return self._file.getvalue()

    def closed(self):
        index = b"".join(struct.pack("<QQ", *block) for block in self._blocks)
        return self.unclosed() + index + struct.pack("<QII", 0, self.items, TRAILER)

    def _begin_block(self, time):
        position = self._file.tell()
        if self._blocks:
            self._overwrite(self._blocks[-1][0] + DIRECTORY_SIZE, struct.pack("<Q", position))
        self._file.write(bytes(DIRECTORY_SIZE) + struct.pack("<QQ", 0, time))
        self._blocks.append((position, time))

    def _overwrite(self, position, data):
        self._file.seek(position)
        self._file.write(data)
        self._file.seek(0, io.SEEK_END)
