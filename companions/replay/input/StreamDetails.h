#pragma once

#include "common/PropertyStorage.h"
#include "replay/input/MediaReader.h"

/// Passes on what the input says of itself beyond what is needed to decode it:
/// orientation, shape of the pixels, colours, language, time of recording. These
/// are properties of the muxer (media/ClipProperties.h), which the recorder passes on. What the input does not say is
/// not set.

/// What the clip will not say although the input does, as a warning; or empty.
std::string WhatIsNotKept(const MediaReader& video, const std::wstring& output);

/// Sets a property of a storage that takes any.
void Keep(PYXPropertyStorage* pProperties, const wchar_t* name, const PYXVariant& value);

void SetVideoDetails(PYXPropertyStorage* pStream, const MediaReader& video);
void SetAudioDetails(PYXPropertyStorage* pStream, const MediaReader& audio);
void SetClipDetails(PYXPropertyStorage* pClip, const MediaReader& video, bool fastStart);
