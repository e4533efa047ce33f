# Shared by the scripts in script/: sourced, never run.
#
#   PYX_ROOT            the checkout
#   PYX_CACHE           what outlives build/: FFmpeg's libraries, sources, Wine's prefix
#   PYX_JOBS            how many compilers or tests at a time
#   say TEXT            a line of progress on standard error
#   die TEXT [CODE]     a line of failure on standard error, then exit (1)
#   quietly TEXT CMD... runs CMD silently; says TEXT first, on a terminal with the time that has passed, and shows CMD's
#                       output only when it fails
#   need_folder FOLDER  makes it with its parents; when that cannot be, says which variable names another one, and exits
#   hold_lock FILE      waits for the lock, which this script then has until it ends (or closes 9); says when it waits
#   print_version       the version of the checkout, with the number of commits since: the rule of cmake/Version.cmake
#   source_files        the project's own C++ files, one per line, from the checkout's folder
# shellcheck shell=bash

PYX_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
HOME=${HOME:-$(getent passwd "$EUID" | cut -d: -f6 || true)}
PYX_CACHE=${PYX_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/pyx-ring-buffer}
PYX_JOBS=${PYX_JOBS:-$(nproc)}
export HOME PYX_ROOT PYX_CACHE PYX_JOBS

say() { printf '%s\n' "== $*" >&2; }

die()
{
    printf '%s\n' "$1" >&2
    exit "${2:-1}"
}

# A folder for temporary files that is not there would stop every step that makes one, each with words of its own.
if [[ -n ${TMPDIR:-} && ! -w $TMPDIR ]]; then
    say "TMPDIR is no folder that can be written, so /tmp is used: $TMPDIR"
    unset TMPDIR
fi

need_folder()
{
    mkdir -p "$1" 2>/dev/null && [[ -w $1 ]] && return
    case $1 in
    "$PYX_CACHE"*) die "This folder, which keeps libraries between runs, cannot be written: $1 (PYX_CACHE names another)" ;;
    *) die "This checkout cannot be built by this user: the folder $1 cannot be written" ;;
    esac
}

hold_lock()
{
    exec 9>"$1"
    flock --nonblock 9 && return
    say "Waiting for another run ($1)"
    flock 9
}

# Shows the time that has passed, until it is ended.
show_time()
{
    SECONDS=0
    while sleep 1 && kill -0 $$; do
        printf '\r   %d:%02d' $((SECONDS / 60)) $((SECONDS % 60))
    done
}

quietly()
{
    local text=$1 log clock=''
    shift
    say "$text"
    if [[ -t 2 ]]; then
        show_time >&2 2>/dev/null 9>&- &
        clock=$!
    fi
    log=$(mktemp)
    # The command runs in a subshell with errexit of its own: as an operand of || it would lose the caller's.
    local status=0
    set +e
    (set -e; "$@") >"$log" 2>&1 </dev/null
    status=$?
    if [[ -n $clock ]]; then
        { kill "$clock" && wait "$clock"; } 2>/dev/null
        printf '\r\e[K' >&2
    fi
    set -e
    if [[ $status -ne 0 ]]; then
        cat "$log" >&2
        rm -f "$log"
        die "Failed: $text"
    fi
    rm -f "$log"
}

print_version()
{
    local since commits=0
    since=$(git -C "$PYX_ROOT" log -1 --format=%H -- VERSION 2>/dev/null) && [[ -n $since ]] &&
        commits=$(git -C "$PYX_ROOT" rev-list --count "$since..HEAD")
    printf '%s\n' "$(<"$PYX_ROOT/VERSION")$([[ $commits -eq 0 ]] || printf .%d "$commits")"
}

# The project's own C++ files, one per line.
source_files()
{
    (cd "$PYX_ROOT" && find public protected companions tests bench -type f \( -name '*.h' -o -name '*.cpp' \) | sort)
}
