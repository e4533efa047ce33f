#include "recorder/Session.h"

#include "common/KeyPacket.h"
#include "common/PropertyNames.h"
#include "common/PropertyReader.h"
#include "common/RefCounted.h"
#include "host/HostBuffer.h"
#include "host/HostContext.h"
#include "recorder/Reasons.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <new>
#include <thread>
#include <utility>

namespace
{

using Clock = std::chrono::steady_clock;

/// The content of the packet that closes a group, which the write-out cuts off. An empty one could not be read back
/// from a file.
constexpr pyx_uint8 c_oneByte[] = {0};

struct NamedValue
{
    const wchar_t* name;
    PYXVariant value;
};

PYXStatus Refused(const wchar_t* name, PYX_RESULT result)
{
    // A component is made even when its own companion could not be loaded.
    return {result, result == PYX_NOT_INITIALIZED
                        ? "the component has no muxer: is pyx-component-ffmpeg64.dll beside the program?"
                        : "property " + PYXToUtf8(name) + " was refused: " + PYXReasonOf(result)};
}

PYXStatus OutOfMemory()
{
    return {PYX_OUT_OF_MEMORY, PYXReasonOf(PYX_OUT_OF_MEMORY)};
}

/// Sets values in the order given, but for empty ones, and stops at the first refusal.
PYXStatus SetAll(PYXPropertyStorage* pStorage, std::initializer_list<NamedValue> values)
{
    for (const NamedValue& named : values)
    {
        const bool isEmpty = named.value.type == PYX_VARIANT_EMPTY;
        if (const PYX_RESULT result = isEmpty ? PYX_OK : pStorage->SetProperty(named.name, named.value);
            result != PYX_OK)
        {
            return Refused(named.name, result);
        }
    }
    return {};
}

/// The component returns PYX_NOT_FOUND when it has passed on a property that it does not have itself; so does a muxer
/// that does not have it either. A value that the muxer cannot use does not prevent recording.
PYXStatus OfferAll(PYXPropertyStorage* pStorage, PYXPropertyStorage* pMore)
{
    wchar_t name[256];
    PYXVariantOwner value;
    for (pyx_size i = 0; pMore && pMore->GetPropertyAt(i, name, std::size(name), value.Out()) == PYX_OK; ++i)
    {
        const PYX_RESULT result = pStorage->SetProperty(name, value.Get());
        if (result != PYX_OK && result != PYX_NOT_FOUND && result != PYX_OUT_OF_RANGE && result != PYX_INVALID_ARG)
        {
            return Refused(name, result);
        }
    }
    return {};
}

/// What both kinds of streams have.
template <class Stream> PYXStatus DescribeStream(PYXInput* pInput, const Stream& stream)
{
    const PYXInterfacePtr<HostBuffer> spSetUp = HostBuffer::Create(stream.setUp);
    if (!spSetUp)
    {
        return OutOfMemory();
    }
    const PYXVariant setUp = PYXVariantBorrowInterface(spSetUp.Get());
    PYX_RETURN_IF_FAILED(SetAll(
        pInput, {{PYX_PROPERTY_CODEC_ID, PYXVariantFromInt64(stream.codec)},
                 {PYX_PROPERTY_BIT_RATE, stream.bitRate > 0 ? PYXVariantFromInt64(stream.bitRate) : PYXVariant{}},
                 {PYX_PROPERTY_EXTRA_DATA, stream.setUp.empty() ? PYXVariant{} : setUp}}));
    return OfferAll(pInput, stream.spMore.Get());
}

PYXStatus DescribeVideo(PYXInput* pInput, const PYXVideoStream& video)
{
    const auto [numerator, denominator] = video.rate;
    const bool isKnown = numerator > 0 && denominator > 0;
    PYX_RETURN_IF_FAILED(
        SetAll(pInput,
               {{PYX_PROPERTY_VIDEO_FRAME_SIZE, PYXVariantFromSize(video.size.width, video.size.height)},
                {PYX_PROPERTY_VIDEO_FRAME_RATE, isKnown ? PYXVariantFromRate(numerator, denominator) : PYXVariant{}}}));
    return DescribeStream(pInput, video);
}

PYXStatus DescribeAudio(PYXInput* pInput, const PYXAudioStream& audio)
{
    PYX_RETURN_IF_FAILED(
        SetAll(pInput, {{PYX_PROPERTY_AUDIO_SAMPLE_RATE, PYXVariantFromInt64(audio.sampleRate)},
                        {PYX_PROPERTY_AUDIO_CHANNELS, PYXVariantFromInt64(audio.channels)},
                        {PYX_PROPERTY_AUDIO_CHANNEL_LAYOUT, PYXVariantFromInt64(0)}})); // the usual one
    return DescribeStream(pInput, audio);
}

} // namespace

