#!/usr/bin/env python3
"""Runs a program as a test of ctest, and says how each of its cases went.

    run_test.py --name NAME [--cases] [--starter STARTER] [--limit SECONDS] PROGRAM [ARGUMENT...]

Without --cases the program's status is the verdict. With it the program is one of GoogleTest: each case
counts for itself. What is printed then, for scripts/summary.py:

    case failed: NAME CASE         and before it what the case has written
    case skipped: NAME CASE: WHY
    tally: NUMBER WHAT             a line that a case has written, "tally of a failed case: ..." when it failed
    cases: N passed, N failed, N skipped

A program that crashes, hangs or ends in the middle fails the case that was running; those that did not
run fail too, as one.
"""

import argparse
import pathlib
import re
import sys
import tempfile
import textwrap
import xml.etree.ElementTree as xml

from programs import AGAIN, Program, windows_path

STEP = re.compile(r"\[ +(?P<step>RUN|OK|FAILED|SKIPPED) +\] (?P<case>[\w./]+)")
BEGIN = re.compile(r"\[={10}\] Running (\d+) tests? from")


class Cases:
    """What is known of each case, by the program's output and by its report."""

    def __init__(self, output, report, ending):
        parts = re.split(r"^(?=\[ RUN      \] )", output, flags=re.MULTILINE)
        self.output = {STEP.match(part)["case"]: part for part in parts[1:]}
        self.failed = {}  # by name: why
        self.skipped = {}
        self.passed = []
        if report is not None:
            self._by_report(report)
        else:
            self._by_output(output)
        if ending:
            self._blame(ending)
        elif not self.passed and not self.failed and not self.skipped:
            self.failed["(every case)"] = "there is none"

    def _by_report(self, report):
        for case in report.iter("testcase"):
            name = f"{case.get('classname')}.{case.get('name')}"
            if case.find("failure") is not None:
                self.failed[name] = "failed"
            elif case.find("skipped") is not None:
                self.skipped[name] = " ".join(case.find("skipped").get("message", "").split())
            elif case.get("status") == "run":
                self.passed.append(name)

    def _by_output(self, output):
        """Without a report the program did not come to its end."""
        ends = {match["case"]: match["step"] for match in STEP.finditer(output)}
        for name in self.output:
            if ends[name] == "OK":
                self.passed.append(name)
            elif ends[name] == "SKIPPED":
                self.skipped[name] = "see its output"
            else:
                self.failed[name] = "failed" if ends[name] == "FAILED" else "was running"
        begin = BEGIN.search(output)
        missing = int(begin[1]) - len(self.output) if begin else 0
        if missing or not begin:
            self.failed[f"({missing or 'all'} more)"] = "did not run"

    def _blame(self, ending):
        """The program has ended as none does whose cases pass."""
        running = [name for name, why in self.failed.items() if why == "was running"]
        if running or not self.failed:
            self.failed[running[0] if running else "(the end of the program)"] = ending


def ending_of(status, report):
    """What is wrong with how the program ended, apart from failed cases."""
    if status is None:
        return "did not end"
    if report is None:
        return f"ended with status {status}, 0x{status & 0xFFFFFFFF:X}, in the middle"
    failed = any(case.find("failure") is not None for case in report.iter("testcase"))
    if status != 0 and not failed:
        return f"ended with status {status}, 0x{status & 0xFFFFFFFF:X}, after its cases had passed"
    if status == 0 and failed:
        return "ended with status 0 although a case failed"
    return None


def read_report(path):
    try:
        return xml.parse(path)
    except (OSError, xml.ParseError):
        return None


def show(text):
    """Set in, so that no line of it is taken for one of this script's."""
    print(textwrap.indent(text.rstrip(), "  "))


def say(cases, name, output):
    """Prints what ctest and the summary need; whether all is well."""
    for case, why in cases.failed.items():
        if case in cases.output:
            show(cases.output[case])
        elif why != "did not run":
            show(output[-4000:])
        print(f"case failed: {name} {case}: {why}")
    for case, why in cases.skipped.items():
        print(f"case skipped: {name} {case}: {why}")
    for case, text in cases.output.items():
        word = "tally of a failed case" if case in cases.failed else "tally"
        for tally in re.findall(r"tally: (\d+ .*)", text):  # behind half a line of Wine, now and then
            print(f"{word}: {tally}")
    for line in output.splitlines():
        if line.startswith(AGAIN):
            print(line)
    print(f"cases: {len(cases.passed)} passed, {len(cases.failed)} failed, {len(cases.skipped)} skipped")
    return not cases.failed


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--name", required=True)
    parser.add_argument("--cases", action="store_true")
    parser.add_argument("--starter")
    parser.add_argument("--limit", type=float, default=600)
    parser.add_argument("command", nargs=argparse.REMAINDER)
    options = parser.parse_args()
    program, arguments = options.command[0], options.command[1:]

    with tempfile.TemporaryDirectory(prefix="zor-test-") as folder:
        written = pathlib.Path(folder, "output")
        report = pathlib.Path(folder, "report.xml")
        if options.cases:
            arguments.append(f"--gtest_output=xml:{windows_path(report) if options.starter else report}")
        running = Program(program, arguments, starter=options.starter, output=written)
        try:
            status = running.wait(options.limit)
        except TimeoutError as error:
            print(f"run_test: {error}")
            status = None
        finally:
            running.kill()  # what it has started and left behind, too
        output, report = running.text(), read_report(report)

    if options.cases:
        sys.exit(0 if say(Cases(output, report, ending_of(status, report)), options.name, output) else 1)
    print(output, end="")
    if status not in (0, None):
        print(f"run_test: {options.name} ended with status {status}, 0x{status & 0xFFFFFFFF:X}")
    sys.exit(0 if status == 0 else 1)


if __name__ == "__main__":
    main()
