#include "muxer/NalStream.h"

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
