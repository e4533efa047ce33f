#include "replay/input/MediaReader.h"

#include "replay/Text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

namespace
{

/// Containers of bare pictures, and one whose index counts pictures in decode order.
constexpr std::string_view c_withDecodeTimesOnly[] = {"avi", "h264", "hevc"};

PacketPtr NewPacket()
{
    return PacketPtr(av_packet_alloc());
}

std::vector<AVStream*> FindStreams(const AVFormatContext& file, AVMediaType kind)
{
    std::vector<AVStream*> found;
    for (AVStream* pStream : std::span(file.streams, file.nb_streams))
    {
        const bool isCover = (pStream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        if (pStream->codecpar->codec_type == kind && !isCover)
        {
            found.push_back(pStream);
        }
    }
    return found;
}

std::string CodecName(const AVStream& stream)
{
    return avcodec_get_name(stream.codecpar->codec_id);
}

} // namespace

Outcome MediaReader::OpenVideo(const std::wstring& path, std::unique_ptr<MediaReader>* ppReader)
{
    std::unique_ptr<MediaReader> pReader(new MediaReader);
    pReader->m_pathForUser = PathForUser(path);
    RETURN_ON_FAILURE(pReader->m_stream.Open(path));
    const std::vector<AVStream*> streams = FindStreams(pReader->File(), AVMEDIA_TYPE_VIDEO);
    if (streams.empty())
    {
        return {};
    }
    if (!FindCodec(streams[0]->codecpar->codec_id))
    {
        return {ExitCode::BadInput, "the video of " + pReader->m_pathForUser + " is " + CodecName(*streams[0]) +
                                        "; only " + SupportedCodecs(AVMEDIA_TYPE_VIDEO) + " can be kept"};
    }
    return OpenStream(std::move(pReader), streams[0], ppReader);
}

Outcome MediaReader::OpenAudio(const std::wstring& path, int track, const MediaReader& video,
                               std::unique_ptr<MediaReader>* ppReader, std::string* pLeftOut)
{
    std::unique_ptr<MediaReader> pReader(new MediaReader);
    pReader->m_pathForUser = PathForUser(path);
    if (video.m_stream.IsPipe())
    {
        pReader->m_stream.Share(video.m_stream);
    }
    else
    {
        RETURN_ON_FAILURE(pReader->m_stream.Open(path));
    }
    AVStream* pStream = nullptr;
    RETURN_ON_FAILURE(pReader->FindAudio(track, &pStream));
    if (!pStream)
    {
        return {};
    }
    if (!FindCodec(pStream->codecpar->codec_id))
    {
        *pLeftOut = "the audio is left out: it is " + CodecName(*pStream) + "; only " +
                    SupportedCodecs(AVMEDIA_TYPE_AUDIO) + " can be kept";
        return {};
    }
    return OpenStream(std::move(pReader), pStream, ppReader);
}

Outcome MediaReader::FindAudio(int track, AVStream** ppStream) const
{
    const std::vector<AVStream*> streams = FindStreams(File(), AVMEDIA_TYPE_AUDIO);
    if (track > static_cast<int>(streams.size()))
    {
        return {ExitCode::BadUsage, m_pathForUser + " has no audio track " + std::to_string(track) + "; it has " +
                                        std::to_string(streams.size())};
    }
    if (track > 0)
    {
        *ppStream = streams[static_cast<std::size_t>(track - 1)];
        return {};
    }
    const auto chosen = std::find_if(streams.begin(), streams.end(), [](const AVStream* pStream) {
        return (pStream->disposition & AV_DISPOSITION_DEFAULT) != 0;
    });
    *ppStream = chosen != streams.end() ? *chosen : streams.empty() ? nullptr : streams[0];
    return {};
}

Outcome MediaReader::OpenStream(std::unique_ptr<MediaReader> pReader, AVStream* pStream,
                                std::unique_ptr<MediaReader>* ppReader)
{
    MediaReader& reader = *pReader;
    reader.m_pStream = pStream;
    reader.m_pCodec = FindCodec(pStream->codecpar->codec_id);
    reader.m_jumps = (reader.File().iformat->flags & AVFMT_TS_DISCONT) != 0;
    reader.m_stream.Choose(pStream);
    RETURN_ON_FAILURE(reader.StartFilter());

    // Some files carry a codec's set-up in the first packet only.
    reader.m_pFirst = NewPacket();
    const ReadResult result = reader.ReadFiltered(reader.m_pFirst.get());
    if (result == ReadResult::Broken)
    {
        return reader.CannotRead(reader.m_brokenText);
    }
    if (result == ReadResult::End)
    {
        return {};
    }
    if (result == ReadResult::NotYet) // it will come through the pipe later
    {
        reader.m_pFirst.reset();
        *ppReader = std::move(pReader);
        return {};
    }
    reader.FindMissingSize(*reader.m_pFirst);
    const bool hasParser = reader.IsReordered() && reader.m_parser.Open(reader.Parameters());
    reader.m_orders = hasParser && reader.TellsDecodeTimesOnly();
    reader.m_fillsIn = hasParser && reader.m_jumps;
    *ppReader = std::move(pReader);
    return {};
}

bool MediaReader::TellsDecodeTimesOnly() const
{
    const bool hasNone = std::find(std::begin(c_withDecodeTimesOnly), std::end(c_withDecodeTimesOnly),
                                   std::string_view(File().iformat->name)) != std::end(c_withDecodeTimesOnly);
    return hasNone || m_pFirst->pts == AV_NOPTS_VALUE;
}

bool MediaReader::IsReordered() const
{
    return m_pCodec->id == AV_CODEC_ID_H264 || m_pCodec->id == AV_CODEC_ID_HEVC;
}

Outcome MediaReader::StartFilter()
{
    // AAC whose set-up lies in the container is in an encoder's form already.
    const bool plainAac = m_pCodec->id == AV_CODEC_ID_AAC && m_pStream->codecpar->extradata_size > 0;
    const bool filtered = m_pCodec->filter && !plainAac;
    AVBSFContext* pFilter = nullptr;
    int error =
        filtered ? av_bsf_alloc(av_bsf_get_by_name(m_pCodec->filter), &pFilter) : av_bsf_get_null_filter(&pFilter);
    m_pFilter.reset(pFilter);
    if (error >= 0)
    {
        error = avcodec_parameters_copy(pFilter->par_in, m_pStream->codecpar);
    }
    if (error >= 0)
    {
        pFilter->time_base_in = m_pStream->time_base;
        error = av_bsf_init(pFilter);
    }
    return error < 0 ? CannotRead(std::string("its ") + m_pCodec->name + " stream: " + FFmpegErrorText(error))
                     : Outcome();
}

/// A file of bare AV1 tells the size of its pictures in the first of them only.
void MediaReader::FindMissingSize(const AVPacket& first)
{
    AVCodecParameters& parameters = *m_pFilter->par_out;
    PictureParser parser;
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO && parameters.width <= 0 && parser.Open(parameters))
    {
        parser.Parse(first);
        parameters.width = parser.Width();
        parameters.height = parser.Height();
    }
}

