#pragma once

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "recorder/Status.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <limits>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

class PYXRecorderModule;
class PYXRecorderSession;

/// A video stream as its encoder describes it.
struct PYXVideoStream
{
    pyx_int64 codec = PYX_VIDEO_CODEC_H264; ///< "CodecID"
    PYXSize size = {1920, 1080};            ///< in pixels
    PYXRate rate = {30, 1};                 ///< pictures per second; 0/1: not known
    pyx_int64 bitRate = 0;                  ///< bits per second; 0: not known
    /// The codec's set-up bytes: H.264 and HEVC parameter sets with start codes, or avcC/hvcC, or AV1's sequence
    /// header. Empty: the first key picture brings them.
    std::vector<pyx_uint8> setUp{};
    /// Further properties of the stream by name, such as a HostBuffer of no bytes takes them. One that neither the
    /// component nor its muxer knows, or a value that they refuse, is left out.
    PYXInterfacePtr<PYXPropertyStorage> spMore{};
};

/// An audio stream as its encoder describes it.
struct PYXAudioStream
{
    pyx_int64 codec = 86018;      ///< "CodecID", in the muxer's numbers; this one is AAC
    pyx_int64 sampleRate = 48000; ///< Hz
    pyx_int64 channels = 2;
    pyx_int64 bitRate = 0;                        ///< bits per second; 0: not known
    std::vector<pyx_uint8> setUp{};               ///< AAC: its AudioSpecificConfig; Opus: its identification header
    PYXInterfacePtr<PYXPropertyStorage> spMore{}; ///< as for video
};

/// What a recorder is opened with.
struct PYXRecorderSettings
{
    /// The module: a full path, or a bare name that is looked for beside the program and in the system's folder, never
    /// in the current folder. The module looks for its own two companions beside the program and in folders that the
    /// process added with AddDllDirectory.
    std::wstring module = L"pyx-component-ring-buffer64.dll";
    /// Where the recorder makes its private directories, a full path; must exist. Empty: the user's folder for
    /// temporary files. Never a folder that others can write to when the host has more rights than they.
    std::wstring folder{};
    bool inMemory = false;  ///< packets are kept in memory instead of files in `folder`
    pyx_int64 seconds = 30; ///< to keep, from 1 to 2147483647; whole groups are kept, so up to two groups more
    pyx_uint64 budget = 0;  ///< bytes of packets to keep at most, while the newest group and a second allow it; 0: any
    bool exact = false; ///< clips end `seconds`, a request's own if it has some, after their first picture, not with
                        ///< the newest one
    PYXVideoStream video{};
    std::optional<PYXAudioStream> audio{};
    PYXInterfacePtr<PYXPropertyStorage>
        spMore{};                            ///< further properties of the component and its muxer, as for a stream
    PYXInterfacePtr<PYXContext> spContext{}; ///< the host's own buffers; null: those of companions/host
};

/// What became of a save.
struct PYXSavedClip
{
    pyx_uint64 id = 0; ///< as Save() gave it; 0: the clip of End()
    std::wstring path{};
    /// PYX_NOT_FOUND: nothing was kept, so there is no clip. PYX_FILE_NOT_OPEN: the file cannot be written. Others are
    /// the module's and its muxer's.
    PYXStatus status{};
    bool canRetry = false; ///< it failed, and what it was to hold is kept for Retry()
    bool hasAudio = false;
    pyx_int64 from = 0;                  ///< time stamp of its first picture, ticks of the stream
    pyx_int64 to = 0;                    ///< when its last picture ends
    pyx_int64 newest = 0;                ///< when the newest picture kept ended; later than `to` only with `exact`
    pyx_uint64 bytes = 0;                ///< of the file
    pyx_uint64 groups = 0;               ///< of pictures, that were kept for it
    pyx_uint64 packets = 0;              ///< video and audio, that were kept for it and can be decoded
    std::vector<std::string> warnings{}; ///< a line each, for a person
    double secondsTaken = 0;             ///< by the writing
};

/// What is asked of a save.
struct PYXSaveRequest
{
    std::wstring path{};   ///< full path; its ending names the container; a file of that name is replaced
    pyx_int64 seconds = 0; ///< only the last so many of what is kept, and up to a group more; 0: all
    /// Called once for a request that was accepted, on the recorder's thread with nothing locked. It may call
    /// everything but End(), Wait() and the destructor, and must not throw. May be empty.
    std::function<void(const PYXSavedClip&)> onSaved{};
};

