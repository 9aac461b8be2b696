"""Log packets with signalling, taken apart from their layouts alone.

It is what a Wireshark file should have of them: the dissector's name, the direction and the message,
apart from the program that makes such files and from the simulator that makes such packets.
"""

import dataclasses
import struct

HEAD = 16  # bytes of a log packet before its payload

WHOLE, LAST = 0, 7  # the segment field of LTE and NR RRC


@dataclasses.dataclass
class Message:
    dissector: str
    uplink: bool
    data: bytes
    segment: int = WHOLE  # else the number of the part, or LAST


def _u16(payload, at):
    return struct.unpack_from("<H", payload, at)[0]


def _u32(payload, at):
    return struct.unpack_from("<I", payload, at)[0]


def _counted(payload, length_at, message_at):
    length = _u16(payload, length_at)
    data = payload[message_at : message_at + length]
    if len(data) != length:
        raise AssertionError(f"a message of {length} bytes in {payload.hex()}")
    return data


_WCDMA = ["ul.ccch", "ul.dcch", "dl.ccch", "dl.dcch", "bcch.bch", "bcch.fach", "pcch"]


def _wcdma_rrc(payload):
    newer = payload[0] & 0x80 != 0
    name = _WCDMA[payload[0] & 0x7F]
    data = _counted(payload, 2, 8 if newer else 4)
    return Message(f"rrc.{name}", name.startswith("ul"), data)


def _gsm_rr(payload):
    channel, length = payload[0] & 0x7F, payload[2]
    data = payload[3 : 3 + length]
    if channel in (1, 3):
        assert len(data) == 23 and payload[1] == data[2], payload.hex()
        return Message("gsm_a_ccch", False, data)
    assert channel in (0, 4, 5, 6, 7) and payload[1] == data[1], payload.hex()
    return Message("gsm_a_dtap", payload[0] & 0x80 == 0, data)


def _gprs_mac(payload):
    uplink = payload[0] & 0x80 == 0
    assert payload[0] & 0x7F in (3, 4), payload.hex()
    name = "gsm_rlcmac_ul" if uplink else "gsm_rlcmac_dl"
    return Message(name, uplink, b"\x40" + payload[3 : 3 + payload[2]])


def _gprs_nas(payload):
    return Message("gsm_a_dtap", payload[0] == 0, _counted(payload, 2, 4))


def _umts_nas(payload):
    data = payload[5:]
    assert len(data) == _u32(payload, 1), payload.hex()
    return Message("gsm_a_dtap", payload[0] == 1, data)


_LTE = ["bcch_bch", "bcch_dl_sch", "mcch", "pcch", "dl_ccch", "dl_dcch", "ul_ccch", "ul_dcch"]
_LTE_NUMBERS = [
    ((2, 3, 4, 6, 7, 8, 13, 22), range(1, 9)),
    ((9, 12), range(8, 16)),
    ((14, 15, 16, 20, 24, 25), (1, 2, 4, 5, 6, 7, 8, 9)),
    ((19, 26, 27, 29, 30, 31), (1, 3, 6, 7, 8, 9, 10, 11)),
]
LTE_VERSIONS = sorted(version for versions, _ in _LTE_NUMBERS for version in versions)


def _lte_rrc(payload):
    version = payload[0]
    (numbers,) = [numbers for versions, numbers in _LTE_NUMBERS if version in versions]
    channel, length, message = next(
        place
        for last, place in (
            (4, (10, 11, 13)),
            (7, (10, 15, 17)),
            (24, (12, 17, 19)),
            (29, (14, 19, 21)),
            (99, (14, 19, 24)),
        )
        if version <= last
    )
    name = _LTE[list(numbers).index(payload[channel])]
    segment = payload[23] if version >= 30 else WHOLE
    data = _counted(payload, length, message)
    return Message(f"lte_rrc.{name}", name.startswith("ul"), data, segment)


def _nas(payload, code, dissector, head):
    return Message(dissector, code & 1 == 1, payload[head:])


_NR = {
    "bcch.bch": (1, 1),
    "bcch.dl.sch": (2, 2),
    "dl.ccch": (3, 3),
    "dl.dcch": (4, 4),
    "pcch": (5, 6),
    "ul.ccch": (6, 7),
    "ul.dcch": (8, 9),
}
_NR_LAYOUTS = [
    ((7, 8, 9), (17, 22, 24)),
    ((12, 14), (16, 21, 23)),
    ((17,), (24, 29, 31)),
    ((19, 20, 25), (24, 29, 32)),
    ((23, 24, 26, 28), (24, 29, 35)),
]
NR_VERSIONS = sorted(version for versions, _ in _NR_LAYOUTS for version in versions)
_NR_RADIO_BEARERS = {7: 24, 8: 26, 9: 25, 12: 25, 14: 28, 17: 29, 19: 29, 25: 29}