Outcome MediaReader::CannotRead(const std::string& why) const
{
    return {ExitCode::BadInput, "cannot read " + m_pathForUser + ": " + why};
}

AVRational MediaReader::FrameRate() const
{
    return av_guess_frame_rate(&m_stream.File(), m_pStream, nullptr);
}

AVRational MediaReader::PixelAspect() const
{
    return av_guess_sample_aspect_ratio(&m_stream.File(), m_pStream, nullptr);
}

pyx_int64 MediaReader::FileDuration() const
{
    return File().duration > 0 ? ToTicks(File().duration, {1, AV_TIME_BASE}) : 0;
}

pyx_int64 MediaReader::ToldEnd() const
{
    const AVFormatContext& file = File();
    const bool guessed = file.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
    if (file.duration <= 0 || file.start_time == AV_NOPTS_VALUE || guessed)
    {
        return INT64_MIN;
    }
    // A length that stands in a header can be counted from zero as well as from the start; only one that was found in
    // the packets is certain.
    const bool fromStart = file.duration_estimation_method == AVFMT_DURATION_FROM_PTS;
    return ToTicks(file.duration + (fromStart ? file.start_time : 0), {1, AV_TIME_BASE});
}

unsigned MediaReader::OtherStreams() const
{
    return File().nb_streams - 1;
}

ReadResult MediaReader::Next(MediaPacket* pPacket)
{
    m_stream.PassOverOthers();
    return m_orders ? ReadInOrderShown(pPacket) : ReadPacket(pPacket);
}

/// Decode order it is still, with times of the order shown.
ReadResult MediaReader::ReadInOrderShown(MediaPacket* pPacket)
{
    while (!m_times.IsReady() && m_end == ReadResult::Packet)
    {
        MediaPacket packet;
        const ReadResult result = ReadPacket(&packet);
        if (result == ReadResult::NotYet)
        {
            return result;
        }
        m_end = result;
        if (m_end == ReadResult::Packet)
        {
            AddToOrder(std::move(packet));
        }
        else
        {
            m_times.End();
        }
    }
    if (m_waiting.empty())
    {
        return m_end;
    }
    *pPacket = std::move(m_waiting.front());
    m_waiting.pop_front();
    pPacket->pts = m_times.Next();
    return ReadResult::Packet;
}

