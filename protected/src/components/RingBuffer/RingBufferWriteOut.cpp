#include "RingBufferWriteOut.h"

#include "common/PropertyNames.h"
#include "common/PropertyReader.h"
#include "RingBufferTrace.h"

#include <utility>

namespace
{

constexpr const PYXTraceSource& c_traceSource = c_ringBufferTraceSource;

/// Where the two kinds of packets differ.
struct StreamKind
{
    pyx_size (PYXRingBufferGOP::*getCount)();
    PYX_RESULT (PYXRingBufferGOP::*open)(pyx_uint32 mode);
    PYX_RESULT (PYXRingBufferGOP::*getPacket)(pyx_int32 index, PYXBuffer** ppPacket);
    PYX_RESULT (PYXRingBufferGOP::*close)();
    const wchar_t* openFailed;
    const wchar_t* fetchFailed;
    const wchar_t* submitFailed;
    const wchar_t* endFailed;
};

constexpr StreamKind c_video{
    &PYXRingBufferGOP::GetVideoPacketCount,
    &PYXRingBufferGOP::OpenVideoFile,
    &PYXRingBufferGOP::GetVideoPacket,
    &PYXRingBufferGOP::CloseVideoFile,
    L"WriteBuffer() Failed to open temp video file.",
    L"WriteBuffer() failed to retrieve video frame %d.",
    L"WriteBuffer() failed to submit video frame %d.",
    L"WriteBuffer() failed to submit empty video frame.",
};

constexpr StreamKind c_audio{
    &PYXRingBufferGOP::GetAudioPacketCount,
    &PYXRingBufferGOP::OpenAudioFile,
    &PYXRingBufferGOP::GetAudioPacket,
    &PYXRingBufferGOP::CloseAudioFile,
    L"WriteBuffer() Failed to open temp audio file.",
    L"WriteBuffer() failed to retrieve audio frame %d.",
    L"WriteBuffer() failed to submit audio frame %d.",
    L"WriteBuffer() failed to submit empty audio frame.",
};

/// Writes all packets of one kind to one muxer input, one fetched packet at a time. Without an input it leaves them
/// alone.
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
        m_count = 0;
        if (m_spInput)
        {
            m_count = static_cast<pyx_int32>((pGroup->*m_kind.getCount)());
            PASS_ON_FAILURE((pGroup->*m_kind.open)(PYX_STREAM_MODE_READ), m_kind.openFailed);
        }
        return PYX_OK;
    }

    void CloseGroup()
    {
        if (m_spInput)
        {
            static_cast<void>((m_pGroup->*m_kind.close)());
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

    /// True when its pending packet goes before the other kind's, if any.
    bool IsBefore(const StreamWriter& other) const
    {
        return m_spPending && (!other.m_spPending || m_pendingPts < other.m_pendingPts);
    }

    /// Submits the pending packet once; past the duration it is dropped. A refused packet is traced and skipped.
    void Send()
    {
        if (m_pendingPts < m_limit && m_spInput->SubmitInput(m_spPending.Get()) != PYX_OK)
        {
            TRACE_WARNING(m_kind.submitFailed, m_index);
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
    const PYXInterfacePtr<PYXInput> m_spInput; // null: the muxer has none of this kind
    const pyx_int64 m_base;                    // 100 ns ticks
    const pyx_int64 m_limit;                   // 100 ns ticks after the base
    PYXRingBufferGOP* m_pGroup = nullptr;
    PYXInterfacePtr<PYXBuffer> m_spPending;
    pyx_int64 m_pendingPts = 0; // 100 ns ticks after the base
    pyx_int32 m_index = 0;
    pyx_int32 m_count = 0;
};

/// Finds the muxer's last input of each stream type; either may stay null.
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

/// Writes one group's packets of both kinds in the order of their times; video wins a tie.
PYX_RESULT WriteGroup(PYXRingBufferGOP* pGroup, StreamWriter* pVideo, StreamWriter* pAudio)
{
    PASS_ON_FAILURE_SILENTLY(pVideo->OpenGroup(pGroup));
    PASS_ON_FAILURE_SILENTLY(pAudio->OpenGroup(pGroup));
    while (!pVideo->IsDone() || !pAudio->IsDone())
    {
        PASS_ON_FAILURE_SILENTLY(pVideo->Fetch());
        PASS_ON_FAILURE_SILENTLY(pAudio->Fetch());
        (pAudio->IsBefore(*pVideo) ? pAudio : pVideo)->Send();
    }
    pVideo->CloseGroup();
    pAudio->CloseGroup();
    return PYX_OK;
}

} // namespace

PYX_RESULT WriteBuffer(PYXRingBufferCache* pCache, PYXComponent* pMuxer)
{
    FAIL_IF_NOT(pMuxer, PYX_NOT_INITIALIZED, L"WriteBuffer() - Internal component not initialized");
    PYXLock lock(pCache);
    FAIL_IF_NOT(pCache->HasGOP(), PYX_OK, L"WriteBuffer() - No video packets found");
    const auto spMuxerEx = PYXQuery<PYXComponentEx>(pMuxer);
    FAIL_IF_NOT(spMuxerEx, PYX_UNEXPECTED, L"Muxer is of invalid type");
    PYXInterfacePtr<PYXInput> spVideo;
    PYXInterfacePtr<PYXInput> spAudio;
    PASS_ON_FAILURE_SILENTLY(ChooseInputs(spMuxerEx.Get(), &spVideo, &spAudio));

    pCache->FinishActiveGroup();
    // A copy: the muxer and the context may call back, and empty the cache.
    const PYXRingBufferCache::GOPList groups = pCache->GetCompleteGOPs();
    const pyx_int64 base = groups.empty() ? 0 : groups.front()->GetPts();
    const pyx_int64 limit = pCache->GetDurationInSeconds() * PYX_TICKS_PER_SECOND;
    StreamWriter video(c_video, spVideo, base, limit);
    StreamWriter audio(c_audio, spAudio, base, limit);
    for (const auto& pGroup : groups)
    {
        PASS_ON_FAILURE_SILENTLY(WriteGroup(pGroup.get(), &video, &audio));
    }
    PASS_ON_FAILURE_SILENTLY(video.SendEnd());
    PASS_ON_FAILURE_SILENTLY(audio.SendEnd());
    pCache->ClearGOPs();
    return PYX_OK;
}
