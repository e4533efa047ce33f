#!/usr/bin/env python3
"""Merges the benchmarks' raw results into one file and prints them as tables.

    report.py --out FILE [--temp DIR] [--wine VERSION] [--into DOCUMENT] RAW.json...   merge, keep, print
    report.py [--into DOCUMENT] FILE                                                   print what was kept

With --into, what stands between "<!-- measured: NAME -->" and "<!-- measured: end -->" in a document is replaced, for
each name of BLOCKS.
"""

import argparse
import contextlib
import datetime
import io
import json
import os
import platform
import statistics
import sys

CASE = "Intake/{}/group:120/duration:30/kbit:50000"
MAIN = {mode: CASE.format(mode) for mode in ("files", "memory")}
QUANTILES = (("p50", "50 %"), ("p90", "90 %"), ("p99", "99 %"), ("p999", "99.9 %"), ("max", "all"))
PICTURE_US = 1e6 / 60
BY_LENGTH, BY_DURATION = ("50 Mbit/s, 30 to 480 pictures a group", 50000), ("1 Mbit/s, 30 to 600 s kept", 1000)
ALL_KEYS = "Intake/memory/group:1/duration:600/kbit:9600"
# A paced call's own part at most: half of what it was once.
OWN_US = {("files", "video"): 10.5, ("files", "audio"): 5.2, ("memory", "video"): 6.5, ("memory", "audio"): 5.2}
MODES = (("files", "write", "file mode"), ("memory", "copy", "memory mode"))
KINDS = (("video", "video"), ("  start packet", "start"), ("  regular packet", "regular"), ("audio", "audio"))


class Results:
    """Medians over the repetitions of each benchmark."""

    def __init__(self, kept):
        self.context = kept["context"]
        self.rows = {}
        for row in kept["benchmarks"]:
            self.rows.setdefault(row["name"], []).append(row)

    def median(self, name, value):
        """`value` is a counter's name, or a function of a repetition's counters."""
        read = value if callable(value) else lambda row: row[value]
        return statistics.median(read(row) for row in self.rows[name])

    def ratio(self, name, above, below):
        """The median of each repetition's ratio: what drifts drifts for both."""
        return self.median(name, lambda row: row[above] / row[below])

    def cases(self, mode, kilobits):
        names = [name for name in self.rows if name.startswith(f"Intake/{mode}/") and case_of(name)[2] == kilobits]
        return sorted(names, key=case_of)

    def beside(self, name, kind):
        """Cells: the module, its floor, their ratio."""
        above, below = f"module_{kind}_us", f"floor_{kind}_us"
        return [self.median(name, above), self.median(name, below), times(self.ratio(name, above, below))]

    def worst(self, mode, kilobits):
        """The highest ratio to the floor of the cases at a bit rate."""
        return max(self.ratio(name, "module_video_us", "floor_video_us") for name in self.cases(mode, kilobits))

    def spread(self, mode, who, kilobits):
        """Slowest by fastest case of those at a bit rate: how far a cost is from flat."""
        costs = [self.median(name, f"{who}_video_us") for name in self.cases(mode, kilobits)]
        return max(costs) / min(costs)

    def own(self, mode, floor, kind):
        """What the module adds to the median of the paced calls."""
        return self.median("Paced", lambda row: row[f"{mode}_{kind}_p50_us"] - row[f"{floor}_{kind}_p50_us"])


def case_of(name):
    """(pictures per group, seconds kept, kbit/s) of an intake benchmark."""
    return tuple(int(field.split(":")[1]) for field in name.split("/")[2:])


def words(name):
    pictures, duration, kilobits = case_of(name)
    group = "every picture a group" if pictures == 1 else f"{pictures} pictures"
    return f"{group}, {duration} s kept, {kilobits / 1000:g} Mbit/s"


def file_system(path):
    """Type and device of the mount that holds a path."""
    best = ("", "unknown", "unknown")
    path = os.path.realpath(path)
    with open("/proc/mounts", encoding="utf-8") as mounts:
        for line in mounts:
            device, point, kind = line.split()[:3]
            inside = path == point or path.startswith(point.rstrip("/") + "/")
            if inside and len(point) >= len(best[0]):
                best = (point, kind, device)
    return f"{best[1]} on {best[2]}"


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as info:
        names = [line.split(":", 1)[1].strip() for line in info if line.startswith("model name")]
    return names[0] if names else platform.machine()


def merge(paths, temp, wine):
    benchmarks = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            rows = [row for row in json.load(file)["benchmarks"] if row["run_type"] == "iteration"]
        # The library appends how often it ran.
        benchmarks += [row | {"name": row["run_name"].split("/iterations:")[0]} for row in rows]
    context = {
        "date": datetime.datetime.now().isoformat(timespec="seconds"),
        "machine": f"{processor()}, {os.cpu_count()} processors",
        "system": f"{file_system(temp)}, {wine}, Linux {platform.release()}",
        "is_busy": os.getloadavg()[0] > os.cpu_count() / 2 + 1,
    }
    return {"context": context, "benchmarks": benchmarks}


