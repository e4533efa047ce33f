#include "replay/Session.h"

#include "common/PropertyReader.h"
#include "common/StreamProperties.h"
#include "host/HostBuffer.h"
#include "replay/StreamDetails.h"
#include "replay/Text.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr const wchar_t* c_moduleFile = L"pyx-component-ring-buffer64.dll";
constexpr const wchar_t* c_muxerFile = L"pyx-component-ffmpeg64.dll";
constexpr const wchar_t* c_componentId = L"RingBuffer"; // the module has one component and takes any name

struct NamedValue
{
    const wchar_t* name;
    PYXVariant value;
};

/// Sets values in the order given and stops at the first refusal.
Outcome SetAll(PYXPropertyStorage* pStorage, std::initializer_list<NamedValue> values)
{
    for (const NamedValue& named : values)
    {
        const PYX_RESULT result = pStorage->SetProperty(named.name, named.value);
        if (result == PYX_NOT_INITIALIZED) // a component is made even when its own companion could not be loaded
        {
            return {ExitCode::Failed, "the component has no muxer: is " + ToUtf8(c_muxerFile) + " beside the program?"};
        }
        if (result != PYX_OK)
        {
            return {ExitCode::Failed,
                    "property " + ToUtf8(named.name) + " was refused (result " + std::to_string(result) + ")"};
        }
    }
    return {};
}

Outcome OutOfMemory()
{
    return {ExitCode::Failed, "out of memory"};
}

PYXInterfacePtr<HostBuffer> MakeBuffer(std::span<const pyx_uint8> bytes)
{
    PYXInterfacePtr<HostBuffer> spBuffer = HostBuffer::Create(bytes.size());
    if (spBuffer && !bytes.empty())
    {
        std::memcpy(spBuffer->GetNative(), bytes.data(), bytes.size());
    }
    return spBuffer;
}

/// Values of which a file may know nothing: then the property's default stays.
Outcome SetIfKnown(PYXInput* pInput, const wchar_t* name, pyx_int64 value)
{
    return value > 0 ? SetAll(pInput, {{name, PYXVariantFromInt64(value)}}) : Outcome();
}

/// A codec's set-up data as the encoder gives it.
std::span<const pyx_uint8> ExtraData(const AVCodecParameters& parameters)
{
    const std::span<const pyx_uint8> data(parameters.extradata, static_cast<std::size_t>(parameters.extradata_size));
    // Containers put four bytes of their own before AV1's sequence header; the first of them has the top bit set.
    const bool av1Box = parameters.codec_id == AV_CODEC_ID_AV1 && data.size() > 4 && (data[0] & 0x80) != 0;
    return av1Box ? data.subspan(4) : data;
}

Outcome SetExtraData(PYXInput* pInput, const AVCodecParameters& parameters)
{
    const std::span<const pyx_uint8> data = ExtraData(parameters);
    if (data.empty())
    {
        return {};
    }
    const PYXInterfacePtr<HostBuffer> spData = MakeBuffer(data);
    return spData ? SetAll(pInput, {{PYX_PROPERTY_EXTRA_DATA, PYXVariantBorrowInterface(spData.Get())}})
                  : OutOfMemory();
}

pyx_int64 VideoCodecId(const CodecRow& codec, const AVCodecParameters& parameters)
{
    const bool main10 = codec.id == AV_CODEC_ID_HEVC && parameters.profile == FF_PROFILE_HEVC_MAIN_10;
    return main10 ? PYX_VIDEO_CODEC_HEVC_MAIN10 : codec.componentId;
}

} // namespace

Outcome Session::Open(const Options& options, const std::wstring& scratch, const MediaReader& video,
                      const MediaReader* pAudio)
{
    m_spContext = HostContext::Create();
    if (!m_spContext)
    {
        return OutOfMemory();
    }
    RETURN_ON_FAILURE(m_module.Load(c_moduleFile));
    RETURN_ON_FAILURE(m_module.Create(m_spContext.Get(), c_componentId, &m_spComponent));
    RETURN_ON_FAILURE(SetUp(options, scratch, pAudio != nullptr));
    RETURN_ON_FAILURE(FindInput(PYX_STREAM_TYPE_VIDEO, &m_spVideo));
    RETURN_ON_FAILURE(DescribeVideo(video));
    RETURN_ON_FAILURE(SetClipDetails(m_spComponent.Get(), video, options.faststart));
    if (pAudio)
    {
        RETURN_ON_FAILURE(FindInput(PYX_STREAM_TYPE_AUDIO, &m_spAudio));
        RETURN_ON_FAILURE(DescribeAudio(*pAudio));
    }
    return {};
}

