#include "common/DataStreamFile.h"
#include "common/DataStreamMemory.h"
#include "support/RingBufferTest.h"

#include <deque>
#include <random>

namespace
{

using FaultyAlloc = FaultyCall<"VirtualAlloc", 0, void*(void*, SIZE_T, DWORD, DWORD)>;
using FaultyFree = FaultyCall<"VirtualFree", 0, BOOL(void*, SIZE_T, DWORD)>;

/// "result bytes" of a read.
std::string Read(PYXDataStream* pStream, pyx_uint64 size)
{
    std::string bytes(size, '?');
    pyx_uint64 read = 99;
    const PYX_RESULT result = pStream->Read(bytes.data(), size, &read);
    return std::to_string(result) + ' ' + bytes.substr(0, read <= size ? read : 0);
}

/// "size@position".
std::string Place(PYXDataStream* pStream)
{
    pyx_uint64 size = 99;
    pyx_uint64 position = 99;
    EXPECT_EQ(pStream->GetSize(&size), PYX_OK);
    EXPECT_EQ(pStream->GetPosition(&position), PYX_OK);
    return std::to_string(size) + '@' + std::to_string(position);
}

/// One contract for streams in memory and in files.
class DataStreamTest : public testing::TestWithParam<bool>
{
protected:
    DataStreamTest()
    {
        Companions::Get() = {};
        FaultPlan::Get() = {};
    }

    PYX_RESULT Open(pyx_uint32 mode, pyx_uint32 share = 0)
    {
        return m_spStream->Open(m_path.c_str(), mode, share);
    }
    PYX_RESULT Write(const std::string& bytes)
    {
        return m_spStream->Write(bytes.data(), bytes.size(), nullptr);
    }

    /// "result position" of a seek.
    std::string Seek(pyx_uint32 origin, pyx_int64 offset)
    {
        pyx_uint64 position = 0;
        const PYX_RESULT result = m_spStream->Seek(origin, offset, &position);
        return std::to_string(result) + ' ' + std::to_string(position);
    }

    static std::string Traces()
    {
        return Companions::Get().Take(&Companions::traces);
    }

