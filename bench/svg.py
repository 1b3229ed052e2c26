"""Plots as SVG, the same bytes for the same numbers."""

import math
from xml.sax.saxutils import escape

COLOURS = ["#1f4e9c", "#c0392b", "#2e8b57", "#8e5ea2", "#d98e04", "#5b6770", "#00838f", "#a0522d"]
WIDTH, HEIGHT = 760, 420
LEFT, RIGHT, TOP, BOTTOM = 70, 190, 40, 68
FONT = 'font-family="Helvetica, Arial, sans-serif"'


class Axis:
    """Values to positions, linear or logarithmic."""

    def __init__(self, low, high, begin, end, logarithmic=False, ticks=None, text=str):
        self.scale = math.log10 if logarithmic else float
        self.low, self.high, self.begin, self.end = self.scale(low), self.scale(high), begin, end
        self.ticks = [tick for tick in ticks or [] if low <= tick <= high]
        self.text = text

    def at(self, value):
        share = (self.scale(value) - self.low) / (self.high - self.low)
        return self.begin + min(max(share, 0), 1) * (self.end - self.begin)


def horizontal(low, high, **more):
    return Axis(low, high, LEFT, WIDTH - RIGHT, **more)


def vertical(low, high, **more):
    return Axis(low, high, HEIGHT - BOTTOM, TOP, **more)


def text(x, y, words, anchor="middle", size=12, more=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" {FONT}{more}>{escape(words)}</text>'


def plot(title, setting, x, y, x_label, y_label, curves):
    """`setting` is what the figure holds for; `curves`: (name, [(x value, y value)])."""
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" viewBox="0 0 {WIDTH} {HEIGHT}">',
           f"<title>{escape(title)}</title>",
           "<!-- Drawn by ./dev bench: do not edit. -->",
           f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
           text((LEFT + WIDTH - RIGHT) / 2, 22, title, size=14)]
    for tick in x.ticks:
        out.append(f'<line x1="{x.at(tick):.1f}" y1="{TOP}" x2="{x.at(tick):.1f}" y2="{HEIGHT - BOTTOM}" stroke="#e4e4e4"/>')
        out.append(text(x.at(tick), HEIGHT - BOTTOM + 17, x.text(tick)))
    for tick in y.ticks:
        out.append(f'<line x1="{LEFT}" y1="{y.at(tick):.1f}" x2="{WIDTH - RIGHT}" y2="{y.at(tick):.1f}" stroke="#e4e4e4"/>')
        out.append(text(LEFT - 8, y.at(tick) + 4, y.text(tick), anchor="end"))
    out.append(f'<rect x="{LEFT}" y="{TOP}" width="{WIDTH - RIGHT - LEFT}" height="{HEIGHT - BOTTOM - TOP}" fill="none" stroke="#888"/>')
    out.append(text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 30, x_label))
    out.append(text(LEFT, HEIGHT - 8, setting, anchor="start", size=10))
    middle = (TOP + HEIGHT - BOTTOM) / 2
    out.append(text(18, middle, y_label, more=f' transform="rotate(-90 18 {middle:.1f})"'))
    for number, (name, points) in enumerate(curves):
        colour = COLOURS[number % len(COLOURS)]
        # Some lie on each other: dashes let both be seen.
        dash = ' stroke-dasharray="6 4"' if number % 2 else ""
        path = " ".join(f"{x.at(a):.1f},{y.at(b):.1f}" for a, b in points)
        out.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"{dash}/>')
        level = TOP + 10 + 20 * number
        out.append(f'<line x1="{WIDTH - RIGHT + 14}" y1="{level}" x2="{WIDTH - RIGHT + 40}" y2="{level}" stroke="{colour}" stroke-width="2"{dash}/>')
        out.append(text(WIDTH - RIGHT + 46, level + 4, name, anchor="start"))
    return "\n".join(out + ["</svg>", ""])
