#pragma once

#include "recorder/Recorder.h"
#include "replay/input/MediaReader.h"

/// Describe a stream, and the clip, as the recorder takes it.
///
/// What the input says of itself beyond what is needed to decode it (orientation,
/// shape of the pixels, colours, language, time of recording) is passed on as
/// properties of the muxer (media/ClipProperties.h). What it does not say is not set.

PYXVideoStream DescribeVideo(const MediaReader& video);
PYXAudioStream DescribeAudio(const MediaReader& audio);
PYXInterfacePtr<PYXPropertyStorage> DescribeClip(const MediaReader& video, bool fastStart);

/// What the clip will not say although the input does, as a warning; or empty.
std::string WhatIsNotKept(const MediaReader& video, const std::wstring& output);
