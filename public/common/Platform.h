#pragma once

/// Everything that differs between the compilers the sources are built with.
///
/// No other file of the module may ask which compiler it is compiled by.

/// Marks the module's one entry as exported by name.
#define PYX_EXPORT extern "C" __declspec(dllexport)

/// Declares two adjacent virtual overloads of one name so that `first` takes
/// the lower slot. The platform's native compiler lays out adjacent overloads
/// in reverse order of declaration, GCC in order of declaration.
#if defined(_MSC_VER)
#define PYX_OVERLOADS_IN_TABLE_ORDER(first, second)                                                                    \
    second;                                                                                                            \
    first
#else
#define PYX_OVERLOADS_IN_TABLE_ORDER(first, second)                                                                    \
    first;                                                                                                             \
    second
#endif

/// An attribute of the analysis of locks, for compilers that know it.
#if defined(__clang__)
#define PYX_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define PYX_THREAD_ATTRIBUTE(attribute)
#endif
