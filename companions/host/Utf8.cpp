#include "host/Utf8.h"

#include <windows.h>

#include <cstddef>
#include <iterator>

std::string PYXToUtf8(std::wstring_view text)
{
    const int length = static_cast<int>(text.size());
    std::string result(text.size() * 3, '\0'); // no 16-bit unit takes more
    result.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(),
                                                               static_cast<int>(result.size()), nullptr, nullptr)));
    return result;
}

std::wstring PYXToWide(std::string_view text)
{
    const int length = static_cast<int>(text.size());
    std::wstring result(text.size(), L'\0'); // no byte makes more than one unit
    result.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), static_cast<int>(result.size()))));
    return result;
}

std::string PYXSystemText(unsigned long error)
{
    wchar_t text[512] = {};
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                        text, static_cast<DWORD>(std::size(text)), nullptr);
    const std::wstring_view whole(text, length);
    const std::size_t last = whole.find_last_not_of(L".\r\n ");
    return last == std::wstring_view::npos ? "system error " + std::to_string(error)
                                           : PYXToUtf8(whole.substr(0, last + 1));
}
