#!/usr/bin/env python3
"""Writes what these fuzzers start from: make_packet_corpora.py FOLDER

framing, packet, event_report, configuration, store and export each get a folder. docs/fuzzing.md has
the layouts of their inputs.
"""

import pathlib
import struct
import sys

STAMP = 1_119_985_920_000 << 16  # 2024-05-17 12:00:00 UTC
DEVICE, LIBRARY = 0, 1

SHORT_ANSWER = bytes((0x60, 0, 0))
VERSION_REQUEST = bytes((0x7C,))
CELL_REQUEST = bytes((0x4B, 9, 0, 0, 1, 2, 3))
FEATURES = bytes((0x63,)) + bytes(26) + b"\x05"
SUBSYSTEM_REPLY = bytes((0x80, 0x12, 0, 0)) + bytes(8)


def log(code=0xB0C0, payload=b"", stamp=STAMP):
    length = 12 + len(payload)
    return struct.pack("<BxHHHQ", 0x10, length, length, code, stamp) + payload


def ota_log(channel, message):
    return log(0x412F, struct.pack("<BBH", channel, 0, len(message)) + message)


def report(*events, code=0x60):
    body = b"".join(events)
    return struct.pack("<BH", code, len(body)) + body


def event(number, payload=b"", stamp=STAMP):
    code, counted = (len(payload), b"") if len(payload) < 3 else (3, bytes((len(payload),)))
    return struct.pack("<HQ", number | code << 13, stamp) + counted + payload


def short_event(number, ticks):
    return struct.pack("<HH", number | 0x8000, ticks)


def get_item(packet, status=0):
    return struct.pack("<BBHxI", 0x4B, 0x25, 8, 0) + struct.pack("<I", status) + packet


def message(ssid, text, *arguments):
    head = struct.pack("<BBBBQHHI", 0x79, 0, len(arguments), 0, STAMP, 12, ssid, 4)
    return head + struct.pack(f"<{len(arguments)}I", *arguments) + text + b"\0cm.c\0"


def text_item(text):
    return struct.pack("<I", 0xFFFFFFC0) + text.encode("utf-16-le") + b"\0\0"


PACKETS = {
    "log": log(payload=b"\x01\x02"),
    "short-log": log()[:12],
    "technology-log": log(0x1005, b"\x01"),
    "signalling-log": log(0x713A, b"\x01"),
    "ota-log": ota_log(4, bytes((0x00, 0x48, 0x20, 0x00, 0x00))),
    "message": message(5, b"state %d", 4),
    "report": report(event(1606, b"\x01"), short_event(1607, 9), event(1608, b"abcd")),
    "short-answer": SHORT_ANSWER,
    "get-item": get_item(get_item(log())),
    "get-item-of-report": get_item(report(event(12))),
    "get-item-refused": get_item(log(), status=1),
    "subsystem": SUBSYSTEM_REPLY,
    "too-high": bytes((0x98, 1, 0, 0, 2, 0, 0, 0)) + SHORT_ANSWER,
}


def framing():
    def whole(packet):
        return bytes((0x80 + len(packet) - 1,)) + packet

    def cut(packet, at):
        return bytes((0xC0 + len(packet) - 1,)) + packet if at else whole(packet)

    stuffed = b"\x7e\x7d\x7e"
    return {
        "two-packets": whole(SHORT_ANSWER) + whole(stuffed),
        "cut-packets": cut(SUBSYSTEM_REPLY, 1) + whole(stuffed) + cut(stuffed, 1),
        "flags": b"\x03\x7e\x7e\x7e\x7e" + b"\xf0" + b"\x00\x7e" + whole(stuffed),
        "bad-between-good": whole(stuffed) + b"\x04abcd\x7e" + whole(SHORT_ANSWER),
        "escape-at-end": b"\x05abcd\x7d\x7e",
        "nothing-but-checksum": b"\x03\x00\x00\x00\x7e",
        "run": b"\xff\xff\x7e" + whole(SHORT_ANSWER),
    }


