#!/usr/bin/env python3
"""Merges the benchmarks' raw results into one file and prints them as tables.

    report.py --out FILE [--temp DIR] [--wine VERSION] [--into DOCUMENT] RAW.json...   merge, keep, print
    report.py [--into DOCUMENT] FILE                                                   print what was kept

With --into the tables also replace those in a document, between two marks.
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

VERDICTS = {True: "met", False: "NOT MET", None: "in the noise"}
BEGIN, END = "<!-- measured: begin -->\n", "<!-- measured: end -->\n"
MAIN = "Intake/files/gop:120/duration:30/kbit:50000"


class Results:
    """Medians over the repetitions of each benchmark."""

    def __init__(self, kept):
        self.context = kept["context"]
        self.rows = {}
        for row in kept["benchmarks"]:
            self.rows.setdefault(row["name"], []).append(row)

    def names(self, prefix):
        return [name for name in self.rows if name.startswith(prefix)]

    def has(self, name):
        return name in self.rows

    def median(self, name, value):
        """`value` is a counter's name, or a function of a repetition's counters."""
        read = value if callable(value) else lambda row: row[value]
        return statistics.median(read(row) for row in self.rows[name])

    def ratio(self, name, above, below):
        """The median of each repetition's ratio: what drifts drifts for both."""
        return self.median(name, lambda row: row[above] / row[below])

    def repetitions(self, name):
        return len(self.rows[name])


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
        for line in info:
            if line.startswith("model name"):
                return line.split(":", 1)[1].strip()
    return platform.machine()


def merge(paths, temp, wine):
    benchmarks = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            raw = json.load(file)
        for row in raw["benchmarks"]:
            if row["run_type"] == "iteration":
                # The library appends how often it ran.
                row["name"] = row["run_name"].split("/iterations:")[0].split("/min_time:")[0]
                benchmarks.append(row)
    context = {
        "date": datetime.datetime.now().isoformat(timespec="seconds"),
        "processor": processor(),
        "processors": os.cpu_count(),
        "kernel": platform.release(),
        "wine": wine,
        "file_system": file_system(temp),
        "load_average": os.getloadavg(),
    }
    return {"context": context, "benchmarks": benchmarks}


def number(value):
    if abs(value) >= 1000:
        return f"{value:,.0f}"
    return f"{value:.1f}" if abs(value) >= 100 else f"{value:.2f}"


def table(title, head, rows):
    if not rows:
        return
    cells = [head] + [[cell if isinstance(cell, str) else number(cell) for cell in row] for row in rows]
    widths = [max(len(row[i]) for row in cells) for i in range(len(head))]
    print(f"\n{title}")
    for index, row in enumerate(cells):
        print("  " + "  ".join(cell.ljust(w) if i == 0 else cell.rjust(w) for i, (cell, w) in enumerate(zip(row, widths))))
        if index == 0:
            print("  " + "  ".join("-" * width for width in widths))


def times(ratio):
    return f"{ratio:.2f} x"


def over_floor(results, kind):
    return results.median(MAIN, lambda row: row[f"module_{kind}_us"] - row[f"write_{kind}_us"])


def print_intake(results):
    rows = []
    for label, kind in (("video", "video"), ("  start packet", "start"), ("  regular packet", "regular"), ("audio", "audio")):
        rows.append([
            label,
            results.median(MAIN, f"module_{kind}_us"),
            results.median(MAIN, f"write_{kind}_us"),
            times(results.ratio(MAIN, f"module_{kind}_us", f"write_{kind}_us")),
            over_floor(results, kind),
            results.median("Own/files", f"own_{kind}_us"),
            results.median(MAIN, f"copy_{kind}_us"),
        ])
    table("Intake in file mode, microseconds per packet (full cache: a start packet drops the oldest group)",
          ["packet", "module", "write floor", "ratio", "difference", "of our own", "copy floor"], rows)
    print("  Of our own: what is left of a call into the module without the file operations in it. The difference of two\n"
          "  runs over files says the same where it is not lost in their wavering, as it is at a start packet.")


