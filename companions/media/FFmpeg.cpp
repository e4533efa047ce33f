#include "media/FFmpeg.h"

#include <algorithm>
#include <climits>
#include <utility>

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
    error = error < 0 ? error : avformat_find_stream_info(pFile, nullptr);
    FFmpegPtr<AVFormatContext> pOpened(pFile); // null when it could not be opened
    *ppFile = error < 0 ? nullptr : std::move(pOpened);
    return std::min(error, 0);
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

PYX_RESULT ToResult(int error)
{
    const bool isRefused = error == AVERROR(EINVAL) || error == AVERROR_INVALIDDATA;
    return error >= 0 ? PYX_OK : error == AVERROR(ENOMEM) ? PYX_OUT_OF_MEMORY : isRefused ? PYX_INVALID_ARG : PYX_FAIL;
}

int OpenFilter(const char* filters, const AVCodecParameters& parameters, AVRational unit, FilterPtr* pspFilter)
{
    AVBSFContext* pFilter = nullptr;
    int error = av_bsf_list_parse_str(filters, &pFilter);
    pspFilter->reset(pFilter);
    error = error < 0 ? error : avcodec_parameters_copy(pFilter->par_in, &parameters);
    if (error >= 0)
    {
        pFilter->time_base_in = unit;
        error = av_bsf_init(pFilter);
    }
    return error;
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
#define PYX_SIDE_DATA_IN_PARAMETERS (LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 0))

std::span<const pyx_uint8> FindSideData(const AVStream& stream, AVPacketSideDataType type)
{
#if PYX_SIDE_DATA_IN_PARAMETERS
    const AVCodecParameters& parameters = *stream.codecpar;
    const AVPacketSideData* pFound =
        av_packet_side_data_get(parameters.coded_side_data, parameters.nb_coded_side_data, type);
    const std::size_t size = pFound ? pFound->size : 0;
    const pyx_uint8* pData = pFound ? pFound->data : nullptr;
#else
    std::size_t size = 0;
    const pyx_uint8* pData = av_stream_get_side_data(&stream, type, &size);
#endif
    return {pData, pData ? size : 0};
}

bool AddSideData(AVStream* pStream, AVPacketSideDataType type, std::span<const pyx_uint8> bytes)
{
#if PYX_SIDE_DATA_IN_PARAMETERS
    AVCodecParameters& parameters = *pStream->codecpar;
    const AVPacketSideData* pAdded =
        av_packet_side_data_new(&parameters.coded_side_data, &parameters.nb_coded_side_data, type, bytes.size(), 0);
    pyx_uint8* pNew = pAdded ? pAdded->data : nullptr;
#else
    pyx_uint8* pNew = av_stream_new_side_data(pStream, type, bytes.size());
#endif
    std::copy_n(bytes.begin(), pNew ? bytes.size() : 0, pNew);
    return pNew != nullptr;
}
