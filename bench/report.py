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
BY_LENGTH, BY_DURATION = ("from 30 to 480 pictures per group", 50000), ("from 30 to 600 s kept", 1000)


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

    def cases(self, mode):
        names = [name for name in self.rows if name.startswith(f"Intake/{mode}/")]
        return sorted(names, key=lambda name: (-case_of(name)[2], case_of(name)))

    def beside(self, name, above, below):
        """Cells: the module, its floor, their ratio."""
        return [self.median(name, above), self.median(name, below), times(self.ratio(name, above, below))]

    def spread(self, mode, value, kilobits):
        """Dearest by cheapest case of those at a bit rate: how far a cost is from flat."""
        costs = [self.median(name, value) for name in self.cases(mode) if case_of(name)[2] == kilobits]
        return max(costs) / min(costs)

    def given_back(self, what):
        return self.ratio("Memory/memory", f"{what}_given_back_per_group", f"{what}_bytes_per_group")


def case_of(name):
    """(pictures per group, seconds kept, kbit/s) of an intake benchmark."""
    return tuple(int(field.split(":")[1]) for field in name.split("/")[2:])


def words(name):
    pictures, duration, kilobits = case_of(name)
    return f"{pictures} pictures, {duration} s kept, {kilobits // 1000} Mbit/s"


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
    rows = []
    for label, kind in (("video", "video"), ("  start packet", "start"), ("  regular packet", "regular"), ("audio", "audio")):
        rows.append([label, *results.beside(MAIN["files"], f"module_{kind}_us", f"write_{kind}_us"),
                     results.median("Own/files", f"own_{kind}_us"), results.median("Own/files", f"host_{kind}_us"),
                     *results.beside(MAIN["memory"], f"module_{kind}_us", f"commit_{kind}_us")])
    table("Intake, microseconds per packet (full cache: a start packet drops the oldest group)",
          ["packet", "file mode", "write floor", "ratio", "of our own", "of that the host's", "memory mode", "commit floor",
           "ratio"], rows)
    table("Intake in file mode by group length and duration, microseconds per packet",
          ["stream", "module", "write floor", "ratio"],
          [[words(name), *results.beside(name, "module_us", "write_us")] for name in results.cases("files")])
    table("Intake in memory mode by group length and duration, microseconds per packet",
          ["stream", "module", "commit floor", "ratio", "mean", "its floor", "ratio", "us per MB", "heap block each"],
          [[words(name), *results.beside(name, "module_us", "commit_us"),
            *results.beside(name, "module_mean_us", "commit_mean_us"), 1e6 * results.median(name, per_byte),
            results.median(name, "heap_us")] for name in results.cases("memory")])
    print("  Medians of start, regular and audio packets in their shares; the mean holds what came in between, too.")


def per_byte(row):
    return row["module_us"] / row["bytes_per_packet"]


def print_calls(results):
    rows = []
    for who, label in (("files", "file mode"), ("write", "write floor"), ("memory", "memory mode"), ("commit", "commit floor")):
        for kind in ("video", "audio"):
            rows.append([f"{label}, {kind}"] + [results.median("Paced", f"{who}_{kind}_{key}_us") for key, _ in QUANTILES])
    table("Single calls of SubmitInput at the stream's own pace, microseconds that such a part of them stays within",
          ["", *(text for _, text in QUANTILES)], rows)


def print_rest(results):
    table("Letting go and reading back, microseconds", ["", "module", "floor", "ratio"],
          [[label, *results.beside(name, "module_us", floor)] for label, name, floor in (
              ("dropping a group in file mode (floor: deleting its files)", "Trim/files", "floor_us"),
              ("dropping a group in memory mode (floor: freeing its memory)", "Trim/memory", "floor_us"),
              ("write-out in file mode, per packet (floor: reading it)", "WriteOut/files", "read_us"))])
    modes = (("Memory/files", "in file mode"), ("Memory/memory", "in memory mode"))
    table("Memory of the process", ["", "MB per kept minute", "payload", "bytes per packet", "ms for a first packet"],
          [[label, results.median(name, "working_set_bytes_per_minute") / 1e6,
            results.median(name, "payload_bytes_per_minute") / 1e6, results.median(name, "bytes_per_packet"),
            results.median(name, "first_packet_us") / 1e3] for name, label in modes]
          + [["the host's buffers alone", "", "", results.median("Memory/host-buffers", "bytes_per_packet"), ""]])
    table("A group in memory mode, MB", ["", "occupied", "given back with it", ""],
          [[label, results.median("Memory/memory", f"{what}_bytes_per_group") / 1e6,
            results.median("Memory/memory", f"{what}_given_back_per_group") / 1e6, percent(results.given_back(what))]
           for what, label in (("reserved", "address space"), ("committed", "committed"))])


