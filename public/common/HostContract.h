#pragma once

#include "common/PropertyStorage.h"

#include <stdarg.h>

/// What belongs to the host and to its runtime library: tables, identifiers and
/// entries. A team with other host headers changes this one file.
///
/// Binary contract throughout: slots in the order of declaration.
/// Called by the module; the tags (see PYXInterface) give the thread and the lock held.

/// Memory type of PYXContext::AllocBuffer.
enum PYX_MEMORY_TYPE : pyx_int32
{
    PYX_MEMORY_HOST = 1,
};

/// Time-stamped data with properties. Times are in 100 ns ticks.
/// Slots 0 to 12 are those of PYXPropertyStorage.
/// [one-thread-at-a-time] The current owner. Audio that waits for its group is called later, too, from any thread that
/// feeds the component.
class PYXData : public PYXPropertyStorage
{
public:
    static constexpr PYXGuid c_id{0x07ecde9f, 0x4361, 0x4129, {0xaf, 0x2d, 0x8d, 0xb3, 0x3d, 0x05, 0x36, 0x03}};

    virtual void SetPts(pyx_int64 pts) = 0;           // 13
    virtual pyx_int64 GetPts() = 0;                   // 14
    virtual void SetDuration(pyx_int64 duration) = 0; // 15
    virtual pyx_int64 GetDuration() = 0;              // 16

protected:
    ~PYXData() = default;
};

/// Data with bytes of a fixed size. [one-thread-at-a-time] as PYXData.
class PYXBuffer : public PYXData
{
public:
    static constexpr PYXGuid c_id{0xac804e08, 0x9757, 0x4dd6, {0x9b, 0xee, 0xcf, 0xd0, 0x26, 0x63, 0x54, 0xba}};

    virtual pyx_size GetSize() = 0; // 17, bytes
    virtual void* GetNative() = 0;  // 18, borrowed, valid while the buffer lives

protected:
    ~PYXBuffer() = default;
};

/// The host's services to its components.
class PYXContext : public PYXInterface
{
public:
    static constexpr PYXGuid c_id{0x7195266b, 0x0417, 0x4455, {0x9a, 0x0d, 0xd2, 0x34, 0xff, 0x46, 0x8f, 0x19}};

    /// Slot 3. [cache-locked] A new buffer of `size` bytes, acquired for the caller; never null
    /// on PYX_OK. Several components call at once.
    virtual PYX_RESULT AllocBuffer(PYX_MEMORY_TYPE type, pyx_size size, PYXBuffer** ppOut) = 0;

protected:
    ~PYXContext() = default;
};

/// Notified of every change of a property. Not counted: the code that registers an
/// observer removes it before it ends.
class PYXPropertyStorageObserver
{
public:
    /// Slot 0. [any-thread], the one that set the property, without the storage's lock; [cache-locked] for an input's.
    virtual void OnPropertyChanged(const wchar_t* name) = 0;

protected:
    ~PYXPropertyStorageObserver() = default;
};

/// Levels of a trace record.
inline constexpr pyx_int32 PYX_TRACE_ERROR = 0;
inline constexpr pyx_int32 PYX_TRACE_WARNING = 1;
inline constexpr pyx_int32 PYX_TRACE_INFO = 2;

/// Trace object of the runtime library; accepts calls from any thread.
class PYXTrace
{
public:
    /// Slot 0. [any-thread], [cache-locked] or not. With `pArgs` null, `format` is the text itself.
    virtual void TraceW(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope,
                        const wchar_t* format, va_list* pArgs) = 0;

    /// Slot 1. [any-thread], [cache-locked] or not. A text that names the code; static.
    virtual const wchar_t* GetResultText(PYX_RESULT code) = 0;

protected:
    ~PYXTrace() = default;
};

/// Factory of the runtime library; what it hands out lives as long as the
/// library. [one-thread-at-a-time] Called while the library is loaded.
class PYXFactory
{
public:
    virtual PYX_RESULT GetDebug(void** ppOut) = 0;     // 0
    virtual PYX_RESULT GetTrace(PYXTrace** ppOut) = 0; // 1

protected:
    ~PYXFactory() = default;
};

/// Entries of the runtime library, by name. PYXInit may be called again on a
/// library that a host keeps loaded, after this module has given it back. A
/// version packs major, minor, sub-minor and build into 16 bits each, major
/// highest. [one-thread-at-a-time] as PYXFactory.
#define PYX_INIT_ENTRY "PYXInit"
#define PYX_QUERY_VERSION_ENTRY "PYXQueryVersion"
using PYXInitFunction = PYX_RESULT (*)(pyx_uint64 version, PYXFactory** ppFactory);
using PYXQueryVersionFunction = PYX_RESULT (*)(pyx_uint64* pVersion);