def number(value):
    if abs(value) >= 1000:
        return f"{value:,.0f}"
    return f"{value:.1f}" if abs(value) >= 100 else f"{value:.2f}"


def times(ratio):
    return f"{ratio:.2f} x"


def percent(share):
    return f"{100 * share:.2f} %"


def table(title, head, rows):
    cells = [head] + [[cell if isinstance(cell, str) else number(cell) for cell in row] for row in rows]
    widths = [max(len(row[i]) for row in cells) for i in range(len(head))]
    print(f"\n{title}")
    for index, row in enumerate(cells):
        line = "  ".join(cell.ljust(w) if i == 0 else cell.rjust(w) for i, (cell, w) in enumerate(zip(row, widths)))
        print(f"  {line}".rstrip())
        if index == 0:
            print("  " + "  ".join("-" * width for width in widths))


def print_intake(results):
    rows = [[label, *(cell for mode, _, _ in MODES for cell in results.beside(MAIN[mode], kind))] for label, kind in KINDS]
    table("Microseconds per packet (full cache: a start packet drops the oldest group)",
          ["packet", "file mode", "its floor", "ratio", "memory mode", "its floor", "ratio"], rows)
    for mode, _, label in MODES:
        names = results.cases(mode, 50000) + results.cases(mode, 1000) + ([ALL_KEYS] if mode == "memory" else [])
        table(f"Microseconds per packet in {label} by group length and duration",
              ["stream", "video", "its floor", "ratio", "audio", "its floor", "ratio"],
              [[words(name), *results.beside(name, "video"), *results.beside(name, "audio")] for name in names])


def print_calls(results):
    rows = []
    for mode, floor, label in MODES:
        for who, name in ((mode, label), (floor, f"{floor} floor")):
            for kind in ("video", "audio"):
                rows.append([f"{name}, {kind}"] + [results.median("Paced", f"{who}_{kind}_{key}_us") for key, _ in QUANTILES])
    table("Single calls of SubmitInput at the stream's own pace, microseconds that such a part of them stays within",
          ["", *(text for _, text in QUANTILES)], rows)


def memory_limit(row):
    return 1.05 * row["kept_bytes"] + row["group_bytes"] + 16 * 2**20


def print_memory(results):
    rows = []
    for name, label in (("Memory/files", "file mode, 1 Mbit/s, 600 s kept"), ("Memory/memory", "memory mode, 50 Mbit/s, 60 s kept"),
                        ("Memory/all-keys", "memory mode, every picture a group, 600 s kept")):
        cells = [results.median(name, f"{what}_bytes") / 1e6 for what in ("kept", "taken", "given_back")]
        rows.append([label, *cells, percent(results.ratio(name, "given_back_bytes", "taken_bytes")),
                     results.median(name, lambda row: row["taken_bytes"] / row["packets"])])
    table("Memory of the process, MB", ["", "packets kept", "taken", "given back by Init", "", "bytes taken per packet"], rows)


def targets(results):
    """(what, value as text, whether it is met) for each target."""
    def at_most(limit, text, value):
        return f"{text}: at most {limit} x", times(value), value <= limit

    for kind in ("video", "audio"):
        yield at_most(1.3, f"file mode: {kind} by its floor",
                      results.ratio(MAIN["files"], f"module_{kind}_us", f"floor_{kind}_us"))
    per_packet = results.median("Memory/files", lambda row: row["taken_bytes"] / row["packets"])
    yield "file mode: memory per packet: at most 400 bytes", f"{per_packet:.0f} bytes", per_packet <= 400
    for limit, (text, kilobits) in ((1.2, BY_LENGTH), (1.3, BY_DURATION)):
        yield at_most(limit, f"memory mode: video by its floor, {text}", results.worst("memory", kilobits))
        yield at_most(1.2, f"memory mode: slowest by fastest, {text}", results.spread("memory", "module", kilobits))
    yield at_most(1.3, "memory mode: audio by its floor",
                  results.ratio(MAIN["memory"], "module_audio_us", "floor_audio_us"))
    yield at_most(1.3, "memory mode: video by its floor, every picture a group, 36,000 groups",
                  results.ratio(ALL_KEYS, "module_video_us", "floor_video_us"))
    for name, text in (("Memory/memory", "50 Mbit/s"), ("Memory/all-keys", "every picture a group")):
        taken, limit = results.median(name, "taken_bytes"), results.median(name, memory_limit)
        yield (f"memory mode: process memory, {text}: at most 1.05 x the packets + a group + 16 MiB = {limit / 1e6:.1f} MB",
               f"{taken / 1e6:.1f} MB", taken <= limit)
        share = results.ratio(name, "given_back_bytes", "taken_bytes")
        yield f"memory mode: given back by Init, {text}: at least 99 %", percent(share), share >= 0.99
    for mode, floor, label in MODES:
        for kind in ("video", "audio"):
            own, limit = results.own(mode, floor, kind), OWN_US[mode, kind]
            yield f"{label}: own part of a paced call with {kind}: at most {limit} us", f"{own:.1f} us", own <= limit


