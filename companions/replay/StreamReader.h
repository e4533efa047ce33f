#pragma once

#include "media/FFmpeg.h"
#include "replay/Outcome.h"

#include <deque>

enum class ReadResult
{
    Packet,
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
    /// BadInput: no file of a supported kind.
    Outcome Open(const std::wstring& path);

    AVFormatContext& File() const
    {
        return *m_pFile;
    }

    /// Chooses the stream; it belongs to the file. The packets of all others are
    /// passed over.
    void Choose(AVStream* pStream);

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
    int ReadFromFile(AVPacket* pPacket);
    ReadResult Fill();

    FFmpegPtr<AVFormatContext> m_pFile;
    int m_index = -1;              // of the stream
    std::deque<PacketPtr> m_ready; // damaged ones first, then a whole one
    std::string m_trouble;         // what was met since the last whole packet; empty: nothing
    unsigned m_damages = 0;
    std::string m_brokenText;
};
