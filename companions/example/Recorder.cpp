// A host in one file: feeds a minute of H.264 to a recorder, which keeps the last 10 seconds, and saves these as
// clip.mp4 in the current directory. A host with an encoder sets its own bytes in place of the constants.

#include "recorder/Recorder.h"

#include <cstdio>
#include <filesystem>

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

PYXStatus Record(PYXRecorder* pRecorder)
{
    PYXRecorderSettings settings{.seconds = 10};
    settings.video = {.size = {16, 16}, .rate = {2, 1}, .setUp = {std::begin(c_setUp), std::end(c_setUp)}};
    if (PYXStatus opened = pRecorder->Open(settings); !opened.IsOk())
    {
        return opened;
    }
    for (pyx_int64 picture = 0; picture < 120; ++picture)
    {
        const bool isKey = picture % 2 == 0;
        const PYX_RESULT result = pRecorder->SubmitVideo(isKey ? Bytes(c_keyPicture) : Bytes(c_nextPicture),
                                                         picture * c_pictureTicks, c_pictureTicks, isKey);
        if (result != PYX_OK)
        {
            return {result, pRecorder->Explain(result)};
        }
    }
    return pRecorder->End({.path = std::filesystem::absolute("clip.mp4").wstring()}).status;
}

} // namespace

int main()
{
    PYXRecorder recorder;
    const PYXStatus status = Record(&recorder);
    std::puts(status.IsOk() ? "clip.mp4 is written" : status.text.c_str());
    return status.IsOk() ? 0 : 1;
}
