// A host with the bare interfaces, for teams that want no library: feeds a minute of H.264 to the ring buffer, which
// keeps the last 10 seconds, and saves these as clip.mp4 in the current directory. A host with an encoder sets its own
// bytes in place of the constants.

#include "common/Component.h"
#include "common/ModuleLoading.h"
#include "common/PropertyNames.h"
#include "host/HostBuffer.h"
#include "host/HostContext.h"

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <span>
#include <string>

namespace
{

using Bytes = std::span<const pyx_uint8>;

// A stream of 16x16 blue pixels, two pictures a second.
constexpr pyx_uint8 c_setUp[] = {0x00, 0x00, 0x00, 0x01, 0x67, 0x42, 0xc0, 0x0a, 0xda, 0x7b, 0x01, 0x10,
                                 0x00, 0x00, 0x03, 0x00, 0x10, 0x00, 0x00, 0x03, 0x00, 0x40, 0xf1, 0x22,
                                 0x6a, 0x00, 0x00, 0x00, 0x01, 0x68, 0xce, 0x0f, 0x2c, 0x80};
constexpr pyx_uint8 c_keyPicture[] = {0x00, 0x00, 0x00, 0x01, 0x65, 0x88, 0x84, 0x16, 0x84, 0x62, 0x80, 0x00,
                                      0x86, 0x2c, 0x70, 0x00, 0x10, 0x68, 0x8e, 0x00, 0x02, 0x08, 0xf8};
constexpr pyx_uint8 c_nextPicture[] = {0x00, 0x00, 0x00, 0x01, 0x41, 0x9a, 0x20, 0x4a, 0x50};
constexpr pyx_int64 c_pictureTicks = PYX_TICKS_PER_SECOND / 2;

constexpr pyx_int64 c_secondsKept = 10;
constexpr pyx_int64 c_mostSeconds = 2147483647;

PYX_RESULT SetUp(PYXComponentEx* pRingBuffer, const std::wstring& scratch)
{
    PASS_ON_FAILURE_SILENTLY(
        pRingBuffer->SetProperty(PYX_PROPERTY_TEMP_PATH, PYXVariantBorrowWString(scratch.c_str())));
    PASS_ON_FAILURE_SILENTLY(pRingBuffer->SetProperty(PYX_PROPERTY_DURATION, PYXVariantFromInt64(c_secondsKept)));
    PASS_ON_FAILURE_SILENTLY(pRingBuffer->SetProperty(PYX_PROPERTY_PATH, PYXVariantBorrowWString(L"clip.mp4")));
    return pRingBuffer->Init(0, 0, 0);
}

PYX_RESULT Describe(PYXInput* pVideo)
{
    const PYXInterfacePtr<HostBuffer> spSetUp = HostBuffer::Create(c_setUp);
    PASS_ON_FAILURE_SILENTLY(pVideo->SetProperty(PYX_PROPERTY_CODEC_ID, PYXVariantFromInt64(PYX_VIDEO_CODEC_H264)));
    PASS_ON_FAILURE_SILENTLY(pVideo->SetProperty(PYX_PROPERTY_VIDEO_FRAME_SIZE, PYXVariantFromSize(16, 16)));
    PASS_ON_FAILURE_SILENTLY(pVideo->SetProperty(PYX_PROPERTY_VIDEO_FRAME_RATE, PYXVariantFromRate(2, 1)));
    return pVideo->SetProperty(PYX_PROPERTY_EXTRA_DATA, PYXVariantBorrowInterface(spSetUp.Get()));
}

PYX_RESULT Submit(PYXInput* pVideo, pyx_int64 picture)
{
    const bool isKey = picture % 2 == 0;
    const PYXInterfacePtr<HostBuffer> spPacket = HostBuffer::Create(isKey ? Bytes(c_keyPicture) : Bytes(c_nextPicture));
    if (!spPacket)
    {
        return PYX_OUT_OF_MEMORY;
    }
    spPacket->SetPts(picture * c_pictureTicks);
    spPacket->SetDuration(c_pictureTicks);
    PASS_ON_FAILURE_SILENTLY(spPacket->SetProperty(PYX_PROPERTY_OUTPUT_DATA_TYPE, PYXVariantFromInt64(isKey ? 0 : 2)));
    return pVideo->SubmitInput(spPacket.Get());
}

PYX_RESULT Record(PYXComponentEx* pRingBuffer, const std::wstring& scratch)
{
    PASS_ON_FAILURE_SILENTLY(SetUp(pRingBuffer, scratch));
    PYXInterfacePtr<PYXInput> spVideo;
    PASS_ON_FAILURE_SILENTLY(pRingBuffer->GetInput(0, spVideo.Out())); // without audio it is the only one
    PASS_ON_FAILURE_SILENTLY(Describe(spVideo.Get()));
    for (pyx_int64 picture = 0; picture < 120; ++picture)
    {
        PASS_ON_FAILURE_SILENTLY(Submit(spVideo.Get(), picture));
    }
    // The clip ends with the newest picture: "Saving" in docs/host-guide.md.
    PASS_ON_FAILURE_SILENTLY(pRingBuffer->SetProperty(PYX_PROPERTY_DURATION, PYXVariantFromInt64(c_mostSeconds)));
    return pRingBuffer->Terminate();
}

} // namespace

int main()
{
    // From the program's folder or the system's; one of that name in the current directory is not run.
    const HMODULE module = PYXLoadModule(L"pyx-component-ring-buffer64.dll");
    const auto pCreate = module ? PYXGetEntry<PYXCreateComponentFunction>(module, PYX_CREATE_COMPONENT_ENTRY) : nullptr;
    const auto spContext = HostContext::Create();
    PYXInterfacePtr<PYXComponent> spComponent;
    if (!pCreate || !spContext || pCreate(spContext.Get(), L"RingBuffer", spComponent.Out()) != PYX_OK)
    {
        std::puts("The module cannot be loaded: is it beside this program?");
        return 1;
    }
    // A directory of its own: everything in it is deleted.
    const auto scratch = std::filesystem::temp_directory_path() / ("example-" + std::to_string(GetCurrentProcessId()));
    const PYX_RESULT result = Record(spComponent.Query<PYXComponentEx>().Get(), scratch.wstring());
    if (result != PYX_OK)
    {
        std::printf("Result %d: docs/host-guide.md says what it means\n", result);
        return 1;
    }
    std::puts("clip.mp4 is written");
    return 0;
}
