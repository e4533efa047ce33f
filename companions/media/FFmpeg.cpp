#include "media/FFmpeg.h"

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

std::string FFmpegErrorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof(text));
    return text;
}
