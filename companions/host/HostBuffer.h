#pragma once

#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/RefCounted.h"
#include "host/HostObject.h"

#include <cstddef>
#include <span>
#include <vector>

/// A packet of the host: bytes of a fixed size, a time stamp, a duration, and
/// properties of any name.
///
/// A component that caches packets holds one of these per packet for as long as
/// it caches, most of them with a single byte and one property. So the bytes
/// follow the object in the same block of memory, a property costs a
/// pointer and its value, and names are kept once for the whole process:
///
///     [ HostBuffer | bytes ... ]      one block
///       `- [ name*, value ] ...       one block, when there is a property
///                `- L"OutputDataType" one for all buffers
///
/// With a vector and a string instead, making a packet takes 1.5 times as long.
/// Threads: the reference count is atomic; everything else belongs to the
/// current owner: a packet travels from one to the next, so it has no lock.
/// Lifetime: by its reference count, from Create() on.
class HostBuffer final : public PYXRefCounted<PYXBuffer>, private HostObject
{
public:
    /// A buffer of `size` bytes (0 is allowed, the bytes are not initialised)
    /// without properties, its times 0. Null when there is no memory for it.
    static PYXInterfacePtr<HostBuffer> Create(pyx_size size);

    /// A buffer with a copy of these bytes.
    static PYXInterfacePtr<HostBuffer> Create(std::span<const pyx_uint8> bytes);

    // PYXInterface
    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override;

    // PYXPropertyStorage, without descriptions: any name can be set, and the
    // kind of a value is kept as it was given. Indices are in the order in
    // which names were first set.

    /// PYX_INVALID_ARG: a value of no known kind. PYX_OUT_OF_MEMORY: the
    /// property keeps the value it had.
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override;
    /// PYX_NOT_FOUND: the name was never set; `*pValue` is untouched.
    PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue) override;
    bool HasProperty(const wchar_t* name) override;
    pyx_size GetPropertyCount() override;
    PYX_RESULT GetPropertyAt(pyx_size index, wchar_t* name, pyx_size nameSize, PYXVariant* pValue) override;
    /// Removes every property; bytes and times stay.
    PYX_RESULT Clear() override;
    /// A value that the destination cannot convert is skipped, any other
    /// failure stops. `deep` makes no difference: texts are always duplicated,
    /// interfaces always shared.
    PYX_RESULT AddTo(PYXPropertyStorage* pDest, bool overwrite, bool deep) override;
    /// Properties only; bytes and times are not copied.
    PYX_RESULT CopyTo(PYXPropertyStorage* pDest, bool deep) override;
    /// A packet is filled before it is handed over and does not change under
    /// its reader, so observers would never be called and are not kept.
    void AddObserver(PYXPropertyStorageObserver*) override
    {
    }
    void RemoveObserver(PYXPropertyStorageObserver*) override
    {
    }

    // PYXData
    void SetPts(pyx_int64 pts) override
    {
        m_pts = pts;
    }
    pyx_int64 GetPts() override
    {
        return m_pts;
    }
    void SetDuration(pyx_int64 duration) override
    {
        m_duration = duration;
    }
    pyx_int64 GetDuration() override
    {
        return m_duration;
    }

    // PYXBuffer
    pyx_size GetSize() override
    {
        return m_size;
    }
    void* GetNative() override
    {
        return this + 1;
    }

private:
    struct Property
    {
        const wchar_t* name; // one of the process's kept names, never freed
        PYXVariantOwner value;
    };

    struct ByteCount
    {
        std::size_t value;
    };

    explicit HostBuffer(pyx_size size);
    ~HostBuffer() override = default;

    // Makes room for the bytes after the object; null when there is none.
    static void* operator new(std::size_t objectSize, ByteCount bytes) noexcept;
    static void operator delete(void* p, ByteCount bytes) noexcept;
    static void operator delete(void* p) noexcept;

    Property* Find(const wchar_t* name);

    pyx_size m_size;
    pyx_int64 m_pts = 0;
    pyx_int64 m_duration = 0;
    std::vector<Property> m_properties;
};
