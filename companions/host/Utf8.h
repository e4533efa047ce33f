#pragma once

#include <string>
#include <string_view>

/// Texts are wide where the platform or a component is met, and UTF-8 otherwise. Both forms can be faulty (a file name
/// may hold half a surrogate pair): what has no counterpart becomes U+FFFD. Threads: any.
std::string PYXToUtf8(std::wstring_view text);
std::wstring PYXToWide(std::string_view text);

/// The system's words for a GetLastError code, as UTF-8: "Access denied".
std::string PYXSystemText(unsigned long error);