Outcome Session::SetUp(const Options& options, const std::wstring& scratch, bool hasSound)
{
    m_ram = options.ram;
    m_outputForUser = PathForUser(options.output);
    m_durationTicks = options.duration * PYX_TICKS_PER_SECOND;
    // "TempPath" comes second: setting it re-initialises the component, for the storage chosen by then. It is needed in
    // memory mode too, because a component without a temporary directory writes no clip when it is terminated.
    RETURN_ON_FAILURE(SetAll(m_spComponent.Get(), {
                                                      {L"BufferInRamEnabled", PYXVariantFromBool(options.ram)},
                                                      {L"TempPath", PYXVariantBorrowWString(scratch.c_str())},
                                                      {L"Duration", PYXVariantFromInt64(options.duration)},
                                                      {L"Path", PYXVariantBorrowWString(options.output.c_str())},
                                                      {L"EnableAudio", PYXVariantFromBool(hasSound)},
                                                  }));
    if (const PYX_RESULT result = m_spComponent->Init(0, 0, 0); result != PYX_OK)
    {
        return {ExitCode::Failed, "the component could not be initialised (result " + std::to_string(result) + ")"};
    }
    return {};
}

// By its type, not by its place: switching a stream off and on again changes the places.
Outcome Session::FindInput(pyx_int64 streamType, PYXInterfacePtr<PYXInput>* pspInput)
{
    for (pyx_int32 i = 0; i < m_spComponent->GetInputCount(); ++i)
    {
        pyx_int64 type = 0;
        if (m_spComponent->GetInput(i, pspInput->Out()) == PYX_OK &&
            PYXReadProperty(pspInput->Get(), PYX_PROPERTY_STREAM_TYPE, &type) == PYX_OK && type == streamType)
        {
            return {};
        }
    }
    return {ExitCode::Failed, "the component has no input of stream type " + std::to_string(streamType)};
}

Outcome Session::DescribeVideo(const MediaReader& video)
{
    m_pVideoCodec = &video.Codec();
    const AVCodecParameters& parameters = video.Parameters();
    RETURN_ON_FAILURE(SetAll(
        m_spVideo.Get(), {
                             {PYX_PROPERTY_CODEC_ID, PYXVariantFromInt64(VideoCodecId(video.Codec(), parameters))},
                             {PYX_PROPERTY_VIDEO_FRAME_SIZE, PYXVariantFromSize(parameters.width, parameters.height)},
                         }));
    if (const AVRational rate = video.FrameRate(); rate.num > 0 && rate.den > 0)
    {
        const PYXVariant value =
            PYXVariantFromRate(static_cast<pyx_uint32>(rate.num), static_cast<pyx_uint32>(rate.den));
        RETURN_ON_FAILURE(SetAll(m_spVideo.Get(), {{PYX_PROPERTY_VIDEO_FRAME_RATE, value}}));
    }
    RETURN_ON_FAILURE(SetIfKnown(m_spVideo.Get(), PYX_PROPERTY_BIT_RATE, parameters.bit_rate));
    RETURN_ON_FAILURE(SetVideoDetails(m_spVideo.Get(), video));
    return SetExtraData(m_spVideo.Get(), parameters);
}

