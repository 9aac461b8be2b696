"""What must not be taken for a message: packets with one field left open, and its good values."""

from signalling_layouts import (
    BLOCKS,
    EXTENSIONS,
    LTE_NUMBERS,
    NR_VERSIONS,
    Payload,
    log_packet,
    lte_payload,
    nr_complete,
    nr_payload,
    wcdma_payload,
)
from signalling_messages import ipv4, message_of


def gap(what, code, payload, at, known, cell=()):
    """A gap for the payload's byte at `at`."""
    packet = log_packet(code, payload.bytes).hex()
    place = 2 * (16 + at)
    numbers = [",".join(str(value) for value in sorted(values)) or "-" for values in (known, cell)]
    return "\t".join([what, packet[:place] + "**" + packet[place + 2 :], *numbers])


def lte_gaps():
    message, _ = message_of("lte_rrc.dl_dcch")
    known = [version for versions, _, _ in LTE_NUMBERS for version in versions]
    for like in (4, 7, 8, 26, 30):  # one version of each layout
        payload, _ = lte_payload(like, 9 if like in (26, 30) else 6, message)
        yield gap(f"LTE RRC versions as {like}", 0xB0C0, payload, 0, known, range(2, 32))
    for versions, numbers, narrowband in LTE_NUMBERS:
        for version in versions:
            payload, _ = lte_payload(version, 0, message)
            place = 10 if version <= 7 else 12 if version <= 24 else 14
            yield gap(
                f"LTE RRC version {version} channels",
                0xB0C0,
                payload,
                place,
                numbers + narrowband,
                range(256),
            )
    payload, _ = lte_payload(30, 9, message)
    yield gap("LTE RRC segments", 0xB0C0, payload, 23, range(8), range(256))
    for last in (25, 29):
        payload = Payload(40)
        yield gap(f"LTE ML1 cell information, MIB to {last}", 0xB197, payload, 0, [1, 2], [1, 2])
    for code in (0xB0E0, 0xB0E1, 0xB0E2, 0xB0E3, 0xB0EA, 0xB0EB, 0xB0EC, 0xB0ED):
        yield gap(f"LTE NAS {code:04X} versions", code, Payload(4).append(b"\x07\x5e"), 0, [1])


def nr_gaps():
    message, _ = message_of("nr-rrc.dl.dcch")
    for like in (8, 12, 17, 20, 26):
        payload, _ = nr_payload(like, 4, message)
        yield gap(f"NR RRC versions as {like}", 0xB821, payload, 0, NR_VERSIONS, NR_VERSIONS)
        yield gap(f"NR RRC versions as {like}, second byte", 0xB821, payload, 1, [0], [0])
    for version, numbers in NR_VERSIONS.items():
        payload, _ = nr_payload(version, 0, message)
        place = 17 if version in (7, 8, 9) else 16 if version in (12, 14) else 24
        yield gap(
            f"NR RRC version {version} channels",
            0xB821,
            payload,
            place,
            [*numbers, nr_complete(version)],
            range(256),
        )
    payload, _ = nr_payload(26, 4, message)
    yield gap("NR RRC segments", 0xB821, payload, 34, range(8), range(256))
    payload, _ = nr_payload(26, nr_complete(26), message)
    yield gap("NR RRC reconfiguration complete segments", 0xB821, payload, 34, range(8), range(256))
    for code in (0xB800, 0xB801, 0xB808, 0xB809, 0xB80A, 0xB80B, 0xB814):
        payload = Payload(7).put(0, 4, 1).append(b"\x7e\x00\x43")
        yield gap(f"5GS NAS {code:04X} versions", code, payload, 0, [1])
        yield gap(f"5GS NAS {code:04X} versions, last byte", code, payload, 3, [0])


def other_gaps():
    sibs = [*range(len(BLOCKS)), *EXTENSIONS]
    channels = [*range(11), *range(0x80, 0x8B), 0xF0, 254, 255]
    payload, _ = wcdma_payload(3, message_of("rrc.dl.dcch")[0], 66)
    yield gap("WCDMA RRC channels", 0x412F, payload, 0, channels, [*range(0x80, 0x8B), 0xF0])
    for channel in (9, 0x89, 254, 255, 0xF0):
        payload, fields = wcdma_payload(channel, bytes(8), 0)
        at = len(payload.bytes) - 9
        yield gap(
            f"WCDMA RRC SIB types on {channel}",
            0x412F,
            payload,
            at,
            EXTENSIONS if channel in (9, 0x89) else sibs,
            range(256) if "cell" in fields else (),
        )
    channels = [*range(9), *range(0x80, 0x89)]
    for uplink in (1, 3):
        channels.remove(uplink)
    for code, lead in ((0x512F, b""), (0x5B2F, b"\2")):
        payload = Payload(0).append(lead + b"\0\0\2\x06\x32")
        yield gap(f"GSM RR {code:04X} channels", code, payload, len(lead), channels)
    payload = Payload(0).append(b"\0\x25\2\x94\x2b")
    yield gap("GPRS MAC channels", 0x5226, payload, 0, [3, 4, 0x83, 0x84])
    yield gap("IP protocols", 0x11EB, Payload(8).append(ipv4(b"hello!")), 1, [1])
