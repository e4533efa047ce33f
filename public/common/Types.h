#pragma once

#include "common/Platform.h"

/// The basic types and result codes that cross every module boundary.
///
/// This header and the interface headers built on it include nothing of the
/// hosted C++ library, so a host can use them in any C++20 build.

using pyx_int32 = int;
using pyx_uint32 = unsigned int;
using pyx_int64 = long long;
using pyx_uint64 = unsigned long long;
using pyx_size = unsigned long long;
using pyx_uint16 = unsigned short;
using pyx_uint8 = unsigned char;

static_assert(sizeof(pyx_int32) == 4 && sizeof(pyx_int64) == 8 && sizeof(pyx_uint16) == 2);
static_assert(sizeof(wchar_t) == 2, "strings are 16-bit throughout");
static_assert(sizeof(void*) == 8, "the tables are those of 64-bit Windows");

/// Ticks per second of every time stamp and duration (100 ns each).
inline constexpr pyx_int64 PYX_TICKS_PER_SECOND = 10'000'000;

/// Tick arithmetic that wraps on overflow instead of being undefined: a host may
/// stamp its packets with any number.
constexpr pyx_int64 PYXAddTicks(pyx_int64 left, pyx_int64 right)
{
    return static_cast<pyx_int64>(static_cast<pyx_uint64>(left) + static_cast<pyx_uint64>(right));
}

constexpr pyx_int64 PYXSubtractTicks(pyx_int64 left, pyx_int64 right)
{
    return static_cast<pyx_int64>(static_cast<pyx_uint64>(left) - static_cast<pyx_uint64>(right));
}

/// Result of every operation that can fail; to ignore one takes a cast to void. Results of the host, the muxer and the
/// runtime library are returned unchanged, so values that are not listed here can occur.
enum [[nodiscard]] PYX_RESULT : pyx_int32
{
    PYX_OK = 0,
    PYX_FAIL = 1,
    PYX_UNEXPECTED = 2,
    PYX_ACCESS_DENIED = 3,
    PYX_INVALID_ARG = 4,
    PYX_OUT_OF_RANGE = 5,
    PYX_OUT_OF_MEMORY = 6,
    PYX_INVALID_POINTER = 7,
    PYX_NO_INTERFACE = 8,
    PYX_NOT_IMPLEMENTED = 10,
    PYX_NOT_FOUND = 11,
    PYX_NOT_INITIALIZED = 13,
    PYX_FILE_NOT_OPEN = 16,
    PYX_EOF = 23,
};

/// Returns the result of `call` if it is not PYX_OK, without tracing.
#define PASS_ON_FAILURE_SILENTLY(call)                                                                                 \
    do                                                                                                                 \
    {                                                                                                                  \
        const PYX_RESULT pyxResult = (call);                                                                           \
        if (pyxResult != PYX_OK)                                                                                       \
        {                                                                                                              \
            return pyxResult;                                                                                          \
        }                                                                                                              \
    } while (false)

/// 128-bit interface identifier. Binary contract: members in this order.
struct PYXGuid
{
    pyx_uint32 data1;
    pyx_uint16 data2;
    pyx_uint16 data3;
    pyx_uint8 data4[8];
};

static_assert(sizeof(PYXGuid) == 16);

/// True when all four parts are equal.
constexpr bool operator==(const PYXGuid& left, const PYXGuid& right)
{
    for (int i = 0; i < 8; ++i)
    {
        if (left.data4[i] != right.data4[i])
        {
            return false;
        }
    }
    return left.data1 == right.data1 && left.data2 == right.data2 && left.data3 == right.data3;
}
