#!/usr/bin/env python3
"""Checks the manual against the tree that it tells of.

    check_manual.py CHECK ROOT

prints what is wrong and ends with status 1 if anything is.
"""

import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "docs" / "manual"))
import markdown

PRODUCT = "src"


def pages_of(root):
    """Every Markdown file of the tree, by its path: what is built is none."""
    for path in sorted(root.rglob("*.md")):
        relative = path.relative_to(root)
        if relative.parts[0] not in ("build", "dist", ".git"):
            yield relative.as_posix(), path.read_text(encoding="utf-8")


def page(root, path):
    return (root / path).read_text(encoding="utf-8")


def check_links(root):
    """Every file that a page links or shows exists."""
    for path, text in pages_of(root):
        for _, target in markdown.links_of(text):
            if markdown.is_local(target):
                file, _ = markdown.resolve(path, target)
                if not (root / file).exists():
                    yield f"{path}: there is no {target}"


def check_anchors(root):
    """Every heading that a page links exists."""
    for path, text in pages_of(root):
        for _, target in markdown.links_of(text):
            file, anchor = markdown.resolve(path, target)
            if markdown.is_local(target) and anchor and file.endswith(".md") and (root / file).exists():
                headings = markdown.headings_of(page(root, file))
                if anchor not in [markdown.slug(heading) for _, heading in headings]:
                    yield f"{path}: {file} has no heading for #{anchor}"


LONG_PAGE = 90  # lines, about two screens


def check_contents(root):
    """Every long page begins with a table of its sections: links to all headings of the second level."""
    for path, text in pages_of(root):
        wanted = [markdown.slug(heading) for level, heading in markdown.headings_of(text) if level == 2]
        if len(text.splitlines()) <= LONG_PAGE:
            continue
        table = re.search(r"^On this page: .*?\n\n", text, re.MULTILINE | re.DOTALL)
        links = [target for _, target in markdown.links_of(table[0])] if table else []
        for slug in wanted:
            if f"#{slug}" not in links:
                yield f"{path}: its contents lack #{slug}"


def check_order(root):
    """Every page of docs/ has one place in the README's tables, which order the manual."""
    rows = [line for line, is_text in markdown.lines_of(page(root, "README.md"))
            if is_text and line.startswith("|")]
    listed = [target for row in rows for _, target in markdown.links_of(row)]
    for path in sorted((root / "docs").glob("*.md")):
        count = listed.count(f"docs/{path.name}")
        if count != 1:
            yield f"README.md: docs/{path.name} is listed {count} times"


def check_commands(root):
    """Every ./dev command that a page names is one."""
    usage = subprocess.run(["bash", root / "dev", "help"], check=True, capture_output=True, text=True)
    known = re.findall(r"^  (\w+) {2,}", usage.stdout, re.MULTILINE)
    if not known:
        yield "dev: its help names no command"
    for path, text in pages_of(root):
        for command in re.findall(r"\./dev +([a-z]\w*)", text):
            if command not in known:
                yield f"{path}: there is no ./dev {command}"


def log_texts(source):
    """The texts that a C++ source logs: what Log is called with, and all that ends a line."""
    source = re.sub(r"^\s*//[^\n]*$|/\*.*?\*/", "", source, flags=re.MULTILINE | re.DOTALL)
    literal = r'L?"(?:[^"\\\n]|\\.)*"'
    for found in re.finditer(rf"(\bLog\(\s*)?({literal}(?:\s*{literal})*)", source):
        text = "".join(part[1:-1] for part in re.findall(r'"(?:[^"\\\n]|\\.)*"', found[2]))
        if found[1] or text.endswith(r"\n"):
            yield text


def check_log_texts(root):
    """The page tells of each text that the library can log, and of nothing else."""
    logged = set()
    for path in sorted((root / PRODUCT).rglob("*")):
        if path.suffix in (".cpp", ".h", ".c", ".hpp"):
            logged |= set(log_texts(path.read_text(encoding="utf-8")))
    if not logged:
        yield "the product's sources log nothing"
    told = []
    for line, *_ in markdown.rows_of(page(root, "docs/troubleshooting.md"), "By log line"):
        told.append(line.strip("`") + r"\n")
    for text in sorted(logged - set(told)):
        yield f'docs/troubleshooting.md: does not tell of "{text}"'
    for text in sorted(set(told) - logged):
        yield f'docs/troubleshooting.md: the library does not log "{text}"'
    for text in sorted({text for text in told if told.count(text) > 1}):
        yield f'docs/troubleshooting.md: tells twice of "{text}"'


def header(root):
    text = page(root, "src/interface/zor_interface.h")
    return re.sub(r"/\*.*?\*/", "", text, flags=re.DOTALL)


def check_results(root):
    """The page tells of each result that has a name, by its number."""
    results = re.findall(r"(ZOR_\w+) = (\d+)", header(root))
    if not results:
        yield "src/interface/zor_interface.h: names no results"
    told = [(name.strip("`"), number)
            for number, name, *_ in markdown.rows_of(page(root, "docs/troubleshooting.md"), "By result")]
    for name, number in results:
        if (name, number) not in told:
            yield f"docs/troubleshooting.md: does not tell of {name}, {number}"