/// The host's context as one component sees it. A write-out asks for a buffer for each packet that it hands to the
/// muxer: counting these shows how far it is, and refusing one ends it.
class PYXRecorderContext final : public PYXRefCounted<PYXContext>
{
public:
    explicit PYXRecorderContext(PYXInterfacePtr<PYXContext> spHost) : m_spHost(std::move(spHost))
    {
    }

    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override
    {
        const bool isOwn =
            PYXQueryInterface<PYXInterface, PYXContext>(static_cast<PYXContext*>(this), id, out) == PYX_OK;
        return isOwn ? PYX_OK : m_spHost->QueryInterface(id, out);
    }

    PYX_RESULT AllocBuffer(PYX_MEMORY_TYPE type, pyx_size size, PYXBuffer** ppOut) override
    {
        if (m_stopped)
        {
            return PYX_FAIL;
        }
        ++m_count;
        return m_spHost->AllocBuffer(type, size, ppOut);
    }

    PYXInterfacePtr<PYXContext> m_spHost;
    std::atomic<pyx_uint64> m_count{0};
    std::atomic<pyx_uint64> m_countInAll{0};
    std::atomic<bool> m_stopped{false};
};

PYXRecorderSession::PYXRecorderSession(const PYXRecorderSettings& settings, const PYXRecorderModule& module)
    : m_settings(settings), m_module(module)
{
}

PYXRecorderSession::~PYXRecorderSession()
{
    if (m_spComponent && !m_groups.All().empty())
    {
        static_cast<void>(m_spComponent->Init(0, 0, 0)); // else its end would write what it keeps
    }
}

PYXStatus PYXRecorderSession::Open()
{
    PYXInterfacePtr<PYXContext> spHost = m_settings.spContext;
    if (!spHost)
    {
        spHost = PYXInterfacePtr<PYXContext>(HostContext::Create().Get());
    }
    m_spContext = PYXInterfacePtr<PYXRecorderContext>(new (std::nothrow) PYXRecorderContext(spHost));
    if (!spHost || !m_spContext)
    {
        return OutOfMemory();
    }
    PYX_RETURN_IF_FAILED(m_directory.Make(m_settings.folder));
    PYX_RETURN_IF_FAILED(m_module.Create(m_spContext.Get(), &m_spComponent));
    PYX_RETURN_IF_FAILED(SetUp());
    PYX_RETURN_IF_FAILED(m_directory.Check());
    PYX_RETURN_IF_FAILED(OfferAll(m_spComponent.Get(), m_settings.spMore.Get()));
    PYX_RETURN_IF_FAILED(FindInput(PYX_STREAM_TYPE_VIDEO, &m_spVideo));
    PYX_RETURN_IF_FAILED(DescribeVideo(m_spVideo.Get(), m_settings.video));
    if (!m_settings.audio)
    {
        return {};
    }
    PYX_RETURN_IF_FAILED(SetAll(m_spComponent.Get(), {{PYX_PROPERTY_ENABLE_AUDIO, PYXVariantFromBool(true)}}));
    PYX_RETURN_IF_FAILED(FindInput(PYX_STREAM_TYPE_AUDIO, &m_spAudio));
    return DescribeAudio(m_spAudio.Get(), *m_settings.audio);
}

