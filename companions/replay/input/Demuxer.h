#pragma once

#include "media/FFmpeg.h"
#include "replay/Outcome.h"

#include <map>
#include <vector>

/// An open media file or pipe. Hands out the packets of the chosen streams in file order. In joined recordings times
/// jump at each joint: both streams are shifted by the same amount, so that each part continues where the one before
/// ended. Threads: one.
class Demuxer
{
public:
    /// The text of a failure is the reason alone. BadInput: nothing of a supported kind.
    Outcome Open(const std::wstring& path);

    AVFormatContext& File() const
    {
        return *m_pFile;
    }

    bool IsPipe() const
    {
        return static_cast<bool>(m_pPipe);
    }

    /// Before the first Read(): the packets of other streams are passed over. Returns `pStream`.
    AVStream* Choose(AVStream* pStream);

    /// The next packet of a chosen stream, or FFmpeg's error code. After AVERROR_INVALIDDATA reading may continue.
    int Read(AVPacket* pPacket);

    /// Whether a joint was found.
    bool HasJoints() const
    {
        return m_parts.size() > 1;
    }

private:
    struct DeletePipe
    {
        void operator()(AVIOContext* p) const
        {
            av_freep(&p->buffer);
            avio_context_free(&p);
        }
    };

    /// A chosen stream. Times in ticks, as the file has them.
    struct Stream
    {
        std::size_t part = 0;       // in which its last packet was
        pyx_int64 next = INT64_MIN; // when the next packet of that part would be decoded
    };

    /// A part between two joints.
    struct Part
    {
        pyx_int64 shift = 0;       // added to the file's times
        pyx_int64 end = INT64_MIN; // of both streams so far, by the file's times
    };

    void MoveTimes(Stream* pStream, AVPacket* pPacket);
    pyx_int64 FindShift(pyx_int64 time, AVRational unit) const;

    std::unique_ptr<AVIOContext, DeletePipe> m_pPipe; // before the file, which reads from it
    FFmpegPtr<AVFormatContext> m_pFile;
    std::map<int, Stream> m_streams; // the chosen ones, by index
    std::vector<Part> m_parts{1};
};
