#include "common/DataStreamFile.h"
#include "common/DataStreamMemory.h"
#include "support/RingBufferTest.h"

#include <deque>
#include <random>

namespace
{

using FaultyAlloc = FaultyCall<"VirtualAlloc", 0, void*(void*, SIZE_T, DWORD, DWORD)>;
using FaultyFree = FaultyCall<"VirtualFree", 0, BOOL(void*, SIZE_T, DWORD)>;

/// Where a stream keeps its bytes.
struct Kind
{
    const char* name;
    bool isMemory;
};

/// One contract for both kinds of streams.
class DataStreamTest : public testing::TestWithParam<Kind>
{
protected:
    DataStreamTest()
    {
        Companions::Get() = {};
        FaultPlan::Get() = {};
        if (m_isMemory)
        {
            m_pStream = std::make_unique<PYXDataStreamMemoryImpl>();
        }
        else
        {
            m_pStream = std::make_unique<PYXDataStreamFileImpl>();
        }
        std::filesystem::create_directory(m_temp.path);
    }

    PYX_RESULT Open(pyx_uint32 mode, pyx_uint32 share = 0)
    {
        return m_pStream->Open(m_path.c_str(), mode, share);
    }
    PYX_RESULT Write(const std::string& bytes)
    {
        return m_pStream->Write(bytes.data(), bytes.size(), nullptr);
    }

    /// "result position" of a seek.
    std::string Seek(pyx_uint32 origin, pyx_int64 offset)
    {
        pyx_uint64 position = 0;
        const PYX_RESULT result = m_pStream->Seek(origin, offset, &position);
        return std::to_string(result) + ' ' + std::to_string(position);
    }

    /// "result bytes" of a read.
    std::string Read(pyx_uint64 size)
    {
        std::string bytes(size, '?');
        pyx_uint64 read = 99;
        const PYX_RESULT result = m_pStream->Read(bytes.data(), size, &read);
        return std::to_string(result) + ' ' + bytes.substr(0, read <= size ? read : 0);
    }

    /// "size@position".
    std::string Place()
    {
        pyx_uint64 size = 99;
        pyx_uint64 position = 99;
        EXPECT_EQ(m_pStream->GetSize(&size), PYX_OK);
        EXPECT_EQ(m_pStream->GetPosition(&position), PYX_OK);
        return std::to_string(size) + '@' + std::to_string(position);
    }

    /// Open files that a process started now would hold too.
    static int CountInheritedFiles()
    {
        int count = 0;
        DWORD flags = 0;
        for (std::uintptr_t value = 4; value < 0x400; value += 4)
        {
            const auto handle = reinterpret_cast<HANDLE>(value);
            count += GetHandleInformation(handle, &flags) && flags & HANDLE_FLAG_INHERIT ? 1 : 0;
        }
        return count;
    }

    static std::string Traces()
    {
        return Companions::Get().Take(&Companions::traces);
    }