PYXStatus PYXRecorderSession::SetUp()
{
    // "TempPath" comes second: setting it re-initialises the component, for the storage chosen by then. It is needed in
    // memory mode too, because a component without a temporary directory writes no clip when it is terminated.
    PYX_RETURN_IF_FAILED(
        SetAll(m_spComponent.Get(), {{PYX_PROPERTY_BUFFER_IN_RAM_ENABLED, PYXVariantFromBool(m_settings.inMemory)},
                                     {PYX_PROPERTY_TEMP_PATH, PYXVariantBorrowWString(m_directory.Path().c_str())}}));
    PYX_RESULT result = KeepSeconds(m_settings.seconds);
    result = result == PYX_OK ? m_spComponent->Init(0, 0, 0) : result;
    return result == PYX_OK ? PYXStatus()
                            : PYXStatus{result, "the component could not be initialised: " + PYXReasonOf(result)};
}

// By its type, not by its place: switching a stream off and on again changes the places.
PYXStatus PYXRecorderSession::FindInput(pyx_int64 streamType, PYXInterfacePtr<PYXInput>* pspInput)
{
    for (pyx_int32 i = 0; i < m_spComponent->GetInputCount(); ++i)
    {
        if (m_spComponent->GetInput(i, pspInput->Out()) == PYX_OK &&
            PYXReadPropertyOr<pyx_int64>(pspInput->Get(), PYX_PROPERTY_STREAM_TYPE, -1) == streamType)
        {
            return {};
        }
    }
    return {PYX_UNEXPECTED, "the component has no input of stream type " + std::to_string(streamType)};
}

/// Setting it drops the groups that are too old by then.
PYX_RESULT PYXRecorderSession::KeepSeconds(pyx_int64 seconds)
{
    if (seconds == m_seconds)
    {
        return PYX_OK;
    }
    m_seconds = seconds;
    return m_spComponent->SetProperty(PYX_PROPERTY_DURATION, PYXVariantFromInt64(seconds));
}

PYX_RESULT PYXRecorderSession::SubmitVideo(PYXBuffer* pPacket, bool isKey)
{
    const pyx_int64 pts = pPacket->GetPts();
    const pyx_int64 duration = pPacket->GetDuration();
    if (!isKey && m_broken != PYX_OK)
    {
        return m_broken;
    }
    // Before a start packet, which closes the group before it and trims.
    m_broken = isKey ? KeepSeconds(m_settings.exact ? m_settings.seconds
                                                    : m_groups.SecondsNeeded(m_settings.seconds, pts, duration))
                     : PYX_OK;
    if (m_broken == PYX_OK)
    {
        m_broken = m_spVideo->SubmitInput(pPacket);
    }
    PASS_ON_FAILURE_SILENTLY(m_broken);
    if (isKey)
    {
        m_groups.Start(pts, duration, pPacket->GetSize());
        m_groups.Trim(m_seconds);
    }
    else
    {
        m_groups.AddPicture(pts, duration, pPacket->GetSize());
    }
    KeepToBudget();
    return PYX_OK;
}

PYX_RESULT PYXRecorderSession::SubmitAudio(PYXBuffer* pPacket)
{
    const pyx_int64 pts = pPacket->GetPts();
    if (m_broken != PYX_OK || m_groups.All().empty())
    {
        return m_broken; // the component would queue it without end, and a later group would fail over it
    }
    if (pts < m_groups.All().front().start)
    {
        return PYX_FILE_NOT_OPEN; // the component would drop it and say nothing
    }
    PASS_ON_FAILURE_SILENTLY(m_spAudio->SubmitInput(pPacket));
    m_groups.AddAudio(pts, pPacket->GetSize());
    KeepToBudget();
    return PYX_OK;
}

