#pragma once

#include "common/Interface.h"

/// Kind tag of a PYXVariant. Any other value is invalid: the operations that
/// look at the payload return PYX_INVALID_ARG for it.
enum PYXVariantType : pyx_uint32
{
    PYX_VARIANT_EMPTY = 0,
    PYX_VARIANT_BOOL = 1,
    PYX_VARIANT_INT64 = 2,
    PYX_VARIANT_DOUBLE = 3,
    PYX_VARIANT_RECT = 4,
    PYX_VARIANT_SIZE = 5,
    PYX_VARIANT_POINT = 6,
    PYX_VARIANT_RATE = 7,
    PYX_VARIANT_RATIO = 8,
    PYX_VARIANT_COLOR = 9,
    PYX_VARIANT_STRING = 10,
    PYX_VARIANT_WSTRING = 11,
    PYX_VARIANT_INTERFACE = 12,
    PYX_VARIANT_FLOAT = 13,
    PYX_VARIANT_FLOAT_SIZE = 14,
    PYX_VARIANT_FLOAT_POINT2D = 15,
    PYX_VARIANT_FLOAT_POINT3D = 16,
    PYX_VARIANT_FLOAT_VECTOR4D = 17,
};

struct PYXRect
{
    pyx_int32 left;
    pyx_int32 top;
    pyx_int32 right;
    pyx_int32 bottom;
};

struct PYXSize
{
    pyx_int32 width;
    pyx_int32 height;
};

struct PYXPoint
{
    pyx_int32 x;
    pyx_int32 y;
};

/// A rate (frames per second) or a ratio (aspect).
struct PYXRate
{
    pyx_uint32 numerator;
    pyx_uint32 denominator;
};

/// Four bytes in memory order.
struct PYXColor
{
    pyx_uint8 r;
    pyx_uint8 g;
    pyx_uint8 b;
    pyx_uint8 a;
};

/// Tagged value of every property.
///
/// Binary contract: 24 bytes, tag at 0, payload at 8, trivially copyable. It is
/// passed by value, which both compilers implement as the address of a copy
/// that the caller owns: a callee never clears an argument.
/// Ownership: a string payload is a private copy from CoTaskMemAlloc, an
/// interface payload holds one reference (a null interface is a legal value).
/// Threads: one at a time; a variant has no lock of its own.
struct PYXVariant
{
    PYXVariantType type = PYX_VARIANT_EMPTY;
    union {
        pyx_uint64 raw[2] = {0, 0};
        pyx_uint8 boolValue; ///< 0 or 1; read with != 0: other modules may write another non-zero byte
        pyx_int64 int64Value;
        double doubleValue;
        PYXRect rectValue;
        PYXSize sizeValue;
        PYXPoint pointValue;
        PYXRate rateValue;
        PYXRate ratioValue;
        PYXColor colorValue;
        char* stringValue;
        wchar_t* wstringValue;
        PYXInterface* interfaceValue;
        float floatValue;
        float floatValues[4]; ///< width, height or x, y, z, w
    };
};

static_assert(sizeof(PYXVariant) == 24);
static_assert(__is_trivially_copyable(PYXVariant));

/// Plain values as variants; nothing to clear.
constexpr PYXVariant PYXVariantFromBool(bool value)
{
    return {.type = PYX_VARIANT_BOOL, .boolValue = value};
}

constexpr PYXVariant PYXVariantFromInt64(pyx_int64 value)
{
    return {.type = PYX_VARIANT_INT64, .int64Value = value};
}

constexpr PYXVariant PYXVariantFromSize(pyx_int32 width, pyx_int32 height)
{
    return {.type = PYX_VARIANT_SIZE, .sizeValue = {width, height}};
}

constexpr PYXVariant PYXVariantFromRate(pyx_uint32 numerator, pyx_uint32 denominator)
{
    return {.type = PYX_VARIANT_RATE, .rateValue = {numerator, denominator}};
}

