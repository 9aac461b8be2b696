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


def ipv6(payload):
    """Without a next header."""
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
    # 3GPP TS 38.331
    "nr-rrc.bcch.bch": ("0a8400", "MIB"),
    "nr-rrc.bcch.dl.sch": ("30", "System Information [ ]"),
    "nr-rrc.dl.ccch": ("240000", "RRC Setup"),
    "nr-rrc.dl.dcch": ("0200", "RRC Reconfiguration"),
    "nr-rrc.mcch": ("0000", "MBS Broadcast Configuration"),
    "nr-rrc.pcch": ("00", "Paging"),
    "nr-rrc.ul.ccch": ("06123456789a00", "RRC Setup Request"),
    "nr-rrc.ul.ccch1": ("00123456789a0000000000", "RRC Resume Request 1"),
    "nr-rrc.ul.dcch": ("11", "RRC Setup Complete"),
    "nr-rrc.rrc_reconf": ("40", "RRC Reconfiguration"),
    "nr-rrc.radiobearerconfig": ("00", "RadioBearerConfig"),
    "nr-rrc.ue_mrdc_cap": ("0000", None),
    "nr-rrc.ue_nr_cap": ("00" * 10, None),
    # 3GPP TS 25.331
    "rrc.ul.ccch": ("20123456780000", "RRCConnectionRequest"),
    "rrc.ul.dcch": ("59", "SignallingConnectionReleaseIndication(ps-domain)"),
    "rrc.dl.ccch": ("2000000000000000", "RRCConnectionRelease-CCCH [cause=normalEvent]"),
    "rrc.dl.dcch": ("3c00", "RRCConnectionRelease [cause=normalEvent]"),
    "rrc.bcch.bch": ("1000", "SystemInformation-BCH"),
    "rrc.bcch.fach": ("40", "SystemInformationChangeIndication"),
    "rrc.pcch": ("00", "PagingType1"),
    "rrc.mcch": ("60", "MBMSUnmodifiedServicesInformation"),
    "rrc.msch": ("00" * 7, "MBMSSchedulingInformation"),
    "rrc.sysinfo.cont": ("00" * 6, None),
    "rrc.si.mib": ("00" * 7, "MasterInformationBlock"),
    "rrc.si.sib1": ("0448d0085008", "SysInfoType 1(cs-domain)"),
    "rrc.si.sib2": ("0000", "SysInfoType 2"),
    "rrc.si.sib3": ("00" * 13, "SysInfoType 3"),
    "rrc.si.sib4": ("00" * 13, "SysInfoType 4"),
    "rrc.si.sib5": ("00" * 13, "SysInfoType 5"),
    "rrc.si.sib5bis": ("00" * 13, "SysInfoType 5bisSysInfoType 5"),
    "rrc.si.sib6": ("0000", "SysInfoType 6"),
    "rrc.si.sib7": ("000000", "SysInfoType 7"),
    "rrc.si.sib8": ("00" * 24, None),
    "rrc.si.sib9": ("0000", None),
    "rrc.si.sib10": ("0000", None),
    "rrc.si.sib11": ("0000", "SysInfoType 11"),
    "rrc.si.sib11bis": ("00", "SysInfoType 11bis"),
    "rrc.si.sib12": ("0000", "SysInfoType 12"),
    "rrc.si.sib13": ("05000000000000", "SysInfoType 13(ps-domain)"),
    "rrc.si.sib13-1": ("0000", "SysInfoType 13.1"),
    "rrc.si.sib13-2": ("0000", "SysInfoType 13.2"),
    "rrc.si.sib13-3": ("0000", "SysInfoType 13.3"),
    "rrc.si.sib13-4": ("0000", "SysInfoType 13.4"),
    "rrc.si.sib14": ("0000", "SysInfoType 14"),
    "rrc.si.sib15": ("00" * 25, "SysInfoType 15"),
    "rrc.si.sib15-1": ("00" * 13, "SysInfoType 15.1"),
    "rrc.si.sib15-2": ("00" * 85, "SysInfoType 15.2"),
    "rrc.si.sib15-3": ("00" * 4, "SysInfoType 15.3"),
    "rrc.si.sib15-4": ("00", "SysInfoType 15.4"),
    "rrc.si.sib15-5": ("00", "SysInfoType 15.5"),
    "rrc.si.sib16": ("00" * 25, "SysInfoType 16"),
    "rrc.si.sib17": ("00", "SysInfoType 17"),
    "rrc.si.sib18": ("00", "SysInfoType 18"),
    "rrc.si.sib19": ("000000", "SysInfoType 19"),
    "rrc.si.sb1": ("00" * 4, "Scheduling Block 1"),
    "rrc.si.sb2": ("00" * 4, "Scheduling Block 2"),
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


