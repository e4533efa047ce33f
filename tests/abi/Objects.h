#pragma once

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "Record.h"

/// All objects that a ring buffer meets in a process, laid out by this compiler:
/// the host's packets, context and observer, the runtime library's objects and
/// the muxer. Each call of them is recorded.

inline pyx_int64 g_references;    ///< held on all objects of this program
inline const wchar_t* g_property; ///< the one that every storage here has and watches

/// A slot that the module does not call: a call is recorded, and no check expects it.
#define NOT_CALLED(Result, signature)                                                                                  \
    Result signature override                                                                                          \
    {                                                                                                                  \
        Record("%s", "!" #signature);                                                                                  \
        using Returned = Result;                                                                                       \
        return Returned();                                                                                             \
    }

template <class Interface> struct Counted : Interface
{
    pyx_uint32 m_count = 0;

    pyx_uint32 Acquire() override
    {
        ++g_references;
        return ++m_count;
    }

    pyx_uint32 Release() override
    {
        --g_references;
        return --m_count;
    }

    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override
    {
        *out = nullptr;
        if (!(id == Interface::c_id))
        {
            return PYX_NO_INTERFACE;
        }
        *out = this;
        Acquire();
        return PYX_OK;
    }
};

/// Has one property, g_property, and records what is done to it.
template <class Interface> struct Storage : Counted<Interface>
{
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override
    {
        if (wcscmp(name, g_property) == 0)
        {
            Record("set %s", ValueText(value).text);
        }
        return PYX_OK;
    }

    bool HasProperty(const wchar_t* name) override
    {
        const bool hasIt = wcscmp(name, g_property) == 0;
        if (hasIt)
        {
            Record("asked");
        }
        return hasIt;
    }

    PYX_RESULT Clear() override
    {
        Record("cleared");
        return PYX_OK;
    }

    NOT_CALLED(PYX_RESULT, GetProperty(const wchar_t*, PYXVariant*));
    NOT_CALLED(pyx_size, GetPropertyCount());
    NOT_CALLED(PYX_RESULT, GetPropertyAt(pyx_size, wchar_t*, pyx_size, PYXVariant*));
    NOT_CALLED(PYX_RESULT, AddTo(PYXPropertyStorage*, bool, bool));
    NOT_CALLED(PYX_RESULT, CopyTo(PYXPropertyStorage*, bool));
    NOT_CALLED(void, AddObserver(PYXPropertyStorageObserver*));
    NOT_CALLED(void, RemoveObserver(PYXPropertyStorageObserver*));
};

struct Observer final : PYXPropertyStorageObserver
{
    void OnPropertyChanged(const wchar_t* name) override
    {
        Record("changed(%ls)", name);
    }
};

/// A packet. A negative frame type stands for none.
struct Packet final : Storage<PYXBuffer>
{
    char m_bytes[16] = {};
    pyx_size m_size = 0;
    pyx_int64 m_pts = 0;
    pyx_int64 m_duration = 0;
    pyx_int64 m_type = -1;

    PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue) override
    {
        *pValue = PYXVariantFromInt64(m_type);
        return m_type >= 0 && wcscmp(name, L"OutputDataType") == 0 ? PYX_OK : PYX_NOT_FOUND;
    }

    PYX_RESULT CopyTo(PYXPropertyStorage* pDest, bool) override
    {
        static_cast<Packet*>(pDest)->m_type = m_type;
        return PYX_OK;
    }

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
    pyx_size GetSize() override
    {
        return m_size;
    }
    void* GetNative() override
    {
        return m_bytes;
    }
};

/// None is used twice, so a call on a packet that has ended does no harm and is recorded.
inline constinit Packet g_packets[32];
inline constinit Packet* g_pNextPacket = g_packets;

struct Context final : Counted<PYXContext>
{
    PYX_RESULT AllocBuffer(PYX_MEMORY_TYPE type, pyx_size size, PYXBuffer** ppOut) override
    {
        Packet* const pPacket = g_pNextPacket++;
        pPacket->m_size = size;
        pPacket->Acquire();
        *ppOut = pPacket;
        return type == PYX_MEMORY_HOST ? PYX_OK : PYX_INVALID_ARG;
    }
};

/// What the muxer and its inputs have in common.
template <class Interface> struct MuxerStorage : Storage<Interface>
{
    const char* m_name;
    pyx_int64 m_streamType;

    constexpr MuxerStorage(const char* name, pyx_int64 streamType) : m_name(name), m_streamType(streamType)
    {
    }

    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override
    {
        Record("%s.%ls=%s", m_name, name, ValueText(value).text);
        return PYX_OK;
    }

    PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue) override
    {
        *pValue = PYXVariantFromInt64(m_streamType);
        return wcscmp(name, L"StreamType") == 0 ? PYX_OK : PYX_NOT_FOUND;
    }

    NOT_CALLED(pyx_size, GetPropertiesInfoCount());
    NOT_CALLED(PYX_RESULT, GetPropertyInfo(const wchar_t*, const PYXPropertyInfo**));
    NOT_CALLED(PYX_RESULT, GetPropertyInfo(pyx_size, const PYXPropertyInfo**));
    NOT_CALLED(PYX_RESULT, ValidateProperty(const wchar_t*, PYXVariant, PYXVariant*));
};

