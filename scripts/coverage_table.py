#!/usr/bin/env python3
"""The coverage as tables: what llvm-cov has exported for the tests and for the fuzz corpora, and what gcov has
for the tests under Wine, one object a line.

usage: coverage_table.py native TESTS.json FUZZ.json
       coverage_table.py wine WINE.json-lines
"""

import collections
import dataclasses
import json
import os
import pathlib
import sys

# The product; Windows' half is not in a native build.
PRODUCT = tuple(f"src/{folder}/" for folder in
                ("calls", "discovery", "interface", "messages", "notify", "transport"))
# What takes foreign bytes apart. What is done with them, and what calls send, is the tests' alone.
DECODERS = ("src/messages/", "src/notify/event_decoder", "src/notify/table_reader", "src/discovery/driver_version",
            "src/discovery/inf_file", "src/discovery/merge", "src/discovery/algorithm_id_table",
            "simulator/request_handler", "simulator/scenario_reader", "simulator/json_",
            "tools/zorctl/script")
WINDOWS_HALF = ("src/platform/win32/", "src/interface/load.cpp", "src/interface/dll_main.cpp")


@dataclasses.dataclass
class Count:
    """What of one file has run."""

    name: str
    lines: int
    run: int
    missed_lines: list
    branches: int
    taken: int
    half_taken: list  # the lines of branches that were not


def counts_of_llvm(path, prefixes):
    data = json.loads(pathlib.Path(path).read_text())["data"][0]
    for file in data["files"]:
        # As the compiler was given it, from the folder of the build.
        name = os.path.normpath(file["filename"])
        if name.startswith(prefixes):
            lines, branches = file["summary"]["lines"], file["summary"]["branches"]
            yield Count(name, lines["count"], lines["covered"], llvm_missed_lines(file),
                        branches["count"], branches["covered"], llvm_missed_branches(file))


def counts_of_gcov(path, prefixes):
    """A file may be part of several objects; what one of them has run is run."""
    lines = collections.defaultdict(collections.Counter)
    branches = collections.defaultdict(collections.Counter)
    for text in pathlib.Path(path).read_text().splitlines():
        for file in json.loads(text)["files"]:
            name = os.path.normpath(file["file"]).removeprefix("../../")
            if not name.startswith(prefixes):
                continue
            for line in file["lines"]:
                number = line["line_number"]
                lines[name][number] += line["count"]
                for position, branch in enumerate(branches_of(line)):
                    branches[name][number, position] += branch["count"]
    for name, of_file in lines.items():
        missed_lines = sorted(number for number, count in of_file.items() if count == 0)
        missed = [place for place, count in branches[name].items() if count == 0]
        yield Count(name, len(of_file), len(of_file) - len(missed_lines), missed_lines,
                    len(branches[name]), len(branches[name]) - len(missed), sorted({number for number, _ in missed}))


def branches_of(line):
    """Without those of calls: back, and out of the call by an exception, which come in this order."""
    branches = line["branches"]
    ways_out = {position for position, branch in enumerate(branches) if branch["throw"]}
    return [branch for position, branch in enumerate(branches) if not {position, position + 1} & ways_out]


def llvm_missed_lines(file):
    """The lines that never ran: those at which a region that counts zero begins."""
    lines = set()
    segments = file["segments"]
    for (line, _, count, counted, _, gap), following in zip(segments, segments[1:]):
        if counted and count == 0 and not gap:
            lines.update(range(line, max(following[0], line + 1)))
    return sorted(lines)


def llvm_missed_branches(file):
    """The lines of conditions that were only ever true or only ever false."""
    return sorted({branch[0] for branch in file["branches"] if (branch[4] == 0) != (branch[5] == 0)
                   or branch[4] == branch[5] == 0})


def table(title, found):
    print(f"| {title} | lines | run | branches | taken |\n|---|---:|---:|---:|---:|")
    sums = [0, 0, 0, 0]
    folders = {}
    remarks = []
    for file in sorted(found, key=lambda file: file.name):
        row = [file.lines, file.run, file.branches, file.taken]
        folder = os.path.dirname(file.name) + "/"
        folders[folder] = [a + b for a, b in zip(folders.get(folder, [0] * 4), row)]
        sums = [a + b for a, b in zip(sums, row)]
        for what, missed, full in (("lines", file.missed_lines, file.lines == file.run),
                                   ("branches at lines", file.half_taken, file.branches == file.taken)):
            if not full:
                remarks.append(f"`{file.name}`: {what} {', '.join(map(str, missed)) or 'of a template'}")
    for folder, row in folders.items():
        print(f"| `{folder}` | {row[0]} | {row[1]} | {row[2]} | {row[3]} |")
    print(f"| **all** | **{sums[0]}** | **{sums[1]}** ({percent(sums[1], sums[0])}) "
          f"| **{sums[2]}** | **{sums[3]}** ({percent(sums[3], sums[2])}) |\n")
    if remarks:
        print("Not run, or only one way:\n")
        print("\n".join(f"- {remark}" for remark in remarks) + "\n")


def percent(part, whole):
    return f"{100 * part / whole:.1f} %" if whole else "100 %"


def main():
    if sys.argv[1] == "wine":
        table("by the tests under Wine", counts_of_gcov(sys.argv[2], WINDOWS_HALF))
    else:
        table("by the native tests", counts_of_llvm(sys.argv[2], PRODUCT))
        table("by the fuzz corpora", counts_of_llvm(sys.argv[3], DECODERS))


if __name__ == "__main__":
    main()
