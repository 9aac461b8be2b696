"""Writes signalling_packets.tsv and signalling_gaps.tsv beside itself.

The packets are put together here from tables of their own: nothing of what is tested takes part.
signalling_packets_test.py asks Wireshark about each message.

signalling_packets.tsv has a log packet for each layout and channel, and what it holds. Columns,
between tabs, "-" where there is nothing to say:
  what       the layout and the channel
  packet     the whole log packet
  dissector  Wireshark's, for the message
  link       up or down
  message    as it goes to the dissector; of a segment what this packet has
  name       what Wireshark shows of the message; of segments at the last one, for the whole
  fields     channel (blanks as "_"), radio bearer, cell and segment, as "name=value"

signalling_gaps.tsv has what must not be taken for a message. Columns:
  what     the field whose values are tried
  packet   a log packet with ** in the field's place
  known    the values with which the packet may hold a message; with no other does it hold one
  cell     the values with which the packet tells of its cell
"""

import pathlib
import struct

from signalling_gaps import lte_gaps, nr_gaps, other_gaps
from signalling_layouts import (
    BLOCKS,
    EXTENSIONS,
    LTE,
    LTE_NB,
    LTE_NUMBERS,
    NR,
    NR_UPLINK,
    NR_VERSIONS,
    WCDMA,
    Payload,
    log_packet,
    lte_dissector,
    lte_payload,
    nr_complete,
    nr_payload,
    wcdma_payload,
)
from signalling_messages import SIP, bits, ipv4, ipv6, message_of

def row(what, code, payload, dissector, link, message, name, **fields):
    told = " ".join(f"{key}={str(value).replace(' ', '_')}" for key, value in fields.items())
    packet = log_packet(code, payload.bytes)
    columns = [what, packet.hex(), dissector, link, message.hex(), name or "-", told or "-"]
    return "\t".join(columns)


def link_of(channel):
    return "up" if channel.startswith("UL") else "down"


def as_segments(message):
    """-> (segment field, its bytes): the first, a middle one and the last."""
    return [(1, message[:1]), (2, message[1:2]), (7, message[2:])]


# --- LTE RRC -------------------------------------------------------------------------------------

def lte_rrc():
    for versions, numbers, narrowband in LTE_NUMBERS:
        for version in versions:
            channels = list(zip(LTE, numbers)) + list(zip(LTE_NB, narrowband))
            for channel, number in channels:
                message, name = message_of(lte_dissector(channel))
                payload, fields = lte_payload(version, number, message)
                what = f"LTE RRC version {version} channel {number}"
                yield row(
                    what,
                    0xB0C0,
                    payload,
                    lte_dissector(channel),
                    link_of(channel),
                    message,
                    name,
                    channel=channel,
                    **fields,
                )
    # Bytes behind the message do not belong to it.
    message, name = message_of("lte_rrc.dl_dcch")
    payload, fields = lte_payload(8, 6, message)
    yield row(
        "LTE RRC version 8, stale bytes behind",
        0xB0C0,
        payload.append(b"\xEE\xEE"),
        "lte_rrc.dl_dcch",
        "down",
        message,
        name,
        channel="DL-DCCH",
        **fields,
    )
    for version in (30, 31):
        for segment, part in as_segments(message):
            payload, fields = lte_payload(version, 9, part, segment)
            yield row(
                f"LTE RRC version {version} segment {segment}",
                0xB0C0,
                payload,
                "lte_rrc.dl_dcch",
                "down",
                part,
                name if segment == 7 else None,
                channel="DL-DCCH",
                **fields,
                segment=segment,
                last="yes" if segment == 7 else "no",
            )


