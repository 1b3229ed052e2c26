#!/usr/bin/env python3
"""Ctrl-C ends `zorctl watch` and `zorctl log` as something that was asked for: with status 0."""

import argparse

from shell import PATIENCE, Shell


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--binaries", required=True)
    parser.add_argument("--emulator", default="")
    parser.add_argument("--prefix", default="")
    options = parser.parse_args()
    with Shell(options.binaries, options.emulator, options.prefix) as shell:
        for arguments in ["watch"], ["log"], ["watch", "--count", "5"]:
            process = shell.start("zorctl", arguments)
            shell.wait_for(process, "Ctrl-C ends")
            shell.interrupt(process)
            status = process.wait(PATIENCE)
            if status != 0:
                raise SystemExit(f"{arguments} ended with {status}: {shell.output_of(process)}")


if __name__ == "__main__":
    main()
