#pragma once

#include "host/Utf8.h"
#include "recorder/Status.h"

#include <string>

/// Why something failed, or would fail, in words. Threads: any.

/// Passes the failure of a step on, which returns a status or another structure with IsOk().
#define PYX_RETURN_IF_FAILED(step)                                                                                     \
    do                                                                                                                 \
    {                                                                                                                  \
        if (auto pyxStatus = (step); !pyxStatus.IsOk())                                                                \
        {                                                                                                              \
            return pyxStatus;                                                                                          \
        }                                                                                                              \
    } while (false)

/// What a result means; a number only when it is none of the framework's.
std::string PYXReasonOf(PYX_RESULT result);

/// Why a file of so many bytes cannot be written in a directory now; empty when it can. Tries it with
/// a file of up to 1 MiB that is deleted at once: a component returns one code for a full disk and for a missing right,
/// and a nearly full disk still takes a few bytes.
std::string PYXWhyUnwritable(const std::wstring& directory, pyx_uint64 bytes);

/// What a path has before its last name: "C:\a\b.mp4" -> "C:\a".
std::wstring PYXDirectoryOf(const std::wstring& path);

/// Finds out, before hours of work go into a file of so many bytes, that it cannot be written. PYX_FILE_NOT_OPEN: why.
PYXStatus PYXCheckWritable(const std::wstring& path, pyx_uint64 bytes);
