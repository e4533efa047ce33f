# Running target programs under Wine. Sourced after common.sh.
#
#   run_wine PROGRAM ARG...   runs a Windows program in this project's own prefix: quiet, without a display
#   start_wine                brings the prefix and its services up ahead of a run, so that no program pays for it.
#                             They go by themselves half a minute after the last program: another run may be using them
#   find_wineserver           sets `wineserver` to the process that serves this prefix; start_wine has been called
#   to_windows PATH           an absolute Linux path as programs under Wine see it, character by character: for drive
#                             letters Wine takes a name of other capitals for the same, and not every character
#
# Files have the rights that the services' umask leaves: private by default (umask 077). A script that wants another right
# sets it when the file is complete.
# shellcheck shell=bash disable=SC2030,SC2031,SC2034 # `wineserver` is for those who source this file

# Started directly: Debian's wrapper first prints a hint about 32-bit support, which nothing here needs.
WINE=/usr/lib/wine/wine64
WINESERVER=/usr/lib/wine/wineserver

export WINEPREFIX=$PYX_CACHE/wine
export WINEDEBUG=${WINEDEBUG:--all}
# Neither .NET nor a browser is to be offered for download, and nothing to be entered into the user's menus.
export WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d'
unset DISPLAY WAYLAND_DISPLAY

# The prefix is made under another name and moved when it is complete, once, by the first process that needs it.
make_wine_prefix()
{
    [[ ! -e $WINEPREFIX/system.reg ]] || return 0
    need_folder "$PYX_CACHE"
    (
        flock 9
        [[ ! -e $WINEPREFIX/system.reg ]] || exit 0
        say "Preparing Wine (once)"
        export WINEPREFIX=$WINEPREFIX.partial
        rm -rf "$WINEPREFIX"
        mkdir "$WINEPREFIX"
        "$WINE" wineboot --init </dev/null >/dev/null 2>&1 9>&-
        "$WINESERVER" -k 9>&- || true
        "$WINESERVER" -w 9>&-
        mv "$WINEPREFIX" "${WINEPREFIX%.partial}"
    ) 9>"$PYX_CACHE/wine.lock"
}

start_wine()
{
    make_wine_prefix
    # Fails when one runs already, and that one serves as well. What starts the services gives them its output to keep
    # open, so it must not be a program whose output is waited for.
    if (umask 077; exec "$WINESERVER" -p30 </dev/null >/dev/null 2>&1); then
        (umask 077; exec "$WINE" wineboot </dev/null >/dev/null 2>&1)
    fi
}

run_wine()
{
    make_wine_prefix
    (umask 077; exec "$WINE" "$@") # starts the services if they are gone
}

find_wineserver()
{
    local process name
    for process in /proc/[0-9]*; do
        { read -r name <"$process/comm"; } 2>/dev/null || continue
        if [[ $name == wineserver* ]] && grep -qszxF "WINEPREFIX=$WINEPREFIX" "$process/environ"; then
            wineserver=${process#/proc/}
            return
        fi
    done
    return 1
}

to_windows()
{
    printf '%s\n' "\\\\?\\unix${1//\//\\}"
}