# --- NR ------------------------------------------------------------------------------------------

NR = {
    "BCCH-BCH": "nr-rrc.bcch.bch",
    "BCCH-DL-SCH": "nr-rrc.bcch.dl.sch",
    "DL-CCCH": "nr-rrc.dl.ccch",
    "DL-DCCH": "nr-rrc.dl.dcch",
    "MCCH": "nr-rrc.mcch",
    "PCCH": "nr-rrc.pcch",
    "UL-CCCH": "nr-rrc.ul.ccch",
    "UL-CCCH1": "nr-rrc.ul.ccch1",
    "UL-DCCH": "nr-rrc.ul.dcch",
    "RRC reconfiguration": "nr-rrc.rrc_reconf",
    "radio bearer configuration": "nr-rrc.radiobearerconfig",
    "MR-DC capability": "nr-rrc.ue_mrdc_cap",
    "NR capability": "nr-rrc.ue_nr_cap",
}
NR_UPLINK = ["UL-CCCH", "UL-CCCH1", "UL-DCCH", "MR-DC capability", "NR capability"]

# Version -> the numbers of the channels above without MCCH; or with it; and the others by number.
OLD = dict(zip([1, 2, 3, 4, 5, 6, 7, 8, 9], [channel for channel in NR if channel != "MCCH"]))
NEW = dict(zip([1, 2, 3, 4, 5, 6, 7, 8, 9, 10], NR))
SHIFTED = {**{number: NEW[number] for number in range(1, 10)}, 11: "RRC reconfiguration"}
BEARERS, MRDC, CAPABILITY = "radio bearer configuration", "MR-DC capability", "NR capability"
NR_VERSIONS = {
    7: {**OLD, 24: BEARERS},
    8: {**OLD, 26: BEARERS},
    9: {**OLD, 25: BEARERS, 28: MRDC, 29: CAPABILITY},
    12: {**OLD, 25: BEARERS, 28: MRDC, 29: CAPABILITY},
    14: {**OLD, 28: BEARERS, 31: MRDC, 32: CAPABILITY, 33: CAPABILITY},
    17: {**OLD, 29: BEARERS},
    19: {**OLD, 29: BEARERS},
    25: {**OLD, 29: BEARERS},
    20: {**NEW, 36: BEARERS},
    23: {**NEW, 36: BEARERS},
    24: {**NEW, 36: BEARERS},
    26: {**SHIFTED, 36: BEARERS},
    28: {**SHIFTED, 10: "UL-DCCH", 36: BEARERS},
}


def nr_complete(version):
    """The number of RRC reconfiguration complete: the one behind RRC reconfiguration."""
    numbers = NR_VERSIONS[version]
    return 1 + next(number for number in numbers if numbers[number] == "RRC reconfiguration")


def nr_payload(version, number, message, segment=0):
    if version in (7, 8, 9):
        payload = Payload(24).put(9, 4, 505758).put(17, 1, number).put(22, 2, len(message))
    elif version in (12, 14):
        payload = Payload(23).put(9, 4, 505758).put(16, 1, number).put(21, 2, len(message))
    else:
        payload = Payload({17: 31, 19: 32, 20: 32, 25: 32}.get(version, 35))
        payload.put(17, 4, 505758).put(24, 1, number).put(29, 2, len(message))
        if version in (23, 24, 26, 28):
            payload.put(34, 1, segment)
    payload.put(0, 4, version).put(6, 1, 3).put(7, 2, 1007).append(message)
    return payload, {"bearer": 3, "cell": 1007, "frequency": 505758}


def nr_rrc():
    for version, numbers in NR_VERSIONS.items():
        for number, channel in numbers.items():
            message, name = message_of(NR[channel])
            payload, fields = nr_payload(version, number, message)
            row(f"NR RRC version {version} channel {number}", 0xB821, payload, NR[channel],
                "up" if channel in NR_UPLINK else "down", message, name, channel=channel, **fields)
        # Bare: transaction 1, the plain choice, nothing more. As UL-DCCH: c1, message 1, and that.
        bare = bits((1, 2), (0, 1), (0, 3))
        message = bits((0, 1), (1, 4), (1, 2), (0, 1), (0, 3), (0, 2), (0, 3))
        payload, fields = nr_payload(version, nr_complete(version), bare)
        row(f"NR RRC version {version} channel {nr_complete(version)}", 0xB821, payload, "nr-rrc.ul.dcch", "up",
            message, "RRC Reconfiguration Complete", channel="RRC reconfiguration complete", **fields)
    message, name = bytes.fromhex("040000"), "RRC Reconfiguration"
    for version in (23, 24, 26, 28):
        for segment, part in as_segments(message):
            payload, fields = nr_payload(version, 4, part, segment)
            row(f"NR RRC version {version} segment {segment}", 0xB821, payload, "nr-rrc.dl.dcch", "down", part,
                name if segment == 7 else None, channel="DL-DCCH", **fields, segment=segment,
                last="yes" if segment == 7 else "no")


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
        row("5GS NAS", code, Payload(7).put(0, 4, 1).append(data), "nas-5gs", link, data, name)


