# Building. Sourced after common.sh and packages.sh.
#
#   build_preset PRESET [TARGET...]   installs what building needs, configures when that is due, and builds the targets, or
#                                     else everything, which includes the tests, to build/PRESET; programs and modules
#                                     are in build/PRESET/bin
#   build_folder FOLDER PRESET ENTRY... -- [TARGET...]   the last two steps, for another folder below build/ and with
#                                     these cache entries (NAME:TYPE=VALUE)
#
# All write nothing and say nothing when all is built, so that a checkout that is built may be read-only.
# shellcheck shell=bash disable=SC2164 # errexit is set by those who source this file

# FOLDER ENTRY...: whether it is configured so, and from this checkout rather than one that this is a copy of.
is_configured()
{
    local folder=$1 entry
    shift
    [[ -e $folder/build.ninja ]] || return
    for entry in "CMAKE_HOME_DIRECTORY:INTERNAL=$PYX_ROOT" "$@"; do
        grep -qsxF -- "$entry" "$folder/CMakeCache.txt" || return
    done
}

# FOLDER TARGET...
is_built()
{
    local plan
    plan=$(ninja -C "$1" -n "${@:2}" 2>/dev/null) && [[ $plan == *'no work to do'* ]]
}

# What follows works on build_folder's variables.

is_done() { is_configured "$folder" "${entries[@]}" && is_built "$folder" "${targets[@]}"; }

configure_and_build()
{
    if ! is_configured "$folder" "${entries[@]}"; then
        is_configured "$folder" || rm -rf "$folder" # what was built elsewhere names the folders there
        cd "$PYX_ROOT"
        cmake --preset "$preset" -B "$folder" "${entries[@]/#/-D}"
    fi
    cmake --build "$folder" --parallel "$PYX_JOBS" "${targets[@]/#/--target=}"
}

build_folder()
{
    local folder=$1 preset=$2 entries=() targets
    shift 2
    while [[ $1 != -- ]]; do
        entries+=("$1")
        shift
    done
    targets=("${@:2}")
    is_done && return
    need_folder "$PYX_ROOT/build"
    hold_lock "$PYX_ROOT/build/lock" # two scripts at once would write the same objects
    is_done || quietly "Building (${folder##*/})" configure_and_build
    exec 9>&-
}

build_preset()
{
    local preset=$1 folder=$PYX_ROOT/build/$1 entries tests=OFF
    shift
    need_packages "${PACKAGES_BUILD[@]}"
    # Partial builds leave the tests as they are; those need packages of their own.
    if [[ $# -eq 0 ]] || is_configured "$folder" PYX_TESTS:BOOL=ON; then
        tests=ON
        need_packages "${PACKAGES_TEST[@]}"
    fi
    need_packages "${PACKAGES_MEDIA[@]}"
    entries=("PYX_FFMPEG_ROOT:PATH=$("$PYX_ROOT/script/lib/ffmpeg.sh" --where)" "PYX_TESTS:BOOL=$tests")
    is_configured "$folder" "${entries[@]}" || need_folder "$folder" # before the libraries, which take minutes
    "$PYX_ROOT/script/lib/ffmpeg.sh" >/dev/null
    build_folder "$folder" "$preset" "${entries[@]}" -- "$@"
}
