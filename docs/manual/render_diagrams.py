#!/usr/bin/env python3
"""Draws docs/diagrams/*.dot (Graphviz) and *.msc (mscgen) as docs/images/*.svg.

Each picture carries the checksum of its source, and only one whose source has changed is drawn
anew: other versions of the tools would draw the others a little differently. With --check nothing
is drawn, and no tool is needed: each picture must have its source's checksum.
"""

import argparse
import hashlib
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FONTS = "Helvetica, Arial, sans-serif"


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def draw_dot(source):
    svg = run("dot", "-Tsvg", "-Gfontname=Helvetica", "-Nfontname=Helvetica", "-Efontname=Helvetica",
              str(source))
    svg = re.sub(r"<!--.*?-->\n?", "", svg, flags=re.DOTALL)
    svg = re.sub(r'font-family="Helvetica[^"]*"', f'font-family="{FONTS}"', svg)
    # An edge's label, the only text of this size, is too near to its line.
    svg = re.sub(r'y="([-\d.]+)"([^>]*font-size="11.00")', lambda text: f'y="{float(text[1]) - 2:g}"{text[2]}', svg)
    # The names of nodes and edges, which would be shown under the mouse.
    return re.sub(r"<title>.*?</title>\n?", "", svg)


def draw_msc(source):
    svg = run("mscgen", "-T", "svg", "-i", str(source), "-o", "-")
    # Blanks around a text are drawn by some viewers.
    svg = re.sub(r">\s*\n\s*([^<\s][^<]*?)\s*</text>", r">\1</text>", svg)
    svg = svg.replace('font-family="Helvetica"', f'font-family="{FONTS}"')
    # The tool's idea of a text's width is another font's.
    svg = re.sub(r' textLength="\d+"', "", svg)
    # A label stands on its arrow and, when that is a long one, on the columns that it crosses: put it
    # above the arrow, into the middle of its first lane. What was white behind it goes.
    lines = [tuple(map(int, ends)) for ends in
             re.findall(r'<line x1="(\d+)" y1="(\d+)" x2="(\d+)" y2="(\d+)"', svg)]
    top = min(y for _, y, _, _ in lines)
    columns = sorted({x for x, y, end, _ in lines if x == end and y == top})
    arrows = {y: (min(x, end), max(x, end)) for x, y, end, last in lines if y == last}

    def place(text):
        y = int(text[2])
        arrow = next((level for level in range(y - 7, y + 2) if level in arrows), None)
        if arrow is None:
            return text[0]
        left, right = arrows[arrow]
        if left < columns[0]:  # a line across the picture, with the name of what follows
            return f'<text x="{(columns[0] + columns[1]) // 2}" y="{arrow + 15}" text-anchor="middle"'
        left, right = [x for x in columns if left <= x <= right][:2]
        return f'<text x="{(left + right) // 2}" y="{arrow - 5}" text-anchor="middle"'

    svg = re.sub(r'(?:<polygon fill="white"[^>]*>\s*)?<text x="(\d+)" y="(\d+)"(?![^>]*anchor)', place, svg)
    width, height = re.search(r'viewBox="0 0 (\d+) (\d+)"', svg).groups()
    background = f'<rect width="{width}" height="{height}" fill="white"/>'
    return re.sub(r"(<svg[^>]*>)", rf"\1\n{background}", svg, count=1)


TOOLS = {".dot": draw_dot, ".msc": draw_msc}


def mark(source):
    checksum = hashlib.sha256(source.read_bytes()).hexdigest()
    return f"<!-- Drawn from docs/diagrams/{source.name} ({checksum}) by ./dev docs: do not edit. -->"


def draw(source):
    svg = TOOLS[source.suffix](source)
    svg = re.sub(r"<\?xml[^>]*\?>\s*|<!DOCTYPE[^>]*>\s*", "", svg)
    title = source.read_text().splitlines()[0].lstrip("/# ").rstrip(".")
    return re.sub(r"(<svg[^>]*>)", rf"\1\n<title>{title}</title>\n{mark(source)}", svg, count=1)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true", help="draw nothing")
    parser.add_argument("--all", action="store_true", help="draw those that are up to date, too")
    options = parser.parse_args()

    sources = sorted(path for path in (ROOT / "docs/diagrams").iterdir() if path.suffix in TOOLS)
    stale = []
    for source in sources:
        image = ROOT / "docs/images" / (source.stem + ".svg")
        if not options.all and image.exists() and mark(source) in image.read_text():
            continue
        stale.append(image.name)
        if not options.check:
            image.write_text(draw(source))
    for name in stale:
        print(f"docs/images/{name}: " + ("its source has changed: run ./dev docs" if options.check else "drawn"))
    print(f"{len(sources)} diagrams, {len(stale)} {'stale' if options.check else 'drawn'}")
    return 1 if options.check and (stale or not sources) else 0


if __name__ == "__main__":
    sys.exit(main())
