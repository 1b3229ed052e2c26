#!/usr/bin/env python3
"""Runs every command that docs/zorctl.md shows and compares what comes with what the page says.

    manual.py --binaries build/windows/bin [--starter wine_starter.exe] [--update] docs/zorctl.md

A block of the page marked as `console` holds commands, "$ zorctl ...", each with its output below
it; a command may end in "; echo $?", which adds its exit status. The commands run in one folder
against one server, from the top of the page to its end. A comment above a block can change that:

    <!-- zorctl: no server -->                  nothing serves the pipes
    <!-- zorctl: scenario notifications.json --> a server with a scenario of this test's folder
    <!-- zorctl: distinct lines -->             what the lines are, not how many nor their order
    <!-- file: session.txt -->                  the block is this file, for the commands below it

Times, process numbers and the programs' folder are shown as fixed ones. With --update the page's
outputs are replaced by what comes.
"""

import argparse
import difflib
import pathlib
import re
import shlex
import sys

from shell import SHOWN_FOLDER, Shell

BLOCK = re.compile(
    r"^(?:<!-- (?P<directive>.*?) -->\n)?```(?P<language>\w+)\n(?P<body>.*?)^```$",
    re.MULTILINE | re.DOTALL,
)

MASKS = [
    (re.compile(r"\d{4}-\d\d-\d\dT[\d:.]{12}[+-]\d\d:\d\d"), "2024-05-01T12:00:00.000+02:00"),
    (re.compile(r"(?<!\S)\d\d:\d\d:\d\d\.\d{3}(?=  type )"), "12:00:00.000"),
    (re.compile(r"^ *\d+ \[zor\]", re.MULTILINE), "   264 [zor]"),
    (re.compile(r'"process":\d+'), '"process":264'),
    (re.compile(r"[A-Z]:\\[^\n\"]*\\(?=ZorInterface\.dll|zorsim\.exe)"), SHOWN_FOLDER + "\\"),
    (re.compile(r"(?<=user )[^,\n\"]+\\[^,\n\"]+(?=,)"), "PC\\ann"),
    (re.compile(r"(?:not )?elevated"), "not elevated"),
    (re.compile(r"(?<=session )\d+"), "1"),
    (re.compile(r"Windows \d+\.\d+\.\d+"), "Windows 10.0.19045"),
    (re.compile(r"(?<=process )\d+"), "264"),
]


def masked(text):
    for pattern, shown in MASKS:
        if text.startswith("{"):  # JSON doubles backslashes
            shown = shown.replace("\\", "\\\\")
        text = pattern.sub(lambda _, shown=shown: shown, text)
    return text


def distinct(text):
    return "".join(dict.fromkeys(text.splitlines(keepends=True)))


def run_command(shell, command):
    """The command's output as the page shows it."""
    line, shows_status, _ = command.partition("; echo $?")
    program, *arguments = shlex.split(line)
    if program != "zorctl":
        raise SystemExit(f"the page shows another program than zorctl: {command}")
    status, output = shell.run(program, arguments)
    if status != 0 and not shows_status:
        raise SystemExit(f"{command}\n{output}ended with status {status}, which the page hides")
    return masked(output) + (f"{status}\n" if shows_status else "")


def same(old, new, any_order):
    if any_order:
        return sorted(old.splitlines()) == sorted(new.splitlines())
    return old == new


class Page:
    """Makes a page anew, block by block."""

    def __init__(self, shell, scenarios):
        self.shell = shell
        self.scenarios = scenarios
        self.commands = 0

    def block(self, match):
        directive = match["directive"] or ""
        if directive.startswith("file: "):
            (self.shell.folder / directive.removeprefix("file: ")).write_text(match["body"])
            return match[0]
        if match["language"] != "console":
            return match[0]
        any_order = self.prepare(directive)
        # Before each command but the first.
        parts = re.split(r"^(?=\$ )", match["body"], flags=re.MULTILINE)
        body = "".join(self.command(part, any_order) for part in parts if part)
        return match[0].replace(f"```console\n{match['body']}", f"```console\n{body}")

    def prepare(self, directive):
        any_order = False
        arguments = []
        for wish in directive.removeprefix("zorctl: ").split(", ") if directive else []:
            if wish == "no server":
                arguments = None
            elif wish.startswith("scenario "):
                arguments = ["--scenario", str(self.scenarios / wish.removeprefix("scenario "))]
            elif wish == "distinct lines":
                any_order = True
            else:
                raise SystemExit(f"unknown directive: {directive}")
        if arguments is None:
            self.shell.stop_server()
        else:
            self.shell.serve(arguments)
        return any_order

    def command(self, part, any_order):
        first, _, old = part.partition("\n")
        new = run_command(self.shell, first.removeprefix("$ "))
        self.commands += 1
        if any_order:
            new = distinct(new)
        return first + "\n" + (old if same(old, new, any_order) else new)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("page", type=pathlib.Path)
    parser.add_argument("--binaries", required=True)
    parser.add_argument("--starter")
    parser.add_argument("--update", action="store_true")
    options = parser.parse_args()

    old = options.page.read_text(encoding="utf-8")
    with Shell(options.binaries, options.starter) as shell:
        page = Page(shell, pathlib.Path(__file__).resolve().parent)
        new = BLOCK.sub(page.block, old)
    if page.commands == 0:
        raise SystemExit("the page shows no command")

    if options.update:
        options.page.write_text(new, encoding="utf-8")
    elif new != old:
        sys.stdout.writelines(
            difflib.unified_diff(
                old.splitlines(True), new.splitlines(True), "the page", "what comes"
            )
        )
        raise SystemExit("the page is not what comes; to bring it up to date, see CONTRIBUTING.md")
    print(f"{page.commands} commands")


if __name__ == "__main__":
    main()
