# Runs the sample host under Wine, and passes on what its user asks for meanwhile. Sourced after wine.sh.
#
#   full_path PATH         sets `path` to PATH from the root on, with links followed. False: the program cannot have it.
#                          Wine has every name exactly, with two exceptions: a backslash parts the names of a path, and
#                          what is not UTF-8 has no counterpart
#   make_private           makes `private`, this run's own directory
#   remove_private         removes it
#   run_program PROGRAM ARGUMENT...
#                          runs it to its end; its exit code is in `status`, and `told` is not empty when it came to its
#                          end by itself. INT, TERM and HUP make it save and end, USR1 makes it save
#
#   private/control        requests for the program, a line each
#   private/completed      the files that the program has completed, and its own end
#   private/status         its exit code
#
# The program gets `control` as this process's open file: when this process is gone, so is that name, and the program
# saves and ends. It runs in a session of its own, so that no signal of a terminal reaches it, nor Wine.
# shellcheck shell=bash disable=SC2034,SC2154 # shared with those who source this file

private='' told='' status='' watch_keys=''
feeder='' stopped_at='' saved_at=0 given_up='' lost_wine=''

full_path()
{
    IFS= read -rd '' path < <(realpath -mz -- "$1") # a name may end in line feeds
    [[ $path != *\\* ]] && iconv -f UTF-8 -t UTF-8 <<<"$path" >/dev/null 2>&1
}

make_private()
{
    private=$(mktemp -d) || return
    : >"$private/completed"
    exec {control}>>"$private/control" {completed}<"$private/completed"
}

remove_private() { [[ -z $private ]] || rm -rf -- "$private"; }

request() { printf '%s\n' "$1" >&"$control"; }

# One Ctrl+C may come as two signals, and a service manager sends one after the other.
on_stop()
{
    if [[ $1 == INT && -n $stopped_at && $SECONDS -gt $((stopped_at + 1)) ]]; then
        given_up=1
    fi
    stopped_at=${stopped_at:-$SECONDS}
    request stop
    [[ -z $feeder ]] || (sleep 0.5; kill -KILL "$feeder" 2>/dev/null) &
}

# `pkill -f script/replay` meets this process and the keeper, which passes it on.
on_save()
{
    local now=${EPOCHREALTIME//[!0-9]/}
    if ((now - saved_at > 300000)); then
        request save
    fi
    saved_at=$now
}

# Gives the program descriptor 3 for its input, 4 and 5 for its output. Of a terminal Wine would make a console of its
# own. A read of a pipe that stalls ends only with the pipe, so there is one of ours, which on_stop can end.
open_output()
{
    exec 3</dev/null
    [[ $input != - ]] || { exec 6<&0 3< <(trap '' INT TERM HUP; exec cat <&6) 6<&-; feeder=$!; }
    exec 4>&1 5>&2
    [[ ! -t 1 ]] || { exec 4> >(trap '' INT TERM HUP; exec cat >&1); cats+=("$!"); }
    [[ ! -t 2 ]] || { exec 5> >(trap '' INT TERM HUP; exec cat >&2); cats+=("$!"); }
}

close_output()
{
    exec 3<&- 4>&- 5>&-
    [[ ${#cats[@]} -eq 0 ]] || wait "${cats[@]}" || true # a terminal that is gone takes nothing
}

# Prints the program's process number, and ends its output with the program. A signal that this process gets is the
# script's: both have the same name.
keep_program()
{
    local result=0 name process
    for name in INT TERM HUP USR1; do
        # shellcheck disable=SC2064 # the name of now
        trap "kill -s $name $$ 2>/dev/null" "$name"
    done
    (trap - INT TERM HUP USR1; umask 077; exec setsid "$WINE" "$@") <&3 >&4 2>&5 &
    process=$!
    echo "$process"
    while [[ -e /proc/$process ]]; do # a signal ends the waiting
        wait "$process" && result=0 || result=$?
    done
    echo "$result" >"$private/status"
    [[ -e /proc/$$/fd/$control ]] || remove_private # there is no other process left to do it
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

# Wine's services create files with their own umask, so the caller's is applied here.
take_completed()
{
    local file
    while IFS= read -rd '' -u "$completed" file; do
        if [[ -z $file ]]; then
            told=1
        else
            chmod "$(printf '%o' $((0666 & ~$(umask))))" -- "$file" 2>/dev/null || true # not every file system has rights
        fi
    done
}

# Waits a moment, for a key or the program's end. An interrupted read may lose input, so the keeper's output has nothing
# to be read but its end.
wait_a_moment()
{
    local key='' seconds=0.5
    if has_keys; then
        seconds=0.05
        if IFS= read -rsn 1 -t 0.2 -u "$keys" key && [[ $key == [sS] ]]; then
            on_save
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
    trap on_save USR1
    [[ -z $watch_keys ]] || { exec {keys}</dev/tty; } 2>/dev/null || keys=''
    open_output
    find_wineserver || wineserver=''
    exec {ended}< <(keep_program "$@")
    keeper=$!
    read -r -u "$ended" process
    until has_ended; do
        wait_a_moment
        take_completed
        if [[ -n $wineserver && ! -e /proc/$wineserver/exe ]] && ! find_wineserver; then # one that found it running ends
            lost_wine=1
        fi
        [[ -z $given_up$lost_wine ]] || kill -KILL "$process" 2>/dev/null || true
    done
    close_output
    take_completed
    status=$(cat "$private/status" 2>/dev/null) || status=1
    trap - INT TERM HUP USR1
}
