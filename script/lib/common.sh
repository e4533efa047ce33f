# Shared by the scripts in script/: sourced, never run.
#
#   PYX_ROOT            the checkout
#   PYX_CACHE           what outlives build/: FFmpeg's libraries, sources, Wine's prefix
#   PYX_JOBS            how many compilers or tests at a time
#   say TEXT            a line of progress on standard error
#   die TEXT [CODE]     a line of failure on standard error, then exit (1)
#   quietly TEXT CMD... runs CMD silently; says TEXT first, shows CMD's output only when it fails
#   source_files        the project's own C++ files, one per line
# shellcheck shell=bash

PYX_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
PYX_CACHE=${PYX_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/pyx-ring-buffer}
PYX_JOBS=${PYX_JOBS:-$(nproc)}
export PYX_ROOT PYX_CACHE PYX_JOBS

say() { printf '%s\n' "== $*" >&2; }

die()
{
    printf '%s\n' "$1" >&2
    exit "${2:-1}"
}

quietly()
{
    local text=$1 log
    shift
    say "$text"
    log=$(mktemp)
    # The command runs in a subshell with errexit of its own: as an operand of || it would lose the caller's.
    local status=0
    set +e
    (set -e; "$@") >"$log" 2>&1 </dev/null
    status=$?
    set -e
    if [[ $status -ne 0 ]]; then
        cat "$log" >&2
        rm -f "$log"
        die "Failed: $text" "$status"
    fi
    rm -f "$log"
}

# The project's own C++ files, one per line.
source_files()
{
    local folders=() folder
    for folder in public protected companions tests bench; do
        [[ ! -d $PYX_ROOT/$folder ]] || folders+=("$PYX_ROOT/$folder")
    done
    find "${folders[@]}" -type f \( -name '*.h' -o -name '*.cpp' \) | sort
}