def print_targets(results):
    table("Targets", ["", "measured", ""],
          [[what, value, "met" if met else "NOT MET"] for what, value, met in targets(results)])


def print_tables(results):
    context = results.context
    print(f"{context['machine']}, {context['system']}, {context['date']}\n"
          "1080p60 at 50 Mbit/s, groups of 120 pictures, 30 s kept, AAC-sized audio, where nothing else is said; "
          f"medians of {len(results.rows[MAIN['files']])} repetitions")
    if context["is_busy"]:
        print("THE MACHINE WAS BUSY: the numbers waver.")
    for part in (print_intake, print_calls, print_memory, print_targets):
        part(results)


# The answers of the document's first screen.


def markdown(head, rows):
    print("\n".join("| " + " | ".join(row) + " |" for row in [head, ["---"] * len(head), *rows]))


def print_cost(results):
    rows = []
    for mode, floor, label in MODES:
        cells = [results.beside(MAIN[mode], kind) for kind in ("video", "audio")]
        load, least = (results.median("Paced", f"{who}_processor_percent") / 100 for who in (mode, floor))
        rows.append([label, *(f"{number(module)} us, {ratio} its floor" for module, _, ratio in cells),
                     f"{percent(load)}, its floor {percent(least)}"])
    markdown(["1080p60 at 50 Mbit/s", "per video packet", "per audio packet", "of one processor"], rows)
    print(f"\n{results.context['machine']}" + (". It was busy: the numbers waver." if results.context["is_busy"] else "."))


def print_growth(results):
    rows = []
    for text, kilobits in (BY_LENGTH, BY_DURATION):
        rows.append([text] + [f"{times(results.spread(mode, 'module', kilobits))}, its floor "
                              f"{times(results.spread(mode, 'floor', kilobits))}" for mode, _, _ in MODES])
    per_packet = results.median("Memory/files", lambda row: row["taken_bytes"] / row["packets"])
    rows.append(["memory for a kept packet", f"{per_packet:.0f} bytes",
                 f"{times(results.ratio('Memory/memory', 'taken_bytes', 'kept_bytes'))} its bytes"])
    markdown(["slowest / fastest case", "file mode", "memory mode"], rows)


def print_frame_time(results):
    rows = []
    for mode, floor, name in MODES:
        for who, label in ((mode, name), (floor, "its floor")):
            values = [results.median("Paced", f"{who}_video_{key}_us") for key in ("p50", "p99", "max")]
            rows.append([label, *(f"{number(value)} us" for value in values), percent(values[-1] / PICTURE_US)])
    markdown(["one `SubmitInput` with video", "half of the calls within", "99 %", "all", "longest call by a picture's time"], rows)


BLOCKS = {"cost": print_cost, "growth": print_growth, "frame time": print_frame_time, "tables": print_tables}


def put_into(path, results):
    with open(path, encoding="utf-8") as file:
        document = file.read()
    for name, part in BLOCKS.items():
        text = io.StringIO()
        with contextlib.redirect_stdout(text):
            part(results)
        begin, end = f"<!-- measured: {name} -->\n", "<!-- measured: end -->\n"
        head, rest = document.split(begin)
        body = f"```text\n{text.getvalue()}```\n" if name == "tables" else text.getvalue()
        document = head + begin + body + end + rest.split(end, 1)[1]
    with open(path, "w", encoding="utf-8") as file:
        file.write(document)


def main():
    parser = argparse.ArgumentParser()
    for option in ("--out", "--temp", "--wine", "--into"):
        parser.add_argument(option, default="")
    parser.add_argument("files", nargs="+")
    arguments = parser.parse_args()
    if arguments.out:
        kept = merge(arguments.files, arguments.temp, arguments.wine)
        with open(arguments.out, "w", encoding="utf-8") as file:
            json.dump(kept, file, indent=1)
    else:
        with open(arguments.files[0], encoding="utf-8") as file:
            kept = json.load(file)
    print_tables(Results(kept))
    if arguments.into:
        put_into(arguments.into, Results(kept))


if __name__ == "__main__":
    sys.exit(main())
