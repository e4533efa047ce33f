#pragma once

#include "replay/Clip.h"
#include "replay/Session.h"
#include "replay/TempDirectory.h"

#include <deque>
#include <functional>
#include <future>
#include <memory>

/// One clip: the session that it comes from, and what became of it.
struct Take
{
    explicit Take(SessionObserver* pObserver) : session(pObserver)
    {
    }

    std::wstring output;
    ClipFile clip;
    TempDirectory scratch; // before the session, whose component uses it
    Session session;

    // The result.
    Outcome outcome; ///< of writing the clip and reading it back; NothingKept without one
    Saved saved;
    ClipContents contents;
    double secondsTaken = 0;
};

/// Records without a pause: feeds one session after another, and saves clips
/// while the feeding goes on.
///
///     first session   A A A A A A A A A A |          written by a worker thread
///                           ^ save        |
///     second session        opened        K B B B B B B B B ...
///
/// While a component writes its clip, its SubmitInput waits, and afterwards it
/// keeps nothing before the next key picture. So on a save a second component,
/// with a directory of its own, takes over at the next key picture, and gets
/// every packet from there on; the first one gets those before it.
///
/// So a clip begins where the one before it ended, and is shorter than the asked
/// duration when less has come since. Where pictures that are shown before the
/// key picture follow it (an open group), they and it go to the first component
/// too: that clip then ends with the key picture that the next one begins with.
///
/// One clip is written at a time; those that are asked for meanwhile wait with
/// their session. Threads: one, and the worker of its own.
class Recorder
{
public:
    /// What is done with each take when it is finished, on the recorder's thread.
    using OnFinished = std::function<void(Take*)>;

    /// All are borrowed; `pAudio` and `pObserver` may be null.
    Recorder(const Options& options, const MediaReader& video, const MediaReader* pAudio, SessionObserver* pObserver,
             OnFinished onFinished);
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    Outcome Open();

    /// A failure means that a packet could not be stored; what came before it is
    /// kept, so the caller finishes.
    Outcome Submit(MediaPacket packet);

    /// Saves what is kept as `output` as soon as the next group starts. False
    /// in `*pBegun`: a save still waits for that and serves this request too. A
    /// failure ends nothing.
    Outcome Save(const std::wstring& output, bool* pBegun);

    /// The end: what is kept is saved as `output`, unless a save waits for the
    /// next group, which is made now and leaves nothing. Returns when all clips
    /// are written.
    void Finish(const std::wstring& output);

    /// Of all sessions.
    const Intake& TakenIn() const
    {
        return m_intake;
    }

    /// The longest that SubmitInput took while a clip was asked for or written.
    std::chrono::nanoseconds LongestSubmitWhileSaving() const
    {
        return m_longestWhileSaving;
    }

    /// And the longest at all other times, to compare it with.
    std::chrono::nanoseconds LongestSubmitOtherwise() const
    {
        return m_longestOtherwise;
    }

private:
    Outcome OpenTake(std::unique_ptr<Take>* ppTake) const;
    Outcome Feed(Take* pTake, const MediaPacket& packet);
    void HandOver();
    void FeedLeaving(const MediaPacket& packet);
    void Release(std::unique_ptr<Take> pTake);
    void WriteNext();
    void CollectWritten(bool wait);
    bool IsSaving() const;

    const Options& m_options;
    const MediaReader& m_video;
    const MediaReader* const m_pAudio;
    SessionObserver* const m_pObserver;
    const OnFinished m_onFinished;

    std::unique_ptr<Take> m_pFeeding;
    std::unique_ptr<Take> m_pNext;    // takes over from m_pFeeding at the next key picture; null: no save waits
    std::unique_ptr<Take> m_pLeaving; // its successor has begun, and what is shown before that may still come
    MediaPacket m_firstOfNext;        // that key picture, as long as m_pLeaving has not got it
    std::deque<std::unique_ptr<Take>> m_toWrite;
    std::unique_ptr<Take> m_pWriting; // the worker's until m_written is ready
    std::future<void> m_written;      // waits for the worker when it ends
    Intake m_intake;
    std::chrono::nanoseconds m_longestWhileSaving{0};
    std::chrono::nanoseconds m_longestOtherwise{0};
};
