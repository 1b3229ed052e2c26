"""Checks the built library's file.

check_binary.py CHECK DLL VERSION FOLDER...

CHECK is one of the functions of CHECKS below. VERSION is what the version resource must say.
FOLDERs are those of the build, whose names must not be found in the file.
"""

import dataclasses
import pathlib
import re
import struct
import sys

from pe_file import PeFile

EXPORTS = [
    "ZorIntfConfig",
    "ZorIntfCreate",
    "ZorIntfDestroy",
    "ZorIntfEnum",
    "ZorIntfFreeSerialized",
    "ZorIntfGet",
    "ZorIntfGetInfo",
    "ZorIntfGetSerialized",
    "ZorIntfGetStatus",
    "ZorIntfRegEventCallback",
    "ZorIntfSet",
    "ZorIntfSetSerialized",
    "ZorIntfStart",
    "ZorIntfStop",
]

# The system's own libraries; the C++ runtime is inside. Not COM's: with them a load takes ten times
# as long where nothing else has loaded them.
SYSTEM_LIBRARIES = re.compile(r"(kernel32|api-ms-win-crt-[a-z]+-l1-1-0)\.dll")
HEAP_LIBRARY = "api-ms-win-crt-heap-l1-1-0.dll"
HEAP_FUNCTIONS = {"malloc", "free", "calloc", "realloc"}

AMD64 = 0x8664
EXECUTABLE_DLL = 0x2002
DLL_CHARACTERISTICS = {
    0x0020: "high-entropy addresses",
    0x0040: "dynamic base",
    0x0100: "no execution of data",
}
EXECUTABLE, WRITABLE = 0x20000000, 0x80000000

RT_VERSION = 16
FIXED_FILE_INFO = struct.pack("<I", 0xFEEF04BD)

ABSOLUTE_PATH = re.compile(rb"(?<![\w./:])/(?:home|root|tmp|var|usr|opt|mnt|build|builds)/[\w.-]+")


@dataclasses.dataclass
class Subject:
    """The file, and what is asked of it."""

    pe: PeFile
    version: str
    folders: list


def exports(subject):
    """The fourteen functions by their plain names, ordinals 1 to 14 in this order, and no more."""
    _, base, addresses, named = subject.pe.exports()
    if [name for name, _ in named] != EXPORTS:
        yield f"the names are {[name for name, _ in named]}"
    if [index + base for _, index in named] != list(range(1, len(EXPORTS) + 1)):
        yield f"the ordinals are {[index + base for _, index in named]}"
    if len(addresses) != len(EXPORTS):
        yield f"there are {len(addresses)} exported addresses"
    start, size = subject.pe.directories[0]
    if any(start <= address < start + size for address in addresses):
        yield "an export is forwarded to another library"


def imports(subject):
    """Nothing is needed beyond the system."""
    for library in subject.pe.imports():
        if not SYSTEM_LIBRARIES.fullmatch(library):
            yield f"{library} is needed"
    if subject.pe.directories[13] != (0, 0):
        yield "there are delayed imports"


def heap(subject):
    """Memory is the Universal C Runtime's, which applications share."""
    for library, names in subject.pe.imports().items():
        taken = HEAP_FUNCTIONS.intersection(names)
        if library == HEAP_LIBRARY:
            for name in {"malloc", "free"} - taken:
                yield f"{name} is not the common heap's"
        elif taken:
            yield f"{sorted(taken)} of {library}"
    if HEAP_LIBRARY not in subject.pe.imports():
        yield "the common heap is not used"


def hardening(subject):
    """A 64-bit library that may lie anywhere and executes no data."""
    if subject.pe.machine != AMD64 or subject.pe.characteristics & EXECUTABLE_DLL != EXECUTABLE_DLL:
        yield "not a 64-bit library"
    for bit, name in DLL_CHARACTERISTICS.items():
        if not subject.pe.dll_characteristics & bit:
            yield f"without {name}"
    for section in subject.pe.sections:
        if section["flags"] & EXECUTABLE and section["flags"] & WRITABLE:
            yield f"{section['name']} is writable and executable"


def version(subject):
    """The version resource says the project's version."""
    resource = subject.pe.resource(RT_VERSION)
    if resource is None or FIXED_FILE_INFO not in resource:
        yield "there is no version resource"
        return
    expected = tuple(int(part) for part in subject.version.split(".")) + (0,)
    numbers = struct.unpack_from("<4I", resource, resource.index(FIXED_FILE_INFO) + 8)
    for what, high, low in (("file", *numbers[:2]), ("product", *numbers[2:])):
        found = (high >> 16, high & 0xFFFF, low >> 16, low & 0xFFFF)
        if found != expected:
            yield f"the {what} version is {found}"
    for key in ("FileVersion", "ProductVersion"):
        # The key, its end, and one more zero up to the next multiple of four.
        text = resource.partition((key + "\0").encode("utf-16-le"))[2].lstrip(b"\0")
        if not text.startswith((subject.version + "\0").encode("utf-16-le")):
            yield f"{key} is not {subject.version}"


def paths(subject):
    """Nothing tells where the library was built."""
    for folder in subject.folders:
        for encoding in ("utf-8", "utf-16-le"):
            if folder.encode(encoding) in subject.pe.data:
                yield f"{folder} is in the file"
    for path in ABSOLUTE_PATH.findall(subject.pe.data):
        yield f"{path.decode()} is in the file"


def time_stamps(subject):
    """Nothing tells when the library was built."""
    if subject.pe.time_stamp != 0:
        yield "the header has a time stamp"
    if subject.pe.exports()[0] != 0:
        yield "the export table has a time stamp"
    if subject.pe.directories[6] != (0, 0):
        yield "there is debug information"


CHECKS = {
    check.__name__: check
    for check in (exports, imports, heap, hardening, version, paths, time_stamps)
}


def main():
    check, dll, project_version, *folders = sys.argv[1:]
    subject = Subject(PeFile(pathlib.Path(dll).read_bytes()), project_version, folders)
    complaints = list(CHECKS[check](subject))
    for complaint in complaints:
        print(f"{check}: {complaint}")
    sys.exit(1 if complaints else 0)


if __name__ == "__main__":
    main()
