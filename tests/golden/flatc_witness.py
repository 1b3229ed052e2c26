#!/usr/bin/env python3
"""Decodes each pinned request with the flatc tool, which knows nothing of the library's own
building, and compares the fields with those that are kept beside the bytes."""

import argparse
import pathlib
import subprocess
import sys
import tempfile


def decode(flatc, schema, hex_file):
    """The fields of one message, as flatc prints them."""
    with tempfile.TemporaryDirectory() as folder:
        binary = pathlib.Path(folder) / (hex_file.stem + ".bin")
        binary.write_bytes(bytes.fromhex(hex_file.read_text()))
        subprocess.run(
            [flatc, "--json", "--strict-json", "--raw-binary", "-o", folder, schema, "--", binary],
            check=True,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )
        return (binary.with_suffix(".json")).read_text()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--flatc", required=True)
    parser.add_argument("--schema", required=True)
    parser.add_argument("--folder", required=True, type=pathlib.Path)
    parser.add_argument("--write", action="store_true", help="keep what flatc says; no check")
    options = parser.parse_args()

    failures = 0
    hex_files = sorted(options.folder.glob("*.hex"))
    for hex_file in hex_files:
        fields = decode(options.flatc, options.schema, hex_file)
        kept = hex_file.with_suffix(".json")
        if options.write:
            kept.write_text(fields)
        elif fields != kept.read_text():
            failures += 1
            print(f"{hex_file.name}: flatc reads\n{fields}where {kept.name} has\n{kept.read_text()}")
    print(f"{len(hex_files) - failures} passed, {failures} failed")
    return 1 if failures or not hex_files else 0


if __name__ == "__main__":
    sys.exit(main())
