#include "RingBufferImpl.h"

#include "common/PropertyReader.h"
#include "common/StreamProperties.h"

#include <utility>

// The cache on its way into the muxer.

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_ringBufferTraceSource;

/// Where the two kinds of packets differ: the group's operations and the texts.
struct StreamKind
{
    pyx_size (PYXRingBufferGOP::*getCount)();
    PYX_RESULT (PYXRingBufferGOP::*getPacket)(pyx_int32 idx, PYXBuffer** ppPacket);
    PYX_RESULT (PYXRingBufferGOP::*open)(pyx_uint32 mode);
    PYX_RESULT (PYXRingBufferGOP::*close)();
    const wchar_t* openFailed;
    const wchar_t* fetchFailed;
    const wchar_t* submitFailed;
    const wchar_t* endFailed;
};

constexpr StreamKind c_video{
    &PYXRingBufferGOP::GetVideoPacketCount,
    &PYXRingBufferGOP::GetVideoPacket,
    &PYXRingBufferGOP::OpenVideoFile,
    &PYXRingBufferGOP::CloseVideoFile,
    L"WriteBuffer() Failed to open temp video file.",
    L"WriteBuffer() failed to retrieve video frame %d.",
    L"WriteBuffer() failed to submit video frame %d.",
    L"WriteBuffer() failed to submit empty video frame.",
};

constexpr StreamKind c_audio{
    &PYXRingBufferGOP::GetAudioPacketCount,
    &PYXRingBufferGOP::GetAudioPacket,
    &PYXRingBufferGOP::OpenAudioFile,
    &PYXRingBufferGOP::CloseAudioFile,
    L"WriteBuffer() Failed to open temp audio file.",
    L"WriteBuffer() failed to retrieve audio frame %d.",
    L"WriteBuffer() failed to submit audio frame %d.",
    L"WriteBuffer() failed to submit empty audio frame.",
};

/// One kind of packets on its way from the groups to a muxer input, with at most
/// one fetched packet in hand. Without an input its packets are left alone.
class StreamWriter
{
public:
    StreamWriter(const StreamKind& kind, PYXInterfacePtr<PYXInput> spInput, pyx_int64 base, pyx_int64 limit)
        : m_kind(kind), m_spInput(std::move(spInput)), m_base(base), m_limit(limit)
    {
    }

    PYX_RESULT OpenGroup(PYXRingBufferGOP* pGroup)
    {
        m_pGroup = pGroup;
        m_index = 0;
        m_count = m_spInput ? static_cast<pyx_int32>((pGroup->*m_kind.getCount)()) : 0;
        if (m_spInput)
        {
            PASS_ON_FAILURE((pGroup->*m_kind.open)(PYX_STREAM_MODE_READ), m_kind.openFailed);
        }
        return PYX_OK;
    }

    void CloseGroup()
    {
        if (m_spInput)
        {
            (m_pGroup->*m_kind.close)();
        }
    }

    bool IsDone() const
    {
        return m_index >= m_count;
    }

    /// Makes the next packet pending, its time counted from the base, unless one
    /// is pending or none is left.
    PYX_RESULT Fetch()
    {
        if (m_spPending || IsDone())
        {
            return PYX_OK;
        }
        PASS_ON_FAILURE((m_pGroup->*m_kind.getPacket)(m_index, m_spPending.Out()), m_kind.fetchFailed, m_index);
        m_pendingPts = PYXSubtractTicks(m_spPending->GetPts(), m_base);
        m_spPending->SetPts(m_pendingPts);
        return PYX_OK;
    }

    bool HasPending() const
    {
        return static_cast<bool>(m_spPending);
    }

    pyx_int64 PendingPts() const
    {
        return m_pendingPts;
    }

    /// Submits the pending packet once; past the duration it is dropped. A muxer
    /// that refuses it gets the next one all the same.
    void Send()
    {
        if (PendingPts() < m_limit && m_spInput->SubmitInput(m_spPending.Get()) != PYX_OK)
        {
            Trace(c_traceSource.source, __LINE__, PYX_TRACE_WARNING, c_traceSource.scope, 1, m_kind.submitFailed,
                  m_index);
        }
        m_spPending.Reset();
        ++m_index;
    }

    /// Ends the stream. The end mark goes out even if nothing was sent before.
    PYX_RESULT SendEnd()
    {
        const PYX_RESULT result = m_spInput ? m_spInput->SubmitInput(nullptr) : PYX_OK;
        if (result != PYX_EOF)
        {
            PASS_ON_FAILURE(result, m_kind.endFailed);
        }
        return PYX_OK;
    }

private:
    const StreamKind& m_kind;
    PYXInterfacePtr<PYXInput> m_spInput; // null: the muxer has none of this kind
    const pyx_int64 m_base;              // 100 ns ticks
    const pyx_int64 m_limit;             // 100 ns ticks after the base
    PYXRingBufferGOP* m_pGroup = nullptr;
    PYXInterfacePtr<PYXBuffer> m_spPending;
    pyx_int64 m_pendingPts = 0; // 100 ns ticks after the base
    pyx_int32 m_index = 0;
    pyx_int32 m_count = 0;
};