    const bool m_isMemory = GetParam().isMemory;
    TestDirectory m_temp;
    const std::filesystem::path m_path = m_temp.path / "Stream";
    std::unique_ptr<PYXDataStreamImpl> m_pStream;
};

INSTANTIATE_TEST_SUITE_P(Kinds, DataStreamTest, testing::Values(Kind{"File", false}, Kind{"Memory", true}),
                         [](const auto& kind) { return kind.param.name; });

TEST_P(DataStreamTest, KeepsBytesAndPositions)
{
    EXPECT_EQ(Open(2), PYX_OK);
    EXPECT_EQ(Write("a\r\n\x1A\n"), PYX_OK);
    EXPECT_EQ(Write("678"), PYX_OK);
    EXPECT_EQ(Place(), "8@8");
    EXPECT_EQ(Seek(0, 1), "0 1");
    EXPECT_EQ(Read(4), "0 \r\n\x1A\n");
    EXPECT_EQ(Seek(1, -2), "0 3");
    EXPECT_EQ(Read(100), "0 \x1A\n678");
    EXPECT_EQ(Read(1), m_isMemory ? "0 " : "23 ");
    EXPECT_EQ(Seek(2, 0), "0 8");
    EXPECT_EQ(Seek(7, 0), m_isMemory ? "0 8" : "0 0"); // an unknown origin
    EXPECT_TRUE(m_pStream->IsSeekable());
    EXPECT_EQ(Traces(), "");
}

TEST_P(DataStreamTest, DiffersByKindWhereHostsKnowIt)
{
    EXPECT_EQ(Open(2), PYX_OK);
    EXPECT_EQ(Write(std::string(100, 'x')), PYX_OK);
    EXPECT_EQ(Seek(0, 200), m_isMemory ? "0 100" : "0 200");
    EXPECT_EQ(Seek(0, -1), m_isMemory ? "0 100" : "1 0");
    EXPECT_EQ(Seek(2, 10), m_isMemory ? "0 90" : "0 110");
    EXPECT_EQ(Seek(0, 10), "0 10");
    EXPECT_EQ(Write("12345"), PYX_OK);
    EXPECT_EQ(Place(), m_isMemory ? "15@15" : "100@15");
    EXPECT_EQ(m_pStream->Close(), PYX_OK);
    EXPECT_EQ(m_pStream->Close(), PYX_OK);
    EXPECT_EQ(Read(1), m_isMemory ? "13 " : "16 ");
    EXPECT_EQ(Traces(), m_isMemory ? "E DataStreamMemoryImpl Assertion failed:Read() - Stream is not allocated"
                                   : "E DataStreamFileImpl Assertion failed:Read() - File not open");
}

TEST_P(DataStreamTest, RefusesNullsFirst)
{
    pyx_uint64 count = 0;
    EXPECT_EQ(m_pStream->GetPosition(nullptr), 7);
    EXPECT_EQ(m_pStream->GetSize(nullptr), 7);
    EXPECT_EQ(m_pStream->Write(nullptr, 1, &count), m_isMemory ? 7 : 16);
    EXPECT_EQ(m_pStream->Read(nullptr, 1, &count), m_isMemory ? 7 : 16);
    EXPECT_EQ(m_pStream->Open(nullptr, 0, 0), m_isMemory ? 0 : 4);
    EXPECT_EQ(Traces(), m_isMemory ? "E DataStreamMemoryImpl Assertion failed:GetPosition() - pPosition==NULL\n"
                                     "E DataStreamMemoryImpl Assertion failed:GetPosition() - pSize==NULL\n"
                                     "E DataStreamMemoryImpl Assertion failed:Write() - pData==NULL\n"
                                     "E DataStreamMemoryImpl Assertion failed:Read() - pData==NULL"
                                   : "E DataStreamFileImpl Assertion failed:pPosition != NULL\n"
                                     "E DataStreamFileImpl Assertion failed:pSize != NULL\n"
                                     "E DataStreamFileImpl Assertion failed:Write() - File not Open\n"
                                     "E DataStreamFileImpl Assertion failed:Read() - File not open\n"
                                     "E DataStreamFileImpl Assertion failed:pFilePath != NULL");
}

TEST_P(DataStreamTest, FailsWithoutATraceWhenTheSystemRefuses)
{
    if (m_isMemory)
    {
        const FaultyAlloc alloc(GetModuleHandleW(nullptr));
        EXPECT_EQ(Write("123"), PYX_OK);
        FaultPlan::Get().Fail("VirtualAlloc", -1, 1);
        EXPECT_EQ(Write(std::string(PYXMemorySegments::c_segmentSize, '4')), PYX_OUT_OF_MEMORY);
        EXPECT_EQ(Place(), "3@3");
        EXPECT_EQ(Seek(0, 0), "0 0");
        EXPECT_EQ(Read(9), "0 123");
        EXPECT_EQ(Traces(), "E DataStreamMemoryImpl PYX_ERROR 6 : code 6: Write() - Stream is not allocated");
        return;
    }
    const int inherited = CountInheritedFiles();
    EXPECT_EQ(Open(0), PYX_FAIL); // no such file
    EXPECT_EQ(Open(1), PYX_OK);
    EXPECT_EQ(Read(1), "1 "); // write only
    PYXDataStreamFileImpl other;
    EXPECT_EQ(other.Open(m_path.c_str(), 0, 3), PYX_FAIL); // share 0: nobody else
    EXPECT_EQ(CountInheritedFiles(), inherited) << "a process that the host starts would hold the file";
    EXPECT_EQ(m_pStream->Open((m_temp.path / "Other").c_str(), 2, 3), PYX_OK); // closes the first
    EXPECT_EQ(other.Open(m_path.c_str(), 3, 0), PYX_OK);
    EXPECT_EQ(other.Write("12", 2, nullptr), PYX_OK);
    EXPECT_EQ(other.Open(m_path.c_str(), 3, 0), PYX_OK); // appends
    EXPECT_EQ(other.Write("3", 1, nullptr), PYX_OK);
    EXPECT_EQ(other.Close(), PYX_OK);
    EXPECT_EQ(std::filesystem::file_size(m_path), 3u);
    EXPECT_EQ(Traces(), "");
}

/// Three streams that share segments beside texts that are written, cut and read alike.
struct MemoryStreams
{
    struct Stream
    {
        std::unique_ptr<PYXDataStreamMemoryImpl> pStream;
        std::string text;
        size_t position = 0;
    };

    explicit MemoryStreams(unsigned seed) : random(seed)
    {
    }

