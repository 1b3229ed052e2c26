#!/usr/bin/env python3
"""The coverage as tables: what llvm-cov has exported for the tests, and for the fuzz corpora.

usage: coverage_table.py TESTS.json FUZZ.json
"""

import json
import os
import pathlib
import sys

# The product; the platform's half for Windows and load.cpp are not in a native build.
PRODUCT = ("calls/", "discovery/", "interface/", "messages/", "notify/", "transport/")
# What takes foreign bytes apart. What is done with them, and what calls send, is the tests' alone.
DECODERS = ("messages/", "notify/event_decoder", "notify/table_reader", "discovery/driver_version",
            "discovery/inf_file", "discovery/merge", "discovery/algorithm_id_table",
            "simulator/request_handler", "simulator/scenario_reader", "simulator/json_",
            "tools/zorctl/script")


def files(path, prefixes):
    data = json.loads(pathlib.Path(path).read_text())["data"][0]
    for file in data["files"]:
        # As the compiler was given it, from the folder of the build.
        name = os.path.normpath(file["filename"])
        if name.startswith(prefixes):
            yield name, file


def missed_lines(file):
    """The lines that never ran: those at which a region that counts zero begins."""
    lines = set()
    segments = file["segments"]
    for (line, _, count, counted, _, gap), following in zip(segments, segments[1:]):
        if counted and count == 0 and not gap:
            lines.update(range(line, max(following[0], line + 1)))
    return sorted(lines)


def missed_branches(file):
    """The lines of conditions that were only ever true or only ever false."""
    return sorted({branch[0] for branch in file["branches"] if (branch[4] == 0) != (branch[5] == 0)
                   or branch[4] == branch[5] == 0})


def table(title, found):
    print(f"| {title} | lines | run | branches | taken |\n|---|---:|---:|---:|---:|")
    sums = [0, 0, 0, 0]
    folders = {}
    remarks = []
    for name, file in sorted(found):
        lines, branches = file["summary"]["lines"], file["summary"]["branches"]
        row = [lines["count"], lines["covered"], branches["count"], branches["covered"]]
        folder = name.split("/")[0] + "/"
        folders[folder] = [a + b for a, b in zip(folders.get(folder, [0] * 4), row)]
        sums = [a + b for a, b in zip(sums, row)]
        for what, missed, full in (("lines", missed_lines(file), row[0] == row[1]),
                                   ("branches at lines", missed_branches(file), row[2] == row[3])):
            if not full:
                remarks.append(f"`{name}`: {what} {', '.join(map(str, missed)) or 'of a template'}")
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
    table("by the tests", files(sys.argv[1], PRODUCT))
    table("by the fuzz corpora", files(sys.argv[2], DECODERS))


if __name__ == "__main__":
    main()
