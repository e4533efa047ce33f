#include "support/RingBufferTest.h"

#include <process.h>

namespace
{

class StreamDisasterTest : public StorageTest
{
protected:
    void ExpectReplay(const wchar_t* duration, const std::string& packets, const std::string& written)
    {
        EXPECT_EQ(m_spComponent->Init(0, 0, 0), PYX_OK);
        EXPECT_EQ(Set(L"Duration", duration), PYX_OK);
        Feed(packets);
        EXPECT_EQ(Terminate(), PYX_OK);
        EXPECT_EQ(Written(), written);
    }
};

INSTANTIATE_STORAGE_SUITE(StreamDisasterTest);

TEST_P(StreamDisasterTest, TimesMayJump)
{
    Feed("V9223372036854775807K+1 A9223372036854775807 V-9223372036854775807K A-9223372036854775807 V5s V0sK+7 A0s");
    ExpectReplay(L"30", "V0sK A0s V1s V36000sK A36000s V36001sK A36001s", "V0 A0 V10000000 A10000000 V- A-");
    ExpectReplay(L"30", "V36000sK A36000s V0sK A0s V1sK A1s",
                 "V0 A0 V-360000000000 A-360000000000 V-359990000000 A-359990000000 V- A-");
    ExpectReplay(L"1", "V0sK A0s V1sK A1s V2sK A2s V3sK A3s", "V0 A0 V- A-");
    ExpectReplay(L"2147483647", "V0sK A0s V2147483646sK A2147483646s V2147483647sK A2147483647s",
                 "V0 A0 V21474836460000000 A21474836460000000 V- A-");
}

TEST_P(StreamDisasterTest, KeyFramesMayStopComing)
{
    std::string packets = "V-1sK A-1s V0sK A0s";
    std::string written = "V0 A0 V10000000 A10000000";
    for (int i = 1; i < 1000; ++i)
    {
        packets += " V" + std::to_string(i) + 's';
        written += i < 29 ? " V" + std::to_string(i + 1) + "0000000" : "";
    }
    ExpectReplay(L"30", packets, written + " V- A-");
}

TEST_P(StreamDisasterTest, OnePacketMayBeLargerThanAllOthersTogether)
{
    ExpectReplay(L"30", "V0sK/1024 A0s/1024 V1s/67108864 A1s/1024 V2s/1024 V3sK A3s",
                 "V0 A0 V10000000 A10000000 V20000000 V30000000 A30000000 V- A-");
}

TEST_P(StreamDisasterTest, EmptyPacketsComeBackFromMemoryAndFailTheWriteOutFromFiles)
{
    Feed("V0sK A0s V1s/0 A1s/0 V2sK A2s");
    EXPECT_EQ(Terminate(), GetParam() ? PYX_OK : PYX_EOF);
    EXPECT_EQ(Written(), GetParam() ? "V0 A0 V10000000 A10000000 V20000000 A20000000 V- A-" : "V0");
    EXPECT_EQ(Traces().find("ReadPacket() - Failed to read from the temporary file.") == std::string::npos, GetParam());
    ExpectReplay(L"30", "V0sK A0s V2sK A2s", "V0 A0 V20000000 A20000000 V- A-");
}

TEST_P(StreamDisasterTest, LineEndsAndEndsOfFileComeBackByteForByte)
{
    const std::string name = "V0\r\n\n\r\x1a\x1a\r\n";
    const auto spBuffer = Packet{.key = true, .bytes = 50000}.Build();
    for (size_t i = 0; i < 50000; ++i)
    {
        static_cast<char*>(spBuffer->GetNative())[i] = (name + '|')[i % 11];
    }
    spBuffer->SetProperty(L"Name", PYXVariantBorrowWString(std::wstring(name.begin(), name.end()).c_str()));
    EXPECT_EQ(Input(0)->SubmitInput(spBuffer.Get()), PYX_OK);
    Feed("A0s V1s V2sK A2s");
    EXPECT_EQ(Terminate(), PYX_OK);
    EXPECT_EQ(Written(), "V0 A0 V10000000 V20000000 A20000000 V- A-"); // another byte shows as "V0(...)"
}

class FileDisasterTest : public RingBufferTest
{
protected:
    template <class Condition> static void Wait(Condition condition)
    {
        for (int i = 0; i < 1000 && !condition(); ++i)
        {
            Sleep(10);
        }
    }

    void ExpectAllIsWell(const std::string& written)
    {
        EXPECT_EQ(m_spComponent->Init(0, 0, 0), PYX_OK);
        Written();
        Feed("V0sK/300000 A0s V1sK/300000 A1s");
        EXPECT_EQ(Terminate(), PYX_OK);
        EXPECT_EQ(Written(), written);
    }
};

/// Run in a process of its own by the next tests.
TEST_F(FileDisasterTest, DISABLED_OtherHost)
{
    Start();
    EXPECT_EQ(Set(L"TempPath", _wgetenv(L"PYX_TEST_DIRECTORY")), PYX_OK);
    Feed("V0sK V1sK A1s");
    Sleep(30000);
}

/// Another process that records to a directory. It inherits what this one has open.
struct OtherHost
{
    explicit OtherHost(const std::filesystem::path& directory)
    {
        SetEnvironmentVariableW(L"PYX_TEST_DIRECTORY", directory.c_str());
        process = reinterpret_cast<HANDLE>(_wspawnl(_P_NOWAIT, _wpgmptr, L"-", L"--gtest_filter=*OtherHost",
                                                    L"--gtest_also_run_disabled_tests", nullptr));
    }
    OtherHost(const OtherHost&) = delete;
    OtherHost& operator=(const OtherHost&) = delete;
    ~OtherHost()
    {
        TerminateProcess(process, 1);
        WaitForSingleObject(process, INFINITE);
        CloseHandle(process);
    }

    HANDLE process;
};

TEST_F(FileDisasterTest, AnotherHostsFilesAreInTheWayUntilItIsKilled)
{
    Start();
    {
        const OtherHost other(m_temp.path);
        Wait([this] { return Files() == "Temp1.RBV Temp2.RBA Temp2.RBV"; });
        EXPECT_EQ(m_spComponent->Init(0, 0, 0), PYX_OK);
        EXPECT_EQ(TryFeed("V0sK"), PYX_OK);   // the other is done with its first group
        EXPECT_EQ(TryFeed("V1sK"), PYX_FAIL); // and fills its second
    }
    EXPECT_EQ(Files(), "Temp1.RBV Temp2.RBA Temp2.RBV");
    Destroy();
    Start();
    EXPECT_EQ(Files(), "");
    ExpectAllIsWell("V0 A0 V10000000 A10000000 V- A-");
    EXPECT_EQ(Files(), "none");
}

TEST_F(FileDisasterTest, AChildOfTheHostHoldsNoFile)
{
    Start();
    Set(L"TempPath", (m_temp.path / "own").c_str());
    Feed("V0sK A0s V1sK A1s");
    const OtherHost child(m_temp.path / "child");
    EXPECT_EQ(Terminate(), PYX_OK);
    EXPECT_EQ(TestDirectory::List(m_temp.path / "own"), "none");
}

} // namespace
