"""What the manual's scripts need to know of Markdown."""

import os
import re

LINK = re.compile(r"(!?)\[((?:[^\[\]`]|`[^`]*`)*)\]\(([^()\s]+)\)")
CODE = re.compile(r"(`+)(?!`).*?(?<!`)\1(?!`)")
HEADING = re.compile(r"(#{1,6}) +(.*?) *#*$")


def slug(heading):
    """A heading's anchor, as code hosts make it."""
    text = LINK.sub(r"\2", heading).lower()
    return re.sub(r"[^\w\- ]", "", text).strip().replace(" ", "-")


def lines_of(text):
    """The lines of a page, with whether they are outside fenced code."""
    fence = None
    for line in text.splitlines():
        mark = re.match(r" *(`{3,}|~{3,})", line)
        if mark and fence is None:
            fence = mark.group(1)
            yield line, False
        elif fence is not None:
            if line.strip() == fence:
                fence = None
            yield line, False
        else:
            yield line, True


def links_of(text):
    """The links and pictures of a page: (is it a picture, target)."""
    for line, is_text in lines_of(text):
        if not is_text:
            continue
        codes = [match.span() for match in CODE.finditer(line)]
        for link in LINK.finditer(line):
            if not any(start < link.start() and link.end() < end for start, end in codes):
                yield link[1] == "!", link[3]


def is_local(target):
    return not re.match(r"[a-z]+:", target)


def resolve(page, target):
    """A link's file in the tree, and its anchor."""
    file, _, anchor = target.partition("#")
    return os.path.normpath(os.path.join(os.path.dirname(page), file)) if file else page, anchor


def headings_of(text):
    """A page's headings: (level, text)."""
    for line, is_text in lines_of(text):
        heading = HEADING.match(line) if is_text else None
        if heading:
            yield len(heading[1]), heading[2]


def rows_of(text, section):
    """The cells of the tables in a section of the second level, without heads and rules."""
    inside = False
    before = ""
    for line, is_text in lines_of(text):
        heading = HEADING.match(line) if is_text else None
        if heading and len(heading[1]) <= 2:
            inside = heading[2] == section
        is_row = is_text and line.strip().startswith("|")
        is_rule = bool(re.fullmatch(r"[|\-: ]+", line.strip()))
        if inside and is_row and not is_rule and before.startswith("|"):
            yield [cell.strip() for cell in re.split(r"(?<!\\)\|", line.strip())[1:-1]]
        before = line.strip() if is_row else ""


MAINTAINERS = "Changing it"


def navigation(readme):
    """The groups of the README's tables: (title, [page]). The heading above a table is its group."""
    groups = []
    heading = None
    for line, is_text in lines_of(readme):
        if is_text and HEADING.match(line):
            heading = HEADING.match(line)[2]
        row = re.match(r"\| *\[[^\]]*\]\(([^)#]+\.md)\) *\|", line) if is_text else None
        if row:
            if not groups or groups[-1][0] != heading:
                groups.append((heading, []))
            groups[-1][1].append(row[1])
    return groups


def user_pages(readme):
    """The pages for who uses the library: those of the package's manual."""
    groups = dict(navigation(readme))
    groups.pop(MAINTAINERS)  # an error if it is missing: all would be taken for users' pages
    return [page for pages in groups.values() for page in pages]
