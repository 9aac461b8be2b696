#!/usr/bin/env python3
"""Writes the corpus of import_fuzzer: make_import_corpus.py FOLDER"""

import pathlib
import struct
import sys

# The first byte of an input: what becomes of wrappers, whether packets follow instead of a stream,
# and the length of the pieces in which the stream is fed.
DROP, PACKETS = 1, 2
# 2024-05-17 12:00:00 UTC as a DIAG time stamp.
NOON = 1_119_985_920_000 << 16
DAY = 86_400 * 800 << 16


def crc(packet):
    value = 0xFFFF
    for byte in packet:
        value ^= byte
        for _ in range(8):
            value = value >> 1 ^ 0x8408 if value & 1 else value >> 1
    return value ^ 0xFFFF


def frame(packet):
    out = bytearray()
    for byte in packet + struct.pack("<H", crc(packet)):
        out += bytes((0x7D, byte ^ 0x20)) if byte in (0x7D, 0x7E) else bytes((byte,))
    return bytes(out) + b"\x7e"


def log(stamp, code=0xB0C0, payload=b""):
    length = 12 + len(payload)
    return struct.pack("<BxHHHQ", 0x10, length, length, code, stamp) + payload


def wrapped(subscription, packet):
    return struct.pack("<BBHI", 0x98, 1, 0, subscription) + packet


def get_item(packet):
    return bytes.fromhex("4b 25 08 00 00 00 00 00 00 00 00 00 00") + packet


def report(*events):
    body = b"".join(events)
    return struct.pack("<BH", 0x60, len(body)) + body


FULL_EVENT = struct.pack("<HQ", 0x0123, NOON)
SHORT_EVENT = struct.pack("<HHB", 0xA456, 0x1234, 0xAA)
COUNTED_EVENT = struct.pack("<HHB2s", 0xE789, 0x1235, 2, b"\x01\x02")
MESSAGE = bytes((0x79, 0, 0, 0)) + struct.pack("<QHHI", NOON + 1, 7, 5, 4) + b"ok\0f.c\0"

PACKET_LISTS = {
    "every-kind": (
        b"\x00\x01",
        log(NOON),
        log(NOON, 0x512F, b"\x7e\x7d"),
        MESSAGE,
        bytes((0x10, 0, 4, 0, 4, 0)),
        report(FULL_EVENT, SHORT_EVENT, COUNTED_EVENT),
        b"\x60\x00\x00",
        get_item(log(NOON + 2)),
    ),
    "wrappers": (
        wrapped(1, log(NOON)),
        wrapped(2, log(NOON + 1)),
        log(NOON + 2),
        wrapped(0, wrapped(0xFFFFFFFF, log(NOON + 3))),
        wrapped(1, report(FULL_EVENT)),
        wrapped(3, b""),
    ),
    "times": (
        b"\x00",
        log(NOON),
        log(0),
        b"\x1c",
        log(NOON - 99),
        log(NOON + 3 * DAY),
        log(NOON + 3 * DAY + 1),
        log(2**64 - 1),
        log(NOON),
    ),
    "refused": (b"\x93", b"\x99\x01", b"\x9e", report(FULL_EVENT)[:-1], report(), b"\x92\x00"),
    "in-each-other": (
        get_item(get_item(get_item(report(FULL_EVENT, SHORT_EVENT)))),
        get_item(report(FULL_EVENT) + b"\x01"),
        get_item(wrapped(1, log(NOON))),
        get_item(b"\x01")[:12],
        get_item(b"\x01").replace(b"\x00" * 4, b"\x01" * 4),
    ),
}

STREAMS = {
    "frames": frame(b"\x1d") + frame(log(NOON)) + b"\x7e\x7e" + frame(b"\x7e\x7d"),
    "broken": b"\x01\x7e" + frame(log(NOON))[4:] + b"\x7d\x7e" + frame(b"\x00") + b"\x10\x7d",
}


def main():
    folder = pathlib.Path(sys.argv[1])
    for name, packets in PACKET_LISTS.items():
        led = b"".join(struct.pack("<H", len(packet) - 1) + packet for packet in packets)
        (folder / name).write_bytes(bytes((PACKETS,)) + led)
    (folder / "wrappers-dropped").write_bytes(
        bytes((PACKETS | DROP | 7 << 2,)) + (folder / "wrappers").read_bytes()[1:]
    )
    for name, stream in STREAMS.items():
        (folder / name).write_bytes(b"\x00" + stream)
        (folder / (name + "-byte-by-byte")).write_bytes(bytes((1 << 2,)) + stream)


if __name__ == "__main__":
    main()