def lte_cell_information():
    mib, name = message_of("lte_rrc.bcch_bch")
    fields = {"channel": "BCCH-BCH", "cell": 324}
    first = Payload(40).put(0, 1, 1).put(4, 2, 1825).put(6, 2, 0xFE00 | 324)
    second = Payload(40).put(0, 1, 2).put(4, 4, 66986).put(8, 2, 0xFE00 | 324)
    for version, payload, last, frequency in ((1, first, 25, 1825), (2, second, 29, 66986)):
        for at, byte in enumerate(reversed(mib)):
            payload.put(last + at, 1, byte)
        yield row(
            f"LTE ML1 cell information version {version}",
            0xB197,
            payload,
            "lte_rrc.bcch_bch",
            "down",
            mib,
            name,
            **fields,
            frequency=frequency,
        )


def lte_nas():
    secured = "17aabbccdd05"  # integrity protected: the header, and a plain message behind
    for code, dissector, link, message, name in [
        (0xB0E0, "nas-eps", "down", secured + "0201d9", "ESM information request"),
        (0xB0E1, "nas-eps", "up", secured + "0201da", "ESM information response"),
        (0xB0E2, "nas-eps_plain", "down", "0201d9", "ESM information request"),
        (0xB0E3, "nas-eps_plain", "up", "0201da", "ESM information response"),
        (0xB0EA, "nas-eps", "down", secured + "075501", "Identity request"),
        (0xB0EB, "nas-eps", "up", secured + "075e", "Security mode complete"),
        (0xB0EC, "nas-eps_plain", "down", "075501", "Identity request"),
        (0xB0ED, "nas-eps_plain", "up", "075e", "Security mode complete"),
    ]:
        data = bytes.fromhex(message)
        yield row(
            "LTE NAS", code, Payload(4).put(0, 1, 1).append(data), dissector, link, data, name
        )


# --- NR ------------------------------------------------------------------------------------------

def nr_rrc():
    for version, numbers in NR_VERSIONS.items():
        for number, channel in numbers.items():
            message, name = message_of(NR[channel])
            payload, fields = nr_payload(version, number, message)
            yield row(
                f"NR RRC version {version} channel {number}",
                0xB821,
                payload,
                NR[channel],
                "up" if channel in NR_UPLINK else "down",
                message,
                name,
                channel=channel,
                **fields,
            )
        # Bare: transaction 1, the plain choice, nothing more. As UL-DCCH: c1, message 1, and that.
        bare = bits((1, 2), (0, 1), (0, 3))
        message = bits((0, 1), (1, 4), (1, 2), (0, 1), (0, 3), (0, 2), (0, 3))
        payload, fields = nr_payload(version, nr_complete(version), bare)
        yield row(
            f"NR RRC version {version} channel {nr_complete(version)}",
            0xB821,
            payload,
            "nr-rrc.ul.dcch",
            "up",
            message,
            "RRC Reconfiguration Complete",
            channel="RRC reconfiguration complete",
            **fields,
        )
    message, name = bytes.fromhex("040000"), "RRC Reconfiguration"
    for version in (23, 24, 26, 28):
        for segment, part in as_segments(message):
            payload, fields = nr_payload(version, 4, part, segment)
            yield row(
                f"NR RRC version {version} segment {segment}",
                0xB821,
                payload,
                "nr-rrc.dl.dcch",
                "down",
                part,
                name if segment == 7 else None,
                channel="DL-DCCH",
                **fields,
                segment=segment,
                last="yes" if segment == 7 else "no",
            )


def nr_nas():
    secured = "7e01aabbccdd01"
    for code, link, message, name in [
        (0xB800, "down", "2e0501d324", "PDU session release command (Regular deactivation)"),
        (0xB801, "up", "2e0501cc", "PDU session modification complete"),
        (0xB808, "down", secured + "7e005b01", "Identity request"),
        (0xB809, "up", secured + "7e0043", "Registration complete"),
        (0xB80A, "down", "7e005b01", "Identity request"),
        (0xB80B, "up", "7e0043", "Registration complete"),
        (0xB814, "-", "7e0043", "Registration complete"),
    ]:
        data = bytes.fromhex(message)
        yield row(
            "5GS NAS", code, Payload(7).put(0, 4, 1).append(data), "nas-5gs", link, data, name
        )