def _nr_rrc(payload):
    version = _u32(payload, 0)
    ((channel, length, message),) = [place for found, place in _NR_LAYOUTS if version in found]
    segment = payload[34] if version in (23, 24, 26, 28) else WHOLE
    number, data = payload[channel], _counted(payload, length, message)
    later = version in (20, 23, 24, 26, 28)
    reconfiguration = (11 if version >= 26 else 10) if later else 9
    if number == reconfiguration:
        return Message("nr-rrc.rrc_reconf", False, data, segment)
    if number == reconfiguration + 1:
        # UL-DCCH-Message (3GPP TS 38.331): five bits, the complete, three bits to fill up.
        bits = 1 << 8 * len(data) | int.from_bytes(data, "big")
        whole = (bits << 3 & (1 << 8 * len(data) + 3) - 1) | 1 << 8 * len(data) + 3
        return Message("nr-rrc.ul.dcch", True, whole.to_bytes(len(data) + 1, "big"), segment)
    if number == _NR_RADIO_BEARERS.get(version, 36):
        return Message("nr-rrc.radiobearerconfig", False, data, segment)
    (name,) = [name for name, numbers in _NR.items() if numbers[later] == number]
    return Message(f"nr-rrc.{name}", name.startswith("ul"), data, segment)


def _measured_cell(payload):
    at = {1: 27, 2: 31}[payload[0]]
    return Message("lte_rrc.bcch_bch", False, bytes(payload[at - i] for i in range(3)))


def _ip(payload):
    segment = _u16(payload, 6)
    number = segment & 0x7FFF
    part = WHOLE if segment == 0x8000 else LAST if segment & 0x8000 else number + 1
    assert payload[1] == 1, payload.hex()
    return Message("ip", payload[3] & 0x40 != 0, payload[8:], part)


def _sip(payload):
    call_id, _, text = payload[16:].partition(b"\0")
    assert text.endswith(b"\0") and _u16(payload, 6) in (len(text), len(text) - 1), payload.hex()
    assert call_id in text
    return Message("sip", payload[1] == 1, text[:-1])


# Logs of cells and states have no message.
CELLS_AND_STATES = (0x4127, 0x5134, 0xB0C1, 0xB0C2, 0xB0EE, 0xB822, 0xB823)


def message_of(packet):
    """The message in a log packet, or its part; None for logs that have none."""
    code, payload = _u16(packet, 6), packet[HEAD:]
    if code in CELLS_AND_STATES:
        return None
    if code in (0x5B2F, 0x7B3A):  # of one of two subscriptions
        code, payload = {0x5B2F: 0x512F, 0x7B3A: 0x713A}[code], payload[1:]
    if code in (0xB0E2, 0xB0E3, 0xB0EC, 0xB0ED):
        return _nas(payload, code, "nas-eps_plain", 4)
    if code in (0xB0E0, 0xB0E1, 0xB0EA, 0xB0EB):
        return _nas(payload, code, "nas-eps", 4)
    if code in (0xB800, 0xB801, 0xB808, 0xB809, 0xB80A, 0xB80B):
        return _nas(payload, code, "nas-5gs", 7)
    return {
        0x11EB: _ip,
        0x156E: _sip,
        0x412F: _wcdma_rrc,
        0x512F: _gsm_rr,
        0x5226: _gprs_mac,
        0x5230: _gprs_nas,
        0x713A: _umts_nas,
        0xB0C0: _lte_rrc,
        0xB197: _measured_cell,
        0xB821: _nr_rrc,
    }[code](payload)


class BlockJoin:
    """Joins the blocks of WCDMA system information (3GPP TS 25.331) of one cell's BCCH-BCH."""

    def __init__(self):
        self._collected = {}  # SIB type -> [segments that are missing, bits]

    def take(self, message):
        """-> [(SIB type, the block filled up to bytes)] of the blocks that Wireshark does not show
        in the message itself: those of segments, and those of a fixed size"""
        bits = "".join(f"{byte:08b}" for byte in message)[11:]

        def field(count):
            nonlocal bits
            value, bits = int(bits[:count], 2), bits[count:]
            return value

        choice, blocks = field(4), []
        if choice in (1, 2, 5, 9, 10):
            sib_type = field(5)
            if choice == 9:
                blocks.append((sib_type, bits[:226]))
            else:
                number = field(4) + 1  # the count in the first segment, the place in the others
                size = field(8) + 1 if choice == 5 else 222
                missing, before = (number, "") if choice == 1 else self._collected.pop(sib_type)
                self._collected[sib_type] = [missing - 1, before + bits[:size]]
                if missing == 1:
                    blocks.append((sib_type, self._collected.pop(sib_type)[1]))
        elif choice not in (0, 7):
            raise AssertionError(f"choice {choice}")
        return [(sib_type, _filled(block)) for sib_type, block in blocks]


def _filled(bits):
    bits += "0" * (-len(bits) % 8)
    return int(bits, 2).to_bytes(len(bits) // 8, "big")
