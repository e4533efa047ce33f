#!/usr/bin/env python3
"""Opens the report page of a real run with two clips in a browser: it draws, its tables add up to the run's JSON report,
and it finds the clips beside it whatever their names are."""

import html
import json
import os
import re
import subprocess
import sys
import tempfile
import urllib.parse
from pathlib import Path

BROWSER = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking",
           "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage", "--virtual-time-budget=5000"]


def show(path, folder):
    """The page as it is after its script had run."""
    browser = subprocess.run([*BROWSER, "--dump-dom", f"--user-data-dir={folder}/browser", path.as_uri()], check=True,
                             capture_output=True, text=True, timeout=60, env={**os.environ, "HOME": str(folder)})
    return browser.stdout


def expect(what, shown, expected):
    if shown != expected:
        sys.exit(f"FAILED: {what}: the page shows {shown!r}, expected {expected!r}")


def check(page, report, fates):
    table = re.search(r'<table id="groups">.*?</table>', page, re.DOTALL)[0]
    groups = [re.findall(r"<td>([^<]*)", row) for row in table.split("<tr>")[2:]]
    expect("what became of the groups", "".join(group[0][0] for group in groups), fates)
    expect("pictures", sum(int(group[4]) for group in groups), report["videoPacketsIn"])
    expect("cached before and after a save", [group[7] for group in groups[6:8]], ["8.0 s", "1.6 s"])
    expect("groups drawn", len(re.findall(r'<rect [^>]*class="group ', page)), len(groups))
    figures = re.search(r'<p id="calls">([\d,]+) calls: p50 ([\d.]+) µs, p99', page)
    expect("calls", figures[1].replace(",", ""), str(report["packetsIn"]))
    expect("whether half of the calls are faster than 100 µs", 0 < float(figures[2]) < 100, True)
    clips = re.search(r'<div id="clips">.*?</section>', page, re.DOTALL)[0]
    expect("groups of each clip", [int(kept) for kept in re.findall(r"(\d+) groups?,", clips)],
           [clip["gopsKept"] for clip in report["clips"]])
    expect("a clip that cannot be shown", "cannot show" in clips, False)
    return [urllib.parse.unquote(html.unescape(url)) for url in re.findall(r'<video [^>]*src="([^"]*)', clips)]


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
            urls = check(show(path, folder), json.loads(run.stdout), fates)
            expect("clips", [(folder / url).resolve() for url in urls], [clip.with_stem(clip.stem + "-1"), clip])


main()
