#pragma once

#include "replay/input/Codecs.h"
#include "replay/input/Demuxer.h"
#include "replay/input/MissingTimes.h"
#include "replay/input/PictureParser.h"
#include "replay/input/PictureTimes.h"
#include "replay/Options.h"

#include <memory>
#include <span>
#include <vector>

enum class ReadResult
{
    Packet,
    NotYet, ///< this stream has a pause while the other goes on
    End,
    Broken, ///< the input cannot be read further
};

/// One packet as an encoder would hand it out. Times are in ticks.
struct MediaPacket
{
    PacketPtr pPacket; ///< owns the bytes
    pyx_int64 pts = 0;
    pyx_int64 duration = 0;
    bool key = false;
    bool video = false;
    bool hidden = false;     ///< is needed to decode later packets and not shown itself
    bool newStretch = false; ///< a key picture that cannot be in one clip with what came before: another size, or a cut

    std::span<const pyx_uint8> Bytes() const
    {
        return {pPacket->data, static_cast<std::size_t>(pPacket->size)};
    }
};

/// Where packets come from, one stream in decode order.
class PacketSource
{
public:
    /// The next packet that holds any bytes.
    virtual ReadResult Next(MediaPacket* pPacket) = 0;

    /// After ReadResult::Broken: what is wrong, FFmpeg's words.
    virtual const std::string& BrokenText() const = 0;

protected:
    ~PacketSource() = default;
};

class MediaReader;

/// What is read of an input.
struct MediaInput
{
    std::unique_ptr<MediaReader> pVideo;
    std::unique_ptr<MediaReader> pAudio; ///< null without audio
    std::vector<std::string> warnings{}; ///< what is left out, a line each
};

/// Reads one stream of a media file, in decode order, and continues after damage.
///
/// A packet that is only partly there is handed out when whole ones follow it:
/// what is shown of it is more than nothing. A stream whose last packets are
/// damaged has been cut off, and ends with ReadResult::Broken without them.
class MediaReader final : public PacketSource
{
public:
    /// Opens the video stream and the chosen audio stream. Of several, the one that
    /// is flagged as default is taken, else the first. Audio that cannot be carried
    /// is left out. BadUsage: no such audio track.
    static Outcome Open(const std::wstring& path, const AudioChoice& audio, MediaInput* pInput);

    /// The next packet that holds any bytes.
    ReadResult Next(MediaPacket* pPacket) override;

    const CodecRow& Codec() const
    {
        return *m_pCodec;
    }

    /// As the packets are: after the filter.
    const AVCodecParameters& Parameters() const
    {
        return *m_pFilter->par_out;
    }

    /// What else the file says of the stream, and of itself.
    const AVStream& Stream() const
    {
        return *m_pStream;
    }

    const AVFormatContext& File() const
    {
        return m_pDemuxer->File();
    }

    AVRational FrameRate() const;

    /// Width of a pixel to its height; 0/1 when nothing tells.
    AVRational PixelAspect() const;

    /// Length of the file in ticks, 0 when the file does not tell.
    pyx_int64 FileDuration() const;

    /// When the last packet ends at least by what the file says of itself, or
    /// INT64_MIN when it says nothing reliable: the time is that of all streams
    /// together.
    pyx_int64 AnnouncedEnd() const;

    /// Streams of the file beside this one.
    unsigned OtherStreams() const;

    /// How often something damaged was met and reading went on after it.
    unsigned Damages() const
    {
        return m_damages;
    }

    const std::string& BrokenText() const override
    {
        return m_brokenText;
    }

private:
    /// A packet whose time may depend on later ones.
    struct Waiting
    {
        MediaPacket packet;
        PictureTimes::Place place{};
        bool hasTime = true;
    };

    MediaReader(std::shared_ptr<Demuxer> pDemuxer, AVStream* pStream);

    Outcome Begin();
    bool HasOnlyDecodeTimes() const;
    bool IsFrontTimed() const;
    MediaPacket TakeFront();
    ReadResult ReadPacket();
    void ParsePicture(Waiting* pWaiting);
    ReadResult ReadWhole(PacketPtr* ppPacket);
    ReadResult FillReady();
    int ReadFiltered(AVPacket* pPacket);
    void TakeNewExtraData(AVPacket* pPacket);
    void SetSize(int width, int height);

    const std::shared_ptr<Demuxer> m_pDemuxer;
    AVStream* const m_pStream; // of the file
    const CodecRow* const m_pCodec;
    FilterPtr m_pFilter;
    std::deque<PacketPtr> m_ready; // damaged ones first, then a whole one
    std::string m_trouble;         // what was met since the last whole packet; empty: nothing
    unsigned m_damages = 0;
    std::string m_brokenText;

    std::deque<Waiting> m_waiting;         // until their times are known
    ReadResult m_end = ReadResult::Packet; // what came after them
    pyx_int64 m_nextTime = INT64_MIN;      // of a packet without any, once a time is known
    PictureParser m_parser;
    bool m_parsesAll = false;    // pictures, to learn their order; else key pictures only
    bool m_sortsByOrder = false; // the file has decode times only
    PictureTimes m_times;        // then
    MissingTimes m_missing;      // of single pictures, otherwise
    bool m_hasShown = false;     // a picture since the last cut
};
