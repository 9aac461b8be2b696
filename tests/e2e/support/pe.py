"""Reads what the tests need of a Windows image (PE32+)."""

import pathlib
import struct

DYNAMIC_BASE = 0x0040
HIGH_ENTROPY_VA = 0x0020
NX_COMPAT = 0x0100

MACHINE_X64 = 0x8664
IMAGE_IS_DLL = 0x2000
RELOCATIONS_STRIPPED = 0x0001

SECTION_EXECUTABLE = 0x20000000
SECTION_WRITABLE = 0x80000000

# Kinds of base relocations: none, which fills up a block, and an address of 64 bits.
RELOCATION_NONE, RELOCATION_ADDRESS_64 = 0, 10

_EXPORTS, _IMPORTS, _RESOURCES, _RELOCATIONS = 0, 1, 2, 5
_RESOURCE_VERSION = 16
_IMPORT_BY_NUMBER = 1 << 63


class Image:
    def __init__(self, path):
        self._data = pathlib.Path(path).read_bytes()
        if self._data[:2] != b"MZ":
            raise ValueError("no MZ header")
        pe = self._u32(0x3C)
        if self._data[pe : pe + 4] != b"PE\0\0":
            raise ValueError("no PE header")
        self.machine, sections, self.timestamp = struct.unpack_from("<HHI", self._data, pe + 4)
        optional_size, self.characteristics = struct.unpack_from("<HH", self._data, pe + 20)
        optional = pe + 24
        if self._u16(optional) != 0x20B:
            raise ValueError("not PE32+")
        self.dll_characteristics = self._u16(optional + 70)
        count = self._u32(optional + 108)
        self._directories = [
            struct.unpack_from("<II", self._data, optional + 112 + 8 * i) for i in range(count)
        ]
        table = optional + optional_size
        self._sections = [
            struct.unpack_from("<IIII", self._data, table + 40 * i + 8) for i in range(sections)
        ]
        # (place in the table, characteristics); names of more than 8 characters stand elsewhere.
        self.section_characteristics = [
            (i, self._u32(table + 40 * i + 36)) for i in range(sections)
        ]

    def _u16(self, offset):
        return struct.unpack_from("<H", self._data, offset)[0]

    def _u32(self, offset):
        return struct.unpack_from("<I", self._data, offset)[0]

    def _u64(self, offset):
        return struct.unpack_from("<Q", self._data, offset)[0]

    def _offset(self, address):
        """Where in the file the relative virtual `address` lies."""
        for virtual_size, virtual_address, raw_size, raw_offset in self._sections:
            if virtual_address <= address < virtual_address + max(virtual_size, raw_size):
                return address - virtual_address + raw_offset
        raise ValueError(f"address {address:#x} is in no section")

    def _string(self, address):
        start = self._offset(address)
        return self._data[start : self._data.index(b"\0", start)].decode("ascii")

    @property
    def exports(self):
        """The exported names, and how many functions are exported altogether."""
        address, size = self._directories[_EXPORTS]
        if size == 0:
            return [], 0
        table = self._offset(address)
        functions, names = struct.unpack_from("<II", self._data, table + 20)
        name_table = self._offset(self._u32(table + 32))
        return [self._string(self._u32(name_table + 4 * i)) for i in range(names)], functions

    @property
    def library_name(self):
        """The name that the export table gives the image."""
        return self._string(self._u32(self._offset(self._directories[_EXPORTS][0]) + 12))

    def _import_entries(self):
        """(lower-case name, offset of the table of its functions) of each imported library"""
        entry = self._offset(self._directories[_IMPORTS][0])
        while self._u32(entry + 12) != 0:
            name = self._string(self._u32(entry + 12)).lower()
            yield name, self._offset(self._u32(entry))
            entry += 20

    @property
    def imported_libraries(self):
        return [name for name, _ in self._import_entries()]

    def imported_functions(self, library):
        """The functions imported from `library`, all of them by name."""
        names = []
        for name, table in self._import_entries():
            while name == library and self._u64(table) != 0:
                if self._u64(table) & _IMPORT_BY_NUMBER:
                    raise ValueError(f"{library} is imported from by number")
                # Behind a 16-bit hint.
                names.append(self._string(self._u64(table) + 2))
                table += 8
        return names

    @property
    def export_timestamp(self):
        return self._u32(self._offset(self._directories[_EXPORTS][0]) + 4)

    @property
    def has_relocations(self):
        return self._directories[_RELOCATIONS][1] > 0

    @property
    def relocations(self):
        """(kind, relative virtual address) of each place that holds an address of the image."""
        address, size = self._directories[_RELOCATIONS]
        block, end = self._offset(address), self._offset(address) + size
        found = []
        while block < end:
            page, block_size = struct.unpack_from("<II", self._data, block)
            if block_size < 8 or block + block_size > end:
                raise ValueError("a block of relocations goes beyond their table")
            for (entry,) in struct.iter_unpack("<H", self._data[block + 8 : block + block_size]):
                found.append((entry >> 12, page + (entry & 0xFFF)))
            block += block_size
        return found

    def holds(self, text):
        """Whether the bytes of the text are anywhere in the file."""
        return text.encode("utf-8") in self._data or text.encode("utf-16-le") in self._data

    def _resource_entries(self, root, offset):
        """identifier -> offset of the entry's data or sub-directory, within the resource section"""
        named, numbered = struct.unpack_from("<HH", self._data, root + offset + 12)
        entries = {}
        for i in range(named + numbered):
            name, target = struct.unpack_from("<II", self._data, root + offset + 16 + 8 * i)
            entries[name] = target & 0x7FFFFFFF
        return entries

    @property
    def version_resource(self):
        """The bytes of the VS_VERSIONINFO resource."""
        root = self._offset(self._directories[_RESOURCES][0])
        by_name = self._resource_entries(root, self._resource_entries(root, 0)[_RESOURCE_VERSION])
        by_language = self._resource_entries(root, next(iter(by_name.values())))
        address, size = struct.unpack_from(
            "<II", self._data, root + next(iter(by_language.values()))
        )
        start = self._offset(address)
        return self._data[start : start + size]

    @property
    def version(self):
        """(file version, product version), four numbers each."""
        resource = self.version_resource
        fixed = resource.index(struct.pack("<I", 0xFEEF04BD))
        numbers = struct.unpack_from("<IIII", resource, fixed + 8)

        def four(high, low):
            return (high >> 16, high & 0xFFFF, low >> 16, low & 0xFFFF)

        return four(*numbers[:2]), four(*numbers[2:])

    def version_string(self, name):
        """The text of one string of the version resource."""
        resource = self.version_resource
        key = name.encode("utf-16-le") + b"\0\0"
        start = resource.index(key) + len(key)
        start += -start % 4
        end = start
        while resource[end : end + 2] != b"\0\0":
            end += 2
        return resource[start:end].decode("utf-16-le")
