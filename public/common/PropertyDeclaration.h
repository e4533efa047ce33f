#pragma once

#include "common/PropertyStorage.h"
#include "common/Trace.h"

#include <string>

/// What the property storage's sources trace as.
///
/// The checks there are written with fixed lines (FAIL_IF_NOT_AT and the like):
/// host tools match on this source and these lines, so they stay, wherever the
/// code moves.
inline constexpr PYXTraceSource c_propertyTraceSource{L"common/PropertyStorageExImpl", L"PYXPropertyStorageExImpl"};

/// What an owner declares of one property, in the order in which a host's
/// developer reads it. Plain data, so that a class can keep its properties as a
/// constant table. The texts and the table are static.
struct PYXPropertyDeclaration
{
    const wchar_t* name;
    const wchar_t* desc;
    PYXVariantType type;
    PYXVariant defaultValue;
    PYXVariant minValue;
    PYXVariant maxValue;
    pyx_uint32 accessType;
    pyx_uint32 contentType = 0;
    const PYXEnumDescriptionEntry* pEnumDescription = nullptr;
};

/// Description of one property together with its current value.
/// Table: destructor, OnValueChanged.
/// Lifetime: owned by one storage, whose lock guards `value`.
class PYXPropertyInfoImpl : public PYXPropertyInfo
{
public:
    /// Converts the declared default, minimum and maximum to the declared kind.
    /// What does not convert is replaced by the kind's own fallback; the current
    /// value becomes the default.
    explicit PYXPropertyInfoImpl(const PYXPropertyDeclaration& declaration);
    PYXPropertyInfoImpl(const PYXPropertyInfoImpl&) = delete;
    PYXPropertyInfoImpl& operator=(const PYXPropertyInfoImpl&) = delete;
    ~PYXPropertyInfoImpl() override;

    /// Called without a lock after each change of the current value.
    virtual void OnValueChanged()
    {
    }

    PYXVariantOwner value;

private:
    std::wstring m_name;
    std::wstring m_desc;
};

/// Converts a value to a declared kind into the empty `*pDest`. With an
/// enumeration table an integer must be a listed number or a listed name, exact
/// to the letter case; an interface kind turns anything else into a null
/// interface.
/// PYX_INVALID_POINTER: null output. PYX_INVALID_ARG: not convertible, not listed.
PYX_RESULT CastVariantToPYXProperty(PYXVariant* pDest, const PYXVariant* pValue, PYXVariantType type,
                                    pyx_uint32 contentType, const PYXEnumDescriptionEntry* pEnumDescription);

/// Whether a value of the declared kind is between the bounds of its
/// description. Kinds without an order, and a NaN, always are.
bool PYXIsInRange(const PYXVariant& value, const PYXPropertyInfo& info);