# --- WCDMA ---------------------------------------------------------------------------------------

WCDMA = {
    0: ("UL-CCCH", "rrc.ul.ccch"),
    1: ("UL-DCCH", "rrc.ul.dcch"),
    2: ("DL-CCCH", "rrc.dl.ccch"),
    3: ("DL-DCCH", "rrc.dl.dcch"),
    4: ("BCCH-BCH", "rrc.bcch.bch"),
    5: ("BCCH-FACH", "rrc.bcch.fach"),
    6: ("PCCH", "rrc.pcch"),
    7: ("MCCH", "rrc.mcch"),
    8: ("MSCH", "rrc.msch"),
    10: ("SI container", "rrc.sysinfo.cont"),
}
# By SIB-Type from 0 on.
BLOCKS = (
    "mib sib1 sib2 sib3 sib4 sib5 sib6 sib7 sib8 sib9 sib10 sib11 sib12 sib13 sib13-1 sib13-2 sib13-3 sib13-4 sib14 "
    "sib15 sib15-1 sib15-2 sib15-3 sib16 sib17 sib15-4 sib18 sb1 sb2 sib15-5 sib5bis"
).split()
EXTENSIONS = {66: "sib11bis", 67: "sib19"}


def wcdma_payload(channel, message, sib_type=None):
    lead = b"" if sib_type is None else bytes([sib_type])
    has_cell = 0x80 <= channel <= 0xF0
    payload = Payload(8 if has_cell else 4)
    payload.put(0, 1, channel).put(1, 1, 4).put(2, 2, len(lead + message))
    if has_cell:
        payload.put(4, 2, 10737).put(6, 2, 436)
    payload.append(lead + message)
    return payload, {"bearer": 4, "cell": 436, "frequency": 10737} if has_cell else {"bearer": 4}


def wcdma_block(channel, words, sib_type, block):
    message, name = message_of("rrc.si." + block)
    payload, fields = wcdma_payload(channel, message, sib_type)
    row(f"WCDMA RRC channel {channel} SIB type {sib_type}", 0x412F, payload, "rrc.si." + block, "down", message,
        name, channel=words, sib=sib_type, **fields)


def wcdma_rrc():
    for layout in (0, 0x80):
        for number, (channel, dissector) in WCDMA.items():
            message, name = message_of(dissector)
            payload, fields = wcdma_payload(layout + number, message)
            row(f"WCDMA RRC channel {layout + number}", 0x412F, payload, dissector, link_of(channel), message, name,
                channel=channel, **fields)
        for sib_type, block in EXTENSIONS.items():
            wcdma_block(layout + 9, "extension SIB", sib_type, block)
    for channel, words in ((254, "SIB from BCH"), (255, "SIB from FACH"), (0xF0, "SIB")):
        for sib_type, block in [*enumerate(BLOCKS), *EXTENSIONS.items()]:
            wcdma_block(channel, words, sib_type, block)


def umts_nas():
    for code, lead in ((0x713A, b""), (0x7B3A, b"\1")):
        for direction, link, message, name in [
            (0, "down", "051801", "(DTAP) (MM) Identity Request"),
            (1, "up", "051b", "(DTAP) (MM) TMSI Reallocation Complete"),
        ]:
            data = bytes.fromhex(message)
            payload = Payload(0).append(lead).append(struct.pack("<BI", direction, len(data)) + data)
            row(f"UMTS NAS {link}", code, payload, "gsm_a_dtap", link, data, name)


# --- GSM -----------------------------------------------------------------------------------------


