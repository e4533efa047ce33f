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

// A slot is a line, and so are several that nobody has a reason to call.
// clang-format off
#define SLOT(signature, ...) signature override { __VA_ARGS__; }
#define NOT_CALLED(Result, signature) SLOT(Result signature, Record("!" #signature); return static_cast<Result>(0))
#define HOST_OPERATION(number) NOT_CALLED(PYX_RESULT, HostOperation##number())

template <class Interface> struct Counted : Interface
{
    pyx_uint32 m_count = 0;
    SLOT(pyx_uint32 Acquire(), return ++g_references, ++m_count)
    SLOT(pyx_uint32 Release(), return --g_references, --m_count)
    SLOT(PYX_RESULT QueryInterface(const PYXGuid& id, void** out), *out = id == Interface::c_id ? this : nullptr;
         return *out ? Acquire(), PYX_OK : PYX_NO_INTERFACE)
};

template <class Interface> struct Storage : Counted<Interface>
{
    NOT_CALLED(PYX_RESULT, SetProperty(const wchar_t*, PYXVariant))
    NOT_CALLED(PYX_RESULT, GetProperty(const wchar_t*, PYXVariant*))
    NOT_CALLED(bool, HasProperty(const wchar_t*)) NOT_CALLED(pyx_size, GetPropertyCount())
    NOT_CALLED(PYX_RESULT, GetPropertyAt(pyx_size, wchar_t*, pyx_size, PYXVariant*)) NOT_CALLED(PYX_RESULT, Clear())
    NOT_CALLED(PYX_RESULT, AddTo(PYXPropertyStorage*, bool, bool))
    NOT_CALLED(PYX_RESULT, CopyTo(PYXPropertyStorage*, bool))
    NOT_CALLED(void, AddObserver(PYXPropertyStorageObserver*))
    NOT_CALLED(void, RemoveObserver(PYXPropertyStorageObserver*))
};

struct Sink final : Storage<PYXPropertyStorage>
{
    SLOT(PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value),
         return IsEqual(name, g_property) ? Record("set ", value), PYX_OK : PYX_OK)
    SLOT(bool HasProperty(const wchar_t* name), return IsEqual(name, g_property) && Record("asked"))
    SLOT(PYX_RESULT Clear(), Record("cleared"); return PYX_OK)
};

struct Observer final : PYXPropertyStorageObserver
{
    SLOT(void OnPropertyChanged(const wchar_t* name), Record("changed(", name, ")"))
};

/// A packet. A negative frame type stands for none.
struct Packet final : Storage<PYXBuffer>
{
    char m_bytes[16] = {};
    pyx_size m_size = 0;
    pyx_int64 m_pts = 0, m_duration = 0, m_type = -1;
    SLOT(PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue), *pValue = PYXVariantFromInt64(m_type);
         return m_type >= 0 && IsEqual(name, L"OutputDataType") ? PYX_OK : PYX_NOT_FOUND)
    SLOT(PYX_RESULT CopyTo(PYXPropertyStorage* pDest, bool), static_cast<Packet*>(pDest)->m_type = m_type; return PYX_OK)
    SLOT(void SetPts(pyx_int64 pts), m_pts = pts) SLOT(pyx_int64 GetPts(), return m_pts)
    SLOT(void SetDuration(pyx_int64 duration), m_duration = duration) SLOT(pyx_int64 GetDuration(), return m_duration)
    SLOT(pyx_size GetSize(), return m_size) SLOT(void* GetNative(), return m_bytes)
};

/// Every packet there is. None is used twice, so what is done to one that has ended does no harm and is found out.
inline constinit Packet g_packets[32];
inline constinit Packet* g_pNextPacket = g_packets;

struct Context final : Counted<PYXContext>
{
    SLOT(PYX_RESULT AllocBuffer(PYX_MEMORY_TYPE type, pyx_size size, PYXBuffer** ppOut), *ppOut = g_pNextPacket;
         g_pNextPacket->m_size = size; g_pNextPacket->Acquire(); ++g_pNextPacket;
         return type == PYX_MEMORY_HOST ? PYX_OK : PYX_INVALID_ARG)
};