/// The next key picture raises the duration again, as far as the bytes allow it then.
void PYXRecorderSession::KeepToBudget()
{
    const pyx_uint64 budget = m_settings.budget;
    if (budget > 0 && m_groups.Bytes() > budget && m_groups.All().size() > 1)
    {
        static_cast<void>(KeepSeconds(std::min(m_seconds, m_groups.SecondsForBytes(budget))));
        m_groups.Trim(m_seconds);
    }
}

PYXStatus PYXRecorderSession::Write(const std::wstring& path, pyx_int64 seconds, PYXSavedClip* pClip)
{
    const Clock::time_point start = Clock::now();
    if (m_groups.All().empty())
    {
        return {PYX_NOT_FOUND, "no group of pictures was kept, so there is no clip: a group starts with a key picture"};
    }
    PYX_RESULT result = Prepare(std::min(seconds, PYXKeptGroups::c_mostSeconds));
    Describe(pClip);
    PYX_RETURN_IF_FAILED(SetAll(m_spComponent.Get(), {{PYX_PROPERTY_PATH, PYXVariantBorrowWString(path.c_str())}}));
    PYX_RETURN_IF_FAILED(PYXCheckWritable(path, RoomNeeded()));
    result = result == PYX_OK ? Terminate(path, pClip) : result;
    pClip->secondsTaken = std::chrono::duration<double>(Clock::now() - start).count();
    if (result != PYX_OK)
    {
        return WhyNotWritten(path, result);
    }
    m_groups = {};
    std::error_code unknown;
    const std::uintmax_t size = std::filesystem::file_size(path, unknown);
    pClip->bytes = unknown ? 0 : size;
    return {};
}

/// Makes what is kept fit to be written, and drops of it what is not asked for. A second try leaves an exact clip and
/// one group alone as they are: with another "Duration" the component would drop the group that it closed, or not cut
/// off the packet that closes it.
PYX_RESULT PYXRecorderSession::Prepare(pyx_int64 seconds)
{
    if (m_isFinal)
    {
        return PYX_OK;
    }
    if (seconds > 0)
    {
        PASS_ON_FAILURE_SILENTLY(
            KeepSeconds(m_settings.exact ? seconds : m_groups.SecondsNeeded(seconds, m_groups.End(), 0)));
        m_groups.Trim(m_seconds);
    }
    const pyx_int64 exactly = seconds > 0 ? seconds : m_settings.seconds;
    PASS_ON_FAILURE_SILENTLY(KeepSeconds(m_settings.exact ? exactly : PYXKeptGroups::c_mostSeconds)); // nothing is cut
    const auto& groups = m_groups.All();
    if (m_spAudio && std::ranges::none_of(groups, &PYXKeptGroup::hasAudio))
    {
        PASS_ON_FAILURE_SILENTLY(LeaveAudioOut());
    }
    if (groups.size() == 1)
    {
        PASS_ON_FAILURE_SILENTLY(CloseOnlyGroup());
    }
    m_isFinal = groups.size() == 1 || m_settings.exact;
    return PYX_OK;
}

/// A group is complete when the next one starts, and only then the component writes. When there is one group alone, it
/// is closed with a start packet whose time is exactly `Duration` after the group's: early enough that nothing is
/// trimmed, late enough that it is cut itself.
PYX_RESULT PYXRecorderSession::CloseOnlyGroup()
{
    const pyx_int64 pts = m_groups.All().front().start + m_seconds * PYX_TICKS_PER_SECOND;
    const PYXInterfacePtr<HostBuffer> spPacket = HostBuffer::Create(c_oneByte);
    if (!spPacket)
    {
        return PYX_OUT_OF_MEMORY;
    }
    spPacket->SetPts(pts);
    PASS_ON_FAILURE_SILENTLY(PYXMarkVideoPacket(spPacket.Get(), m_settings.video.codec, true));
    return m_spVideo->SubmitInput(spPacket.Get());
}

