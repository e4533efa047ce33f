#include "RingBufferImpl.h"

#include "DirectoryTree.h"

#include "common/PropertyReader.h"
#include "common/RuntimeLoader.h"
#include "common/StreamProperties.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>
#include <utility>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_ringBufferTraceSource;

constexpr const wchar_t* c_tempPath = L"TempPath";
constexpr const wchar_t* c_duration = L"Duration";
constexpr const wchar_t* c_bufferInRam = L"BufferInRamEnabled";
constexpr const wchar_t* c_enableVideo = L"EnableVideo";
constexpr const wchar_t* c_enableAudio = L"EnableAudio";

constexpr pyx_uint32 c_pathContent = 2; // content type of texts that name a file or directory
constexpr pyx_uint32 c_readWrite = PYX_PROPERTY_ACCESS_READ_WRITE;
constexpr pyx_uint32 c_full = PYX_PROPERTY_ACCESS_FULL;
constexpr PYXVariant c_none{};
constexpr PYXVariant c_noText = PYXVariantBorrowWString(L"");
constexpr PYXVariant c_shortest = PYXVariantFromInt64(1);
constexpr PYXVariant c_longest = PYXVariantFromInt64(2147483647);

// clang-format off
constexpr PYXPropertyDeclaration c_properties[] = {
    //              display name             kind                 default                    minimum     maximum    access       content
    {c_tempPath,    L"Temp location",        PYX_VARIANT_WSTRING, c_noText,                  c_none,     c_none,    c_readWrite, c_pathContent},
    {c_duration,    L"Duration (sec)",       PYX_VARIANT_INT64,   PYXVariantFromInt64(c_defaultDuration), c_shortest, c_longest, c_readWrite},
    {c_bufferInRam, L"BufferInRamEnabled",   PYX_VARIANT_BOOL,    PYXVariantFromBool(false), c_none,     c_none,    c_full},
    {L"Path",       L"Output file",          PYX_VARIANT_WSTRING, c_noText,                  c_none,     c_none,    c_readWrite, c_pathContent},
    {c_enableVideo, L"Enable video stream",  PYX_VARIANT_BOOL,    PYXVariantFromBool(true),  c_none,     c_none,    c_full},
    {c_enableAudio, L"Enable audio stream",  PYX_VARIANT_BOOL,    PYXVariantFromBool(false), c_none,     c_none,    c_full},
};
// clang-format on

bool Is(const wchar_t* name, const wchar_t* other)
{
    return name && wcscmp(name, other) == 0;
}

/// What the ring buffer keeps for itself; everything else is the muxer's too.
bool IsOwn(const wchar_t* name)
{
    return Is(name, c_tempPath) || Is(name, c_duration) || Is(name, c_bufferInRam);
}

} // namespace

void* PYXRingBufferImpl::operator new(size_t size)
{
    return memset(::operator new(size), 0, size);
}

void PYXRingBufferImpl::operator delete(void* p)
{
    ::operator delete(p);
}

PYXRingBufferImpl::PYXRingBufferImpl(PYXContext* pContext) : m_spContext(pContext)
{
    LoadRuntime();
    for (const PYXPropertyDeclaration& property : c_properties)
    {
        DeclareProperty(property);
    }
    CreateMuxer(pContext, m_spMuxer.Out());
    m_InputStreams.push_back(CreateStreamInput(PYX_STREAM_TYPE_VIDEO));
}

PYXRingBufferImpl::~PYXRingBufferImpl()
{
    PYXRingBufferImpl::Terminate();
    m_spMuxer.Reset();
    ReleaseRuntime();

    // Without a muxer, or when the write-out failed, the cache is still full.
    m_pActiveGOP.reset();
    m_listOfGOPs.clear();
    m_pendingAudio.clear();
    *m_pLink = nullptr;
    m_InputStreams.clear();
}

pyx_uint32 PYXRingBufferImpl::Acquire()
{
    return PYXRefCounter::Acquire();
}

pyx_uint32 PYXRingBufferImpl::Release()
{
    return PYXRefCounter::Release();
}

PYX_RESULT PYXRingBufferImpl::QueryInterface(const PYXGuid& id, void** out)
{
    if (id == PYXInterface::c_id || id == PYXComponent::c_id || id == PYXComponentEx::c_id)
    {
        *out = static_cast<PYXComponentEx*>(this);
        Acquire();
        return PYX_OK;
    }
    return PYXPropertyStorageExImpl::QueryInterface(id, out);
}

PYX_RESULT PYXRingBufferImpl::SetProperty(const wchar_t* name, PYXVariant value)
{
    FAIL_IF_NOT(m_spMuxer, PYX_NOT_INITIALIZED, L"SetProperty() - Internal component not initialized");
    if (!IsOwn(name))
    {
        PASS_ON_FAILURE(m_spMuxer->SetProperty(name, value), L"muxer::SetProperty() failed");
    }
    FAIL_IF_NOT(name != nullptr, PYX_INVALID_POINTER, L"invalid pointer : name");
    return PYXPropertyStorageExImpl::SetProperty(name, value);
}

PYX_RESULT PYXRingBufferImpl::Init(pyx_int32 format, pyx_int32 width, pyx_int32 height)
{
    FAIL_IF_NOT(m_spMuxer, PYX_NOT_INITIALIZED, L"Init() - Internal component not initialized");
    PYXLock lock(&m_sync);
    ClearGOPs();
    if (!m_tempPath.empty())
    {
        RemoveTree(m_tempPath);
        CreatePath(m_tempPath);
    }
    PASS_ON_FAILURE(m_spMuxer->Init(format, width, height), L"muxer::Init() failed");
    return PYX_OK;
}