# --- WCDMA ---------------------------------------------------------------------------------------

def wcdma_block(channel, words, sib_type, block):
    message, name = message_of("rrc.si." + block)
    payload, fields = wcdma_payload(channel, message, sib_type)
    return row(
        f"WCDMA RRC channel {channel} SIB type {sib_type}",
        0x412F,
        payload,
        "rrc.si." + block,
        "down",
        message,
        name,
        channel=words,
        sib=sib_type,
        **fields,
    )


def wcdma_rrc():
    for layout in (0, 0x80):
        for number, (channel, dissector) in WCDMA.items():
            message, name = message_of(dissector)
            payload, fields = wcdma_payload(layout + number, message)
            yield row(
                f"WCDMA RRC channel {layout + number}",
                0x412F,
                payload,
                dissector,
                link_of(channel),
                message,
                name,
                channel=channel,
                **fields,
            )
        for sib_type, block in EXTENSIONS.items():
            yield wcdma_block(layout + 9, "extension SIB", sib_type, block)
    for channel, words in ((254, "SIB from BCH"), (255, "SIB from FACH"), (0xF0, "SIB")):
        for sib_type, block in [*enumerate(BLOCKS), *EXTENSIONS.items()]:
            yield wcdma_block(channel, words, sib_type, block)


def umts_nas():
    for code, lead in ((0x713A, b""), (0x7B3A, b"\1")):
        for direction, link, message, name in [
            (0, "down", "051801", "(DTAP) (MM) Identity Request"),
            (1, "up", "051b", "(DTAP) (MM) TMSI Reallocation Complete"),
        ]:
            data = bytes.fromhex(message)
            payload = Payload(0).append(lead).append(
                struct.pack("<BI", direction, len(data)) + data
            )
            yield row(f"UMTS NAS {link}", code, payload, "gsm_a_dtap", link, data, name)


# --- GSM -----------------------------------------------------------------------------------------


def gsm_rr():
    release = ("060d00", "(DTAP) (RR) Channel Release")
    ciphered = ("0632", "(DTAP) (RR) Ciphering Mode Complete")
    system_information = (
        "59061a" + "00" * 16 + "ff790000", "(CCCH) (RR) System Information Type 2"
    )
    paging = ("1506210001f0" + "2b" * 17, "(CCCH) (RR) Paging Request Type 1")
    rows = [
        (1, "BCCH", "down", "gsm_a_ccch", system_information),
        (3, "CCCH", "down", "gsm_a_ccch", paging),
    ]
    dedicated = [(0, "DCCH"), (4, "SACCH"), (5, "SDCCH"), (6, "FACCH/F"), (7, "FACCH/H")]
    for number, channel in dedicated:
        rows += [
            (number, channel, "down", "gsm_a_dtap", release),
            (number, channel, "up", "gsm_a_dtap", ciphered),
        ]
    rows += [
        (2, "access burst", "up", "data", ("a5", None)),
        (8, "access burst", "up", "data", ("a5c3", None)),
    ]
    for code, lead in ((0x512F, b""), (0x5B2F, b"\2")):
        for number, channel, link, dissector, (message, name) in rows:
            data = bytes.fromhex(message)
            head = bytes([number | (0x80 if link == "down" else 0), 0x3F, len(data)])
            payload = Payload(0).append(lead + head + data)
            yield row(
                f"GSM RR channel {number} {link}",
                code,
                payload,
                dissector,
                link,
                data,
                name,
                channel=channel,
            )


