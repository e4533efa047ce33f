#pragma once

/// The names of all properties that components, streams and packets of the
/// framework share. Names are case-sensitive.

/// Of a ring buffer. The last three are those of a muxer too.
inline constexpr const wchar_t* PYX_PROPERTY_TEMP_PATH = L"TempPath";
inline constexpr const wchar_t* PYX_PROPERTY_DURATION = L"Duration"; // seconds
inline constexpr const wchar_t* PYX_PROPERTY_BUFFER_IN_RAM_ENABLED = L"BufferInRamEnabled";
inline constexpr const wchar_t* PYX_PROPERTY_PATH = L"Path";
inline constexpr const wchar_t* PYX_PROPERTY_ENABLE_VIDEO = L"EnableVideo";
inline constexpr const wchar_t* PYX_PROPERTY_ENABLE_AUDIO = L"EnableAudio";

/// Of a compressed stream, on the inputs of every component.
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

/// Of a video packet: its kind, each codec's under a name of its own. A packet
/// that starts a group of pictures has 0, or 1 in the first two; every other
/// value continues the group.
inline constexpr const wchar_t* PYX_PROPERTY_OUTPUT_DATA_TYPE = L"OutputDataType";
inline constexpr const wchar_t* PYX_PROPERTY_HEVC_OUTPUT_DATA_TYPE = L"HevcOutputDataType";
inline constexpr const wchar_t* PYX_PROPERTY_AV1_OUTPUT_FRAME_TYPE = L"Av1OutputFrameType";
