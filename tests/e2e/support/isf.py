"""Reads a capture file and checks all of it on the way."""

import dataclasses
import pathlib
import struct

HEADER = 0xAB603108
TRAILER = 0xAB603107
ITEMS_PER_BLOCK = 8192
ENTRY_SIZE = 7
DIRECTORY_SIZE = ITEMS_PER_BLOCK * ENTRY_SIZE
BLOCK_SIZE = DIRECTORY_SIZE + 16
TRAILER_SIZE = 16
INDEX_ENTRY_SIZE = 16

# Item types.
SHORT_LOG = 0
PACKET = 1
REQUEST = 2
EVENT = 4
LOG = 5
MESSAGE = 6
INFORMATION = 7
SIGNALLING_LOG = 8
SUBSYSTEM = 9
SUBSYSTEM_REQUEST = 10

_TEXT_HEADER = b"\xc0\xff\xff\xff"


class DamagedFile(Exception):
    """The file is not a complete capture file."""


@dataclasses.dataclass(frozen=True)
class Item:
    number: int  # from 0, over the whole file
    type: int
    time: int  # milliseconds since 1601-01-01 UTC
    extra: int | None
    packet: bytes
    position: int  # of its record in the file

    @property
    def text(self):
        """The text of an information item."""
        if self.packet[:4] != _TEXT_HEADER or self.packet[-2:] != b"\0\0":
            raise DamagedFile(f"item {self.number} is no text item")
        return self.packet[4:-2].decode("utf-16-le")


@dataclasses.dataclass(frozen=True)
class Block:
    position: int
    base_time: int
    items: list


@dataclasses.dataclass(frozen=True)
class CaptureFile:
    size: int
    blocks: list

    @property
    def items(self):
        return [item for block in self.blocks for item in block.items]

    @property
    def texts(self):
        """What the library has written about itself and the port."""
        return [item.text for item in self.items if item.type == INFORMATION]

    def packets(self, *types):
        """The packets of the items of these types, in order."""
        return [item.packet for item in self.items if item.type in types]


def _check(condition, text):
    if not condition:
        raise DamagedFile(text)


def _read_item(data, number, entry, block_end, base_time):
    flags, offset, length = struct.unpack("<BIH", entry)
    position = block_end + offset
    width = (flags >> 5) & 3
    size = 1 << width
    field = data[position : position + size]
    _check(len(field) == size, f"item {number}: record at {position} ends outside the file")
    time = int.from_bytes(field, "little")
    if width != 3:
        time += base_time
    position_of_packet = position + size
    extra = None
    if flags & 0x80:
        extra = int.from_bytes(data[position_of_packet : position_of_packet + 4], "little")
        position_of_packet += 4
    packet = data[position_of_packet : position_of_packet + length]
    _check(len(packet) == length, f"item {number}: packet ends outside the file")
    _check(length > 0, f"item {number} is empty")
    item = Item(number, flags & 0x1F, time, extra, packet, position)
    return item, position_of_packet + length


def _read_block(data, position, first_number, count, is_last):
    """-> (block, position behind its last record, position of the next block)"""
    end = position + BLOCK_SIZE
    _check(end <= len(data), f"block at {position} ends outside the file")
    next_block, base_time = struct.unpack_from("<QQ", data, position + DIRECTORY_SIZE)
    items = []
    expected = end
    for i in range(ITEMS_PER_BLOCK):
        start = position + i * ENTRY_SIZE
        entry = data[start : start + ENTRY_SIZE]
        if i >= count:
            _check(entry == bytes(ENTRY_SIZE), f"block at {position}: entry {i} is in use")
            continue
        item, behind = _read_item(data, first_number + i, entry, end, base_time)
        _check(
            item.position == expected,
            f"item {item.number}: record at {item.position}, not at {expected}",
        )
        expected = behind
        items.append(item)
    _check(not items or items[0].time == base_time, f"block at {position}: wrong base time")
    _check(is_last == (next_block == 0), f"block at {position}: next block is {next_block}")
    return Block(position, base_time, items), expected, next_block


def blocks(data):
    """The blocks of the complete capture file in `data`, which can be a memory map, one by one.

    Every byte of it has to be accounted for.
    """
    _check(len(data) >= 4 + TRAILER_SIZE, f"only {len(data)} bytes")
    _check(struct.unpack_from("<I", data)[0] == HEADER, "wrong header")
    zero, item_count, magic = struct.unpack_from("<QII", data, len(data) - TRAILER_SIZE)
    _check(zero == 0 and magic == TRAILER, "wrong trailer")

    block_count = -(-item_count // ITEMS_PER_BLOCK)
    index_position = len(data) - TRAILER_SIZE - block_count * INDEX_ENTRY_SIZE
    _check(index_position >= 4, "no room for the block index")
    index = [
        struct.unpack_from("<QQ", data, index_position + i * INDEX_ENTRY_SIZE)
        for i in range(block_count)
    ]

    position = 4
    for number, (block_position, base_time) in enumerate(index):
        _check(block_position == position, f"index entry {number}: block at {block_position}")
        is_last = number == block_count - 1
        first = number * ITEMS_PER_BLOCK
        count = item_count - first if is_last else ITEMS_PER_BLOCK
        block, behind, next_block = _read_block(data, position, first, count, is_last)
        _check(block.base_time == base_time, f"index entry {number}: wrong base time")
        position = behind
        _check(is_last or next_block == behind, f"block at {block_position}: wrong next block")
        yield block
    _check(position == index_position, f"bytes {position} to {index_position} belong to nothing")


def parse(data):
    """The complete capture file in `data`: every byte of it has to be accounted for."""
    return CaptureFile(len(data), list(blocks(data)))


def parse_unclosed(data):
    """The capture file in `data`, whose writer died: no index, no trailer, blocks linked in order.

    Only the last record may be incomplete, as long as no directory entry names it.
    """
    _check(len(data) >= 4 and struct.unpack_from("<I", data)[0] == HEADER, "wrong header")
    blocks, position = [], 4
    while position:
        _check(position + BLOCK_SIZE <= len(data), f"block at {position} ends outside the file")
        entries = data[position : position + DIRECTORY_SIZE]
        used = [any(entries[i : i + ENTRY_SIZE]) for i in range(0, DIRECTORY_SIZE, ENTRY_SIZE)]
        (next_block,) = struct.unpack_from("<Q", data, position + DIRECTORY_SIZE)
        first = len(blocks) * ITEMS_PER_BLOCK
        block, behind, _ = _read_block(data, position, first, sum(used), next_block == 0)
        _check(next_block in (0, behind), f"block at {position}: wrong next block")
        blocks.append(block)
        position = next_block
    return CaptureFile(len(data), blocks)


def read(path):
    """Parses the complete capture file at `path`."""
    return parse(pathlib.Path(path).read_bytes())