Outcome Session::DescribeAudio(const MediaReader& audio)
{
    const AVCodecParameters& parameters = audio.Parameters();
    const pyx_int64 layout =
        parameters.ch_layout.order == AV_CHANNEL_ORDER_NATIVE ? static_cast<pyx_int64>(parameters.ch_layout.u.mask) : 0;
    const NamedValue values[] = {
        {PYX_PROPERTY_CODEC_ID, PYXVariantFromInt64(parameters.codec_id)},
        {PYX_PROPERTY_AUDIO_SAMPLE_RATE, PYXVariantFromInt64(parameters.sample_rate)},
        {PYX_PROPERTY_AUDIO_CHANNELS, PYXVariantFromInt64(parameters.ch_layout.nb_channels)},
        {PYX_PROPERTY_AUDIO_FORMAT, PYXVariantFromInt64(parameters.format)}, // numbered alike on both sides
        {PYX_PROPERTY_AUDIO_CHANNEL_LAYOUT, PYXVariantFromInt64(layout)},
        {PYX_PROPERTY_AUDIO_BLOCK_ALIGN, PYXVariantFromInt64(parameters.block_align)},
        {PYX_PROPERTY_AUDIO_FRAME_SIZE, PYXVariantFromInt64(parameters.frame_size)},
    };
    for (const NamedValue& named : values)
    {
        RETURN_ON_FAILURE(SetAll(m_spAudio.Get(), {named}));
    }
    RETURN_ON_FAILURE(SetIfKnown(m_spAudio.Get(), PYX_PROPERTY_BIT_RATE, parameters.bit_rate));
    RETURN_ON_FAILURE(SetAudioDetails(m_spAudio.Get(), audio));
    return SetExtraData(m_spAudio.Get(), parameters);
}

Outcome Session::Submit(const MediaPacket& packet)
{
    const PYXInterfacePtr<HostBuffer> spBuffer = MakeBuffer(packet.Bytes());
    if (!spBuffer)
    {
        return OutOfMemory();
    }
    spBuffer->SetPts(packet.pts);
    spBuffer->SetDuration(packet.duration);
    if (packet.video)
    {
        const pyx_int64 kind = packet.key ? 0 : m_pVideoCodec->regularFrameType;
        spBuffer->SetProperty(m_pVideoCodec->frameTypeName, PYXVariantFromInt64(kind));
    }
    const PYX_RESULT result = (packet.video ? m_spVideo : m_spAudio)->SubmitInput(spBuffer.Get());
    if (!packet.video && !m_ram && result == PYX_FILE_NOT_OPEN)
    {
        ++m_intake.lateAudio; // that packet is lost, the session goes on
        return {};
    }
    if (result != PYX_OK)
    {
        const std::string text = "a packet could not be stored (result " + std::to_string(result) + ")";
        return m_ram ? Outcome(ExitCode::Failed, text)
                     : Outcome(ExitCode::CannotWrite, text + ", the temporary directory's disk may be full");
    }
    Note(packet);
    return {};
}

void Session::Note(const MediaPacket& packet)
{
    m_intake.bytes += packet.Bytes().size();
    if (packet.video)
    {
        ++m_intake.videoPackets;
        m_videoEnd = std::max(m_videoEnd, packet.pts + packet.duration);
        if (packet.key)
        {
            ++m_intake.groups;
            m_groups.push_back({packet.pts, false});
        }
        return;
    }
    ++m_intake.audioPackets;
    const auto group = std::find_if(m_groups.rbegin(), m_groups.rend(),
                                    [&packet](const Group& candidate) { return candidate.pts <= packet.pts; });
    if (group != m_groups.rend())
    {
        group->hasSound = true;
    }
}

Outcome Session::Save()
{
    // The end of a stream is answered with PYX_EOF, which is a success.
    m_spVideo->SubmitInput(nullptr);
    if (m_spAudio)
    {
        m_spAudio->SubmitInput(nullptr);
    }
    const PYX_RESULT result = m_spComponent->Terminate();
    if (result == PYX_OK)
    {
        return {};
    }
    // A component keeps its packets when writing fails, and would write again when it goes. Initialising drops them.
    m_spComponent->Init(0, 0, 0);
    m_spComponent->Terminate();
    const std::string text =
        "the clip could not be written to " + m_outputForUser + " (result " + std::to_string(result) + ")";
    if (!m_ram && KeptGroupWithoutSound())
    {
        return {ExitCode::Failed, text + ": in file mode every group of pictures needs sound, and one of those that "
                                         "were kept has none; use --ram"};
    }
    return {ExitCode::CannotWrite, text};
}

bool Session::KeptGroupWithoutSound() const
{
    if (!m_spAudio)
    {
        return false;
    }
    // The oldest group that is kept may start up to its own length before the duration; asking one more does no harm.
    const auto oldest = std::find_if(m_groups.rbegin(), m_groups.rend(),
                                     [this](const Group& group) { return m_videoEnd - group.pts > m_durationTicks; });
    return std::any_of(m_groups.rbegin(), oldest == m_groups.rend() ? oldest : std::next(oldest),
                       [](const Group& group) { return !group.hasSound; });
}