/// The state of a recorder at one moment. Times are ticks of the stream.
struct PYXRecorderLook
{
    pyx_int64 from = 0;            ///< a clip that is saved now begins with the picture of this time stamp
    pyx_int64 to = 0;              ///< and ends here; equal: nothing is kept
    pyx_uint64 bytes = 0;          ///< of the packets of that clip
    pyx_uint64 groups = 0;         ///< of its pictures
    pyx_uint64 packetsRefused = 0; ///< could not be stored; a disk is full, or memory
    pyx_uint64 packetsLate = 0;    ///< audio from before what is kept, that is lost
    unsigned savesForPicture = 0;  ///< wait for the next key picture
    unsigned savesWaiting = 0;     ///< all that are not finished, those and the one that is written among them
    pyx_uint64 writing = 0;        ///< the save that is written now; 0: none
    pyx_uint64 packetsWritten = 0; ///< of it, handed to the muxer
    pyx_uint64 packetsToWrite = 0; ///< of it, in all
    pyx_uint64 bytesForRetry = 0;  ///< kept for Retry(); 0: nothing

    double Seconds() const
    {
        return static_cast<double>(to - from) / PYX_TICKS_PER_SECOND;
    }
};

/// Keeps the last seconds of what a host's encoders hand out, and saves them as
/// clips while it goes on. It wraps the module and handles its special cases.
///
///     PYXRecorder recorder;
///     PYXStatus opened = recorder.Open({.seconds = 60, .video = {.size = {1280, 720}, .setUp = c_setUp}});
///     recorder.SubmitVideo(bytes, pts, duration, isKey);       // from the encoder's thread
///     recorder.Save({.path = L"C:\\clips\\a.mp4", .onSaved = Show}); // from the window's
///
/// Clips follow each other: each begins with the picture after the last one of the clip before, or later when less is
/// asked for. Only the key picture of an open group can be in two of them. A save takes effect at the next key picture,
/// so a host asks its encoder for one; until then the newest pictures still go into the clip. Meanwhile nothing is
/// copied and no encoder waits: a second component takes over, and a thread of the recorder's own writes what the first
/// one keeps.
///
///     first component    A A A A A A A A A A |          written by the worker
///                              ^ Save        |
///     second component         opened        K B B B B B B B B ...
///
/// Pictures that follow that key picture and are shown before it (an open group) go to the first component, and the key
/// picture with them, because only there they can be decoded; that clip then ends with the key picture that the next
/// one begins with. Audio goes where its time stamp belongs: it may lead or lag by up to c_patience of the video.
///
/// Threads: any thread may call any operation at any time, but Open() comes before all others, and the destructor
/// after. The packets of a stream are submitted in decode order. Time stamps and durations are in ticks of 100 ns.
class PYXRecorder
{
public:
    /// How long a save waits for late packets of its clip, and how far audio may lead before it is stored anyway.
    static constexpr pyx_int64 c_patience = 2 * PYX_TICKS_PER_SECOND;

    /// Time stamps and durations are nearer to zero than this, 228 years.
    static constexpr pyx_int64 c_timeLimit = pyx_int64{1} << 56;

    PYXRecorder();
    PYXRecorder(const PYXRecorder&) = delete;
    PYXRecorder& operator=(const PYXRecorder&) = delete;

    /// Drops what is kept, saves that wait and what Retry() would write, and stops the one that is being written: its
    /// file is not there then. Leaves no file, directory, thread or reference. Takes as long as storing one packet, or
    /// the muxer's last step on a clip that has all its packets, and removing the temporary files; up to 2 s more for
    /// each component that has a file which another program holds, and what onSaved takes.
    ~PYXRecorder();

    /// Loads the module, removes what killed processes left in `folder`, makes the private directory and the component.
    /// Once. PYX_FILE_NOT_OPEN: the folder does not exist or takes no files. PYX_INVALID_ARG, PYX_OUT_OF_RANGE:
    /// settings that contradict this header. PYX_NOT_FOUND: no module. PYX_NOT_INITIALIZED: the module has no muxer.
    PYXStatus Open(const PYXRecorderSettings& settings);

    /// Stores one packet; the bytes are copied. A picture before the first key picture is dropped, with PYX_OK.
    /// After a failure the packets up to the next key picture are refused with the same result, because the pictures
    /// could not be decoded; what was stored before stays. PYX_NOT_INITIALIZED: before Open() or after End().
    /// PYX_OUT_OF_RANGE: see c_timeLimit.
    [[nodiscard]] PYX_RESULT SubmitVideo(std::span<const pyx_uint8> bytes, pyx_int64 pts, pyx_int64 duration,
                                         bool isKey);

    /// Stores one packet of audio, of which any can be the first. One that leads the pictures is held until they come,
    /// so a failure may be that of an earlier packet; PYXRecorderLook::packetsRefused counts all. PYX_OK also for a
    /// packet that came too late: see PYXRecorderLook::packetsLate. PYX_INVALID_ARG: opened without audio.
    [[nodiscard]] PYX_RESULT SubmitAudio(std::span<const pyx_uint8> bytes, pyx_int64 pts, pyx_int64 duration);

