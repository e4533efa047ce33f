#pragma once

#include "common/PropertyStorageExImpl.h"

#include <span>

/// The description of a compressed stream as properties, the same on every
/// component's inputs: a producer sets them, and each component mirrors them to
/// the next one. In the order of declaration.
extern const std::span<const PYXPropertyDeclaration> PYX_VIDEO_STREAM_PROPERTIES;
extern const std::span<const PYXPropertyDeclaration> PYX_AUDIO_STREAM_PROPERTIES;

/// Names of the properties that code refers to.
inline constexpr const wchar_t* PYX_PROPERTY_STREAM_TYPE = L"StreamType";
inline constexpr const wchar_t* PYX_PROPERTY_ENABLED = L"Enabled";
inline constexpr const wchar_t* PYX_PROPERTY_CODEC_ID = L"CodecID";
inline constexpr const wchar_t* PYX_PROPERTY_BIT_RATE = L"BitRate";
inline constexpr const wchar_t* PYX_PROPERTY_EXTRA_DATA = L"ExtraData";
inline constexpr const wchar_t* PYX_PROPERTY_VIDEO_FRAME_RATE = L"VideoFrameRate";
inline constexpr const wchar_t* PYX_PROPERTY_VIDEO_FRAME_SIZE = L"VideoFrameSize";
inline constexpr const wchar_t* PYX_PROPERTY_AUDIO_SAMPLE_RATE = L"AudioSampleRate";
inline constexpr const wchar_t* PYX_PROPERTY_AUDIO_CHANNELS = L"AudioChannels";
inline constexpr const wchar_t* PYX_PROPERTY_AUDIO_FORMAT = L"AudioFormat";
inline constexpr const wchar_t* PYX_PROPERTY_AUDIO_CHANNEL_LAYOUT = L"AudioChannelLayout";
inline constexpr const wchar_t* PYX_PROPERTY_AUDIO_BLOCK_ALIGN = L"AudioBlockAlign";
inline constexpr const wchar_t* PYX_PROPERTY_AUDIO_FRAME_SIZE = L"AudioFrameSize";

/// Video "CodecID". The numbers 11 and 12 belong to no codec.
inline constexpr pyx_int64 PYX_VIDEO_CODEC_H264 = 5;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_HEVC = 9;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_HEVC_MAIN10 = 10;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_AV1 = 13;
inline constexpr pyx_int64 PYX_VIDEO_CODEC_AV1_12BIT = 14;

/// Packet properties that tell a video packet's kind: of the first two, 0 and 1
/// start a group of pictures, of the third only 0.
inline constexpr const wchar_t* PYX_PROPERTY_OUTPUT_DATA_TYPE = L"OutputDataType";
inline constexpr const wchar_t* PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE = L"HevcOutputDataType";
inline constexpr const wchar_t* PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE = L"Av1OutputFrameType";
