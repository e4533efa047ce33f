#pragma once

#include "media/FFmpeg.h"
#include "replay/Outcome.h"

#include <deque>
#include <map>
#include <vector>

/// An opened media file, or a pipe, from which one or two streams are read.
///
/// It is read once, in its own order. What is read of one stream waits in memory
/// while the other is asked for. When much of it waits, the other stream has a
/// pause, or has ended early, and is not waited for.
///
/// The times of recordings that were joined jump at each joint. They are moved,
/// for both streams by the same time, so that each part goes on where the one
/// before it ended. Threads: one.
class Demuxer
{
public:
    /// Result of Read() when the stream has nothing yet and the other goes on.
    static constexpr int c_notYet = AVERROR(EAGAIN);

    /// BadInput: nothing of a supported kind.
    Outcome Open(const std::wstring& path);

    AVFormatContext& File() const
    {
        return *m_pFile;
    }

    bool IsPipe() const
    {
        return static_cast<bool>(m_pPipe);
    }

    /// Before the first Read(): the packets of streams that are not chosen are
    /// passed over.
    void Choose(const AVStream& stream);

    /// The next packet of a chosen stream, or FFmpeg's error code. After
    /// AVERROR_INVALIDDATA reading may go on.
    int Read(int index, AVPacket* pPacket);

    /// Whether a joint was met.
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
        std::deque<PacketPtr> waiting;
        bool hasBegun = false;
        std::size_t part = 0;       // in which its last packet was
        pyx_int64 next = INT64_MIN; // when the next packet of that part would be decoded
    };

    /// What is between two joints.
    struct Part
    {
        pyx_int64 shift = 0;       // added to the file's times
        pyx_int64 end = INT64_MIN; // of both streams so far, by the file's times
    };

    bool OpenPipe();
    int ReadNext(AVPacket* pPacket);
    bool HasPause(const Stream& asked) const;
    void MoveTimes(Stream* pStream, AVPacket* pPacket);
    pyx_int64 FindShift(pyx_int64 time, AVRational unit) const;

    std::unique_ptr<AVIOContext, DeletePipe> m_pPipe; // before the file, which reads from it
    FFmpegPtr<AVFormatContext> m_pFile;
    std::map<int, Stream> m_streams; // the chosen ones, by index
    int m_video = -1;                // index of the first of them
    std::vector<Part> m_parts{1};
    int m_end = 0; // why there are no more packets, once there are none
};
