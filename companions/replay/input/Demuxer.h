#pragma once

#include "media/FFmpeg.h"
#include "replay/Outcome.h"

#include <deque>
#include <map>
#include <set>

/// An opened media file, or a pipe, from which one or two streams are read.
///
/// A file is opened once for each stream: however badly it is interleaved, no
/// stream waits for the other in memory. A pipe can be read once only, so its
/// streams share one of these, and what is read of one waits in memory while the
/// other is asked for. When much of it waits, the other stream has a pause, and
/// is not waited for. Threads: one.
class Demuxer
{
public:
    /// What Read() answers when the stream has nothing yet and the other goes on.
    static constexpr int c_notYet = AVERROR(EAGAIN);

    /// BadInput: nothing of a supported kind.
    Outcome Open(const std::wstring& path);

    AVFormatContext& File() const
    {
        return *m_pFile;
    }

    /// True when its streams share it.
    bool IsPipe() const
    {
        return static_cast<bool>(m_pPipe);
    }

    /// The packets of streams that nobody chose are passed over, in a pipe from
    /// the first PassOverOthers() on.
    void Choose(const AVStream& stream);
    void PassOverOthers();

    /// Nobody reads the stream any more: what waits of it must not stop the other.
    void Leave(int index);

    /// The next packet of a stream, or FFmpeg's error code.
    int Read(int index, AVPacket* pPacket);

private:
    struct DeletePipe
    {
        void operator()(AVIOContext* p) const
        {
            av_freep(&p->buffer);
            avio_context_free(&p);
        }
    };

    int OpenPipe();
    int ReadNext(AVPacket* pPacket);

    std::unique_ptr<AVIOContext, DeletePipe> m_pPipe; // before the file, which reads from it
    FFmpegPtr<AVFormatContext> m_pFile;
    std::set<int> m_chosen;
    bool m_passesOver = false;                      // packets of streams that are not chosen
    std::map<int, std::deque<PacketPtr>> m_waiting; // by stream
    int m_end = 0;                                  // why there are no more, once there are none
};
