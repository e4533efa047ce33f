#!/usr/bin/env bash
# Packs, unpacks both archives outside of the checkout, and uses them as another team would: builds the examples with the CMake
# package, and runs the trial's programs beside nothing else.
#
#   tests/package/package_test.sh CHECKOUT EMULATOR
set -euo pipefail
checkout=$1 emulator=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tool=x86_64-w64-mingw32-
module=pyx-component-ring-buffer64.dll

# SOURCE BUILD TARGET OPTION...
build()
{
    cmake -S "$1" -B "$2" -G Ninja --toolchain "$checkout/cmake/toolchain-mingw-w64.cmake" "${@:4}" >/dev/null
    cmake --build "$2" --target "$3"
}

# PROGRAM ARGUMENT...: runs a program of the current folder, which finds nothing outside of it
run_here()
{
    env -i HOME="$HOME" ${PYX_CACHE:+PYX_CACHE="$PYX_CACHE"} PATH=/usr/bin:/bin "$emulator" "$@"
}

"$checkout/script/package" -o "$work"
cd "$work"
for archive in *.zip; do
    python3 -m zipfile -e "$archive" .
done
trial=$(echo "$work"/pyx-ring-buffer-trial-*[0-9])
version=${trial##*-}
package=$work/pyx-ring-buffer-$version

echo "== no folder of the build is named in them"
if grep -r -l -a -F "$checkout" "$package" "$trial"; then exit 1; fi

echo "== the symbols tell where an address of the module is in the checkout"
cd "$package/bin"
"${tool}objdump" -h "$module" | grep -q gnu_debuglink
address=$("${tool}nm" "$module.debug" | sed -n 's/ T PYXCreateComponentInt$//p')
path=${CCACHE_BASEDIR:+.*}protected/src/components/RingBuffer/ModuleEntry.cpp # with a base folder, ccache changes names
"${tool}addr2line" -e "$module.debug" "0x$address" | grep -q "^$path:"

echo "== the module exports its entry, imports from the system only, may be at any address, and tells its version"
"${tool}objdump" -p "$module" >"$work/parts"
# Newer ones print more of an export: "[   0] +base[   1]  0000 NAME".
parts=$(sed -nE 's/^(DllCharacteristics\t|\tDLL Name: |\t\[ +[0-9]+\] (\+base\[ +1\]  0000 )?)([^+ ]+)$/\3/p' "$work/parts" |
    LC_ALL=C sort | xargs)
[[ $parts == '00000160 KERNEL32.dll PYXCreateComponentInt msvcrt.dll ole32.dll' ]]
grep -q 'Entry: ID: 0x000010' "$work/parts"
cd "$work"

echo "== each relative link in the documents names a file"
links=$(cd "$work" && grep -r -o -P --include='*.md' '\]\(\K(?![a-z]+:|#)[^)#]+' .)
while IFS=: read -r document target; do
    [[ -e $(dirname "$document")/$target ]] || { echo "$document: no $target" >&2; exit 1; }
done <<<"$links"

echo "== each header compiles by itself" # the sources begin with their own ones
for header in "$package"/{public/common,companions/*}/*.h; do
    [[ -e ${header%.h}.cpp ]] ||
        "${tool}g++-posix" -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Werror -I "$package/public" \
            -I "$package/companions" -include "$header" -x c++ /dev/null
done

echo "== the package, with the checks of the C++ library"
build "$package/companions/example" "$work/debug" example-recorder -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS='-Wall -Wextra -Wpedantic -Werror -D_GLIBCXX_DEBUG -D_GLIBCXX_DEBUG_PEDANTIC'
cd "$work/debug"
cp "$trial"/{pyxrt64,pyx-component-ffmpeg64}.dll .
run_here example-recorder.exe
[[ -s clip.mp4 ]]

echo "== the package, optimised, from another folder"
cp -r "$package/companions/example" "$work/example"
build "$work/example" "$work/release" example-bare -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$package"
mv "$work/release/example-bare.exe" .
run_here example-bare.exe

echo "== a module in the current folder is not loaded"
mkdir "$work/alone"
mv example-*.exe "$work/alone"
for program in "$work"/alone/*; do
    if run_here "$program"; then exit 1; fi
done

echo "== the trial, with nothing else"
cd "$trial"
run_here example-recorder.exe
run_here replay.exe clip.mp4 -o again.mp4 --duration 4 --quiet
[[ -s again.mp4 ]]
[[ $(run_here replay.exe --version) == "replay $version" ]]
