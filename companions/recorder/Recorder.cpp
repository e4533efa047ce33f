#include "recorder/Recorder.h"

#include "common/KeyPacket.h"
#include "host/HostBuffer.h"
#include "recorder/Reasons.h"
#include "recorder/Session.h"

#include <algorithm>
#include <filesystem>
#include <tuple>
#include <utility>

namespace
{

using Clock = std::chrono::steady_clock;

PYXInterfacePtr<HostBuffer> MakePacket(std::span<const pyx_uint8> bytes, pyx_int64 pts, pyx_int64 duration)
{
    PYXInterfacePtr<HostBuffer> spPacket = HostBuffer::Create(bytes);
    if (spPacket)
    {
        spPacket->SetPts(pts);
        spPacket->SetDuration(duration);
    }
    return spPacket;
}

PYXStatus NotOpen()
{
    return {PYX_NOT_INITIALIZED, "the recorder is not open"};
}

PYX_RESULT Check(PYXBuffer* pPacket)
{
    if (!pPacket)
    {
        return PYX_INVALID_POINTER;
    }
    const auto isPossible = [](pyx_int64 time) {
        return time > -PYXRecorder::c_timeLimit && time < PYXRecorder::c_timeLimit;
    };
    return isPossible(pPacket->GetPts()) && isPossible(pPacket->GetDuration()) ? PYX_OK : PYX_OUT_OF_RANGE;
}

} // namespace

/// One save, from its request to its end.
struct PYXRecorder::Job
{
    PYXSaveRequest request;
    pyx_uint64 id = 0;
    std::unique_ptr<PYXRecorderSession> pSession; // that it writes; null: it has none yet, or there was nothing
    std::unique_ptr<PYXRecorderSession> pNext;    // takes over from that one
    std::vector<std::string> warnings;
    bool cancelled = false;
};

PYXRecorder::PYXRecorder() = default;

PYXStatus PYXRecorder::Open(const PYXRecorderSettings& settings)
{
    if (m_pModule || settings.seconds < 1 || settings.module.empty())
    {
        return {PYX_INVALID_ARG, m_pModule ? "the recorder is open already" : "the settings are not possible"};
    }
    m_settings = settings;
    std::error_code unknown;
    if (settings.folder.empty())
    {
        m_settings.folder = std::filesystem::temp_directory_path(unknown).wstring();
    }
    auto pModule = std::make_unique<PYXRecorderModule>();
    PYX_RETURN_IF_FAILED(pModule->Load(m_settings.module));
    PYX_RETURN_IF_FAILED(PYXPrivateDirectory::Sweep(m_settings.folder));
    auto pSession = std::make_unique<PYXRecorderSession>(m_settings, *pModule);
    PYX_RETURN_IF_FAILED(pSession->Open());
    try
    {
        m_worker = std::thread([this] { Work(); });
    }
    catch (const std::system_error&)
    {
        return {PYX_OUT_OF_MEMORY, "no thread can be started"};
    }
    m_pModule = std::move(pModule);
    m_pFeeding = std::move(pSession);
    return {};
}

PYX_RESULT PYXRecorder::SubmitVideo(std::span<const pyx_uint8> bytes, pyx_int64 pts, pyx_int64 duration, bool isKey)
{
    const PYXInterfacePtr<HostBuffer> spPacket = MakePacket(bytes, pts, duration);
    if (!spPacket)
    {
        return PYX_OUT_OF_MEMORY;
    }
    PASS_ON_FAILURE_SILENTLY(PYXMarkVideoPacket(spPacket.Get(), m_settings.video.codec, isKey));
    return SubmitVideo(spPacket.Get());
}

PYX_RESULT PYXRecorder::SubmitAudio(std::span<const pyx_uint8> bytes, pyx_int64 pts, pyx_int64 duration)
{
    const PYXInterfacePtr<HostBuffer> spPacket = MakePacket(bytes, pts, duration);
    return spPacket ? SubmitAudio(spPacket.Get()) : PYX_OUT_OF_MEMORY;
}

PYX_RESULT PYXRecorder::SubmitVideo(PYXBuffer* pPacket)
{
    bool isKey = false;
    PASS_ON_FAILURE_SILENTLY(Check(pPacket));
    PASS_ON_FAILURE_SILENTLY(PYXReadIsKeyPacket(pPacket, &isKey));
    const pyx_int64 pts = pPacket->GetPts();
    const std::lock_guard lock(m_feedSync);
    if (!m_pFeeding)
    {
        return PYX_NOT_INITIALIZED;
    }
    if (m_pLeaving)
    {
        FeedLeaving(pPacket);
    }
    if (isKey)
    {
        static_cast<void>(FeedHeldAudio(pts));
        HandOver(pPacket);
    }
    const PYX_RESULT result = m_pFeeding->SubmitVideo(pPacket, isKey);
    m_newest = isKey ? pts : std::max(m_newest, pts); // one that is far ahead counts for its group alone
    static_cast<void>(FeedHeldAudio(m_newest + 1));
    return Store(result);
}

