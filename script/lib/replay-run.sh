# Runs the sample host under Wine, and passes on what its user asks for meanwhile. Sourced after wine.sh and
# replay-paths.sh.
#
#   make_private TEMP      makes `private`, this run's own directory inside TEMP, and removes what killed runs left there
#   remove_private         removes it with everything in it
#   run_program PROGRAM ARGUMENT...
#                          runs it to its end; its exit code is in `status`, and `told` is not empty when it came to its
#                          end by itself; `misplaced` is a completed file that could not be moved to its place. INT, TERM and HUP make it save and end, USR1 makes it save
#
#   private/replay.lock    held as long as this script or the program lives
#   private/control        requests for the program, a line each
#   private/completed      the files that the program has completed, and its own end
#   private/status         its exit code
#
# The program gets `control` as this process's open file: when this process is gone, so is that name, and the program
# saves and ends. It runs in a session of its own, so that no signal of a terminal reaches it, nor Wine.
# shellcheck shell=bash disable=SC2034,SC2154 # shared with those who source this file

private='' door='' told='' misplaced='' status='' watch_keys=''
stopped_at='' given_up='' lost_wine=''

make_private()
{
    local temp=$1 left
    if ! has_counterpart "$temp"; then
        door=$(mktemp -d -p /tmp) || return
        ln -s -- "$temp" "$door/temp"
        temp=$door/temp
    fi
    for left in "$temp"/pyx-replay-*/replay.lock; do
        if [[ -f $left && -O $left && ! -L ${left%/*} ]]; then
            (flock -n 9 && rm -rf -- "${left%/*}") 2>/dev/null 9<"$left" || true # held: a run that lives
        fi
    done
    private=$(mktemp -d -- "$temp/pyx-replay-XXXXXXXX" 2>/dev/null) || return
    # Under its name only when it is held: another run would take the directory for one that is left.
    exec {lock}>"$private/new.lock"
    flock "$lock"
    mv -- "$private/new.lock" "$private/replay.lock"
    : >"$private/completed"
    exec {control}>>"$private/control" {completed}<"$private/completed"
}

remove_private()
{
    [[ -z $private ]] || rm -rf -- "$private"
    [[ -z $door ]] || rm -rf -- "$door"
}

request() { printf '%s\n' "$1" >&"$control"; }

# One Ctrl+C may come as two signals, and a service manager sends one after the other.
on_stop()
{
    if [[ $1 == INT && -n $stopped_at && $SECONDS -gt $((stopped_at + 1)) ]]; then
        given_up=1
    fi
    stopped_at=${stopped_at:-$SECONDS}
    request stop
}

# Gives the program descriptors 4 and 5 for its output. Of a terminal Wine would make a console of its own.
open_output()
{
    exec 3<&0
    [[ $input == - ]] || exec 3</dev/null
    exec 4>&1 5>&2
    [[ ! -t 1 ]] || { exec 4> >(trap '' INT TERM HUP; exec cat >&1); cats+=("$!"); }
    [[ ! -t 2 ]] || { exec 5> >(trap '' INT TERM HUP; exec cat >&2); cats+=("$!"); }
}

close_output()
{
    exec 3<&- 4>&- 5>&-
    [[ ${#cats[@]} -eq 0 ]] || wait "${cats[@]}" || true # a terminal that is gone takes nothing
}

# Prints the program's process number, and ends its output with the program.
keep_program()
{
    local result=0
    trap '' INT TERM HUP USR1
    (umask 077; exec setsid "$WINE" "$@") <&3 >&4 2>&5 &
    echo $!
    wait $! || result=$?
    echo "$result" >"$private/status"
    [[ -e /proc/$$/fd/$control ]] || remove_private # nobody is left to do it
}

# Whether this terminal's keys are meant for us: we have one and are in its foreground.
has_keys()
{
    local process group terminal
    [[ -n $keys ]] || return
    read -r process <"/proc/$$/stat"
    read -r _ _ group _ _ terminal _ <<<"${process##*) }"
    [[ $group == "$terminal" ]]
}

take_all_completed()
{
    local file
    while IFS= read -rd '' -u "$completed" file; do
        if [[ -z $file ]]; then
            told=1
        else
            take_completed "$file" || misplaced=$file
        fi
    done
}

# Waits a moment, for a key or the program's end. A read that a signal meets may lose what it has read, so the keeper's
# output has nothing to be read but its end.
wait_a_moment()
{
    local key='' seconds=0.5
    if has_keys; then
        seconds=0.05
        if IFS= read -rsn 1 -t 0.2 -u "$keys" key && [[ $key == [sS] ]]; then
            request save
        fi
    fi
    read -r -t "$seconds" -u "$ended" || true
}

has_ended() { [[ -s $private/status || ! -e /proc/$keeper ]]; }

run_program()
{
    local process keeper ended keys='' cats=()
    trap 'on_stop INT' INT
    trap 'on_stop TERM' TERM
    trap 'on_stop HUP' HUP
    trap 'request save' USR1
    [[ -z $watch_keys ]] || { exec {keys}</dev/tty; } 2>/dev/null || keys=''
    open_output
    find_wineserver || wineserver=''
    exec {ended}< <(keep_program "$@")
    keeper=$!
    read -r -u "$ended" process
    until has_ended; do
        wait_a_moment
        take_all_completed
        if [[ -n $wineserver && ! -e /proc/$wineserver/exe ]]; then
            lost_wine=1
        fi
        [[ -z $given_up$lost_wine ]] || kill -KILL "$process" 2>/dev/null || true
    done
    close_output
    take_all_completed
    status=$(cat "$private/status" 2>/dev/null) || status=1
    trap - INT TERM HUP USR1
}
