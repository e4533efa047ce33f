#include "host/KeptNames.h"

#include <functional>
#include <mutex>
#include <new>
#include <set>
#include <string>

const wchar_t* KeepName(const wchar_t* name)
{
    static std::mutex s_mutex;
    static std::set<std::wstring, std::less<>> s_names; // its elements stay where they are
    const std::lock_guard lock(s_mutex);
    try
    {
        const auto known = s_names.find(name);
        return known != s_names.end() ? known->c_str() : s_names.emplace(name).first->c_str();
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}