/// Audio that leads the pictures is held back, because a picture that comes may begin the next session: then it belongs
/// there. Before the first picture it is held as well, and dropped where no picture can have been meant for it.
PYX_RESULT PYXRecorder::SubmitAudio(PYXBuffer* pPacket)
{
    PASS_ON_FAILURE_SILENTLY(Check(pPacket));
    const pyx_int64 pts = pPacket->GetPts();
    const std::lock_guard lock(m_feedSync);
    if (!m_pFeeding || !m_settings.audio)
    {
        return m_pFeeding ? PYX_INVALID_ARG : PYX_NOT_INITIALIZED;
    }
    if (pts <= m_newest)
    {
        return Store(FeedAudio(pPacket));
    }
    // By time, so that one that is far ahead stops no other.
    const auto place =
        std::ranges::upper_bound(m_heldAudio, pts, {}, [](const auto& spHeld) { return spHeld->GetPts(); });
    m_heldAudio.emplace(place, pPacket);
    return FeedHeldAudio(pts - c_patience);
}

/// The result is the first failure.
PYX_RESULT PYXRecorder::FeedHeldAudio(pyx_int64 before)
{
    PYX_RESULT result = PYX_OK;
    while (!m_heldAudio.empty() && m_heldAudio.front()->GetPts() < before)
    {
        const PYX_RESULT fed = Store(FeedAudio(m_heldAudio.front().Get()));
        result = result == PYX_OK ? fed : result;
        m_heldAudio.pop_front();
    }
    return result;
}

PYX_RESULT PYXRecorder::FeedAudio(PYXBuffer* pPacket)
{
    PYXRecorderSession* pSession = m_pFeeding.get();
    if (m_pLeaving && pPacket->GetPts() < m_spFirst->GetPts())
    {
        pSession = m_pLeaving->pSession.get();
    }
    else if (m_pLeaving)
    {
        m_audioReached = true;
        ReleaseLeavingIfComplete();
    }
    const PYX_RESULT result = pSession->SubmitAudio(pPacket);
    if (result != PYX_FILE_NOT_OPEN)
    {
        return result;
    }
    const std::lock_guard lock(m_sync);
    ++m_look.packetsLate;
    return PYX_OK;
}

/// Keeps what Look() shows, after each packet.
PYX_RESULT PYXRecorder::Store(PYX_RESULT result)
{
    const PYXKeptGroups& groups = m_pFeeding->Groups();
    const std::lock_guard lock(m_sync);
    m_look.from = groups.All().empty() ? 0 : groups.All().front().start;
    m_look.to = groups.All().empty() ? 0 : groups.End();
    m_look.bytes = groups.Bytes();
    m_look.groups = groups.All().size();
    m_look.packetsRefused += result == PYX_OK ? 0 : 1;
    return result;
}

void PYXRecorder::HandOver(PYXBuffer* pKeyPicture)
{
    const std::lock_guard lock(m_sync);
    if (m_asked.empty() || m_pLeaving) // one at a time, or what is late for the first would find no session
    {
        return;
    }
    m_pLeaving = std::move(m_asked.front());
    m_asked.pop_front();
    m_pLeaving->pSession = std::exchange(m_pFeeding, std::move(m_pLeaving->pNext));
    m_spFirst = PYXInterfacePtr<PYXBuffer>(pKeyPicture);
    m_leavingHasFirst = m_pictureReached = false;
    m_audioReached = !m_settings.audio;
    m_leavingUntil = Clock::now() + std::chrono::nanoseconds(c_patience * 100);
    m_wake.notify_one();
}

/// Pictures that are shown before their group's key picture are decoded with the help of the group before it, which
/// only the session that leaves has.
void PYXRecorder::FeedLeaving(PYXBuffer* pPacket)
{
    if (pPacket->GetPts() >= m_spFirst->GetPts())
    {
        m_pictureReached = true;
        m_audioReached = m_audioReached || pPacket->GetPts() >= m_spFirst->GetPts() + c_patience;
        ReleaseLeavingIfComplete();
        return;
    }
    PYXRecorderSession& leaving = *m_pLeaving->pSession;
    const bool hasFirst = std::exchange(m_leavingHasFirst, true);
    PYX_RESULT result = hasFirst ? PYX_OK : leaving.SubmitVideo(m_spFirst.Get(), true);
    result = result == PYX_OK ? leaving.SubmitVideo(pPacket, false) : result;
    if (result != PYX_OK)
    {
        m_pLeaving->warnings.push_back("its last pictures could not be stored: " + PYXReasonOf(result));
        ReleaseLeaving();
    }
}

