#!/usr/bin/env python3
"""Prints the table of checks for docs/windows.md: write_page.py KIT --starter STARTER"""

import json
import pathlib
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import programs  # noqa: E402  (after the path is known)
import page  # noqa: E402

kit, starter = sys.argv[1], sys.argv[3]
with tempfile.TemporaryDirectory(prefix="zor-selftest-") as folder:
    running = programs.Program(kit, ["--list"], starter=starter, output=pathlib.Path(folder) / "list")
    if running.wait(600) != 0:
        sys.exit(f"write_page: {running.text()}")
    print(page.table(json.loads(running.text())))
