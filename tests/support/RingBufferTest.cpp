#include "support/RingBufferTest.h"

#include "common/ModuleLoading.h"

#include <algorithm>
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

PYXModuleOwner LoadRingBuffer()
{
    PYXModuleOwner module(LoadLibraryW(L"pyx-component-ring-buffer64.dll"));
    CountMemory(module.get());
    return module;
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
    const auto pCreate = PYXGetEntry<PYXCreateComponentFunction>(m_module.get(), PYX_CREATE_COMPONENT_ENTRY);
    EXPECT_EQ(pCreate(m_spContext.Get(), nullptr, &pComponent), PYX_OK);
    *m_spComponent.Out() = static_cast<PYXComponentEx*>(pComponent);
}

void RingBufferTest::Start(bool inRam)
{
    Create();
    Feed("EnableAudio=true TempPath=T " + StorageMode(inRam));
    m_companions = {};
}

PYXInterfacePtr<PYXInput> RingBufferTest::Input(int index)
{
    PYXInterfacePtr<PYXInput> spInput;
    m_spComponent->GetInput(index, spInput.Out());
    return spInput;
}

PYX_RESULT RingBufferTest::Run(const std::string& step)
{
    if (step.starts_with("new:"))
    {
        Destroy();
        m_companions.inputs = step.substr(4);
        Create();
        return PYX_OK;
    }
    if (step == "Init")
    {
        return m_spComponent->Init(1, 640, 480);
    }
    if (step == "ReInit")
    {
        return m_spComponent->ReInit(320, 200);
    }
    if (step == "Terminate")
    {
        return m_spComponent->Terminate();
    }
    if (step.starts_with("Get"))
    {
        return m_spComponent->GetInput(step[3] - '0', PYXInterfacePtr<PYXInput>().Out());
    }
    if (step[0] != 'V' && step[0] != 'A')
    {
        return SetProperty(m_spComponent.Get(), step);
    }
    PYXInterfacePtr<PYXInput> spInput;
    const auto isOther = [&] {
        return !spInput || ::Get(spInput.Get(), L"StreamType") != (step[0] == 'V' ? "1" : "2");
    };
    for (int index = 0; isOther(); ++index)
    {
        if (index >= m_spComponent->GetInputCount())
        {
            return c_noInput;
        }
        spInput = Input(index);
    }
    if (step[1] == '.')
    {
        return SetProperty(spInput.Get(), step.substr(2));
    }
    const bool isNull = step.size() == 2 && step[1] == '-';
    return spInput->SubmitInput(isNull ? nullptr : Packet::Parse(step).Build().Get());
}

PYX_RESULT RingBufferTest::SetProperty(PYXPropertyStorage* pStorage, const std::string& property)
{
    const std::wstring name(property.begin(), std::ranges::find(property, '='));
    const std::wstring text(property.begin() + std::ssize(name) + 1, property.end());
    const std::wstring value = text.starts_with(L'T') ? m_temp.path.wstring() + text.substr(1) : text;
    return pStorage->SetProperty(name.empty() ? nullptr : name.c_str(), PYXVariantBorrowWString(value.c_str()));
}

void RingBufferTest::Feed(const std::string& steps)
{
    for (const std::string& step : Split(steps))
    {
        EXPECT_EQ(Run(step), PYX_OK) << step;
    }
}

std::string RingBufferTest::Written()
{
    m_companions.base = -1;
    return m_companions.Take(&Companions::written);
}
