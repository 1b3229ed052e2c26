#!/usr/bin/env python3
"""Adds up what ctest and scripts/run_test.py say, over the JUnit reports of one run.

    summary.py PRESET.PART=REPORT...

Prints a table of what the short form of the campaign has tried, each test that failed by its own name, and the
plain line "N passed, N failed". What counts is a case of a program, or a test that has none. Ends with 1
when one failed, when a canary passed, or when one of the canaries that each report must have is missing.

A canary is a test that must fail. ctest inverts its verdict, so that one that passes shows up as failed
here as anywhere. Its output must have the words below, or it may have failed because it never ran.
"""

import collections
import re
import sys
import xml.etree.ElementTree as xml

from programs import AGAIN

# What each part's canaries must say.
FAILS = {"canary.fails": "case failed: canary.fails Canary.Fails: failed",
         "canary.crashes": "Canary.Crashes: ended with status ",
         "canary.ends_early": "Canary.EndsEarly: ended with status 0, 0x0, in the middle",
         "canary.hangs": "Canary.Hangs: did not end"}
SCRIPT = {"canary.script": "this script must fail"}
CANARIES = {
    "asan.quick": {**FAILS, "canary.address": "ERROR: AddressSanitizer: heap-buffer-overflow",
                   "canary.leak": "ERROR: LeakSanitizer: detected memory leaks",
                   "canary.undefined": "runtime error: signed integer overflow"},
    "windows.quick": {**FAILS, **SCRIPT, "canary.status": "ended with status 256, 0x100",
                      "canary.child": "case failed: canary.child Canary.ChildFails: failed"},
    "native.all": {**FAILS, **SCRIPT},
    "tsan.threads": {"canary.race": "SUMMARY: ThreadSanitizer: data race"},
    "windows.rest": {"canary.shell": "this script must fail", "canary.build": "nothing objects to",
                     "canary.header": "error: ", "canary.package.shell": "ended with status 3",
                     "canary.package.program": "the commands ended with status 1"},
}
LINE = re.compile(r"^(case failed|case skipped|tally of a failed case|tally): (.*)$", re.MULTILINE)
COUNTS = re.compile(r"^cases: (\d+) passed, (\d+) failed, (\d+) skipped$", re.MULTILINE)


class Run:
    """What the tests of all reports have come to."""

    def __init__(self):
        self.passed = 0
        self.failed = []
        self.skipped = []
        self.again = 0
        self.tried = {}  # (what, where): [number, has it failed]

    def add(self, where, test, canaries):
        name = f"{where}: {test.get('name')}"
        output = test.findtext("system-out") or ""
        self.again += output.count(AGAIN)
        status = test.get("status")
        if status in ("disabled", "notrun"):
            self.skipped.append(f"{name}: {status}")
        elif test.get("name").startswith("canary."):
            self._add_canary(name, status == "run", canaries.get(test.get("name")), output)
        else:
            self._add_test(name, where, status == "run", output)

    def _add_canary(self, name, failed, words, output):
        if not failed:
            self.failed.append(f"{name}: passed, and with it may any test that is run like this one")
        elif words is None or words not in output:
            self.failed.append(f"{name}: failed without saying: {words}")
        else:
            self.passed += 1

    def _add_test(self, name, where, passed, output):
        said = collections.defaultdict(list)
        for kind, text in LINE.findall(output):
            said[kind].append(text)
        for kind, failed in (("tally", False), ("tally of a failed case", True)):
            for text in said[kind]:
                number, what = text.split(" ", 1)
                row = self.tried.setdefault((what, where), [0, False])
                row[0] += int(number)
                row[1] |= failed
        self.skipped += [f"{where}: {text}" for text in said["case skipped"]]
        self.failed += [f"{where}: {text}" for text in said["case failed"]]
        counts = COUNTS.search(output)
        self.passed += int(counts[1]) if counts else passed
        if not passed and not said["case failed"]:
            self.failed.append(f"{name}: failed")
        if passed and (said["case failed"] or (counts and counts[1] == counts[3] == "0")):
            self.failed.append(f"{name}: passed, but says that it did not")

    def add_report(self, name, path):
        where = name.partition(".")[0]
        canaries = CANARIES.get(name, {})
        tests = list(xml.parse(path).iter("testcase"))
        for test in tests:
            self.add(where, test, canaries)
        for canary in sorted(set(canaries) - {test.get("name") for test in tests}):
            self.failed.append(f"{where}: {canary}: there is no such canary")
        if not tests:
            self.failed.append(f"{name}: there is no test")

    def __str__(self):
        lines = []
        if self.tried:
            lines += ["| what was tried | how often | failures |", "|---|---:|---:|"]
            lines += [f"| {what}, {where} | {number} | {'failed' if failed else 0} |"
                      for (what, where), (number, failed) in self.tried.items()]
            lines.append("")
        if self.again:
            lines += [f"{self.again} programs were started again, since Wine had not begun them", ""]
        if self.skipped:
            lines += [f"{len(self.skipped)} did not run:", *self.skipped, ""]
        if self.failed:
            lines += ["What failed:", *self.failed, ""]
        return "\n".join([*lines, f"{self.passed} passed, {len(self.failed)} failed"])


def main():
    run = Run()
    for argument in sys.argv[1:]:
        run.add_report(*argument.split("=", 1))
    print(run)
    sys.exit(1 if run.failed else 0)


if __name__ == "__main__":
    main()
