"""pcapng files: a strict reader, and a writer. Little-endian only, as the files of this project are.

The reader takes what the format allows and nothing else: a wrong length, padding that is not zero or
an option list without its end raises Malformed.
"""

import dataclasses
import struct

SECTION = 0x0A0D0D0A
INTERFACE = 1
PACKET = 6

BYTE_ORDER = 0x1A2B3C4D

END_OF_OPTIONS = 0
COMMENT = 1

# Options of a section, an interface and a packet.
SECTION_HARDWARE, SECTION_SYSTEM, SECTION_APPLICATION = 2, 3, 4
INTERFACE_NAME, INTERFACE_DESCRIPTION, INTERFACE_TIME_RESOLUTION = 2, 3, 9
PACKET_FLAGS = 2

INBOUND, OUTBOUND = 1, 2


class Malformed(Exception):
    """What is wrong with the file, and where."""


@dataclasses.dataclass
class Block:
    """One block as it stands in the file. `offset` is its place there, `body` is without lengths."""

    type: int
    offset: int
    body: bytes


class Options(list):
    """(code, value) in the file's order, without the end mark."""

    def all(self, code):
        return [value for found, value in self if found == code]

    def one(self, code, default=None):
        """The value of an option that comes at most once."""
        values = self.all(code)
        if len(values) > 1:
            raise Malformed(f"option {code} comes {len(values)} times")
        return values[0] if values else default

    def texts(self, code):
        return [value.decode("utf-8") for value in self.all(code)]

    def text(self, code):
        value = self.one(code)
        return None if value is None else value.decode("utf-8")


@dataclasses.dataclass
class Section:
    options: Options


@dataclasses.dataclass
class Interface:
    link_type: int
    snap_length: int
    options: Options

    @property
    def name(self):
        return self.options.text(INTERFACE_NAME)

    @property
    def units_per_second(self):
        resolution = self.options.one(INTERFACE_TIME_RESOLUTION, b"\x06")
        base = 2 if resolution[0] & 0x80 else 10
        return base ** (resolution[0] & 0x7F)


@dataclasses.dataclass
class Packet:
    interface: int  # the index of its interface
    time: int  # in the interface's units since 1970
    data: bytes
    original_length: int
    options: Options
    offset: int  # of its block in the file

    @property
    def comments(self):
        return self.options.texts(COMMENT)

    @property
    def direction(self):
        """INBOUND, OUTBOUND, or None where nothing is said."""
        flags = self.options.one(PACKET_FLAGS)
        return (struct.unpack("<I", flags)[0] & 3 or None) if flags is not None else None


@dataclasses.dataclass
class File:
    section: Section
    interfaces: list
    packets: list

    def nanoseconds(self, packet):
        units = self.interfaces[packet.interface].units_per_second
        return packet.time * 1_000_000_000 // units


def blocks(data):
    """The blocks of `data`, each checked for its own frame."""
    offset = 0
    while offset < len(data):
        if len(data) - offset < 12:
            raise Malformed(f"{len(data) - offset} bytes left at {offset}")
        kind, length = struct.unpack_from("<II", data, offset)
        if length < 12 or length % 4 or length > len(data) - offset:
            raise Malformed(f"block of length {length} at {offset}")
        again = struct.unpack_from("<I", data, offset + length - 4)[0]
        if again != length:
            raise Malformed(f"block at {offset}: length {length} in front, {again} behind")
        yield Block(kind, offset, bytes(data[offset + 8 : offset + length - 4]))
        offset += length


def whole_blocks(data):
    """How many bytes at the front of a growing file are whole blocks."""
    end = 0
    while len(data) - end >= 12:
        length = struct.unpack_from("<I", data, end + 4)[0]
        if length < 12 or length > len(data) - end:
            break
        end += length
    return end


def _padding(data, start, length, where):
    end = start + length
    padded = (end + 3) & ~3
    if padded > len(data):
        raise Malformed(f"{where}: {length} bytes at {start} of {len(data)}")
    if any(data[end:padded]):
        raise Malformed(f"{where}: padding that is not zero")
    return padded