def print_memory_intake(results):
    rows = []
    for name in sorted(results.names("Intake/memory/"), key=lambda name: case_of(name)):
        gop, duration, kilobits = case_of(name)
        if kilobits == 50000:
            rows.append([
                f"{gop} frames",
                results.median(name, "module_mean_us"),
                results.median(name, "grow_mean_us"),
                times(results.ratio(name, "module_mean_us", "grow_mean_us")),
                results.median(name, "copy_us"),
                times(results.ratio(name, "module_mean_us", "copy_us")),
            ])
    table("Intake in memory mode, microseconds per packet (mean over a group, 50 Mbit/s)",
          ["group", "module", "growing block", "ratio", "copy floor", "ratio"], rows)


def case_of(name):
    """(frames per group, seconds kept, kbit/s) of an intake benchmark."""
    fields = dict(field.split(":") for field in name.split("/") if ":" in field)
    return int(fields["gop"]), int(fields["duration"]), int(fields["kbit"])


def print_growth(results):
    rows = []
    for name in sorted(results.names("Intake/files/"), key=lambda name: (-case_of(name)[2], case_of(name))):
        gop, duration, kilobits = case_of(name)
        rows.append([
            f"{gop} frames, {duration} s kept, {kilobits // 1000} Mbit/s",
            f"{results.median(name, 'groups_kept'):.0f}",
            results.median(name, "module_us"),
            results.median(name, "write_us"),
            times(results.ratio(name, "module_us", "write_us")),
        ])
    table("Intake in file mode by group length and duration, microseconds per packet",
          ["stream", "groups", "module", "write floor", "ratio"], rows)
    rows = []
    for name in sorted(results.names("Intake/memory/"), key=lambda name: case_of(name)):
        gop, duration, kilobits = case_of(name)
        if kilobits != 50000:
            rows.append([
                f"{gop} frames, {duration} s kept, {kilobits // 1000} Mbit/s",
                results.median(name, "module_mean_us"),
                results.median(name, "grow_mean_us"),
                times(results.ratio(name, "module_mean_us", "grow_mean_us")),
            ])
    table("Intake in memory mode by duration, microseconds per packet",
          ["stream", "module", "growing block", "ratio"], rows)


def print_rest(results):
    rows = []
    for name, label in (("Trim/files", "in file mode"), ("Trim/memory", "in memory mode")):
        if results.has(name):
            rows.append([label, results.median(name, "module_us"), results.median(name, "floor_us"),
                         times(results.ratio(name, "module_us", "floor_us"))])
    table("Trimming, microseconds per dropped group (floor: deleting its files, freeing its memory)",
          ["", "module", "floor", "ratio"], rows)
    table("Write-out into a muxer that does nothing, microseconds per packet", ["", "module", "floor", "ratio"], [
        ["each read into a buffer of the host", results.median("WriteOut/files", "module_us"),
         results.median("WriteOut/files", "read_us"), times(results.ratio("WriteOut/files", "module_us", "read_us"))],
        ["all read into the same memory", results.median("WriteOut/files", "module_us"),
         results.median("WriteOut/files", "bare_read_us"),
         times(results.ratio("WriteOut/files", "module_us", "bare_read_us"))],
    ])
    rows = []
    for name, label in (("Memory/files", "in file mode"), ("Memory/memory", "in memory mode")):
        rows.append([label, results.median(name, "working_set_bytes_per_minute") / 1e6,
                     results.median(name, "payload_bytes_per_minute") / 1e6 if name == "Memory/memory" else "-",
                     results.median(name, "bytes_per_packet")])
    rows.append(["the host's buffers alone", "", "", results.median("Memory/host-buffers", "bytes_per_packet")])
    table("Memory of the process", ["", "MB per kept minute", "payload in it", "bytes per packet"], rows)
    rows = [[name.removeprefix("Property/"), results.median(name, "real_time") / 1000] for name in results.names("Property/")]
    rows += [[f"first packet after {name.removeprefix('Start/')} start", results.median(name, "real_time") / 1000]
             for name in results.names("Start/")]
    table("Properties and start, microseconds", ["", "median"], rows)