def gsm_rr():
    release = ("060d00", "(DTAP) (RR) Channel Release")
    ciphered = ("0632", "(DTAP) (RR) Ciphering Mode Complete")
    system_information = ("59061a" + "00" * 16 + "ff790000", "(CCCH) (RR) System Information Type 2")
    paging = ("1506210001f0" + "2b" * 17, "(CCCH) (RR) Paging Request Type 1")
    rows = [(1, "BCCH", "down", "gsm_a_ccch", system_information), (3, "CCCH", "down", "gsm_a_ccch", paging)]
    for number, channel in ((0, "DCCH"), (4, "SACCH"), (5, "SDCCH"), (6, "FACCH/F"), (7, "FACCH/H")):
        rows += [(number, channel, "down", "gsm_a_dtap", release), (number, channel, "up", "gsm_a_dtap", ciphered)]
    rows += [(2, "access burst", "up", "data", ("a5", None)), (8, "access burst", "up", "data", ("a5c3", None))]
    for code, lead in ((0x512F, b""), (0x5B2F, b"\2")):
        for number, channel, link, dissector, (message, name) in rows:
            data = bytes.fromhex(message)
            head = bytes([number | (0x80 if link == "down" else 0), 0x3F, len(data)])
            payload = Payload(0).append(lead + head + data)
            row(f"GSM RR channel {number} {link}", code, payload, dissector, link, data, name, channel=channel)


def gprs():
    blocks = {
        "down": ("94" + "2b" * 21, "gsm_rlcmac_dl", "GPRS DL CTRL: PACKET_DOWNLINK_DUMMY_CONTROL_BLOCK"),
        "up": ("0d00000007ab" + "2b" * 16, "gsm_rlcmac_ul", "GPRS UL CTRL: PACKET_UPLINK_DUMMY_CONTROL_BLOCK"),
    }
    for number in (3, 4):
        for link, (message, dissector, name) in blocks.items():
            data = bytes.fromhex(message)
            payload = Payload(0).append(bytes([number | (0x80 if link == "down" else 0), 0x25, len(data)]) + data)
            row(f"GPRS MAC channel {number} {link}", 0x5226, payload, dissector, link, b"\x40" + data, name,
                channel="PACCH")
    for direction, link, message, name in [
        (0, "up", "0803", "(DTAP) (GMM) Attach Complete"),
        (1, "down", "080600", "(DTAP) (GMM) Detach Accept"),
    ]:
        data = bytes.fromhex(message)
        payload = Payload(4).put(0, 1, direction).put(2, 2, len(data)).append(data)
        row(f"GPRS NAS {link}", 0x5230, payload, "gsm_a_dtap", link, data, name)
        row(f"GPRS NAS {link}, stale bytes behind", 0x5230, payload.append(bytes(range(20))), "gsm_a_dtap", link, data,
            name)


# --- IP and SIP ----------------------------------------------------------------------------------


def ip():
    def payload(flags, number, segment, data):
        return Payload(8).put(1, 1, 1).put(3, 1, flags).put(4, 2, number).put(6, 2, segment).append(data)

    shown = "40000 → 40001 Len=6"
    v4, v6 = ipv4(b"hello!"), ipv6(b"")
    row("IP version 4 up", 0x11EB, payload(0x7F, 7, 0x8000, v4), "ip", "up", v4, shown)
    row("IP version 4 down", 0x11EB, payload(0xBF, 8, 0x8000, v4), "ip", "down", v4, shown)
    row("IP version 6 down", 0x11EB, payload(0, 9, 0x8000, v6), "ip", "down", v6, "IPv6 no next header")
    row("IP, its only segment counted from 1", 0x11EB, payload(0, 9, 0x8001, v4), "ip", "down", v4, shown)
    parts = [v4[:12], v4[12:24], v4[24:]]
    for segment, part in enumerate(parts):
        is_last = segment == len(parts) - 1
        row(f"IP segment {segment}", 0x11EB, payload(0, 10, segment | (0x8000 if is_last else 0), part), "ip", "down",
            part, shown if is_last else None, segment=segment, last="yes" if is_last else "no", number=10)


def sip():
    name = "Request: OPTIONS sip:a@example.org |"
    call_id = b"7@example.org"
    for direction, link in ((1, "up"), (0, "down")):
        for counted, words in ((0, "not counted"), (1, "counted")):
            payload = Payload(16).put(1, 1, direction).put(3, 1, len(call_id) + counted)
            payload.put(6, 2, len(SIP) + counted).append(call_id + b"\0" + SIP + b"\0")
            row(f"IMS SIP {link}, zeros {words}", 0x156E, payload, "sip", link, SIP, name)


def main():
    print("what", "packet", "dissector", "link", "message", "name", "fields", sep="\t")
    lte_rrc()
    lte_cell_information()
    lte_nas()
    nr_rrc()
    nr_nas()
    wcdma_rrc()
    umts_nas()
    gsm_rr()
    gprs()
    ip()
    sip()


main()
