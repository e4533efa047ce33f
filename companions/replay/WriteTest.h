#pragma once

#include "replay/Outcome.h"

#include <string>

/// Whether new files can be made and filled in a directory: tries it with a file
/// of `size` bytes that is gone when the call returns. The answer is 0 or the
/// system's error code. A component's answer is the same for a full disk and for
/// a missing right; this tells them apart, with a file of some size because a
/// nearly full disk still takes a few bytes.
unsigned long TryToWriteIn(const std::wstring& directory, std::size_t size);

/// Why a file in this directory could not be written, as the system answers an
/// attempt; empty when one of so many bytes can be written now.
std::string WhyUnwritable(const std::wstring& directory, unsigned long long bytes);

/// What a path has before its last name: "C:\a\b.mp4" -> "C:\a".
std::wstring DirectoryOf(const std::wstring& path);

/// Finds out, before hours of work go into a file, that it cannot be written
/// there. CannotWrite: why.
Outcome CheckWritable(const std::wstring& path);