    /// The same without a copy of the bytes, for a packet that has its times and, of video, its kind as a property
    /// (common/KeyPacket.h). It is held for up to c_patience, so its bytes and properties stay as they are from here
    /// on. PYX_INVALID_POINTER: null. Others as above; PYX_NOT_FOUND: a video packet without a kind.
    [[nodiscard]] PYX_RESULT SubmitVideo(PYXBuffer* pPacket);
    [[nodiscard]] PYX_RESULT SubmitAudio(PYXBuffer* pPacket);

    /// Why packets are refused, in words: looks at the disk.
    std::string Explain(PYX_RESULT result) const;

    /// Asks for a clip. Returns after some milliseconds, in which the second component and its directory are made; on a
    /// failure nothing has happened and onSaved is not called. Several requests take effect one after another, each at
    /// a key picture of its own, and are written in this order. `*pId` (may be null) gets the number for Cancel().
    /// PYX_NOT_FOUND: nothing is kept yet. PYX_FILE_NOT_OPEN: the file cannot be written, or its disk has less room
    /// than what is kept.
    PYXStatus Save(PYXSaveRequest request, pyx_uint64* pId = nullptr);

    /// Takes a request back. One that waits for its key picture leaves no trace; what one that waits to be written was
    /// to hold is dropped. Its onSaved gets PYX_FAIL. PYX_NOT_FOUND: it is being written, or finished.
    PYXStatus Cancel(pyx_uint64 id);

    /// Writes what a failed save left, to another path or to the same one after its disk was freed. Of failed saves the
    /// last one is kept, in memory or in its directory, and gets no more packets; a second failure gives the first up,
    /// with a warning. If this fails as well, it is still kept. Fewer `seconds` than before drop its oldest groups, but
    /// of an exact clip or a single group nothing. PYX_NOT_FOUND: there is none.
    PYXStatus Retry(PYXSaveRequest request, pyx_uint64* pId = nullptr);

    /// Drops what Retry() would write.
    void GiveUp();

    /// Cheap; waits for no disk.
    PYXRecorderLook Look() const;

    /// Returns when every request whose key picture has come is finished.
    void Wait();

    /// The end: `request` gets what is kept. If requests still wait for their key picture, the first of them gets it,
    /// and the others, like `request`, get PYX_NOT_FOUND. Returns when all are written, with the clip of `request`; its
    /// onSaved is called before that, but not when the recorder is not open. What failed can still be tried again.
    PYXSavedClip End(PYXSaveRequest request);

private:
    // Locks: m_feedSync before m_sync. With m_feedSync held packets are stored, which can wait for a disk; with m_sync
    // nothing is called. Sessions are destroyed with neither held.
    struct Job;
    using JobPtr = std::unique_ptr<Job>;
    using Jobs = std::list<JobPtr>;

    PYX_RESULT Store(PYX_RESULT result);
    void HandOver(PYXBuffer* pKeyPicture);
    void FeedLeaving(PYXBuffer* pPacket);
    PYX_RESULT FeedAudio(PYXBuffer* pPacket);
    PYX_RESULT FeedHeldAudio(pyx_int64 before);
    void ReleaseLeavingIfComplete();
    void ReleaseLeaving();
    void ReleaseOverdue();
    void Accept(Jobs* pQueue, JobPtr pJob, pyx_uint64* pId);
    void Work();
    void Finish(JobPtr pJob);

    PYXRecorderSettings m_settings;               // not changed after Open()
    std::unique_ptr<PYXRecorderModule> m_pModule; // null: not open

    // Guarded by m_feedSync: what packets go through.
    std::mutex m_feedSync;
    std::unique_ptr<PYXRecorderSession> m_pFeeding; // null: not open, or ended
    JobPtr m_pLeaving;                              // its successor has begun; late packets of its clip may still come
    PYXInterfacePtr<PYXBuffer> m_spFirst;           // that begins the successor
    bool m_leavingHasFirst = false;
    bool m_pictureReached = false; // a picture, or a packet of audio, at or after m_spFirst has come
    bool m_audioReached = false;
    std::deque<PYXInterfacePtr<PYXBuffer>> m_heldAudio;         // leads the pictures: it may belong to the next session
    pyx_int64 m_newest = std::numeric_limits<pyx_int64>::min(); // greatest time stamp of the group's pictures

    // Guarded by m_sync.
    mutable std::mutex m_sync;
    std::condition_variable m_wake;     // of the worker
    std::condition_variable m_finished; // of Wait() and End()
    Jobs m_asked;                       // wait for a key picture each
    Jobs m_toWrite;
    Job* m_pWriting = nullptr; // the worker's
    JobPtr m_pRemnant;         // failed
    std::size_t m_unfinished = 0;
    pyx_uint64 m_lastId = 0;
    std::optional<std::chrono::steady_clock::time_point> m_leavingUntil; // set with both locks held
    PYXRecorderLook m_look;                                              // but for what Look() adds
    bool m_ending = false;

    std::thread m_worker;
};
