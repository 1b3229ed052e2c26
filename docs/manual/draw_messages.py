#!/usr/bin/env python3
"""Draws the messages that the protocol page shows, byte by byte, as docs/images/message-*.svg.

The request is one of the pinned ones; reply and notification are the simulated server's own. With
--check nothing is written: the pictures must be what would be drawn.
"""

import argparse
import pathlib
import sys
from xml.sax.saxutils import escape

import message_layout

ROOT = pathlib.Path(__file__).resolve().parents[2]
IMAGES = ROOT / "docs" / "images"

MESSAGES = {
    "message-request.svg": ("tests/golden/requests/get.hex",
                            'The request of ZorIntfGet(5, {"gain", 1.0}), byte by byte'),
    "message-reply.svg": ("docs/diagrams/get-reply.hex",
                          "A server's reply to this request, byte by byte"),
    "message-notification.svg": ("docs/diagrams/notification.hex",
                                 "A notification of type 5, byte by byte"),
}

PER_LINE = 12
CELL = 24
LINE = 22
LEFT = 214
BYTES = LEFT + 44
TEXT = BYTES + PER_LINE * CELL + 16
WIDTH = 868
COLOURS = ["#dbe8fa", "#e3f1dc", "#fdeccf", "#f3dff0", "#dff3f1", "#f8dfd8"]
FONTS = 'font-family="Helvetica, Arial, sans-serif" font-size="13"'
MONO = 'font-family="DejaVu Sans Mono, Consolas, monospace" font-size="12"'


def lines_of(regions):
    """The regions cut to lines of the picture: (region, start, end, is it the region's first)."""
    for region in regions:
        for start in range(region.start, region.end, PER_LINE):
            yield region, start, min(start + PER_LINE, region.end), start == region.start


def draw(data, regions, title, source):
    lines = list(lines_of(regions))
    parts = list(dict.fromkeys(region.part for region in regions))
    height = 44 + len(lines) * LINE + 12
    out = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" {FONTS}>',
        f"  <title>{escape(title)}</title>",
        f"  <!-- Drawn from {source} by ./dev docs: do not edit. -->",
        f'  <rect width="{WIDTH}" height="{height}" fill="#fff"/>',
        f'  <g fill="#555"><text x="14" y="26">part</text><text x="{BYTES - 14}" y="26" '
        f'text-anchor="end">at</text><text x="{BYTES + 4}" y="26">bytes</text>'
        f'<text x="{TEXT}" y="26">meaning</text></g>',
    ]
    shown = None
    for index, (region, start, end, first) in enumerate(lines):
        y = 38 + index * LINE
        colour = COLOURS[parts.index(region.part) % len(COLOURS)]
        faint = ' fill="#777"' if region.meaning.startswith(("padding", "slot")) and (
            "padding" in region.meaning or "absent" in region.meaning) else ""
        if region.part != shown:
            if shown is not None:
                out.append(f'  <path d="M8,{y} H{WIDTH - 8}" stroke="#bbb"/>')
            out.append(f'  <text x="14" y="{y + 15}" font-weight="bold">{escape(region.part)}</text>')
            shown = region.part
        out.append(f'  <g {MONO} text-anchor="middle">')
        out.append(f'    <text x="{BYTES - 14}" y="{y + 15}" text-anchor="end" fill="#555">{start}</text>')
        for place, byte in enumerate(data[start:end]):
            x = BYTES + place * CELL
            out.append(f'    <rect x="{x}" y="{y + 2}" width="{CELL - 1}" height="{LINE - 4}" fill="{colour}"/>')
            out.append(f'    <text x="{x + (CELL - 1) / 2:g}" y="{y + 15}">{byte:02x}</text>')
        out.append("  </g>")
        if first:
            out.append(f'  <text x="{TEXT}" y="{y + 15}"{faint}>{escape(region.meaning)}</text>')
    return "\n".join(out + ["</svg>", ""])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true")
    options = parser.parse_args()

    types = message_layout.read_schema((ROOT / "src/messages/zor_messages.fbs").read_text())
    stale = []
    for name, (source, title) in MESSAGES.items():
        data = bytes.fromhex((ROOT / source).read_text())
        picture = draw(data, message_layout.lay_out(types, data), title, source)
        if not options.check:
            (IMAGES / name).write_text(picture)
        elif not (IMAGES / name).exists() or (IMAGES / name).read_text() != picture:
            stale.append(name)
    for name in stale:
        print(f"docs/images/{name} is not what its bytes give: run ./dev docs")
    print(f"{len(MESSAGES)} messages, {len(stale)} stale")
    return 1 if stale else 0


if __name__ == "__main__":
    sys.exit(main())
