#include "recorder/Module.h"

#include "common/ModuleLoading.h"
#include "recorder/Reasons.h"

#include <filesystem>
#include <mutex>

PYXStatus PYXRecorderModule::Load(const std::wstring& file)
{
    const std::filesystem::path path(file);
    if (!path.is_absolute() && path.has_parent_path())
    {
        return {PYX_INVALID_ARG, "the module's path is not a full path"};
    }
    // For a bare name the program's own folder and the system's, never the current folder: another file of that name
    // could be there.
    const DWORD folders =
        LOAD_LIBRARY_SEARCH_DEFAULT_DIRS | (path.is_absolute() ? LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR : 0);
    m_module.reset(LoadLibraryExW(file.c_str(), nullptr, folders));
    const DWORD error = GetLastError();
    if (!m_module)
    {
        return {PYX_NOT_FOUND, "the module " + PYXToUtf8(file) + " cannot be loaded: " + PYXSystemText(error)};
    }
    m_pCreate = PYXGetEntry<PYXCreateComponentFunction>(m_module.get(), PYX_CREATE_COMPONENT_ENTRY);
    return m_pCreate ? PYXStatus() : PYXStatus{PYX_NOT_FOUND, "the module has no entry " PYX_CREATE_COMPONENT_ENTRY};
}

PYXStatus PYXRecorderModule::Create(PYXContext* pContext, PYXInterfacePtr<PYXComponentEx>* pspComponent) const
{
    static std::mutex s_oneAtATime;
    const std::lock_guard lock(s_oneAtATime);
    PYXInterfacePtr<PYXComponent> spComponent;
    if (const PYX_RESULT result = m_pCreate(pContext, L"RingBuffer", spComponent.Out()); result != PYX_OK)
    {
        return {result, "the module made no component: " + PYXReasonOf(result)};
    }
    *pspComponent = spComponent.Query<PYXComponentEx>();
    return *pspComponent ? PYXStatus() : PYXStatus{PYX_NO_INTERFACE, "the module's component has no inputs"};
}
