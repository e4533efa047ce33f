#include "bench/Subject.h"

#include "bench/Directory.h"
#include "bench/Require.h"
#include "common/PropertyNames.h"

#include <windows.h>

namespace
{

constexpr const wchar_t* c_moduleFile = L"pyx-component-ring-buffer64.dll";

void Set(PYXPropertyStorage* pStorage, const wchar_t* name, const PYXVariant& value)
{
    Require(pStorage->SetProperty(name, value) == PYX_OK, "setting a property");
}

} // namespace

Subject::Subject(Storage storage, pyx_int64 seconds)
{
    static const HMODULE s_module = LoadLibraryExW(c_moduleFile, nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    const auto pCreate = reinterpret_cast<PYXCreateComponentFunction>(
        reinterpret_cast<void*>(GetProcAddress(s_module, PYX_CREATE_COMPONENT_ENTRY)));
    Require(pCreate != nullptr, "loading the module");
    PYXInterfacePtr<PYXComponent> spComponent;
    Require(pCreate(m_spContext.Get(), L"RingBuffer", spComponent.Out()) == PYX_OK, "making a component");
    m_spComponent = spComponent.Query<PYXComponentEx>();
    Require(static_cast<bool>(m_spComponent), "the component's inputs");
    Set(m_spComponent.Get(), PYX_PROPERTY_ENABLE_AUDIO, PYXVariantFromBool(true));
    Set(m_spComponent.Get(), PYX_PROPERTY_DURATION, PYXVariantFromInt64(seconds));
    Set(m_spComponent.Get(), PYX_PROPERTY_BUFFER_IN_RAM_ENABLED, PYXVariantFromBool(storage == Storage::Memory));
    if (storage == Storage::Files)
    {
        Set(m_spComponent.Get(), PYX_PROPERTY_TEMP_PATH, PYXVariantBorrowWString(ModuleDirectory().c_str()));
    }
    Init();
    Require(m_spComponent->GetInput(0, m_spVideo.Out()) == PYX_OK, "the video input");
    Require(m_spComponent->GetInput(1, m_spAudio.Out()) == PYX_OK, "the audio input");
}

void Subject::Keep(pyx_int64 seconds)
{
    Set(m_spComponent.Get(), PYX_PROPERTY_DURATION, PYXVariantFromInt64(seconds));
}

void Subject::Init()
{
    Require(m_spComponent->Init(0, 1920, 1080) == PYX_OK, "Init");
}