void PYXRecorder::ReleaseLeavingIfComplete()
{
    if (m_pictureReached && m_audioReached)
    {
        ReleaseLeaving();
    }
}

/// Gives a session that gets no more packets to the worker.
void PYXRecorder::ReleaseLeaving()
{
    if (!m_pLeaving)
    {
        return;
    }
    m_spFirst.Reset();
    const std::lock_guard lock(m_sync);
    m_toWrite.push_back(std::move(m_pLeaving));
    m_leavingUntil.reset();
    m_wake.notify_one();
}

/// The time for late packets is over.
void PYXRecorder::ReleaseOverdue()
{
    const std::lock_guard lock(m_feedSync);
    if (m_leavingUntil && Clock::now() >= *m_leavingUntil)
    {
        ReleaseLeaving();
    }
}

std::string PYXRecorder::Explain(PYX_RESULT result) const
{
    const std::string why = m_settings.inMemory ? "" : PYXWhyUnwritable(m_settings.folder, 1 << 20);
    return why.empty() ? PYXReasonOf(result) : why;
}

PYXStatus PYXRecorder::Save(PYXSaveRequest request, pyx_uint64* pId)
{
    if (const std::lock_guard lock(m_feedSync); !m_pFeeding)
    {
        return NotOpen();
    }
    const PYXRecorderLook look = Look();
    if (look.groups == 0)
    {
        return {PYX_NOT_FOUND, "nothing is kept yet"};
    }
    const bool isPart = request.seconds > 0 && static_cast<double>(request.seconds) < look.Seconds();
    const double share = isPart ? static_cast<double>(request.seconds) / look.Seconds() : 1;
    PYX_RETURN_IF_FAILED(
        PYXCheckWritable(request.path, static_cast<pyx_uint64>(share * static_cast<double>(look.bytes))));
    auto pJob = std::make_unique<Job>();
    pJob->pNext = std::make_unique<PYXRecorderSession>(m_settings, *m_pModule);
    PYX_RETURN_IF_FAILED(pJob->pNext->Open());
    pJob->request = std::move(request);
    const std::lock_guard lock(m_feedSync); // so that End() misses none
    if (!m_pFeeding)
    {
        return NotOpen();
    }
    Accept(&m_asked, std::move(pJob), pId);
    return {};
}

void PYXRecorder::Accept(Jobs* pQueue, JobPtr pJob, pyx_uint64* pId)
{
    const std::lock_guard lock(m_sync);
    pJob->id = ++m_lastId;
    if (pId)
    {
        *pId = pJob->id;
    }
    pQueue->push_back(std::move(pJob));
    ++m_unfinished;
    m_wake.notify_one();
}

PYXStatus PYXRecorder::Cancel(pyx_uint64 id)
{
    const std::lock_guard feedLock(m_feedSync);
    if (m_pLeaving && m_pLeaving->id == id)
    {
        m_pLeaving->cancelled = true; // before the worker can take it
        ReleaseLeaving();
        return {};
    }
    const std::lock_guard lock(m_sync);
    for (Jobs* pQueue : {&m_asked, &m_toWrite})
    {
        const auto found = std::ranges::find(*pQueue, id, &Job::id);
        if (found != pQueue->end() && id != 0) // that is of End()
        {
            (*found)->cancelled = true;
            m_toWrite.splice(m_toWrite.end(), *pQueue, found);
            m_wake.notify_one();
            return {};
        }
    }
    return {PYX_NOT_FOUND, "that save is being written, or finished"};
}

PYXStatus PYXRecorder::Retry(PYXSaveRequest request, pyx_uint64* pId)
{
    PYX_RETURN_IF_FAILED(PYXCheckWritable(request.path, 1)); // the room counts when it is written
    JobPtr pJob;
    {
        const std::lock_guard lock(m_sync);
        pJob = std::move(m_pRemnant);
    }
    if (!pJob)
    {
        return {PYX_NOT_FOUND, "no save has failed"};
    }
    pJob->request = std::move(request);
    pJob->warnings.clear();
    Accept(&m_toWrite, std::move(pJob), pId);
    return {};
}

void PYXRecorder::GiveUp()
{
    JobPtr pRemnant; // deleted after the lock is released
    const std::lock_guard lock(m_sync);
    pRemnant.swap(m_pRemnant);
}

