#pragma once

#include "replay/input/Codecs.h"
#include "replay/input/MissingTimes.h"
#include "replay/input/PictureParser.h"
#include "replay/input/PictureTimes.h"
#include "replay/input/StreamReader.h"

#include <memory>
#include <span>
#include <vector>

/// One packet as an encoder would hand it out. Times are in ticks.
struct MediaPacket
{
    PacketPtr pPacket; ///< owns the bytes
    pyx_int64 pts = 0;
    pyx_int64 duration = 0;
    bool key = false;
    bool video = false;

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

/// Reads one stream of a media file, in decode order.
///
/// Each stream is read through an opening of the file of its own: however badly
/// a file is interleaved, neither stream waits for the other in memory.
class MediaReader final : public PacketSource
{
public:
    /// Opens the first video stream. Null and a success: the file has none, or
    /// one without packets.
    static Outcome OpenVideo(const std::wstring& path, std::unique_ptr<MediaReader>* ppReader);

    /// Opens an audio stream: `track` is its number among the audio streams,
    /// counted from 1, or 0 for the one that is flagged as default, else the first.
    /// Null and a success: there is none, it has no packets, or its codec is not
    /// taken; then `*pLeftOut` says so. BadUsage: no such track. A pipe is read
    /// through the opening that `video` has.
    static Outcome OpenAudio(const std::wstring& path, int track, const MediaReader& video,
                             std::unique_ptr<MediaReader>* ppReader, std::string* pLeftOut);

    /// The times of recordings that were joined jump back at each joint. They are
    /// moved to go on there, for both readers of a file by the same time when they
    /// are told of each other before the first packet is read.
    void StayTogetherWith(const MediaReader& other)
    {
        m_pShifts = other.m_pShifts;
    }

    /// The next packet that holds any bytes. Only when all readers are open.
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
        return m_stream.File();
    }

    AVRational FrameRate() const;

    /// Width of a pixel to its height; 0/1 when nothing tells.
    AVRational PixelAspect() const;

    /// Length of the file in ticks, 0 when the file does not tell.
    pyx_int64 FileDuration() const;

    /// When the last packet ends at least by what the file says of itself, or
    /// INT64_MIN when it says nothing reliable: the time is that of all streams
    /// together.
    pyx_int64 ToldEnd() const;

    /// Streams of the file beside this one.
    unsigned OtherStreams() const;

    /// How often something damaged was met and reading went on behind it.
    unsigned Damages() const
    {
        return m_stream.Damages() + m_refused;
    }

    const std::string& BrokenText() const override
    {
        return m_brokenText;
    }

private:
    MediaReader() = default;

    static Outcome OpenStream(std::unique_ptr<MediaReader> pReader, AVStream* pStream,
                              std::unique_ptr<MediaReader>* ppReader);
    Outcome FindAudio(int track, AVStream** ppStream) const;
    Outcome StartFilter();
    Outcome CannotRead(const std::string& why) const;
    bool IsReordered() const;
    bool TellsDecodeTimesOnly() const;
    void FillInTime(MediaPacket* pPacket);
    void TakeNewExtraData(AVPacket* pPacket);
    void FindMissingSize(const AVPacket& first);
    ReadResult ReadFiltered(AVPacket* pPacket);
    ReadResult ReadPacket(MediaPacket* pPacket);
    ReadResult ReadInOrderShown(MediaPacket* pPacket);
    void AddToOrder(MediaPacket packet);
    void GoOnAfterJump(pyx_int64 decodeTime, MediaPacket* pPacket);
    ReadResult Fail(const std::string& text);

    std::string m_pathForUser;
    StreamReader m_stream;
    AVStream* m_pStream = nullptr; // of the file
    const CodecRow* m_pCodec = nullptr;
    FilterPtr m_pFilter;
    PacketPtr m_pFirst;       // read while opening, not handed out yet
    pyx_int64 m_nextTime = 0; // of a packet whose file does not tell
    std::shared_ptr<std::vector<pyx_int64>> m_pShifts = std::make_shared<std::vector<pyx_int64>>(); // one per joint
    std::size_t m_joints = 0;                                                                       // met so far
    pyx_int64 m_shift = 0;              // since the last of them
    pyx_int64 m_nextDecode = INT64_MIN; // when the next packet would be decoded, moved
    unsigned m_refused = 0;             // packets that the filter could not read
    std::string m_trouble;              // why it refused the last one; empty: it did not
    std::string m_brokenText;

    // Of a file whose times jump.
    bool m_jumps = false;
    bool m_fillsIn = false; // times of pictures that have none
    MissingTimes m_missing;

    // Of a file that tells decode times only.
    bool m_orders = false;
    PictureParser m_parser; // also of a file whose times jump
    PictureTimes m_times;
    std::deque<MediaPacket> m_waiting;     // until their times are known
    ReadResult m_end = ReadResult::Packet; // what came after them
};
