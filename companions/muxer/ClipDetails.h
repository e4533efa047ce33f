#pragma once

#include "common/PropertyStorageExImpl.h"
#include "media/FFmpeg.h"

#include <span>

/// What a clip says of its streams beyond what is needed to decode them, as
/// properties of this muxer's inputs (media/ClipProperties.h) and in the file.

extern const std::span<const PYXPropertyDeclaration> VIDEO_DETAIL_PROPERTIES;
extern const std::span<const PYXPropertyDeclaration> AUDIO_DETAIL_PROPERTIES;

/// Writes an input's details into its stream; those of audio are a part of the
/// video's. PYX_OUT_OF_MEMORY is traced.
PYX_RESULT SetVideoDetails(PYXPropertyStorage* pInput, AVStream* pStream);
PYX_RESULT SetAudioDetails(PYXPropertyStorage* pInput, AVStream* pStream);
