// A host of a few lines, built from nothing but the package: asks the module for a component, describes it and lets it
// go. It uses no C library, so that either compiler can link it.

#include "common/Component.h"
#include "common/HostContract.h"
#include "common/InterfacePtr.h"
#include "common/PropertyNames.h"
#include "common/Variant.h"

extern "C" __declspec(dllimport) void* LoadLibraryW(const wchar_t* name);
extern "C" __declspec(dllimport) void (*GetProcAddress(void* module, const char* name))();

struct Context final : PYXContext
{
    pyx_uint32 m_references = 1;

    pyx_uint32 Acquire() override
    {
        return ++m_references;
    }
    pyx_uint32 Release() override
    {
        return --m_references;
    }
    PYX_RESULT QueryInterface(const PYXGuid&, void**) override
    {
        return PYX_NO_INTERFACE;
    }
    PYX_RESULT AllocBuffer(PYX_MEMORY_TYPE, pyx_size, PYXBuffer**) override
    {
        return PYX_OUT_OF_MEMORY;
    }
};

/// Answers with the number of the step that failed, or 0.
int RunHost()
{
    static constinit Context s_context;
    void* const module = LoadLibraryW(L"pyx-component-ring-buffer64.dll");
    if (!module)
    {
        return 1;
    }
    const auto pCreate =
        reinterpret_cast<PYXCreateComponentFunction>(GetProcAddress(module, PYX_CREATE_COMPONENT_ENTRY));
    PYXInterfacePtr<PYXComponent> spComponent;
    if (!pCreate || pCreate(&s_context, L"RingBuffer", spComponent.Out()) != PYX_OK)
    {
        return 2;
    }
    const auto spBuffer = spComponent.Query<PYXComponentEx>();
    if (!spBuffer || spBuffer->GetInputCount() != 1)
    {
        return 3;
    }
    if (spBuffer->SetProperty(PYX_PROPERTY_DURATION, PYXVariantFromInt64(20)) != PYX_OK)
    {
        return 4;
    }
    PYXVariant duration;
    if (spBuffer->GetProperty(PYX_PROPERTY_DURATION, &duration) != PYX_OK || duration.int64Value != 20)
    {
        return 5;
    }
    const PYXPropertyInfo* pInfo = nullptr;
    if (spBuffer->GetPropertyInfo(PYX_PROPERTY_DURATION, &pInfo) != PYX_OK || pInfo->minValue.int64Value != 1)
    {
        return 6;
    }
    return 0;
}

int main()
{
    return RunHost();
}
