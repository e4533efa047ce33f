#pragma once

#include "common/Variant.h"

class PYXPropertyStorageObserver;

/// One row of an enumeration table: a listed number and its exact name. A table
/// ends with a row whose name is null. Tables are static.
/// Binary contract: members in this order.
struct PYXEnumDescriptionEntry
{
    pyx_int32 value;
    const wchar_t* name;
};

static_assert(sizeof(PYXEnumDescriptionEntry) == 16);

/// Bits of PYXPropertyInfo::accessType; the others are carried unchanged.
inline constexpr pyx_uint32 PYX_PROPERTY_ACCESS_READ = 1;
inline constexpr pyx_uint32 PYX_PROPERTY_ACCESS_WRITE = 2;
inline constexpr pyx_uint32 PYX_PROPERTY_ACCESS_READ_WRITE = PYX_PROPERTY_ACCESS_READ | PYX_PROPERTY_ACCESS_WRITE;
inline constexpr pyx_uint32 PYX_PROPERTY_ACCESS_FULL = 255;

/// Description of one property, handed out as a borrowed pointer that is valid
/// while its storage lives.
///
/// Binary contract: table pointer at 0, then the members in this order. Hosts
/// read it as data and never call its destructor.
class PYXPropertyInfo
{
public:
    PYXPropertyInfo(const PYXPropertyInfo&) = delete;
    PYXPropertyInfo& operator=(const PYXPropertyInfo&) = delete;
    virtual ~PYXPropertyInfo() = default;

    const wchar_t* name = nullptr;                             ///< at 8
    const wchar_t* desc = nullptr;                             ///< at 16, display name
    PYXVariantType type = PYX_VARIANT_EMPTY;                   ///< at 24, declared kind
    pyx_uint32 contentType = 0;                                ///< at 28, carried for callers
    PYXVariant defaultValue;                                   ///< at 32
    PYXVariant minValue;                                       ///< at 56, empty: no minimum
    PYXVariant maxValue;                                       ///< at 80, empty: no maximum
    pyx_uint32 accessType = 0;                                 ///< at 104, PYX_PROPERTY_ACCESS_ bits
    const PYXEnumDescriptionEntry* pEnumDescription = nullptr; ///< at 112, static table or null

protected:
    PYXPropertyInfo() = default;
};

static_assert(sizeof(PYXPropertyInfo) == 120);

/// Named values of an object. Names are case-sensitive, null-terminated.
///
/// Binary contract: slots in this order, after those of PYXInterface.
/// The tags are those of components and inputs; a packet's operations are [one-thread-at-a-time].
class PYXPropertyStorage : public PYXInterface
{
public:
    static constexpr PYXGuid c_id{0xc7cec05b, 0xcfb9, 0x48af, {0xac, 0xe3, 0xf6, 0x8d, 0xf8, 0x39, 0x5f, 0xe3}};

    /// Slot 3. [any-thread] May wait while a clip is being written. Stores a value; the caller keeps ownership of its
    /// argument.
    virtual PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) = 0;

    /// Slot 4. [any-thread] Copies the value into `*pValue`, which must be empty; the caller clears it.
    virtual PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue) = 0;

    /// Slot 5. [any-thread]
    virtual bool HasProperty(const wchar_t* name) = 0;

    /// Slot 6. [any-thread]
    virtual pyx_size GetPropertyCount() = 0;

    /// Slot 7. [any-thread] `nameSize` is the buffer's size in characters, terminator
    /// included; a longer name is cut. `*pValue` as in GetProperty.
    /// PYX_INVALID_ARG: no such index, no room for a name.
    virtual PYX_RESULT GetPropertyAt(pyx_size index, wchar_t* name, pyx_size nameSize, PYXVariant* pValue) = 0;

    /// Slot 8. [any-thread] Resets every value to its default, or removes it where nothing is declared. No observer or
    /// hook is called: a component goes on with the values it had.
    virtual PYX_RESULT Clear() = 0;

    /// Slot 9. [any-thread] Sets every value on `pDest`, which is called with this storage's lock held; with
    /// `overwrite` false, names that it already has are kept. A value that `pDest` cannot convert (PYX_INVALID_ARG) is
    /// skipped, any other failure stops. Does nothing onto itself.
    virtual PYX_RESULT AddTo(PYXPropertyStorage* pDest, bool overwrite, bool deep) = 0;

    /// Slot 10. [any-thread] Clears `pDest`, then as AddTo.
    virtual PYX_RESULT CopyTo(PYXPropertyStorage* pDest, bool deep) = 0;

    /// Slots 11 and 12. [any-thread], an observer's calls included. Observers are borrowed: they are removed before
    /// they end. Null, and one that is registered already, are ignored. A notification that has begun on another thread
    /// may still reach one that was just removed.
    virtual void AddObserver(PYXPropertyStorageObserver* pObserver) = 0;
    virtual void RemoveObserver(PYXPropertyStorageObserver* pObserver) = 0;

protected:
    ~PYXPropertyStorage() = default;
};

/// Property storage whose properties are declared once, with descriptions.
///
/// Binary contract: slots in this order, after those of PYXPropertyStorage.
class PYXPropertyStorageEx : public PYXPropertyStorage
{
public:
    static constexpr PYXGuid c_id{0x16b8958d, 0xe943, 0x4a33, {0xa3, 0x5a, 0x88, 0x5a, 0xd8, 0x28, 0xf2, 0x67}};

    /// Slot 13. [any-thread]
    virtual pyx_size GetPropertiesInfoCount() = 0;

    /// [any-thread] Slot 14 by name (PYX_NOT_FOUND for an unknown one), slot 15 by index in
    /// name order (PYX_INVALID_ARG past the end). `*ppParamInfo` is borrowed.
    PYX_OVERLOADS_IN_TABLE_ORDER(virtual PYX_RESULT GetPropertyInfo(const wchar_t* name,
                                                                    const PYXPropertyInfo** ppParamInfo) = 0,
                                 virtual PYX_RESULT GetPropertyInfo(pyx_size szInd,
                                                                    const PYXPropertyInfo** ppParamInfo) = 0);

    /// Slot 16. [any-thread] Converts a value to the declared kind and checks its range;
    /// stores nothing. `*pOutValidated` is empty, or the value itself; the caller
    /// clears it afterwards, after PYX_OUT_OF_RANGE too.
    virtual PYX_RESULT ValidateProperty(const wchar_t* name, PYXVariant value, PYXVariant* pOutValidated) = 0;

protected:
    ~PYXPropertyStorageEx() = default;
};
