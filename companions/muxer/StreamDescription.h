#pragma once

#include "media/FFmpeg.h"

class PYXPropertyStorage;

/// Turns what an input's properties say of its stream into what a container
/// must know of it before its header: codec, size or sample format, rate, clock
/// and extra data. Each failure is traced with what is missing or wrong.
///
/// PYX_INVALID_ARG: a codec or a value that cannot be used, or that `format`
/// cannot hold. PYX_NOT_INITIALIZED: something is missing.

/// `first` is the stream's first packet: it tells the form of H.264 and HEVC,
/// and stands in for extra data that was not given.
PYX_RESULT DescribeVideo(PYXPropertyStorage* pInput, const AVPacket& first, const AVOutputFormat& format,
                         AVStream* pStream);

PYX_RESULT DescribeAudio(PYXPropertyStorage* pInput, const AVOutputFormat& format, AVStream* pStream);
