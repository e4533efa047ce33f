#pragma once

#include "common/Component.h"
#include "replay/input/MediaReader.h"

/// Passes on what the input says of itself beyond what is needed to decode it:
/// orientation, shape of the pixels, colours, language, time of recording. These
/// are properties of the muxer (media/ClipProperties.h) and reach it through the
/// ring buffer, which does not know them. What the input does not say is not set.

/// What the clip will not say although the input does, as a warning; or empty.
std::string WhatIsNotKept(const MediaReader& video, const std::wstring& output);

Outcome SetVideoDetails(PYXInput* pInput, const MediaReader& video);
Outcome SetAudioDetails(PYXInput* pInput, const MediaReader& audio);
Outcome SetClipDetails(PYXComponent* pComponent, const MediaReader& video, bool fastStart);
