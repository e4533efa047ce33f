#!/usr/bin/env bash
# Packs the module, unpacks the archive outside of the checkout, and builds and runs a host from it as another team would:
# with mingw-w64 and the CMake package, and with the platform's native class layout.
#
#   tests/package/package_test.sh CHECKOUT EMULATOR FOLDER-OF-COMPANIONS
set -euo pipefail
checkout=$1 emulator=$2 companions=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# PROGRAM: runs it beside the module and its companions.
run_host()
{
    cp "$companions"/{pyxrt64,pyx-component-ffmpeg64}.dll "$root/bin/pyx-component-ring-buffer64.dll" "$(dirname "$1")"
    "$emulator" "$1"
}

# SOURCE BUILD OPTION...
build_with_mingw()
{
    cmake -S "$1" -B "$2" -G Ninja -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix \
        -DCMAKE_CXX_FLAGS='-Wall -Wextra -Werror' -DCMAKE_EXE_LINKER_FLAGS=-static "${@:3}" >/dev/null
    cmake --build "$2"
}

"$checkout/script/package" -o "$work/package.zip"
cp -r "$checkout/tests/package/host" "$work"
cd "$work"
python3 -m zipfile -e package.zip .
root=$(echo "$work"/pyx-ring-buffer-*)

echo "== no folder of the build is named in it"
if grep -r -l -a -F "$checkout" "$root"; then exit 1; fi

echo "== the symbols belong to the module"
x86_64-w64-mingw32-objdump -h "$root/bin/pyx-component-ring-buffer64.dll.debug" | grep -q debug_info
x86_64-w64-mingw32-objdump -h "$root/bin/pyx-component-ring-buffer64.dll" | grep -q gnu_debuglink

echo "== each relative link in the documents leads somewhere"
links=$(cd "$root" && grep -r -o -P --include='*.md' '\]\(\K(?![a-z]+:|#)[^)#]+' .)
while IFS=: read -r document target; do
    [[ -e $root/$(dirname "$document")/$target ]] || { echo "$document: no $target" >&2; exit 1; }
done <<<"$links"

echo "== each header stands alone"
for header in "$root"/{public/common,companions/host,companions/media}/*.h; do
    x86_64-w64-mingw32-g++-posix -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Werror -I "$root/public" \
        -I "$root/companions" -include "$header" -x c++ /dev/null
done

echo "== mingw-w64 and find_package"
build_with_mingw host mingw -DCMAKE_PREFIX_PATH="$root"
run_host mingw/host.exe

echo "== the example"
build_with_mingw "$root/example" example
run_host example/example.exe
[[ -s clip.mp4 ]]

echo "== the platform's native class layout"
mkdir native
clang++ --target=x86_64-pc-windows-msvc -fms-compatibility-version=19.33 -std=c++20 -O1 -ffreestanding -nostdlibinc \
    -fno-exceptions -fno-rtti -Wall -Wextra -Wpedantic -Werror -I"$root/public" -c host/Host.cpp -o native/host.obj
lld-link /nologo /machine:x64 /nodefaultlib /subsystem:console /entry:main /alternatename:_purecall=ExitProcess \
    /out:native/host.exe native/host.obj "$(x86_64-w64-mingw32-gcc-posix -print-file-name=libkernel32.a)"
run_host native/host.exe
