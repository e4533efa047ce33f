#include "replay/input/MediaReader.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace
{

/// Damages in a row after which a file is given up: some demuxers return the same failure for every read after a cut.
constexpr int c_mostDamages = 200;

/// Pictures without a time that wait for one that has it.
constexpr std::size_t c_mostUntimed = 600;

/// Containers of bare pictures, and one whose index counts pictures in decode order.
constexpr std::string_view c_withDecodeTimesOnly[] = {"avi", "h264", "hevc"};

} // namespace

MediaReader::MediaReader(AVFormatContext* pFile, AVStream* pStream)
    : m_pFile(pFile), m_pStream(pStream), m_pCodec(FindCodec(&CodecRow::id, pStream->codecpar->codec_id))
{
}

Outcome MediaReader::Begin()
{
    // AAC whose set-up is in the container is in an encoder's form already.
    const bool plainAac = m_pCodec->id == AV_CODEC_ID_AAC && m_pStream->codecpar->extradata_size > 0;
    const int error =
        OpenFilter(plainAac ? nullptr : m_pCodec->filter, *m_pStream->codecpar, m_pStream->time_base, &m_pFilter);
    return error >= 0 ? Outcome()
                      : Outcome(ExitCode::BadInput,
                                std::string("its ") + m_pCodec->name + " stream: " + FFmpegErrorText(error));
}

bool MediaReader::Add(AVPacket* pPacket)
{
    int error = av_bsf_send_packet(m_pFilter.get(), pPacket);
    bool isGood = true;
    while (error >= 0)
    {
        PacketPtr pFiltered(av_packet_alloc());
        error = pFiltered ? av_bsf_receive_packet(m_pFilter.get(), pFiltered.get()) : AVERROR(ENOMEM);
        isGood = error < 0 || AddFiltered(std::move(pFiltered));
    }
    m_hasEnded = m_hasEnded || !pPacket;
    return error == AVERROR(EAGAIN) || error == AVERROR_EOF ? isGood : AddDamage(FFmpegErrorText(error));
}

bool MediaReader::AddDamage(const std::string& text)
{
    m_trouble = m_trouble.empty() ? text : m_trouble;
    return ++m_troubles < c_mostDamages;
}

/// False: too much in a row is damaged.
bool MediaReader::AddFiltered(PacketPtr pPacket)
{
    std::size_t size = 0;
    const pyx_uint8* pSetUp = av_packet_get_side_data(pPacket.get(), AV_PKT_DATA_NEW_EXTRADATA, &size);
    if (pSetUp && !Parameters().extradata)
    {
        static_cast<void>(CopyExtraData(m_pFilter->par_out, {pSetUp, size})); // no memory: nothing else works either
    }
    m_damaged.push_back(std::move(pPacket));
    if (m_damaged.back()->flags & AV_PKT_FLAG_CORRUPT)
    {
        return AddDamage("a packet is cut off");
    }
    m_damages += m_trouble.empty() ? 0 : 1;
    m_trouble.clear();
    m_troubles = 0;
    for (PacketPtr& pWhole : std::exchange(m_damaged, {}))
    {
        AddWaiting(std::move(pWhole));
    }
    return true;
}

/// Finds out, when the first packet comes, which of its times can be relied on.
void MediaReader::FindHowTimed(const AVPacket& first)
{
    m_hasBegun = true;
    if (!m_pCodec->IsVideo() || !m_parser.Open(Parameters()))
    {
        return;
    }
    const bool isReordered = m_pCodec->id == AV_CODEC_ID_H264 || m_pCodec->id == AV_CODEC_ID_HEVC;
    const bool hasDecodeTimesOnly =
        std::ranges::find(c_withDecodeTimesOnly, std::string_view(m_pFile->iformat->name)) !=
        std::end(c_withDecodeTimesOnly);
    const bool hasNoTime = first.pts == AV_NOPTS_VALUE;
    m_sortsByOrder = isReordered && (hasDecodeTimesOnly || (hasNoTime && first.dts != AV_NOPTS_VALUE));
    // Broadcasts may leave the times of some pictures out, and Matroska has none below zero.
    const bool hasGaps = hasNoTime || (m_pFile->iformat->flags & AVFMT_TS_DISCONT) != 0;
    m_parsesAll = isReordered && (m_sortsByOrder || hasGaps);
    if (Parameters().width <= 0) // a file of bare AV1 tells the size of its pictures in the first of them only
    {
        SetSize(m_parser.Parse(first).size);
    }
}

