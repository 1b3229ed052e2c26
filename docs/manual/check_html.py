#!/usr/bin/env python3
"""Checks the built manual: every link and picture of every page is there, nothing is fetched from
elsewhere, and no Markdown is left that was not understood."""

import html.parser
import pathlib
import re
import sys
import urllib.parse

# Out of these a page's own scripts make the navigation beside it.
NAVIGATION = ("navtreedata.js", "menudata.js")


class Page(html.parser.HTMLParser):
    """The targets, the anchors and the text of one page, the latter without code."""

    CODE = {"code", "pre", "script", "style"}

    def __init__(self, text):
        super().__init__()
        self.links = []
        self.loads = []
        self.anchors = set()
        self.text = ""
        self.inside = []
        self.feed(re.sub(r'<div class="fragment">.*?</div><!-- fragment -->', "", text, flags=re.DOTALL))

    def handle_starttag(self, tag, attrs):
        values = dict(attrs)
        self.anchors |= {values[key] for key in ("id", "name") if values.get(key)}
        for key in ("href", "src", "data"):
            if values.get(key) and (key != "data" or tag == "object"):
                (self.links if tag == "a" else self.loads).append(values[key])
        if tag in self.CODE:
            self.inside.append(tag)

    def handle_endtag(self, tag):
        if self.inside and self.inside[-1] == tag:
            self.inside.pop()

    def handle_data(self, data):
        if not self.inside:
            self.text += data


def problems_of(folder):
    pages = {path.name: Page(path.read_text()) for path in sorted(folder.glob("*.html"))}
    problems = []
    for name, page in pages.items():
        if name.startswith(("page-", "index.")):
            problems += [f"{name}: {mark} is left" for mark in re.findall(r"\*\*|`+|\]\(", page.text)]
        for target in page.loads + page.links:
            url = urllib.parse.urlsplit(target)
            if url.scheme or url.netloc:
                if target in page.loads and url.scheme != "javascript":
                    problems.append(f"{name}: loads {target}")
                continue
            path = urllib.parse.unquote(url.path) or name
            if not (folder / path).exists():
                problems.append(f"{name}: there is no {path}")
            elif url.fragment and path in pages and url.fragment not in pages[path].anchors:
                problems.append(f"{name}: {path} has no {url.fragment}")
    for name in NAVIGATION:
        script = (folder / name).read_text() if (folder / name).exists() else ""
        targets = re.findall(r'"([\w.-]+\.html)(?:#(\w+))?"', script)
        if pages and not targets:
            problems.append(f"{name}: has no links")
        for path, anchor in targets:
            if path not in pages:
                problems.append(f"{name}: there is no {path}")
            elif anchor and anchor not in pages[path].anchors:
                problems.append(f"{name}: {path} has no {anchor}")
    return sorted(set(problems)), len(pages)


def main(folder):
    problems, count = problems_of(folder)
    for problem in problems:
        print(problem)
    print(f"{count} pages, {len(problems)} problems")
    return 1 if problems or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
