#include "media/PartFile.h"

#include <windows.h>

#include <atomic>

static std::atomic<unsigned> s_count; // of this process

// The working name is not made of the path's own, which may be as long as a name can be. The leading dot hides it where
// that is the custom.
PartFile::PartFile(const std::wstring& path)
    : m_path(path),
      m_part(path.substr(0, path.find_last_of(L"/\\") + 1) + L".pyx-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
             std::to_wstring(GetTickCount64()) + L"-" + std::to_wstring(++s_count) + L".part")
{
}

PartFile::~PartFile()
{
    DeleteFileW(m_part.c_str());
}

unsigned long PartFile::Commit()
{
    return MoveFileExW(m_part.c_str(), m_path.c_str(), MOVEFILE_REPLACE_EXISTING) ? 0 : GetLastError();
}
