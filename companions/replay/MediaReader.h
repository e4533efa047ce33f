#pragma once

#include "media/FFmpeg.h"
#include "replay/Outcome.h"

#include <span>

/// One packet as an encoder would hand it out. Times are in ticks.
struct MediaPacket
{
    FFmpegPtr<AVPacket> pPacket; ///< owns the bytes
    pyx_int64 pts = 0;
    pyx_int64 duration = 0;
    bool key = false;
    bool video = false;

    std::span<const pyx_uint8> Bytes() const
    {
        return {pPacket->data, static_cast<std::size_t>(pPacket->size)};
    }
};

/// A codec that the replay buffer takes.
struct CodecRow
{
    AVCodecID id;
    const char* name;
    pyx_int64 componentId;        ///< "CodecID" of the video input; 0: the audio input takes FFmpeg's number
    const wchar_t* frameTypeName; ///< packet property that tells a video packet's kind, null for audio
    pyx_int64 regularFrameType;   ///< its value for packets that start no group; 0 starts one
    bool inMov;                   ///< whether a .mov file can hold it
    const char* filter;           ///< FFmpeg's filter from a container's form to an encoder's
};

enum class ReadResult
{
    Packet,
    End,
    Broken, ///< the file cannot be read further
};

/// Reads one stream of a media file, in decode order.
///
/// Each stream is read through an opening of the file of its own: however badly
/// a file is interleaved, neither stream waits for the other in memory.
class MediaReader
{
public:
    /// Opens the first stream of a kind. Without such a stream the outcome is a
    /// success and `*ppReader` null; so it is for a sound stream without packets.
    static Outcome Open(const std::wstring& path, AVMediaType kind, std::unique_ptr<MediaReader>* ppReader);

    /// The next packet that holds any bytes.
    ReadResult Next(MediaPacket* pPacket);

    const CodecRow& Codec() const
    {
        return *m_pCodec;
    }

    /// As the packets are: after the filter.
    const AVCodecParameters& Parameters() const
    {
        return *m_pFilter->par_out;
    }

    AVRational FrameRate() const;

    /// Length of the file in ticks, 0 when the file does not tell.
    pyx_int64 FileDuration() const;

    /// When the last packet ends by what the file says of itself, or INT64_MIN
    /// when it says nothing reliable: the time is that of all streams together.
    pyx_int64 ToldEnd() const;

    /// Streams of the file beside this one.
    unsigned OtherStreams() const;

    /// After ReadResult::Broken: what is wrong, FFmpeg's words.
    const std::string& BrokenText() const
    {
        return m_brokenText;
    }

private:
    MediaReader() = default;

    Outcome Choose(AVMediaType kind, bool* pFound);
    Outcome StartFilter();
    void TakeNewExtraData(AVPacket* pPacket);
    ReadResult ReadFiltered(AVPacket* pPacket);
    int ReadRaw(AVPacket* pPacket);
    ReadResult Fail(const std::string& text);

    std::string m_pathForUser;
    FFmpegPtr<AVFormatContext> m_pFile;
    AVStream* m_pStream = nullptr; // of m_pFile
    const CodecRow* m_pCodec = nullptr;
    FFmpegPtr<AVBSFContext> m_pFilter;
    FFmpegPtr<AVPacket> m_pFirst; // read while opening, not handed out yet
    pyx_int64 m_nextPts = 0;      // of a packet whose file does not tell
    std::string m_brokenText;
};
