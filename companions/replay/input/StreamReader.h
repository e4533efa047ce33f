#pragma once

#include "replay/input/Demuxer.h"

#include <memory>

enum class ReadResult
{
    Packet,
    NotYet, ///< of a pipe: this stream has a pause while the other goes on
    End,
    Broken, ///< the file cannot be read further
};

/// Reads the packets of one stream as they lie in a file, and goes on behind
/// what is damaged.
///
/// A packet that is only partly there is handed out when others follow it: what
/// is shown of it is more than nothing. A file whose last packets are damaged has
/// been cut off, and ends with ReadResult::Broken without them.
/// Threads: one at a time.
class StreamReader
{
public:
    StreamReader() = default;
    StreamReader(const StreamReader&) = delete;
    StreamReader& operator=(const StreamReader&) = delete;
    ~StreamReader();

    /// BadInput: no file of a supported kind.
    Outcome Open(const std::wstring& path);

    /// Instead: reads another stream of the same opening, as a pipe needs it.
    void Share(const StreamReader& other);

    AVFormatContext& File() const
    {
        return m_pDemuxer->File();
    }

    bool IsPipe() const
    {
        return m_pDemuxer->IsPipe();
    }

    /// Chooses the stream; it belongs to the file. The packets of all others are
    /// passed over, of a pipe from the first PassOverOthers() on.
    void Choose(AVStream* pStream);
    void PassOverOthers();

    /// The next packet of the stream.
    ReadResult Read(AVPacket* pPacket);

    /// How often something damaged was met and reading went on behind it.
    unsigned Damages() const
    {
        return m_damages;
    }

    /// After ReadResult::Broken: what is wrong, FFmpeg's words.
    const std::string& BrokenText() const
    {
        return m_brokenText;
    }

private:
    ReadResult Fill();

    std::shared_ptr<Demuxer> m_pDemuxer;
    int m_index = -1;              // of the stream
    std::deque<PacketPtr> m_ready; // damaged ones first, then a whole one
    std::string m_trouble;         // what was met since the last whole packet; empty: nothing
    unsigned m_damages = 0;
    std::string m_brokenText;
};