PYXRecorderLook PYXRecorder::Look() const
{
    const std::lock_guard lock(m_sync);
    PYXRecorderLook look = m_look;
    look.savesForPicture = static_cast<unsigned>(m_asked.size());
    look.savesWaiting = static_cast<unsigned>(m_unfinished);
    if (m_pWriting && m_pWriting->pSession)
    {
        look.writing = m_pWriting->id;
        std::tie(look.packetsWritten, look.packetsToWrite) = m_pWriting->pSession->Progress();
    }
    look.bytesForRetry = m_pRemnant ? m_pRemnant->pSession->Groups().Bytes() : 0;
    return look;
}

void PYXRecorder::Wait()
{
    std::unique_lock lock(m_sync);
    m_finished.wait(lock, [this] { return m_unfinished == m_asked.size(); });
}

PYXSavedClip PYXRecorder::End(PYXSaveRequest request)
{
    PYXSavedClip last;
    last.path = request.path;
    auto pLast = std::make_unique<Job>();
    pLast->request = std::move(request);
    pLast->request.onSaved = [&last, onSaved = std::move(pLast->request.onSaved)](const PYXSavedClip& clip) {
        last = clip;
        if (onSaved)
        {
            onSaved(clip);
        }
    };
    {
        const std::lock_guard feedLock(m_feedSync);
        if (!m_pFeeding)
        {
            last.status = NotOpen();
            return last;
        }
        static_cast<void>(FeedHeldAudio(std::numeric_limits<pyx_int64>::max()));
        ReleaseLeaving();
        const std::lock_guard lock(m_sync);
        ++m_unfinished;
        m_asked.push_back(std::move(pLast));
        m_asked.front()->pSession = std::move(m_pFeeding); // nothing is left for those after it
        m_toWrite.splice(m_toWrite.end(), m_asked);
        m_look.from = m_look.to = 0;
        m_look.bytes = m_look.groups = 0;
        m_wake.notify_one();
    }
    Wait();
    return last;
}

void PYXRecorder::Work()
{
    std::unique_lock lock(m_sync);
    for (;;)
    {
        if (!m_toWrite.empty())
        {
            JobPtr pJob = std::move(m_toWrite.front());
            m_toWrite.pop_front();
            pJob->cancelled = pJob->cancelled || m_ending;
            m_pWriting = pJob.get();
            lock.unlock();
            Finish(std::move(pJob));
            lock.lock();
            --m_unfinished;
            m_finished.notify_all();
        }
        else if (m_ending)
        {
            return;
        }
        else if (!m_leavingUntil)
        {
            m_wake.wait(lock);
        }
        else if (const Clock::time_point until = *m_leavingUntil; // which changes meanwhile
                 m_wake.wait_until(lock, until) == std::cv_status::timeout)
        {
            lock.unlock();
            ReleaseOverdue();
            lock.lock();
        }
    }
}

void PYXRecorder::Finish(JobPtr pJob)
{
    PYXSavedClip clip;
    clip.id = pJob->id;
    clip.path = pJob->request.path;
    clip.warnings = std::move(pJob->warnings);
    clip.status = {PYX_FAIL, "the save was cancelled"};
    if (!pJob->cancelled)
    {
        try
        {
            clip.status = pJob->pSession ? pJob->pSession->Write(clip.path, pJob->request.seconds, &clip)
                                         : PYXStatus{PYX_NOT_FOUND, "nothing is left for it"};
        }
        catch (const std::bad_alloc&)
        {
            clip.status = {PYX_OUT_OF_MEMORY, "out of memory"};
        }
    }
    const auto onSaved = std::move(pJob->request.onSaved);
    JobPtr pGone; // with the lock released
    {
        const std::lock_guard lock(m_sync);
        m_pWriting = nullptr;
        clip.canRetry = !clip.status.IsOk() && !pJob->cancelled && !m_ending && pJob->pSession &&
                        !pJob->pSession->Groups().All().empty();
        pGone = std::move(pJob);
        if (clip.canRetry)
        {
            std::swap(pGone, m_pRemnant);
        }
    }
    if (clip.canRetry && pGone)
    {
        clip.warnings.emplace_back("what an earlier save could not write is given up");
    }
    pGone.reset();
    if (onSaved)
    {
        onSaved(clip);
    }
}

PYXRecorder::~PYXRecorder()
{
    std::unique_ptr<PYXRecorderSession> pFeeding; // taken, so that an onSaved that is called from here on can neither
    JobPtr pRemnant;                              // save nor try again
    {
        const std::lock_guard feedLock(m_feedSync);
        ReleaseLeaving();
        const std::lock_guard lock(m_sync);
        m_ending = true;
        pFeeding = std::move(m_pFeeding);
        pRemnant = std::move(m_pRemnant);
        m_toWrite.splice(m_toWrite.end(), m_asked);
        if (m_pWriting && m_pWriting->pSession)
        {
            m_pWriting->pSession->Stop();
        }
        m_wake.notify_one();
    }
    if (m_worker.joinable())
    {
        m_worker.join();
    }
}
