"""What a linked file is made of, by the linker's map: bytes by origin."""

import re

# The first that matches a line "section file" counts. A section's name has the symbol's in it.
ORIGINS = [
    ("regular expressions", r"regex|_Compiler|_Scanner|_NFA|_Executor|_BracketMatcher|_AnyMatcher"),
    ("FlatBuffers", r"flatbuffers|zor8messages"),
    ("the library's own code", r"\.(cpp|rc)\.(obj|o)\)?$|/ZorInterface|variant_same"),
    ("file system", r"\((fs_|cow-fs|cxx11-fs)|libstdc\+\+fs|filesystem"),
    ("locales and streams", r"\((locale|localename|ctype|codecvt|collate|messages|monetary|numeric|time_members|"
     r"c\+\+locale|basic_file|ios|istream|ostream|iostream|streambuf|fstream|sstream|globals_io|"
     r"compatibility|.*(locale|ios|istream|ostream|stream|codecvt|ctype|wlocale|misc-inst|shim_facets).*)[^)]*\.o\)"),
    ("strings, exceptions and the rest of the C++ runtime", r"libstdc\+\+\.a|libgcc|libsupc"),
    ("C runtime and system", r"\.(a|o)\b|\.obj"),
]

# What is in the file; .bss takes memory only.
SECTIONS = (".text", ".data", ".rdata", ".pdata", ".xdata", ".idata", ".edata", ".CRT", ".tls", ".reloc", ".rsrc")


def contributions(text):
    """(section, bytes, file) of each input section that was kept."""
    text = text[text.index("Linker script and memory map"):]
    # A long name puts the rest on a line of its own.
    text = re.sub(r"\n( \.\S+)\n +(0x)", r"\n\1 \2", text)
    for section, size, file in re.findall(r"^ (\.\S+) +0x[0-9a-f]{16} +0x([0-9a-f]+) (\S.*)$", text, re.MULTILINE):
        if section.startswith(SECTIONS) and not section.startswith(".bss"):
            yield section, int(size, 16), file


def by_origin(text):
    """Bytes by origin, in the order of ORIGINS."""
    sums = {origin: 0 for origin, _ in ORIGINS}
    for section, size, file in contributions(text):
        line = f"{section} {file}"
        origin = next((origin for origin, pattern in ORIGINS if re.search(pattern, line)), ORIGINS[-1][0])
        sums[origin] += size
    return sums
