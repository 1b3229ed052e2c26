#!/usr/bin/env python3
"""Makes a function of each example of a page, a block "```cpp NAME": extract_tasks.py PAGE FILE."""

import pathlib
import re
import sys

page, file = map(pathlib.Path, sys.argv[1:])
examples = re.findall(r"^```cpp (\w+)\n(.*?)^```$", page.read_text(), re.DOTALL | re.MULTILINE)
if not examples or examples[0][0] != "prelude":
    sys.exit(f"{page} has no examples, or they have no prelude")
lines = ["// Made from the page.", "#pragma once", examples[0][1]]
for name, code in examples[1:]:
    if len(code.splitlines()) > 16:
        sys.exit(f"{page}: the example {name} is no longer a short one")
    lines += [f"inline void Task_{name}() {{", code + "}"]
headings = re.findall(r"^## ", page.read_text().split("## Where the program runs")[0], re.MULTILINE)
if len(headings) != len(examples) - 1:
    sys.exit(f"{page} has {len(headings)} tasks, but {len(examples) - 1} examples")
file.write_text("\n".join(lines) + "\n")
