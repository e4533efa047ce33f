#include "muxer/MuxerInput.h"

#include "common/InterfacePtr.h"
#include "common/KeyPacket.h"
#include "common/PropertyReader.h"
#include "common/StreamProperties.h"
#include "common/Trace.h"
#include "media/ClipProperties.h"
#include "muxer/StreamDescription.h"

#include <climits>
#include <cstring>
#include <utility>

namespace
{

constexpr PYXTraceSource c_traceSource{L"companions/muxer/MuxerInput", L"PYXMuxerInput"};

/// Times beyond it (228 years) are a producer's mistake and would overflow.
constexpr pyx_int64 c_timeLimit = 1LL << 56;

/// A duration beyond it is no packet's and counts as unknown.
constexpr pyx_int64 c_longestDuration = 3600 * PYX_TICKS_PER_SECOND;

} // namespace

PYXMuxerInput::PYXMuxerInput(StreamKind kind, std::shared_ptr<MuxSession> spSession)
    : m_kind(kind), m_spSession(std::move(spSession))
{
    const bool isVideo = kind == StreamKind::Video;
    for (const auto& declarations : {isVideo ? PYX_VIDEO_STREAM_PROPERTIES : PYX_AUDIO_STREAM_PROPERTIES,
                                     isVideo ? VIDEO_DETAIL_PROPERTIES : AUDIO_DETAIL_PROPERTIES})
    {
        for (const PYXPropertyDeclaration& declaration : declarations)
        {
            DeclareProperty(declaration);
        }
    }
}

PYX_RESULT PYXMuxerInput::QueryInterface(const PYXGuid& id, void** out)
{
    return PYXQueryInterface<PYXInterface, PYXPropertyStorage, PYXPropertyStorageEx, PYXInput>(
        static_cast<PYXInput*>(this), id, out);
}

PYX_RESULT PYXMuxerInput::SubmitInput(PYXData* pData)
{
    if (!pData)
    {
        return m_spSession->End(m_kind, this);
    }
    const auto spBuffer = PYXInterfacePtr<PYXData>(pData).Query<PYXBuffer>();
    FAIL_IF_NOT(spBuffer, PYX_UNEXPECTED, L"the packet is not a buffer");
    PacketPtr spPacket;
    PASS_ON_FAILURE_SILENTLY(CopyPacket(spBuffer.Get(), &spPacket));
    return m_spSession->Submit(m_kind, this, std::move(spPacket));
}

PYX_RESULT PYXMuxerInput::CopyPacket(PYXBuffer* pBuffer, PacketPtr* pspPacket) const
{
    const pyx_size size = pBuffer->GetSize();
    const void* pNative = pBuffer->GetNative();
    const pyx_int64 pts = pBuffer->GetPts();
    const pyx_int64 duration = pBuffer->GetDuration();
    FAIL_IF_NOT(size > 0 && pNative, PYX_INVALID_ARG, L"the packet has no bytes");
    FAIL_IF_NOT(size <= INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE, PYX_INVALID_ARG, L"the packet is too large: %llu",
                size);
    FAIL_IF_NOT(pts > -c_timeLimit && pts < c_timeLimit, PYX_OUT_OF_RANGE, L"the packet's time is out of range: %lld",
                pts);

    PacketPtr spPacket(av_packet_alloc());
    FAIL_IF_NOT(spPacket && av_new_packet(spPacket.get(), static_cast<int>(size)) >= 0, PYX_OUT_OF_MEMORY,
                L"no memory for a packet of %llu bytes", size);
    std::memcpy(spPacket->data, pNative, size);
    spPacket->pts = pts;
    spPacket->duration = duration > 0 && duration <= c_longestDuration ? duration : 0;
    if (m_kind == StreamKind::Audio || PYXIsKeyPacket(pBuffer))
    {
        spPacket->flags |= AV_PKT_FLAG_KEY;
    }
    spPacket->flags |= PYXReadPropertyOr(pBuffer, PYX_PROPERTY_NOT_SHOWN, false) ? AV_PKT_FLAG_DISCARD : 0;
    *pspPacket = std::move(spPacket);
    return PYX_OK;
}
