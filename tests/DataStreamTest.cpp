#include "common/DataStreamFile.h"
#include "common/DataStreamMemory.h"
#include "support/RingBufferTest.h"

namespace
{

constexpr pyx_uint64 c_page = 4096;

/// The process's addresses that are not free, and those of them with memory behind.
struct Addresses
{
    Addresses()
    {
        MEMORY_BASIC_INFORMATION area;
        for (char* p = nullptr; VirtualQuery(p, &area, sizeof(area)) != 0; p += area.RegionSize)
        {
            taken += area.State == MEM_FREE ? 0 : area.RegionSize;
            committed += area.State == MEM_COMMIT ? area.RegionSize : 0;
        }
    }

    pyx_uint64 taken = 0;
    pyx_uint64 committed = 0;
};

/// Where a stream keeps its bytes, and how far one in memory reserves ahead.
struct Kind
{
    const char* name;
    bool isMemory;
    pyx_uint64 ahead;
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
            m_pStream = std::make_unique<PYXDataStreamMemoryImpl>(GetParam().ahead);
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

    static std::string Traces()
    {
        return Companions::Get().Take(&Companions::traces);
    }

    const bool m_isMemory = GetParam().isMemory;
    TestDirectory m_temp;
    const std::filesystem::path m_path = m_temp.path / "Stream";
    std::unique_ptr<PYXDataStreamImpl> m_pStream;
};

constexpr Kind c_kinds[] = {{"File", false, 0},
                            {"Memory", true, PYXDataStreamMemoryImpl::c_reserveAhead},
                            {"MemoryOfOnePageAhead", true, c_page},
                            {"MemoryOfExactBlocks", true, 0}};

INSTANTIATE_TEST_SUITE_P(Kinds, DataStreamTest, testing::ValuesIn(c_kinds),
                         [](const auto& kind) { return kind.param.name; });

/// What only streams in memory do.
class MemoryStreamTest : public DataStreamTest
{
};

INSTANTIATE_TEST_SUITE_P(Kinds, MemoryStreamTest, testing::ValuesIn(c_kinds + 1, std::end(c_kinds)),
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
        FaultyCall<"VirtualAlloc", 0, void*(void*, SIZE_T, DWORD, DWORD)> alloc(GetModuleHandleW(nullptr));
        EXPECT_EQ(Write("123"), PYX_OK);
        FaultPlan::Get().Fail("VirtualAlloc", -1, 1);
        EXPECT_EQ(Write(std::string(3 * c_page, '4')), PYX_OUT_OF_MEMORY);
        EXPECT_EQ(Place(), "3@3");
        EXPECT_EQ(Seek(0, 0), "0 0");
        EXPECT_EQ(Read(9), "0 123");
        EXPECT_EQ(Traces(), "E DataStreamMemoryImpl PYX_ERROR 6 : code 6: Write() - Stream is not allocated");
        return;
    }
    EXPECT_EQ(Open(0), PYX_FAIL); // no such file
    EXPECT_EQ(Open(1), PYX_OK);
    EXPECT_EQ(Read(1), "1 "); // write only
    PYXDataStreamFileImpl other;
    EXPECT_EQ(other.Open(m_path.c_str(), 0, 3), PYX_FAIL);                     // share 0: nobody else
    EXPECT_EQ(m_pStream->Open((m_temp.path / "Other").c_str(), 2, 3), PYX_OK); // closes the first
    EXPECT_EQ(other.Open(m_path.c_str(), 3, 0), PYX_OK);
    EXPECT_EQ(other.Write("12", 2, nullptr), PYX_OK);
    EXPECT_EQ(other.Open(m_path.c_str(), 3, 0), PYX_OK); // appends
    EXPECT_EQ(other.Write("3", 1, nullptr), PYX_OK);
    EXPECT_EQ(other.Close(), PYX_OK);
    EXPECT_EQ(std::filesystem::file_size(m_path), 3u);
    EXPECT_EQ(Traces(), "");
}

TEST_P(DataStreamTest, KeepsItsBytesHoweverOftenItMoves)
{
    EXPECT_EQ(Open(2), PYX_OK);
    std::string all;
    for (size_t i = 0; i < 40; ++i)
    {
        const std::string part(1024 * (i % 5 + 1), static_cast<char>('a' + i % 26));
        EXPECT_EQ(Write(part), PYX_OK);
        all += part;
    }
    EXPECT_EQ(Seek(0, 0), "0 0");
    EXPECT_EQ(Read(all.size()), "0 " + all);
}

TEST_P(MemoryStreamTest, TakesThePagesOfItsBytesAndGivesThemBack)
{
    const std::string megabyte(1 << 20, 'x');
    const Addresses before;
    for (int i = 0; i < 16; ++i)
    {
        EXPECT_EQ(Write(megabyte), PYX_OK);
    }
    const Addresses during;
    EXPECT_NEAR(static_cast<double>(during.committed - before.committed), 16.0 * (1 << 20), 256.0 * 1024);
    EXPECT_EQ(during.taken - before.taken > 64U << 20, GetParam().ahead > 64U << 20);
    EXPECT_EQ(m_pStream->Close(), PYX_OK);
    EXPECT_LT(Addresses().taken, before.taken + (1 << 20));
    EXPECT_EQ(Write("x"), PYX_OK); // a closed stream begins anew
    EXPECT_EQ(Write(megabyte + megabyte), PYX_OK);
    m_pStream.reset();
    EXPECT_LT(Addresses().taken, before.taken + (1 << 20));
}

TEST_P(MemoryStreamTest, TakesABlockOfExactSizeWhereNoRangeCanBeHad)
{
    FaultyCall<"VirtualAlloc", 0, void*(void*, SIZE_T, DWORD, DWORD)> alloc(GetModuleHandleW(nullptr));
    FaultPlan::Get().Fail("VirtualAlloc", GetParam().ahead ? 1 : 0, 1);
    EXPECT_EQ(Write("123"), PYX_OK);
    EXPECT_EQ(Write("45"), PYX_OK);
    EXPECT_EQ(FaultPlan::Get().calls, GetParam().ahead ? 4 : 2); // the second append finds a range
    EXPECT_EQ(Seek(0, 0), "0 0");
    EXPECT_EQ(Read(9), "0 12345");
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
