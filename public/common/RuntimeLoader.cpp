#include "common/RuntimeLoader.h"

#include <windows.h>

#include <atomic>
#include <cwchar>
#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr pyx_uint64 c_runtimeVersion = 0x0001000400240000; // 1.4.36.0
constexpr const wchar_t* c_runtimeFile = L"pyxrt64.dll";
constexpr const wchar_t* c_muxerFile = L"pyx-component-ffmpeg64.dll";
constexpr const wchar_t* c_muxerId = L"MuxerFFMPEG";

constexpr DWORD c_searchFlags = LOAD_LIBRARY_SEARCH_DEFAULT_DIRS | LOAD_LIBRARY_SEARCH_SYSTEM32 |
                                LOAD_LIBRARY_SEARCH_USER_DIRS | LOAD_LIBRARY_SEARCH_APPLICATION_DIR;
static_assert(c_searchFlags == 0x1E00);

template <class Function> Function GetEntry(HMODULE module, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

/// A companion module, loaded once and kept until the process ends.
struct LoadedModule
{
    LoadedModule(HMODULE handle, const wchar_t* file) : module(handle), fileName(file)
    {
    }

    HMODULE module; // null marks an unusable entry
    std::atomic<pyx_int32> useCount{1};
    std::wstring fileName;
};

/// The one record of the process.
struct RuntimeRecord
{
    RuntimeRecord() = default;
    RuntimeRecord(const RuntimeRecord&) = delete;
    RuntimeRecord& operator=(const RuntimeRecord&) = delete;

    ~RuntimeRecord()
    {
        if (referenceCount > 0)
        {
            Release();
        }
        if (pinned)
        {
            FreeLibrary(pinned);
        }
    }

    void Release()
    {
        if (module && referenceCount.fetch_sub(1) == 1)
        {
            FreeLibrary(module);
            module = nullptr;
            pFactory = nullptr;
            pDebug = nullptr;
            pTrace = nullptr;
        }
    }

    /// Holds the library a second time, not counted by the reference count.
    void Pin()
    {
        if (pTrace && !pinned)
        {
            // A handle is the address of the library's first byte.
            GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<const wchar_t*>(module),
                               &pinned);
        }
    }

    HMODULE module = nullptr;
    PYXFactory* pFactory = nullptr;
    void* pDebug = nullptr;
    PYXTrace* pTrace = nullptr;
    pyx_uint64 version = 0;
    std::atomic<pyx_int32> referenceCount{0};
    std::vector<std::unique_ptr<LoadedModule>> modules;
    HMODULE pinned = nullptr;
};

RuntimeRecord s_runtime;

PYX_RESULT CreateMuxerFrom(HMODULE module, PYXContext* pContext, PYXComponent** ppOut)
{
    const auto pCreate = GetEntry<PYXCreateComponentFunction>(module, PYX_CREATE_COMPONENT_ENTRY);
    return pCreate ? pCreate(pContext, c_muxerId, ppOut) : PYX_FAIL;
}

} // namespace

PYX_RESULT LoadRuntime()
{
    if (s_runtime.module)
    {
        ++s_runtime.referenceCount;
        return PYX_OK;
    }
    s_runtime.module = LoadLibraryExW(c_runtimeFile, nullptr, c_searchFlags);
    if (!s_runtime.module)
    {
        return PYX_FAIL;
    }
    // From here on the handle stays, whatever fails: the next call succeeds without a factory.
    const auto pInit = GetEntry<PYXInitFunction>(s_runtime.module, PYX_INIT_ENTRY);
    if (!pInit)
    {
        return PYX_FAIL;
    }
    if (const PYX_RESULT result = pInit(c_runtimeVersion, &s_runtime.pFactory); result != PYX_OK)
    {
        return result;
    }
    const auto pQueryVersion = GetEntry<PYXQueryVersionFunction>(s_runtime.module, PYX_QUERY_VERSION_ENTRY);
    if (!pQueryVersion)
    {
        return PYX_FAIL;
    }
    if (const PYX_RESULT result = pQueryVersion(&s_runtime.version); result != PYX_OK)
    {
        return result;
    }
    if (!s_runtime.pFactory)
    {
        return PYX_FAIL;
    }
    s_runtime.pFactory->GetTrace(&s_runtime.pTrace);
    s_runtime.pFactory->GetDebug(&s_runtime.pDebug);
    s_runtime.Pin();
    ++s_runtime.referenceCount;
    return PYX_OK;
}

void ReleaseRuntime()
{
    s_runtime.Release();
}

PYXTrace* GetRuntimeTrace()
{
    return s_runtime.pTrace;
}

bool IsRuntimeLoaded()
{
    return s_runtime.module != nullptr;
}

PYX_RESULT CreateMuxer(PYXContext* pContext, PYXComponent** ppOut)
{
    if (!pContext)
    {
        return PYX_INVALID_ARG;
    }
    for (const auto& pEntry : s_runtime.modules)
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
    const HMODULE module = LoadLibraryExW(c_muxerFile, nullptr, c_searchFlags);
    if (!module)
    {
        return PYX_FAIL;
    }
    s_runtime.modules.push_back(std::make_unique<LoadedModule>(module, c_muxerFile));
    return CreateMuxerFrom(module, pContext, ppOut);
}
