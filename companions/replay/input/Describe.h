#pragma once

#include "common/Component.h"
#include "replay/input/MediaReader.h"

/// Describe a stream on the component's input, which passes it on to the muxer.
/// A host does it before the first packet of a clip is written.

Outcome DescribeVideo(PYXInput* pInput, const MediaReader& video);
Outcome DescribeAudio(PYXInput* pInput, const MediaReader& audio);
