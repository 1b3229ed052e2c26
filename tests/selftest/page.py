"""The table of checks in docs/windows.md, and what the pages say that rests on them."""

import re


def words(text):
    """Without the line breaks of a page."""
    return " ".join(text.split())


def cell(text):
    return words(text).replace("|", "\\|")


def table(checks):
    """The region of the page, from the list that the kit prints."""
    lines = []
    theme = None
    for check in checks:
        if check["name"].split(".")[0] != theme:
            theme = check["name"].split(".")[0]
            lines += ["", f"### {theme.capitalize()}", "",
                      "| check | assumption | what rests on it | expected | Wine 8 |",
                      "|---|---|---|---|---|"]
        page = check["page"]
        target = page.removeprefix("docs/") if page.startswith("docs/") else f"../{page}"
        wine = "" if check["wine8"] == check["expected"] else f"`{cell(check['wine8'])}`"
        lines.append(f"| `{check['name']}` | {cell(check['assumes'])} "
                     f"| [{page.split('/')[-1]}]({target}): {cell(check['sentence'])} "
                     f"| `{cell(check['expected'])}` | {wine} |")
    return "\n".join(lines).strip()


def written(page):
    """The region as it stands in the page."""
    found = re.search(r"<!-- checks: [^\n]*-->\n(.*?)<!-- end of checks -->", page, re.DOTALL)
    return found.group(1).strip() if found else None
