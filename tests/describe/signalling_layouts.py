"""Log packets of signalling: their layouts and channel numbers by version, and how to fill them."""

import struct

TIME = 0x00F1_2345_6789_6000  # some DIAG timestamp


class Payload:
    """The payload of a log packet, field by field. What no field covers is not zero."""

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
    """-> (payload, fields of signalling_packets.tsv)"""
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


NCGI = 0x8877665544332211


def nr_payload(version, number, message, segment=0):
    if version in (7, 8, 9):
        payload = Payload(24).put(9, 4, 505758).put(17, 1, number).put(22, 2, len(message))
    elif version in (12, 14):
        payload = Payload(23).put(9, 4, 505758).put(16, 1, number).put(21, 2, len(message))
    else:
        payload = Payload({17: 31, 19: 32, 20: 32, 25: 32}.get(version, 35))
        payload.put(9, 8, NCGI).put(17, 4, 505758).put(24, 1, number).put(29, 2, len(message))
        if version in (23, 24, 26, 28):
            payload.put(34, 1, segment)
    payload.put(0, 4, version).put(6, 1, 3).put(7, 2, 1007).append(message)
    fields = {"bearer": 3, "cell": 1007, "frequency": 505758}
    return payload, fields if version != 17 else {**fields, "ncgi": NCGI}


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
    "mib sib1 sib2 sib3 sib4 sib5 sib6 sib7 sib8 sib9 sib10 sib11 sib12 sib13 sib13-1 sib13-2 "
    "sib13-3 sib13-4 sib14 sib15 sib15-1 sib15-2 sib15-3 sib16 sib17 sib15-4 sib18 sb1 sb2 sib15-5 "
    "sib5bis"
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
