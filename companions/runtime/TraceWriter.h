#pragma once

#include "common/HostContract.h"

#include <atomic>

/// The trace object: writes each record that is shown as one line of UTF-8 to
/// standard error, `LEVEL scope source:line text`.
///
/// Threads: any. A line is one write, so lines of several threads do not mix.
/// Lifetime: static, ends with the library.
class TraceWriter final : public PYXTrace
{
public:
    /// Chooses the least important level that is shown.
    void SetLevel(pyx_int32 level);

    /// A record below the chosen level costs nothing: its text is not formatted.
    void TraceW(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope, const wchar_t* format,
                va_list* pArgs) override;

    /// The code's own name, such as "PYX_NOT_FOUND"; "unknown result" for others.
    const wchar_t* GetResultText(PYX_RESULT code) override;

private:
    std::atomic<pyx_int32> m_level{PYX_TRACE_WARNING};
};

/// The level that the environment variable PYX_TRACE names: none, error, warning
/// or info. Warning when it is missing or names nothing known.
pyx_int32 ReadTraceLevel();
