#pragma once

#include <string>
#include <string_view>

/// Texts are UTF-8 inside the sample host and in FFmpeg, and wide where the
/// platform, the command line or a component is met.
///
/// Both forms can be faulty (a file name may hold half a surrogate pair): what
/// has no counterpart becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);
std::wstring ToWide(std::string_view text);

/// The system's words for a GetLastError code: "Access denied".
std::string SystemReason(unsigned long error);