def pointers_of(records, record):
    """The pointers in a record, with those of the records in it: "text", "event4.text"."""
    for kind, star, member in re.findall(r"(\w+) ?(\**) ?(\w+);", records[record]):
        if star:
            yield member
        elif kind in records:
            yield from (f"{member}.{inner}" for inner in pointers_of(records, kind))


def check_ownership(root):
    """The page tells of each pointer in each record of the header, and of nothing else."""
    records = dict(re.findall(r"typedef struct (\w+) \{(.*?)\n\} \1;", header(root), re.DOTALL))
    whole = [name for name in records
             if not any(re.search(rf"\b{name} \w+;", body) for body in records.values())]
    pointers = {(name, pointer) for name in whole for pointer in pointers_of(records, name)}
    if not pointers:
        yield "src/interface/zor_interface.h: has no records with pointers"

    told = set()
    record = None
    for cells in markdown.rows_of(page(root, "docs/lifetimes.md"), "Record by record"):
        if len(cells) < 5:
            continue
        found = re.match(r"`(\w+)`", cells[0])
        record = found[1] if found else record
        told |= {(record, name) for name in re.findall(r"`([\w.]+)`", cells[1])}
    for record, member in sorted(pointers - told):
        yield f"docs/lifetimes.md: does not say who owns {record}.{member}"
    for record, member in sorted(told - pointers):
        yield f"docs/lifetimes.md: {record} has no pointer {member}"


def check_catalogue(root):
    """The page has the file names of each algorithm of the catalogue, and no others."""
    source = page(root, "src/discovery/algorithm_catalogue.cpp")
    catalogue = {name: [group.split("|") for group in re.split(r"[()]+", pattern) if group]
                 for name, pattern in re.findall(r'\{L"(\w+)", FileNames\(L"([^"]+)\.dll"\)\}', source)}
    if not catalogue:
        yield "src/discovery/algorithm_catalogue.cpp: has no patterns"
    rows = markdown.rows_of(page(root, "docs/algorithm-library.md"), "What makes a file an algorithm library")
    told = {name.strip("`"): [re.findall(r"`(\w+)`", part) for part in files.split(" + ")]
            for name, files in rows}
    for name in sorted(catalogue.keys() | told.keys()):
        if catalogue.get(name) != told.get(name):
            yield f"docs/algorithm-library.md: {name} has {told.get(name)}, in the catalogue {catalogue.get(name)}"


SVG = "{http://www.w3.org/2000/svg}"


def has_background(picture):
    """Whether the first thing drawn is a white area of the picture's size: a page may be dark."""
    shapes = {SVG + name for name in ("rect", "polygon", "path", "line", "ellipse", "circle", "text")}
    markers = {shape for definitions in picture.iter(SVG + "defs") for shape in definitions.iter()}
    first = next((shape for shape in picture.iter() if shape.tag in shapes and shape not in markers), None)
    if first is None or first.get("fill") not in ("white", "#fff"):
        return False
    left, top, width, height = map(float, picture.get("viewBox").split())
    if first.tag == SVG + "rect":
        corners = [(float(first.get("x", 0)), float(first.get("y", 0)))]
        corners.append((corners[0][0] + float(first.get("width")), corners[0][1] + float(first.get("height"))))
    else:
        corners = [tuple(map(float, corner.split(","))) for corner in first.get("points", "").split()]
    # A drawing tool's margin is within the group that it moves; what counts is the size.
    size = [max(numbers) - min(numbers) for numbers in zip(*corners)]
    return len(size) == 2 and size[0] >= width - 1 and size[1] >= height - 1


def check_images(root):
    """Every picture is shown by a page, is well-formed, fetches nothing, has a title and a background."""
    shown = {markdown.resolve(path, target)[0] for path, text in pages_of(root)
             for is_image, target in markdown.links_of(text) if is_image}
    for path in sorted((root / "docs" / "images").iterdir()):
        name = path.relative_to(root).as_posix()
        if name not in shown:
            yield f"{name}: no page shows it"
        text = path.read_text(encoding="utf-8")
        try:
            picture = xml.etree.ElementTree.fromstring(text)
        except xml.etree.ElementTree.ParseError as error:
            yield f"{name}: {error}"
            continue
        if picture.find(SVG + "title") is None:
            yield f"{name}: has no title"
        if not has_background(picture):
            yield f"{name}: has no background"
        if re.search(r'(href|src)="', text) or "url(http" in text:
            yield f"{name}: refers to another file"


CHECKS = {name.removeprefix("check_"): check for name, check in list(globals().items())
          if name.startswith("check_")}


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in CHECKS:
        print(f"usage: check_manual.py {'|'.join(CHECKS)} ROOT", file=sys.stderr)
        return 2
    problems = list(CHECKS[sys.argv[1]](pathlib.Path(sys.argv[2])))
    for problem in problems:
        print(problem)
    print(f"{len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
