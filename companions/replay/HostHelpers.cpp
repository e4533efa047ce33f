#include "replay/HostHelpers.h"

#include "replay/Text.h"
#include "replay/Win32Handle.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

namespace
{

constexpr const wchar_t* c_muxerFile = L"pyx-component-ffmpeg64.dll";

struct ReasonRow
{
    PYX_RESULT result;
    const char* text;
};

constexpr ReasonRow c_reasons[] = {
    {PYX_FAIL, "the operation failed"},
    {PYX_UNEXPECTED, "something unexpected was met"},
    {PYX_ACCESS_DENIED, "access was denied"},
    {PYX_INVALID_ARG, "a value is not allowed"},
    {PYX_OUT_OF_RANGE, "a value is out of range"},
    {PYX_OUT_OF_MEMORY, "out of memory"},
    {PYX_INVALID_POINTER, "a pointer is missing"},
    {PYX_NO_INTERFACE, "an object lacks an interface"},
    {PYX_NOT_IMPLEMENTED, "that is not offered"},
    {PYX_NOT_FOUND, "it was not found"},
    {PYX_NOT_INITIALIZED, "it is not set up"},
    {PYX_FILE_NOT_OPEN, "a file could not be opened"},
    {PYX_EOF, "the end was reached"},
};

} // namespace

Outcome SetAll(PYXPropertyStorage* pStorage, std::initializer_list<NamedValue> values)
{
    for (const NamedValue& named : values)
    {
        const PYX_RESULT result = pStorage->SetProperty(named.name, named.value);
        if (result == PYX_NOT_INITIALIZED) // a component is made even when its own companion could not be loaded
        {
            return {ExitCode::Failed, "the component has no muxer: is " + ToUtf8(c_muxerFile) + " beside the program?"};
        }
        if (result != PYX_OK)
        {
            return {ExitCode::Failed, "property " + ToUtf8(named.name) + " was refused: " + ReasonOf(result)};
        }
    }
    return {};
}

PYXInterfacePtr<HostBuffer> MakeBuffer(std::span<const pyx_uint8> bytes)
{
    PYXInterfacePtr<HostBuffer> spBuffer = HostBuffer::Create(bytes.size());
    if (spBuffer && !bytes.empty())
    {
        std::memcpy(spBuffer->GetNative(), bytes.data(), bytes.size());
    }
    return spBuffer;
}

Outcome OutOfMemory()
{
    return {ExitCode::Failed, "out of memory"};
}

std::string ReasonOf(PYX_RESULT result)
{
    const auto row = std::find_if(std::begin(c_reasons), std::end(c_reasons),
                                  [result](const ReasonRow& candidate) { return candidate.result == result; });
    return row == std::end(c_reasons) ? "result " + std::to_string(result) : row->text;
}

std::string SystemReason(unsigned long error)
{
    wchar_t text[512];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                        text, 512, nullptr);
    std::wstring reason(text, length);
    reason.resize(reason.find_last_not_of(L" .\r\n") + 1);
    return reason.empty() ? "system error " + std::to_string(error) : ToUtf8(reason);
}

std::string WhyUnwritable(const std::wstring& directory)
{
    const std::wstring path = directory + L"\\pyx-probe-" + std::to_wstring(GetCurrentProcessId());
    const Win32Handle file(
        CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    const DWORD openError = GetLastError();
    if (!IsOpen(file))
    {
        return SystemReason(openError);
    }
    const std::vector<char> bytes(1 << 20, 1); // a nearly full disk still takes a few
    DWORD written = 0;
    const BOOL succeeded = WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    const DWORD error = GetLastError();
    const bool complete = succeeded && written == bytes.size();
    return complete ? "" : SystemReason(succeeded ? ERROR_DISK_FULL : error);
}
