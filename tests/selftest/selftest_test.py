#!/usr/bin/env python3
"""zor-selftest as its user runs it, and on a system that is broken on purpose.

    selftest_test.py SOURCE PROGRAMS --starter STARTER [unittest's arguments]
"""

import argparse
import html.parser
import json
import pathlib
import shutil
import sys
import tempfile
import unittest

parser = argparse.ArgumentParser()
parser.add_argument("source", type=pathlib.Path)
parser.add_argument("programs", type=pathlib.Path)
parser.add_argument("--starter", required=True)
OPTIONS, REST = parser.parse_known_args()
sys.path.insert(0, str(OPTIONS.source / "scripts"))
import page  # noqa: E402  (after the path is known)
import programs  # noqa: E402

KIT = "zor-selftest.exe"
BROKEN = "zor_selftest_broken.exe"
GOOD = {"as expected", "as recorded for Wine"}
LIMIT = 600

# The checks whose breaks do not make them see something else, and what becomes of those.
OTHER_VERDICTS = {"library.unload-in-callback": {"differs", "crashed"}}


class Ids(html.parser.HTMLParser):
    """The ids of a page's elements."""

    def __init__(self, text):
        super().__init__()
        self.found = []
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        self.found += [value for name, value in attrs if name == "id"]


class Kit(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="zor selftest "))
        self.addCleanup(shutil.rmtree, self.folder)

    def run_program(self, name, *arguments, environment=None, folder=None):
        """Its status and what it has written."""
        output = self.folder / "output"
        running = programs.Program((folder or OPTIONS.programs) / name, arguments,
                                   starter=OPTIONS.starter, output=output, environment=environment)
        try:
            return running.wait(LIMIT), running.text()
        finally:
            running.kill()

    def run_kit(self, name, *arguments, environment=None):
        """Its status, its report, and what it has written."""
        status, text = self.run_program(name, "--to", programs.windows_path(self.folder), *arguments,
                                        environment=environment)
        report = self.folder / "zor-selftest-report.json"
        return status, json.loads(report.read_text("utf-8")) if report.exists() else None, text

    def listed(self):
        _, text = self.run_program(KIT, "--list")
        return json.loads(text)


class AsItsUserRunsIt(Kit):
    def test_is_green_and_reports_each_check_with_its_recorded_answer(self):
        listed = self.listed()
        home = self.folder / "unpacked"
        home.mkdir()
        for name in (KIT, "ZorInterface.dll"):
            shutil.copy(OPTIONS.programs / name, home)
        status, text = self.run_program(KIT, folder=home)
        self.assertEqual(status, 0, text)

        report = json.loads((home / "zor-selftest-report.json").read_text("utf-8"))
        self.assertEqual([check["name"] for check in report["checks"]],
                         [check["name"] for check in listed])
        for check, expected in zip(report["checks"], listed):
            self.assertLessEqual(expected.items(), check.items())
            self.assertIn(check["verdict"], GOOD, check)
            self.assertEqual(check["seen"], check["wine8"], check)
            same = check["expected"] == check["wine8"]
            self.assertEqual(check["verdict"] == "as expected", same, check)
        self.assertEqual((report["good"], report["bad"]), (len(listed), 0))
        self.assertIn("Wine 8", report["about"]["system"])

        page = (home / "zor-selftest-report.html").read_text("utf-8")
        self.assertEqual(Ids(page).found, [check["name"] for check in listed])

    def test_leaves_nothing_but_its_reports(self):
        home = self.folder / "unpacked"
        home.mkdir()
        for name in (KIT, "ZorInterface.dll"):
            shutil.copy(OPTIONS.programs / name, home)
        self.run_program(KIT, "--only", "pipes.absent", folder=home)
        self.assertEqual({path.name for path in home.iterdir()},
                         {KIT, "ZorInterface.dll", "zor-selftest-report.html",
                          "zor-selftest-report.json"})

    def test_refuses_beside_a_server(self):
        server = programs.Program(OPTIONS.programs / "zorsim.exe", starter=OPTIONS.starter,
                                  output=self.folder / "server")
        self.addCleanup(server.kill)
        server.wait_for_text("zorsim is ready", LIMIT)
        status, report, text = self.run_kit(KIT)
        self.assertEqual(status, 2)
        self.assertIn("a server has the library's pipes", text)
        self.assertIsNone(report)

    def test_refuses_words_that_it_does_not_know(self):
        for words in (["--nonsense"], ["--only", "pipes.nonsense"], ["--limit", "0"]):
            status, report, text = self.run_kit(KIT, *words)
            self.assertEqual(status, 2, words)
            self.assertIsNone(report, words)
            self.assertTrue(text, words)


class InThePages(Kit):
    def test_each_check_names_words_of_a_page(self):
        for check in self.listed():
            with self.subTest(check["name"]):
                text = page.words((OPTIONS.source / check["page"]).read_text("utf-8"))
                self.assertGreater(len(check["sentence"]), 10)
                self.assertTrue(page.words(check["sentence"]) in text,
                                f"{check['page']} no longer says: {check['sentence']}\n"
                                f"look at {check['name']} in tools/selftest/checks/")

    def test_the_table_is_that_of_the_kit(self):
        text = (OPTIONS.source / "docs/windows.md").read_text("utf-8")
        self.assertEqual(page.written(text), page.table(self.listed()),
                         "cmake --build --preset windows --target selftest_page")


class OnABrokenSystem(Kit):
    def test_each_check_has_a_break(self):
        _, text = self.run_program(BROKEN, "--breaks")
        self.assertEqual(text.split(), [check["name"] for check in self.listed()])

    def test_is_green_without_a_break(self):
        status, report, text = self.run_kit(BROKEN, "--only", "pipes")
        self.assertEqual((status, report["bad"]), (0, 0), text)

    def test_a_check_that_does_not_end_does_not_stop_the_others(self):
        for dead_end, verdict, told in (("hang", "hung", "no end within 5 seconds"),
                                        ("crash", "crashed", "the process ended with C0000005")):
            status, report, text = self.run_kit(
                BROKEN, "--only", "pipes.absent", "--only", "runtime.free-null", "--limit", "5",
                environment={"ZOR_SELFTEST_BREAK": dead_end})
            self.assertEqual(status, 1, text)
            first, second = report["checks"]
            self.assertEqual((first["verdict"], first["seen"]), (verdict, told))
            self.assertEqual(second["verdict"], "as expected")

    def test_each_check_sees_its_break(self):
        for check in self.listed():
            name = check["name"]
            with self.subTest(name):
                status, report, text = self.run_kit(BROKEN, "--only", name, "--limit", "60",
                                                    environment={"ZOR_SELFTEST_BREAK": name})
                self.assertEqual(status, 1, text)
                (result,) = report["checks"]
                # On a check that Wine fails, the break may be that it does as Windows.
                usual = {"differs", "better than recorded for Wine"}
                self.assertIn(result["verdict"], OTHER_VERDICTS.get(name, usual), result)
                self.assertNotEqual(result["seen"], result["wine8"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + REST)
