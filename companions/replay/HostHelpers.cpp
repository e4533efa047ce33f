#include "replay/HostHelpers.h"

#include "replay/Text.h"

#include <algorithm>
#include <cstring>
#include <iterator>

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
