#pragma once

#include "common/Types.h"

#include <cstddef>
#include <span>

/// The two forms in which H.264 and HEVC travel: NAL units after start codes
/// (Annex B), or after their lengths, with the parameter sets apart in a
/// configuration record.

using Bytes = std::span<const pyx_uint8>;

/// True when the bytes begin with a start code, 00 00 01 or 00 00 00 01.
bool IsAnnexB(Bytes bytes);

/// True when the bytes are NAL units after lengths of `lengthSize` bytes, from
/// the first to the last byte.
bool IsLengthPrefixed(Bytes bytes, std::size_t lengthSize);

/// True for a configuration record, which begins with its version.
bool IsConfigurationRecord(Bytes extraData);

/// How many bytes each length has, by the configuration record of H.264 or of
/// HEVC. 0: the record is cut short.
std::size_t GetLengthSize(Bytes record, bool isHevc);

/// The NAL type of a packet's first slice, which is that of its picture; -1: no
/// slice in it. `lengthSize` 0: the units are after start codes.
int GetPictureType(Bytes packet, bool isHevc, std::size_t lengthSize);

/// True for a picture with which the numbering of pictures starts over.
bool StartsSequence(int type, bool isHevc);

/// True for an HEVC picture that is shown before the key picture it follows and
/// refers to pictures before that one: it cannot be decoded when the key picture
/// comes first. H.264 marks no such pictures.
bool IsSkippedLeading(int type);
