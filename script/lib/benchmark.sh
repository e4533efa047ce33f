#!/usr/bin/env bash
# Google Benchmark's source, from Debian's source package.
#
#   script/lib/benchmark.sh   fetches it if it is not in the cache yet, and prints its folder (for PYX_BENCHMARK_SOURCE)
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
# shellcheck source-path=SCRIPTDIR
source "$PYX_ROOT/script/lib/packages.sh"

target=$PYX_CACHE/benchmark
if [[ ! -e $target/CMakeLists.txt ]]; then
    need_folder "$PYX_CACHE"
    hold_lock "$PYX_CACHE/benchmark.lock"
    if [[ ! -e $target/CMakeLists.txt ]]; then # not fetched by another process while we waited
        work=$(mktemp -d)
        trap 'rm -rf "$work" "$target.partial"' EXIT
        fetch_source benchmark "" "$work"
        rm -rf "$target.partial"
        cp -r "$work/source" "$target.partial" # the temporary folder may be another file system
        mv "$target.partial" "$target"
    fi
fi
printf '%s\n' "$target"