PYX_RESULT PYXRingBufferImpl::ReInit(pyx_int32 width, pyx_int32 height)
{
    Terminate();
    return Init(0, width, height);
}

PYX_RESULT PYXRingBufferImpl::Terminate()
{
    FAIL_IF_NOT(m_spMuxer, PYX_NOT_INITIALIZED, L"Terminate() - Internal component not initialized");
    PYXLock lock(&m_sync);
    if (!m_tempPath.empty() && !m_listOfGOPs.empty())
    {
        PASS_ON_FAILURE(WriteBuffer(), L"WriteBuffer() failed");
    }
    ClearGOPs();
    if (!m_tempPath.empty())
    {
        RemoveTree(m_tempPath);
    }
    return PYX_OK;
}

PYX_RESULT PYXRingBufferImpl::HostOperation20()
{
    return PYX_OK;
}

PYX_RESULT PYXRingBufferImpl::HostOperation21()
{
    return PYX_OK;
}

PYX_RESULT PYXRingBufferImpl::HostOperation22()
{
    return PYX_NOT_IMPLEMENTED; // data enters through the inputs
}

PYX_RESULT PYXRingBufferImpl::HostOperation23()
{
    return PYX_NOT_IMPLEMENTED;
}

PYXContext* PYXRingBufferImpl::GetContext()
{
    return m_spContext.Get();
}

PYX_RESULT PYXRingBufferImpl::HostOperation25()
{
    return PYX_OK;
}

PYX_RESULT PYXRingBufferImpl::HostOperation26()
{
    return PYX_NOT_IMPLEMENTED;
}

PYX_RESULT PYXRingBufferImpl::HostOperation27()
{
    return PYX_OK;
}

pyx_int32 PYXRingBufferImpl::GetInputCount()
{
    return static_cast<pyx_int32>(m_InputStreams.size());
}

pyx_int32 PYXRingBufferImpl::HostOperation29()
{
    return 0;
}

PYX_RESULT PYXRingBufferImpl::GetInput(pyx_int32 index, PYXInput** ppInput)
{
    FAIL_IF_NOT(index >= 0 && index < GetInputCount(), PYX_INVALID_ARG, L"Invalid index");
    FAIL_IF_NOT(ppInput != nullptr, PYX_INVALID_ARG, L"ppOutput = NULL"); // the text is fixed, though not the name
    PYXLock lock(&m_sync);
    FAIL_IF_NOT(index < GetInputCount(), PYX_INVALID_ARG, L"Invalid index"); // a stream was switched off meanwhile
    PYXInterfacePtr<PYXRingBufferInput> spInput = m_InputStreams[static_cast<size_t>(index)];
    *ppInput = spInput.Detach();
    return PYX_OK;
}

PYX_RESULT PYXRingBufferImpl::HostOperation31()
{
    return PYX_NOT_IMPLEMENTED;
}

void PYXRingBufferImpl::OnPropertyChanged(const wchar_t* name)
{
    PYXLock lock(&m_sync);
    if (Is(name, c_tempPath))
    {
        Terminate();
        m_tempPath = ReadText(name);
        Init(0, 0, 0);
    }
    else if (Is(name, c_duration))
    {
        PYXReadProperty(this, name, &m_duration);
        TrimGOPs();
    }
    else if (Is(name, c_bufferInRam))
    {
        Terminate();
        PYXReadProperty(this, name, &m_bufferInRam);
        Init(0, 0, 0);
    }
    else if (Is(name, c_enableVideo))
    {
        SwitchStream(name, PYX_STREAM_TYPE_VIDEO);
    }
    else if (Is(name, c_enableAudio))
    {
        SwitchStream(name, PYX_STREAM_TYPE_AUDIO);
    }
}

/// Makes the input of a stream type exist exactly when its switch is on. Called
/// with m_sync held.
void PYXRingBufferImpl::SwitchStream(const wchar_t* switchName, pyx_int64 streamType)
{
    bool enabled = false;
    PYXReadProperty(this, switchName, &enabled);
    const auto found = std::find_if(m_InputStreams.begin(), m_InputStreams.end(), [streamType](const auto& spInput) {
        pyx_int64 type = 0;
        PYXReadProperty(spInput.Get(), PYX_PROPERTY_STREAM_TYPE, &type);
        return type == streamType;
    });
    const bool exists = found != m_InputStreams.end();
    if (exists && !enabled)
    {
        const PYXInterfacePtr<PYXRingBufferInput> spRemoved = std::move(*found); // ends when the list is whole again
        m_InputStreams.erase(found);
    }
    else if (!exists && enabled)
    {
        m_InputStreams.push_back(CreateStreamInput(streamType));
    }
}

PYXInterfacePtr<PYXRingBufferInput> PYXRingBufferImpl::CreateStreamInput(pyx_int64 streamType)
{
    if (streamType == PYX_STREAM_TYPE_VIDEO)
    {
        return PYXInterfacePtr<PYXRingBufferInput>(new PYXRingBufferVideoInput(m_pLink));
    }
    return PYXInterfacePtr<PYXRingBufferInput>(new PYXRingBufferAudioInput(m_pLink));
}
