#!/usr/bin/env python3
"""Draws cost per packet against group length and against the duration kept.

    plot.py RESULTS.json FOLDER    writes performance-group-length.svg and performance-duration.svg there
"""

import json
import math
import os
import sys

sys.dont_write_bytecode = True # the checkout stays clean
from report import Results, case_of, number

WIDTH, HEIGHT = 760, 420
LEFT, RIGHT, TOP, BOTTOM = 70, 190, 50, 60

# (storage, counter, label, colour, dashes)
SERIES = (
    ("files", "module_us", "files", "#1f6fb4", ""),
    ("files", "write_us", "write floor", "#1f6fb4", "6 4"),
    ("memory", "module_mean_us", "memory", "#c2491d", ""),
    ("memory", "grow_mean_us", "growing block", "#c2491d", "6 4"),
    ("files", "copy_us", "copy floor", "#5a6b3b", "2 3"),
)


def points(results, storage, counter, x_of, wanted):
    found = []
    for name in results.names(f"Intake/{storage}/"):
        if wanted(*case_of(name)):
            found.append((x_of(*case_of(name)), results.median(name, counter)))
    return sorted(found)


class Plot:
    def __init__(self, title, x_title, ticks, values):
        self.ticks = ticks
        self.low = math.floor(math.log10(min(values)))
        self.high = math.ceil(math.log10(max(values)))
        self.parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" width="{WIDTH}" height="{HEIGHT}" '
            'font-family="sans-serif" font-size="13" fill="#222">',
            f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#fff"/>',
            f'<text x="{LEFT}" y="26" font-size="16">{title}</text>',
            f'<text x="{(LEFT + WIDTH - RIGHT) / 2}" y="{HEIGHT - 16}" text-anchor="middle">{x_title}</text>',
            f'<text transform="translate(18 {(TOP + HEIGHT - BOTTOM) / 2}) rotate(-90)" text-anchor="middle">'
            'microseconds per packet</text>',
        ]
        self.used = []
        self.axes()

    def x(self, value):
        first, last = math.log(self.ticks[0]), math.log(self.ticks[-1])
        return LEFT + 20 + (math.log(value) - first) / (last - first or 1) * (WIDTH - LEFT - RIGHT - 40)

    def y(self, value):
        share = (math.log10(value) - self.low) / (self.high - self.low)
        return HEIGHT - BOTTOM - share * (HEIGHT - TOP - BOTTOM)

    def axes(self):
        for power in range(self.low, self.high + 1):
            y = self.y(10**power)
            self.parts.append(f'<line x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{y:.1f}" y2="{y:.1f}" stroke="#ddd"/>')
            self.parts.append(f'<text x="{LEFT - 8}" y="{y + 4:.1f}" text-anchor="end">{10**power:,g}</text>')
        for tick in self.ticks:
            self.parts.append(f'<text x="{self.x(tick):.1f}" y="{HEIGHT - BOTTOM + 20}" text-anchor="middle">{tick}</text>')

    def line(self, data, label, colour, dashes):
        path = " ".join(f"{self.x(x):.1f},{self.y(y):.1f}" for x, y in data)
        self.parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2" '
                          f'stroke-dasharray="{dashes}"/>')
        self.parts.extend(f'<circle cx="{self.x(x):.1f}" cy="{self.y(y):.1f}" r="3" fill="{colour}"/>' for x, y in data)
        self.used.append((self.y(data[-1][1]), label, colour, data[-1][1]))

    def write(self, path):
        last = -math.inf
        for y, label, colour, value in sorted(self.used):
            last = max(y, last + 16) # labels of lines that end close together
            self.parts.append(f'<text x="{WIDTH - RIGHT + 10}" y="{last + 4:.1f}" fill="{colour}">{label}, {number(value)}</text>')
        with open(path, "w", encoding="utf-8") as file:
            file.write("\n".join(self.parts + ["</svg>", ""]))


def draw(results, path, title, x_title, x_of, wanted):
    lines = [(points(results, storage, counter, x_of, wanted), label, colour, dashes)
             for storage, counter, label, colour, dashes in SERIES]
    lines = [line for line in lines if line[0]]
    ticks = sorted({x for line in lines for x, _ in line[0]})
    plot = Plot(title, x_title, ticks, [y for line in lines for _, y in line[0]])
    for line in lines:
        plot.line(*line)
    plot.write(path)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        results = Results(json.load(file))
    folder = sys.argv[2]
    os.makedirs(folder, exist_ok=True)
    draw(results, os.path.join(folder, "performance-group-length.svg"), "Intake by group length (30 s kept, 50 Mbit/s)",
         "frames per group", lambda gop, duration, kilobits: gop,
         lambda gop, duration, kilobits: duration == 30 and kilobits == 50000)
    draw(results, os.path.join(folder, "performance-duration.svg"), "Intake by duration (groups of 120 frames, 1 Mbit/s)",
         "seconds kept", lambda gop, duration, kilobits: duration, lambda gop, duration, kilobits: kilobits == 1000)


if __name__ == "__main__":
    main()
