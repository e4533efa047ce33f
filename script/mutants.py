#!/usr/bin/env python3
"""Puts small random faults into the module and its core, one at a time, and lists those that no test notices.

    script/mutants.py [--count N] [--seed S] [--only N,N...] [--folder FOLDER]

A fault flips a comparison, changes a constant or a sign, or deletes a statement; the seed decides which. Each is built
in a copy of the tree and meets the fast test programs. What does not compile is no fault and does not count. A survivor
is a gap in the tests or changes nothing: that is for a reader to tell. Takes about a minute for each fault; not part of
CI.

Faults reach the code that deletes directories, so everything runs in a mount namespace where only FOLDER (default
build/mutants) can be written.
"""
import argparse
import os
import random
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SOURCES = ["public/common/*.cpp", "public/common/*.h", "protected/src/components/RingBuffer/*.cpp",
           "protected/src/components/RingBuffer/*.h"]
# The second programs run only when the first notice nothing.
STAGES = [["core-test", "module-test", "abi-host"], ["threads-test", "model-test", "fault-test"]]

SWAPS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-", "-": "+",
         "+=": "-=", "-=": "+=", "true": "false", "false": "true"}
TOKEN = re.compile(r"(?<= )(==|!=|<=|>=|<|>|&&|\|\||\+=|-=|\+|-)(?= )|\b(true|false)\b|"
                   r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d+)(?![\w.'])")
STATEMENT = re.compile(r"^\s+(?!\s|(return|using|break|const|constexpr|case|goto)\b)[^{}]*(\(|=|\+\+|--)[^{}]*;$")
NO_CODE = re.compile(r"^\s*(#|static_assert|template)|c_id\{|= 0;")


def blank(match):
    return " " * len(match.group())


def faults(copy):
    """All faults as (file, line index, old line, new line), in the order of the files."""
    found = []
    for path in sorted(path for pattern in SOURCES for path in copy.glob(pattern)):
        lines = path.read_text().splitlines()
        for number, line in enumerate(lines):
            code = re.sub(r'"(\\.|[^"\\])*"|\'(\\.|[^\'\\])*\'', blank, line)
            code = re.sub(r"//.*", blank, code)
            if NO_CODE.search(code) or line.endswith("\\"):
                continue
            for token in TOKEN.finditer(code):
                old = token.group()
                new = SWAPS.get(old) or str(int(old, 0) + 1)
                found.append((path, number, line, line[:token.start()] + new + line[token.end():]))
            starts = number > 0 and re.search(r"[;{})]\s*$|^\s*$", re.sub(r"//.*", "", lines[number - 1]))
            declares = path.suffix == ".h" and not line.startswith(" " * 8)
            if starts and not declares and STATEMENT.search(code.rstrip()):
                found.append((path, number, line, re.match(r"\s*", line).group() + ";"))
    return found


def run(command, folder, log):
    return subprocess.run(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=log, stderr=log).returncode == 0


def judge(copy, log):
    """"does not compile", "noticed" or "SURVIVED"."""
    build = copy / "build/release"
    for programs in STAGES:
        if not run(["cmake", "--build", build, "--target", *programs], copy, log):
            return "does not compile"
        for program in programs:
            if not run(["ctest", "-R", f"^{program}$", "-FA", "heap-checks", "--timeout", "120"], build, log):
                return "noticed"
    return "SURVIVED"


def prepare(copy, log):
    shutil.rmtree(copy, ignore_errors=True)  # what was built there may hold the last run's last fault
    subprocess.run(f"mkdir -p '{copy}' && git ls-files -z | xargs -0 cp --parents -pft '{copy}'", shell=True, cwd=ROOT,
                   check=True)
    options = ["-DPYX_COMPANIONS=OFF", "-DCMAKE_C_COMPILER_LAUNCHER=ccache", "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"]
    programs = [program for stage in STAGES for program in stage]
    if not (run(["cmake", "--preset", "release", *options], copy, log)
            and run(["cmake", "--build", "build/release", "--target", *programs], copy, log)
            and run(["ctest", "-R", f"^({'|'.join(programs)})$"], copy / "build/release", log)):
        sys.exit(f"The tree as it is does not pass its tests, see {log.name}")


def try_all(arguments, copy, log):
    counts = {"does not compile": 0, "noticed": 0, "SURVIVED": 0}
    everything = faults(copy)  # the checkout may change meanwhile
    order = random.Random(arguments.seed).sample(range(len(everything)), len(everything))
    for index in [int(i) for i in arguments.only.split(",")] if arguments.only else order:
        if not arguments.only and counts["noticed"] + counts["SURVIVED"] == arguments.count:
            break
        path, number, old, new = everything[index]
        original = path.read_text()
        lines = original.splitlines()
        lines[number] = new
        path.write_text("\n".join(lines) + "\n")
        begin = time.monotonic()
        verdict = judge(copy, log)
        path.write_text(original)
        counts[verdict] += 1
        print(f"{index:5} {verdict:16} {time.monotonic() - begin:4.0f} s  {path.relative_to(copy)}:{number + 1}\n"
              f"          - {old.strip()}\n          + {new.strip()}", flush=True)
    print(f"{len(everything)} faults possible, {counts}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=60, help="faults that compile (default 60)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", help="these faults, by their numbers in the list")
    parser.add_argument("--folder", type=Path, default=ROOT / "build/mutants")
    arguments = parser.parse_args()
    folder = arguments.folder.resolve()
    if os.environ.get("PYX_MUTANTS_INSIDE") != str(folder):
        folder.mkdir(parents=True, exist_ok=True)
        os.environ["PYX_MUTANTS_INSIDE"] = str(folder)
        script = ('set -e; folder=$1; shift; wine=/tmp/.wine-$(id -u); mkdir -p "$wine"; '
                  'mount --bind "$folder" "$folder"; mount -t tmpfs -o mode=700 wine "$wine"; mount -o remount,ro,bind /; exec "$@"')
        os.execvp("unshare", ["unshare", "--map-root-user", "--mount", "--propagation", "private", "bash", "-c", script,
                              "bash", str(folder), sys.executable, *sys.argv])
    for name, value in {"HOME": "home", "TMPDIR": "temp", "PYX_CACHE": "cache", "CCACHE_DIR": "ccache"}.items():
        (folder / value).mkdir(exist_ok=True)
        os.environ[name] = str(folder / value)
    os.environ.update(CCACHE_BASEDIR=str(folder / "tree"), CCACHE_NOHASHDIR="1")
    with open(folder / "log", "w") as log:
        prepare(folder / "tree", log)
        try_all(arguments, folder / "tree", log)


main()
