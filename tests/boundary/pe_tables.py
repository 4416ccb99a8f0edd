"""The export and import tables of a Windows library, read from the built file itself.

    PeFile(path).exports()      [Export]: ordinal, name (None for one without), whether it is code of this library
    PeFile(path).libraries()    names of the libraries that it needs
"""
import struct
from typing import NamedTuple

EXPORT_ROW, IMPORT_ROW = 0, 8  # in the table of data directories
IMPORT_ROW_BYTES = 20
SECTION_ROW_BYTES = 40
SECTION_HOLDS_CODE = 0x20
MACHINES = {0x14C: "i686", 0x8664: "x86_64"}


class Export(NamedTuple):
    ordinal: int
    name: str | None
    is_code: bool


class PeFile:
    def __init__(self, path):
        self.data = path.read_bytes()
        header = self.u32(0x3C)
        if self.data[:2] != b"MZ" or self.data[header : header + 4] != b"PE\0\0":
            raise ValueError(f"{path}: no Windows library")
        self.machine = MACHINES[self.u16(header + 4)]
        optional = header + 24
        self.directories = optional + {0x10B: 96, 0x20B: 112}[self.u16(optional)]
        first = optional + self.u16(header + 20)
        count = self.u16(header + 6)
        self.sections = [first + i * SECTION_ROW_BYTES for i in range(count)]

    def u16(self, at):
        return struct.unpack_from("<H", self.data, at)[0]

    def u32(self, at):
        return struct.unpack_from("<I", self.data, at)[0]

    def section_of(self, address):
        for row in self.sections:
            size, start = self.u32(row + 8), self.u32(row + 12)
            if start <= address < start + size:
                return row
        raise ValueError(f"address {address:#x} lies in no section")

    def place(self, address):
        """Where the bytes of a loaded address stand in the file."""
        row = self.section_of(address)
        return address - self.u32(row + 12) + self.u32(row + 20)

    def text(self, address):
        start = self.place(address)
        return self.data[start : self.data.index(0, start)].decode("ascii")

    def exports(self):
        address, size = (self.u32(self.directories + EXPORT_ROW + i) for i in (0, 4))
        if not address:
            return []
        table = self.place(address)
        base, functions, names = self.u32(table + 16), self.u32(table + 20), self.u32(table + 24)
        function_at, name_at, index_at = (self.place(self.u32(table + offset)) for offset in (28, 32, 36))
        named = {self.u16(index_at + 2 * i): self.text(self.u32(name_at + 4 * i)) for i in range(names)}
        found = []
        for i in range(functions):
            target = self.u32(function_at + 4 * i)
            if target:  # an ordinal that stays empty has none
                forwarded = address <= target < address + size
                is_code = not forwarded and bool(self.u32(self.section_of(target) + 36) & SECTION_HOLDS_CODE)
                found.append(Export(base + i, named.get(i), is_code))
        return found

    def libraries(self):
        address = self.u32(self.directories + IMPORT_ROW)
        if not address:
            return []
        row = self.place(address)
        found = []
        while self.u32(row + 12):
            found.append(self.text(self.u32(row + 12)))
            row += IMPORT_ROW_BYTES
        return found
