#!/usr/bin/env python3
"""Where the time goes, function by function: runs one benchmark under Linux's perf and names the functions of the
Windows programs too, which perf cannot read by itself.

    profile.py PROGRAM-FOLDER REGEX TEMP-FOLDER

script/bench --profile calls it, with Wine's environment set up.
"""

import collections
import os
import re
import subprocess
import sys

NM = "x86_64-w64-mingw32-nm"
OBJDUMP = "x86_64-w64-mingw32-objdump"
WINE = "/usr/lib/wine/wine64"


def symbols(path):
    """(address, name) of each function, at the address the file prefers, which Wine gives it when it is free."""
    listing = subprocess.run([NM, "-C", "-n", "--defined-only", path], capture_output=True, text=True, check=True).stdout
    for line in listing.splitlines():
        address, kind, name = line.split(" ", 2)
        if kind in "tTwW":
            yield int(address, 16), name


def image_range(path):
    header = subprocess.run([OBJDUMP, "-p", path], capture_output=True, text=True, check=True).stdout
    base = int(re.search(r"ImageBase\s+([0-9a-f]+)", header).group(1), 16)
    size = int(re.search(r"SizeOfImage\s+([0-9a-f]+)", header).group(1), 16)
    return base, base + size


def short(name):
    """A function's name without its parameters."""
    return re.sub(r"\(.*", "", name.replace("(anonymous namespace)::", ""))


class Images:
    def __init__(self, paths):
        self.images = [(image_range(path), list(symbols(path)), os.path.basename(path)) for path in paths]

    def name(self, address):
        for (begin, end), functions, file in self.images:
            if begin <= address < end:
                low, high = 0, len(functions)
                while high - low > 1:
                    middle = (low + high) // 2
                    low, high = (middle, high) if functions[middle][0] <= address else (low, middle)
                return file, short(functions[low][1])
        return None


def main():
    folder, wanted, temp = sys.argv[1:]
    images = Images([os.path.join(folder, name) for name in os.listdir(folder) if name.endswith((".exe", ".dll"))])
    data = os.path.join(temp, "perf.data")
    command = ["perf", "record", "-q", "-e", "cpu-clock", "-F", "5000", "-o", data, "--", WINE,
               os.path.join(folder, "pyx-bench.exe"), "--temp=Z:" + os.path.join(temp, "files").replace("/", "\\"),
               "--benchmark_filter=" + wanted]
    subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    script = subprocess.run(["perf", "script", "-i", data, "-F", "comm,ip,sym,dso"], capture_output=True, text=True,
                            check=True).stdout
    counts = collections.Counter()
    for line in script.splitlines():
        match = re.match(r"\s*(pyx-bench\S*)\s+([0-9a-f]+)\s+(.*?)\s+\((.*)\)\s*$", line)
        if match:
            address, symbol, file = int(match.group(2), 16), match.group(3), os.path.basename(match.group(4))
            counts[images.name(address) or (file, short(symbol))] += 1
    total = sum(counts.values())
    print(f"{total} samples, 5000 per second")
    by_file = collections.Counter()
    for (file, _), count in counts.items():
        by_file[file] += count
    for file, count in by_file.most_common(10):
        print(f"{100 * count / total:6.2f} %  {file}")
    print()
    for (file, symbol), count in counts.most_common(45):
        print(f"{100 * count / total:6.2f} %  {file:<34} {symbol}")
    print("\nThe module's own functions")
    own = [(symbol, count) for (file, symbol), count in counts.most_common() if file.startswith("pyx-component-ring")]
    for symbol, count in own[:25]:
        print(f"{100 * count / total:6.2f} %  {symbol}")


if __name__ == "__main__":
    main()
