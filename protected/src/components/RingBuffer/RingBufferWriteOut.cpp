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
    bool isVideo;
    const wchar_t* openFailed;
    const wchar_t* fetchFailed;
    const wchar_t* submitFailed;
    const wchar_t* endFailed;
};

constexpr StreamKind c_video{
    true,
    L"WriteBuffer() Failed to open temp video file.",
    L"WriteBuffer() failed to retrieve video frame %d.",
    L"WriteBuffer() failed to submit video frame %d.",
    L"WriteBuffer() failed to submit empty video frame.",
};

constexpr StreamKind c_audio{
    false,
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
        m_count = m_spInput ? GetPacketCount() : 0;
        if (m_spInput)
        {
            PASS_ON_FAILURE(m_kind.isVideo ? pGroup->OpenVideoFile(PYX_STREAM_MODE_READ)
                                           : pGroup->OpenAudioFile(PYX_STREAM_MODE_READ),
                            m_kind.openFailed);
        }
        return PYX_OK;
    }

    void CloseGroup()
    {
        if (m_spInput)
        {
            m_kind.isVideo ? m_pGroup->CloseVideoFile() : m_pGroup->CloseAudioFile();
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
        PASS_ON_FAILURE(m_kind.isVideo ? m_pGroup->GetVideoPacket(m_index, m_spPending.Out())
                                       : m_pGroup->GetAudioPacket(m_index, m_spPending.Out()),
                        m_kind.fetchFailed, m_index);
        m_pendingPts = PYXSubtractTicks(m_spPending->GetPts(), m_base);
        m_spPending->SetPts(m_pendingPts);
        return PYX_OK;
    }

    /// True when its pending packet goes before the other kind's, if any.
    bool IsBefore(const StreamWriter& other) const
    {
        return m_spPending && (!other.m_spPending || m_pendingPts < other.m_pendingPts);
    }

    /// Submits the pending packet once; past the duration it is dropped. A muxer
    /// that refuses it gets the next one all the same.
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
    pyx_int32 GetPacketCount() const
    {
        return static_cast<pyx_int32>(m_kind.isVideo ? m_pGroup->GetVideoPacketCount()
                                                     : m_pGroup->GetAudioPacketCount());
    }

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

/// The muxer's last input of each stream type; either may stay null.
struct MuxerInputs
{
    PYXInterfacePtr<PYXInput> spVideo;
    PYXInterfacePtr<PYXInput> spAudio;
};

PYX_RESULT ChooseInputs(PYXComponentEx* pMuxer, MuxerInputs* pInputs)
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
            pInputs->spVideo = spInput;
        }
        else if (streamType == PYX_STREAM_TYPE_AUDIO)
        {
            pInputs->spAudio = spInput;
        }
    }
    return PYX_OK;
}

/// Writes groups: within each, the packets of both kinds in the order of their
/// times; video wins a tie.
class GroupWriter
{
public:
    GroupWriter(const MuxerInputs& inputs, pyx_int64 base, pyx_int64 limit)
        : m_video(c_video, inputs.spVideo, base, limit), m_audio(c_audio, inputs.spAudio, base, limit)
    {
    }

    PYX_RESULT Write(PYXRingBufferGOP* pGroup)
    {
        PASS_ON_FAILURE_SILENTLY(m_video.OpenGroup(pGroup));
        PASS_ON_FAILURE_SILENTLY(m_audio.OpenGroup(pGroup));
        while (!m_video.IsDone() || !m_audio.IsDone())
        {
            PASS_ON_FAILURE_SILENTLY(m_video.Fetch());
            PASS_ON_FAILURE_SILENTLY(m_audio.Fetch());
            (m_audio.IsBefore(m_video) ? m_audio : m_video).Send();
        }
        m_video.CloseGroup();
        m_audio.CloseGroup();
        return PYX_OK;
    }

    PYX_RESULT End()
    {
        PASS_ON_FAILURE_SILENTLY(m_video.SendEnd());
        return m_audio.SendEnd();
    }

private:
    StreamWriter m_video;
    StreamWriter m_audio;
};

} // namespace

PYX_RESULT WriteBuffer(PYXRingBufferCache* pCache, PYXComponent* pMuxer)
{
    FAIL_IF_NOT(pMuxer, PYX_NOT_INITIALIZED, L"WriteBuffer() - Internal component not initialized");
    PYXLock lock(pCache);
    FAIL_IF_NOT(pCache->HasGOP(), PYX_OK, L"WriteBuffer() - No video packets found");
    const auto spMuxerEx = PYXInterfacePtr(pMuxer).Query<PYXComponentEx>();
    FAIL_IF_NOT(spMuxerEx, PYX_UNEXPECTED, L"Muxer is of invalid type");
    MuxerInputs inputs;
    PASS_ON_FAILURE_SILENTLY(ChooseInputs(spMuxerEx.Get(), &inputs));

    pCache->FinishActiveGroup();
    const PYXRingBufferCache::GOPList& groups = pCache->GetCompleteGOPs();
    GroupWriter writer(inputs, groups.front()->GetPts(), pCache->GetDurationInSeconds() * PYX_TICKS_PER_SECOND);
    for (const auto& pGroup : groups)
    {
        PASS_ON_FAILURE_SILENTLY(writer.Write(pGroup.get()));
    }
    PASS_ON_FAILURE_SILENTLY(writer.End());
    pCache->ClearGOPs();
    return PYX_OK;
}
