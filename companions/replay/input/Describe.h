#pragma once

#include "recorder/Recorder.h"
#include "replay/input/MediaReader.h"

// Describe a stream, and the clip, as the recorder takes it. What the input says beyond what decoding needs
// (orientation, pixel aspect, colours, language, creation time) becomes properties of the muxer
// (media/ClipProperties.h).

PYXVideoStream DescribeVideo(const MediaReader& video);
PYXAudioStream DescribeAudio(const MediaReader& audio);
PYXInterfacePtr<PYXPropertyStorage> DescribeClip(const MediaReader& video, bool fastStart);

/// A warning of what the output's container cannot say although the input does; or empty.
std::string WhatIsNotKept(const MediaReader& video, const std::wstring& output);