def targets(results):
    """(what, value as text, whether it is met) for each target."""
    def ratio(text, value):
        return text, times(value), value <= 1.3

    for kind in ("video", "audio"):
        yield ratio(f"file mode: intake of {kind} at most 1.3 x the write floor",
                    results.ratio(MAIN["files"], f"module_{kind}_us", f"write_{kind}_us"))
        own = results.median("Own/files", f"own_{kind}_us")
        yield f"file mode: at most 2 us of our own per {kind} packet", f"{own:.2f} us", own <= 2.0
    yield ratio("file mode: dropping a group at most 1.3 x its floor", results.ratio("Trim/files", "module_us", "floor_us"))
    yield ratio("file mode: write-out at most 1.3 x its floor", results.ratio("WriteOut/files", "module_us", "read_us"))
    own_bytes = results.median("Memory/files", "bytes_per_packet") - results.median("Memory/host-buffers", "bytes_per_packet")
    yield "file mode: records of at most 400 bytes per packet", f"{own_bytes:.0f} bytes", own_bytes <= 400
    fast = [name for name in results.cases("memory") if case_of(name)[2] == 50000]
    slow = [name for name in results.cases("memory") if name not in fast]
    for cases in (fast, slow):
        worst = max(cases, key=lambda name: results.ratio(name, "module_us", "commit_us"))
        yield ratio(f"memory mode: intake at most 1.3 x the commit floor (worst: {words(worst)})",
                    results.ratio(worst, "module_us", "commit_us"))
    over = max(results.median(name, lambda row: row["module_us"] - row["commit_us"]) for name in slow)
    yield "memory mode: small packets (1 Mbit/s) at most 2 us over the commit floor", f"{over:.2f} us", over <= 2.0
    for text, kilobits in (BY_LENGTH, BY_DURATION):
        yield ratio(f"memory mode: a byte's cost within 1.3 x {text}", results.spread("memory", per_byte, kilobits))
    for what, text in (("reserved", "address space"), ("committed", "committed memory")):
        share = results.given_back(what)
        yield f"memory mode: 99 % of a group's {text} given back with it", percent(share), share >= 0.99


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
    for part in (print_intake, print_calls, print_rest, print_targets):
        part(results)


# The answers of the document's first screen.


def markdown(head, rows):
    print("\n".join("| " + " | ".join(row) + " |" for row in [head, ["---"] * len(head), *rows]))


def print_cost(results):
    rows = []
    for mode, floor, label in (("files", "write", "file mode"), ("memory", "commit", "memory mode")):
        cells = [[number(value) if not isinstance(value, str) else value for value in
                  results.beside(MAIN[mode], f"module_{kind}_us", f"{floor}_{kind}_us")] for kind in ("video", "audio")]
        load, least = (results.median("Paced", f"{who}_processor_percent") / 100 for who in (mode, floor))
        rows.append([label, *(f"{module} us, {ratio} its floor" for module, _, ratio in cells),
                     f"{percent(load)}, its floor {percent(least)}"])
    markdown(["1080p60 at 50 Mbit/s", "per video packet", "per audio packet", "of one processor"], rows)
    print(f"\n{results.context['machine']}" + (". It was busy: the numbers waver." if results.context["is_busy"] else "."))


def print_growth(results):
    rows = []
    for text, kilobits in (BY_LENGTH, BY_DURATION):
        rows.append([text] + [f"{times(results.spread(mode, 'module_us', kilobits))}, its floor "
                              f"{times(results.spread(mode, floor, kilobits))}"
                              for mode, floor in (("files", "write_us"), ("memory", "commit_us"))])
    payload = results.ratio("Memory/memory", "committed_bytes_per_group", "payload_bytes_per_group")
    rows.append(["memory for a kept packet", f"{results.median('Memory/files', 'bytes_per_packet'):.0f} bytes",
                 f"{times(payload)} its bytes"])
    markdown(["dearest case by cheapest", "file mode", "memory mode"], rows)


def print_frame_time(results):
    rows = []
    for who, label in (("files", "file mode"), ("write", "its floor"), ("memory", "memory mode"), ("commit", "its floor")):
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