def gprs():
    blocks = {
        "down": ("94" + "2b" * 21, "gsm_rlcmac_dl", "GPRS DL CTRL: PACKET_DOWNLINK_"),
        "up": ("0d00000007ab" + "2b" * 16, "gsm_rlcmac_ul", "GPRS UL CTRL: PACKET_UPLINK_"),
    }
    for number in (3, 4):
        for link, (message, dissector, name) in blocks.items():
            name += "DUMMY_CONTROL_BLOCK"
            data = bytes.fromhex(message)
            payload = Payload(0).append(
                bytes([number | (0x80 if link == "down" else 0), 0x25, len(data)]) + data
            )
            yield row(
                f"GPRS MAC channel {number} {link}",
                0x5226,
                payload,
                dissector,
                link,
                b"\x40" + data,
                name,
                channel="PACCH",
            )
    for direction, link, message, name in [
        (0, "up", "0803", "(DTAP) (GMM) Attach Complete"),
        (1, "down", "080600", "(DTAP) (GMM) Detach Accept"),
    ]:
        data = bytes.fromhex(message)
        payload = Payload(4).put(0, 1, direction).put(2, 2, len(data)).append(data)
        yield row(f"GPRS NAS {link}", 0x5230, payload, "gsm_a_dtap", link, data, name)
        yield row(
            f"GPRS NAS {link}, stale bytes behind",
            0x5230,
            payload.append(bytes(range(20))),
            "gsm_a_dtap",
            link,
            data,
            name,
        )


# --- IP and SIP ----------------------------------------------------------------------------------


def ip():
    def payload(flags, number, segment, data):
        return Payload(8).put(1, 1, 1).put(3, 1, flags).put(4, 2, number).put(6, 2, segment).append(
            data
        )

    shown = "40000 → 40001 Len=6"
    v4, v6 = ipv4(b"hello!"), ipv6(b"")
    yield row("IP version 4 up", 0x11EB, payload(0x7F, 7, 0x8000, v4), "ip", "up", v4, shown)
    yield row("IP version 4 down", 0x11EB, payload(0xBF, 8, 0x8000, v4), "ip", "down", v4, shown)
    yield row(
        "IP version 6 down",
        0x11EB,
        payload(0, 9, 0x8000, v6),
        "ip",
        "down",
        v6,
        "IPv6 no next header",
    )
    yield row(
        "IP, its only segment counted from 1",
        0x11EB,
        payload(0, 9, 0x8001, v4),
        "ip",
        "down",
        v4,
        shown,
    )
    parts = [v4[:12], v4[12:24], v4[24:]]
    for segment, part in enumerate(parts):
        is_last = segment == len(parts) - 1
        yield row(
            f"IP segment {segment}",
            0x11EB,
            payload(0, 10, segment | (0x8000 if is_last else 0), part),
            "ip",
            "down",
            part,
            shown if is_last else None,
            segment=segment,
            last="yes" if is_last else "no",
            number=10,
        )


def sip():
    name = "Request: OPTIONS sip:a@example.org |"
    call_id = b"7@example.org"
    for direction, link in ((1, "up"), (0, "down")):
        for counted, words in ((0, "not counted"), (1, "counted")):
            payload = Payload(16).put(1, 1, direction).put(3, 1, len(call_id) + counted)
            payload.put(6, 2, len(SIP) + counted).append(call_id + b"\0" + SIP + b"\0")
            yield row(f"IMS SIP {link}, zeros {words}", 0x156E, payload, "sip", link, SIP, name)


def tables():
    """-> the text of both files by name."""
    rows = [
        lte_rrc, lte_cell_information, lte_nas, nr_rrc, nr_nas, wcdma_rrc, umts_nas, gsm_rr, gprs
    ]
    rows += [ip, sip]
    packets = [line for made in rows for line in made()]
    gaps = [line for made in (lte_gaps, nr_gaps, other_gaps) for line in made()]
    heads = ("what\tpacket\tdissector\tlink\tmessage\tname\tfields", "what\tpacket\tknown\tcell")
    return {
        "signalling_packets.tsv": "\n".join([heads[0], *packets, ""]),
        "signalling_gaps.tsv": "\n".join([heads[1], *gaps, ""]),
    }


if __name__ == "__main__":
    for name, text in tables().items():
        pathlib.Path(__file__).with_name(name).write_text(text, encoding="utf-8")
