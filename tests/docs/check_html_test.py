#!/usr/bin/env python3
"""Shows that the check of the HTML manual fails where it should, on a small one with one fault each."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "docs" / "manual"))
import check_html

GOOD = {
    "index.html": '<h1 id="top">A</h1> <img src="a.svg"/> <a href="page-b.html#use">B</a> <code>**</code>',
    "page-b.html": '<h2 id="use">Use</h2> <a href="https://example.org/">out</a>',
    "a.svg": "<svg/>",
    "navtreedata.js": '[ "A", "index.html", [ [ "B", "page-b.html#use", null ] ] ]',
    "menudata.js": '{text:"A",url:"index.html"}',
}


class CheckHtml(unittest.TestCase):
    def problems(self, changed):
        with tempfile.TemporaryDirectory() as folder:
            for name, text in {**GOOD, **changed}.items():
                (pathlib.Path(folder) / name).write_text(text)
            return check_html.problems_of(pathlib.Path(folder))[0]

    def expect_problem(self, name, old, new, problem):
        self.assertIn(old, GOOD[name])
        self.assertEqual(self.problems({name: GOOD[name].replace(old, new)}), [f"{name}: {problem}"])

    def test_accepts_a_good_manual(self):
        self.assertEqual(self.problems({}), [])

    def test_links(self):
        self.expect_problem("index.html", "page-b.html", "page-c.html", "there is no page-c.html")
        self.expect_problem("index.html", "#use", "#uses", "page-b.html has no uses")

    def test_pictures(self):
        self.expect_problem("index.html", "a.svg", "b.svg", "there is no b.svg")
        self.expect_problem("index.html", "a.svg", "https://example.org/a.svg",
                            "loads https://example.org/a.svg")

    def test_markdown_that_is_left(self):
        self.expect_problem("index.html", "<code>**</code>", "**", "** is left")

    def test_navigation(self):
        self.expect_problem("navtreedata.js", "page-b", "page-c", "there is no page-c.html")
        self.expect_problem("navtreedata.js", "#use", "#uses", "page-b.html has no uses")
        self.expect_problem("menudata.js", '"index.html"', '""', "has no links")


if __name__ == "__main__":
    unittest.main()
