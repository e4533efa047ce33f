#!/usr/bin/env python3
"""Opens the report page of a real run with two clips in a browser: it draws, its tables add up to the run's JSON report,
and it finds the clips beside it whatever their names are."""

import json
import os
import re
import subprocess
import sys
import tempfile
import urllib.parse
from html.parser import HTMLParser
from pathlib import Path

BROWSER = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking",
           "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage", "--virtual-time-budget=5000"]


class Page(HTMLParser):
    """What a page holds after its script had run: the texts of each element with an id, the rectangles, the videos."""

    def __init__(self, path, folder):
        super().__init__()
        self.texts, self.rectangles, self.videos, self.inside = {}, [], [], None
        browser = subprocess.run([*BROWSER, "--dump-dom", f"--user-data-dir={folder}/browser", path.as_uri()], check=True,
                                 capture_output=True, text=True, timeout=60, env={**os.environ, "HOME": str(folder)})
        self.feed(browser.stdout)

    def handle_starttag(self, name, attributes):
        attributes = dict(attributes)
        self.inside = attributes.get("id", self.inside)
        self.rectangles += [attributes["class"]] if name == "rect" and "class" in attributes else []
        self.videos += [attributes["src"]] if name == "video" else []

    def handle_data(self, text):
        self.texts.setdefault(self.inside, []).append(text)

    def rows(self, table, columns):
        cells = self.texts[table]
        body = [cell for cell in cells if cell.strip()]
        return [body[i:i + columns] for i in range(columns, len(body) - len(body) % columns, columns)]


def expect(what, shown, expected):
    if shown != expected:
        sys.exit(f"FAILED: {what}: the page shows {shown!r}, expected {expected!r}")


def check(page, report, clips, fates):
    groups = page.rows("groups", 9)
    expect("what became of the groups", "".join(group[0][0] for group in groups), fates)
    expect("pictures", sum(int(group[4]) for group in groups), report["videoPacketsIn"])
    expect("cached when the first group after a save ended", groups[7][7], "1.6 s")
    expect("groups drawn", sum("group" in kind for kind in page.rectangles), len(groups))
    figures = re.match(r"([\d,]+) calls: p50 ([\d.]+) µs, p99 .*, max (.*)\.", page.texts["calls"][0])
    expect("calls", figures[1].replace(",", ""), str(report["packetsIn"]))
    expect("whether half of the calls are faster than a millisecond", 0 < float(figures[2]) < 1000, True)
    shown = "".join(page.texts["clips"])
    expect("groups of each clip", [int(kept) for kept in re.findall(r"(\d+) groups?,", shown)],
           [clip["gopsKept"] for clip in report["clips"]])
    expect("clips", [(page.path.parent / urllib.parse.unquote(url)).resolve() for url in page.videos], clips)
    expect("a clip that cannot be shown", "cannot show" in shown, False)


def main():
    with tempfile.TemporaryDirectory(prefix="pyx-page-") as name:
        folder = Path(name)
        video, clips, path = folder / "in & out é.mkv", folder / "clips", folder / "page two.html"
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25", "-f", "lavfi", "-i",
                        "sine=sample_rate=48000", "-t", "20", "-c:v", "libx264", "-preset", "veryfast", "-bf", "2", "-g", "40",
                        "-pix_fmt", "yuv420p", "-c:a", "aac", video], check=True)
        clips.mkdir()
        # Of groups of 1.6 s: dropped, written, cut.
        for option, fates in (("--faststart", "ddwwwwwdwwwww"), ("--exact", "ddwwwccdwwwcc")):
            clip = clips / f"100% #1 é{option}.mp4"
            run = subprocess.run([*sys.argv[1:], video, "-o", clip, "--temp", folder, "--json", "--report", path, "--duration",
                                  "5", "--save-at", "10", option], check=True, capture_output=True, text=True)
            page = Page(path, folder)
            page.path = path
            check(page, json.loads(run.stdout), [clip.with_stem(clip.stem + "-1"), clip], fates)


main()
