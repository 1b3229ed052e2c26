#!/usr/bin/env python3
"""`zorctl doctor --bundle` writes an archive that another program reads, without personal names;
`zorctl doctor --app` looks at a program's file."""

import argparse
import getpass
import zipfile

from shell import Shell

NAMES = ["report.txt", "report.json", "versions.txt", "inf.txt", "log.txt"]


def check(condition, what):
    if not condition:
        raise SystemExit(what)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--binaries", required=True)
    parser.add_argument("--starter")
    options = parser.parse_args()
    with Shell(options.binaries, options.starter) as shell:
        shell.serve([])
        status, output = shell.run("zorctl", ["doctor", "--bundle", "report.zip", "--app", "zorsim.exe"])
        check(status == 3, f"status {status}: {output}")
        check("FAULT    application: " in output and "there is no such file" in output, output)
        check("zorctl: doctor: report.zip holds report.txt, report.json," in output, output)
        with zipfile.ZipFile(shell.folder / "report.zip") as archive:
            check(archive.testzip() is None, "an entry's checksum is wrong")
            check(archive.namelist() == NAMES, str(archive.namelist()))
            texts = {name: archive.read(name).decode() for name in NAMES}
        check("request pipe: " in texts["report.txt"], texts["report.txt"])
        check('"step": "request_pipe"' in texts["report.json"], texts["report.json"])
        check("ZorInterface.dll 0." in texts["versions.txt"], texts["versions.txt"])
        everything = "".join(texts.values()).lower()
        folder = str(shell.binaries).replace("/", "\\").lower()
        for personal in folder, folder.replace("\\", "\\\\"), f"\\{getpass.getuser().lower()},":
            check(personal not in everything, f"the archive holds '{personal}': {everything}")

        # The program's own file is sound.
        own = "Z:" + str(shell.binaries / "zorctl.exe").replace("/", "\\")
        _, output = shell.run("zorctl", ["doctor", "--app", own])
        check(f"ok       application: {own} is for 64-bit x86" in output, output)
        check("application's library: it loads none at its start, and would get " in output, output)
        check("application's COM: it imports a function that initialises COM" in output, output)


if __name__ == "__main__":
    main()
