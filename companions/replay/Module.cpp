#include "replay/Module.h"

#include "replay/HostHelpers.h"
#include "replay/Text.h"

Outcome Module::Load(const wchar_t* fileName)
{
    // The program's own folder and the system's, never the current folder: a file of that name could lie there.
    m_module.reset(LoadLibraryExW(fileName, nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS));
    const DWORD error = GetLastError();
    if (!m_module)
    {
        return {ExitCode::Failed, "cannot load " + ToUtf8(fileName) + " beside the program: " + SystemReason(error)};
    }
    const FARPROC pEntry = GetProcAddress(m_module.get(), PYX_CREATE_COMPONENT_ENTRY);
    if (!pEntry)
    {
        return {ExitCode::Failed, ToUtf8(fileName) + " has no entry " PYX_CREATE_COMPONENT_ENTRY};
    }
    m_pCreate = reinterpret_cast<PYXCreateComponentFunction>(reinterpret_cast<void*>(pEntry));
    return {};
}

Outcome Module::Create(PYXContext* pContext, const wchar_t* id, PYXInterfacePtr<PYXComponentEx>* pspComponent)
{
    PYXInterfacePtr<PYXComponent> spComponent;
    if (const PYX_RESULT result = m_pCreate(pContext, id, spComponent.Out()); result != PYX_OK)
    {
        return {ExitCode::Failed, "the module made no component: " + ReasonOf(result)};
    }
    *pspComponent = spComponent.Query<PYXComponentEx>();
    if (!*pspComponent)
    {
        return {ExitCode::Failed, "the module's component has no inputs"};
    }
    return {};
}
