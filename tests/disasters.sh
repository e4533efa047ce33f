#!/usr/bin/env bash
# Runs a test program beside two file systems made for it: PYX_TEST_TINY has room for 1 MiB, PYX_TEST_READ_ONLY cannot
# be written.
#
#   tests/disasters.sh REGISTRY-FILE EMULATOR PROGRAM...
#
# They are mounted in namespaces of the program's own, so that they go with it, however it ends. Wine's server opens the
# files of its programs, so there is one in there too: its prefix has the registry of the other tests' (with the file
# imported) and their programs. Where such namespaces may not be made, the cases that need them skip themselves and say so.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/../script/lib/common.sh"
# shellcheck source-path=SCRIPTDIR
source "$PYX_ROOT/script/lib/wine.sh"

# FOLDER REGISTRY-FILE EMULATOR PROGRAM...
inside()
{
    # shellcheck disable=SC2031 # wine.sh changes it in a subshell, where a prefix is made
    local folder=$1 registry=$2 emulator=$3 prefix=$1/cache/wine others=$WINEPREFIX
    shift 2
    mount -t tmpfs pyx-test "$folder"
    mkdir -p "$folder"/{tiny,read-only} "$prefix/drive_c"
    mount -t tmpfs -o size=1m,mode=777 pyx-test "$folder/tiny"
    mount -t tmpfs -o ro pyx-test "$folder/read-only"
    cp -a "$others"/{*.reg,.update-timestamp,dosdevices} "$prefix"
    ln -s "$others"/drive_c/* "$prefix/drive_c"
    # Users' folders of its own: tests name theirs by process, and each server numbers processes by itself.
    rm "$prefix/drive_c/users"
    (cd "$others/drive_c" && find users -type d -print0) | (cd "$prefix/drive_c" && xargs -0 mkdir -p)
    export PYX_CACHE=$folder/cache PYX_TEST_TINY="Z:$folder/tiny" PYX_TEST_READ_ONLY="Z:$folder/read-only"
    "$emulator" reg import "$registry"
    "$@"
}

make_wine_prefix
namespaces=(unshare --mount --pid --fork --kill-child --mount-proc)
[[ $EUID -eq 0 ]] || namespaces+=(--map-current-user --keep-caps)
if ! "${namespaces[@]}" mount -t tmpfs pyx-test /mnt; then
    "${@:2}"
    exit
fi
folder=$(mktemp -d)
trap 'rmdir "$folder"' EXIT
export -f inside
setpriv --pdeathsig KILL "${namespaces[@]}" bash -euc 'inside "$@"' inside "$folder" "$@"
