#include "support/Model.h"
#include "support/RingBufferTest.h"

#include <future>
#include <iostream>
#include <random>
#include <set>

namespace
{

using namespace std::chrono_literals;
using Session = std::vector<std::string>;

std::string Outcome(int result, Companions* pSeen)
{
    std::string text = std::to_string(result) + " | " + pSeen->Take(&Companions::written);
    text += " | " + pSeen->Take(&Companions::calls) + " | " + pSeen->Take(&Companions::traces);
    std::ranges::replace(text, '\n', ' ');
    pSeen->base = -1;
    return text;
}

/// Host and judge. Every session has a module and a directory of its own.
class ModelTest : public RingBufferTest
{
protected:
    /// The first step in which the module is not as the model after those before it, or nothing.
    std::string FindDifference(const Session& session)
    {
        fs::remove_all(m_temp.path);
        m_companions = {};
        m_companions.onTrace = [this](const std::string& text) { CheckTrace(text); };
        m_module.reset();
        m_module = LoadRingBuffer();
        m_filesBefore = CountFiles();
        Model model(m_temp.path.string());
        std::string running;
        std::string difference;
        for (auto step = session.begin(); step != session.end() && difference.empty(); ++step)
        {
            running += *step + ' ';
            const int result = model.Run(*step);
            const std::string expected = Outcome(result, &model.seen);
            const std::string actual = Outcome(result == Model::c_unknown ? result : Take(*step), &m_companions);
            difference = actual == expected ? "" : running + "\n  module: " + actual + "\n  model:  " + expected;
        }
        m_faults = {};
        Destroy();
        return difference;
    }

    int Take(const std::string& text)
    {
        const std::string step = Model::Plan(text, &m_faults);
        if (step == "Files")
        {
            const std::string files = Files();
            const auto count = files == "none" ? -1 : static_cast<int>(std::ranges::count(files, 'T'));
            return count + Model::c_open * (CountFiles() - m_filesBefore);
        }
        return Run(step);
    }

    /// A failed packet is traced without the component's lock: another thread may wait for it in the host's trace.
    void CheckTrace(const std::string& text)
    {
        if (text.find("SubmitInput() failed to store") != std::string::npos && m_checked.insert(text).second)
        {
            m_others.push_back(std::async(std::launch::async, [this] { Input(0); }));
            EXPECT_EQ(m_others.back().wait_for(5s), std::future_status::ready) << text;
        }
    }

    int m_filesBefore = 0;
    std::set<std::string> m_checked;
    std::vector<std::future<void>> m_others;
};

/// What a host may do in 70 steps: packets that go forward in time, and in between
/// everything else.
Session MakeSession(unsigned seed)
{
    static const Session s_video = Split("s s s s s+10000000 s/700 s/0 sK sK sK+10000000");
    static const Session s_audio = Split("s s s s s s s s s s s/0 s/700");
    static const Session s_properties = Split(
        "Duration=1 Duration=2 Duration=4 Duration=2147483647 Duration=0 Duration=2147483648 Duration=x TempPath=T "
        "TempPath= BufferInRamEnabled=true BufferInRamEnabled=false BufferInRamEnabled=x EnableAudio=true "
        "EnableAudio=false EnableVideo=true EnableVideo=false Path=a.mp4 Path=b.mp4 Nope=1 =1 V.Enabled=false "
        "V.Enabled=true A.Enabled=false A.Enabled=true V.BitRate=0 V.Enabled=x A.Nope=1 V.=1");
    static const Session s_calls = Split("Terminate Terminate Init ReInit Get0 Get1 Get7 V- A- Files Files Files Files "
                                         "new:VA new:V new:A new:");
    static const Session s_faults =
        Split("!Submit !End !Init !SetProperty !Input.SetProperty !Input.GetProperty !GetInput !Create");
    static const Session s_muxers = Split("VA VA VA VA AVV VADV xVA V0");
    std::mt19937 random(seed);
    const auto below = [&](size_t count) { return random() % count; };
    const auto pick = [&](const Session& from) { return from[below(from.size())]; };
    Session session =
        Split("new:" + pick(s_muxers) + " EnableAudio=true TempPath=T Duration=4 BufferInRamEnabled=true");
    session.resize(5 - below(2));
    if (below(3) == 0)
    {
        session.erase(session.begin() + 1 + static_cast<int>(below(3)));
    }
    for (pyx_int64 now = -3; session.size() < 70;)
    {
        const size_t kind = below(100);
        const auto time =
            std::to_string(kind < 40 ? now : now + static_cast<int>(below(4)) - static_cast<int>(below(3) * below(4)));
        session.push_back(kind < 40   ? 'V' + time + pick(s_video)
                          : kind < 75 ? 'A' + time + pick(s_audio)
                                      : pick(kind < 90 ? s_properties : s_calls) + (below(3) ? "" : pick(s_faults)));
        now += kind < 40 ? static_cast<int>(below(2)) : kind == 75 ? 3600 : kind == 76 ? -3600 : 0;
    }
    session.insert(session.end(), {"Terminate!End", "Files", "new:VA"}); // a clip that fails leaves no file open
    return session;
}

TEST_F(ModelTest, RandomSessionsGoAsInTheModel)
{
    const char* const only = getenv("PYX_TEST_SEED");
    const unsigned first = only ? static_cast<unsigned>(std::stoul(only)) : 1;
    const unsigned count = only ? 1 : getenv("PYX_TEST_LONG") ? 6000 : 300;
    for (unsigned seed = first; seed < first + count && !HasFailure(); ++seed)
    {
        std::cout << "PYX_TEST_SEED=" << seed << '\n' << std::flush; // the last one, if it crashes
        EXPECT_EQ(FindDifference(MakeSession(seed)), "");
    }
}

} // namespace
