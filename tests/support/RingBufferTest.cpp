#include "support/RingBufferTest.h"

#include <fstream>
#include <iterator>
#include <set>

std::string Get(PYXPropertyStorage* pStorage, const wchar_t* name)
{
    PYXVariantOwner value;
    const PYX_RESULT result = pStorage->GetProperty(name, value.Out());
    return result == PYX_OK ? Text(value.Get()) : "error " + std::to_string(result);
}

TestDirectory::TestDirectory()
{
    fs::remove_all(path);
    fs::create_directory(path);
}

TestDirectory::~TestDirectory()
{
    std::error_code error;
    fs::remove_all(path, error);
    EXPECT_FALSE(error) << "a file is still open in " << path;
}

fs::path TestDirectory::Put(const fs::path& name, const std::string& content) const
{
    const fs::path file = path / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

std::string TestDirectory::List() const
{
    std::error_code error;
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path, error))
    {
        names.insert(entry.path().lexically_relative(path).generic_string());
    }
    std::string list;
    for (const std::string& name : names)
    {
        list += (list.empty() ? "" : " ") + name;
    }
    return error ? "none" : list;
}

std::string Read(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

LoadedModule::LoadedModule()
    : handle(LoadLibraryW(L"pyx-component-ring-buffer64.dll")),
      create(reinterpret_cast<PYXCreateComponentFunction>(
          reinterpret_cast<void (*)()>(GetProcAddress(handle, PYX_CREATE_COMPONENT_ENTRY))))
{
    CountMemory(handle);
}

RingBufferTest::RingBufferTest()
{
    m_faults = {};
    m_companions = {};
}

RingBufferTest::~RingBufferTest()
{
    m_faults = {};
    Destroy();
}

void RingBufferTest::Create()
{
    PYXComponent* pComponent = nullptr;
    EXPECT_EQ(m_pModule->create(m_spContext.Get(), nullptr, &pComponent), PYX_OK);
    *m_spComponent.Out() = static_cast<PYXComponentEx*>(pComponent);
}

void RingBufferTest::Start(bool inRam)
{
    Create();
    EXPECT_EQ(Set(L"EnableAudio", L"true"), PYX_OK);
    EXPECT_EQ(Set(L"BufferInRamEnabled", inRam ? L"true" : L"false"), PYX_OK);
    EXPECT_EQ(Set(L"TempPath", m_temp.path.c_str()), PYX_OK);
    m_companions = {};
}

PYX_RESULT RingBufferTest::Set(const wchar_t* name, const wchar_t* value)
{
    return m_spComponent->SetProperty(name, PYXVariantBorrowWString(value));
}

PYXInterfacePtr<PYXInput> RingBufferTest::Input(int index)
{
    PYXInterfacePtr<PYXInput> spInput;
    m_spComponent->GetInput(index, spInput.Out());
    return spInput;
}

void RingBufferTest::Feed(const std::string& packets)
{
    for (const std::string& token : Split(packets, ' '))
    {
        EXPECT_EQ(TryFeed(token), PYX_OK) << token;
    }
}

PYX_RESULT RingBufferTest::TryFeed(const std::string& packet)
{
    const auto spBuffer = packet.ends_with('-') ? PYXInterfacePtr<HostBuffer>() : Packet::Parse(packet).Build();
    return Input(packet[0] == 'A' ? 1 : 0)->SubmitInput(spBuffer.Get());
}

std::string RingBufferTest::Written()
{
    m_companions.base = -1;
    return m_companions.Take(&Companions::written);
}
