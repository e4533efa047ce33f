#include "replay/Session.h"

#include "common/PropertyNames.h"
#include "common/PropertyReader.h"
#include "replay/HostHelpers.h"
#include "replay/input/Describe.h"
#include "replay/input/StreamDetails.h"
#include "replay/Text.h"
#include "replay/WriteTest.h"

#include <algorithm>
#include <limits>

namespace
{

constexpr const wchar_t* c_moduleFile = L"pyx-component-ring-buffer64.dll";
constexpr const wchar_t* c_componentId = L"RingBuffer"; // the module has one component and takes any name

/// The most that "Duration" takes, 68 years: longer than anything that is kept.
constexpr pyx_int64 c_mostSeconds = std::numeric_limits<pyx_int32>::max();

/// A packet that lies this far after a kept group's start is cut by every
/// write-out.
constexpr pyx_int64 c_beyondEveryClip = c_mostSeconds * PYX_TICKS_PER_SECOND;

/// The content of packets that are there to be cut. An empty one could not be
/// read back from a file.
constexpr pyx_uint8 c_oneByte[] = {0};

} // namespace

Outcome Session::Open(const Options& options, const std::wstring& scratch, const MediaReader& video,
                      const MediaReader* pAudio)
{
    m_scratch = scratch;
    m_ram = options.ram;
    m_exact = options.exact;
    m_asked = options.duration;
    m_pVideoCodec = &video.Codec();
    m_spContext = HostContext::Create();
    if (!m_spContext)
    {
        return OutOfMemory();
    }
    RETURN_ON_FAILURE(m_module.Load(c_moduleFile));
    RETURN_ON_FAILURE(m_module.Create(m_spContext.Get(), c_componentId, &m_spComponent));
    RETURN_ON_FAILURE(SetUp());
    RETURN_ON_FAILURE(FindInput(PYX_STREAM_TYPE_VIDEO, &m_spVideo));
    RETURN_ON_FAILURE(DescribeVideo(m_spVideo.Get(), video));
    RETURN_ON_FAILURE(SetClipDetails(m_spComponent.Get(), video, options.faststart));
    if (!pAudio)
    {
        return {};
    }
    RETURN_ON_FAILURE(SetAll(m_spComponent.Get(), {{PYX_PROPERTY_ENABLE_AUDIO, PYXVariantFromBool(true)}}));
    RETURN_ON_FAILURE(FindInput(PYX_STREAM_TYPE_AUDIO, &m_spAudio));
    return DescribeAudio(m_spAudio.Get(), *pAudio);
}

