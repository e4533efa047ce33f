#include "muxer/MuxSession.h"

#include "common/HostContract.h"
#include "common/Trace.h"
#include "muxer/StreamDescription.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr PYXTraceSource c_traceSource{L"companions/muxer/MuxSession", L"MuxSession"};

/// How long a packet without a duration lasts, in its stream's clock: one
/// picture, or the samples of one packet; 0 when that is not known either.
pyx_int64 GetUsualDuration(const AVStream& stream)
{
    const AVRational rate = stream.avg_frame_rate;
    if (rate.num > 0)
    {
        return av_rescale_q(1, {rate.den, rate.num}, stream.time_base);
    }
    const AVCodecParameters& parameters = *stream.codecpar;
    const bool isSound = parameters.sample_rate > 0;
    return isSound ? av_rescale_q(parameters.frame_size, {1, parameters.sample_rate}, stream.time_base) : 0;
}

/// Files may repeat a time, or count back by less than a packet or two. Containers need rising ones: such a packet
/// follows the last one at once, and the next that is later is in its place again.
pyx_int64 FollowLast(const AVStream& stream, const DecodeTimes& times, pyx_int64 pts)
{
    const pyx_int64 soonest = times.Soonest();
    const pyx_int64 furthest = av_rescale_q(PYX_TICKS_PER_SECOND / 2, c_ticks, stream.time_base);
    return pts >= soonest || pts < soonest - furthest ? pts : soonest;
}

} // namespace

MuxSession::Stream::Stream(std::size_t reorderLookahead) : lookahead(reorderLookahead), times(reorderLookahead)
{
}

void MuxSession::Stream::Reset()
{
    Stream fresh(lookahead);
    fresh.pInput = pInput;
    *this = std::move(fresh);
}

void MuxSession::SetNext(const std::wstring& path, const FileDetails& details)
{
    PYXLock lock(&m_sync);
    m_path = path;
    m_details = details;
}

void MuxSession::Attach(StreamKind kind, PYXPropertyStorage* pInput)
{
    PYXLock lock(&m_sync);
    GiveUp();
    Get(kind).pInput = pInput;
}

void MuxSession::Detach(StreamKind kind)
{
    Attach(kind, nullptr);
}

void MuxSession::Abandon()
{
    PYXLock lock(&m_sync);
    GiveUp();
}

PYX_RESULT MuxSession::Submit(StreamKind kind, const PYXPropertyStorage* pInput, PacketPtr spPacket)
{
    PYXLock lock(&m_sync);
    Stream& stream = Get(kind);
    FAIL_IF_NOT(stream.pInput == pInput, PYX_UNEXPECTED, L"the input belongs to no muxer any more");
    if (BeginsAgain(stream, *spPacket))
    {
        GiveUp();
    }
    if (stream.count++ == 0)
    {
        stream.firstPts = spPacket->pts;
    }
    if (m_failure != PYX_OK)
    {
        return m_failure;
    }
    if (m_spFile)
    {
        return Place(stream, std::move(spPacket));
    }
    stream.waiting.push_back(std::move(spPacket));
    const bool isVideoAwaited = kind == StreamKind::Audio && m_video.IsExpected();
    return isVideoAwaited ? PYX_OK : Open();
}

PYX_RESULT MuxSession::End(StreamKind kind, const PYXPropertyStorage* pInput)
{
    PYXLock lock(&m_sync);
    Stream& stream = Get(kind);
    FAIL_IF_NOT(stream.pInput == pInput, PYX_UNEXPECTED, L"the input belongs to no muxer any more");
    stream.ended = true;
    PYX_RESULT result = m_failure != PYX_OK ? m_failure : EndStream(stream);
    if (HasEnded())
    {
        if (result == PYX_OK && m_spFile)
        {
            result = Complete();
        }
        Reset();
    }
    return result == PYX_OK ? PYX_EOF : result;
}

MuxSession::Stream& MuxSession::Get(StreamKind kind)
{
    return kind == StreamKind::Video ? m_video : m_audio;
}

bool MuxSession::HasEnded() const
{
    return !m_video.IsExpected() && !m_audio.IsExpected();
}

bool MuxSession::BeginsAgain(const Stream& stream, const AVPacket& packet) const
{
    if (stream.ended)
    {
        return true;
    }
    const bool isKeyPicture = &stream == &m_video && (packet.flags & AV_PKT_FLAG_KEY);
    return isKeyPicture && stream.count > 0 && packet.pts == stream.firstPts;
}

/// Writes the header and what has waited for it.
PYX_RESULT MuxSession::Open()
{
    auto spFile = std::make_unique<MediaFile>();
    m_filePath = m_path;
    if (const PYX_RESULT result = OpenFile(spFile.get()); result != PYX_OK)
    {
        return Fail(result);
    }
    m_spFile = std::move(spFile);
    const PYX_RESULT result = PlaceWaiting(m_video);
    return result == PYX_OK ? PlaceWaiting(m_audio) : result;
}