def packet():
    inputs = {}
    for name, content in PACKETS.items():
        for origin in (DEVICE, LIBRARY):
            inputs[f"{name}-{origin}"] = bytes((origin, 0)) + content
    for name, request in (("features", FEATURES), ("cell", CELL_REQUEST)):
        inputs[f"after-{name}"] = bytes((DEVICE, len(request))) + request + log(0x1005, b"\1")
    inputs["in-get-items"] = bytes((DEVICE | 3 << 2, 0)) + SHORT_ANSWER
    inputs["in-wrappers"] = bytes((DEVICE | 2 << 2 | 0x20, 0)) + SHORT_ANSWER
    return inputs


def event_report():
    whole = PACKETS["report"]
    return {
        "of-three": b"\x00" + whole[3:],
        "second-code": b"\x01" + event(7, b"ab"),
        "cut-off": b"\x00" + whole[3:-1],
        "whole-packet": b"\x04" + whole,
        "wrong-length": b"\x04" + whole + b"\x00",
        "unknown-origin": b"\x30" + whole[3:],
    }


def configuration():
    # 0x80 and on: the tags of EventIDs, LogCodes, OTATypes, MessageLevels and MultiSim.
    return {
        "all": b"logs: \x820x412F, 1234,\nABCD\x83 \x80256,257\x81 \x865000/3, 18/2\x87 "
        b"\x84412F/7, /\x85 \x88 unwrap \x89",
        "numbers": b"\x80-1, +5,4294967296, 0x10,x,,\x81\x820x,0X1f,-0x1,FFFFFFFFF\x83",
        "broken-levels": b"\x861/2/3,4/5\x87",
        "one-level": b"\x865000//3\x87",
        "closing-first": b"\x81\x801\x81",
        "nested": b"\x801\x80,2\x81,3\x81",
        "twice": b"\x821\x83\x822\x83",
        "nul": b"\x821,\x002\x83\x823\x83",
        "tag": b"<LogCodes>5</LogCodes><logcodes>6</logcodes>",
    }


def step(content, origin=DEVICE, kind=None, time=0, flags=0):
    """A step of the store's input: flags, type, length, packet."""
    flags |= origin | time << 2 | (0 if kind is None else 0x10)
    return bytes((flags, kind or 0, len(content))) + content


def store():
    inputs = {name: step(content, time=1) for name, content in PACKETS.items()}
    inputs["all"] = b"".join(inputs.values())
    inputs["learned"] = (
        step(FEATURES, LIBRARY)
        + step(CELL_REQUEST, LIBRARY, time=2)
        + step(PACKETS["technology-log"])
        + step(PACKETS["ota-log"], time=3)
    )
    inputs["given-types"] = step(b"\xff", kind=7) + step(SUBSYSTEM_REPLY, kind=9) + step(b"a", kind=3)
    inputs["longest"] = step(b"\x7c", flags=0xC0, kind=None)[:1] + b"\x80\x01\x7c"
    return inputs


def export_step(kind, content, flags=0):
    return bytes((flags | kind, len(content))) + content


def export():
    items = (
        export_step(7, text_item("Port COM7 connected"))
        + export_step(2, VERSION_REQUEST)
        + export_step(5, log(0xB0C0, bytes.fromhex("0d0d30000000a2010800000000000600") + b"\0\1\2"))
        + export_step(8, PACKETS["ota-log"])
        + export_step(4, report(event(1606, b"\x01")))
        + export_step(6, PACKETS["message"])
        + export_step(9, SUBSYSTEM_REPLY)
        + export_step(1, SHORT_ANSWER, flags=0x20)
    )
    formats = ("pcapng", "gsmtap", "hdlc", "jsonl", "csv", "separated")
    return {name: bytes((number, 0xFF)) + items for number, name in enumerate(formats)}


def main():
    folder = pathlib.Path(sys.argv[1])
    for make in (framing, packet, event_report, configuration, store, export):
        target = folder / make.__name__
        target.mkdir(parents=True, exist_ok=True)
        for name, content in make().items():
            (target / name).write_bytes(content)


if __name__ == "__main__":
    main()
