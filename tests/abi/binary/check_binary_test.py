"""Shows that each check of the library's file can fail, by doctoring the file.

check_binary_test.py DLL VERSION FOLDER...
"""

import pathlib
import struct
import sys
import unittest

import check_binary
from pe_file import PeFile

DLL, VERSION, *FOLDERS = sys.argv[1:]
GOOD = pathlib.Path(DLL).read_bytes()


def complaints(check, data, version=VERSION, folders=()):
    subject = check_binary.Subject(PeFile(data), version, list(folders))
    return list(check_binary.CHECKS[check](subject))


def replaced(old, new, count=1):
    assert len(old) == len(new) and old in GOOD, old
    return GOOD.replace(old, new, count)


def at(offset, new):
    return GOOD[:offset] + new + GOOD[offset + len(new) :]


HEADER = struct.unpack_from("<I", GOOD, 0x3C)[0]
OPTIONAL = HEADER + 24
PE = PeFile(GOOD)


def directory(index):
    return OPTIONAL + 112 + 8 * index


def file_offset(address):
    section = next(
        s for s in PE.sections if s["address"] <= address < s["address"] + s["size"]
    )
    return address - section["address"] + section["offset"]


EXPORT_TABLE = file_offset(PE.directories[0][0])


class Doctored(unittest.TestCase):
    def test_the_file_as_it_is_passes(self):
        for check in check_binary.CHECKS:
            self.assertEqual(complaints(check, GOOD, folders=FOLDERS), [], check)

    def test_exports(self):
        # The names also stand in the code, as what is sent: the table's own are the last.
        name = GOOD.rindex(b"ZorIntfStop\0")
        self.assertTrue(complaints("exports", at(name, b"_orIntfStop")))
        base = EXPORT_TABLE + 16
        self.assertTrue(complaints("exports", at(base, struct.pack("<I", 2))))
        count = EXPORT_TABLE + 24
        self.assertTrue(complaints("exports", at(count, struct.pack("<I", 13))))
        self.assertTrue(complaints("exports", at(count - 4, struct.pack("<I", 15))))
        indices = file_offset(struct.unpack_from("<I", GOOD, EXPORT_TABLE + 36)[0])
        self.assertTrue(complaints("exports", at(indices, struct.pack("<HH", 1, 0))))
        addresses = file_offset(struct.unpack_from("<I", GOOD, EXPORT_TABLE + 28)[0])
        inside = struct.pack("<I", PE.directories[0][0] + 40)
        self.assertTrue(complaints("exports", at(addresses, inside)))

    def test_imports(self):
        for other in (b"KERNEL33.dll", b"MSVCRT.dll\0\0"):
            self.assertTrue(complaints("imports", replaced(b"KERNEL32.dll", other)))
        self.assertTrue(complaints("imports", at(directory(13), b"\1\0\0\0\1\0\0\0")))

    def test_heap(self):
        library = b"api-ms-win-crt-heap-l1-1-0.dll"
        another = b"api-ms-win-crt-heap-l1-2-0.dll"
        self.assertTrue(complaints("heap", replaced(library, another)))
        self.assertTrue(complaints("heap", replaced(b"\0malloc\0", b"\0nalloc\0")))
        self.assertTrue(complaints("heap", replaced(b"Sleep\0", b"free\0\0")))

    def test_hardening(self):
        place = OPTIONAL + 70
        for bit in check_binary.DLL_CHARACTERISTICS:
            without = struct.pack("<H", PE.dll_characteristics & ~bit)
            self.assertTrue(complaints("hardening", at(place, without)))
        self.assertTrue(complaints("hardening", at(HEADER + 4, b"\x4c\x01")))
        first_section = OPTIONAL + struct.unpack_from("<H", GOOD, HEADER + 20)[0]
        flags = struct.pack("<I", 0xE0000020)
        self.assertTrue(complaints("hardening", at(first_section + 36, flags)))

    def test_version(self):
        self.assertTrue(complaints("version", GOOD, version="99.0.0"))
        fixed = GOOD.index(check_binary.FIXED_FILE_INFO)
        for number in range(4):
            changed = at(fixed + 8 + 4 * number, struct.pack("<I", 0x00630000))
            self.assertTrue(complaints("version", changed))
        for key in ("FileVersion", "ProductVersion"):
            text = GOOD.index((key + "\0").encode("utf-16-le")) + 2 * len(key) + 2
            text = GOOD.index(VERSION[0].encode("utf-16-le"), text)
            self.assertTrue(complaints("version", at(text, "x".encode("utf-16-le"))))
        self.assertTrue(complaints("version", at(directory(2), bytes(8))))

    def test_paths(self):
        end = len(GOOD) - 100
        folder = "/some/where"
        for encoding in ("utf-8", "utf-16-le"):
            data = at(end, folder.encode(encoding))
            self.assertTrue(complaints("paths", data, folders=[folder]))
            self.assertEqual(complaints("paths", data), [])
        self.assertTrue(complaints("paths", at(end, b"\0/home/someone/zor.cpp\0")))

    def test_time_stamps(self):
        now = b"\1\2\3\4"
        self.assertTrue(complaints("time_stamps", at(HEADER + 8, now)))
        self.assertTrue(complaints("time_stamps", at(EXPORT_TABLE + 4, now)))
        self.assertTrue(complaints("time_stamps", at(directory(6), b"\1\0\0\0\1\0\0\0")))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
