#include "replay/Clip.h"

#include "media/FFmpeg.h"
#include "recorder/Reasons.h"
#include "replay/Text.h"

#include <algorithm>
#include <filesystem>

namespace
{

Outcome NotPlayable(const std::wstring& path, const std::string& why)
{
    return {ExitCode::Failed, "the clip " + PathForUser(path) + " is not playable: " + why};
}

/// Adds up packets, and the time that the pictures cover.
class Count
{
public:
    explicit Count(ClipContents* pContents) : m_pContents(pContents)
    {
    }

    void Add(const AVPacket& packet, const AVStream& stream)
    {
        m_pContents->bytes += static_cast<pyx_uint64>(packet.size);
        if (stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO)
        {
            ++m_pContents->audioPackets;
            return;
        }
        ++m_pContents->videoPackets;
        m_pContents->groups += (packet.flags & AV_PKT_FLAG_KEY) != 0 ? 1 : 0;
        const bool isShown = (packet.flags & AV_PKT_FLAG_DISCARD) == 0;
        m_start = isShown ? std::min(m_start, ToTicks(packet.pts, stream.time_base)) : m_start;
        m_end = std::max(m_end, ToTicks(packet.pts + packet.duration, stream.time_base));
        m_pContents->seconds = static_cast<double>(m_end - m_start) / PYX_TICKS_PER_SECOND;
    }

private:
    ClipContents* m_pContents;
    pyx_int64 m_start = INT64_MAX;
    pyx_int64 m_end = INT64_MIN;
};

} // namespace

Outcome CheckWritable(const std::wstring& path)
{
    const PYXStatus status = PYXCheckWritable(path, 1);
    return status.IsOk() ? Outcome()
                         : Outcome(ExitCode::CannotWrite, "cannot write " + PathForUser(path) + ": " + status.text);
}

Outcome CheckClip(const std::wstring& path, const std::wstring& input)
{
    std::error_code missing;
    if (std::filesystem::equivalent(path, input, missing))
    {
        return {ExitCode::BadUsage, "the output would replace the input " + PathForUser(input)};
    }
    return CheckWritable(path);
}

Outcome ReadClip(const std::wstring& path, ClipContents* pContents)
{
    FFmpegPtr<AVFormatContext> pFile;
    if (const int error = OpenMediaFile(ToUtf8(path), nullptr, &pFile); error < 0)
    {
        return NotPlayable(path, FFmpegErrorText(error));
    }
    Count count(pContents);
    const FFmpegPtr<AVPacket> pPacket(av_packet_alloc());
    int error = 0;
    while ((error = av_read_frame(pFile.get(), pPacket.get())) >= 0)
    {
        count.Add(*pPacket, *pFile->streams[pPacket->stream_index]);
        av_packet_unref(pPacket.get());
    }
    if (error != AVERROR_EOF)
    {
        return NotPlayable(path, FFmpegErrorText(error));
    }
    if (pContents->groups == 0)
    {
        return NotPlayable(path, "it has no key picture");
    }
    return {};
}
