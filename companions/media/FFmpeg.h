#pragma once

#include "common/Variant.h"
#include "media/ClipProperties.h"

extern "C"
{
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavutil/mastering_display_metadata.h>
}

#include <memory>
#include <span>
#include <string>

/// Owners of FFmpeg's objects, and the conversions that muxer and sample host both need.

struct FFmpegDeleter
{
    /// A file that is read; one that is written has no owner here.
    void operator()(AVFormatContext* p) const
    {
        avformat_close_input(&p);
    }

    void operator()(AVBSFContext* p) const
    {
        av_bsf_free(&p);
    }

    void operator()(AVCodecContext* p) const
    {
        avcodec_free_context(&p);
    }

    void operator()(AVCodecParserContext* p) const
    {
        av_parser_close(p);
    }

    void operator()(AVPacket* p) const
    {
        av_packet_free(&p);
    }
};

template <class T> using FFmpegPtr = std::unique_ptr<T, FFmpegDeleter>;

using PacketPtr = FFmpegPtr<AVPacket>;
using FilterPtr = FFmpegPtr<AVBSFContext>;

/// The unit of the framework's times.
inline constexpr AVRational c_ticks{1, static_cast<int>(PYX_TICKS_PER_SECOND)};

/// Opens a media file and finds out what is in it. `pPipe` (borrowed, may be null) is read instead of a file. Times
/// that jump far back stay as they are. On failure returns FFmpeg's error code, negative, and `*ppFile` is null.
int OpenMediaFile(const std::string& path, AVIOContext* pPipe, FFmpegPtr<AVFormatContext>* ppFile);

/// A rate in the lowest terms that fit; 0/1 when it is none.
AVRational ToRational(const PYXRate& rate);

/// FFmpeg's text for an error code.
std::string FFmpegErrorText(int code);

/// The framework's code for a result of FFmpeg's; what is not negative is a success.
PYX_RESULT ToResult(int error);

/// A chain of bitstream filters, ready for packets in that unit of time. `filters` null: packets pass through
/// unchanged. Returns FFmpeg's error code, negative on failure.
int OpenFilter(const char* filters, const AVCodecParameters& parameters, AVRational unit, FilterPtr* pspFilter);

/// What a stream says beside its parameters, in FFmpeg's layout; empty when it says nothing of that type.
std::span<const pyx_uint8> FindSideData(const AVStream& stream, AVPacketSideDataType type);

/// False: no memory.
bool AddSideData(AVStream* pStream, AVPacketSideDataType type, std::span<const pyx_uint8> bytes);

/// Side data of a video stream that a property of its input carries.
struct SideDataRow
{
    const wchar_t* property;
    AVPacketSideDataType type;
    std::size_t size; ///< bytes
};

inline constexpr SideDataRow c_sideData[] = {
    {PYX_PROPERTY_VIDEO_DISPLAY_MATRIX, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(std::int32_t)},
    {PYX_PROPERTY_VIDEO_MASTERING_DISPLAY, AV_PKT_DATA_MASTERING_DISPLAY_METADATA, sizeof(AVMasteringDisplayMetadata)},
    {PYX_PROPERTY_VIDEO_CONTENT_LIGHT, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, sizeof(AVContentLightMetadata)},
};

/// Replaces the extra data. False: no memory, and there is none then.
bool CopyExtraData(AVCodecParameters* pParameters, std::span<const pyx_uint8> bytes);

/// A time in a stream's unit as ticks; AV_NOPTS_VALUE stays what it is.
inline pyx_int64 ToTicks(pyx_int64 time, AVRational unit)
{
    return av_rescale_q_rnd(time, unit, c_ticks, static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
}
