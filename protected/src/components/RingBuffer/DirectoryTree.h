#pragma once

#include <string>

/// The temporary directory's routines. Paths are used unchanged; nothing is
/// traced.

/// Removes a directory with everything in it, and with everything that its
/// directory links lead to. Stops at the first entry that cannot be removed, such
/// as a read-only file, and when memory runs out; false then, or when the directory
/// itself cannot be removed.
bool RemoveTree(const std::wstring& path) noexcept;

/// Creates a directory and those of its parents that are missing, cutting the
/// path at backslashes. True when something of that name exists afterwards.
bool CreatePath(const std::wstring& path);
