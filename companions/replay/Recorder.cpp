#include "replay/Recorder.h"

#include "replay/Text.h"

#include <algorithm>
#include <utility>

namespace
{

using Clock = std::chrono::steady_clock;

/// The worker's part: nothing here makes or ends a component.
void WriteClip(Take* pTake)
{
    const Clock::time_point start = Clock::now();
    if (pTake->outcome.IsOk())
    {
        pTake->outcome = pTake->session.Write(&pTake->saved);
    }
    if (pTake->outcome.IsOk())
    {
        pTake->outcome = pTake->clip.IsNew() ? pTake->clip.ReadBack(&pTake->contents)
                                             : Outcome(ExitCode::NothingKept,
                                                       "no group of pictures was kept, so there is no clip: a group "
                                                       "starts with a key picture, and the input has none");
    }
    pTake->secondsTaken = std::chrono::duration<double>(Clock::now() - start).count();
}

} // namespace

Recorder::Recorder(const Options& options, const MediaReader& video, const MediaReader* pAudio,
                   SessionObserver* pObserver, OnFinished onFinished)
    : m_options(options), m_video(video), m_pAudio(pAudio), m_pObserver(pObserver), m_onFinished(std::move(onFinished))
{
}

Outcome Recorder::Open()
{
    return OpenTake(&m_pFeeding);
}

Outcome Recorder::OpenTake(std::unique_ptr<Take>* ppTake) const
{
    auto pTake = std::make_unique<Take>(m_pObserver);
    RETURN_ON_FAILURE(pTake->scratch.Make(m_options.temp));
    RETURN_ON_FAILURE(pTake->session.Open(m_options, pTake->scratch.Path(), m_video, m_pAudio));
    RETURN_ON_FAILURE(pTake->scratch.Check());
    *ppTake = std::move(pTake);
    return {};
}

Outcome Recorder::Submit(MediaPacket packet)
{
    CollectWritten(false);
    if (m_pLeaving && packet.video)
    {
        FeedLeaving(packet);
    }
    const bool takesOver = m_pNext && packet.video && packet.key;
    if (takesOver)
    {
        HandOver();
    }
    RETURN_ON_FAILURE(Feed(m_pFeeding.get(), packet));
    m_intake.bytes += packet.Bytes().size();
    ++(packet.video ? m_intake.videoPackets : m_intake.audioPackets);
    m_intake.groups += packet.video && packet.key ? 1 : 0;
    if (takesOver)
    {
        m_firstOfNext = std::move(packet);
    }
    return {};
}

Outcome Recorder::Feed(Take* pTake, const MediaPacket& packet)
{
    RETURN_ON_FAILURE(pTake->session.Submit(packet));
    std::chrono::nanoseconds& longest = IsSaving() ? m_longestWhileSaving : m_longestOtherwise;
    longest = std::max(longest, pTake->session.LastSubmit());
    return {};
}

Outcome Recorder::Save(const std::wstring& output, bool* pBegun)
{
    *pBegun = false;
    if (m_pNext)
    {
        return {};
    }
    if (!m_pFeeding->session.HoldsPictures())
    {
        return {ExitCode::NothingKept, "nothing is kept yet"};
    }
    m_pFeeding->output = output;
    RETURN_ON_FAILURE(m_pFeeding->clip.Prepare(output, m_options.input));
    RETURN_ON_FAILURE(OpenTake(&m_pNext));
    *pBegun = true;
    return {};
}

void Recorder::HandOver()
{
    if (m_pLeaving)
    {
        Release(std::move(m_pLeaving));
    }
    m_pLeaving = std::exchange(m_pFeeding, std::move(m_pNext));
}

/// Pictures that are shown before their group's key picture are decoded with the
/// help of the group before it, which only the session that leaves has.
void Recorder::FeedLeaving(const MediaPacket& packet)
{
    Outcome outcome;
    if (packet.pts >= m_firstOfNext.pts)
    {
        Release(std::move(m_pLeaving));
        return;
    }
    if (std::exchange(m_firstOfNext.key, false))
    {
        outcome = Feed(m_pLeaving.get(), m_firstOfNext);
    }
    if (outcome.IsOk())
    {
        outcome = Feed(m_pLeaving.get(), packet);
    }
    if (!outcome.IsOk())
    {
        m_pLeaving->saved.warnings.push_back(outcome.Text());
        Release(std::move(m_pLeaving));
    }
}

void Recorder::Finish(const std::wstring& output)
{
    if (m_pLeaving)
    {
        Release(std::move(m_pLeaving));
    }
    if (!std::exchange(m_pNext, nullptr))
    {
        m_pFeeding->output = output;
        m_pFeeding->outcome = m_pFeeding->clip.Prepare(output, m_options.input);
    }
    Release(std::move(m_pFeeding));
    while (m_pWriting)
    {
        CollectWritten(true);
    }
}

/// Gives a session that gets no more packets to the worker.
void Recorder::Release(std::unique_ptr<Take> pTake)
{
    m_intake.lateAudio += pTake->session.TakenIn().lateAudio;
    if (pTake->outcome.IsOk())
    {
        pTake->outcome = pTake->session.Close(pTake->output, &pTake->saved);
    }
    m_toWrite.push_back(std::move(pTake));
    WriteNext();
}

void Recorder::WriteNext()
{
    if (!m_pWriting && !m_toWrite.empty())
    {
        m_pWriting = std::move(m_toWrite.front());
        m_toWrite.pop_front();
        m_written = std::async(std::launch::async, WriteClip, m_pWriting.get());
    }
}

/// Components are made and ended by one thread, so a take ends here and not
/// where it was written.
void Recorder::CollectWritten(bool wait)
{
    if (!m_pWriting || (!wait && m_written.wait_for(std::chrono::seconds(0)) != std::future_status::ready))
    {
        return;
    }
    m_written.get();
    const std::unique_ptr<Take> pTake = std::move(m_pWriting);
    WriteNext();
    m_onFinished(pTake.get());
}

bool Recorder::IsSaving() const
{
    return m_pNext || m_pLeaving || m_pWriting;
}
