"""Draws cost over size as an SVG file, both axes logarithmic."""

import math
from xml.sax.saxutils import escape

WIDTH, HEIGHT = 760, 460
LEFT, RIGHT, TOP, BOTTOM = 70, 130, 30, 50
COLOURS = ["#b3001b", "#555555", "#999999", "#2a6f97", "#e07a1f", "#6a4c93", "#3a7d44", "#8a6d1d"]
STYLE = "text { font: 13px sans-serif; fill: #222 } .grid { stroke: #ddd } polyline { fill: none; stroke-width: 2 }"


class Axis:
    """Maps values between two powers of ten to pixels."""

    def __init__(self, values, start, end):
        self.low = math.floor(math.log10(min(values)))
        self.high = math.ceil(math.log10(max(values)))
        self.start, self.end = start, end

    def at(self, value):
        return self.start + (self.end - self.start) * (math.log10(value) - self.low) / (self.high - self.low)

    def ticks(self):
        return [10.0**power for power in range(self.low, self.high + 1)]


def spread_labels(places, gap=15):
    """Moves labels down where they would cover each other; keeps their order."""
    settled, lowest = {}, -math.inf
    for name, y in sorted(places.items(), key=lambda place: place[1]):
        lowest = settled[name] = max(y, lowest + gap)
    return settled


def draw(path, title, x_title, y_title, curves):
    """curves: name -> list of (x, y), all positive."""
    x_axis = Axis([x for curve in curves.values() for x, _ in curve], LEFT, WIDTH - RIGHT)
    y_axis = Axis([y for curve in curves.values() for _, y in curve], HEIGHT - BOTTOM, TOP)
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" viewBox="0 0 {WIDTH} {HEIGHT}">',
        f'<title>{escape(title)}</title><style>{STYLE}</style><rect width="100%" height="100%" fill="white"/>',
    ]
    for tick in x_axis.ticks():
        x = x_axis.at(tick)
        parts.append(f'<line class="grid" x1="{x:.1f}" x2="{x:.1f}" y1="{TOP}" y2="{HEIGHT - BOTTOM}"/>')
        parts.append(f'<text x="{x:.1f}" y="{HEIGHT - BOTTOM + 18}" text-anchor="middle">{tick:,.0f}</text>')
    for tick in y_axis.ticks():
        y = y_axis.at(tick)
        parts.append(f'<line class="grid" y1="{y:.1f}" y2="{y:.1f}" x1="{LEFT}" x2="{WIDTH - RIGHT}"/>')
        parts.append(f'<text x="{LEFT - 8}" y="{y + 4:.1f}" text-anchor="end">{tick:,g}</text>')
    middle = (LEFT + WIDTH - RIGHT) / 2
    parts.append(f'<text x="{middle}" y="{HEIGHT - 10}" text-anchor="middle">{escape(x_title)}</text>')
    parts.append(f'<text x="{LEFT}" y="18">{escape(y_title)}</text>')

    labels = spread_labels({name: y_axis.at(curve[-1][1]) + 4 for name, curve in curves.items()})
    for (name, curve), colour in zip(curves.items(), COLOURS):
        points = " ".join(f"{x_axis.at(x):.1f},{y_axis.at(y):.1f}" for x, y in curve)
        parts.append(f'<polyline points="{points}" stroke="{colour}"/>')
        x = x_axis.at(curve[-1][0]) + 8
        parts.append(f'<text x="{x:.1f}" y="{labels[name]:.1f}" style="fill:{colour}">{escape(name)}</text>')
    parts.append("</svg>\n")
    with open(path, "w", encoding="utf-8") as stream:
        stream.write("\n".join(parts))
