#include "media/Utf8.h"

#include <windows.h>

#include <cstddef>

std::string ToUtf8(std::wstring_view text)
{
    const int length = static_cast<int>(text.size());
    std::string result(text.size() * 3, '\0'); // no 16-bit unit takes more
    result.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(),
                                                               static_cast<int>(result.size()), nullptr, nullptr)));
    return result;
}

std::wstring ToWide(std::string_view text)
{
    const int length = static_cast<int>(text.size());
    std::wstring result(text.size(), L'\0'); // no byte makes more than one unit
    result.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), static_cast<int>(result.size()))));
    return result;
}