/// A wide string or an interface lent to a call; the caller keeps ownership
/// and must not clear the variant.
constexpr PYXVariant PYXVariantBorrowWString(const wchar_t* text)
{
    return {.type = PYX_VARIANT_WSTRING, .wstringValue = const_cast<wchar_t*>(text)};
}

constexpr PYXVariant PYXVariantBorrowInterface(PYXInterface* p)
{
    return {.type = PYX_VARIANT_INTERFACE, .interfaceValue = p};
}

/// Sets the tag to PYX_VARIANT_EMPTY without looking at the payload.
void PYXVariantInit(PYXVariant* pVariant);

/// Empties the variant, then frees its string or releases its interface, so that
/// a re-entrant destructor sees an empty one. A null variant is ignored.
void PYXVariantClear(PYXVariant* pVariant);

/// Stores a private copy of a text. The old payload is not released: callers
/// clear first.
/// PYX_INVALID_POINTER: an argument is null, the variant is untouched.
/// PYX_OUT_OF_MEMORY: the tag is set, the pointer is null.
PYX_RESULT PYXVariantAssignString(PYXVariant* pVariant, const char* text);
PYX_RESULT PYXVariantAssignWString(PYXVariant* pVariant, const wchar_t* text);

/// Copies a value: strings are duplicated, an interface is acquired. The old
/// payload of the destination is not released: callers pass an empty one.
/// PYX_INVALID_POINTER: an argument is null, or a string source without text.
/// PYX_INVALID_ARG: a source tag above 17.
PYX_RESULT PYXVariantCopy(PYXVariant* pDest, const PYXVariant* pSource);

/// Stores in `*pEqual` whether both hold the same kind and value: numbers by
/// IEEE equality (NaN differs from itself, 0.0 equals -0.0), texts unit by
/// unit, interfaces by address. The same object is equal to itself.
/// PYX_INVALID_POINTER: an argument is null. PYX_INVALID_ARG: a tag above 17.
PYX_RESULT PYXVariantCompare(const PYXVariant* pFirst, const PYXVariant* pSecond, bool* pEqual);

/// Converts `*pSource` to `type` into `*pDest`; a null source converts the
/// destination in place. What the destination held is released, after the source
/// was read, unless the kinds are equal: then it must be empty, as for
/// PYXVariantCopy.
/// PYX_INVALID_ARG: the pair of kinds is not supported (the destination is
/// empty), or the text could not be parsed (the destination has the new kind
/// and the value that the failed parse left: zero, false or opaque black).
/// PYX_INVALID_POINTER: null destination, or no text to assign.
/// PYX_OUT_OF_MEMORY: a string could not be allocated.
PYX_RESULT PYXVariantChangeType(PYXVariant* pDest, const PYXVariant* pSource, PYXVariantType type);

/// Owns one variant and clears it in its destructor.
class PYXVariantOwner
{
public:
    PYXVariantOwner() = default;
    PYXVariantOwner(const PYXVariantOwner&) = delete;

    PYXVariantOwner(PYXVariantOwner&& other) noexcept : m_variant(other.m_variant)
    {
        PYXVariantInit(&other.m_variant);
    }

    PYXVariantOwner& operator=(PYXVariantOwner other) noexcept
    {
        const PYXVariant old = m_variant; // cleared with `other`
        m_variant = other.m_variant;
        other.m_variant = old;
        return *this;
    }

    ~PYXVariantOwner()
    {
        PYXVariantClear(&m_variant);
    }

    /// Clears the value and returns the address for an operation that fills it.
    PYXVariant* Out()
    {
        PYXVariantClear(&m_variant);
        return &m_variant;
    }

    /// The value held, for an operation that changes it in place.
    PYXVariant* InOut()
    {
        return &m_variant;
    }

    const PYXVariant& Get() const
    {
        return m_variant;
    }

private:
    PYXVariant m_variant;
};
