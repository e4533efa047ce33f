#include "replay/input/MediaInput.h"

#include "recorder/Reasons.h"
#include "replay/Control.h"
#include "replay/Text.h"

#include <set>
#include <span>
#include <utility>

namespace
{

/// Of a pipe about a second of pictures or audio; of a file more than any sound interleaving.
constexpr std::size_t c_mostWaiting = 1024;
constexpr std::size_t c_mostWaitingOfPipe = 64;

/// The one that is flagged as default, else the first, else null; or the one of that number, counted from 1.
AVStream* FindStream(const AVFormatContext& file, AVMediaType kind, int number, int* pCount)
{
    const auto isDefault = [](const AVStream* p) { return (p->disposition & AV_DISPOSITION_DEFAULT) != 0; };
    AVStream* pFound = nullptr;
    *pCount = 0;
    for (AVStream* pStream : std::span(file.streams, file.nb_streams))
    {
        if (pStream->codecpar->codec_type != kind || (pStream->disposition & AV_DISPOSITION_ATTACHED_PIC))
        {
            continue;
        }
        ++*pCount;
        if (number > 0 ? *pCount == number : !pFound || (isDefault(pStream) && !isDefault(pFound)))
        {
            pFound = pStream;
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

} // namespace

Outcome MediaInput::Open(const std::wstring& path, int audio)
{
    Outcome opened = m_demuxer.Open(path);
    const std::size_t mostWaiting = m_demuxer.IsPipe() ? c_mostWaitingOfPipe : c_mostWaiting;
    opened = opened.IsOk() ? Choose(audio) : opened;
    opened = opened.IsOk() ? ReadFirst(mostWaiting) : opened;
    if (!opened.IsOk())
    {
        opened.text = "cannot read " + PathForUser(path) + ": " + opened.text;
        return opened;
    }
    NameLeftOut();
    m_pOrder = std::make_unique<LiveOrder>(m_pAudio != nullptr, mostWaiting);
    return {};
}

Outcome MediaInput::Choose(int audio)
{
    AVFormatContext& file = m_demuxer.File();
    int count = 0;
    AVStream* pVideo = FindStream(file, AVMEDIA_TYPE_VIDEO, 0, &count);
    if (!pVideo || !FindCodec(&CodecRow::id, pVideo->codecpar->codec_id))
    {
        return {ExitCode::BadInput, pVideo ? "its video is " + OnlyCodecs(*pVideo) : "it has no video"};
    }
    m_pVideo = std::make_unique<MediaReader>(&file, m_demuxer.Choose(pVideo));
    AVStream* pAudio = audio == c_noAudio ? nullptr : FindStream(file, AVMEDIA_TYPE_AUDIO, audio, &count);
    if (audio > count)
    {
        return {ExitCode::BadUsage,
                "it has no audio track " + std::to_string(audio) + ", it has " + std::to_string(count)};
    }
    if (pAudio && FindCodec(&CodecRow::id, pAudio->codecpar->codec_id))
    {
        m_pAudio = std::make_unique<MediaReader>(&file, m_demuxer.Choose(pAudio));
    }
    else if (pAudio)
    {
        m_warnings.push_back("the audio is left out: it is " + OnlyCodecs(*pAudio));
    }
    return {};
}

/// Reads the first packet of video, and that of audio if it is near: some files carry a codec's set-up only there.
Outcome MediaInput::ReadFirst(std::size_t mostWaiting)
{
    PYX_RETURN_IF_FAILED(m_pVideo->Begin());
    PYX_RETURN_IF_FAILED(m_pAudio ? m_pAudio->Begin() : Outcome());
    const AVCodecParameters* pAudio = m_pAudio ? &m_pAudio->Parameters() : nullptr;
    // A rate without a set-up is that of a packet which the demuxer has, and which brings the set-up.
    const bool isRead = pAudio && pAudio->sample_rate > 0 && pAudio->extradata_size == 0;
    const std::size_t most = isRead ? c_mostWaiting : mostWaiting;
    while (!m_hasEnded && (!m_pVideo->HasBegun() || (pAudio && !m_pAudio->HasBegun() && m_pVideo->Waiting() < most)))
    {
        Read();
    }
    if (!m_pVideo->HasBegun())
    {
        const std::string kinds =
            std::string("; it is ") + m_demuxer.File().iformat->long_name + ", and a pipe can be Matroska or MPEG-TS";
        return {ExitCode::BadInput,
                m_brokenText.empty() ? "it has no video" : m_brokenText + (m_demuxer.IsPipe() ? kinds : "")};
    }
    if (m_pVideo->Parameters().width <= 0)
    {
        return {ExitCode::BadInput, "the beginning of the input does not tell the size of its pictures"};
    }
    if (m_pAudio && m_hasEnded && !m_pAudio->HasBegun())
    {
        m_pAudio.reset();
    }
    if (m_pAudio && (pAudio->ch_layout.nb_channels <= 0 || pAudio->sample_rate <= 0 || pAudio->extradata_size == 0))
    {
        m_warnings.emplace_back("the audio is left out: the beginning of the input does not describe it");
        m_pAudio.reset();
    }
    return {};
}

/// Warns of what the file has and no clip will have: "subtitles, chapters".
void MediaInput::NameLeftOut()
{
    const AVFormatContext& file = m_demuxer.File();
    std::set<std::string> names; // each once; "" for what needs no warning
    for (const AVStream* pStream : std::span(file.streams, file.nb_streams))
    {
        const bool isKept = pStream == m_pVideo->Stream() || (m_pAudio && pStream == m_pAudio->Stream());
        const AVMediaType kind = isKept ? AVMEDIA_TYPE_UNKNOWN : pStream->codecpar->codec_type;
        const bool isCover = (pStream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        names.insert(kind == AVMEDIA_TYPE_SUBTITLE            ? "subtitles"
                     : kind == AVMEDIA_TYPE_AUDIO && m_pAudio ? "other audio tracks"
                     : kind != AVMEDIA_TYPE_VIDEO             ? ""
                     : isCover                                ? "a cover"
                                                              : "another video stream");
        names.insert(av_dict_get(pStream->metadata, "timecode", nullptr, 0) ? "the timecode" : "");
    }
    names.insert(file.nb_chapters > 0 ? "chapters" : "");
    names.erase("");
    std::string list;
    for (const std::string& name : names)
    {
        list += (list.empty() ? "" : ", ") + name;
    }
    if (!list.empty())
    {
        m_warnings.push_back("the clip will not have all of the input, which also has: " + list);
    }
}

bool MediaInput::Next(MediaPacket* pPacket)
{
    while (!m_pOrder->Take(pPacket))
    {
        MediaPacket packet;
        if (m_pVideo->Take(&packet) || (m_pAudio && m_pAudio->Take(&packet)))
        {
            m_pOrder->Add(std::move(packet));
        }
        else if (m_hasEnded)
        {
            m_pOrder->End();
            return m_pOrder->Take(pPacket);
        }
        else
        {
            Read();
        }
    }
    return true;
}

/// Reads one packet. Damage that belongs to no stream counts as the video's.
void MediaInput::Read()
{
    const PacketPtr pPacket(av_packet_alloc());
    const int error = pPacket ? m_demuxer.Read(pPacket.get()) : AVERROR(ENOMEM);
    bool goesOn = false;
    if (error >= 0)
    {
        MediaReader* pReader = pPacket->stream_index == m_pVideo->Stream()->index ? m_pVideo.get() : m_pAudio.get();
        goesOn = !pReader || pReader->Add(pPacket.get());
    }
    else if (error != AVERROR_EOF)
    {
        goesOn = m_pVideo->AddDamage(FFmpegErrorText(error)) && error == AVERROR_INVALIDDATA;
    }
    if (goesOn)
    {
        return;
    }
    m_hasEnded = true;
    for (MediaReader* pReader : {m_pVideo.get(), m_pAudio.get()})
    {
        if (pReader)
        {
            pReader->Add(nullptr);
            m_brokenText = m_brokenText.empty() ? pReader->Trouble() : m_brokenText;
        }
    }
}

pyx_int64 MediaInput::FileDuration() const
{
    const AVFormatContext& file = m_demuxer.File();
    return file.duration > 0 ? ToTicks(file.duration, {1, AV_TIME_BASE}) : 0;
}

/// The earliest time at which the last packet can end, by the file's own account; INT64_MIN: not known reliably.
pyx_int64 MediaInput::AnnouncedEnd() const
{
    const AVFormatContext& file = m_demuxer.File();
    const bool guessed = file.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
    const bool readsAll = file.nb_streams == (m_pAudio ? 2 : 1);
    // What writes into a pipe begins with a length that it can only estimate.
    if (file.duration <= 0 || file.start_time == AV_NOPTS_VALUE || guessed || !readsAll || m_demuxer.IsPipe() ||
        m_demuxer.HasJoints())
    {
        return INT64_MIN;
    }
    // A length in a header can be counted from zero as well as from the start; only one that was found in the packets
    // is certain.
    const bool fromStart = file.duration_estimation_method == AVFMT_DURATION_FROM_PTS;
    return ToTicks(file.duration + (fromStart ? file.start_time : 0), {1, AV_TIME_BASE});
}

std::string MediaInput::WhyBroken() const
{
    // Some containers do not notice that they are cut off.
    constexpr pyx_int64 tolerance = 2 * PYX_TICKS_PER_SECOND;
    const bool isShort = !IsInterrupted() && AnnouncedEnd() > m_pOrder->LastEnd() + tolerance;
    return m_brokenText.empty() && isShort ? "it should be " + FormatTime(FileDuration()) + " long" : m_brokenText;
}

std::vector<std::string> MediaInput::Losses() const
{
    std::vector<std::string> losses;
    if (const unsigned damages = m_pVideo->Damages() + (m_pAudio ? m_pAudio->Damages() : 0); damages > 0)
    {
        losses.push_back("the input is damaged in " + std::to_string(damages) + (damages == 1 ? " place" : " places") +
                         ", reading went on after it");
    }
    if (const pyx_int64 dropped = m_pOrder->DroppedAudio(); m_brokenText.empty() && dropped > PYX_TICKS_PER_SECOND)
    {
        losses.push_back("the last " + FormatSeconds(ToSeconds(dropped), 1) +
                         " s of the audio are left out, because the video ends there");
    }
    return losses;
}
