#pragma once

#include "recorder/Recorder.h"
#include "replay/input/MediaReader.h"

/// Describe a stream, and the clip, as the recorder takes it.

PYXVideoStream DescribeVideo(const MediaReader& video);
PYXAudioStream DescribeAudio(const MediaReader& audio);
PYXInterfacePtr<PYXPropertyStorage> DescribeClip(const MediaReader& video, bool fastStart);