void MediaReader::AddWaiting(PacketPtr pPacket)
{
    if (!m_hasBegun)
    {
        FindHowTimed(*pPacket);
    }
    if (pPacket->size == 0)
    {
        return;
    }
    Untaken untaken;
    MediaPacket& packet = untaken.packet;
    packet.pPacket = std::move(pPacket);
    const AVPacket& read = *packet.pPacket;
    const AVRational unit = m_pFilter->time_base_out;
    const AVRational rate = av_guess_frame_rate(m_pFile, m_pStream, nullptr);
    const bool isEven = m_sortsByOrder && rate.num > 0; // the container's durations are those of the index
    const pyx_int64 time = m_sortsByOrder || (read.pts == AV_NOPTS_VALUE && !m_parsesAll) ? read.dts : read.pts;
    if (time != AV_NOPTS_VALUE)
    {
        untaken.time = ToTicks(time, unit);
    }
    packet.duration = isEven ? ToTicks(1, {rate.den, rate.num}) : ToTicks(read.duration, unit);
    packet.key = (read.flags & AV_PKT_FLAG_KEY) != 0;
    packet.video = m_pCodec->IsVideo();
    packet.hidden = (read.flags & AV_PKT_FLAG_DISCARD) != 0;
    if (packet.video && (packet.key || m_parsesAll))
    {
        ParsePicture(&untaken);
    }
    if (untaken.time && !m_nextTime)
    {
        m_nextTime = untaken.time;
        for (const Untaken& earlier : m_waiting)
        {
            *m_nextTime -= earlier.packet.duration;
        }
    }
    m_waiting.push_back(std::move(untaken));
}

void MediaReader::ParsePicture(Untaken* pUntaken)
{
    MediaPacket& packet = pUntaken->packet;
    const PictureParser::Picture picture = m_parser.Parse(*packet.pPacket);
    pUntaken->place = picture.place;
    if (m_sortsByOrder)
    {
        packet.key = picture.key;
        const pyx_int64 decoded = pUntaken->time.value_or(m_nextTime.value_or(0));
        m_times.Add(picture.place, decoded);
        m_nextTime = decoded + packet.duration;
    }
    else if (m_parsesAll && pUntaken->time)
    {
        m_missing.Learn(picture.place, *pUntaken->time);
    }
    const AVCodecParameters& known = Parameters();
    const auto [width, height] = picture.size;
    const bool isResized = packet.key && width > 0 && (width != known.width || height != known.height);
    if (isResized)
    {
        SetSize(picture.size);
    }
    packet.size = {known.width, known.height};
    packet.newStretch = isResized || (packet.key && packet.hidden);
}

/// Hidden pictures are kept only if a shown picture that needs them follows before the next cut.
bool MediaReader::HasNext()
{
    while (m_pCodec->IsVideo() && !m_waiting.empty() && m_waiting.front().packet.hidden)
    {
        const auto next = std::find_if(m_waiting.begin() + 1, m_waiting.end(), [](const Untaken& untaken) {
            return !untaken.packet.hidden || untaken.packet.newStretch;
        });
        if (next == m_waiting.end() ? !m_hasEnded : !next->packet.newStretch)
        {
            return next != m_waiting.end();
        }
        m_waiting.erase(m_waiting.begin(), next);
    }
    return !m_waiting.empty();
}

bool MediaReader::Take(MediaPacket* pPacket)
{
    if (!HasNext())
    {
        return false;
    }
    const Untaken& front = m_waiting.front();
    std::optional<pyx_int64> time = m_sortsByOrder ? m_times.Next(m_hasEnded) : front.time;
    if (!time && !m_sortsByOrder)
    {
        const bool isLate = m_hasEnded || m_waiting.size() > c_mostUntimed; // too late to wait for a better guess
        time = m_missing.Guess(front.place);
        time = time || (m_parsesAll && !isLate) ? time : m_nextTime;
        time = time || !isLate ? time : 0;
    }
    if (!time)
    {
        return false;
    }
    *pPacket = std::move(m_waiting.front().packet);
    m_waiting.pop_front();
    pPacket->pts = *time;
    pPacket->newStretch = pPacket->newStretch && m_hasShown;
    m_hasShown = !pPacket->hidden || (m_hasShown && !pPacket->newStretch);
    if (!m_sortsByOrder)
    {
        m_nextTime = *time + pPacket->duration;
    }
    return true;
}

/// The set-up of pictures of another size is in the first of them.
void MediaReader::SetSize(PYXSize size)
{
    AVCodecParameters& parameters = *m_pFilter->par_out;
    if (parameters.width > 0)
    {
        av_freep(&parameters.extradata);
        parameters.extradata_size = 0;
    }
    parameters.width = size.width;
    parameters.height = size.height;
}
