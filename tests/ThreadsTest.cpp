#include "support/RingBufferTest.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <random>

namespace
{

using namespace std::chrono_literals;

constexpr pyx_int64 c_step = 100'000; ///< between two packets of one kind, 10 ms

/// One component and all that a host may do with it at once.
class ThreadsTest : public RingBufferTest
{
protected:
    /// Notes what should not have happened, and ends the test.
    void Expect(bool isRight, const std::string& what)
    {
        if (!isRight && !m_stop.exchange(true))
        {
            m_wrong = what;
        }
    }

    /// One encoder: packets without a gap, never far from those of the other. A switched-off input still takes them.
    void Encode(char kind, PYXInterfacePtr<PYXInput> spInput)
    {
        const int own = kind == 'V' ? 0 : 1;
        for (pyx_int64 i = 0; !m_stop; m_packets[own] = ++i)
        {
            while (!m_stop && i > m_packets[1 - own] + 2)
            {
                std::this_thread::yield();
            }
            const auto spNew = Input(own);
            if (spNew && ::Get(spNew.Get(), L"StreamType") == std::to_string(own + 1))
            {
                spInput = spNew;
            }
            const Packet packet{.kind = kind, .pts = i * c_step, .key = i % 10 == 0, .bytes = 100};
            const PYX_RESULT result = spInput->SubmitInput(packet.Build().Get());
            // The directory is gone between Terminate and Init; late audio may meet a file that is closed.
            Expect(result == PYX_OK || result == PYX_FAIL || result == PYX_FILE_NOT_OPEN,
                   kind + std::to_string(result));
        }
    }

    /// Properties, inputs and reads: nothing that writes a clip.
    void Control(unsigned seed)
    {
        static constexpr const wchar_t* c_settings[][2] = {{L"Duration", L"1"},        {L"Duration", L"2"},
                                                           {L"EnableAudio", L"false"}, {L"EnableAudio", L"true"},
                                                           {L"EnableVideo", L"false"}, {L"EnableVideo", L"true"},
                                                           {L"Path", L"a.mp4"},        {L"Path", L"b.mp4"}};
        const Packet tooOld{.kind = 'A', .pts = -1'000'000}; // waits, and is dropped with the first group
        for (std::mt19937 random(seed); !m_stop;)
        {
            const auto& [name, value] = c_settings[random() % std::size(c_settings)];
            Expect(Set(name, value) == PYX_OK && !Get(name).starts_with("error"), Narrow(name));
            const auto spInput = Input(static_cast<int>(random() % 3));
            if (!spInput)
            {
                continue;
            }
            Expect(spInput->SetProperty(L"BitRate", PYXVariantFromInt64(1 + random() % 9)) == PYX_OK, "BitRate");
            const bool isAudio = ::Get(spInput.Get(), L"StreamType") == "2";
            const auto spPacket = isAudio ? tooOld.Build() : PYXInterfacePtr<HostBuffer>();
            Expect(spInput->SubmitInput(spPacket.Get()) == (isAudio ? PYX_OK : PYX_EOF), "SubmitInput");
        }
    }

    /// Clips, one after the other, in both storage modes and two directories.
    void WriteClips()
    {
        for (std::mt19937 random(1); !m_stop; CheckClip(Written()), Traces(), Calls())
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 400));
            switch (random() % 4)
            {
            case 0:
                Set(L"BufferInRamEnabled", random() % 2 ? L"true" : L"false");
                continue;
            case 1:
                Set(L"TempPath", (m_temp.path / std::to_string(random() % 2)).c_str());
                continue;
            default:
                break;
            }
            const PYX_RESULT result = Terminate();
            Expect(result == PYX_OK || result == PYX_FAIL, "Terminate"); // a file group without audio cannot be read
            Expect(m_spComponent->Init(0, 640, 480) == PYX_OK, "Init");
        }
    }

    /// Each kind's packets in order, video without a gap, no byte and no time wrong.
    void CheckClip(const std::string& written)
    {
        pyx_int64 video = -c_step;
        pyx_int64 audio = -1;
        for (const std::string& packet : Split(written, ' '))
        {
            const pyx_int64 time = packet.ends_with('-') ? 0 : std::stoll(packet.substr(1));
            m_clips += packet == "A-" ? 1 : 0;
            if (packet.ends_with('-'))
            {
                continue;
            }
            Expect(packet[0] == 'V' ? time == video + c_step : time > audio, packet + " in " + written);
            Expect(!packet.ends_with(')'), packet + " in " + written);
            (packet[0] == 'V' ? video : audio) = time;
        }
    }

    std::atomic<bool> m_stop = false;
    std::atomic<pyx_int64> m_packets[2] = {}; ///< how far video and audio are
    int m_clips = 0;
    std::string m_wrong; ///< belongs to who stops the test
};

