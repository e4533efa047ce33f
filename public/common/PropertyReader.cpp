#include "common/PropertyReader.h"

#include <utility>

PYX_RESULT PYXReadPropertyAs(PYXPropertyStorage* pStorage, const wchar_t* name, PYXVariantType type,
                             PYXVariantOwner* pValue)
{
    PYXVariantOwner value;
    PASS_ON_FAILURE_SILENTLY(pStorage->GetProperty(name, value.Out()));
    if (PYXVariantChangeType(value.InOut(), nullptr, type) != PYX_OK || value.Get().type != type)
    {
        *value.Out() = PYXVariant{.type = type, .raw = {0, 0}}; // what a failed parse leaves does not count
    }
    *pValue = std::move(value);
    return PYX_OK;
}

PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, bool* pValue)
{
    PYXVariantOwner value;
    PASS_ON_FAILURE_SILENTLY(PYXReadPropertyAs(pStorage, name, PYX_VARIANT_BOOL, &value));
    *pValue = value.Get().boolValue != 0;
    return PYX_OK;
}

PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, pyx_int64* pValue)
{
    PYXVariantOwner value;
    PASS_ON_FAILURE_SILENTLY(PYXReadPropertyAs(pStorage, name, PYX_VARIANT_INT64, &value));
    *pValue = value.Get().int64Value;
    return PYX_OK;
}
