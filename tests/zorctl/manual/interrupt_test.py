#!/usr/bin/env python3
"""Ctrl-C ends `zorctl watch` and `zorctl log` as something that was asked for: with status 0."""

import argparse

from shell import PATIENCE, Shell


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--binaries", required=True)
    parser.add_argument("--starter")
    options = parser.parse_args()
    with Shell(options.binaries, options.starter) as shell:
        for arguments in ["watch"], ["log"], ["watch", "--count", "5"]:
            program = shell.start("zorctl", arguments)
            program.wait_for_text("Ctrl-C ends", PATIENCE)
            program.interrupt()
            status = program.wait(PATIENCE)
            if status != 0:
                raise SystemExit(f"{arguments} ended with {status}: {program.text()}")


if __name__ == "__main__":
    main()
