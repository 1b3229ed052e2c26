"""Shows that the compile-time checks can fail: compiles them against doctored headers.

layout_can_fail.py HEADER SOURCE COMPILER [FLAG...]
"""

import pathlib
import subprocess
import sys
import tempfile

# What is changed in the header, each by itself, and must not compile.
DOCTORED = [
    ("uint32_t info3;", ""),
    ("  float value;", "  double value;"),
    ("char* name;\n  /** Number", "char name[8];\n  /** Number"),
    ("  char** items;", "  const char** items;"),
    ("  uint32_t size;", "  uint64_t size;"),
    ("  uint32_t count;", "  uint16_t count;"),
    ("typedef struct ZorFlagPayload {\n  bool", "typedef struct ZorFlagPayload {\n  int"),
    ("ZorFlagTextPayload {\n  bool", "ZorFlagTextPayload {\n  void* before;\n  bool"),
    ("ZorValueTextPayload event5;", "ZorValuePayload event5;"),
    ("  uint32_t type;", "  uint64_t type;"),
    ("typedef uint32_t ZorResult;", "typedef int32_t ZorResult;"),
    ("ZOR_NOT_CONNECTED = 2", "ZOR_NOT_CONNECTED = 4"),
    ("ZorIntfStop(uint32_t handle)", "ZorIntfStop(uint64_t handle)"),
    ("ZorIntfSetSerialized(uint32_t handle, const", "ZorIntfSetSerialized(uint32_t handle,"),
    ("typedef void (*ZorEventCallback)", "typedef int (*ZorEventCallback)"),
]


def compiles(header, source, command):
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, "zor_interface.h").write_text(header)
        result = subprocess.run(
            [*command, "-fsyntax-only", f"-I{folder}", f"-I{source.parent}", str(source)],
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            check=False,
        )
    return result.returncode == 0


def main():
    header = pathlib.Path(sys.argv[1]).read_text()
    source = pathlib.Path(sys.argv[2])
    command = sys.argv[3:]
    if not compiles(header, source, command):
        sys.exit("the header as it is does not compile")
    for old, new in DOCTORED:
        if header.count(old) < 1:
            sys.exit(f"not in the header any more: {old!r}")
        if compiles(header.replace(old, new, 1), source, command):
            sys.exit(f"nothing objects to {new!r} instead of {old!r}")
    print(f"{len(DOCTORED)} doctored headers, none compiles")


main()