def _options(data, where):
    options = Options()
    at = 0
    while at < len(data):
        if len(data) - at < 4:
            raise Malformed(f"{where}: half an option")
        code, length = struct.unpack_from("<HH", data, at)
        if code == END_OF_OPTIONS:
            if length or at + 4 != len(data):
                raise Malformed(f"{where}: bytes behind the end of options")
            return options
        end = _padding(data, at + 4, length, where)
        options.append((code, bytes(data[at + 4 : at + 4 + length])))
        at = end
    if options:
        raise Malformed(f"{where}: options without an end")
    return options


def _section(block):
    order, major, minor, length = struct.unpack_from("<IHHq", block.body)
    if (order, major, minor) != (BYTE_ORDER, 1, 0) or length != -1:
        raise Malformed(f"section header {order:#x} {major}.{minor}, length {length}")
    return Section(_options(block.body[16:], "section"))


def _interface(block):
    link_type, reserved, snap_length = struct.unpack_from("<HHI", block.body)
    if reserved:
        raise Malformed("an interface's reserved field")
    return Interface(link_type, snap_length, _options(block.body[8:], "interface"))


def _packet(block, interfaces):
    where = f"packet at {block.offset}"
    interface, high, low, captured, original = struct.unpack_from("<IIIII", block.body)
    if interface >= len(interfaces):
        raise Malformed(f"{where}: no interface {interface}")
    snap_length = interfaces[interface].snap_length
    if captured > original or (snap_length and captured > snap_length):
        raise Malformed(f"{where}: {captured} of {original} bytes, at most {snap_length}")
    end = _padding(block.body, 20, captured, where)
    return Packet(
        interface,
        high << 32 | low,
        block.body[20 : 20 + captured],
        original,
        _options(block.body[end:], where),
        block.offset,
    )


def read(data):
    """A file of one section that has section, interface and packet blocks only. -> File"""
    file = None
    for block in blocks(data):
        try:
            if (block.type == SECTION) != (file is None):
                raise Malformed(f"block {block.type:#x} at {block.offset}")
            if block.type == SECTION:
                file = File(_section(block), [], [])
            elif block.type == INTERFACE:
                file.interfaces.append(_interface(block))
            elif block.type == PACKET:
                file.packets.append(_packet(block, file.interfaces))
            else:
                raise Malformed(f"block {block.type:#x} at {block.offset}")
        except struct.error as error:
            raise Malformed(f"block {block.type:#x} at {block.offset}: {error}") from error
    if file is None:
        raise Malformed("no section")
    return file


def _padded(data):
    return data + bytes(-len(data) % 4)


def _encoded(options):
    if not options:
        return b""
    parts = [struct.pack("<HH", code, len(value)) + _padded(value) for code, value in options]
    return b"".join(parts) + struct.pack("<HH", END_OF_OPTIONS, 0)


class Writer:
    """Writes one section into a binary stream, which stays the caller's."""

    def __init__(self, stream):
        self._stream = stream
        self._interfaces = 0
        self._block(SECTION, struct.pack("<IHHq", BYTE_ORDER, 1, 0, -1))

    def add_interface(self, link_type, name):
        """-> its index. Times are in nanoseconds."""
        options = [(INTERFACE_NAME, name.encode()), (INTERFACE_TIME_RESOLUTION, b"\x09")]
        self._block(INTERFACE, struct.pack("<HHI", link_type, 0, 0) + _encoded(options))
        self._interfaces += 1
        return self._interfaces - 1

    def packet(self, interface, nanoseconds, data, direction=None, comment=None):
        options = []
        if comment is not None:
            options.append((COMMENT, comment.encode()))
        if direction is not None:
            options.append((PACKET_FLAGS, struct.pack("<I", direction)))
        head = struct.pack(
            "<IIIII", interface, nanoseconds >> 32, nanoseconds & 0xFFFFFFFF, len(data), len(data)
        )
        self._block(PACKET, head + _padded(data) + _encoded(options))

    def _block(self, kind, body):
        length = struct.pack("<I", 12 + len(body))
        self._stream.write(struct.pack("<I", kind) + length + body + length)
