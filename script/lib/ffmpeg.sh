#!/usr/bin/env bash
# FFmpeg's libavformat, libavcodec and libavutil for the target: static, and only what the companions use.
#
#   script/lib/ffmpeg.sh           builds them if they are not in the cache yet, and prints their folder
#   script/lib/ffmpeg.sh --where   prints the folder they have, or will have, and does nothing else
#
# The source is Debian's, in the version of the ffmpeg package, so that what writes a clip and what judges it agree. The
# folder's name carries that version and a hash of the options; it appears whole or not at all.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
# shellcheck source-path=SCRIPTDIR
source "$PYX_ROOT/script/lib/packages.sh"

# shellcheck disable=SC2054 # the commas are FFmpeg's
options=(
    --enable-cross-compile --target-os=mingw32 --arch=x86_64 --cross-prefix=x86_64-w64-mingw32-
    --cc=x86_64-w64-mingw32-gcc-posix --cxx=x86_64-w64-mingw32-g++-posix
    --disable-everything --disable-autodetect --disable-network --disable-programs --disable-doc --disable-debug
    # Little is decoded here, so what takes longest to compile goes: assembler, the compiler's last effort, concealment.
    --disable-asm --optflags=-O1 --disable-error-resilience --disable-faan --disable-pthreads
    --disable-avdevice --disable-avfilter --disable-postproc --disable-swresample --disable-swscale
    --enable-static --disable-shared
    --enable-protocol=file
    # What a sample host may be given ...
    --enable-demuxer=mov,matroska,mpegts,avi,flv,ivf,obu,h264,hevc,aac,ogg
    # ... and what the muxer component offers.
    --enable-muxer=mp4,mov,matroska
    --enable-parser=h264,hevc,av1,aac,aac_latm,opus,mpegaudio,ac3
    # Decoders only tell a stream's size and reordering where its container does not.
    --enable-decoder=h264,hevc,aac
    --enable-bsf=h264_mp4toannexb,hevc_mp4toannexb,aac_adtstoasc,extract_extradata,av1_frame_merge,av1_frame_split
)

build()
{
    local source=$1 work=$2 prefix=$3
    mkdir "$work/build"
    cd "$work/build"
    # No compiler for this machine is needed, only named.
    "$source/configure" "${options[@]}" --prefix="$prefix" --host-cc=x86_64-w64-mingw32-gcc-posix ||
        { tail -50 ffbuild/config.log; return 1; }
    make -j"$PYX_JOBS"
    make install
    cp "$source/RELEASE" "$prefix"
    rm -rf "$prefix"/{share,lib/pkgconfig} # their paths end with the folder's working name
}

[[ ${1:-} == --where ]] || source_version ffmpeg >/dev/null || need_packages "${PACKAGES_MEDIA[@]}"
version=$(source_version ffmpeg)
hash=$(printf '%s\n' "${options[@]}" | sha256sum | cut -c1-8)
target=$PYX_CACHE/ffmpeg-${version#*:}-$hash # a colon would part a list of folders

if [[ ${1:-} != --where && ! -e $target/lib/libavformat.a ]]; then
    need_folder "$PYX_CACHE"
    hold_lock "$PYX_CACHE/ffmpeg.lock"
    if [[ ! -e $target/lib/libavformat.a ]]; then # not built by another process while we waited
        work=$(mktemp -d)
        trap 'rm -rf "$work" "$target.partial"' EXIT
        fetch_source ffmpeg "$version" "$work"
        rm -rf "$target.partial"
        quietly "Building FFmpeg's libraries for the target (once, about two minutes on two cores)" \
            build "$work/source" "$work" "$target.partial"
        mv "$target.partial" "$target"
    fi
fi
printf '%s\n' "$target"