void MediaReader::AddToOrder(MediaPacket packet)
{
    const PictureParser::Picture picture = m_parser.Parse(*packet.pPacket);
    packet.key = picture.key;
    m_times.Add(picture.place, packet.pts);
    m_waiting.push_back(std::move(packet));
}

ReadResult MediaReader::ReadPacket(MediaPacket* pPacket)
{
    pPacket->pPacket = m_pFirst ? std::move(m_pFirst) : NewPacket();
    AVPacket& packet = *pPacket->pPacket;
    while (packet.size == 0)
    {
        if (const ReadResult result = ReadFiltered(&packet); result != ReadResult::Packet)
        {
            return result;
        }
    }
    const AVRational unit = m_pFilter->time_base_out;
    const pyx_int64 time = packet.pts != AV_NOPTS_VALUE && !m_orders ? packet.pts : packet.dts;
    const AVRational rate = FrameRate();
    const bool isEven = m_orders && rate.num > 0; // the container's durations are those of the index
    pPacket->pts = time != AV_NOPTS_VALUE ? ToTicks(time, unit) : m_nextTime;
    pPacket->duration = isEven ? ToTicks(1, {rate.den, rate.num}) : ToTicks(packet.duration, unit);
    pPacket->key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    pPacket->video = m_pCodec->frameTypeName != nullptr;
    if (m_fillsIn && !m_orders)
    {
        FillInTime(pPacket);
    }
    m_nextTime = pPacket->pts + pPacket->duration;
    GoOnAfterJump(packet.dts != AV_NOPTS_VALUE ? ToTicks(packet.dts, unit) : pPacket->pts, pPacket);
    return ReadResult::Packet;
}

/// Broadcasts may leave the times of some pictures out.
void MediaReader::FillInTime(MediaPacket* pPacket)
{
    const PictureTimes::Place place = m_parser.Parse(*pPacket->pPacket).place;
    if (pPacket->pPacket->pts != AV_NOPTS_VALUE)
    {
        m_missing.Learn(place, pPacket->pts);
        return;
    }
    pPacket->pts = m_missing.Guess(place).value_or(pPacket->pts);
}

void MediaReader::GoOnAfterJump(pyx_int64 decodeTime, MediaPacket* pPacket)
{
    constexpr pyx_int64 tolerance = PYX_TICKS_PER_SECOND;
    if (m_jumps && m_nextDecode != INT64_MIN && decodeTime + m_shift < m_nextDecode - tolerance)
    {
        const pyx_int64 own = m_nextDecode - decodeTime;
        if (m_joints == m_pShifts->size())
        {
            m_pShifts->push_back(own);
        }
        // Streams end and begin together at a joint; when they do not, each goes on by itself.
        const pyx_int64 common = (*m_pShifts)[m_joints++];
        m_shift = std::abs(common - own) < tolerance ? common : own;
    }
    m_nextDecode = std::max(m_nextDecode, decodeTime + m_shift + pPacket->duration);
    pPacket->pts += m_shift;
}

ReadResult MediaReader::ReadFiltered(AVPacket* pPacket)
{
    for (;;)
    {
        int error = av_bsf_receive_packet(m_pFilter.get(), pPacket);
        if (error >= 0)
        {
            m_refused += m_trouble.empty() ? 0 : 1;
            m_trouble.clear();
            TakeNewExtraData(pPacket);
            return ReadResult::Packet;
        }
        if (error == AVERROR_EOF)
        {
            return m_trouble.empty() ? ReadResult::End : Fail(m_trouble);
        }
        if (error == AVERROR_INVALIDDATA)
        {
            m_trouble = FFmpegErrorText(error);
        }
        else if (error != AVERROR(EAGAIN))
        {
            return Fail(FFmpegErrorText(error));
        }
        const ReadResult result = m_stream.Read(pPacket);
        if (result == ReadResult::Broken)
        {
            return Fail(m_stream.BrokenText());
        }
        if (result == ReadResult::NotYet)
        {
            return result;
        }
        // A null packet tells the filter that there are no more.
        error = av_bsf_send_packet(m_pFilter.get(), result == ReadResult::End ? nullptr : pPacket);
        if (error < 0)
        {
            return Fail(FFmpegErrorText(error));
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

ReadResult MediaReader::Fail(const std::string& text)
{
    m_brokenText = text;
    return ReadResult::Broken;
}
