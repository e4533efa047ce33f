/// What the code of GCC's stack protector refers to. GCC's own library for it starts a cryptographic provider while a
/// module is being loaded, which a guest in another program must not. Other compilers bring theirs along.

#include <windows.h>
#include <x86intrin.h>

#include <cstdint>
#include <cstdlib>

#ifdef __clang__ // it only analyses this file; the names are the compiler's
#pragma clang diagnostic ignored "-Wreserved-identifier"
#endif

extern "C" std::uintptr_t __stack_chk_guard;
extern "C" [[noreturn]] void __stack_chk_fail();

/// Another number in each process. Its lowest byte is zero: a text that runs over its end cannot write it.
std::uintptr_t __stack_chk_guard = __rdtsc() * 0x9E3779B97F4A7C15 << 8;

/// Ends the process at once, for the system's crash report.
void __stack_chk_fail()
{
    RaiseFailFastException(nullptr, nullptr, 0);
    std::abort();
}
