#pragma once

#include "replay/input/Demuxer.h"
#include "replay/input/LiveOrder.h"
#include "replay/input/MediaReader.h"
#include "replay/Options.h"

#include <memory>
#include <string>
#include <vector>

/// The video of a media file, and one audio stream if it has any, in the order of a live capture. Reading continues
/// after damage. Threads: one.
class MediaInput
{
public:
    /// Of several streams of a kind the one that is flagged as default is taken, else the first. Audio of other codecs
    /// is left out. `audio`: as in Options; BadUsage: no such track.
    Outcome Open(const std::wstring& path, int audio);

    /// After Open().
    const MediaReader& Video() const
    {
        return *m_pVideo;
    }

    /// Null without audio.
    const MediaReader* Audio() const
    {
        return m_pAudio.get();
    }

    const LiveOrder& Order() const
    {
        return *m_pOrder;
    }

    /// Length of the file in ticks, 0 when the file does not tell.
    pyx_int64 FileDuration() const;

    /// False: there are no more.
    bool Next(MediaPacket* pPacket);

    /// After the end: why reading stopped before the end of the input; empty: it did not.
    std::string WhyBroken() const;

    /// What is left out, after Open(), and what was lost, after the end; a line each.
    const std::vector<std::string>& Warnings() const
    {
        return m_warnings;
    }

    std::vector<std::string> Losses() const;

private:
    Outcome Choose(int audio);
    Outcome ReadFirst(std::size_t mostWaiting);
    void NameLeftOut();
    void Read();
    pyx_int64 AnnouncedEnd() const;

    Demuxer m_demuxer;
    std::unique_ptr<MediaReader> m_pVideo;
    std::unique_ptr<MediaReader> m_pAudio;
    std::unique_ptr<LiveOrder> m_pOrder; // after Open()
    std::vector<std::string> m_warnings;
    bool m_hasEnded = false;
    std::string m_brokenText; // FFmpeg's words
};