/// The muxer loses its audio input; the cache stays, and what it holds of audio is not written.
PYX_RESULT PYXRecorderSession::LeaveAudioOut()
{
    PASS_ON_FAILURE_SILENTLY(m_spComponent->SetProperty(PYX_PROPERTY_ENABLE_AUDIO, PYXVariantFromBool(false)));
    m_spAudio.Reset();
    return PYX_OK;
}

void PYXRecorderSession::Describe(PYXSavedClip* pClip) const
{
    const auto& groups = m_groups.All();
    pClip->from = groups.front().start;
    pClip->newest = m_groups.End();
    pClip->to =
        m_settings.exact ? std::min(pClip->newest, pClip->from + m_seconds * PYX_TICKS_PER_SECOND) : pClip->newest;
    pClip->groups = groups.size();
    pClip->packets = m_groups.Packets() - groups.front().leading;
    pClip->hasAudio = m_spAudio.Get() != nullptr;
    // Of the newest group only the first picture may have come.
    const auto silent = std::ranges::count(groups.begin(), groups.end() - 1, false, &PYXKeptGroup::hasAudio);
    if (m_settings.audio && !m_spAudio)
    {
        pClip->warnings.emplace_back("there was no audio in the stretch that was kept, so the clip has none");
    }
    else if (m_settings.audio && silent > 0)
    {
        pClip->warnings.push_back(std::to_string(silent) + " of the " + std::to_string(groups.size()) +
                                  " kept groups of pictures have no audio");
    }
}

/// In file mode the write-out opens both files of every group, and a group that got no audio has no audio file: it gets
/// an empty one. A temporary file that another program reads fails the write-out, which leaves all as it was: it is
/// tried again for a while.
PYX_RESULT PYXRecorderSession::Terminate(const std::wstring& path, PYXSavedClip* pClip)
{
    constexpr auto patience = std::chrono::seconds(2);
    const Clock::time_point end = Clock::now() + patience;
    for (;;)
    {
        if (m_spAudio && !m_settings.inMemory && !m_directory.CompleteAudio())
        {
            PASS_ON_FAILURE_SILENTLY(LeaveAudioOut());
            pClip->hasAudio = false;
            pClip->warnings.emplace_back(
                "no audio file can be made in the temporary directory, so the clip has no audio");
        }
        m_spContext->m_count = 0;
        m_spContext->m_countInAll = m_groups.Packets();
        const PYX_RESULT result = m_spComponent->Terminate();
        if (result != PYX_FAIL || m_settings.inMemory || m_spContext->m_stopped || Clock::now() > end ||
            !PYXWhyUnwritable(PYXDirectoryOf(path), RoomNeeded()).empty())
        {
            return result;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
}

/// A muxer that fails itself deletes its unfinished file. When not all packets could be read, the file stays, and takes
/// some of the room, until the next try.
pyx_uint64 PYXRecorderSession::RoomNeeded() const
{
    const auto [read, all] = Progress();
    return read >= all ? m_groups.Bytes() : 1;
}

PYXStatus PYXRecorderSession::WhyNotWritten(const std::wstring& path, PYX_RESULT result) const
{
    if (m_spContext->m_stopped)
    {
        return {result, "the save was cancelled"};
    }
    if (const std::string why = PYXWhyUnwritable(PYXDirectoryOf(path), RoomNeeded()); !why.empty())
    {
        return {PYX_FILE_NOT_OPEN, why};
    }
    if (result != PYX_FAIL || m_settings.inMemory)
    {
        return {result, PYXReasonOf(result)};
    }
    const std::string full = PYXWhyUnwritable(m_directory.Path(), 1);
    return {result, full.empty() ? "the muxer failed, or a temporary file cannot be read: another program may hold it"
                                 : "no temporary file can be written: " + full};
}

void PYXRecorderSession::Stop()
{
    m_spContext->m_stopped = true;
}

std::pair<pyx_uint64, pyx_uint64> PYXRecorderSession::Progress() const
{
    const pyx_uint64 all = m_spContext->m_countInAll;
    return {all == 0 ? 0 : m_spContext->m_count.load(), all}; // storing asks for buffers too
}
