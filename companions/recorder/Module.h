#pragma once

#include "common/Component.h"
#include "common/InterfacePtr.h"
#include "recorder/Status.h"

#include <windows.h>

#include <memory>
#include <string>
#include <type_traits>

/// A component module that is loaded.
///
/// Threads: any; components are made one at a time in the process.
/// Lifetime: its components must be gone before it is unloaded.
class PYXRecorderModule
{
public:
    /// `file` as in PYXRecorderSettings::module.
    PYXStatus Load(const std::wstring& file);

    /// The component that the module makes, with the one reference that its maker is given.
    PYXStatus Create(PYXContext* pContext, PYXInterfacePtr<PYXComponentEx>* pspComponent) const;

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
