#include "recorder/Recorder.h"
#include "support/RingBufferTest.h"

#include <atomic>
#include <memory>
#include <set>
#include <thread>

namespace
{

/// A recorder between the recording companions. A save is written "result: packets", with those of its clip as they
/// came out, and "!" after a result that Retry() can follow.
class RecorderTest : public testing::Test, protected TestDirectory
{
protected:
    RecorderTest()
    {
        m_settings.folder = path.wstring();
        m_settings.audio = PYXAudioStream();
    }

    ~RecorderTest() override
    {
        m_pRecorder.reset();
        FaultPlan::Get() = {};
        Companions::Get() = {};
        EXPECT_EQ(List(), "");
    }

    void Open()
    {
        m_pRecorder = std::make_unique<PYXRecorder>();
        const PYXStatus status = m_pRecorder->Open(m_settings);
        ASSERT_TRUE(status.IsOk()) << status.text;
    }

    PYX_RESULT Submit(const Packet& packet)
    {
        const auto spPacket = packet.Build();
        return packet.kind == 'V' ? m_pRecorder->SubmitVideo(spPacket.Get()) : m_pRecorder->SubmitAudio(spPacket.Get());
    }

    void Feed(const std::string& packets)
    {
        for (const std::string& token : Split(packets, ' '))
        {
            ASSERT_EQ(Submit(Packet::Parse(token)), PYX_OK) << token;
        }
    }

    PYXSaveRequest Request(pyx_int64 seconds = 0)
    {
        return {.path = path / "clip.mp4", .seconds = seconds, .onSaved = [this](const auto& clip) {
                    m_clips += std::to_string(clip.status.result) + (clip.canRetry ? "! " : ": ");
                    m_clips += Companions::Get().Take(&Companions::written) + "\n";
                    Companions::Get().base = -1;
                    m_last = clip;
                }};
    }

    pyx_uint64 Save(pyx_int64 seconds = 0)
    {
        pyx_uint64 id = 0;
        const PYXStatus status = m_pRecorder->Save(Request(seconds), &id);
        EXPECT_TRUE(status.IsOk()) << status.text;
        return id;
    }

    std::string Clips()
    {
        m_pRecorder->Wait();
        return std::exchange(m_clips, {});
    }

    std::string End()
    {
        m_pRecorder->End(Request());
        return Clips();
    }

