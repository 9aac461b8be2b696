"""Writes signalling_packets.tsv: a log packet for each layout and channel, and what it holds.

    python3 make_signalling_packets.py > signalling_packets.tsv

The packets are put together here from tables of their own: nothing of what is tested takes part. The
messages are encoded by hand after the standards that describe them, as short as they allow, and
named as Wireshark names them; test_signalling_packets.py asks Wireshark about each.

Columns, between tabs, "-" where there is nothing to say:
  what       the layout and the channel
  packet     the whole log packet
  dissector  Wireshark's, for the message
  link       up or down
  message    as it goes to the dissector; of a segment what this packet has
  name       what Wireshark shows of the message; of segments at the last one, for the whole
  fields     channel (blanks as "_"), radio bearer, cell and segment, as "name=value"
"""

import struct

TIME = 0x00F1_2345_6789_6000  # some DIAG timestamp


def bits(*pairs):
    """Values of so many bits each, most significant first, filled with zeros to a byte."""
    text = "".join(format(value, f"0{count}b") for value, count in pairs)
    text += "0" * (-len(text) % 8)
    return int(text, 2).to_bytes(len(text) // 8, "big")


def ipv4(payload):
    head = struct.pack(">BBHHHBBH4B4B", 0x45, 0, 28 + len(payload), 1, 0, 64, 17, 0, 10, 0, 0, 1, 10, 0, 0, 2)
    total = sum(struct.unpack(">10H", head))
    total = (total & 0xFFFF) + (total >> 16)
    head = head[:10] + struct.pack(">H", ~total & 0xFFFF) + head[12:]
    return head + struct.pack(">HHHH", 40000, 40001, 8 + len(payload), 0) + payload


def ipv6(payload):  # ICMPv6 echo request is longer: no next header
    return struct.pack(">IHBB", 0x60000000, len(payload), 59, 64) + bytes(15) + b"\1" + bytes(15) + b"\2" + payload


SIP = (
    b"OPTIONS sip:a@example.org SIP/2.0\r\nCall-ID: 7@example.org\r\nCSeq: 1 OPTIONS\r\n"
    b"Content-Length: 0\r\n\r\n"
)

# Dissector -> (message, what Wireshark shows).
MESSAGES = {
    # 3GPP TS 36.331
    "lte_rrc.bcch_bch": ("681200", "MasterInformationBlock (SFN=4)"),
    "lte_rrc.bcch_dl_sch": ("30", "SystemInformation [ ]"),
    "lte_rrc.mcch": ("80000000", "MBMSCountingRequest-r10"),
    "lte_rrc.pcch": ("00", "Paging"),
    "lte_rrc.dl_ccch": ("64", "RRCConnectionSetup"),
    "lte_rrc.dl_dcch": ("240000", "RRCConnectionReconfiguration"),
    "lte_rrc.ul_ccch": ("50123456789a", "RRCConnectionRequest"),
    "lte_rrc.ul_dcch": ("1400", "RRCConnectionReconfigurationComplete"),
    "lte_rrc.bcch_bch.nb": ("60000000", "MasterInformationBlock-NB"),
    "lte_rrc.bcch_dl_sch.nb": ("20", "SystemInformation-NB [ ]"),
    "lte_rrc.pcch.nb": ("00", "Paging-NB"),
    "lte_rrc.dl_ccch.nb": ("300000", "RRCConnectionSetup-NB"),
    "lte_rrc.dl_dcch.nb": ("1400", "RRCConnectionReconfiguration-NB"),
    "lte_rrc.ul_ccch.nb": ("20123456789a000000", "RRCConnectionRequest-NB"),
    "lte_rrc.ul_dcch.nb": ("0400", "RRCConnectionReconfigurationComplete-NB"),
}


def message_of(dissector):
    encoded, name = MESSAGES[dissector]
    return bytes.fromhex(encoded), name


class Payload:
    """The payload of a log packet, field by field. What no field covers holds other bytes than zero."""

    def __init__(self, size):
        self.bytes = bytearray(0xC1 + at % 31 for at in range(size))

    def put(self, at, size, value):
        assert at + size <= len(self.bytes)
        self.bytes[at : at + size] = value.to_bytes(size, "little")
        return self

    def append(self, message):
        self.bytes += message
        return self


def log_packet(code, payload):
    length = 12 + len(payload)
    return struct.pack("<BBHHHQ", 0x10, 0, length, length, code, TIME) + bytes(payload)


def row(what, code, payload, dissector, link, message, name, **fields):
    told = " ".join(f"{key}={str(value).replace(' ', '_')}" for key, value in fields.items())
    packet = log_packet(code, payload.bytes)
    print(what, packet.hex(), dissector, link, message.hex() or "-", name or "-", told or "-", sep="\t")


def link_of(channel):
    return "up" if channel.startswith("UL") else "down"


def as_segments(message):
    """-> (segment field, its bytes): the first, a middle one and the last."""
    return [(1, message[:1]), (2, message[1:2]), (7, message[2:])]


# --- LTE RRC -------------------------------------------------------------------------------------

# Channel names, in the order of the numbers below; and how Wireshark's dissector of each is called.
LTE = ["BCCH-BCH", "BCCH-DL-SCH", "MCCH", "PCCH", "DL-CCCH", "DL-DCCH", "UL-CCCH", "UL-DCCH"]
LTE_NB = [channel + "-NB" for channel in LTE if channel != "MCCH"]
LTE_NUMBERS = [
    ([2, 3, 4, 6, 7, 8, 13, 22], [1, 2, 3, 4, 5, 6, 7, 8], []),
    ([9, 12], [8, 9, 10, 11, 12, 13, 14, 15], []),
    ([14, 15, 16], [1, 2, 4, 5, 6, 7, 8, 9], []),
    ([20, 24, 25], [1, 2, 4, 5, 6, 7, 8, 9], [54, 55, 56, 57, 58, 59, 61]),
    ([19, 26, 27, 29, 30, 31], [1, 3, 6, 7, 8, 9, 10, 11], [45, 46, 47, 48, 49, 50, 52]),
]


def lte_dissector(channel):
    if channel.endswith("-NB"):
        return lte_dissector(channel.removesuffix("-NB")) + ".nb"
    return "lte_rrc." + channel.lower().replace("-", "_")


def lte_payload(version, number, message, segment=0):
    """-> (payload, fields): the cell's values are different in every place where one may be read."""
    if version <= 4:
        payload = Payload(13).put(3, 1, 2).put(4, 2, 324).put(6, 2, 1825).put(8, 2, 513 << 4 | 7)
        payload.put(10, 1, number).put(11, 2, len(message))
        frequency = 1825
    elif version <= 7:
        payload = Payload(17).put(3, 1, 2).put(4, 2, 324).put(6, 2, 1825).put(8, 2, 513 << 4 | 7)
        payload.put(10, 1, number).put(15, 2, len(message))
        frequency = 1825
    elif version <= 24:
        payload = Payload(19).put(3, 1, 2).put(4, 2, 324).put(6, 4, 66986).put(10, 2, 513 << 4 | 7)
        payload.put(12, 1, number).put(17, 2, len(message))
        frequency = 66986
    else:
        payload = Payload(24 if version >= 30 else 21)
        payload.put(5, 1, 2).put(6, 2, 324).put(8, 4, 66986).put(12, 2, 513 << 4 | 7)
        payload.put(14, 1, number).put(19, 2, len(message))
        if version >= 30:
            payload.put(23, 1, segment)
        frequency = 66986
    payload.put(0, 1, version).append(message)
    return payload, {"bearer": 2, "cell": 324, "frequency": frequency, "frame": 513, "subframe": 7}


def lte_rrc():
    for versions, numbers, narrowband in LTE_NUMBERS:
        for version in versions:
            channels = list(zip(LTE, numbers)) + list(zip(LTE_NB, narrowband))
            for channel, number in channels:
                message, name = message_of(lte_dissector(channel))
                payload, fields = lte_payload(version, number, message)
                what = f"LTE RRC version {version} channel {number}"
                row(what, 0xB0C0, payload, lte_dissector(channel), link_of(channel), message, name,
                    channel=channel, **fields)
    # Bytes behind the message do not belong to it.
    message, name = message_of("lte_rrc.dl_dcch")
    payload, fields = lte_payload(8, 6, message)
    row("LTE RRC version 8, stale bytes behind", 0xB0C0, payload.append(b"\xEE\xEE"), "lte_rrc.dl_dcch", "down",
        message, name, channel="DL-DCCH", **fields)
    for version in (30, 31):
        for segment, part in as_segments(message):
            payload, fields = lte_payload(version, 9, part, segment)
            row(f"LTE RRC version {version} segment {segment}", 0xB0C0, payload, "lte_rrc.dl_dcch", "down", part,
                name if segment == 7 else None, channel="DL-DCCH", **fields, segment=segment, last="yes" if segment == 7 else "no")


def lte_cell_information():
    mib, name = message_of("lte_rrc.bcch_bch")
    fields = {"channel": "BCCH-BCH", "cell": 324}
    first = Payload(40).put(0, 1, 1).put(4, 2, 1825).put(6, 2, 0xFE00 | 324)
    second = Payload(40).put(0, 1, 2).put(4, 4, 66986).put(8, 2, 0xFE00 | 324)
    for version, payload, last, frequency in ((1, first, 25, 1825), (2, second, 29, 66986)):
        for at, byte in enumerate(reversed(mib)):
            payload.put(last + at, 1, byte)
        row(f"LTE ML1 cell information version {version}", 0xB197, payload, "lte_rrc.bcch_bch", "down", mib, name,
            **fields, frequency=frequency)


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
        row("LTE NAS", code, Payload(4).put(0, 1, 1).append(data), dissector, link, data, name)


def main():
    print("what", "packet", "dissector", "link", "message", "name", "fields", sep="\t")
    lte_rrc()
    lte_cell_information()
    lte_nas()


main()
