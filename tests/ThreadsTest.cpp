#include "support/RingBufferTest.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <random>
#include <thread>

namespace
{

using namespace std::chrono_literals;

constexpr pyx_int64 c_step = 100'000; ///< between two packets of one kind, 10 ms

/// One component and all that a host may do with it at once.
class ThreadsTest : public RingBufferTest
{
protected:
    /// What is wrong ends the test.
    void Expect(bool isRight, const std::string& what)
    {
        EXPECT_TRUE(isRight) << what;
        m_stop = m_stop || !isRight;
    }

    /// One encoder: packets without a gap, a group every ten, never far ahead of the other encoder, until the component
    /// has ended. A switched-off input still takes them. Returns how many were taken.
    int Encode(int own, PYXInput* pInput)
    {
        int taken = 0;
        PYX_RESULT result = PYX_OK;
        for (pyx_int64 i = 0; result != PYX_UNEXPECTED && !m_stop; ++i)
        {
            while (!m_stop && !m_hasEnded && i > m_packets[1 - own] + 2)
            {
                std::this_thread::yield();
            }
            const Packet packet{.kind = "VA"[own], .pts = i * c_step, .key = i % 10 == 0, .bytes = 100};
            result = pInput->SubmitInput(packet.Build().Get());
            m_packets[own] = i;
            taken += result == PYX_OK ? 1 : 0;
            // The directory is gone between Terminate and Init; late audio may meet a file that is closed.
            Expect(result == PYX_OK || result == (m_hasEnded ? PYX_UNEXPECTED : PYX_FAIL) ||
                       result == PYX_FILE_NOT_OPEN,
                   "packet " + std::to_string(result));
        }
        return taken;
    }

    /// Properties, inputs and reads: nothing that writes a clip.
    void Control(unsigned seed)
    {
        // The audio packet is too old: it waits, and is dropped with the first group.
        const auto steps =
            Split("Duration=1 Duration=2 EnableAudio=false EnableAudio=true EnableVideo=false "
                  "EnableVideo=true Path=a.mp4 Path=b.mp4 V.BitRate=1 V.BitRate=2 A.BitRate=3 A.BitRate=4 "
                  "V- V- A-1000000 A-1000000");
        for (std::mt19937 random(seed); !m_stop;)
        {
            const std::string& step = steps[random() % steps.size()];
            const PYX_RESULT result = Run(step);
            Expect(result == (step == "V-" ? PYX_EOF : PYX_OK) || result == c_noInput,
                   step + ' ' + std::to_string(result));
            Expect(!Get(m_spComponent.Get(), L"Duration").starts_with("error"), "a property cannot be read");
        }
    }

    /// Clips, one after the other, in both storage modes and two directories.
    void WriteClips()
    {
        const auto settings = Split("BufferInRamEnabled=true BufferInRamEnabled=false TempPath=T\\0 TempPath=T\\1");
        for (std::mt19937 random(1); !m_stop; CheckClip(Written()), Traces(), Calls())
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 400));
            const size_t kind = random() % 8;
            if (kind < settings.size())
            {
                Run(settings[kind]);
                continue;
            }
            const PYX_RESULT result = Run("Terminate");
            Expect(result == PYX_OK || result == PYX_FAIL, "Terminate"); // a file group without audio cannot be read
            Expect(Run("Init") == PYX_OK, "Init");
        }
    }

    /// Each kind's packets in order, video without a gap, no byte and no time wrong.
    void CheckClip(const std::string& written)
    {
        pyx_int64 video = -c_step;
        pyx_int64 audio = -1;
        m_clips += written.ends_with("A-") ? 1 : 0;
        for (const std::string& packet : Split(written.substr(0, written.find(" V-"))))
        {
            const pyx_int64 time = std::stoll(packet.substr(1));
            const bool isNext = packet[0] == 'V' ? time == video + c_step : time > audio;
            Expect(isNext && !packet.ends_with(')'), packet + " in " + written);
            (packet[0] == 'V' ? video : audio) = time;
        }
    }

    std::atomic<bool> m_stop = false;
    std::atomic<bool> m_hasEnded = false;     ///< the component has ended, or is about to
    std::atomic<pyx_int64> m_packets[2] = {}; ///< how far video and audio are
    int m_clips = 0;
};

TEST_F(ThreadsTest, EncodersAndControlsAtOnceLeaveEveryClipInOrder)
{
    m_faults.Fail("none", 0, PYX_OK); // several threads ask the plan: it must not count
    Start();
    Run("Duration=2");
    {
        // A deadlock is ended by the test's time-out.
        const std::jthread threads[] = {std::jthread([this, spInput = Input(0)] { Encode(0, spInput.Get()); }),
                                        std::jthread([this, spInput = Input(1)] { Encode(1, spInput.Get()); }),
                                        std::jthread([this] { Control(1); }), std::jthread([this] { Control(2); }),
                                        std::jthread([this] { WriteClips(); })};
        const auto end = std::chrono::steady_clock::now() + (std::getenv("PYX_TEST_LONG") ? 60s : 5s);
        while (std::chrono::steady_clock::now() < end && !m_stop)
        {
            std::this_thread::sleep_for(10ms);
        }
        m_stop = true;
    }
    EXPECT_GE(m_clips, 5);
}

TEST_F(ThreadsTest, AComponentEndsUnderItsEncodersAndEachPacketIsWrittenOrRefused)
{
    m_faults.Fail("none", 0, PYX_OK);
    const pyx_int64 alive = HostObject::Alive();
    for (int round = std::getenv("PYX_TEST_LONG") ? 5000 : 40; round > 0 && !HasFailure(); --round)
    {
        Start(true);
        const PYXInterfacePtr<PYXInput> inputs[] = {Input(0), Input(1)};
        m_hasEnded = false;
        m_packets[0] = m_packets[1] = 0;
        auto video = std::async(std::launch::async, [&] { return Encode(0, inputs[0].Get()); });
        auto audio = std::async(std::launch::async, [&] { return Encode(1, inputs[1].Get()); });
        while (m_packets[0] < 15 + round % 20 && !m_stop)
        {
            std::this_thread::yield();
        }
        m_hasEnded = true;
        Destroy();
        const int taken = video.get();
        audio.wait();
        for (const auto& spInput : inputs)
        {
            EXPECT_EQ(spInput->SubmitInput(nullptr), PYX_UNEXPECTED);
            EXPECT_EQ(spInput->SetProperty(L"BitRate", PYXVariantFromInt64(5)), PYX_UNEXPECTED);
        }
        EXPECT_EQ(HostObject::Alive(), alive) << "a packet was stored after the end";
        const std::string written = Written();
        EXPECT_EQ(taken, std::ranges::count(written, 'V') - 1) << "all but the end mark";
        CheckClip(written);
        Traces();
        Calls();
    }
}

} // namespace
