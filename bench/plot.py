#!/usr/bin/env python3
"""Draws the pictures of docs/performance.md: what a packet costs, whether that grows, and what single calls take.

    plot.py RESULTS.json FOLDER    writes performance-cost.svg, performance-growth.svg, performance-calls.svg there
"""

import json
import math
import os
import sys

sys.dont_write_bytecode = True # the checkout stays clean
from report import MAIN, MODES, PICTURE_US, QUANTILES, Results, case_of, number

WIDTH, HEIGHT, TOP, BOTTOM = 830, 390, 62, 310
# One hue per storage mode; the module is drawn solid, its floor hollow and dashed.
STYLE = """
svg { --ink: #1f2328; --grid: #d8dee4; --back: #ffffff; --files: #0a5fc4; --memory: #b04300; }
@media (prefers-color-scheme: dark) {
  svg { --ink: #e6edf3; --grid: #373e47; --back: #0d1117; --files: #6cb2ff; --memory: #ff9b52; }
}
text { font: 13px sans-serif; fill: var(--ink); }
.title { font-size: 16px; } .end { text-anchor: end; } .middle { text-anchor: middle; }
.back { fill: var(--back); } .grid { stroke: var(--grid); } .limit { stroke: var(--ink); stroke-dasharray: 2 4; }
.files { --hue: var(--files); } .memory { --hue: var(--memory); } text.files, text.memory { fill: var(--hue); }
polyline { fill: none; stroke: var(--hue); stroke-width: 2; } polyline.floor { stroke-dasharray: 6 4; }
circle { fill: var(--hue); stroke: var(--hue); stroke-width: 2; } circle.floor { fill: var(--back); }
"""
TICKS = {-2: "10 ns", -1: "100 ns", 0: "1 us", 1: "10 us", 2: "100 us", 3: "1 ms", 4: "10 ms", 5: "100 ms", 6: "1 s"}


class Picture:
    """Panels of lines over named places, with time growing by powers of ten from `least` to `most` microseconds."""

    def __init__(self, title, values):
        self.low = math.floor(math.log10(min(values)))
        self.high = max(math.ceil(math.log10(max(values))), self.low + 1)
        self.parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" width="{WIDTH}" height="{HEIGHT}" '
            f'role="img" aria-label="{title}">', f"<title>{title}</title>", f"<style>{STYLE}</style>",
            f'<rect class="back" width="{WIDTH}" height="{HEIGHT}"/>',
        ]
        self.text(20, 30, title, "title")

    def text(self, x, y, text, kind=""):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" class="{kind}">{text}</text>')

    def y(self, microseconds):
        return BOTTOM + (math.log10(microseconds) - self.low) / (self.high - self.low) * (TOP - BOTTOM)

    def level(self, left, right, microseconds, kind):
        y = self.y(microseconds)
        self.parts.append(f'<line x1="{left}" x2="{right}" y1="{y:.1f}" y2="{y:.1f}" class="{kind}"/>')
        return y

    def panel(self, left, right, title, places, lines, joined=True):
        """`lines`: (values in microseconds, label, mode, "floor" or nothing); a value for each of the places."""
        for power in range(self.low, self.high + 1):
            self.text(left - 8, self.level(left, right, 10**power, "grid") + 4, TICKS[power], "end")
        step = (right - left) / len(places)
        xs = [left + step * (i + 0.5) for i in range(len(places))]
        for x, place in zip(xs, places):
            self.text(x, BOTTOM + 22, place, "middle")
        self.text((left + right) / 2, BOTTOM + 50, title, "middle")
        for values, _, mode, floor in sorted(lines, key=lambda line: not line[3]): # the module above its floor
            shift = 0 if joined else 12 if mode == "memory" else -12
            points = [(x + shift, self.y(value)) for x, value in zip(xs, values)]
            if joined:
                path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
                self.parts.append(f'<polyline points="{path}" class="{mode} {floor}"/>')
            self.parts.extend(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="{5 if floor else 3}" class="{mode} {floor}"/>'
                              for x, y in points)
        last = -math.inf
        for y, text, mode in sorted((self.y(values[-1]), label, mode) for values, label, mode, _ in lines):
            last = max(y, last + 17) # labels of lines that end close together
            self.text(right + 6, last + 4, text, mode)

    def write(self, path):
        with open(path, "w", encoding="utf-8") as file:
            file.write("\n".join(self.parts + ["</svg>", ""]))


def draw_cost(results):
    kinds = ("start", "regular", "audio")
    lines = [([results.median(MAIN[mode], f"{who}_{kind}_us") for kind in kinds], label, mode, kind_of_line)
             for mode, floor, name in MODES
             for who, label, kind_of_line in (("module", name, ""), ("floor", f"{floor} floor", "floor"))]
    picture = Picture("What a packet costs (1080p60, 50 Mbit/s)", [value for values, *_ in lines for value in values])
    picture.panel(80, 680, "kind of packet", ["first video packet of a group", "other video packet", "audio packet"], lines, joined=False)
    return picture


def draw_growth(results):
    def lines(kilobits):
        return [([results.median(name, f"{who}_video_us") for name in results.cases(mode, kilobits)], label, mode, kind)
                for mode, floor, words in MODES for who, label, kind in (("module", words, ""), ("floor", f"{floor} floor", "floor"))]

    def places(index, kilobits):
        return [case_of(name)[index] for name in results.cases("files", kilobits)]

    by_length, by_duration = lines(50000), lines(1000)
    picture = Picture("Does it grow? Time per video packet", [value for values, *_ in by_length + by_duration for value in values])
    picture.panel(75, 315, "pictures per group (50 Mbit/s, 30 s kept)", places(0, 50000), by_length)
    picture.panel(475, 705, "seconds kept (1 Mbit/s, 120 pictures per group)", places(1, 1000), by_duration)
    return picture


def draw_calls(results):
    lines = [([results.median("Paced", f"{who}_video_{key}_us") for key, _ in QUANTILES], label, mode, kind)
             for mode, floor, name in MODES for who, label, kind in ((mode, name, ""), (floor, f"{floor} floor", "floor"))]
    lines = [(values, f"{label}, {number(values[-1])} us", mode, kind) for values, label, mode, kind in lines]
    picture = Picture("What it can do to a picture's time: SubmitInput with video at 60 pictures per second",
                      [value for values, *_ in lines for value in values] + [PICTURE_US])
    y = picture.level(80, 600, PICTURE_US, "limit")
    picture.text(84, y - 6, "the time of one picture")
    picture.panel(80, 600, "part of the calls that stay within", [words for _, words in QUANTILES], lines)
    return picture


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        results = Results(json.load(file))
    for name, draw in (("cost", draw_cost), ("growth", draw_growth), ("calls", draw_calls)):
        draw(results).write(os.path.join(sys.argv[2], f"performance-{name}.svg"))


if __name__ == "__main__":
    main()
