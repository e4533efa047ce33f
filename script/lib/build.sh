# Building. Sourced after common.sh and packages.sh.
#
#   build_preset PRESET [TARGET...]   installs what building needs, configures when that is due, and builds (everything,
#                                     or the targets) to build/PRESET; programs and modules lie in build/PRESET/bin
# shellcheck shell=bash disable=SC2164 # errexit is set by those who source this file

configure_and_build()
{
    local preset=$1 ffmpeg=$2 folder=$PYX_ROOT/build/$1
    shift 2
    cd "$PYX_ROOT"
    exec 9>"$PYX_ROOT/build/lock" # two scripts at once would write the same objects
    flock 9
    if [[ ! -e $folder/build.ninja ]] || ! grep -qsxF "PYX_FFMPEG_ROOT:PATH=$ffmpeg" "$folder/CMakeCache.txt"; then
        cmake --preset "$preset" -DPYX_FFMPEG_ROOT:PATH="$ffmpeg"
    fi
    local targets=()
    [[ $# -eq 0 ]] || targets=(--target "$@")
    cmake --build --preset "$preset" --parallel "$PYX_JOBS" "${targets[@]}"
}

build_preset()
{
    local preset=$1 ffmpeg
    shift
    need_packages "${PACKAGES_BUILD[@]}"
    ffmpeg=$("$PYX_ROOT/script/lib/ffmpeg.sh")
    mkdir -p "$PYX_ROOT/build"
    quietly "Building ($preset)" configure_and_build "$preset" "$ffmpeg" "$@"
}
