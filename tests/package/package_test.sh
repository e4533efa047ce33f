#!/usr/bin/env bash
# Packs the module, unpacks the archive outside of the checkout, and builds and runs a host from it as another team would:
# with mingw-w64 and the CMake package, and with the platform's native class layout.
#
#   tests/package/package_test.sh CHECKOUT EMULATOR FOLDER-OF-COMPANIONS
set -euo pipefail
checkout=$1 emulator=$2 companions=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# FOLDER: runs the host there, beside the module and its companions.
run_host()
{
    cp "$companions"/{pyxrt64,pyx-component-ffmpeg64}.dll "$root/bin/pyx-component-ring-buffer64.dll" "$1"
    "$emulator" "$1/host.exe"
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

echo "== each header stands alone"
for header in "$root"/public/common/*.h; do
    x86_64-w64-mingw32-g++-posix -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Werror -I "$root/public" \
        -include "$header" -x c++ /dev/null
done

echo "== mingw-w64 and find_package"
cmake -S host -B mingw -G Ninja -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix \
    -DCMAKE_CXX_FLAGS='-Wall -Wextra -Werror' -DCMAKE_EXE_LINKER_FLAGS=-static \
    -DCMAKE_PREFIX_PATH="$root" >/dev/null
cmake --build mingw
run_host mingw

echo "== the platform's native class layout"
mkdir native
clang++ --target=x86_64-pc-windows-msvc -fms-compatibility-version=19.33 -std=c++20 -O1 -ffreestanding -nostdlibinc \
    -fno-exceptions -fno-rtti -Wall -Wextra -Wpedantic -Werror -I"$root/public" -c host/Host.cpp -o native/host.obj
lld-link /nologo /machine:x64 /nodefaultlib /subsystem:console /entry:main /alternatename:_purecall=ExitProcess \
    /out:native/host.exe native/host.obj "$(x86_64-w64-mingw32-gcc-posix -print-file-name=libkernel32.a)"
run_host native
