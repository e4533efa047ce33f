#include "RingBufferImpl.h"

#include "common/MuxerLoader.h"
#include "common/PropertyNames.h"
#include "common/PropertyReader.h"
#include "common/StreamProperties.h"
#include "DirectoryTree.h"
#include "RingBufferTrace.h"
#include "RingBufferWriteOut.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>
#include <utility>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_ringBufferTraceSource;

constexpr pyx_uint32 c_pathContent = 2; // content type of texts that name a file or directory
constexpr pyx_uint32 c_readWrite = PYX_PROPERTY_ACCESS_READ_WRITE;
constexpr pyx_uint32 c_full = PYX_PROPERTY_ACCESS_FULL;
constexpr PYXVariant c_none{};
constexpr PYXVariant c_noText = PYXVariantBorrowWString(L"");
constexpr PYXVariant c_shortest = PYXVariantFromInt64(1);
constexpr PYXVariant c_longest = PYXVariantFromInt64(2147483647);

constexpr PYXVariant c_usual = PYXVariantFromInt64(PYXRingBufferCache::c_defaultDuration);
constexpr PYXVariant c_on = PYXVariantFromBool(true);
constexpr PYXVariant c_off = PYXVariantFromBool(false);

// clang-format off
constexpr PYXPropertyDeclaration c_properties[] = {
    //                                  display name            kind                 default   minimum     maximum    access       content
    {PYX_PROPERTY_TEMP_PATH,             L"Temp location",       PYX_VARIANT_WSTRING, c_noText, c_none,     c_none,    c_readWrite, c_pathContent},
    {PYX_PROPERTY_DURATION,              L"Duration (sec)",      PYX_VARIANT_INT64,   c_usual,  c_shortest, c_longest, c_readWrite},
    {PYX_PROPERTY_BUFFER_IN_RAM_ENABLED, L"BufferInRamEnabled",  PYX_VARIANT_BOOL,    c_off,    c_none,     c_none,    c_full},
    {PYX_PROPERTY_PATH,                  L"Output file",         PYX_VARIANT_WSTRING, c_noText, c_none,     c_none,    c_readWrite, c_pathContent},
    {PYX_PROPERTY_ENABLE_VIDEO,          L"Enable video stream", PYX_VARIANT_BOOL,    c_on,     c_none,     c_none,    c_full},
    {PYX_PROPERTY_ENABLE_AUDIO,          L"Enable audio stream", PYX_VARIANT_BOOL,    c_off,    c_none,     c_none,    c_full},
};
// clang-format on

bool Is(const wchar_t* name, const wchar_t* other)
{
    return name && wcscmp(name, other) == 0;
}

