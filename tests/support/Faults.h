#pragma once

#include "common/Types.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>

/// With these codes "PYXInit" succeeds, and gives no factory, or one without a trace object.
inline constexpr auto c_noFactory = static_cast<PYX_RESULT>(1000);
inline constexpr auto c_noTrace = static_cast<PYX_RESULT>(1001);

/// Decides which fallible call of a test fails: every fake and every FaultyCall
/// asks. One per program; not for several threads.
struct FaultPlan
{
    static FaultPlan& Get()
    {
        static FaultPlan s_plan;
        return s_plan;
    }

    /// The `nth` call from now (1: the next) whose name begins with `name` fails
    /// with `code`, all others succeed; a negative `nth` fails all from there on. An
    /// empty name counts every call.
    void Fail(const std::string& name, int nth, int code)
    {
        *this = {name, nth, static_cast<PYX_RESULT>(code), 0, "", nullptr};
    }

    PYX_RESULT Check(std::string_view name)
    {
        if (!name.starts_with(watched))
        {
            return PYX_OK;
        }
        ++calls;
        if (calls != nth && (nth >= 0 || calls < -nth))
        {
            return PYX_OK;
        }
        failed = name;
        if (then)
        {
            std::exchange(then, nullptr)();
        }
        return code;
    }

    std::string watched;
    int nth = 0;
    PYX_RESULT code = PYX_OK;
    int calls = 0;              ///< of the watched name so far
    std::string failed;         ///< the call that failed; empty until then
    std::function<void()> then; ///< called from within that call, once; with code 0 the call itself goes on
};
