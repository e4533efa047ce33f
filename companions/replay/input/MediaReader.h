#pragma once

#include "media/Codecs.h"
#include "replay/input/PictureParser.h"
#include "replay/input/PictureTimes.h"
#include "replay/Outcome.h"

#include <deque>
#include <optional>
#include <span>
#include <string>

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
    PYXSize size{};          ///< of pictures; of key pictures only

    std::span<const pyx_uint8> Bytes() const
    {
        return {pPacket->data, static_cast<std::size_t>(pPacket->size)};
    }
};

/// Turns the packets of one stream of a file, in decode order, into those of an encoder: in its form, each with its
/// time. An incomplete packet is handed out when complete ones follow it, because it can be shown in part; at the end
/// of a stream that was cut off it is dropped. Threads: one.
class MediaReader
{
public:
    /// Both are borrowed; FindCodec() knows the stream's codec.
    MediaReader(AVFormatContext* pFile, AVStream* pStream);

    /// Before the first packet. BadInput: the stream's set-up cannot be read.
    Outcome Begin();

    /// Takes the content of the next packet of the file; null: there are no more. False: too much in a row is damaged.
    bool Add(AVPacket* pPacket);

    /// Something of the stream could not be read. False as above.
    bool AddDamage(const std::string& text);

    /// The next packet that is not empty. False: it is not known yet.
    bool Take(MediaPacket* pPacket);

    /// How many packets were added and not taken.
    std::size_t Waiting() const
    {
        return m_waiting.size();
    }

    /// Whether a packet was added: some files have the codec's set-up only in it.
    bool HasBegun() const
    {
        return m_hasBegun;
    }

    const CodecRow& Codec() const
    {
        return *m_pCodec;
    }

    /// Of the packets handed out: after the filter.
    const AVCodecParameters& Parameters() const
    {
        return *m_pFilter->par_out;
    }

    AVStream* Stream() const
    {
        return m_pStream;
    }

    AVFormatContext* File() const
    {
        return m_pFile;
    }

    /// How often something was damaged and complete packets came after it.
    unsigned Damages() const
    {
        return m_damages;
    }

    /// The damage since the last complete packet; empty: none.
    const std::string& Trouble() const
    {
        return m_trouble;
    }

private:
    /// A packet whose time may depend on later ones.
    struct Untaken
    {
        MediaPacket packet;
        PicturePlace place{};
        std::optional<pyx_int64> time{};
    };

    void FindHowTimed(const AVPacket& first);
    bool AddFiltered(PacketPtr pPacket);
    void AddWaiting(PacketPtr pPacket);
    bool HasNext();
    void ParsePicture(Untaken* pUntaken);
    void SetSize(PYXSize size);

    AVFormatContext* const m_pFile;
    AVStream* const m_pStream;
    const CodecRow* const m_pCodec;
    FilterPtr m_pFilter;
    bool m_hasBegun = false;
    std::deque<PacketPtr> m_damaged; // since the last whole packet
    int m_troubles = 0;              // likewise
    std::string m_trouble;
    unsigned m_damages = 0;

    std::deque<Untaken> m_waiting; // until their times are known
    bool m_hasEnded = false;
    std::optional<pyx_int64> m_nextTime; // of a packet without any
    PictureParser m_parser;
    bool m_parsesAll = false;    // pictures, to learn their order; else key pictures only
    bool m_sortsByOrder = false; // the file has decode times only
    PictureTimes m_times;        // then
    MissingTimes m_missing;      // of single pictures, otherwise
    bool m_hasShown = false;     // a picture that was taken since the last cut
};
