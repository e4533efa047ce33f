#pragma once

#include "common/Component.h"
#include "common/Handles.h"
#include "common/InterfacePtr.h"
#include "host/HostContext.h"
#include "support/Companions.h"
#include "support/Faults.h"
#include "support/Hooks.h"
#include "support/Packet.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

/// A property as text, see Text(); "error 11" when it cannot be read.
std::string Get(PYXPropertyStorage* pStorage, const wchar_t* name);

namespace fs = std::filesystem;

/// An empty directory for one test, in which no file is open at its end.
struct TestDirectory
{
    TestDirectory();
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;
    ~TestDirectory();

    /// Writes a file, and the directories to it.
    fs::path Put(const fs::path& name, const std::string& content = "theirs") const;

    /// What is in it, in order: "a b b/c". "none": no directory.
    std::string List() const;

    const fs::path path = fs::temp_directory_path() / std::to_string(GetCurrentProcessId());
};

/// The content of a file.
std::string Read(const fs::path& file);

/// The module: its counters and companions begin again.
PYXModuleOwner LoadRingBuffer();

/// A ring buffer out of the shipped module, between recording companions and the
/// sample host's packets. A suite derives from it under its own name.
class RingBufferTest : public testing::Test
{
public:
    RingBufferTest();
    ~RingBufferTest() override;

protected:
    /// A component as the module hands it out.
    void Create();

    /// A component that is ready for packets: both streams, a temporary
    /// directory, the storage mode. What the companions recorded is forgotten.
    void Start(bool inRam = false);
    void Destroy()
    {
        m_spComponent.Reset();
    }

    /// The input at an index (video is 0, audio 1 after Start), null past the end.
    PYXInterfacePtr<PYXInput> Input(int index);

    /// One call of the host, and its result:
    ///     new:VA         another component; its muxer has these inputs, see Companions
    ///     V2sK A3s V-    a packet for the input of its kind, see Packet; V-: null
    ///     V.BitRate=5    a property of the video input; "V.=5": a null name
    ///     Duration=5     a property of the component; a value's first "T" is the test's directory
    ///     Init ReInit Terminate Get1
    PYX_RESULT Run(const std::string& step);
    PYX_RESULT SetProperty(PYXPropertyStorage* pStorage, const std::string& property);
    static constexpr auto c_noInput = static_cast<PYX_RESULT>(-1); ///< of that kind

    /// Several, each of which succeeds.
    void Feed(const std::string& steps);

    static std::string StorageMode(bool inRam)
    {
        return inRam ? "BufferInRamEnabled=true" : "BufferInRamEnabled=false";
    }

    /// What the companions recorded since the last call, see Companions.
    std::string Written();
    std::string Calls()
    {
        return m_companions.Take(&Companions::calls);
    }
    std::string Traces()
    {
        return m_companions.Take(&Companions::traces);
    }
    std::string Files() const
    {
        return m_temp.List();
    }

    FaultPlan& m_faults = FaultPlan::Get();
    Companions& m_companions = Companions::Get();
    TestDirectory m_temp;
    PYXModuleOwner m_module = LoadRingBuffer();
    PYXInterfacePtr<HostContext> m_spContext = HostContext::Create();
    PYXInterfacePtr<PYXComponentEx> m_spComponent;
};

/// Instantiates a suite whose parameter is the storage mode.
#define INSTANTIATE_STORAGE_SUITE(suite)                                                                               \
    INSTANTIATE_TEST_SUITE_P(Modes, suite, testing::Bool(),                                                            \
                             [](const auto& mode) { return mode.param ? "Memory" : "File"; })
