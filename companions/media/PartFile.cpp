#include "media/PartFile.h"

#include <windows.h>

#include <atomic>

namespace
{

/// The working name is not made of the path's own name, which may be as long as a name can be. Its leading dot hides it
/// where that is the custom.
std::wstring WorkingName(const std::wstring& path)
{
    static std::atomic<unsigned> s_count;
    return path.substr(0, path.find_last_of(L"/\\") + 1) + L".pyx-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
           std::to_wstring(GetTickCount64()) + L"-" + std::to_wstring(++s_count) + L".part";
}

} // namespace

PartFile::PartFile(const std::wstring& path) : m_path(path), m_part(WorkingName(path))
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
