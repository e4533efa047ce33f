# Cross compilation to 64-bit Windows with Debian's mingw-w64, in its variant with POSIX threads
# (the C++ library has std::thread and std::mutex only there).

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
# Links what is a guest in other programs and starts no thread: the variant above brings winpthreads along, which installs
# a vectored exception handler as soon as it is loaded.
set(PYX_CXX_WITHOUT_THREADS x86_64-w64-mingw32-g++-win32)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# The build machine's own headers and libraries never leak into the target's.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH) # packages are found where a build says, this project's own ZIP too

# The compiler's runtimes go into each binary: a host installs no DLL of ours beside those it asked for.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -static)

# CTest starts target programs through this.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../script/lib/wine-run)
