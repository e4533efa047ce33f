#pragma once

#include "common/CriticalSection.h"
#include "media/FFmpeg.h"
#include "muxer/DecodeTimes.h"
#include "muxer/MediaFile.h"

#include <deque>
#include <memory>
#include <string>

class PYXPropertyStorage;

enum class StreamKind
{
    Video,
    Audio,
};

/// The way from submitted packets to one clip after another, shared by the
/// component and its inputs.
///
/// A session begins by itself with the first packet and ends when every offered
/// input has got its end mark:
///
///     idle --packet--> collecting --first video packet--> writing --last end mark--> idle, the clip has its name
///                          |                                 |
///                          `---------- a failure ------------+--> failed --last end mark--> idle, no file
///
/// The header is written at the first video packet, which says how the video is
/// coded; audio that comes earlier is kept until then. Every input that is
/// offered and has not ended by then takes part, whether or not its packets come.
/// Without any packet there is no clip and no failure.
///
/// A session is given up, and its file removed, when the component starts over
/// (Abandon), when an input comes or goes, and when a producer begins again
/// without having ended the last attempt: with a packet after the end mark, or
/// with the key picture that the session began with. A producer whose attempt
/// failed half-way submits everything once more.
///
/// Threads: any; one lock over everything, held while packets are written and
/// failures are traced.
class MuxSession
{
public:
    /// The file that the next session writes, and what it says of itself.
    void SetNext(const std::wstring& path, const FileDetails& details);

    /// Offers an input, or withdraws it with null. It is borrowed: its owner
    /// withdraws it before it ends.
    void Attach(StreamKind kind, PYXPropertyStorage* pInput);

    /// Gives an unfinished session up.
    void Abandon();

    /// Takes one packet, its times in ticks, in decode order for each input.
    /// PYX_UNEXPECTED: `pInput` is not offered. PYX_OUT_OF_RANGE: this packet's
    /// time cannot be used; the session goes on. What else fails ends the
    /// session: later packets and end marks return the same.
    PYX_RESULT Submit(StreamKind kind, const PYXPropertyStorage* pInput, PacketPtr spPacket);

    /// Ends one input; the last one completes the clip. PYX_EOF: done.
    PYX_RESULT End(StreamKind kind, const PYXPropertyStorage* pInput);

private:
    /// One input and its part in the session.
    struct Stream
    {
        /// Expected to send packets: offered, and without its end mark so far.
        bool IsExpected() const
        {
            return pInput && !ended;
        }

        PYXPropertyStorage* pInput;      // null while it is not offered
        DecodeTimes times;               // of what waits, in the file's clock
        bool ended = false;              // has got its end mark
        std::size_t count = 0;           // packets submitted
        pyx_int64 firstPts = 0;          // of the first of them, in ticks
        AVStream* pInFile = nullptr;     // null until the header is written, or when it does not take part
        std::deque<PacketPtr> waiting{}; // times in ticks before the header, later in the file's clock
        std::size_t written = 0;         // packets written
    };

    Stream& Get(StreamKind kind);
    PYX_RESULT Open();
    PYX_RESULT OpenFile();
    bool IsLost(const AVPacket& picture);
    PYX_RESULT Place(Stream& stream, PacketPtr spPacket);
    PYX_RESULT WriteReady(Stream& stream);
    bool SetStart(const Stream& video);
    PYX_RESULT EndStream(Stream& stream);
    PYX_RESULT Fail(PYX_RESULT result);
    void Reset();

    // All guarded by m_sync.
    std::wstring m_path;     // of the next session
    FileDetails m_details;   // of the next session
    std::wstring m_filePath; // of the clip that is written
    Stream m_video{nullptr, DecodeTimes(DecodeTimes::c_lookahead)};
    Stream m_audio{nullptr, DecodeTimes(0)};
    bool m_losesLeading = false; // pictures shown before the clip's first may be lost; until the second key picture
    std::unique_ptr<MediaFile> m_spFile; // while a clip is written
    PYX_RESULT m_failure = PYX_OK;       // why the session has failed
    PYXCriticalSection m_sync;
};
