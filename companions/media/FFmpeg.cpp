#include "media/FFmpeg.h"

#include <algorithm>
#include <climits>

int OpenMediaFile(const std::string& path, AVIOContext* pPipe, FFmpegPtr<AVFormatContext>* ppFile)
{
    AVFormatContext* pFile = avformat_alloc_context();
    if (!pFile)
    {
        return AVERROR(ENOMEM);
    }
    pFile->pb = pPipe;
    pFile->correct_ts_overflow = 0; // else each jump far back is taken for a clock that started over
    // Named as a file, so that nothing in a name is taken for a protocol.
    int error = avformat_open_input(&pFile, pPipe ? nullptr : ("file:" + path).c_str(), nullptr, nullptr);
    FFmpegPtr<AVFormatContext> file(pFile); // null after a failure
    error = error < 0 ? error : avformat_find_stream_info(pFile, nullptr);
    if (error < 0)
    {
        return error;
    }
    *ppFile = std::move(file);
    return 0;
}

AVRational ToRational(const PYXRate& rate)
{
    AVRational result{0, 1};
    if (rate.numerator > 0 && rate.denominator > 0)
    {
        av_reduce(&result.num, &result.den, rate.numerator, rate.denominator, INT_MAX);
    }
    return result;
}

std::string FFmpegErrorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof(text));
    return text;
}

bool CopyExtraData(AVCodecParameters* pParameters, std::span<const pyx_uint8> bytes)
{
    auto* pCopy = static_cast<pyx_uint8*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    av_freep(&pParameters->extradata);
    pParameters->extradata = pCopy;
    pParameters->extradata_size = pCopy ? static_cast<int>(bytes.size()) : 0;
    std::copy_n(bytes.begin(), pParameters->extradata_size, pCopy);
    return pCopy != nullptr;
}

// Where a stream keeps its side data has changed between the releases of FFmpeg.
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 0)

std::span<const pyx_uint8> FindSideData(const AVStream& stream, AVPacketSideDataType type)
{
    const AVCodecParameters& parameters = *stream.codecpar;
    const AVPacketSideData* pData =
        av_packet_side_data_get(parameters.coded_side_data, parameters.nb_coded_side_data, type);
    return pData ? std::span<const pyx_uint8>(pData->data, pData->size) : std::span<const pyx_uint8>();
}

bool AddSideData(AVStream* pStream, AVPacketSideDataType type, std::span<const pyx_uint8> bytes)
{
    AVCodecParameters& parameters = *pStream->codecpar;
    AVPacketSideData* pData =
        av_packet_side_data_new(&parameters.coded_side_data, &parameters.nb_coded_side_data, type, bytes.size(), 0);
    pyx_uint8* pNew = pData ? pData->data : nullptr;
    std::copy_n(bytes.begin(), pNew ? bytes.size() : 0, pNew);
    return pNew != nullptr;
}

#else

std::span<const pyx_uint8> FindSideData(const AVStream& stream, AVPacketSideDataType type)
{
    std::size_t size = 0;
    const pyx_uint8* pData = av_stream_get_side_data(&stream, type, &size);
    return {pData, pData ? size : 0};
}

bool AddSideData(AVStream* pStream, AVPacketSideDataType type, std::span<const pyx_uint8> bytes)
{
    pyx_uint8* pNew = av_stream_new_side_data(pStream, type, bytes.size());
    std::copy_n(bytes.begin(), pNew ? bytes.size() : 0, pNew);
    return pNew != nullptr;
}

#endif
