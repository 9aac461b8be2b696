"""pcap files with times in nanoseconds, little-endian, read strictly; and IPv4 and UDP within them."""

import dataclasses
import struct

NANOSECOND_MAGIC = 0xA1B23C4D
LINK_TYPE_IPV4 = 228
SECOND = 1_000_000_000


class Malformed(Exception):
    """What is wrong with the file, and where."""


@dataclasses.dataclass
class Packet:
    nanoseconds: int  # since 1970
    data: bytes


@dataclasses.dataclass
class Datagram:
    source: str
    destination: str
    ports: tuple  # source, destination
    payload: bytes


def read(data):
    """-> (link type, list of Packet)"""
    if len(data) < 24:
        raise Malformed("no file header")
    magic, major, minor, zone, accuracy, snap, link = struct.unpack_from("<IHHiIII", data)
    if (magic, major, minor, zone, accuracy) != (NANOSECOND_MAGIC, 2, 4, 0, 0):
        raise Malformed(f"file header {data[:24].hex()}")
    packets = []
    at = 24
    while at < len(data):
        if len(data) - at < 16:
            raise Malformed(f"half a record at {at}")
        seconds, rest, captured, original = struct.unpack_from("<IIII", data, at)
        if rest >= SECOND or captured != original or captured > snap:
            raise Malformed(f"record at {at}: {data[at : at + 16].hex()}")
        if captured > len(data) - at - 16:
            raise Malformed(f"record of {captured} bytes at {at}")
        packets.append(Packet(seconds * SECOND + rest, bytes(data[at + 16 : at + 16 + captured])))
        at += 16 + captured
    return link, packets


def _words(data):
    return sum(struct.unpack(f">{len(data) // 2}H", data))


def datagram(data):
    """The UDP datagram in an IPv4 packet (RFC 791, RFC 768); its checksums have to be right."""
    if data[0] != 0x45 or data[9] != 17 or struct.unpack_from(">H", data, 2)[0] != len(data):
        raise Malformed(f"IPv4 header {data[:20].hex()}")
    total = _words(data[:20])
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    if total != 0xFFFF:
        raise Malformed("IPv4 checksum")
    source, destination, length, checksum = struct.unpack_from(">HHHH", data, 20)
    if length != len(data) - 20 or checksum != 0:
        raise Malformed(f"UDP header {data[20:28].hex()}")
    addresses = [".".join(str(byte) for byte in data[at : at + 4]) for at in (12, 16)]
    return Datagram(*addresses, (source, destination), data[28:])
