#include "replay/input/Demuxer.h"

#include "replay/input/Codecs.h"
#include "replay/Interrupt.h"
#include "replay/Options.h"
#include "replay/Text.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <span>
#include <utility>

namespace
{

constexpr int c_pipeBufferSize = 1 << 16;

/// About a second of pictures or audio: after so many packets of one stream the
/// other is not waited for.
constexpr std::size_t c_patience = 64;

/// Waits until the pipe has something, so that an interruption is noticed while
/// it has nothing. Ends also when it is a file, which always has something.
void WaitForBytes(HANDLE hPipe)
{
    constexpr DWORD interval = 5; // milliseconds
    DWORD available = 0;
    while (!IsInterrupted() && PeekNamedPipe(hPipe, nullptr, 0, nullptr, &available, nullptr) && available == 0)
    {
        Sleep(interval);
    }
}

int ReadStandardInput(void*, uint8_t* pData, int size)
{
    const HANDLE hPipe = GetStdHandle(STD_INPUT_HANDLE);
    WaitForBytes(hPipe);
    DWORD read = 0;
    const bool ended = IsInterrupted() || !ReadFile(hPipe, pData, static_cast<DWORD>(size), &read, nullptr);
    return ended || read == 0 ? AVERROR_EOF : static_cast<int>(read);
}

} // namespace

Outcome Demuxer::Open(const std::wstring& path)
{
    const bool isPipe = path == c_standardInput;
    const std::string forUser = "cannot read " + (isPipe ? "standard input" : PathForUser(path)) + ": ";
    std::error_code ignored;
    if (!isPipe && std::filesystem::is_directory(path, ignored))
    {
        return {ExitCode::BadInput, forUser + "it is a directory"};
    }
    if (!isPipe && std::filesystem::is_regular_file(path, ignored) && std::filesystem::file_size(path, ignored) == 0)
    {
        return {ExitCode::BadInput, forUser + "it is empty"};
    }
    const int error = isPipe ? OpenPipe() : OpenMediaFile(ToUtf8(path), &m_pFile);
    if (isPipe && m_pPipe && m_pPipe->bytes_read == 0)
    {
        return {ExitCode::BadInput, forUser + "it is empty"};
    }
    if (error == AVERROR_INVALIDDATA || (isPipe && error == AVERROR_EOF))
    {
        return {ExitCode::BadInput, forUser + "it is damaged, or of none of the kinds that are read: " +
                                        (isPipe ? "Matroska, MPEG-TS" : SupportedContainers())};
    }
    return error < 0 ? Outcome(ExitCode::BadInput, forUser + FFmpegErrorText(error)) : Outcome();
}

int Demuxer::OpenPipe()
{
    auto* pBuffer = static_cast<unsigned char*>(av_malloc(c_pipeBufferSize));
    m_pPipe.reset(pBuffer
                      ? avio_alloc_context(pBuffer, c_pipeBufferSize, 0, nullptr, ReadStandardInput, nullptr, nullptr)
                      : nullptr);
    AVFormatContext* pFile = m_pPipe ? avformat_alloc_context() : nullptr;
    if (!pFile)
    {
        return AVERROR(ENOMEM);
    }
    pFile->pb = m_pPipe.get();
    if (const int error = avformat_open_input(&pFile, nullptr, nullptr, nullptr); error < 0) // frees it then
    {
        return error;
    }
    m_pFile.reset(pFile);
    return std::min(avformat_find_stream_info(pFile, nullptr), 0);
}

void Demuxer::Choose(const AVStream& stream)
{
    m_chosen.insert(stream.index);
    if (!IsPipe())
    {
        PassOverOthers();
    }
}

void Demuxer::PassOverOthers()
{
    if (std::exchange(m_passesOver, true))
    {
        return;
    }
    for (AVStream* pStream : std::span(m_pFile->streams, m_pFile->nb_streams))
    {
        pStream->discard = m_chosen.contains(pStream->index) ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    std::erase_if(m_waiting, [this](const auto& stream) { return !m_chosen.contains(stream.first); });
}

void Demuxer::Leave(int index)
{
    m_chosen.erase(index);
    m_waiting.erase(index);
}

int Demuxer::Read(int index, AVPacket* pPacket)
{
    std::deque<PacketPtr>& mine = m_waiting[index];
    while (mine.empty())
    {
        const bool paused = std::any_of(m_waiting.begin(), m_waiting.end(),
                                        [](const auto& stream) { return stream.second.size() >= c_patience; });
        if (m_end == 0 && paused)
        {
            return c_notYet;
        }
        if (m_end != 0)
        {
            return m_end;
        }
        PacketPtr pNext(av_packet_alloc());
        const int error = pNext ? ReadNext(pNext.get()) : AVERROR(ENOMEM);
        if (error == AVERROR_INVALIDDATA)
        {
            return error; // reading may go on behind it
        }
        m_end = std::min(error, 0);
        if (error >= 0 && (!m_passesOver || m_chosen.contains(pNext->stream_index)))
        {
            m_waiting[pNext->stream_index].push_back(std::move(pNext));
        }
    }
    av_packet_unref(pPacket);
    av_packet_move_ref(pPacket, mine.front().get());
    mine.pop_front();
    return 0;
}

/// A file that ends before its index says so is no clean end either.
int Demuxer::ReadNext(AVPacket* pPacket)
{
    const int error = av_read_frame(m_pFile.get(), pPacket);
    return error == AVERROR_EOF && m_pFile->pb && m_pFile->pb->error < 0 && !IsPipe() ? m_pFile->pb->error : error;
}