/// What the muxer and its inputs have in common.
template <class Interface> struct MuxerStorage : Storage<Interface>
{
    const char* m_name;
    pyx_int64 m_streamType;
    constexpr MuxerStorage(const char* name, pyx_int64 streamType) : m_name(name), m_streamType(streamType) {}
    SLOT(PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value), Record(m_name, ".", name, "=", value);
         return PYX_OK)
    SLOT(PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue), *pValue = PYXVariantFromInt64(m_streamType);
         return IsEqual(name, L"StreamType") ? PYX_OK : PYX_NOT_FOUND)
    NOT_CALLED(pyx_size, GetPropertiesInfoCount())
    NOT_CALLED(PYX_RESULT, GetPropertyInfo(const wchar_t*, const PYXPropertyInfo**))
    NOT_CALLED(PYX_RESULT, GetPropertyInfo(pyx_size, const PYXPropertyInfo**))
    NOT_CALLED(PYX_RESULT, ValidateProperty(const wchar_t*, PYXVariant, PYXVariant*))
};

/// Refuses the packet at time 400, after having told of it.
struct MuxerInput final : MuxerStorage<PYXInput>
{
    using MuxerStorage::MuxerStorage;
    SLOT(PYX_RESULT SubmitInput(PYXData* pData),
         const auto spBuffer = PYXInterfacePtr<PYXData>(pData).Query<PYXBuffer>();
         PYXVariant type;
         spBuffer ? spBuffer->GetProperty(L"OutputDataType", &type) : 0;
         spBuffer ? Record(m_name, "(", spBuffer->GetPts(), "+", spBuffer->GetDuration(), " ", type, " ",
                           int(spBuffer->GetSize()), " ", static_cast<char*>(spBuffer->GetNative()), ")")
                  : Record(m_name, "(end)");
         return !spBuffer ? PYX_EOF : spBuffer->GetPts() == 400 ? PYX_FAIL : PYX_OK)
};

struct Muxer final : MuxerStorage<PYXComponentEx>
{
    MuxerInput m_inputs[2] = {{"muxer.audio", PYX_STREAM_TYPE_AUDIO}, {"muxer.video", PYX_STREAM_TYPE_VIDEO}};
    using MuxerStorage::MuxerStorage;
    SLOT(PYX_RESULT Init(pyx_int32 format, pyx_int32 width, pyx_int32 height),
         Record("muxer.Init(", format, ",", width, ",", height, ")"); return PYX_OK)
    NOT_CALLED(PYX_RESULT, ReInit(pyx_int32, pyx_int32)) NOT_CALLED(PYX_RESULT, Terminate())
    HOST_OPERATION(20) HOST_OPERATION(21) HOST_OPERATION(22) HOST_OPERATION(23) NOT_CALLED(PYXContext*, GetContext())
    HOST_OPERATION(25) HOST_OPERATION(26) HOST_OPERATION(27) HOST_OPERATION(29) HOST_OPERATION(31)
    SLOT(pyx_int32 GetInputCount(), return 2)
    SLOT(PYX_RESULT GetInput(pyx_int32 index, PYXInput** ppInput), *ppInput = &m_inputs[index]; (*ppInput)->Acquire();
         return PYX_OK)
};

struct TraceObject final : PYXTrace
{
    SLOT(void TraceW(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope, const wchar_t* format,
                     va_list* pArgs),
         Record("trace ", level, " ", path, line > 0 ? " " : " without a line ", scope, " '", format, "'");
         pArgs ? Record("with ", va_arg(*pArgs, int)) : 0)
    SLOT(const wchar_t* GetResultText(PYX_RESULT code), return code == PYX_NOT_FOUND ? L"not found" : L"unknown")
};

struct Factory final : PYXFactory
{
    TraceObject m_trace;
    Context m_other;
    SLOT(PYX_RESULT GetDebug(void** ppOut), *ppOut = &m_other; return PYX_OK)
    SLOT(PYX_RESULT GetTrace(PYXTrace** ppOut), *ppOut = &m_trace; return PYX_OK)
};

inline constinit Context g_context;
inline constinit Factory g_factory;
inline constinit Muxer g_muxer("muxer", 0);

/// What the companion modules export.
#define ENTRY(signature, ...) PYX_EXPORT PYX_RESULT signature { __VA_ARGS__; }
ENTRY(PYXInit(pyx_uint64 version, PYXFactory** ppFactory), *ppFactory = &g_factory;
      return version == 0x0001000400240000 ? PYX_OK : PYX_FAIL)
ENTRY(PYXQueryVersion(pyx_uint64* pVersion), *pVersion = 0x0001000400240000; return PYX_OK)
ENTRY(PYXCreateComponentInt(PYXContext* pContext, const wchar_t* id, PYXComponent** ppOut),
      Record(pContext == &g_context ? "create(" : "context lost, create(", id, ")");
      return g_muxer.QueryInterface(PYXComponentEx::c_id, reinterpret_cast<void**>(ppOut)))
// clang-format on