    size_t Below(size_t count)
    {
        return random() % count;
    }

    void Step(Stream& stream)
    {
        const size_t kind = Below(20);
        if (!stream.pStream || kind == 0)
        {
            stream = {std::make_unique<PYXDataStreamMemoryImpl>(spSegments), ""};
        }
        else if (kind == 1)
        {
            EXPECT_EQ(stream.pStream->Close(), PYX_OK);
            stream.text.clear();
        }
        else if (kind == 2)
        {
            spSegments->BeginGroup();
        }
        else if (kind < 8)
        {
            stream.position = Below(stream.text.size() + 1);
            EXPECT_EQ(stream.pStream->Seek(0, static_cast<pyx_int64>(stream.position), nullptr), PYX_OK);
        }
        else if (kind < 16)
        {
            Write(stream, std::string(Below(30), static_cast<char>('a' + Below(26))));
        }
        stream.position = std::min(stream.position, stream.text.size());
        Check(stream);
    }

    void Write(Stream& stream, const std::string& bytes)
    {
        FaultPlan::Get().Fail("VirtualAlloc", Below(8) == 0 ? -1 : 0, 1);
        const PYX_RESULT result = stream.pStream->Write(bytes.data(), bytes.size(), nullptr);
        EXPECT_EQ(result, FaultPlan::Get().failed.empty() ? PYX_OK : PYX_OUT_OF_MEMORY);
        if (result == PYX_OK)
        {
            stream.text.replace(stream.position, std::string::npos, bytes);
            stream.position += bytes.size();
        }
    }

    /// Reads from the position to the end and goes back.
    void Check(Stream& stream)
    {
        std::string text(stream.text.size() + 1, '?');
        pyx_uint64 position = 99;
        pyx_uint64 read = 0;
        EXPECT_EQ(stream.pStream->GetPosition(&position), PYX_OK);
        EXPECT_EQ(position, stream.position);
        stream.pStream->Read(text.data(), text.size(), &read);
        EXPECT_EQ(text.substr(0, read), stream.text.substr(stream.position));
        EXPECT_EQ(stream.pStream->Seek(0, static_cast<pyx_int64>(position), &position), PYX_OK);
    }

    std::mt19937 random;
    std::shared_ptr<PYXMemorySegments> spSegments = std::make_shared<PYXMemorySegments>(1 + Below(20));
    Stream streams[3];
};

TEST(MemoryStreamsTest, KeepTheirBytesHoweverTheyShareSegments)
{
    const FaultyAlloc alloc(GetModuleHandleW(nullptr));
    for (unsigned seed = 1; seed <= 100 && !testing::Test::HasFailure(); ++seed)
    {
        MemoryStreams all(seed);
        for (int i = 0; i < 200; ++i)
        {
            all.Step(all.streams[all.Below(3)]);
        }
    }
}

TEST(MemoryStreamsTest, UseAgainWhatTheNextGroupNeedsAndGiveBackTheRest)
{
    const FaultyAlloc alloc(GetModuleHandleW(nullptr));
    const FaultyFree free(GetModuleHandleW(nullptr));
    auto spSegments = std::make_shared<PYXMemorySegments>(100);
    std::deque<PYXDataStreamMemoryImpl> groups;
    const std::string part(100, 'x');
    const auto fill = [&](PYXDataStreamMemoryImpl& stream, int parts) {
        for (int i = 0; i < parts; ++i)
        {
            EXPECT_EQ(stream.Write(part.data(), part.size(), nullptr), PYX_OK);
        }
    };
    FaultPlan::Get().Fail("VirtualAlloc", 0, 1);
    for (int i = 0; i < 20; ++i)
    {
        spSegments->BeginGroup();
        fill(groups.emplace_back(spSegments), 1);
        if (groups.size() > 4)
        {
            groups.pop_front();
        }
        fill(groups.back(), 9);
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
    fill(alone, 1);
    EXPECT_EQ(alone.Close(), PYX_OK);
    EXPECT_EQ(FaultPlan::Get().calls, 42);
}

TEST_P(DataStreamTest, EndsWithItsLastReference)
{
    EXPECT_EQ(m_pStream->GetReferenceCount(), 0u);
    PYXInterfacePtr<PYXDataStream> spStream(m_pStream.release());
    EXPECT_EQ(spStream.Query<PYXDataStream>()->GetReferenceCount(), 2u);
    EXPECT_EQ(static_cast<PYXInterface*>(spStream.Query<PYXInterface>().Get()), spStream.Get());
    EXPECT_FALSE(spStream.Query<PYXComponent>());
    EXPECT_EQ(spStream->Open(m_path.c_str(), 2, 0), PYX_OK); // the listener misses the handle if it stays
}

} // namespace