Outcome Session::SetUp()
{
    // "TempPath" comes second: setting it re-initialises the component, for the storage chosen by then. It is needed in
    // memory mode too, because a component without a temporary directory writes no clip when it is terminated.
    RETURN_ON_FAILURE(
        SetAll(m_spComponent.Get(), {
                                        {PYX_PROPERTY_BUFFER_IN_RAM_ENABLED, PYXVariantFromBool(m_ram)},
                                        {PYX_PROPERTY_TEMP_PATH, PYXVariantBorrowWString(m_scratch.c_str())},
                                    }));
    RETURN_ON_FAILURE(KeepSeconds(m_asked));
    if (const PYX_RESULT result = m_spComponent->Init(0, 0, 0); result != PYX_OK)
    {
        return {ExitCode::Failed, "the component could not be initialised: " + ReasonOf(result)};
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

/// Setting it drops the groups that are too old by then.
Outcome Session::KeepSeconds(pyx_int64 seconds)
{
    if (seconds == m_seconds)
    {
        return {};
    }
    m_seconds = seconds;
    return SetAll(m_spComponent.Get(), {{PYX_PROPERTY_DURATION, PYXVariantFromInt64(seconds)}});
}

Outcome Session::Submit(const MediaPacket& packet)
{
    if (packet.video && packet.key)
    {
        RETURN_ON_FAILURE(PrepareGroup(packet));
    }
    const PYX_RESULT result = packet.video ? SubmitVideo(packet.Bytes(), packet.pts, packet.duration, packet.key)
                                           : SubmitAudio(packet.Bytes(), packet.pts, packet.duration);
    if (!packet.video && !m_ram && result == PYX_FILE_NOT_OPEN)
    {
        ++m_intake.lateAudio; // that packet is lost, the session goes on
        return {};
    }
    RETURN_ON_FAILURE(Stored(result));
    Note(packet);
    if (m_pObserver)
    {
        m_pObserver->OnSubmitted({packet.video, packet.key, packet.pts, packet.duration, packet.Bytes().size(), m_taken,
                                  m_groups.All().empty() ? 0 : m_groups.All().front().start,
                                  packet.key ? m_groups.Bytes() : 0});
    }
    return {};
}

Outcome Session::Stored(PYX_RESULT result) const
{
    if (result == PYX_OK)
    {
        return {};
    }
    const std::string why = m_ram ? "" : WhyUnwritable(m_scratch, 0);
    const std::string text = "a packet could not be stored";
    return why.empty() ? Outcome(ExitCode::Failed, text + ": " + ReasonOf(result))
                       : Outcome(ExitCode::CannotWrite, text + " in " + PathForUser(m_scratch) + ": " + why);
}

PYX_RESULT Session::SubmitTimed(PYXInput* pInput, PYXBuffer* pBuffer)
{
    const auto start = std::chrono::steady_clock::now();
    const PYX_RESULT result = pInput->SubmitInput(pBuffer);
    m_taken = std::chrono::steady_clock::now() - start;
    return result;
}

PYX_RESULT Session::SubmitVideo(std::span<const pyx_uint8> bytes, pyx_int64 pts, pyx_int64 duration, bool key)
{
    const PYXInterfacePtr<HostBuffer> spBuffer = MakeBuffer(bytes);
    if (!spBuffer)
    {
        return PYX_OUT_OF_MEMORY;
    }
    spBuffer->SetPts(pts);
    spBuffer->SetDuration(duration);
    static_cast<void>(spBuffer->SetProperty(m_pVideoCodec->frameTypeName,
                                            PYXVariantFromInt64(key ? 0 : m_pVideoCodec->regularFrameType)));
    return SubmitTimed(m_spVideo.Get(), spBuffer.Get());
}

PYX_RESULT Session::SubmitAudio(std::span<const pyx_uint8> bytes, pyx_int64 pts, pyx_int64 duration)
{
    const PYXInterfacePtr<HostBuffer> spBuffer = MakeBuffer(bytes);
    if (!spBuffer)
    {
        return PYX_OUT_OF_MEMORY;
    }
    spBuffer->SetPts(pts);
    spBuffer->SetDuration(duration);
    return SubmitTimed(m_spAudio.Get(), spBuffer.Get());
}

/// Before a start packet, which closes the group before it and trims.
Outcome Session::PrepareGroup(const MediaPacket& packet)
{
    if (!m_groups.All().empty())
    {
        RETURN_ON_FAILURE(FillSilentGroup(m_groups.All().back().start + c_beyondEveryClip));
    }
    return m_exact ? Outcome() : KeepSeconds(m_groups.SecondsNeeded(m_asked, packet.pts, packet.duration));
}

/// In file mode the write-out opens both files of every group, and a group that
/// got no audio has no audio file. So one without audio is given a packet of one
/// byte, at a time that every write-out cuts.
Outcome Session::FillSilentGroup(pyx_int64 pts)
{
    const bool needed = !m_ram && m_spAudio && !m_groups.All().back().hasAudio;
    return needed ? Stored(SubmitAudio(c_oneByte, pts, 0)) : Outcome();
}

void Session::Note(const MediaPacket& packet)
{
    m_intake.bytes += packet.Bytes().size();
    if (!packet.video)
    {
        ++m_intake.audioPackets;
        m_groups.AddAudio(packet.pts);
        m_groups.AddBytes(packet.Bytes().size());
        return;
    }
    ++m_intake.videoPackets;
    if (!packet.key)
    {
        m_groups.AddPicture(packet.pts, packet.duration);
        m_groups.AddBytes(packet.Bytes().size());
        return;
    }
    ++m_intake.groups;
    m_groups.Start(packet.pts, packet.duration);
    m_groups.AddBytes(packet.Bytes().size());
    m_groups.Trim(m_seconds);
}

Outcome Session::Close(const std::wstring& output, Saved* pSaved)
{
    m_output = output;
    RETURN_ON_FAILURE(SetAll(m_spComponent.Get(), {{PYX_PROPERTY_PATH, PYXVariantBorrowWString(m_output.c_str())}}));
    if (const Outcome prepared = m_groups.All().empty() ? Outcome() : Prepare(pSaved); !prepared.IsOk())
    {
        pSaved->warnings.push_back(prepared.Text()); // it may be written all the same
    }
    // The end of a stream is answered with PYX_EOF, which is a success.
    static_cast<void>(m_spVideo->SubmitInput(nullptr));
    if (m_spAudio)
    {
        static_cast<void>(m_spAudio->SubmitInput(nullptr));
    }
    return {};
}

/// Makes what is kept fit to be written.
Outcome Session::Prepare(Saved* pSaved)
{
    RETURN_ON_FAILURE(m_exact ? Outcome() : KeepSeconds(c_mostSeconds)); // nothing is trimmed, nothing is cut
    Describe(pSaved);
    if (m_spAudio && !pSaved->stretch.hasAudio)
    {
        RETURN_ON_FAILURE(LeaveAudioOut());
    }
    RETURN_ON_FAILURE(FillSilentGroup(m_groups.All().back().start + c_beyondEveryClip));
    return m_groups.All().size() == 1 ? CloseOnlyGroup() : Outcome();
}

/// What will be written. Audio that no kept group has is no audio of the clip.
void Session::Describe(Saved* pSaved) const
{
    const std::deque<KeptGroup>& groups = m_groups.All();
    SavedStretch& stretch = pSaved->stretch;
    stretch.groups.assign(groups.begin(), groups.end());
    stretch.from = groups.front().start;
    stretch.newest = m_groups.End();
    stretch.exact = m_exact;
    stretch.to = m_exact ? std::min(stretch.newest, stretch.from + m_asked * PYX_TICKS_PER_SECOND) : stretch.newest;
    const auto silent = std::count_if(groups.begin(), groups.end(), [](const KeptGroup& g) { return !g.hasAudio; });
    stretch.hasAudio = static_cast<std::size_t>(silent) < groups.size();
    if (m_spAudio && !stretch.hasAudio)
    {
        pSaved->warnings.emplace_back("the input has no audio in the stretch that was kept, so the clip has none");
    }
    else if (m_spAudio && silent > 0)
    {
        pSaved->warnings.push_back(std::to_string(silent) + " of the " + std::to_string(groups.size()) +
                                   " kept groups of pictures have no audio");
    }
}

/// A group is complete when the next one starts, and only then the component
/// writes. When there is one group alone, it is closed with a start packet whose
/// time is exactly `Duration` after the group's: early enough that nothing is
/// trimmed, late enough that it is cut itself.
Outcome Session::CloseOnlyGroup()
{
    const pyx_int64 pts = m_groups.All().front().start + m_seconds * PYX_TICKS_PER_SECOND;
    RETURN_ON_FAILURE(Stored(SubmitVideo(c_oneByte, pts, 0, true)));
    m_groups.Start(pts, 0);
    return FillSilentGroup(pts);
}

/// The muxer loses its audio input; the cache stays, and what it holds of audio
/// is not written.
Outcome Session::LeaveAudioOut()
{
    m_spAudio.Reset();
    return SetAll(m_spComponent.Get(), {{PYX_PROPERTY_ENABLE_AUDIO, PYXVariantFromBool(false)}});
}

Outcome Session::Write(Saved* pSaved)
{
    PYX_RESULT result = m_spComponent->Terminate();
    // In file mode it may be an audio file that cannot be read. After a failure the cache is still there.
    if (result != PYX_OK && m_spAudio && !m_ram && LeaveAudioOut().IsOk() && m_spComponent->Terminate() == PYX_OK)
    {
        const std::string why = WhyNotWritten(result);
        pSaved->warnings.push_back("the clip could not be written with its audio and has none (" + why +
                                   "); --ram keeps packets where no file can be missing");
        pSaved->stretch.hasAudio = false;
        result = PYX_OK;
    }
    if (result == PYX_OK)
    {
        return KeepSeconds(m_asked); // after the write-out: before it, that would trim
    }
    // A component keeps its packets when writing fails, and would write again when it goes. Initialising drops them.
    static_cast<void>(m_spComponent->Init(0, 0, 0));
    static_cast<void>(m_spComponent->Terminate());
    return {ExitCode::CannotWrite,
            "the clip could not be written to " + PathForUser(m_output) + ": " + WhyNotWritten(result)};
}

std::string Session::WhyNotWritten(PYX_RESULT result) const
{
    // The muxer has taken its unfinished file away again, so the room that it lacked is compared with what it had to
    // write.
    const std::string why = WhyUnwritable(DirectoryOf(m_output), m_groups.Bytes());
    return why.empty() ? ReasonOf(result) : why;
}
