#include "muxer/LeadingPictures.h"

#include "media/NalStream.h"

namespace
{

/// The picture's NAL type, -1 for a codec without leading pictures.
int FindType(const AVCodecParameters& stream, const AVPacket& packet)
{
    const bool isHevc = stream.codec_id == AV_CODEC_ID_HEVC;
    if (!isHevc && stream.codec_id != AV_CODEC_ID_H264)
    {
        return -1;
    }
    const Bytes extraData(stream.extradata, static_cast<std::size_t>(stream.extradata_size));
    const std::size_t lengthSize = IsConfigurationRecord(extraData) ? GetLengthSize(extraData, isHevc) : 0;
    return GetPictureType({packet.data, static_cast<std::size_t>(packet.size)}, isHevc, lengthSize);
}

} // namespace

bool LeadingPictures::IsLost(const AVCodecParameters& stream, const AVPacket& packet)
{
    const bool isHevc = stream.codec_id == AV_CODEC_ID_HEVC;
    if (!m_started)
    {
        // H.264 does not mark them: with a key picture that forgets all before it there are none.
        const int type = FindType(stream, packet);
        m_mayBeLost = type >= 0 && (isHevc || !StartsSequence(type, isHevc));
        m_firstPts = packet.pts;
        m_started = true;
        return false;
    }
    m_mayBeLost = m_mayBeLost && !(packet.flags & AV_PKT_FLAG_KEY);
    return m_mayBeLost && packet.pts < m_firstPts && (!isHevc || IsSkippedLeading(FindType(stream, packet)));
}
