#include "replay/MediaReader.h"

#include "replay/Text.h"

#include "common/StreamProperties.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr CodecRow c_codecs[] = {
    {AV_CODEC_ID_H264, "H.264", PYX_VIDEO_CODEC_H264, PYX_PROPERTY_OUTPUT_DATA_TYPE, 2, true, "h264_mp4toannexb"},
    {AV_CODEC_ID_HEVC, "HEVC", PYX_VIDEO_CODEC_HEVC, PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE, 2, true, "hevc_mp4toannexb"},
    {AV_CODEC_ID_AV1, "AV1", PYX_VIDEO_CODEC_AV1, PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE, 1, false, nullptr},
    {AV_CODEC_ID_AAC, "AAC", 0, nullptr, 0, true, "aac_adtstoasc"},
    {AV_CODEC_ID_OPUS, "Opus", 0, nullptr, 0, false, nullptr},
};

const CodecRow* FindCodec(AVCodecID id)
{
    const auto row =
        std::find_if(std::begin(c_codecs), std::end(c_codecs), [id](const CodecRow& codec) { return codec.id == id; });
    return row == std::end(c_codecs) ? nullptr : row;
}

FFmpegPtr<AVPacket> NewPacket()
{
    return FFmpegPtr<AVPacket>(av_packet_alloc());
}

} // namespace

Outcome MediaReader::Open(const std::wstring& path, AVMediaType kind, std::unique_ptr<MediaReader>* ppReader)
{
    std::unique_ptr<MediaReader> reader(new MediaReader);
    reader->m_pathForUser = PathForUser(path);
    if (const int error = OpenMediaFile(ToUtf8(path), &reader->m_pFile); error < 0)
    {
        return {ExitCode::BadInput, "cannot read " + reader->m_pathForUser + ": " + FFmpegErrorText(error)};
    }
    bool found = false;
    RETURN_ON_FAILURE(reader->Choose(kind, &found));
    if (!found)
    {
        return {};
    }
    RETURN_ON_FAILURE(reader->StartFilter());

    // Some files carry a codec's set-up in the first packet only.
    reader->m_pFirst = NewPacket();
    const ReadResult result = reader->ReadFiltered(reader->m_pFirst.get());
    if (result == ReadResult::Broken)
    {
        return {ExitCode::BadInput, "cannot read " + reader->m_pathForUser + ": " + reader->m_brokenText};
    }
    if (result == ReadResult::Packet)
    {
        *ppReader = std::move(reader);
    }
    return {};
}

Outcome MediaReader::Choose(AVMediaType kind, bool* pFound)
{
    for (AVStream* pStream : std::span(m_pFile->streams, m_pFile->nb_streams))
    {
        const bool picture = (pStream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        const bool wanted = pStream->codecpar->codec_type == kind && !picture && !m_pStream;
        if (wanted)
        {
            m_pStream = pStream;
        }
        pStream->discard = wanted ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    *pFound = m_pStream != nullptr;
    if (!m_pStream)
    {
        return {};
    }
    m_pCodec = FindCodec(m_pStream->codecpar->codec_id);
    if (!m_pCodec)
    {
        return {ExitCode::BadInput, std::string(kind == AVMEDIA_TYPE_VIDEO ? "the video of " : "the sound of ") +
                                        m_pathForUser + " is " + avcodec_get_name(m_pStream->codecpar->codec_id) +
                                        (kind == AVMEDIA_TYPE_VIDEO ? "; H.264, HEVC and AV1 are supported"
                                                                    : "; AAC and Opus are supported")};
    }
    return {};
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
    if (error < 0)
    {
        return {ExitCode::BadInput, "the " + std::string(m_pCodec->name) + " stream of " + m_pathForUser +
                                        " is broken: " + FFmpegErrorText(error)};
    }
    return {};
}

AVRational MediaReader::FrameRate() const
{
    return av_guess_frame_rate(m_pFile.get(), m_pStream, nullptr);
}

pyx_int64 MediaReader::FileDuration() const
{
    return m_pFile->duration > 0 ? ToTicks(m_pFile->duration, {1, AV_TIME_BASE}) : 0;
}

pyx_int64 MediaReader::ToldEnd() const
{
    const bool guessed = m_pFile->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
    if (m_pFile->duration <= 0 || m_pFile->start_time == AV_NOPTS_VALUE || guessed)
    {
        return INT64_MIN;
    }
    return ToTicks(m_pFile->start_time + m_pFile->duration, {1, AV_TIME_BASE});
}

unsigned MediaReader::OtherStreams() const
{
    return m_pFile->nb_streams - 1;
}

ReadResult MediaReader::Next(MediaPacket* pPacket)
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
    const pyx_int64 time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    pPacket->pts = time != AV_NOPTS_VALUE ? ToTicks(time, unit) : m_nextPts;
    pPacket->duration = ToTicks(packet.duration, unit);
    pPacket->key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    pPacket->video = m_pCodec->frameTypeName != nullptr;
    m_nextPts = pPacket->pts + pPacket->duration;
    return ReadResult::Packet;
}

ReadResult MediaReader::ReadFiltered(AVPacket* pPacket)
{
    for (;;)
    {
        int error = av_bsf_receive_packet(m_pFilter.get(), pPacket);
        if (error >= 0)
        {
            TakeNewExtraData(pPacket);
            return ReadResult::Packet;
        }
        if (error == AVERROR_EOF)
        {
            return ReadResult::End;
        }
        if (error != AVERROR(EAGAIN))
        {
            return Fail(FFmpegErrorText(error));
        }
        error = ReadRaw(pPacket);
        if (error < 0 && error != AVERROR_EOF)
        {
            return Fail(FFmpegErrorText(error));
        }
        if (error >= 0 && (pPacket->flags & AV_PKT_FLAG_CORRUPT) != 0)
        {
            return Fail("a packet is cut off");
        }
        // A null packet tells the filter that there are no more.
        error = av_bsf_send_packet(m_pFilter.get(), error == AVERROR_EOF ? nullptr : pPacket);
        if (error < 0)
        {
            return Fail(FFmpegErrorText(error));
        }
    }
}

int MediaReader::ReadRaw(AVPacket* pPacket)
{
    for (;;)
    {
        av_packet_unref(pPacket);
        const int error = av_read_frame(m_pFile.get(), pPacket);
        if (error < 0 || pPacket->stream_index == m_pStream->index)
        {
            // A file that ends before its index says so is no clean end either.
            return error == AVERROR_EOF && m_pFile->pb && m_pFile->pb->error < 0 ? m_pFile->pb->error : error;
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
