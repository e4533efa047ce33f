#pragma once

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "Report.h"

/// All that a ring buffer meets in a process, laid out by this compiler: the
/// host's packets, context, storage and observer, the runtime library's objects
/// and the muxer. Whatever is called tells it to the record.

inline pyx_int64 g_references;    ///< held on all objects of this program
inline const wchar_t* g_property; ///< the one that a Sink has and watches

/// A slot that nobody has a reason to call: a call is recorded, and no check expects it.
#define NOT_CALLED(Result, signature)                                                                                  \
    Result signature override                                                                                          \
    {                                                                                                                  \
        Record("!" #signature);                                                                                        \
        return static_cast<Result>(0);                                                                                 \
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

template <class Interface> struct Storage : Counted<Interface>
{
    NOT_CALLED(PYX_RESULT, SetProperty(const wchar_t*, PYXVariant));
    NOT_CALLED(PYX_RESULT, GetProperty(const wchar_t*, PYXVariant*));
    NOT_CALLED(bool, HasProperty(const wchar_t*));
    NOT_CALLED(pyx_size, GetPropertyCount());
    NOT_CALLED(PYX_RESULT, GetPropertyAt(pyx_size, wchar_t*, pyx_size, PYXVariant*));
    NOT_CALLED(PYX_RESULT, Clear());
    NOT_CALLED(PYX_RESULT, AddTo(PYXPropertyStorage*, bool, bool));
    NOT_CALLED(PYX_RESULT, CopyTo(PYXPropertyStorage*, bool));
    NOT_CALLED(void, AddObserver(PYXPropertyStorageObserver*));
    NOT_CALLED(void, RemoveObserver(PYXPropertyStorageObserver*));
};

/// Has one property, g_property, and tells of no other.
struct Sink final : Storage<PYXPropertyStorage>
{
    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override
    {
        if (IsEqual(name, g_property))
        {
            Record("set ", value);
        }
        return PYX_OK;
    }

    bool HasProperty(const wchar_t* name) override
    {
        const bool hasIt = IsEqual(name, g_property);
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
};

struct Observer final : PYXPropertyStorageObserver
{
    void OnPropertyChanged(const wchar_t* name) override
    {
        Record("changed(", name, ")");
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
        return m_type >= 0 && IsEqual(name, L"OutputDataType") ? PYX_OK : PYX_NOT_FOUND;
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

/// Every packet there is. None is used twice, so what is done to one that has ended does no harm and is found out.
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
        Record(m_name, ".", name, "=", value);
        return PYX_OK;
    }

    PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue) override
    {
        *pValue = PYXVariantFromInt64(m_streamType);
        return IsEqual(name, L"StreamType") ? PYX_OK : PYX_NOT_FOUND;
    }

    NOT_CALLED(pyx_size, GetPropertiesInfoCount());
    NOT_CALLED(PYX_RESULT, GetPropertyInfo(const wchar_t*, const PYXPropertyInfo**));
    NOT_CALLED(PYX_RESULT, GetPropertyInfo(pyx_size, const PYXPropertyInfo**));
    NOT_CALLED(PYX_RESULT, ValidateProperty(const wchar_t*, PYXVariant, PYXVariant*));
};

/// Refuses the packet at time 400, after having told of it.
struct MuxerInput final : MuxerStorage<PYXInput>
{
    using MuxerStorage::MuxerStorage;

    PYX_RESULT SubmitInput(PYXData* pData) override
    {
        const auto spBuffer = PYXInterfacePtr<PYXData>(pData).Query<PYXBuffer>();
        if (!spBuffer)
        {
            Record(m_name, "(end)");
            return PYX_EOF;
        }
        PYXVariant type;
        spBuffer->GetProperty(L"OutputDataType", &type);
        Record(m_name, "(", spBuffer->GetPts(), "+", spBuffer->GetDuration(), " ", type, " ",
               static_cast<pyx_int64>(spBuffer->GetSize()), " ", static_cast<char*>(spBuffer->GetNative()), ")");
        return spBuffer->GetPts() == 400 ? PYX_FAIL : PYX_OK;
    }
};

struct Muxer final : MuxerStorage<PYXComponentEx>
{
    MuxerInput m_inputs[2] = {{"muxer.audio", PYX_STREAM_TYPE_AUDIO}, {"muxer.video", PYX_STREAM_TYPE_VIDEO}};

    using MuxerStorage::MuxerStorage;

    PYX_RESULT Init(pyx_int32 format, pyx_int32 width, pyx_int32 height) override
    {
        Record("muxer.Init(", format, ",", width, ",", height, ")");
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
        Record("trace ", level, " ", path, line > 0 ? " " : " without a line ", scope, " '", format, "'");
        if (pArgs)
        {
            Record("with ", va_arg(*pArgs, int));
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
    Context m_other;

    PYX_RESULT GetDebug(void** ppOut) override
    {
        *ppOut = &m_other;
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
    Record(pContext == &g_context ? "create(" : "context lost, create(", id, ")");
    return g_muxer.QueryInterface(PYXComponentEx::c_id, reinterpret_cast<void**>(ppOut));
}
