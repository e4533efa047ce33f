#pragma once

#include "common/PropertyStorage.h"

/// Typed reads from any property storage, the host's and the muxer's included.
///
/// The result is that of GetProperty alone: on failure `*pValue` is untouched; a
/// value that is empty or does not convert reads as zero, false or a null text and
/// still gives PYX_OK.
PYX_RESULT PYXReadPropertyAs(PYXPropertyStorage* pStorage, const wchar_t* name, PYXVariantType type,
                             PYXVariantOwner* pValue);
PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, bool* pValue);
PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, pyx_int64* pValue);

/// The value, or `fallback` where it cannot be read.
template <class Value> Value PYXReadPropertyOr(PYXPropertyStorage* pStorage, const wchar_t* name, Value fallback)
{
    static_cast<void>(PYXReadProperty(pStorage, name, &fallback));
    return fallback;
}
