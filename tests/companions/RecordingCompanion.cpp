/// Both companions of the tests: runtime library and muxer module. It keeps
/// nothing and passes every call on to the program that runs, so that the
/// records outlive it. The trace object is in here: a use after the library has
/// been freed crashes, as with the real one.

#include "common/Component.h"
#include "common/HostContract.h"
#include "support/Faults.h"

#include <windows.h>

#include <cstdio>

template <class... Args> PYX_RESULT CallProgram(const char* name, Args... args)
{
    const auto pEntry = reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(nullptr), name));
    return reinterpret_cast<PYX_RESULT (*)(Args...)>(pEntry)(args...);
}

class ForwardingTrace final : public PYXTrace
{
public:
    void TraceW(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope, const wchar_t* format,
                va_list* pArgs) override
    {
        static_cast<void>(CallProgram("PYXTestTrace", path, line, level, scope, format, pArgs));
    }

    const wchar_t* GetResultText(PYX_RESULT code) override
    {
        static wchar_t s_texts[100][16]; // each text is always the same
        wchar_t* const text = s_texts[code % 100];
        _snwprintf(text, 16, L"code %d", code);
        return text;
    }
};

class Factory final : public PYXFactory
{
public:
    PYX_RESULT GetDebug(void**) override
    {
        return PYX_OK;
    }

    PYX_RESULT GetTrace(PYXTrace** ppOut) override
    {
        static ForwardingTrace s_trace;
        *ppOut = hasTrace ? &s_trace : nullptr;
        return PYX_OK;
    }

    bool hasTrace = true;
};

PYX_EXPORT PYX_RESULT PYXInit(pyx_uint64 version, PYXFactory** ppFactory)
{
    static Factory s_factory;
    const PYX_RESULT result = CallProgram("PYXTestInit", version);
    s_factory.hasTrace = result != c_noTrace;
    *ppFactory = result == c_noFactory ? nullptr : &s_factory;
    return result < c_noFactory ? result : PYX_OK;
}

PYX_EXPORT PYX_RESULT PYXQueryVersion(pyx_uint64* pVersion)
{
    return CallProgram("PYXTestQueryVersion", pVersion);
}

PYX_EXPORT PYX_RESULT PYXCreateComponentInt(PYXContext* pContext, const wchar_t* id, PYXComponent** ppOut)
{
    return CallProgram("PYXTestCreateMuxer", pContext, id, ppOut);
}