PYX_RESULT MuxSession::OpenFile(MediaFile* pFile)
{
    FAIL_IF_NOT(!m_filePath.empty(), PYX_NOT_INITIALIZED, L"no file to write: Path is empty");
    PYX_RESULT result = pFile->SetFormat(m_filePath);
    if (result == PYX_OK && m_video.count > 0)
    {
        m_video.pInFile = pFile->AddStream();
        FAIL_IF_NOT(m_video.pInFile, PYX_OUT_OF_MEMORY, L"no memory for the video stream");
        result = SetUpVideo(m_video.pInput, *m_video.waiting.front(), pFile->GetFormat(), m_video.pInFile);
    }
    if (result == PYX_OK && (m_audio.count > 0 || m_audio.IsExpected()))
    {
        m_audio.pInFile = pFile->AddStream();
        FAIL_IF_NOT(m_audio.pInFile, PYX_OUT_OF_MEMORY, L"no memory for the audio stream");
        result = SetUpAudio(m_audio.pInput, pFile->GetFormat(), m_audio.pInFile);
    }
    return result == PYX_OK ? pFile->Start(m_details) : result;
}

PYX_RESULT MuxSession::PlaceWaiting(Stream& stream)
{
    std::deque<PacketPtr> waiting;
    waiting.swap(stream.waiting);
    for (PacketPtr& spPacket : waiting)
    {
        static_cast<void>(Place(stream, std::move(spPacket))); // a packet that is refused has been traced
        if (m_failure != PYX_OK)
        {
            return m_failure;
        }
    }
    return PYX_OK;
}

PYX_RESULT MuxSession::Place(Stream& stream, PacketPtr spPacket)
{
    if (&stream == &m_video && stream.leading.IsLost(*stream.pInFile->codecpar, *spPacket))
    {
        return PYX_OK;
    }
    const pyx_int64 ticks = spPacket->pts;
    av_packet_rescale_ts(spPacket.get(), c_ticks, stream.pInFile->time_base);
    spPacket->stream_index = stream.pInFile->index;
    if (spPacket->duration == 0)
    {
        spPacket->duration = GetUsualDuration(*stream.pInFile);
    }
    if (&stream == &m_audio)
    {
        spPacket->pts = FollowLast(*stream.pInFile, stream.times, spPacket->pts);
    }
    FAIL_IF_NOT(stream.times.Add(spPacket->pts), PYX_OUT_OF_RANGE,
                L"a packet's time is too far before those already written: %lld", ticks);
    stream.waiting.push_back(std::move(spPacket));
    return WriteReady(stream);
}

PYX_RESULT MuxSession::WriteReady(Stream& stream)
{
    while (stream.times.IsReady())
    {
        if (stream.written == 0 && &stream == &m_video && !SetStart(stream))
        {
            return PYX_OK;
        }
        PacketPtr spPacket = std::move(stream.waiting.front());
        stream.waiting.pop_front();
        spPacket->dts = stream.times.Next();
        spPacket->flags &= ~AV_PKT_FLAG_DISCARD; // containers have no such mark
        ++stream.written;
        if (const PYX_RESULT result = m_spFile->Write(std::move(spPacket)); result != PYX_OK)
        {
            return Fail(result);
        }
    }
    return PYX_OK;
}

/// Sets what the file's times count from. False: not all pictures are known that can be the first one shown.
bool MuxSession::SetStart(const Stream& video)
{
    pyx_int64 earliest = INT64_MAX;
    std::size_t shown = 0;
    for (const PacketPtr& spPacket : video.waiting)
    {
        if (!(spPacket->flags & AV_PKT_FLAG_DISCARD))
        {
            earliest = std::min(earliest, spPacket->pts);
            ++shown;
        }
    }
    if (shown <= DecodeTimes::c_deepestReordering && !video.ended)
    {
        return false;
    }
    const bool hasHidden = shown < video.waiting.size();
    m_spFile->SetStart(video.times.Earliest(), hasHidden && shown > 0 ? earliest : 0, video.pInFile->time_base);
    return true;
}

PYX_RESULT MuxSession::EndStream(Stream& stream)
{
    if (!m_spFile)
    {
        // No video came: the audio alone is the clip.
        return m_video.IsExpected() || m_audio.waiting.empty() ? PYX_OK : Open();
    }
    stream.times.End();
    return stream.pInFile ? WriteReady(stream) : PYX_OK;
}

PYX_RESULT MuxSession::Complete()
{
    const PYX_RESULT result = m_spFile->Finish();
    if (result == PYX_OK)
    {
        const std::wstring text =
            FormatText(L"saved %s: %llu video packets, %llu audio packets", m_filePath.c_str(),
                       static_cast<pyx_uint64>(m_video.written), static_cast<pyx_uint64>(m_audio.written));
        TRACE_INFO(L"%s", text.c_str());
    }
    return result;
}

/// Removes the file at once. The session returns the same until it is over.
PYX_RESULT MuxSession::Fail(PYX_RESULT result)
{
    m_failure = result;
    m_spFile.reset();
    for (Stream* pStream : {&m_video, &m_audio})
    {
        pStream->waiting.clear();
        pStream->pInFile = nullptr;
    }
    return result;
}

void MuxSession::GiveUp()
{
    if (m_spFile)
    {
        TRACE_WARNING(L"an unfinished clip is given up: %s", m_filePath.c_str());
    }
    Reset();
}

void MuxSession::Reset()
{
    m_spFile.reset();
    m_video.Reset();
    m_audio.Reset();
    m_failure = PYX_OK;
}
