#pragma once

#include "common/Types.h"

extern "C"
{
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
}

#include <memory>
#include <string>

/// Owners of FFmpeg's objects, and the little that every file here needs of it.

struct PacketDeleter
{
    void operator()(AVPacket* pPacket) const
    {
        av_packet_free(&pPacket);
    }
};
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;

struct FilterDeleter
{
    void operator()(AVBSFContext* pFilter) const
    {
        av_bsf_free(&pFilter);
    }
};
using FilterPtr = std::unique_ptr<AVBSFContext, FilterDeleter>;

/// The unit of the framework's times.
inline constexpr AVRational c_ticks{1, static_cast<int>(PYX_TICKS_PER_SECOND)};

/// FFmpeg's texts and names are UTF-8.
std::wstring FromUtf8(const char* text);

/// What FFmpeg says about a failure.
std::wstring GetErrorText(int error);

/// The framework's code for a result of FFmpeg's; what is not negative is a
/// success.
PYX_RESULT ToResult(int error);

/// Passes FFmpeg's own warnings and errors on to the trace object.
void TraceFFmpegLog();
