#!/usr/bin/env python3
"""Opens the report page of real runs in a browser and compares what it shows with the run's JSON report: its numbers,
and that it finds the clip beside it whatever the names are."""

import json
import os
import subprocess
import sys
import tempfile
import urllib.parse
from html.parser import HTMLParser
from pathlib import Path

BROWSER = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking",
           "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage", "--virtual-time-budget=5000", "--dump-dom"]
VOID = {"meta", "link", "br", "img", "input", "hr"}


class Element:
    def __init__(self, name, attributes):
        self.name, self.attributes, self.children, self.data = name, dict(attributes), [], ""

    def all(self, name):
        return [found for child in self.children for found in ([child] if child.name == name else []) + child.all(name)]

    def text(self):
        return self.data + "".join(child.text() for child in self.children)


class Page(HTMLParser):
    """The elements of a page as the browser left it after its script had run."""

    def __init__(self, path, folder):
        super().__init__()
        self.open = [Element("page", [])]
        browser = subprocess.run([*BROWSER, f"--user-data-dir={folder}/browser", path.as_uri()], check=True, capture_output=True,
                                 text=True, timeout=60, env={**os.environ, "HOME": str(folder)})
        self.feed(browser.stdout)

    def handle_starttag(self, name, attributes):
        element = Element(name, attributes)
        self.open[-1].children.append(element)
        if name not in VOID:
            self.open.append(element)

    def handle_startendtag(self, name, attributes):
        self.open[-1].children.append(Element(name, attributes))

    def handle_endtag(self, name):
        while len(self.open) > 1 and self.open.pop().name != name:
            pass

    def handle_data(self, text):
        self.open[-1].children.append(Element("#text", []))
        self.open[-1].children[-1].data = text

    def all(self, name):
        return self.open[0].all(name)

    def by_id(self, value):
        pending = [self.open[0]]
        while pending:
            element = pending.pop()
            if element.attributes.get("id") == value:
                return element
            pending.extend(element.children)
        sys.exit(f"FAILED: the page has no {value}")

    def rows(self, table):
        """A dictionary for each row of a table, by column."""
        head, *body = [[cell.text() for cell in row.children] for row in self.by_id(table).all("tr")]
        return [dict(zip(head, row)) for row in body]

    def summary(self):
        terms = self.by_id("summary")
        return dict(zip([term.text() for term in terms.all("dt")], [value.text() for value in terms.all("dd")]))


def check_equal(what, shown, expected):
    if shown != expected:
        sys.exit(f"FAILED: {what}: the page shows {shown!r}, expected {expected!r}")


def total(rows, column):
    return sum(int(row[column].replace(",", "")) for row in rows)


def in_seconds(clock):
    minutes, seconds = clock.split(":")
    return int(minutes) * 60 + float(seconds)


def check_numbers(page, report):
    groups = page.rows("groups")
    kept = [row for row in groups if row["Fate"] in ("written", "cut") and in_seconds(row["Start"]) < report["coveredTo"]]
    check_equal("groups in the clip", len(kept), report["gopsKept"])
    check_equal("groups that can be reached", len([box for box in page.all("rect") if box.attributes.get("role") == "option"]),
                len(groups))
    check_equal("pictures", total(groups, "Pictures"), report["videoPacketsIn"])
    outside = page.summary().get("In no group", "0").split()[0]
    check_equal("bytes", total(groups, "Bytes") + int(outside.replace(",", "")), report["bytesIn"])
    check_equal("start of the clip", in_seconds(kept[0]["Start"]), round(report["coveredFrom"], 3))
    check_equal("packets in", page.summary()["In"].split(" packets")[0], f"{report['packetsIn']:,}")
    check_equal("packets written", page.summary()["Written"].split(" packets")[0], f"{report['packetsWritten']:,}")
    if report["mode"] == "whole":
        check_equal("groups cut", [row for row in kept if row["Fate"] == "cut"], [])
        check_equal("pictures written", total(kept, "Pictures"), report["videoPacketsWritten"])
        check_equal("audio written", total(kept, "Audio"), report["audioPacketsWritten"])
        check_equal("end of the clip", in_seconds(kept[-1]["End"]), round(report["coveredTo"], 3))
    else:
        check_equal("fate of the newest groups", {kept[-1]["Fate"], groups[-1]["Fate"]}, {"cut"})


def check_costs(page, report):
    kinds = {row["Packets"]: row for row in page.rows("kinds")}
    check_equal("calls", total([kinds["all"]], "Calls"), report["packetsIn"])
    check_equal("calls with audio", total([kinds["audio"]], "Calls"), report["audioPacketsIn"])
    check_equal("calls in the histogram", total(page.rows("buckets"), "Calls"), report["packetsIn"])
    for mark in ("p50", "p99", "Max"):
        shown = [text for text in page.by_id("cost").all("text") if kinds["all"][mark] in text.text()]
        check_equal(f"{mark} beside the histogram", bool(shown), True)


def check_clip(page, path, clip):
    """The address beside the page leads to the clip, and the browser can play it."""
    video, = page.all("video")
    found = path.parent / urllib.parse.unquote(video.attributes["src"])
    check_equal("the clip's place", found.resolve(), clip.resolve())
    check_equal("the clip's name", page.by_id("clips").all("a")[0].text(), clip.name)
    check_equal("a clip that cannot be shown", "cannot show" in page.by_id("clips").text(), False)


def main():
    replay = sys.argv[1:]
    with tempfile.TemporaryDirectory(prefix="pyx-page-") as name:
        folder = Path(name)
        video = folder / "in & out é.mkv"
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25", "-f", "lavfi", "-i",
                        "sine=sample_rate=48000", "-t", "20", "-c:v", "libx264", "-preset", "veryfast", "-bf", "2", "-g", "40",
                        "-pix_fmt", "yuv420p", "-c:a", "aac", video], check=True)
        (folder / "clips").mkdir()
        for options, clip, path in ((["--duration", "6"], "100% #1 é.mp4", "page.html"),
                                    (["--duration", "5", "--exact", "--ram"], "clips/a b.mp4", "page two.html")):
            clip, path = folder / clip, folder / path
            run = subprocess.run([*replay, video, "-o", clip, "--temp", folder, "--json", "--report", path, *options], check=True,
                                 capture_output=True, text=True)
            report, page = json.loads(run.stdout), Page(path, folder)
            check_equal("the heading", page.by_id("title").text().endswith(video.name), True)
            check_equal("the verdict", page.by_id("verdict").text(), "✓ 1 clip saved")
            check_numbers(page, report)
            check_costs(page, report)
            check_clip(page, path, clip)
            print(f"{path.name}: {len(page.rows('groups'))} groups, {report['packetsIn']} packets agree with the report")


main()
