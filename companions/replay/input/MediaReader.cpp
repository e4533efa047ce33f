#include "replay/input/MediaReader.h"

#include "replay/Text.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <set>
#include <string_view>

namespace
{

/// Damages in a row after which a file is given up: some demuxers return the same failure for every read after a cut.
constexpr int c_mostDamages = 200;

/// Pictures without a time that wait for one that has it.
constexpr std::size_t c_mostUntimed = 600;

/// Containers of bare pictures, and one whose index counts pictures in decode order.
constexpr std::string_view c_withDecodeTimesOnly[] = {"avi", "h264", "hevc"};

/// The one that is flagged as default, else the first, else null; or the one of that number, counted from 1.
AVStream* FindStream(const AVFormatContext& file, AVMediaType kind, int number, int* pCount)
{
    AVStream* pFound = nullptr;
    bool isDefault = false;
    *pCount = 0;
    for (AVStream* pStream : std::span(file.streams, file.nb_streams))
    {
        if (pStream->codecpar->codec_type != kind || (pStream->disposition & AV_DISPOSITION_ATTACHED_PIC))
        {
            continue;
        }
        ++*pCount;
        const bool flagged = (pStream->disposition & AV_DISPOSITION_DEFAULT) != 0;
        if (number > 0 ? *pCount == number : !pFound || (flagged && !isDefault))
        {
            pFound = pStream;
            isDefault = flagged;
        }
    }
    return pFound;
}

std::string OnlyCodecs(const AVStream& stream)
{
    const bool isVideo = stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    return std::string(avcodec_get_name(stream.codecpar->codec_id)) + "; only " +
           (isVideo ? c_videoCodecNames : c_audioCodecNames) + " can be kept";
}

/// What of the file no clip has: "subtitles, chapters"; or empty.
std::string NameLeftOut(const AVFormatContext& file, const MediaInput& input)
{
    std::set<std::string> names; // each once
    for (const AVStream* pStream : std::span(file.streams, file.nb_streams))
    {
        const bool isKept = pStream == &input.pVideo->Stream() || (input.pAudio && pStream == &input.pAudio->Stream());
        const AVMediaType kind = pStream->codecpar->codec_type;
        if (kind == AVMEDIA_TYPE_VIDEO && !isKept)
        {
            names.insert(pStream->disposition & AV_DISPOSITION_ATTACHED_PIC ? "a cover" : "another video stream");
        }
        if (kind == AVMEDIA_TYPE_AUDIO && !isKept && input.pAudio)
        {
            names.insert("other audio tracks");
        }
        if (kind == AVMEDIA_TYPE_SUBTITLE)
        {
            names.insert("subtitles");
        }
        if (av_dict_get(pStream->metadata, "timecode", nullptr, 0))
        {
            names.insert("the timecode");
        }
    }
    if (file.nb_chapters > 0)
    {
        names.insert("chapters");
    }
    std::string list;
    for (const std::string& name : names)
    {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list;
}

bool IsReordered(AVCodecID codec)
{
    return codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC;
}

} // namespace

MediaReader::MediaReader(std::shared_ptr<Demuxer> pDemuxer, AVStream* pStream)
    : m_pDemuxer(std::move(pDemuxer)), m_pStream(pStream), m_pCodec(FindCodec(pStream->codecpar->codec_id))
{
    m_pDemuxer->Choose(*pStream);
}

Outcome MediaReader::Open(const std::wstring& path, const AudioChoice& audio, MediaInput* pInput)
{
    const std::string name = PathForUser(path);
    const auto pDemuxer = std::make_shared<Demuxer>();
    RETURN_ON_FAILURE(pDemuxer->Open(path));
    int count = 0;
    AVStream* pVideo = FindStream(pDemuxer->File(), AVMEDIA_TYPE_VIDEO, 0, &count);
    if (pVideo && !FindCodec(pVideo->codecpar->codec_id))
    {
        return {ExitCode::BadInput, "the video of " + name + " is " + OnlyCodecs(*pVideo)};
    }
    AVStream* pAudio = FindStream(pDemuxer->File(), AVMEDIA_TYPE_AUDIO, audio.track, &count);
    if (audio.track > count)
    {
        return {ExitCode::BadUsage,
                name + " has no audio track " + std::to_string(audio.track) + "; it has " + std::to_string(count)};
    }
    if (pAudio && !audio.none && !FindCodec(pAudio->codecpar->codec_id))
    {
        pInput->warnings.push_back("the audio is left out: it is " + OnlyCodecs(*pAudio));
        pAudio = nullptr;
    }
    // Both are chosen before the first packet is read.
    pInput->pVideo.reset(pVideo ? new MediaReader(pDemuxer, pVideo) : nullptr);
    pInput->pAudio.reset(pAudio && !audio.none ? new MediaReader(pDemuxer, pAudio) : nullptr);
    for (std::unique_ptr<MediaReader>* ppReader : {&pInput->pVideo, &pInput->pAudio})
    {
        if (const Outcome begun = *ppReader ? (*ppReader)->Begin() : Outcome(); !begun.IsOk())
        {
            std::string text = "cannot read " + name + ": " + begun.Text();
            if (pDemuxer->IsPipe())
            {
                text.append("; it is ").append(pDemuxer->File().iformat->long_name);
                text += ", and a pipe can be Matroska or MPEG-TS";
            }
            return {begun.Code(), text};
        }
        if (*ppReader && (*ppReader)->m_end == ReadResult::End && (*ppReader)->m_ready.empty())
        {
            ppReader->reset();
        }
    }
    if (!pInput->pVideo)
    {
        return {ExitCode::BadInput, name + " has no video"};
    }
    if (pInput->pAudio &&
        (pInput->pAudio->Parameters().ch_layout.nb_channels <= 0 || pInput->pAudio->Parameters().sample_rate <= 0))
    {
        pInput->warnings.emplace_back(
            "the audio is left out: the beginning of the input does not tell its channels and sample rate");
        pInput->pAudio.reset();
    }
    if (const std::string names = NameLeftOut(pDemuxer->File(), *pInput); !names.empty())
    {
        pInput->warnings.push_back("the clip will not have all of the input, which also has: " + names);
    }
    return {};
}

/// Starts the filter, and reads the first packet: some files carry a codec's set-up only there.
Outcome MediaReader::Begin()
{
    // AAC whose set-up lies in the container is in an encoder's form already.
    const bool plainAac = m_pCodec->id == AV_CODEC_ID_AAC && m_pStream->codecpar->extradata_size > 0;
    AVBSFContext* pFilter = nullptr;
    int error = av_bsf_list_parse_str(plainAac ? nullptr : m_pCodec->filter, &pFilter);
    m_pFilter.reset(pFilter);
    error = error < 0 ? error : avcodec_parameters_copy(pFilter->par_in, m_pStream->codecpar);
    if (error >= 0)
    {
        pFilter->time_base_in = m_pStream->time_base;
        error = av_bsf_init(pFilter);
    }
    if (error < 0)
    {
        return {ExitCode::BadInput, std::string("its ") + m_pCodec->name + " stream: " + FFmpegErrorText(error)};
    }
    const ReadResult result = FillReady();
    if (result == ReadResult::Broken)
    {
        return {ExitCode::BadInput, m_brokenText};
    }
    m_end = result == ReadResult::End ? result : ReadResult::Packet;
    if (result != ReadResult::Packet || !m_pCodec->IsVideo() || !m_parser.Open(Parameters()))
    {
        return {};
    }
    const AVPacket& first = *m_ready.front();
    const bool hasNoTime = first.pts == AV_NOPTS_VALUE;
    m_sortsByOrder = IsReordered(m_pCodec->id) && (HasOnlyDecodeTimes() || (hasNoTime && first.dts != AV_NOPTS_VALUE));
    // Broadcasts may leave the times of some pictures out, and Matroska has none below zero.
    const bool hasGaps = hasNoTime || (File().iformat->flags & AVFMT_TS_DISCONT) != 0;
    m_parsesAll = IsReordered(m_pCodec->id) && (m_sortsByOrder || hasGaps);
    if (Parameters().width <= 0) // a file of bare AV1 tells the size of its pictures in the first of them only
    {
        m_parser.Parse(first);
        SetSize(m_parser.Width(), m_parser.Height());
    }
    return {};
}

bool MediaReader::HasOnlyDecodeTimes() const
{
    return std::ranges::find(c_withDecodeTimesOnly, std::string_view(File().iformat->name)) !=
           std::end(c_withDecodeTimesOnly);
}

AVRational MediaReader::FrameRate() const
{
    return av_guess_frame_rate(&m_pDemuxer->File(), m_pStream, nullptr);
}

AVRational MediaReader::PixelAspect() const
{
    return av_guess_sample_aspect_ratio(&m_pDemuxer->File(), m_pStream, nullptr);
}

pyx_int64 MediaReader::FileDuration() const
{
    return File().duration > 0 ? ToTicks(File().duration, {1, AV_TIME_BASE}) : 0;
}

pyx_int64 MediaReader::AnnouncedEnd() const
{
    const AVFormatContext& file = File();
    const bool guessed = file.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
    // What writes into a pipe begins with a length that it can only estimate.
    if (file.duration <= 0 || file.start_time == AV_NOPTS_VALUE || guessed || m_pDemuxer->IsPipe() ||
        m_pDemuxer->HasJoints())
    {
        return INT64_MIN;
    }
    // A length in a header can be counted from zero as well as from the start; only one that was found in the packets
    // is certain.
    const bool fromStart = file.duration_estimation_method == AVFMT_DURATION_FROM_PTS;
    return ToTicks(file.duration + (fromStart ? file.start_time : 0), {1, AV_TIME_BASE});
}

unsigned MediaReader::OtherStreams() const
{
    return File().nb_streams - 1;
}

ReadResult MediaReader::Next(MediaPacket* pPacket)
{
    while (m_end == ReadResult::Packet && !IsFrontTimed())
    {
        const ReadResult result = ReadPacket();
        if (result == ReadResult::NotYet)
        {
            return result;
        }
        m_end = result;
    }
    if (m_waiting.empty())
    {
        return m_end;
    }
    *pPacket = TakeFront();
    return ReadResult::Packet;
}

bool MediaReader::IsFrontTimed() const
{
    if (m_sortsByOrder)
    {
        return m_times.IsReady();
    }
    return !m_waiting.empty() &&
           (m_waiting.front().hasTime || m_waiting.size() > c_mostUntimed ||
            (m_parsesAll ? m_missing.Guess(m_waiting.front().place).has_value() : m_nextTime != INT64_MIN));
}

MediaPacket MediaReader::TakeFront()
{
    Waiting front = std::move(m_waiting.front());
    m_waiting.pop_front();
    MediaPacket packet = std::move(front.packet);
    if (m_sortsByOrder)
    {
        packet.pts = m_times.Next();
    }
    else if (!front.hasTime)
    {
        packet.pts = m_missing.Guess(front.place).value_or(m_nextTime == INT64_MIN ? 0 : m_nextTime);
    }
    if (!m_sortsByOrder)
    {
        m_nextTime = packet.pts + packet.duration;
    }
    return packet;
}

/// Adds the next packet to those that wait.
ReadResult MediaReader::ReadPacket()
{
    Waiting waiting;
    MediaPacket& packet = waiting.packet;
    do
    {
        if (const ReadResult result = ReadWhole(&packet.pPacket); result != ReadResult::Packet)
        {
            if (result != ReadResult::NotYet)
            {
                m_times.End();
            }
            return result;
        }
    } while (packet.pPacket->size == 0);
    const AVPacket& read = *packet.pPacket;
    const AVRational unit = m_pFilter->time_base_out;
    const AVRational rate = FrameRate();
    const bool isEven = m_sortsByOrder && rate.num > 0; // the container's durations are those of the index
    const pyx_int64 time = m_sortsByOrder || (read.pts == AV_NOPTS_VALUE && !m_parsesAll) ? read.dts : read.pts;
    waiting.hasTime = time != AV_NOPTS_VALUE;
    packet.pts = ToTicks(time, unit);
    packet.duration = isEven ? ToTicks(1, {rate.den, rate.num}) : ToTicks(read.duration, unit);
    packet.key = (read.flags & AV_PKT_FLAG_KEY) != 0;
    packet.video = m_pCodec->IsVideo();
    packet.hidden = (read.flags & AV_PKT_FLAG_DISCARD) != 0;
    if (packet.video && (packet.key || m_parsesAll))
    {
        ParsePicture(&waiting);
    }
    m_hasShown = m_hasShown || !packet.hidden;
    if (waiting.hasTime && m_nextTime == INT64_MIN)
    {
        m_nextTime = packet.pts;
        for (const Waiting& earlier : m_waiting)
        {
            m_nextTime -= earlier.packet.duration;
        }
    }
    m_waiting.push_back(std::move(waiting));
    return ReadResult::Packet;
}

void MediaReader::ParsePicture(Waiting* pWaiting)
{
    MediaPacket& packet = pWaiting->packet;
    const PictureParser::Picture picture = m_parser.Parse(*packet.pPacket);
    pWaiting->place = picture.place;
    if (m_sortsByOrder)
    {
        packet.key = picture.key;
        packet.pts = pWaiting->hasTime ? packet.pts : m_nextTime == INT64_MIN ? 0 : m_nextTime;
        m_times.Add(picture.place, packet.pts);
        m_nextTime = packet.pts + packet.duration;
    }
    else if (m_parsesAll && pWaiting->hasTime)
    {
        m_missing.Learn(picture.place, packet.pts);
    }
    const AVCodecParameters& known = Parameters();
    const bool isResized =
        packet.key && m_parser.Width() > 0 && (m_parser.Width() != known.width || m_parser.Height() != known.height);
    if (isResized)
    {
        SetSize(m_parser.Width(), m_parser.Height());
    }
    packet.newStretch = isResized || (packet.key && packet.hidden && m_hasShown);
    m_hasShown = m_hasShown && !packet.newStretch;
}

/// The set-up of pictures of another size is in the first of them.
void MediaReader::SetSize(int width, int height)
{
    AVCodecParameters& parameters = *m_pFilter->par_out;
    if (parameters.width > 0)
    {
        av_freep(&parameters.extradata);
        parameters.extradata_size = 0;
    }
    parameters.width = width;
    parameters.height = height;
}

ReadResult MediaReader::ReadWhole(PacketPtr* ppPacket)
{
    if (m_ready.empty())
    {
        if (const ReadResult result = FillReady(); result != ReadResult::Packet)
        {
            return result;
        }
    }
    *ppPacket = std::move(m_ready.front());
    m_ready.pop_front();
    return ReadResult::Packet;
}

/// Reads up to the next packet that is whole.
ReadResult MediaReader::FillReady()
{
    for (int damages = 0;;)
    {
        PacketPtr pPacket(av_packet_alloc());
        const int error = pPacket ? ReadFiltered(pPacket.get()) : AVERROR(ENOMEM);
        if (error == Demuxer::c_notYet)
        {
            return ReadResult::NotYet;
        }
        const bool isCut = error >= 0 && (pPacket->flags & AV_PKT_FLAG_CORRUPT) != 0;
        if (error >= 0)
        {
            m_ready.push_back(std::move(pPacket));
        }
        if (error >= 0 && !isCut)
        {
            m_damages += m_trouble.empty() ? 0 : 1;
            m_trouble.clear();
            return ReadResult::Packet;
        }
        if (error == AVERROR_EOF && m_trouble.empty())
        {
            return ReadResult::End;
        }
        const bool canContinue = (isCut || error == AVERROR_INVALIDDATA) && ++damages < c_mostDamages;
        if (m_trouble.empty())
        {
            m_trouble = isCut ? "a packet is cut off" : FFmpegErrorText(error);
        }
        if (!canContinue)
        {
            m_brokenText = m_trouble;
            m_ready.clear();
            return ReadResult::Broken;
        }
    }
}

int MediaReader::ReadFiltered(AVPacket* pPacket)
{
    for (;;)
    {
        int error = av_bsf_receive_packet(m_pFilter.get(), pPacket);
        if (error != AVERROR(EAGAIN))
        {
            TakeNewExtraData(pPacket);
            return error;
        }
        error = m_pDemuxer->Read(m_pStream->index, pPacket);
        if (error < 0 && error != AVERROR_EOF)
        {
            return error;
        }
        // A null packet tells the filter that there are no more.
        error = av_bsf_send_packet(m_pFilter.get(), error == AVERROR_EOF ? nullptr : pPacket);
        if (error < 0)
        {
            return error;
        }
    }
}

void MediaReader::TakeNewExtraData(AVPacket* pPacket)
{
    std::size_t size = 0;
    const pyx_uint8* pData = av_packet_get_side_data(pPacket, AV_PKT_DATA_NEW_EXTRADATA, &size);
    AVCodecParameters& parameters = *m_pFilter->par_out;
    if (!pData || parameters.extradata)
    {
        return;
    }
    parameters.extradata = static_cast<pyx_uint8*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (parameters.extradata)
    {
        std::memcpy(parameters.extradata, pData, size);
        parameters.extradata_size = static_cast<int>(size);
    }
}
