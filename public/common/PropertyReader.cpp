#include "common/PropertyReader.h"

#include <utility>

namespace
{

/// Reads a value as the kind `type`: empty when it does not convert.
PYX_RESULT ReadAs(PYXPropertyStorage* pStorage, const wchar_t* name, PYXVariantType type, PYXVariantOwner* pConverted)
{
    PYXVariantOwner value;
    PASS_ON_FAILURE_SILENTLY(pStorage->GetProperty(name, value.Out()));
    if (value.Get().type == type)
    {
        *pConverted = std::move(value);
    }
    else if (PYXVariantChangeType(pConverted->Out(), &value.Get(), type) != PYX_OK)
    {
        pConverted->Out(); // what a failed parse leaves does not count
    }
    return PYX_OK;
}

/// The numeric kinds: nothing readable counts as zero.
template <class Value>
PYX_RESULT ReadPlain(PYXPropertyStorage* pStorage, const wchar_t* name, PYXVariantType type, Value PYXVariant::* member,
                     Value* pValue)
{
    PYXVariantOwner converted;
    const PYX_RESULT result = ReadAs(pStorage, name, type, &converted);
    if (result == PYX_OK)
    {
        *pValue = converted.Get().type == type ? converted.Get().*member : Value{};
    }
    return result;
}

} // namespace

PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, bool* pValue)
{
    pyx_uint8 value = 0;
    const PYX_RESULT result = ReadPlain(pStorage, name, PYX_VARIANT_BOOL, &PYXVariant::boolValue, &value);
    if (result == PYX_OK)
    {
        *pValue = value != 0;
    }
    return result;
}

PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, pyx_int64* pValue)
{
    return ReadPlain(pStorage, name, PYX_VARIANT_INT64, &PYXVariant::int64Value, pValue);
}

PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, PYXSize* pValue)
{
    return ReadPlain(pStorage, name, PYX_VARIANT_SIZE, &PYXVariant::sizeValue, pValue);
}

PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, PYXRate* pValue)
{
    return ReadPlain(pStorage, name, PYX_VARIANT_RATE, &PYXVariant::rateValue, pValue);
}

PYX_RESULT PYXReadProperty(PYXPropertyStorage* pStorage, const wchar_t* name, std::wstring* pValue)
{
    PYXVariantOwner converted;
    const PYX_RESULT result = ReadAs(pStorage, name, PYX_VARIANT_WSTRING, &converted);
    if (result == PYX_OK)
    {
        const PYXVariant& value = converted.Get();
        const bool readable = value.type == PYX_VARIANT_WSTRING && value.wstringValue;
        pValue->assign(readable ? value.wstringValue : L"");
    }
    return result;
}
