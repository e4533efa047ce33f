#include "media/NalStream.h"

#include <algorithm>
#include <iterator>

namespace
{

constexpr pyx_uint8 c_startCode[] = {0, 0, 1};

/// Cuts the next NAL unit off `*pBytes`; empty: there is none.
Bytes TakeUnitBehindStartCode(Bytes* pBytes)
{
    const auto begin = std::search(pBytes->begin(), pBytes->end(), std::begin(c_startCode), std::end(c_startCode));
    if (pBytes->end() - begin <= 3)
    {
        return {};
    }
    const Bytes rest(begin + 3, pBytes->end());
    const auto end = std::search(rest.begin(), rest.end(), std::begin(c_startCode), std::end(c_startCode));
    *pBytes = Bytes(end, rest.end());
    return {rest.begin(), end};
}

Bytes TakeUnitBehindLength(Bytes* pBytes, std::size_t lengthSize)
{
    if (pBytes->size() <= lengthSize)
    {
        return {};
    }
    std::size_t length = 0;
    for (const pyx_uint8 byte : pBytes->first(lengthSize))
    {
        length = length << 8 | byte;
    }
    const Bytes rest = pBytes->subspan(lengthSize);
    const Bytes unit = rest.first(std::min(length, rest.size()));
    *pBytes = rest.subspan(unit.size());
    return unit;
}

int GetNalType(pyx_uint8 header, bool isHevc)
{
    return isHevc ? header >> 1 & 63 : header & 31;
}

/// H.264 has slices up to type 5, HEVC up to 31; 0 is a slice in HEVC only.
bool IsSlice(int type, bool isHevc)
{
    return isHevc ? type < 32 : type >= 1 && type <= 5;
}

} // namespace

bool IsAnnexB(Bytes bytes)
{
    const std::size_t zeros = bytes.size() > 3 && bytes[2] == 0 ? 3 : 2;
    if (bytes.size() <= zeros || bytes[zeros] != 1)
    {
        return false;
    }
    for (std::size_t i = 0; i < zeros; ++i)
    {
        if (bytes[i] != 0)
        {
            return false;
        }
    }
    return true;
}

bool IsLengthPrefixed(Bytes bytes, std::size_t lengthSize)
{
    while (bytes.size() >= lengthSize && !bytes.empty())
    {
        std::size_t length = 0;
        for (std::size_t i = 0; i < lengthSize; ++i)
        {
            length = length << 8 | bytes[i];
        }
        bytes = bytes.subspan(lengthSize);
        if (length == 0 || length > bytes.size())
        {
            return false;
        }
        bytes = bytes.subspan(length);
        if (bytes.empty())
        {
            return true;
        }
    }
    return false;
}

bool IsConfigurationRecord(Bytes extraData)
{
    return !extraData.empty() && extraData[0] == 1;
}

std::size_t GetLengthSize(Bytes record, bool isHevc)
{
    const std::size_t at = isHevc ? 21 : 4;
    return record.size() > at ? (record[at] & 3u) + 1 : 0;
}

int GetPictureType(Bytes packet, bool isHevc, std::size_t lengthSize)
{
    for (;;)
    {
        const Bytes unit =
            lengthSize > 0 ? TakeUnitBehindLength(&packet, lengthSize) : TakeUnitBehindStartCode(&packet);
        if (unit.empty())
        {
            return -1;
        }
        if (const int type = GetNalType(unit[0], isHevc); IsSlice(type, isHevc))
        {
            return type;
        }
    }
}

bool StartsSequence(int type, bool isHevc)
{
    return isHevc ? type >= 16 && type <= 20 : type == 5;
}

bool IsSkippedLeading(int type)
{
    return type == 8 || type == 9;
}
