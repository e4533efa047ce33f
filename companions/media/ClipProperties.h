#pragma once

/// Properties that this muxer has beyond those of the framework. A component in
/// between does not declare them: its inputs (and the component itself) pass them
/// on to the muxer and then return PYX_NOT_FOUND, which for these is a success.
/// A muxer of another make may not have them; what they say is then not kept.

// Of the component. The next clip that is begun takes them.

/// Text: when what the clip shows was recorded, such as "2024-05-06T07:08:09Z".
/// Empty: not known.
inline constexpr const wchar_t* PYX_PROPERTY_CREATION_TIME = L"CreationTime";
/// Text: what players show as the clip's name. Empty: none.
inline constexpr const wchar_t* PYX_PROPERTY_TITLE = L"Title";
/// Bool: whether an .mp4 or .mov has its index before its packets, so that it can
/// be played while it arrives. Completing the clip then moves all of its bytes.
inline constexpr const wchar_t* PYX_PROPERTY_FAST_START = L"FastStart";

// Of every input.

/// Text: three letters of ISO 639-2, such as "eng". Empty: not known.
inline constexpr const wchar_t* PYX_PROPERTY_LANGUAGE = L"Language";
/// Bool: whether players choose this stream by default.
inline constexpr const wchar_t* PYX_PROPERTY_DEFAULT_STREAM = L"DefaultStream";

// Of a video packet.

/// Bool: the picture is needed to decode later ones and not shown itself. A clip
/// that begins with such pictures begins, for players, with the first one after
/// them; an .mkv shows them.
inline constexpr const wchar_t* PYX_PROPERTY_NOT_SHOWN = L"NotShown";

// Of a video input.

/// Rate: width of a pixel to its height.
inline constexpr const wchar_t* PYX_PROPERTY_VIDEO_PIXEL_ASPECT = L"VideoPixelAspect";
/// Buffers in FFmpeg's layout: how players turn and mirror the pictures (a display
/// matrix of nine 32-bit numbers), the display that they were graded on
/// (AVMasteringDisplayMetadata), and how bright they get (AVContentLightMetadata).
/// Those of another size are not taken. Null: upright, or not known.
inline constexpr const wchar_t* PYX_PROPERTY_VIDEO_DISPLAY_MATRIX = L"VideoDisplayMatrix";
inline constexpr const wchar_t* PYX_PROPERTY_VIDEO_MASTERING_DISPLAY = L"VideoMasteringDisplay";
inline constexpr const wchar_t* PYX_PROPERTY_VIDEO_CONTENT_LIGHT = L"VideoContentLight";
/// Integer: 0 not known, 1 limited, 2 full.
inline constexpr const wchar_t* PYX_PROPERTY_VIDEO_COLOR_RANGE = L"VideoColorRange";
/// Integers: the code points of ISO/IEC 23091-2. 2: not known.
inline constexpr const wchar_t* PYX_PROPERTY_VIDEO_COLOR_PRIMARIES = L"VideoColorPrimaries";
inline constexpr const wchar_t* PYX_PROPERTY_VIDEO_COLOR_TRANSFER = L"VideoColorTransfer";
inline constexpr const wchar_t* PYX_PROPERTY_VIDEO_COLOR_MATRIX = L"VideoColorMatrix";
