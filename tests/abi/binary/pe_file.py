"""Reading what the checks need out of a 64-bit Windows image."""

import struct


class PeFile:
    def __init__(self, data):
        self.data = data
        header = self._u32(0x3C)
        if data[:2] != b"MZ" or data[header : header + 4] != b"PE\0\0":
            raise ValueError("not an image")
        (self.machine, section_count, self.time_stamp, _, _, optional_size, self.characteristics) = (
            struct.unpack_from("<HHIIIHH", data, header + 4)
        )
        optional = header + 24
        if self._u16(optional) != 0x20B:
            raise ValueError("not a 64-bit image")
        self.dll_characteristics = self._u16(optional + 70)
        self.directories = [
            struct.unpack_from("<II", data, optional + 112 + 8 * i)
            for i in range(self._u32(optional + 108))
        ]
        self.sections = [
            self._section(optional + optional_size + 40 * i) for i in range(section_count)
        ]

    def exports(self):
        """(time stamp, ordinal base, addresses, [(name, index into the addresses)])."""
        table = self._offset(self.directories[0][0])
        time_stamp = self._u32(table + 4)
        base, address_count, name_count, addresses, names, indices = struct.unpack_from(
            "<6I", self.data, table + 16
        )
        address_list = struct.unpack_from(f"<{address_count}I", self.data, self._offset(addresses))
        name_list = struct.unpack_from(f"<{name_count}I", self.data, self._offset(names))
        index_list = struct.unpack_from(f"<{name_count}H", self.data, self._offset(indices))
        named = [(self._text(name), index) for name, index in zip(name_list, index_list)]
        return time_stamp, base, address_list, named

    def imports(self):
        """{library in lower case: [names]}; an import by ordinal is named "#1"."""
        libraries = {}
        entry = self._offset(self.directories[1][0])
        while self._u32(entry + 12) != 0:
            lookup = self._offset(self._u32(entry) or self._u32(entry + 16))
            names = libraries.setdefault(self._text(self._u32(entry + 12)).lower(), [])
            while (value := self._u64(lookup)) != 0:
                by_ordinal = value >> 63
                names.append(f"#{value & 0xFFFF}" if by_ordinal else self._text(value + 2))
                lookup += 8
            entry += 20
        return libraries

    def resource(self, kind):
        """The bytes of the first resource of a kind; None when there is none."""
        root = self.directories[2][0]
        if root == 0:
            return None
        start = self._offset(root)
        entry = self._resource_entries(start).get(kind)
        while entry is not None and entry & 0x80000000:
            entries = self._resource_entries(start + (entry & 0x7FFFFFFF))
            entry = next(iter(entries.values()), None)
        if entry is None:
            return None
        address, size = struct.unpack_from("<II", self.data, start + entry)
        offset = self._offset(address)
        return self.data[offset : offset + size]

    def _resource_entries(self, table):
        count = self._u16(table + 12) + self._u16(table + 14)
        return dict(
            struct.unpack_from("<II", self.data, table + 16 + 8 * i) for i in range(count)
        )

    def _section(self, at):
        name = self.data[at : at + 8].rstrip(b"\0").decode("ascii")
        virtual_size, address, raw_size, raw_offset = struct.unpack_from("<4I", self.data, at + 8)
        return {
            "name": name,
            "address": address,
            "size": max(virtual_size, raw_size),
            "offset": raw_offset,
            "flags": self._u32(at + 36),
        }

    def _offset(self, address):
        for section in self.sections:
            if section["address"] <= address < section["address"] + section["size"]:
                return address - section["address"] + section["offset"]
        raise ValueError(f"no section holds {address:#x}")

    def _text(self, address):
        start = self._offset(address)
        return self.data[start : self.data.index(b"\0", start)].decode("ascii")

    def _u16(self, at):
        return struct.unpack_from("<H", self.data, at)[0]

    def _u32(self, at):
        return struct.unpack_from("<I", self.data, at)[0]

    def _u64(self, at):
        return struct.unpack_from("<Q", self.data, at)[0]
