#pragma once

#include "common/Component.h"
#include "common/Handles.h"
#include "common/InterfacePtr.h"
#include "recorder/Status.h"

#include <string>

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
    PYXModuleOwner m_module;
    PYXCreateComponentFunction m_pCreate = nullptr;
};
