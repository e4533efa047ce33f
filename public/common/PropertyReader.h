#pragma once

#include "common/PropertyStorage.h"

#include <string>

/// Typed reads from any property storage, the host's and the muxer's included.
///
/// The result is that of GetProperty alone: on failure `*pValue` is untouched; a
/// value that is empty or does not convert reads as false, 0 or empty and still
/// answers PYX_OK.
PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, bool* pValue);
PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, pyx_int64* pValue);
PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, PYXSize* pValue);
PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, PYXRate* pValue);
PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, std::wstring* pValue);

/// The value, or `fallback` where it cannot be read.
template <class Value> Value PYXReadPropertyOr(PYXPropertyStorage* pStorage, const wchar_t* name, Value fallback)
{
    static_cast<void>(PYXReadProperty(pStorage, name, &fallback));
    return fallback;
}
