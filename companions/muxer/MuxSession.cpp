#include "muxer/MuxSession.h"

#include "common/HostContract.h"
#include "common/Trace.h"
#include "media/NalStream.h"
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
/// directly follows the last one; the next later one keeps its own time.
pyx_int64 FollowLast(const AVStream& stream, const DecodeTimes& times, pyx_int64 pts)
{
    const pyx_int64 soonest = times.Soonest();
    const pyx_int64 furthest = av_rescale_q(PYX_TICKS_PER_SECOND / 2, c_ticks, stream.time_base);
    return pts >= soonest || pts < soonest - furthest ? pts : soonest;
}

/// The picture's NAL type, -1 for a codec without leading pictures.
int FindType(const AVCodecParameters& stream, const AVPacket& picture)
{
    const bool isHevc = stream.codec_id == AV_CODEC_ID_HEVC;
    if (!isHevc && stream.codec_id != AV_CODEC_ID_H264)
    {
        return -1;
    }
    const Bytes extraData(stream.extradata, static_cast<std::size_t>(stream.extradata_size));
    const std::size_t lengthSize = IsConfigurationRecord(extraData) ? GetLengthSize(extraData, isHevc) : 0;
    return GetPictureType({picture.data, static_cast<std::size_t>(picture.size)}, isHevc, lengthSize);
}

} // namespace

void MuxSession::SetNext(const std::wstring& path, const FileDetails& details)
{
    PYXLock lock(&m_sync);
    m_path = path;
    m_details = details;
}

void MuxSession::Attach(StreamKind kind, PYXPropertyStorage* pInput)
{
    PYXLock lock(&m_sync);
    Abandon();
    Get(kind).pInput = pInput;
}

void MuxSession::Abandon()
{
    PYXLock lock(&m_sync);
    if (m_spFile)
    {
        TRACE_WARNING(L"an unfinished clip is given up: %s", m_filePath.c_str());
    }
    Reset();
}

PYX_RESULT MuxSession::Submit(StreamKind kind, const PYXPropertyStorage* pInput, PacketPtr spPacket)
{
    PYXLock lock(&m_sync);
    Stream& stream = Get(kind);
    FAIL_IF_NOT(stream.pInput == pInput, PYX_UNEXPECTED, L"the input belongs to no muxer any more");
    const bool isKeyPicture = kind == StreamKind::Video && (spPacket->flags & AV_PKT_FLAG_KEY);
    const bool repeatsFirst = isKeyPicture && stream.count > 0 && spPacket->pts == stream.firstPts;
    if (stream.ended || repeatsFirst) // the producer begins again
    {
        Abandon();
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
    if (!m_video.IsExpected() && !m_audio.IsExpected())
    {
        result = result == PYX_OK && m_spFile ? m_spFile->Finish() : result;
        if (result == PYX_OK && m_spFile)
        {
            Trace(c_traceSource.source, __LINE__, PYX_TRACE_INFO, c_traceSource.scope, 3,
                  L"saved %s: %llu video packets, %llu audio packets", m_filePath.c_str(),
                  static_cast<pyx_uint64>(m_video.written), static_cast<pyx_uint64>(m_audio.written));
        }
        Reset();
    }
    return result == PYX_OK ? PYX_EOF : result;
}

MuxSession::Stream& MuxSession::Get(StreamKind kind)
{
    return kind == StreamKind::Video ? m_video : m_audio;
}

/// Writes the header and what has waited for it.
PYX_RESULT MuxSession::Open()
{
    m_filePath = m_path;
    m_spFile = std::make_unique<MediaFile>();
    if (const PYX_RESULT result = OpenFile(); result != PYX_OK)
    {
        return Fail(result);
    }
    for (Stream* pStream : {&m_video, &m_audio})
    {
        for (PacketPtr& spPacket : std::exchange(pStream->waiting, {}))
        {
            // One that is refused has been traced.
            static_cast<void>(m_failure == PYX_OK ? Place(*pStream, std::move(spPacket)) : m_failure);
        }
    }
    return m_failure;
}

PYX_RESULT MuxSession::OpenFile()
{
    FAIL_IF_NOT(!m_filePath.empty(), PYX_NOT_INITIALIZED, L"no file to write: Path is empty");
    PASS_ON_FAILURE_SILENTLY(m_spFile->SetFormat(m_filePath));
    for (Stream* pStream : {&m_video, &m_audio})
    {
        if (pStream->count == 0 && !pStream->IsExpected())
        {
            continue;
        }
        pStream->pInFile = m_spFile->AddStream();
        FAIL_IF_NOT(pStream->pInFile, PYX_OUT_OF_MEMORY, L"no memory for a stream of the clip");
        const AVOutputFormat& format = m_spFile->GetFormat();
        PASS_ON_FAILURE_SILENTLY(pStream == &m_video
                                     ? SetUpVideo(pStream->pInput, *pStream->waiting.front(), format, pStream->pInFile)
                                     : SetUpAudio(pStream->pInput, format, pStream->pInFile));
    }
    return m_spFile->Start(m_details);
}

/// True for a picture at a clip's start that no player can show: it is shown before the key picture that the clip
/// begins with, and refers to pictures that came before it and are not in the clip.
///
///     decode order    ... P  | I  b  b  P  b  b  P ...
///     shown                  | 3  1  2  6  4  5  9         1 and 2 need the P before the clip
///
/// A container without negative times would hold an empty stretch for them. Called for each picture in decode order.
bool MuxSession::IsLost(const AVPacket& picture)
{
    const AVCodecParameters& stream = *m_video.pInFile->codecpar;
    const bool isHevc = stream.codec_id == AV_CODEC_ID_HEVC;
    if (m_video.written == 0 && m_video.waiting.empty())
    {
        // H.264 does not mark them: with a key picture that forgets all before it there are none.
        const int type = FindType(stream, picture);
        m_losesLeading = type >= 0 && (isHevc || !StartsSequence(type, isHevc));
        return false;
    }
    m_losesLeading = m_losesLeading && !(picture.flags & AV_PKT_FLAG_KEY);
    return m_losesLeading && picture.pts < m_video.firstPts && (!isHevc || IsSkippedLeading(FindType(stream, picture)));
}

PYX_RESULT MuxSession::Place(Stream& stream, PacketPtr spPacket)
{
    if (&stream == &m_video && IsLost(*spPacket))
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

void MuxSession::Reset()
{
    m_spFile.reset();
    m_video = {m_video.pInput, DecodeTimes(DecodeTimes::c_lookahead)};
    m_audio = {m_audio.pInput, DecodeTimes(0)};
    m_failure = PYX_OK;
}
