#!/usr/bin/env python3
"""Shows that check_manual.py fails where it should, on small trees with one fault each."""

import pathlib
import tempfile
import unittest

import check_manual

README = """# Library

Run `./dev test`; see [use](#use-it).

## Use it

![A picture](docs/images/a.svg)

```c
[not](a-link.md)
```

| page | |
|---|---|
| [docs/troubleshooting.md](docs/troubleshooting.md) | `[nor](this.md)` |
| [docs/lifetimes.md](docs/lifetimes.md) | |
| [docs/algorithm-library.md](docs/algorithm-library.md) | |
"""

TROUBLESHOOTING = """# Troubleshooting

## By result

| result | name |
|---|---|
| 0 | `ZOR_SUCCESS` |

## By log line

| line | meaning |
|---|---|
| `Connected to %s` | |
| `Faild, 0x%08X` | |

See [above](#by-result) and [lifetimes](lifetimes.md#record-by-record).
"""

LIFETIMES = """# Lifetimes

## Record by record

| record | pointer | allocated by | valid until | freed by |
|---|---|---|---|---|
| `Blob` | `data` | | | |
| | `name` | | | |
| `Event` | the record, `event4.text` | | | |
"""

HEADER = """/** @code printf("not a log text\\n"); */
enum { /** Good. */ ZOR_SUCCESS = 0 };
typedef struct Payload {
  bool flag;
  const char* text; /**< Its text. */
} Payload;
typedef struct Blob {
  char* name;
  uint32_t size;
  uint8_t* data;
} Blob;
typedef struct Event {
  union Data {
    Payload event4;
  } data;
} Event;
"""

SOURCE = r"""// Log("a comment\n");
void F() {
  Log("Connected"
      " to %s\n", name);
  Check(result, L"Faild, 0x%08X\n");
}
"""

ALGORITHMS = """# Algorithms

## What makes a file an algorithm library

| algorithm | file names |
|---|---|
| `general` | `K27` + `05` or `0C` + `06` |
"""

CATALOGUE = 'return {{L"general", FileNames(L"K27(05|0C)(06).dll")},};\n'

DEV = "#!/usr/bin/env bash\nprintf 'usage\\n\\n  test      run every test\\n'\n"

GOOD_TREE = {
    "README.md": README,
    "dev": DEV,
    "docs/troubleshooting.md": TROUBLESHOOTING,
    "docs/lifetimes.md": LIFETIMES,
    "docs/algorithm-library.md": ALGORITHMS,
    "src/discovery/algorithm_catalogue.cpp": CATALOGUE,
    "docs/images/a.svg": '<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 9 8"><title>A</title>'
                         '<defs><path d="M0,0"/></defs><rect width="9" height="8" fill="#fff"/></svg>',
    "src/interface/zor_interface.h": HEADER,
    "src/transport/connect.cpp": SOURCE,
    "build/notes.md": "[built](nowhere.md)",
}


class CheckManual(unittest.TestCase):
    def check(self, name, changed):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for path, text in {**GOOD_TREE, **changed}.items():
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                (root / path).write_text(text, encoding="utf-8")
            return list(check_manual.CHECKS[name](root))

    def expect_problem(self, name, path, old, new, problem):
        self.assertIn(old, GOOD_TREE[path])
        problems = self.check(name, {path: GOOD_TREE[path].replace(old, new)})
        self.assertEqual(len(problems), 1, problems)
        self.assertIn(problem, problems[0])

    def test_accepts_the_good_tree(self):
        self.assertEqual(len(check_manual.CHECKS), 10)
        for name in check_manual.CHECKS:
            with self.subTest(name=name):
                self.assertEqual(self.check(name, {}), [])

    def test_links(self):
        self.expect_problem("links", "README.md", "images/a.svg", "images/b.svg", "there is no docs/images/b.svg")
        self.expect_problem("links", "docs/troubleshooting.md", "lifetimes.md", "README.md", "there is no README.md")

    def test_anchors(self):
        self.expect_problem("anchors", "README.md", "#use-it", "#use", "#use")
        self.expect_problem("anchors", "docs/lifetimes.md", "## Record by record", "## Records", "#record-by-record")

    def test_contents(self):
        long = "# Long\n\nOn this page: [a](#one) ·\n[b](#two)\n\n## One\n\n## Two\n" + "\n" * 90
        self.assertEqual(self.check("contents", {"docs/long.md": long}), [])
        for old in ("[b](#two)", "On this page:"):
            self.assertIn("docs/long.md: its contents lack #two",
                          self.check("contents", {"docs/long.md": long.replace(old, "")}))
        self.assertEqual(self.check("contents", {"docs/long.md": "# Short\n\n## One\n"}), [])

    def test_order(self):
        self.assertEqual(self.check("order", {"docs/new.md": "# New"}),
                         ["README.md: docs/new.md is listed 0 times"])
        row = "| [docs/lifetimes.md](docs/lifetimes.md) | |\n"
        self.expect_problem("order", "README.md", row, 2 * row, "2 times")

    def test_commands(self):
        self.expect_problem("commands", "README.md", "./dev test", "./dev tests", "./dev tests")
        self.assertEqual(len(self.check("commands", {"dev": "exit 0\n"})), 2)

    def test_log_texts(self):
        path = "src/transport/connect.cpp"
        self.expect_problem("log_texts", path, "}", '  Log("New\\n");\n}', 'does not tell of "New')
        self.expect_problem("log_texts", path, "}", '  Log(L"No end");\n}', 'does not tell of "No end"')
        self.expect_problem("log_texts", path, '  Check(result, L"Faild, 0x%08X\\n");\n', "", "does not log")
        row = "| `Connected to %s` | |\n"
        self.expect_problem("log_texts", "docs/troubleshooting.md", row, 2 * row, "tells twice")
        self.assertEqual(len(self.check("log_texts", {path: SOURCE.replace("Connected", "Conected")})), 2)

    def test_results(self):
        self.expect_problem("results", "docs/troubleshooting.md", "| 0 |", "| 1 |", "ZOR_SUCCESS, 0")
        self.expect_problem("results", "src/interface/zor_interface.h", "ZOR_SUCCESS = 0", "", "names no results")

    def test_ownership(self):
        self.expect_problem("ownership", "docs/lifetimes.md", "| | `name` | | | |\n", "", "who owns Blob.name")
        self.expect_problem("ownership", "docs/lifetimes.md", "`data`", "`data`, `size`", "has no pointer size")
        self.expect_problem("ownership", "src/interface/zor_interface.h", "Payload event4;",
                            "Payload event4;\n    Payload event5;", "who owns Event.event5.text")

    def test_catalogue(self):
        self.expect_problem("catalogue", "docs/algorithm-library.md", "`0C`", "`0D`", "general")
        self.assertEqual(len(self.check("catalogue", {
            "src/discovery/algorithm_catalogue.cpp": CATALOGUE.replace("general", "private")})), 2)

    def test_images(self):
        path = "docs/images/a.svg"
        self.expect_problem("images", "README.md", "![A", "[A", "no page shows it")
        self.expect_problem("images", path, "</svg>", "", "no element found")
        self.expect_problem("images", path, "<title>A</title>", "", "has no title")
        self.expect_problem("images", path, 'height="8"', 'height="6"', "has no background")
        self.expect_problem("images", path, ' fill="#fff"', "", "has no background")
        self.expect_problem("images", path, "<rect", '<text x="1">A</text><rect', "has no background")
        self.expect_problem("images", path, "</svg>", '<image href="b.png"/></svg>', "refers to another file")


if __name__ == "__main__":
    unittest.main()
