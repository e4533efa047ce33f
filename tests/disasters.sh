#!/usr/bin/env bash
# Runs a test program beside two file systems made for it: PYX_TEST_TINY has room for 1 MiB, PYX_TEST_READ_ONLY cannot
# be written. They are there for everybody, because Wine's server opens the files of all its programs. Without the
# right to mount, the cases that need them skip themselves and say so.
set -euo pipefail
mount() { command ${SUDO:-} mount -t tmpfs -o "$1" pyx-test "$2"; }
[[ $EUID -eq 0 ]] || SUDO='sudo -n'
folder=$(mktemp -d)
mkdir "$folder/tiny" "$folder/read-only"
trap '${SUDO:-} umount -q "$folder/tiny" "$folder/read-only" || true; rm -rf --one-file-system "$folder"' EXIT
if mount size=1m,mode=777 "$folder/tiny" && mount ro "$folder/read-only"; then
    export PYX_TEST_TINY="Z:$folder/tiny" PYX_TEST_READ_ONLY="Z:$folder/read-only"
fi
"$@"
