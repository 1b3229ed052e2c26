"""Shows that the compile-time checks can fail: compiles them against doctored headers.

layout_can_fail.py HEADER SOURCE COMPILER [FLAG...]
"""

import pathlib
import re
import subprocess
import sys
import tempfile

# What is changed in the header, each by itself, and must not compile: a pattern, looked for in the
# record of that name or, without one, in the whole header, and what is put there instead.
DOCTORED = [
    ("ZorServerInfo", r"uint32_t info3;", ""),
    ("ZorFloatParam", r"float value;", "double value;"),
    ("ZorBlob", r"char\* name;", "char name[8];"),
    ("ZorBlob", r"uint32_t size;", "uint64_t size;"),
    ("ZorNameList", r"uint32_t count;", "uint16_t count;"),
    ("ZorNameList", r"char\*\* items;", "const char** items;"),
    ("ZorFlagPayload", r"bool flag;", "int flag;"),
    ("ZorFlagTextPayload", r"bool flag;(.*)const char\* text;", r"const char* text;\1bool flag;"),
    ("ZorEvent", r"ZorValueTextPayload event5;", "ZorValuePayload event5;"),
    ("ZorEvent", r"uint32_t type;", "uint64_t type;"),
    (None, r"typedef uint32_t ZorResult;", "typedef int32_t ZorResult;"),
    (None, r"ZOR_NOT_CONNECTED = 2", "ZOR_NOT_CONNECTED = 4"),
    (None, r"ZorIntfStop\(uint32_t handle\)", "ZorIntfStop(uint64_t handle)"),
    (None, r"ZorIntfSetSerialized\(uint32_t handle, const", "ZorIntfSetSerialized(uint32_t handle,"),
    (None, r"typedef void \(\*ZorEventCallback\)", "typedef int (*ZorEventCallback)"),
]


def doctored(header, record, old, new):
    start, end = 0, len(header)
    if record is not None:
        start, end = header.index(f"typedef struct {record} {{"), header.index(f"}} {record};")
    changed, count = re.subn(old, new, header[start:end], count=1, flags=re.S)
    if count == 0:
        sys.exit(f"not in the header any more: {old!r}")
    return header[:start] + changed + header[end:]


def compiles(header, source, command):
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, "zor_interface.h").write_text(header)
        result = subprocess.run(
            [*command, f"-I{folder}", f"-I{source.parent}", str(source)],
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
    for record, old, new in DOCTORED:
        if compiles(doctored(header, record, old, new), source, command):
            sys.exit(f"nothing objects to {new!r} in {record or 'the header'}")
    print(f"{len(DOCTORED)} doctored headers, none compiles")


main()