/// Refuses the packet at time 400, after recording it.
struct MuxerInput final : MuxerStorage<PYXInput>
{
    using MuxerStorage::MuxerStorage;

    PYX_RESULT SubmitInput(PYXData* pData) override
    {
        const auto spBuffer = PYXInterfacePtr<PYXData>(pData).Query<PYXBuffer>();
        if (!spBuffer)
        {
            Record("%s(end)", m_name);
            return PYX_EOF;
        }
        PYXVariant type;
        spBuffer->GetProperty(L"OutputDataType", &type);
        Record("%s(%lld+%lld %s %llu %s)", m_name, spBuffer->GetPts(), spBuffer->GetDuration(), ValueText(type).text,
               spBuffer->GetSize(), static_cast<char*>(spBuffer->GetNative()));
        return spBuffer->GetPts() == 400 ? PYX_FAIL : PYX_OK;
    }
};

struct Muxer final : MuxerStorage<PYXComponentEx>
{
    MuxerInput m_inputs[2] = {{"muxer.audio", PYX_STREAM_TYPE_AUDIO}, {"muxer.video", PYX_STREAM_TYPE_VIDEO}};

    using MuxerStorage::MuxerStorage;

    PYX_RESULT Init(pyx_int32 format, pyx_int32 width, pyx_int32 height) override
    {
        Record("muxer.Init(%d,%d,%d)", format, width, height);
        return PYX_OK;
    }

    pyx_int32 GetInputCount() override
    {
        return 2;
    }

    PYX_RESULT GetInput(pyx_int32 index, PYXInput** ppInput) override
    {
        m_inputs[index].Acquire();
        *ppInput = &m_inputs[index];
        return PYX_OK;
    }

    NOT_CALLED(PYX_RESULT, ReInit(pyx_int32, pyx_int32));
    NOT_CALLED(PYX_RESULT, Terminate());
    NOT_CALLED(PYX_RESULT, HostOperation20());
    NOT_CALLED(PYX_RESULT, HostOperation21());
    NOT_CALLED(PYX_RESULT, HostOperation22());
    NOT_CALLED(PYX_RESULT, HostOperation23());
    NOT_CALLED(PYXContext*, GetContext());
    NOT_CALLED(PYX_RESULT, HostOperation25());
    NOT_CALLED(PYX_RESULT, HostOperation26());
    NOT_CALLED(PYX_RESULT, HostOperation27());
    NOT_CALLED(pyx_int32, HostOperation29());
    NOT_CALLED(PYX_RESULT, HostOperation31());
};

struct TraceObject final : PYXTrace
{
    void TraceW(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope, const wchar_t* format,
                va_list* pArgs) override
    {
        Record("trace %d %ls%s%ls '%ls'", level, path, line > 0 ? " " : " without a line ", scope, format);
        if (pArgs)
        {
            Record("with %d", va_arg(*pArgs, int));
        }
    }

    const wchar_t* GetResultText(PYX_RESULT code) override
    {
        return code == PYX_NOT_FOUND ? L"not found" : L"unknown";
    }
};

struct Factory final : PYXFactory
{
    TraceObject m_trace;

    PYX_RESULT GetDebug(void** ppOut) override
    {
        *ppOut = &m_trace;
        return PYX_OK;
    }

    PYX_RESULT GetTrace(PYXTrace** ppOut) override
    {
        *ppOut = &m_trace;
        return PYX_OK;
    }
};

inline constinit Context g_context;
inline constinit Factory g_factory;
inline constinit Muxer g_muxer("muxer", 0);
inline constexpr pyx_uint64 c_runtimeVersion = 0x0001000400240000;

// What the companion modules export.

PYX_EXPORT PYX_RESULT PYXInit(pyx_uint64 version, PYXFactory** ppFactory)
{
    *ppFactory = &g_factory;
    return version == c_runtimeVersion ? PYX_OK : PYX_FAIL;
}

PYX_EXPORT PYX_RESULT PYXQueryVersion(pyx_uint64* pVersion)
{
    *pVersion = c_runtimeVersion;
    return PYX_OK;
}

PYX_EXPORT PYX_RESULT PYXCreateComponentInt(PYXContext* pContext, const wchar_t* id, PYXComponent** ppOut)
{
    Record("%screate(%ls)", pContext == &g_context ? "" : "context lost, ", id);
    return g_muxer.QueryInterface(PYXComponentEx::c_id, reinterpret_cast<void**>(ppOut));
}
