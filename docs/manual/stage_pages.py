#!/usr/bin/env python3
"""Makes Doxygen's pages out of the tree's Markdown files, which are written for a code host.

Links between files become references, so that Doxygen finds those that lead nowhere; a source file
that is linked becomes a page of its own. The tables of the README give the order of the pages: a
heading above a table is a group of the navigation. The main page is the README, or the package's.

    stage_pages.py FOLDER [--package]   writes the pages, and a layout made from the tool's own

With --package only the pages for users are written, and none may link to anything else.
"""

import argparse
import pathlib
import re
import shutil
import subprocess
import sys

from markdown import (CODE, HEADING, LINK, is_local, lines_of, navigation, resolve, slug,
                      user_pages)

ROOT = pathlib.Path(__file__).resolve().parents[2]
REFERENCE = ["src/interface/zor_interface.h", "src/interface/zor_result.h",
             "src/interface/zor_loader.h", "src/interface/zor.hpp",
             "src/interface/zor_session.hpp", "src/interface/zor_session_types.hpp",
             "src/interface/zor_session_system.hpp", "src/interface/zor_session_core.hpp"]
MAIN = {"README.md", "packaging/README.md"}
# Source files that are in the package, so that its pages may link to them.
PACKAGED = ("examples/", "simulator/scenarios/", "src/messages/zor_messages.fbs", "LICENSE")


def title_of(path):
    return re.match(r"# +(.*)", (ROOT / path).read_text()).group(1)


def label_of(path):
    return "index" if path in MAIN else "page-" + re.sub(r"\W+", "-", path.removesuffix(".md")).lower()


class Stage:
    def __init__(self, folder, package):
        readme = (ROOT / "README.md").read_text()
        users = user_pages(readme)
        self.folder = folder
        self.main = "packaging/README.md" if package else "README.md"
        self.groups = [(title, pages) for title, pages in navigation(readme)
                       if not package or set(pages) <= set(users)]
        self.allowed = set(users) if package else None
        self.waiting = [self.main]
        self.known = set(self.waiting)

    def need(self, path, page):
        if self.allowed is not None and path not in self.allowed and not path.startswith(PACKAGED):
            sys.exit(f"{page}: links to {path}, which is not in the package")
        if path not in self.known:
            self.known.add(path)
            self.waiting.append(path)

    def run(self):
        for _, pages in self.groups:
            for page in pages:
                self.need(page, self.main)
        while self.waiting:
            path = self.waiting.pop(0)
            text = self.page(path) if path.endswith(".md") else self.source(path)
            (self.folder / (label_of(path) + ".md")).write_text(text)

    def source(self, path):
        return f"# {path} {{#{label_of(path)}}}\n\n@include {path}\n"

    def page(self, path):
        lines = []
        for line, is_text in lines_of((ROOT / path).read_text()):
            heading = HEADING.match(line) if is_text else None
            if heading and len(heading.group(1)) == 1:
                label = "mainpage" if path == self.main else label_of(path)
                line = f"# {heading.group(2)} {{#{label}}}"
            elif heading and path != self.main:
                line = f"{line} {{#{label_of(path)}--{slug(heading.group(2))}}}"
            lines.append(codes(bold(self.links(path, line))) if is_text else line)
        return "\n".join(lines) + "\n"

    def links(self, page, line):
        codes = [match.span() for match in CODE.finditer(line)]
        inside = lambda link: any(start < link.start() and link.end() < end for start, end in codes)
        return LINK.sub(lambda link: link[0] if inside(link) else self.link(page, *link.groups()), line)

    def link(self, page, bang, text, target):
        if not is_local(target):
            return f"{bang}[{text}]({target})"
        path, anchor = resolve(page, target)
        if path in MAIN:
            return f"[{text}](@ref index)"
        if not (ROOT / path).exists():
            sys.exit(f"{page}: there is no {target}")
        if bang:
            shutil.copy(ROOT / path, self.folder / "images")
            return f"![{text}]({pathlib.PurePath(path).name})"
        text = text.replace("`", "")  # not possible in the text of a reference
        if path in REFERENCE:
            return f"[{text}](@ref {pathlib.PurePath(path).name})"
        if (ROOT / path).is_dir():
            return text
        self.need(path, page)
        return f"[{text}](@ref {label_of(path)}{'--' + anchor if anchor else ''})"


def bold(line):
    """Doxygen takes two stars for bold only before a letter."""
    return re.sub(r"\*\*(?=[`\"])((?:`[^`]*`|[^`*])+)\*\*", r"<b>\1</b>", line)


def code(text):
    """A name in code becomes a link when it looks like a call. Doxygen takes a percent sign before a
    word as its own, in code too."""
    text = re.sub(r"^`(ZorIntf[A-Z]\w*)`$", r"`\1()`", text)
    return re.sub(r"%(?=[A-Za-z_])", "%%", text)


def codes(line):
    return CODE.sub(lambda match: code(match[0]), line)


def tab(url, title):
    return f'      <tab type="user" url="{url}" title="{title}"/>'


def layout(groups):
    """The tool's own layout, with the manual's navigation."""
    lines = ["<navindex>", '    <tab type="mainpage" visible="yes" title="Overview"/>']
    for title, pages in groups:
        lines.append(f'    <tab type="usergroup" url="[none]" title="{title}">')
        lines += [tab(f"@ref {label_of(page)}", title_of(page)) for page in pages]
        lines.append("    </tab>")
    lines.append('    <tab type="usergroup" url="[none]" title="Reference">')
    for path in REFERENCE:
        if (ROOT / path).exists():
            lines.append(tab(f"@ref {pathlib.PurePath(path).name}", pathlib.PurePath(path).name))
    lines += ['      <tab type="classlist" visible="yes" title="Types"/>',
              '      <tab type="globals" visible="yes" title="Index"/>', "    </tab>", "  </navindex>"]
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--package", action="store_true")
    options = parser.parse_args()
    folder = options.folder
    shutil.rmtree(folder, ignore_errors=True)
    (folder / "images").mkdir(parents=True)
    stage = Stage(folder, options.package)
    stage.run()
    own = folder / "layout.xml"
    subprocess.run(["doxygen", "-l", own], check=True)
    text = re.sub(r"<navindex>.*?</navindex>", lambda _: layout(stage.groups), own.read_text(), flags=re.DOTALL)
    # A header's description is its introduction: it comes first.
    text = re.sub(r"(<file>\s*<briefdescription[^>]*>)(.*?)(<detaileddescription[^>]*>)", r"\1\3\2", text, flags=re.DOTALL)
    own.write_text(text)


if __name__ == "__main__":
    main()
