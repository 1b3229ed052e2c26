#!/usr/bin/env python3
"""Replaces a marked region of a page by what comes on standard input, and shows it.

usage: fill_region.py FILE NAME

The region is between the lines <!-- NAME: written by ... --> and <!-- end of NAME -->.
"""

import pathlib
import re
import sys


def main():
    path, name = pathlib.Path(sys.argv[1]), sys.argv[2]
    text = sys.stdin.read().strip()
    page = path.read_text(encoding="utf-8")
    pattern = re.compile(rf"(<!-- {name}: [^\n]*-->\n).*?(<!-- end of {name} -->)", re.S)
    if len(pattern.findall(page)) != 1:
        raise SystemExit(f"fill_region: {path} has no region {name}")
    if not text:
        raise SystemExit("fill_region: there is nothing to write")
    path.write_text(pattern.sub(lambda match: f"{match[1]}\n{text}\n\n{match[2]}", page), encoding="utf-8")
    print(text)


if __name__ == "__main__":
    main()