/// Sends one group's packets in the order of their times; video wins a tie.
PYX_RESULT MergeGroup(StreamWriter* pVideo, StreamWriter* pAudio)
{
    while (!pVideo->IsDone() || !pAudio->IsDone())
    {
        for (StreamWriter* pWriter : {pVideo, pAudio})
        {
            if (const PYX_RESULT result = pWriter->Fetch(); result != PYX_OK)
            {
                return result;
            }
        }
        const bool audioFirst =
            !pVideo->HasPending() || (pAudio->HasPending() && pVideo->PendingPts() > pAudio->PendingPts());
        (audioFirst ? pAudio : pVideo)->Send();
    }
    return PYX_OK;
}

PYX_RESULT WriteGroup(PYXRingBufferGOP* pGroup, StreamWriter* pVideo, StreamWriter* pAudio)
{
    for (StreamWriter* pWriter : {pVideo, pAudio})
    {
        if (const PYX_RESULT result = pWriter->OpenGroup(pGroup); result != PYX_OK)
        {
            return result;
        }
    }
    if (const PYX_RESULT result = MergeGroup(pVideo, pAudio); result != PYX_OK)
    {
        return result;
    }
    pVideo->CloseGroup();
    pAudio->CloseGroup();
    return PYX_OK;
}

/// The muxer's last input of each stream type; either may stay null.
PYX_RESULT ChooseInputs(PYXComponentEx* pMuxer, PYXInterfacePtr<PYXInput>* pspVideo,
                        PYXInterfacePtr<PYXInput>* pspAudio)
{
    for (pyx_int32 i = 0; i < pMuxer->GetInputCount(); ++i)
    {
        PYXInterfacePtr<PYXInput> spInput;
        PASS_ON_FAILURE(pMuxer->GetInput(i, spInput.Out()), L"Muxer has invalid input stream");
        FAIL_IF_NOT(spInput, PYX_UNEXPECTED, L"Muxer input stream is NULL");
        pyx_int64 streamType = 0;
        PASS_ON_FAILURE(PYXReadProperty(spInput.Get(), PYX_PROPERTY_STREAM_TYPE, &streamType),
                        L"Muxer GetProperty() failed");
        if (streamType == PYX_STREAM_TYPE_VIDEO)
        {
            *pspVideo = spInput;
        }
        else if (streamType == PYX_STREAM_TYPE_AUDIO)
        {
            *pspAudio = spInput;
        }
    }
    return PYX_OK;
}

} // namespace

/// Pushes every stored packet, oldest group first, into the muxer, with times
/// that start at zero and nothing at or past the duration, then ends both
/// streams and empties the cache. Nothing cached is traced and answered with
/// PYX_OK. On failure the groups stay, the active one among them, in the list.
PYX_RESULT PYXRingBufferImpl::WriteBuffer()
{
    FAIL_IF_NOT(m_spMuxer, PYX_NOT_INITIALIZED, L"WriteBuffer() - Internal component not initialized");
    FAIL_IF_NOT(!m_listOfGOPs.empty() || m_pActiveGOP, PYX_OK, L"WriteBuffer() - No video packets found");
    PYXLock lock(&m_sync);
    const auto spMuxerEx = m_spMuxer.Query<PYXComponentEx>();
    FAIL_IF_NOT(spMuxerEx, PYX_UNEXPECTED, L"Muxer is of invalid type");
    PYXInterfacePtr<PYXInput> spVideoInput;
    PYXInterfacePtr<PYXInput> spAudioInput;
    if (const PYX_RESULT result = ChooseInputs(spMuxerEx.Get(), &spVideoInput, &spAudioInput); result != PYX_OK)
    {
        return result;
    }
    if (m_pActiveGOP)
    {
        m_listOfGOPs.push_back(std::move(m_pActiveGOP));
    }
    const pyx_int64 base = m_listOfGOPs.front()->GetPts();
    const pyx_int64 limit = m_duration * PYX_TICKS_PER_SECOND;
    StreamWriter video(c_video, std::move(spVideoInput), base, limit);
    StreamWriter audio(c_audio, std::move(spAudioInput), base, limit);
    for (const auto& pGroup : m_listOfGOPs)
    {
        if (const PYX_RESULT result = WriteGroup(pGroup.get(), &video, &audio); result != PYX_OK)
        {
            return result;
        }
    }
    for (StreamWriter* pWriter : {&video, &audio})
    {
        if (const PYX_RESULT result = pWriter->SendEnd(); result != PYX_OK)
        {
            return result;
        }
    }
    ClearGOPs();
    return PYX_OK;
}
