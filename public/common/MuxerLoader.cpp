#include "common/MuxerLoader.h"

#include "common/ModuleLoading.h"

#include <atomic>
#include <cwchar>
#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr const wchar_t* c_muxerFile = L"pyx-component-ffmpeg64.dll";
constexpr const wchar_t* c_muxerId = L"MuxerFFMPEG";

/// A companion module. Not freed: objects of it may outlive every component.
struct LoadedModule
{
    LoadedModule(HMODULE handle, const wchar_t* file) : module(handle), fileName(file)
    {
    }

    HMODULE module; // null marks an unusable entry
    std::atomic<pyx_int32> useCount{1};
    std::wstring fileName;
};

std::vector<std::unique_ptr<LoadedModule>> s_modules;

PYX_RESULT CreateMuxerFrom(HMODULE module, PYXContext* pContext, PYXComponent** ppOut)
{
    const auto pCreate = PYXGetEntry<PYXCreateComponentFunction>(module, PYX_CREATE_COMPONENT_ENTRY);
    return pCreate ? pCreate(pContext, c_muxerId, ppOut) : PYX_FAIL;
}

} // namespace

PYX_RESULT CreateMuxer(PYXContext* pContext, PYXComponent** ppOut)
{
    if (!pContext)
    {
        return PYX_INVALID_ARG;
    }
    for (const auto& pEntry : s_modules)
    {
        if (_wcsicmp(pEntry->fileName.c_str(), c_muxerFile) == 0)
        {
            if (!pEntry->module)
            {
                return PYX_UNEXPECTED;
            }
            ++pEntry->useCount;
            return CreateMuxerFrom(pEntry->module, pContext, ppOut);
        }
    }
    const HMODULE module = PYXLoadModule(c_muxerFile);
    if (!module)
    {
        return PYX_FAIL;
    }
    s_modules.push_back(std::make_unique<LoadedModule>(module, c_muxerFile));
    return CreateMuxerFrom(module, pContext, ppOut);
}