TEST_F(ThreadsTest, EncodersAndControlsAtOnceLeaveEveryClipInOrder)
{
    m_faults.Fail("none", 0, PYX_OK); // several threads ask the plan: it must not count
    Start();
    Set(L"Duration", L"2");
    const std::function<void()> jobs[] = {[this, spInput = Input(0)] { Encode('V', spInput); },
                                          [this, spInput = Input(1)] { Encode('A', spInput); }, [this] { Control(1); },
                                          [this] { Control(2); }, [this] { WriteClips(); }};
    std::vector<std::future<void>> threads;
    for (const auto& job : jobs)
    {
        threads.push_back(std::async(std::launch::async, job));
    }
    const auto end = std::chrono::steady_clock::now() + (std::getenv("PYX_TEST_LONG") ? 60s : 5s);
    while (std::chrono::steady_clock::now() < end && !m_stop)
    {
        std::this_thread::sleep_for(10ms);
    }
    m_stop = true;
    for (const auto& thread : threads)
    {
        if (thread.wait_for(30s) == std::future_status::ready)
        {
            continue;
        }
        std::cerr << "deadlock\n";
        TerminateProcess(GetCurrentProcess(), 1);
    }
    EXPECT_EQ(m_wrong, "");
    EXPECT_GE(m_clips, 5);
}

/// Packets of one kind, a group every ten, until the input refuses one. How many it has taken.
int FeedUntilRefused(PYXInput* pInput, char kind, std::atomic<int>* pTaken)
{
    PYX_RESULT result = PYX_OK;
    for (pyx_int64 i = 0; result == PYX_OK; ++i)
    {
        const Packet packet{.kind = kind, .pts = i, .key = i % 10 == 0};
        result = pInput->SubmitInput(packet.Build().Get());
        *pTaken += result == PYX_OK ? 1 : 0;
    }
    EXPECT_EQ(result, PYX_UNEXPECTED) << kind;
    EXPECT_EQ(pInput->SubmitInput(nullptr), PYX_UNEXPECTED) << kind;
    EXPECT_EQ(pInput->SubmitInput(Packet{.kind = kind, .key = true}.Build().Get()), PYX_UNEXPECTED) << kind;
    EXPECT_EQ(pInput->SetProperty(L"BitRate", PYXVariantFromInt64(5)), PYX_UNEXPECTED) << kind;
    return *pTaken;
}

TEST_F(ThreadsTest, ARecordOfSubmitInputIsTracedWithoutALock)
{
    Start();
    int traced = 0;
    std::vector<std::future<void>> others;
    m_companions.onTrace = [&](const std::string& text) {
        if (text.find("SubmitInput() failed to store") != std::string::npos)
        {
            others.push_back(std::async(std::launch::async, [this] { Input(0); })); // waits for the lock
            traced += others.back().wait_for(5s) == std::future_status::ready ? 1 : 0;
        }
    };
    FaultyCall<"AllocBuffer", 0, PYX_RESULT(void*, int, pyx_size, void*)> alloc(m_spContext.Get(), 3);
    Feed("V10K A10 V20K A20");
    EXPECT_EQ(TryFeed("A11"), PYX_FILE_NOT_OPEN); // A20 has closed that group's audio
    for (const char* packet : {"V21", "V30K"})
    {
        m_faults.Fail("AllocBuffer", 1, PYX_FAIL);
        EXPECT_EQ(TryFeed(packet), PYX_FAIL);
    }
    m_companions.onTrace = nullptr;
    EXPECT_EQ(traced, 3);
}

TEST_F(ThreadsTest, AComponentEndsUnderItsEncodersAndEachPacketIsWrittenOrRefused)
{
    m_faults.Fail("none", 0, PYX_OK);
    const pyx_int64 alive = HostObject::Alive();
    std::mt19937 random(1);
    for (int round = std::getenv("PYX_TEST_LONG") ? 5000 : 40; round > 0 && !HasFailure(); --round)
    {
        Start(true);
        const auto spVideo = Input(0);
        const auto spAudio = Input(1);
        std::atomic<int> taken[2] = {};
        auto video = std::async(std::launch::async, FeedUntilRefused, spVideo.Get(), 'V', &taken[0]);
        auto audio = std::async(std::launch::async, FeedUntilRefused, spAudio.Get(), 'A', &taken[1]);
        for (const int enough = 15 + random() % 20; taken[0] < enough || taken[1] < 1;)
        {
            std::this_thread::yield();
        }
        Destroy();
        video.wait();
        audio.wait();
        EXPECT_EQ(HostObject::Alive(), alive) << "a packet was stored after the end";
        const auto written = Split(Written(), ' ');
        const auto pictures = std::ranges::count_if(written, [](const auto& packet) { return packet[0] == 'V'; });
        EXPECT_EQ(video.get(), pictures - 1) << "all but the end mark";
        Traces();
        Calls();
    }
}

} // namespace
