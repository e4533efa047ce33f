#include "replay/Clip.h"

#include "media/FFmpeg.h"
#include "recorder/Reasons.h"
#include "replay/Text.h"

#include <algorithm>
#include <filesystem>

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
    const PacketPtr pPacket(av_packet_alloc());
    pyx_int64 first = INT64_MAX; // picture
    pyx_int64 start = INT64_MAX; // of the first picture shown
    pyx_int64 end = INT64_MIN;
    int error = OpenMediaFile(PYXToUtf8(path), nullptr, &pFile);
    for (; error >= 0 && (error = av_read_frame(pFile.get(), pPacket.get())) >= 0; av_packet_unref(pPacket.get()))
    {
        const AVStream& stream = *pFile->streams[pPacket->stream_index];
        const bool isVideo = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        pContents->packets.bytes += static_cast<pyx_uint64>(pPacket->size);
        ++(isVideo ? pContents->packets.video : pContents->packets.audio);
        if (isVideo)
        {
            pContents->groups += (pPacket->flags & AV_PKT_FLAG_KEY) != 0 ? 1 : 0;
            const bool isShown = (pPacket->flags & AV_PKT_FLAG_DISCARD) == 0;
            const pyx_int64 pts = ToTicks(pPacket->pts, stream.time_base);
            first = std::min(first, pts);
            start = isShown ? std::min(start, pts) : start;
            end = std::max(end, ToTicks(pPacket->pts + pPacket->duration, stream.time_base));
        }
    }
    if (error != AVERROR_EOF || pContents->groups == 0)
    {
        return {ExitCode::Failed, "the clip " + PathForUser(path) + " is not playable: " +
                                      (error != AVERROR_EOF ? FFmpegErrorText(error) : "it has no key picture")};
    }
    pContents->seconds = ToSeconds(end - start);
    pContents->hidden = start - first;
    return {};
}
