#!/usr/bin/env python3
"""Shows that run_test.py and summary.py miss nothing: on outputs and reports that are written here."""

import pathlib
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml
from xml.sax.saxutils import escape

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import run_test
import summary

BEGUN = "[==========] Running 3 tests from 1 test suite.\n[ RUN      ] A.One\n[       OK ] A.One (0 ms)\n"


def report(*cases):
    return xml.ElementTree(xml.fromstring(f"<testsuites>{''.join(cases)}</testsuites>"))


def case(name, inside=""):
    return f'<testcase classname="A" name="{name}" status="run">{inside}</testcase>'


class OfCases(unittest.TestCase):
    def cases(self, output, written, status):
        return run_test.Cases(output, written, run_test.ending_of(status, written))

    def test_a_failed_case_is_named(self):
        cases = self.cases(BEGUN, report(case("One"), case("Two", "<failure/>")), 1)
        self.assertEqual((cases.passed, cases.failed), (["A.One"], {"A.Two": "failed"}))

    def test_a_crash_fails_the_case_that_was_running_and_those_that_did_not_run(self):
        cases = self.cases(f"{BEGUN}[ RUN      ] A.Two\n", None, 0xC0000005)
        self.assertEqual(cases.passed, ["A.One"])
        self.assertEqual(cases.failed, {"A.Two": "ended with status 3221225477, 0xC0000005, in the middle",
                                        "(1 more)": "did not run"})

    def test_an_end_in_the_middle_fails_whatever_its_status(self):
        self.assertIn("A.Two", self.cases(f"{BEGUN}[ RUN      ] A.Two\n", None, 0).failed)
        self.assertTrue(self.cases("", None, 0).failed)

    def test_a_failure_after_the_last_case_fails(self):
        cases = self.cases(BEGUN, report(case("One")), 1)
        self.assertEqual(list(cases.failed), ["(the end of the program)"])

    def test_a_status_that_hides_a_failed_case_fails(self):
        self.assertIn("A.Two", self.cases(BEGUN, report(case("Two", "<failure/>")), 0).failed)

    def test_a_program_without_cases_fails(self):
        self.assertTrue(self.cases("", report(), 0).failed)


class OfReports(unittest.TestCase):
    def run_of(self, *tests, name="native.part"):
        written = "".join(f'<testcase name="{test}" status="{status}"><system-out>{escape(output)}</system-out>'
                          "</testcase>" for test, status, output in tests)
        with tempfile.NamedTemporaryFile("w", suffix=".xml") as file:
            file.write(f"<testsuite>{written}</testsuite>")
            file.flush()
            run = summary.Run()
            run.add_report(name, file.name)
        return run

    def test_cases_count_and_fail_by_their_own_names(self):
        run = self.run_of(("unit", "fail", "case failed: unit A.Two: failed\ncases: 7 passed, 1 failed, 0 skipped\n"),
                          ("script", "run", ""), ("other", "fail", "oops"))
        self.assertEqual(run.passed, 8)
        self.assertEqual(run.failed, ["native: unit A.Two: failed", "native: other: failed"])

    def test_a_row_has_the_verdict_of_its_own_cases(self):
        run = self.run_of(("unit", "fail", "tally: 3 calls\ntally of a failed case: 4 loads\ntally: 5 loads\n"))
        self.assertEqual(run.tried, {("calls", "native"): [3, False], ("loads", "native"): [9, True]})

    def test_a_verdict_that_its_output_contradicts_fails(self):
        self.assertTrue(self.run_of(("unit", "run", "cases: 0 passed, 0 failed, 0 skipped\n")).failed)
        self.assertTrue(self.run_of(("unit", "run", "case failed: unit A.Two: failed\n")).failed)

    def test_what_did_not_run_is_told(self):
        run = self.run_of(("unit", "notrun", ""), ("script", "run", ""))
        self.assertEqual((run.passed, run.skipped), (1, ["native: unit: notrun"]))

    def test_a_report_without_tests_fails(self):
        self.assertTrue(self.run_of().failed)

    def test_a_canary_must_fail_and_for_its_own_reason(self):
        good = ("canary.race", "run", "SUMMARY: ThreadSanitizer: data race")
        self.assertEqual(self.run_of(good, name="tsan.threads").failed, [])
        for canary in (("canary.race", "fail", good[2]), ("canary.race", "run", "not found"),
                       ("canary.unknown", "run", ""), ("script", "run", "")):
            self.assertTrue(self.run_of(canary, name="tsan.threads").failed, canary)

    def test_starts_that_were_tried_again_are_counted(self):
        self.assertEqual(self.run_of(("unit", "run", f"{summary.AGAIN} x\n{summary.AGAIN} y\n")).again, 2)


if __name__ == "__main__":
    unittest.main()
