#!/usr/bin/env python3
"""Builds the HTML manual and checks it.

    build_manual.py FOLDER [--package]   builds it in FOLDER/html

With --package it is the manual of the package: the pages for users alone.
"""

import argparse
import pathlib
import re
import subprocess
import sys

import check_html

MANUAL = pathlib.Path(__file__).resolve().parent
ROOT = MANUAL.parents[1]
# The C headers are complete: every parameter, every result. The C++ one leaves them to these.
COMPLETE = "src/interface/zor_interface.h src/interface/zor_result.h src/interface/zor_loader.h"


def version():
    return re.search(r"^  VERSION ([\d.]+)$", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)[1]


def doxygen(folder, *settings):
    """Runs the tool with further settings, of which the later one counts."""
    text = (MANUAL / "Doxyfile").read_text() + "\n".join([
        "",
        f'OUTPUT_DIRECTORY = "{folder}"',
        f'INPUT = "{folder}/pages" src/interface',
        f'STRIP_FROM_PATH = "{ROOT}" "{folder}"',
        f'IMAGE_PATH = "{folder}/pages/images"',
        f'LAYOUT_FILE = "{folder}/pages/layout.xml"',
        f"PROJECT_NUMBER = {version()}",
        *settings, ""])
    if subprocess.run(["doxygen", "-"], cwd=ROOT, input=text, text=True, check=False).returncode != 0:
        sys.exit("the manual has the faults above")


def name_folders(html):
    """Names the pages of folders by their order: the tool names them by where the tree lies."""
    names = {path.stem: f"dir_{number}" for number, path in enumerate(sorted(
        html.glob("dir_*.html"), key=lambda path: re.search("<title>.*</title>", path.read_text())[0]))}
    for path in [*html.glob("*.html"), *html.glob("*.js")]:
        path.write_text(re.sub(r"\bdir_[0-9a-f]{32}\b", lambda found: names.get(found[0], found[0]),
                               path.read_text()))
    for old, new in names.items():
        for path in list(html.glob(f"{old}.*")):
            path.rename(html / f"{new}{path.suffix}")


def build(folder, package):
    folder.mkdir(parents=True, exist_ok=True)
    folder = folder.resolve()
    command = [sys.executable, "-B", MANUAL / "stage_pages.py", folder / "pages"]
    if subprocess.run(command + (["--package"] if package else []), check=False).returncode != 0:
        sys.exit("the pages have the fault above")
    if not package:
        doxygen(folder, f"INPUT = {COMPLETE}", "WARN_NO_PARAMDOC = YES", "HTML_OUTPUT = checked")
    doxygen(folder)
    name_folders(folder / "html")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--package", action="store_true")
    options = parser.parse_args()
    build(options.folder, options.package)
    return check_html.main(options.folder / "html")


if __name__ == "__main__":
    sys.exit(main())
