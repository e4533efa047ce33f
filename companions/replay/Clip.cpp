#include "replay/Clip.h"

#include "common/Handles.h"
#include "media/FFmpeg.h"
#include "replay/Completed.h"
#include "replay/Text.h"
#include "replay/WriteTest.h"

#include <algorithm>

namespace
{

pyx_uint64 Join(DWORD high, DWORD low)
{
    return static_cast<pyx_uint64>(high) << 32 | low;
}

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
        m_start = std::min(m_start, ToTicks(packet.pts, stream.time_base));
        m_end = std::max(m_end, ToTicks(packet.pts + packet.duration, stream.time_base));
        m_pContents->seconds = static_cast<double>(m_end - m_start) / PYX_TICKS_PER_SECOND;
    }

private:
    ClipContents* m_pContents;
    pyx_int64 m_start = INT64_MAX;
    pyx_int64 m_end = INT64_MIN;
};

} // namespace

std::optional<ClipFile::Identity> ClipFile::Identify(const std::wstring& path)
{
    const PYXFileHandle file(CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                         nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION info;
    if (!file || !GetFileInformationByHandle(file.Get(), &info))
    {
        return std::nullopt;
    }
    return Identity{info.dwVolumeSerialNumber, Join(info.nFileIndexHigh, info.nFileIndexLow),
                    Join(info.ftLastWriteTime.dwHighDateTime, info.ftLastWriteTime.dwLowDateTime)};
}

Outcome ClipFile::Prepare(const std::wstring& path, const std::wstring& input)
{
    m_path = path;
    m_before = Identify(path);
    if (m_before && m_before == Identify(input))
    {
        return {ExitCode::BadUsage, "the output would replace the input " + PathForUser(input)};
    }
    return CheckWritable(path);
}

bool ClipFile::IsNew() const
{
    const std::optional<Identity> now = Identify(m_path);
    return now && now != m_before;
}

Outcome ClipFile::ReadBack(ClipContents* pContents) const
{
    FFmpegPtr<AVFormatContext> pFile;
    if (const int error = OpenMediaFile(ToUtf8(m_path), nullptr, &pFile); error < 0)
    {
        return NotPlayable(m_path, FFmpegErrorText(error));
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
        return NotPlayable(m_path, FFmpegErrorText(error));
    }
    if (pContents->groups == 0)
    {
        return NotPlayable(m_path, "it has no key picture");
    }
    ListCompleted(m_path);
    return {};
}
