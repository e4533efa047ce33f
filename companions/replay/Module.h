#pragma once

#include "common/Component.h"
#include "common/InterfacePtr.h"
#include "replay/Outcome.h"

#include <windows.h>

#include <memory>

/// A component module, loaded by its file name from the folder of the program.
///
/// Lifetime: components made from it must be gone before it is unloaded.
class Module
{
public:
    Outcome Load(const wchar_t* fileName);

    /// The component that the module makes, with the one reference that its
    /// maker is given.
    Outcome Create(PYXContext* pContext, const wchar_t* id, PYXInterfacePtr<PYXComponentEx>* pspComponent);

private:
    struct Unload
    {
        void operator()(HMODULE hModule) const
        {
            FreeLibrary(hModule);
        }
    };

    std::unique_ptr<std::remove_pointer_t<HMODULE>, Unload> m_module;
    PYXCreateComponentFunction m_pCreate = nullptr;
};
