"""Reads what the tests need of a program for Linux (ELF, 64 bits, little-endian)."""

import pathlib
import struct
import zlib

SHARED_OBJECT = 3  # what may be loaded anywhere, programs too
_LOAD, _DYNAMIC, _STACK, _READ_ONLY_AFTER_RELOCATION = 1, 2, 0x6474E551, 0x6474E552
EXECUTABLE, WRITABLE = 1, 2
_FLAGS, _FLAGS_1, _BIND_NOW_TAG = 30, 0x6FFFFFFB, 24
_BIND_NOW, _NOW, _PIE = 0x8, 0x1, 0x08000000
_DYNAMIC_SYMBOLS = 11  # a section
_COMPRESSED = 0x800  # a flag of sections


class Image:
    def __init__(self, path):
        self._data = pathlib.Path(path).read_bytes()
        if self._data[:6] != b"\x7fELF\x02\x01":
            raise ValueError("no ELF of 64 bits, little-endian")
        self.type = struct.unpack_from("<H", self._data, 16)[0]
        segments, sections = struct.unpack_from("<QQ", self._data, 32)
        segment_size, segment_count, section_size, section_count = struct.unpack_from(
            "<HHHH", self._data, 54
        )
        # Type, flags, place in the file, address, physical address, size in the file and in memory.
        self._segments = [
            struct.unpack_from("<IIQQQQQ", self._data, segments + segment_size * i)
            for i in range(segment_count)
        ]
        # Name, type, flags, address, place in the file, size, linked section.
        self._sections = [
            struct.unpack_from("<IIQQQQI", self._data, sections + section_size * i)
            for i in range(section_count)
        ]
        self._dynamic = {}
        for kind, _, place, _, _, size, _ in self._segments:
            if kind == _DYNAMIC:
                self._dynamic = dict(struct.iter_unpack("<QQ", self._data[place : place + size]))

    def _flags_of(self, wanted):
        return [flags for kind, flags, *_ in self._segments if kind == wanted]

    @property
    def load_flags(self):
        """What may be done with each piece of the program in memory."""
        return self._flags_of(_LOAD)

    @property
    def stack_flags(self):
        return self._flags_of(_STACK)

    @property
    def is_position_independent_program(self):
        return self.type == SHARED_OBJECT and bool(self._dynamic.get(_FLAGS_1, 0) & _PIE)

    @property
    def has_tables_made_read_only(self):
        return bool(self._flags_of(_READ_ONLY_AFTER_RELOCATION))

    @property
    def binds_at_start(self):
        return bool(
            _BIND_NOW_TAG in self._dynamic
            or self._dynamic.get(_FLAGS, 0) & _BIND_NOW
            or self._dynamic.get(_FLAGS_1, 0) & _NOW
        )

    @property
    def dynamic_symbols(self):
        """The names that the program takes from libraries, or gives to them."""
        names = set()
        for _, kind, _, _, place, size, linked in self._sections:
            if kind != _DYNAMIC_SYMBOLS:
                continue
            strings = self._sections[linked][4]
            for i in range(0, size, 24):
                start = strings + struct.unpack_from("<I", self._data, place + i)[0]
                names.add(self._data[start : self._data.index(b"\0", start)].decode("ascii"))
        return names

    def holds(self, text):
        """Whether the bytes of the text are anywhere in the file, or in debug information packed in it."""
        wanted = text.encode("utf-8")
        return wanted in self._data or any(wanted in data for data in self._unpacked())

    def _unpacked(self):
        for _, _, flags, _, place, size, _ in self._sections:
            if flags & _COMPRESSED:
                # Behind the kind of compression, the size and the alignment of what was compressed.
                yield zlib.decompress(self._data[place + 24 : place + size])
