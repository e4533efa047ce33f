#pragma once

#include "replay/input/Demuxer.h"
#include "replay/input/LiveOrder.h"
#include "replay/input/MediaReader.h"
#include "replay/Options.h"

#include <memory>
#include <string>
#include <vector>

/// What is read of a media file: its video, and one audio stream if it has any.
/// It is read once, in its own order, and goes on after damage. Threads: one.
class MediaInput final : public PacketSource
{
public:
    /// Of several streams of a kind the one that is flagged as default is taken,
    /// else the first. Audio that cannot be carried is left out. BadUsage: no such
    /// audio track.
    Outcome Open(const std::wstring& path, const AudioChoice& audio);

    /// After Open(): what is left out, a line each.
    const std::vector<std::string>& Warnings() const
    {
        return m_warnings;
    }

    const MediaReader& Video() const
    {
        return *m_pVideo;
    }

    /// Null without audio.
    const MediaReader* Audio() const
    {
        return m_pAudio.get();
    }

    bool Next(MediaPacket* pPacket) override;

    std::size_t MostWaiting() const override;

    /// After the end: what is wrong, FFmpeg's words, when the input could not be
    /// read further; else empty.
    const std::string& BrokenText() const
    {
        return m_brokenText;
    }

    /// Length of the file in ticks, 0 when the file does not tell.
    pyx_int64 FileDuration() const;

    /// When the last packet ends at least by what the file says of itself, or
    /// INT64_MIN when it says nothing reliable: the time is that of all streams
    /// together.
    pyx_int64 AnnouncedEnd() const;

    /// Streams of the file that are not read.
    unsigned OtherStreams() const;

    /// How often something damaged was met and reading went on after it.
    unsigned Damages() const;

private:
    Outcome Choose(const std::string& name, const AudioChoice& audio);
    Outcome ReadFirst();
    void NameLeftOut();
    void Read();

    Demuxer m_demuxer;
    std::unique_ptr<MediaReader> m_pVideo;
    std::unique_ptr<MediaReader> m_pAudio;
    std::vector<std::string> m_warnings;
    bool m_hasEnded = false;
    std::string m_brokenText;
};