def print_calls(results):
    for name in results.names("Calls/"):
        row = results.rows[name][0]
        calls = sorted((key.removeprefix("calls/") for key in row if key.startswith("calls/")),
                       key=lambda call: -row["us/" + call])
        rows = [[call, row["calls/" + call], row["us/" + call]] for call in calls]
        rows.append(["the rest: our own code, and watching", "", max(0.0, row["total_us"] - sum(row["us/" + call] for call in calls))])
        table(f"Where the time goes: {name.removeprefix('Calls/')}, per packet", ["in", "calls", "us"], rows)


def targets(results):
    """(what, value as text, met or None when the noise hides it) for each target."""
    own_bytes = results.median("Memory/files", "bytes_per_packet") - results.median("Memory/host-buffers", "bytes_per_packet")
    for kind in ("video", "audio"):
        ratio = results.ratio(MAIN, f"module_{kind}_us", f"write_{kind}_us")
        yield f"intake of {kind} into files at most 1.3 x the write floor", times(ratio), ratio <= 1.3
    for kind in ("video", "audio"):
        own = results.median("Own/files", f"own_{kind}_us")
        yield f"at most 2 us of our own per {kind} packet", f"{own:.2f} us", own <= 2.0
    for kind in ("regular", "audio"):
        over = over_floor(results, kind)
        # Less than nothing is no result, only a sign of how much the machine wavers.
        yield f"  the same as {kind} packet minus its floor", f"{over:.2f} us", over <= 2.0 if over > 0 else None
    ratio = results.ratio("Trim/files", "module_us", "floor_us")
    yield "trimming a group at most 1.3 x deleting its files", times(ratio), ratio <= 1.3
    ratio = results.ratio("WriteOut/files", "module_us", "read_us")
    yield "write-out at most 1.3 x the read floor", times(ratio), ratio <= 1.3
    yield "records in file mode at most 400 bytes per packet", f"{own_bytes:.0f} bytes", own_bytes <= 400


def print_all(kept):
    results = Results(kept)
    context = results.context
    print(f"{context['processor']}, {context['processors']} processors, {context['file_system']}, {context['wine']}, "
          f"Linux {context['kernel']}, {context['date']}")
    print("1080p60 at 50 Mbit/s, groups of 120 frames, 30 s kept, AAC-sized sound, where nothing else is said; "
          f"medians of {results.repetitions(MAIN)} repetitions")
    if context["load_average"][0] > context["processors"] / 2 + 1:
        print(f"The machine was busy (load {context['load_average'][0]:.1f}): the numbers waver.")
    print_intake(results)
    print_growth(results)
    print_memory_intake(results)
    print_rest(results)
    print_calls(results)
    table("Targets", ["", "measured", ""], [[what, value, VERDICTS[met]] for what, value, met in targets(results)])


def put_into(path, tables):
    with open(path, encoding="utf-8") as file:
        head, rest = file.read().split(BEGIN)
    tail = rest.split(END)[1]
    with open(path, "w", encoding="utf-8") as file:
        file.write(f"{head}{BEGIN}```text\n{tables}```\n{END}{tail}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--out")
    parser.add_argument("--temp", default="/")
    parser.add_argument("--wine", default="")
    parser.add_argument("--into")
    parser.add_argument("files", nargs="+")
    arguments = parser.parse_args()
    if arguments.out:
        kept = merge(arguments.files, arguments.temp, arguments.wine)
        with open(arguments.out, "w", encoding="utf-8") as file:
            json.dump(kept, file, indent=1)
            file.write("\n")
    else:
        with open(arguments.files[0], encoding="utf-8") as file:
            kept = json.load(file)
    tables = io.StringIO()
    with contextlib.redirect_stdout(tables):
        print_all(kept)
    print(tables.getvalue(), end="")
    if arguments.into:
        put_into(arguments.into, tables.getvalue())


if __name__ == "__main__":
    sys.exit(main())
