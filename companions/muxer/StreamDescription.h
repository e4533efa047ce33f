#pragma once

#include "common/PropertyStorageExImpl.h"
#include "media/FFmpeg.h"

#include <span>

/// What an input of this muxer has beyond the framework's properties (media/ClipProperties.h).
extern const std::span<const PYXPropertyDeclaration> VIDEO_DETAIL_PROPERTIES;
extern const std::span<const PYXPropertyDeclaration> AUDIO_DETAIL_PROPERTIES;

/// Turns what an input's properties say of its stream into what a container
/// must know of it before its header: codec, size or sample format, rate, clock,
/// extra data, and what players show of it. Each failure is traced with what is missing or wrong.
///
/// PYX_INVALID_ARG: a codec or a value that cannot be used, or that `format`
/// cannot hold. PYX_NOT_INITIALIZED: something is missing.

/// `first` is the stream's first packet: it tells the form of H.264 and HEVC,
/// and replaces extra data that was not given.
PYX_RESULT SetUpVideo(PYXPropertyStorage* pInput, const AVPacket& first, const AVOutputFormat& format,
                      AVStream* pStream);

PYX_RESULT SetUpAudio(PYXPropertyStorage* pInput, const AVOutputFormat& format, AVStream* pStream);