    const bool m_isMemory = GetParam();
    TestDirectory m_temp;
    const std::filesystem::path m_path = m_temp.path / "Stream";
    PYXInterfacePtr<PYXDataStreamImpl> m_spStream{
        m_isMemory ? static_cast<PYXDataStreamImpl*>(new PYXDataStreamMemoryImpl) : new PYXDataStreamFileImpl};
};

INSTANTIATE_STORAGE_SUITE(DataStreamTest);

TEST_P(DataStreamTest, KeepsBytesAndPositions)
{
    EXPECT_EQ(Open(2), PYX_OK);
    EXPECT_EQ(Write("a\r\n\x1A\n"), PYX_OK);
    EXPECT_EQ(Write("678"), PYX_OK);
    EXPECT_EQ(Place(m_spStream.Get()), "8@8");
    EXPECT_EQ(Seek(0, 1), "0 1");
    EXPECT_EQ(Read(m_spStream.Get(), 4), "0 \r\n\x1A\n");
    EXPECT_EQ(Seek(1, -2), "0 3");
    EXPECT_EQ(Read(m_spStream.Get(), 100), "0 \x1A\n678");
    EXPECT_EQ(Read(m_spStream.Get(), 1), m_isMemory ? "0 " : "23 ");
    EXPECT_EQ(Seek(2, 0), "0 8");
    EXPECT_EQ(Seek(7, 0), m_isMemory ? "0 8" : "0 0"); // an unknown origin
    EXPECT_TRUE(m_spStream->IsSeekable());
    EXPECT_EQ(m_spStream.Query<PYXDataStream>()->GetReferenceCount(), 2u);
    EXPECT_EQ(static_cast<PYXInterface*>(m_spStream.Query<PYXInterface>().Get()), m_spStream.Get());
    EXPECT_FALSE(m_spStream.Query<PYXComponent>());
    EXPECT_EQ(Seek(0, 200), m_isMemory ? "0 8" : "0 200"); // from here on hosts rely on what differs
    EXPECT_EQ(Seek(0, -1), m_isMemory ? "0 8" : "1 0");
    EXPECT_EQ(Seek(2, 5), m_isMemory ? "0 3" : "0 13");
    EXPECT_EQ(Seek(0, 1), "0 1");
    EXPECT_EQ(Write("1234"), PYX_OK);
    EXPECT_EQ(Place(m_spStream.Get()), m_isMemory ? "5@5" : "8@5");
    EXPECT_EQ(Traces(), "");
    EXPECT_EQ(m_spStream->Close(), PYX_OK);
    EXPECT_EQ(m_spStream->Close(), PYX_OK);
    EXPECT_EQ(Read(m_spStream.Get(), 1), m_isMemory ? "13 " : "16 ");
    EXPECT_EQ(Traces(), m_isMemory ? "E DataStreamMemoryImpl Assertion failed:Read() - Stream is not allocated"
                                   : "E DataStreamFileImpl Assertion failed:Read() - File not open");
}

TEST_P(DataStreamTest, RefusesNullsFirst)
{
    const auto refused = [this](int inMemory, const std::string& memoryText, int inFile, const std::string& fileText) {
        return m_isMemory ? std::to_string(inMemory) + "\nE DataStreamMemoryImpl Assertion failed:" + memoryText
                          : std::to_string(inFile) + "\nE DataStreamFileImpl Assertion failed:" + fileText;
    };
    EXPECT_EQ(Outcome(m_spStream->GetPosition(nullptr)),
              refused(7, "GetPosition() - pPosition==NULL", 7, "pPosition != NULL"));
    EXPECT_EQ(Outcome(m_spStream->GetSize(nullptr)), refused(7, "GetPosition() - pSize==NULL", 7, "pSize != NULL"));
    EXPECT_EQ(Outcome(m_spStream->Write(nullptr, 1, nullptr)),
              refused(7, "Write() - pData==NULL", 16, "Write() - File not Open"));
    EXPECT_EQ(Outcome(m_spStream->Read(nullptr, 1, nullptr)),
              refused(7, "Read() - pData==NULL", 16, "Read() - File not open"));
    EXPECT_EQ(Outcome(m_spStream->Open(nullptr, 0, 0)), m_isMemory ? "0" : refused(0, "", 4, "pFilePath != NULL"));
}

TEST(FileStreamTest, FailsWithoutATraceWhenTheSystemRefuses)
{
    const TestDirectory temp;
    const std::filesystem::path path = temp.path / "Stream";
    Companions::Get() = {};
    const int inherited = CountFiles(HANDLE_FLAG_INHERIT);
    PYXDataStreamFileImpl stream;
    char byte = 0;
    EXPECT_EQ(stream.Open(path.c_str(), 0, 0), PYX_FAIL); // no such file
    EXPECT_EQ(stream.Open(path.c_str(), 1, 0), PYX_OK);
    EXPECT_EQ(stream.Read(&byte, 1, nullptr), PYX_FAIL); // write only
    PYXDataStreamFileImpl other;
    EXPECT_EQ(other.Open(path.c_str(), 0, 3), PYX_FAIL); // share 0: for one stream only
    EXPECT_EQ(CountFiles(HANDLE_FLAG_INHERIT), inherited) << "a process that the host starts would hold the file";
    EXPECT_EQ(stream.Open((temp.path / "Other").c_str(), 2, 3), PYX_OK); // closes the first
    for (const char* bytes : {"12", "3"})
    {
        EXPECT_EQ(other.Open(path.c_str(), 3, 0), PYX_OK); // appends
        EXPECT_EQ(other.Write(bytes, strlen(bytes), nullptr), PYX_OK);
    }
    EXPECT_EQ(other.Close(), PYX_OK);
    EXPECT_EQ(std::filesystem::file_size(path), 3u);
    EXPECT_EQ(Companions::Get().traces, ""); // the listener misses a handle that stays with a stream
}

/// Three streams that share segments, each beside a text that is written, cut and read like it.
TEST(MemoryStreamsTest, KeepTheirBytesHoweverTheyShareSegments)
{
    struct
    {
        std::unique_ptr<PYXDataStreamMemoryImpl> pStream;
        std::string text;
        size_t position = 0;
    } streams[3];
    const FaultyAlloc alloc(GetModuleHandleW(nullptr));
    std::shared_ptr<PYXMemorySegments> spSegments;
    std::mt19937 random(1);
    const auto below = [&](size_t count) { return random() % count; };
    for (int step = 0; step < 20'000 && !testing::Test::HasFailure(); ++step)
    {
        if (step % 200 == 0)
        {
            spSegments = std::make_shared<PYXMemorySegments>(1 + below(20));
        }
        auto& [pStream, text, position] = streams[below(3)];
        const std::string bytes(below(30), static_cast<char>('a' + below(26)));
        const size_t kind = below(20);
        if (!pStream || kind == 0 || step % 200 < 3)
        {
            pStream = std::make_unique<PYXDataStreamMemoryImpl>(spSegments);
            text.clear();
        }
        else if (kind == 1)
        {
            EXPECT_EQ(pStream->Close(), PYX_OK);
            text.clear();
        }
        else if (kind == 2)
        {
            spSegments->BeginGroup();
        }
        else if (kind < 8)
        {
            position = below(text.size() + 1);
            EXPECT_EQ(pStream->Seek(0, static_cast<pyx_int64>(position), nullptr), PYX_OK);
        }
        else
        {
            Companions::Get() = {};
            FaultPlan::Get().Fail("VirtualAlloc", below(8) == 0 ? -1 : 0, 1);
            const PYX_RESULT result = pStream->Write(bytes.data(), bytes.size(), nullptr);
            const bool fails = !FaultPlan::Get().failed.empty();
            EXPECT_EQ(Outcome(result), fails ? "6\nE DataStreamMemoryImpl PYX_ERROR 6 : code 6: Write() - Stream is "
                                               "not allocated"
                                             : "0");
            text.replace(position, fails ? 0 : std::string::npos, fails ? "" : bytes);
            position += fails ? 0 : bytes.size();
        }
        position = std::min(position, text.size());

        EXPECT_EQ(Place(pStream.get()), std::to_string(text.size()) + '@' + std::to_string(position));
        const std::string read = Read(pStream.get(), text.size() + 1);
        EXPECT_EQ(read.substr(read.find(' ') + 1), text.substr(position));
        EXPECT_EQ(pStream->Seek(0, static_cast<pyx_int64>(position), nullptr), PYX_OK);
    }
}

TEST(MemoryStreamsTest, UseAgainWhatTheNextGroupNeedsAndGiveBackTheRest)
{
    const FaultyAlloc alloc(GetModuleHandleW(nullptr));
    const FaultyFree free(GetModuleHandleW(nullptr));
    auto spSegments = std::make_shared<PYXMemorySegments>(100);
    std::deque<PYXDataStreamMemoryImpl> groups;
    const std::string part(40, 'x');
    const auto fill = [&](PYXDataStreamMemoryImpl& stream, size_t size) {
        for (size_t i = 0; i < size; i += part.size())
        {
            EXPECT_EQ(stream.Write(part.data(), std::min(part.size(), size - i), nullptr), PYX_OK);
        }
    };
    FaultPlan::Get().Fail("VirtualAlloc", 0, 1);
    for (int i = 0; i < 20; ++i)
    {
        spSegments->BeginGroup();
        fill(groups.emplace_back(spSegments), 100);
        if (groups.size() > 4)
        {
            groups.pop_front();
        }
        fill(groups.back(), 900);
    }
    EXPECT_EQ(FaultPlan::Get().calls, 41);
    FaultPlan::Get().Fail("VirtualFree", 0, 1);
    groups.clear();
    EXPECT_EQ(FaultPlan::Get().calls, 29); // ten of a group and two more are kept
    spSegments->BeginGroup();
    spSegments->BeginGroup();
    EXPECT_EQ(FaultPlan::Get().calls, 39);
    spSegments.reset();
    EXPECT_EQ(FaultPlan::Get().calls, 41);
    PYXDataStreamMemoryImpl alone;
    fill(alone, 100);
    EXPECT_EQ(alone.Close(), PYX_OK);
    EXPECT_EQ(FaultPlan::Get().calls, 42);
}

} // namespace
