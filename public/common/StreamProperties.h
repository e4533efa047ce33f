#pragma once

#include "common/PropertyDeclaration.h"
#include "common/PropertyNames.h"

#include <span>

/// The description of a compressed stream as properties, the same on every
/// component's inputs: a producer sets them, and each component mirrors them to
/// the next one. In the order of declaration.
extern const std::span<const PYXPropertyDeclaration> PYX_VIDEO_STREAM_PROPERTIES;
extern const std::span<const PYXPropertyDeclaration> PYX_AUDIO_STREAM_PROPERTIES;

/// Video "CodecID". The numbers 11 and 12 belong to no codec.
inline constexpr pyx_int64 PYX_VIDEO_CODEC_H264 = 5;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_HEVC = 9;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_HEVC_MAIN10 = 10;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_AV1 = 13;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_AV1_12BIT = 14;