    PYXRecorderSettings m_settings;
    std::unique_ptr<PYXRecorder> m_pRecorder;
    std::string m_clips;
    PYXSavedClip m_last;
};

TEST_F(RecorderTest, EachPacketGoesWhereItBelongsHoweverItArrives)
{
    for (const bool inMemory : {false, true})
    {
        m_settings.inMemory = inMemory;
        Open();
        Feed("V0K+40 A0 A90000000 V40+40 A40"); // one far ahead
        Save();
        Feed("A100 A125 V80+40 V120K+40 V110 A110"); // audio that leads and that lags, an open group
        EXPECT_EQ(m_pRecorder->Look().savesForPicture, 0u);
        Feed("V160+40");
        EXPECT_EQ(Clips(), "0: V0+40 A0 V40+40 A40 V80+40 A100 A110 V120+40 V110 V- A-\n");
        EXPECT_EQ(End(), "0: V0+40 V-10 A5 V40+40 A89999880 V- A-\n");
        EXPECT_EQ(m_last.from, 120);
        EXPECT_EQ(m_last.to, 200);
        EXPECT_EQ(m_last.packets, 4u) << "without the picture that cannot be decoded";
        EXPECT_EQ(m_pRecorder->Look().packetsLate, 0u);
    }
}

/// From a thread for each stream, one of them ahead of the other by up to a second, as encoders are.
TEST_F(RecorderTest, ClipsThatAreSavedMeanwhileMeetWithoutALostOrDoubledPacket)
{
    constexpr pyx_int64 picture = PYX_TICKS_PER_SECOND / 25;
    constexpr pyx_int64 end = 60 * PYX_TICKS_PER_SECOND;
    m_settings.seconds = 20;
    Open();
    std::atomic<pyx_int64> now[2] = {0, 0};
    const auto waitFor = [&now](int stream, pyx_int64 time) {
        while (now[stream] < time)
        {
            std::this_thread::yield();
        }
    };
    const auto feed = [&](int stream, pyx_int64 step) {
        for (pyx_int64 pts = 0; pts < end; pts += step)
        {
            waitFor(1 - stream, pts - (pts / PYX_TICKS_PER_SECOND + stream) % 2 * PYX_TICKS_PER_SECOND);
            ASSERT_EQ(Submit({stream ? 'A' : 'V', pts, pts % (picture * 30) == 0, step}), PYX_OK);
            now[stream] = pts + step;
        }
        now[stream] = std::numeric_limits<pyx_int64>::max();
    };
    std::set<std::pair<char, pyx_int64>> missing;
    for (pyx_int64 pts = 0; pts < end; pts += picture)
    {
        missing.insert({{'V', pts}, {'A', pts}, {'A', pts + picture / 2}});
    }
    const auto keep = [&](const PYXSavedClip& clip) {
        EXPECT_TRUE(clip.status.IsOk()) << clip.status.text;
        for (const std::string& packet : Split(Companions::Get().Take(&Companions::written), ' '))
        {
            EXPECT_EQ(packet.find('('), std::string::npos) << packet << " is not as it went in";
            EXPECT_TRUE(packet.ends_with('-') || missing.erase({packet[0], std::stoll(packet.substr(1)) + clip.from}))
                << packet << " is doubled";
        }
        Companions::Get().base = -1;
    };
    {
        const std::jthread video(feed, 0, picture);
        const std::jthread audio(feed, 1, picture / 2);
        for (const pyx_int64 second : {10, 25, 26, 45})
        {
            waitFor(0, second * PYX_TICKS_PER_SECOND);
            EXPECT_TRUE(m_pRecorder->Save({.path = path / "c.mp4", .onSaved = keep}).IsOk());
        }
    }
    m_pRecorder->End({.path = path / "c.mp4", .onSaved = keep});
    EXPECT_EQ(m_pRecorder->Look().packetsLate, 0u);
    EXPECT_EQ(missing.size(), 0u);
}

TEST_F(RecorderTest, AFailedSaveIsKeptForAnotherTry)
{
    Open();
    Feed("V0K A0 V40");
    Save();
    FaultPlan::Get().Fail("End V", 1, PYX_INVALID_ARG);
    Feed("V80K A80 V120");
    EXPECT_EQ(Clips(), "4! V0 A0 V40 V-\n");
    EXPECT_GT(m_pRecorder->Look().bytesForRetry, 0u);
    EXPECT_TRUE(m_pRecorder->Retry(Request(5)).IsOk());
    EXPECT_EQ(Clips(), "0: V0 A0 V40 V- A-\n") << "one group alone";
    EXPECT_EQ(m_pRecorder->Retry(Request()).result, PYX_NOT_FOUND);
    FaultPlan::Get().Fail("End V", -1, PYX_INVALID_ARG);
    Save();
    Feed("V160K A160 V200");
    EXPECT_EQ(End(), "4! V0 A0 V40 V-\n4! V0 A0 V40 V-\n");
    ASSERT_EQ(m_last.warnings.size(), 1u);
    FaultPlan::Get() = {};
    EXPECT_TRUE(m_pRecorder->Retry(Request()).IsOk());
    EXPECT_EQ(Clips(), "0: V0 A0 V40 V- A-\n") << "the later one";
    EXPECT_EQ(m_last.from, 160);
}

TEST_F(RecorderTest, WhatIsRefusedOrCancelledLeavesNoTrace)
{
    Open();
    EXPECT_EQ(m_pRecorder->Save(Request()).result, PYX_NOT_FOUND) << "nothing is kept";
    EXPECT_EQ(m_pRecorder->SubmitVideo(Packet::Parse("V-9223372036854775808K").Build().Get()), PYX_OUT_OF_RANGE);
    Feed("V0K A0 V40");
    EXPECT_EQ(m_pRecorder->Save({.path = path / "none" / "c.mp4"}).result, PYX_FILE_NOT_OPEN);
    EXPECT_EQ(m_pRecorder->Save({.path = path}).result, PYX_FILE_NOT_OPEN) << "a directory";
    EXPECT_TRUE(m_pRecorder->Cancel(Save()).IsOk());
    Feed("V80K A80 V120 A120");
    EXPECT_EQ(Clips(), "1: \n");
    const pyx_uint64 id = Save();
    Feed("V160K V200");
    EXPECT_TRUE(m_pRecorder->Cancel(id).IsOk()) << "its audio may still come";
    Feed("A200");
    EXPECT_EQ(Clips(), "1: \n");
    EXPECT_EQ(m_pRecorder->Cancel(id).result, PYX_NOT_FOUND);
    EXPECT_EQ(End(), "0: V0 V40 A40 V- A-\n");
    Open();
    Feed("V0K A0 V40");
    Save();
    Save();
    m_pRecorder.reset();
    EXPECT_EQ(m_clips, "1: \n1: \n") << "of the destructor";
}

TEST_F(RecorderTest, ASaveThatWaitsAtTheEndGetsWhatIsKept)
{
    m_settings.audio.reset();
    Companions::Get().inputs = "V";
    Open();
    Feed("V0K V40");
    Save();
    EXPECT_EQ(End(), "0: V0 V40 V-\n11: \n");
    EXPECT_EQ(Submit(Packet::Parse("V80K")), PYX_NOT_INITIALIZED);
    EXPECT_EQ(m_pRecorder->Save(Request()).result, PYX_NOT_INITIALIZED);
}

TEST_F(RecorderTest, ABudgetLowersTheSecondsUntilTheRateFalls)
{
    m_settings.audio.reset();
    Companions::Get().inputs = "V";
    m_settings.seconds = 20;
    m_settings.budget = 100'000;
    Open();
    const auto feed = [this](int from, int to, int bytes) {
        for (int second = from; second < to; ++second)
        {
            EXPECT_EQ(Submit({'V', second * PYX_TICKS_PER_SECOND, true, PYX_TICKS_PER_SECOND, bytes}), PYX_OK);
            EXPECT_LE(m_pRecorder->Look().bytes, m_settings.budget);
        }
        return m_pRecorder->Look().Seconds();
    };
    EXPECT_EQ(feed(0, 60, 1000), 21);
    EXPECT_LE(feed(60, 100, 20'000), 5);
    EXPECT_EQ(feed(100, 160, 2000), 21);
    Save(3);
    EXPECT_EQ(End(), "0: V0+10000000 V10000000+10000000 V20000000+10000000 V30000000+10000000 V-\n11: \n")
        << "the last 3 s, and up to a group";
}

/// As a virus scanner does.
TEST_F(RecorderTest, ATemporaryFileThatAnotherProgramReadsIsTriedAgain)
{
    Open();
    Feed("V0K A0 V40K V80K A80 V120"); // and a group without audio, whose file is missing
    std::vector<HANDLE> held;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path))
    {
        if (entry.path().extension() == ".RBV" && fs::file_size(entry) > 0)
        {
            held.push_back(
                CreateFileW(entry.path().c_str(), GENERIC_READ, FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
        }
    }
    ASSERT_FALSE(held.empty());
    Companions::Get().onTrace = [&held, failures = 0](const std::string& text) mutable {
        if (text.ends_with("WriteBuffer() failed") && ++failures == 5)
        {
            std::for_each(held.begin(), held.end(), CloseHandle);
        }
    };
    EXPECT_EQ(End(), "0: V0 A0 V40 V80 A80 V120 V- A-\n");
}

TEST_F(RecorderTest, OnlyItsOwnDirectoriesAreUsedAndRemoved)
{
    const std::string mine = std::string("pyx-recorder-") + std::to_string(GetCurrentProcessId()) + "-";
    const std::string lock = "A recorder holds this while it uses the directory of the same name\n";
    Put("pyx-recorder-8-0/Temp0.RBV.txt");
    Put("pyx-recorder-77-0/Temp3.RBA"); // no lock
    Put("pyx-recorder-78-0/Temp3.RBA"); // another's lock
    Put("pyx-recorder-78-0.lock");
    Put(mine + "0/Temp3.RBA"); // has the name already
    const std::string theirs = List();
    Put("pyx-recorder-7-0.lock", lock); // of a process that was killed
    Put("pyx-recorder-7-0/Temp0.RBV");
    Put("pyx-recorder-8-0.lock", lock);
    m_settings.inMemory = true;
    Open();
    EXPECT_TRUE(fs::exists(path / (mine + "1.lock"))) << List();
    auto pOther = std::make_unique<PYXRecorder>();
    EXPECT_TRUE(pOther->Open(m_settings).IsOk());
    EXPECT_TRUE(fs::exists(path / (mine + "1"))) << "of a process that lives";
    m_pRecorder.reset();
    EXPECT_TRUE(fs::exists(path / (mine + "2")));
    pOther.reset();
    EXPECT_EQ(List(), theirs);
    fs::remove_all(path);
    m_pRecorder = std::make_unique<PYXRecorder>();
    EXPECT_EQ(m_pRecorder->Open(m_settings).result, PYX_FILE_NOT_OPEN);
    m_settings.module = L"sub\\module.dll";
    EXPECT_EQ(m_pRecorder->Open(m_settings).result, PYX_INVALID_ARG);
    m_settings.module = L"none.dll";
    EXPECT_EQ(m_pRecorder->Open(m_settings).result, PYX_NOT_FOUND);
    fs::create_directories(path);
}

} // namespace
