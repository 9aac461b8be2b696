#!/usr/bin/env python3
"""Writes the corpus of describe_fuzzer: make_describe_corpus.py FOLDER

An input is an item's type in one byte, and its packet. There is one for each layout that is known:
of signalling logs those of tests/describe/signalling_packets.tsv, which were made by hand; the
others stand here."""

import csv
import pathlib
import re
import struct
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SIGNALLING = ROOT / "tests" / "describe" / "signalling_packets.tsv"

PACKET, REQUEST, EVENT, LOG, MESSAGE, INFORMATION, SUBSYSTEM, SUBSYSTEM_REQUEST = 1, 2, 4, 5, 6, 7, 9, 10
# 2024-05-17 12:00:00 UTC as a DIAG time stamp.
NOON = 1_119_985_920_000 << 16


def log(code, payload):
    payload = bytes.fromhex(payload)
    length = 12 + len(payload)
    return struct.pack("<BxHHHQ", 0x10, length, length, code, NOON) + payload


def wrapped(subscription, packet):
    return struct.pack("<BBHI", 0x98, 1, 0, subscription) + packet


def event(word, payload=b""):
    return struct.pack("<HQ", word, NOON) + payload


def report(code, *events):
    body = b"".join(events)
    return struct.pack("<BH", code, len(body)) + body


def message(code, arguments, rest):
    return struct.pack("<BBBBQHHI", code, 0, arguments, 1, NOON, 123, 5, 0x104) + rest


NR_SERVING_CELL = (
    "80 A6 09 00 C0 A4 09 00 64 00 5A 00 89 67 45 23 01 00 00 00 36 01 03 9A 01 01 EF CD AB 00 4E 00"
)
LTE_SERVING_CELL = "64 4B 03 2C 1B 0A 34 12 03 00 00 00 06 01 02 02 00 02"

INPUTS = {
    "lte-mib-1": (LOG, log(0xB0C1, "01 44 01 21 07 64 02 02 64")),
    "lte-mib-2": (LOG, log(0xB0C1, "02 44 01 B6 03 01 00 64 02 04 32")),
    "lte-mib-17": (LOG, log(0xB0C1, "11 44 01 B6 03 01 00 64 02 00 00 00 00 00 00 00 00 01")),
    "lte-serving-cell-2": (LOG, log(0xB0C2, "02 44 01 21 07 71 4D" + LTE_SERVING_CELL)),
    "lte-serving-cell-3": (LOG, log(0xB0C2, "03 44 01 21 07 00 00 71 4D 00 00" + LTE_SERVING_CELL)),
    "emm-state": (LOG, log(0xB0EE, "02 03 01 00 62 F2 20 01")),
    "gsm-cell": (LOG, log(0x5134, "67 83 03 05 CD AB 13 00 14 12 34")),
    "wcdma-cell": (
        LOG,
        log(
            0x4127,
            "23 26 00 00 D9 29 00 00 C3 B2 A1 00 00 00 00 00 3F 12 02 06 02 00 02 FF 34 12 00 00"
            "05 00 00 00",
        ),
    ),
    "nr-mib": (LOG, log(0xB822, "07 00 02 00 F4 01 80 A6 09 00 E8 FF")),
    "nr-serving-cell-0.4": (LOG, log(0xB823, "04 00 00 00 F4 01" + NR_SERVING_CELL)),
    "nr-serving-cell-3.2": (
        LOG,
        log(0xB823, "02 00 03 00 00 00 00 F4 01 11 22 33 44 55 66 77 88" + NR_SERVING_CELL),
    ),
    "unknown-log": (LOG, log(0x1234, "01 02 03")),
    "secured-log": (PACKET, b"\x9e" + bytes(21) + b"\xc0\xb0"),
    "wrapper": (PACKET, wrapped(2, log(0xB0C1, "01 44 01 21 07 64 02 02 64"))),
    "wrapper-in-wrapper": (PACKET, wrapped(0, wrapped(0xFFFFFFFF, report(0x60, event(0x0100))))),
    "event": (EVENT, report(0x60, event(0x2646, b"\x04"))),
    "event-report": (
        PACKET,
        report(
            0x74,
            event(0x0100),
            event(0x2646, b"\x04"),
            event(0x4101, b"\xaa\xbb"),
            event(0x6102, b"\x03\x01\x02\x03"),
            bytes.fromhex("00 81 CD AB"),
        ),
    ),
    "message": (
        MESSAGE,
        message(0x79, 4, struct.pack("<4I", 7, 255, 0xABCD, 27) + b"n %d %#06x %s %c%%\0cm.c\0"),
    ),
    "message-of-another-language": (
        MESSAGE,
        message(0x79, 0, "Verbindung verloren: Zähler\0häufig.c\0".encode() + b"\xD1\x9C"),
    ),
    "message-that-wants-more": (MESSAGE, message(0x79, 0, b"%d %99999999d %n %*d\0cm.c\0")),
    "hashed-message": (MESSAGE, message(0x92, 2, struct.pack("<3I", 0xDEADBEEF, 1, 2))),
    "newer-hashed-message": (
        PACKET,
        struct.pack("<BBBBQIH", 0x99, 0, 0x32, 5, NOON, 0xDEADBEEF, 0) + b"\x01\x02\x03\xff\xfe\xfd",
    ),
    "old-message": (MESSAGE, b"\x1f\x00\x01\x02"),
    "log-mask": (REQUEST, struct.pack("<IIII", 0x73, 3, 1, 4096) + b"\xff" + bytes(511)),
    "event-mask": (REQUEST, bytes.fromhex("82 00 00 00 0A 00 01 02")),
    "message-levels": (REQUEST, bytes.fromhex("7D 04 05 00 05 00 00 00 09 00 00 00")),
    "all-levels": (REQUEST, bytes.fromhex("7D 05 00 00 1F 00 00 00")),
    "event-switch": (REQUEST, b"\x60\x01"),
    "event-answer": (PACKET, b"\x60\x00\x00"),
    "refusal": (PACKET, b"\x15\x73"),
    "cell-request": (SUBSYSTEM_REQUEST, bytes.fromhex("4B 09 00 00 B2 A1 00")),
    "get-item": (SUBSYSTEM, bytes.fromhex("4B 25 08 00 00 00 00 00 00 00 00 00 00 10 00 00")),
    "text": (
        INFORMATION,
        bytes.fromhex("C0 FF FF FF") + "Port \x1b\x85\u20ac\U0001f4e1\0".encode("utf-16-le"),
    ),
}


def signalling():
    """One packet for each layout: (name, packet)."""
    with SIGNALLING.open(encoding="utf-8", newline="") as table:
        rows = csv.DictReader(table, delimiter="\t", quoting=csv.QUOTE_NONE)
        for row in rows:
            # The channels of one version of an RRC log share their layout, and so do SIB types.
            what = re.sub(r"(RRC version \d+) channel \d+.*", r"\1", row["what"])
            what = re.sub(r"(?i) sib type \d+", "", what)
            yield re.sub(r"[^a-z0-9.]+", "-", what.lower()), bytes.fromhex(row["packet"])


def main():
    folder = pathlib.Path(sys.argv[1])
    inputs = dict(INPUTS)
    for name, packet in signalling():
        inputs.setdefault(name, (LOG, packet))
    for name, (item_type, packet) in inputs.items():
        (folder / name).write_bytes(bytes([item_type]) + packet)


if __name__ == "__main__":
    main()