/// What the ring buffer keeps for itself; everything else is the muxer's too.
bool IsOwn(const wchar_t* name)
{
    return Is(name, PYX_PROPERTY_TEMP_PATH) || Is(name, PYX_PROPERTY_DURATION) ||
           Is(name, PYX_PROPERTY_BUFFER_IN_RAM_ENABLED);
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

PYXRingBufferImpl::PYXRingBufferImpl(PYXContext* pContext)
    : m_spContext(pContext), m_pCache(std::make_shared<PYXRingBufferCache>(pContext)),
      m_pMuxer(std::make_shared<PYXInterfacePtr<PYXComponent>>())
{
    for (const PYXPropertyDeclaration& property : c_properties)
    {
        DeclareProperty(property);
    }
    static_cast<void>(CreateMuxer(pContext, m_pMuxer->Out()));
    PYXLock lock(m_pCache.get());
    AddInput(PYX_STREAM_TYPE_VIDEO);
}

PYXRingBufferImpl::~PYXRingBufferImpl()
{
    {
        PYXLock lock(m_pCache.get()); // no packet gets in between
        TerminateAtEnd();
        m_pCache->Close();
    }
    m_pMuxer->Reset();
    PYXLock lock(m_pCache.get());
    m_pCache->ClearGOPs(); // what could not be written
}

/// Out of memory: no clip, as without a disk. The destruction continues.
void PYXRingBufferImpl::TerminateAtEnd() noexcept
{
    try
    {
        static_cast<void>(PYXRingBufferImpl::Terminate());
    }
    catch (const std::bad_alloc&) // NOLINT(bugprone-empty-catch)
    {
    }
}

PYX_RESULT PYXRingBufferImpl::QueryInterface(const PYXGuid& id, void** out)
{
    return PYXQueryInterface<PYXInterface, PYXPropertyStorage, PYXPropertyStorageEx, PYXComponent, PYXComponentEx>(
        static_cast<PYXComponentEx*>(this), id, out);
}

PYX_RESULT PYXRingBufferImpl::SetProperty(const wchar_t* name, PYXVariant value)
{
    PYXComponent* const pMuxer = m_pMuxer->Get();
    FAIL_IF_NOT(pMuxer, PYX_NOT_INITIALIZED, L"SetProperty() - Internal component not initialized");
    if (!IsOwn(name))
    {
        PASS_ON_FAILURE(pMuxer->SetProperty(name, value), L"muxer::SetProperty() failed");
    }
    FAIL_IF_NOT(name != nullptr, PYX_INVALID_POINTER, L"invalid pointer : name");
    return PYXPropertyStorageExImpl::SetProperty(name, value);
}

PYX_RESULT PYXRingBufferImpl::Init(pyx_int32 format, pyx_int32 width, pyx_int32 height)
{
    PYXComponent* const pMuxer = m_pMuxer->Get();
    FAIL_IF_NOT(pMuxer, PYX_NOT_INITIALIZED, L"Init() - Internal component not initialized");
    PYXLock lock(m_pCache.get());
    m_pCache->ClearGOPs();
    if (const std::wstring& tempPath = m_pCache->GetTempPath(); !tempPath.empty())
    {
        RemoveTree(tempPath);
        CreatePath(tempPath);
    }
    PASS_ON_FAILURE(pMuxer->Init(format, width, height), L"muxer::Init() failed");
    return PYX_OK;
}

PYX_RESULT PYXRingBufferImpl::ReInit(pyx_int32 width, pyx_int32 height)
{
    static_cast<void>(Terminate());
    return Init(0, width, height);
}

PYX_RESULT PYXRingBufferImpl::Terminate()
{
    PYXComponent* const pMuxer = m_pMuxer->Get();
    FAIL_IF_NOT(pMuxer, PYX_NOT_INITIALIZED, L"Terminate() - Internal component not initialized");
    PYXLock lock(m_pCache.get());
    const std::wstring& tempPath = m_pCache->GetTempPath();
    if (!tempPath.empty() && !m_pCache->GetCompleteGOPs().empty())
    {
        PASS_ON_FAILURE(WriteBuffer(m_pCache.get(), pMuxer), L"WriteBuffer() failed");
    }
    m_pCache->ClearGOPs();
    if (!tempPath.empty())
    {
        RemoveTree(tempPath);
    }
    return PYX_OK;
}

PYXContext* PYXRingBufferImpl::GetContext()
{
    return m_spContext.Get();
}

pyx_int32 PYXRingBufferImpl::GetInputCount()
{
    return m_inputCount;
}

PYX_RESULT PYXRingBufferImpl::GetInput(pyx_int32 index, PYXInput** ppInput)
{
    FAIL_IF_NOT(index >= 0 && index < GetInputCount(), PYX_INVALID_ARG, L"Invalid index");
    // Hosts match this text although the argument is ppInput.
    FAIL_IF_NOT(ppInput != nullptr, PYX_INVALID_ARG, L"ppOutput = NULL");
    PYXLock lock(m_pCache.get());
    FAIL_IF_NOT(index < GetInputCount(), PYX_INVALID_ARG, L"Invalid index"); // a stream was switched off meanwhile
    PYXInterfacePtr<PYXRingBufferInput> spInput = m_InputStreams[static_cast<size_t>(index)];
    *ppInput = spInput.Detach();
    return PYX_OK;
}

void PYXRingBufferImpl::OnPropertyChanged(const wchar_t* name)
{
    PYXLock lock(m_pCache.get());
    if (Is(name, PYX_PROPERTY_TEMP_PATH))
    {
        OnTempPathChanged();
    }
    else if (Is(name, PYX_PROPERTY_DURATION))
    {
        OnDurationChanged();
    }
    else if (Is(name, PYX_PROPERTY_BUFFER_IN_RAM_ENABLED))
    {
        OnBufferInRamChanged();
    }
    else if (Is(name, PYX_PROPERTY_ENABLE_VIDEO))
    {
        OnStreamSwitched(name, PYX_STREAM_TYPE_VIDEO);
    }
    else if (Is(name, PYX_PROPERTY_ENABLE_AUDIO))
    {
        OnStreamSwitched(name, PYX_STREAM_TYPE_AUDIO);
    }
}

void PYXRingBufferImpl::OnTempPathChanged()
{
    static_cast<void>(Terminate());
    m_pCache->SetTempPath(ReadText(PYX_PROPERTY_TEMP_PATH));
    static_cast<void>(Init(0, 0, 0));
}

void PYXRingBufferImpl::OnDurationChanged()
{
    m_pCache->SetDurationInSeconds(
        PYXReadPropertyOr(this, PYX_PROPERTY_DURATION, PYXRingBufferCache::c_defaultDuration));
    static_cast<void>(m_pCache->TrimGOPs());
}

void PYXRingBufferImpl::OnBufferInRamChanged()
{
    static_cast<void>(Terminate());
    m_pCache->SetInRam(PYXReadPropertyOr(this, PYX_PROPERTY_BUFFER_IN_RAM_ENABLED, false));
    static_cast<void>(Init(0, 0, 0));
}

/// Makes the input of a stream type exist exactly when its switch is on.
void PYXRingBufferImpl::OnStreamSwitched(const wchar_t* switchName, pyx_int64 streamType)
{
    const bool enabled = PYXReadPropertyOr(this, switchName, false);
    const auto found = std::find_if(m_InputStreams.begin(), m_InputStreams.end(), [streamType](const auto& spInput) {
        return PYXReadPropertyOr<pyx_int64>(spInput.Get(), PYX_PROPERTY_STREAM_TYPE, 0) == streamType;
    });
    const bool exists = found != m_InputStreams.end();
    if (exists && !enabled)
    {
        // Released after erase(), so that its destructor sees a consistent list.
        const PYXInterfacePtr<PYXRingBufferInput> spRemoved = std::move(*found);
        m_InputStreams.erase(found);
        --m_inputCount;
    }
    else if (!exists && enabled)
    {
        AddInput(streamType);
    }
}

void PYXRingBufferImpl::AddInput(pyx_int64 streamType)
{
    using Input = PYXInterfacePtr<PYXRingBufferInput>;
    m_InputStreams.push_back(streamType == PYX_STREAM_TYPE_VIDEO
                                 ? Input(new PYXRingBufferVideoInput(m_pCache, m_pMuxer))
                                 : Input(new PYXRingBufferAudioInput(m_pCache, m_pMuxer)));
    ++m_inputCount;
}
