#pragma once

#include "common/Component.h"
#include "common/RefCounted.h"

#include <functional>
#include <string>
#include <vector>

/// What the recording companions shall be like and the calls that they got. One per
/// program. Their calls are under the fault plan, by the names "PYXInit",
/// "PYXQueryVersion", "Create", "Init", "SetProperty", "GetInput",
/// "Input.GetProperty", "Input.SetProperty", "Submit V", "Submit A", "End V",
/// "End A". Threads: any.
struct Companions
{
    static Companions& Get();

    /// What a log holds since the last call.
    std::string Take(std::string Companions::* log);

    /// Of each new muxer: V video, A audio, D data, 0 a null input; x first: it is no PYXComponentEx.
    std::string inputs = "VA";

    /// One line per record: level ('*': with arguments), class, its prescribed line
    /// if there is one, text. A source that is not the class's precedes the text.
    ///     E RingBufferImpl Assertion failed:Invalid index
    ///     E PropertyStorageExImpl:168 Assertion failed:invalid pointer : name
    ///     I* RingBufferImpl Video stream - packets written 3
    std::string traces;
    std::function<void(const std::string&)> onTrace; ///< called with each record's text

    /// One line each: "PYXInit 1000400240000", "Create MuxerFFMPEG",
    /// "Init 0 640 480", "Path=x.mp4", "V.BitRate=5".
    std::string calls;

    /// Packets and end marks as they came in: "V0 A0 V400 V- A-". With more than
    /// two inputs each has its input's index in front: "1V0".
    std::string written;
    pyx_int64 base = -1; ///< what was taken off the packets' times, see Packet
};

/// An interface value that calls a function when it ends.
class AtEnd final : public PYXRefCounted<PYXInterface>
{
public:
    explicit AtEnd(std::function<void()> call) : m_call(std::move(call))
    {
    }
    ~AtEnd() override
    {
        m_call();
    }
    PYX_RESULT QueryInterface(const PYXGuid&, void**) override
    {
        return PYX_NO_INTERFACE;
    }

private:
    const std::function<void()> m_call;
};

/// A result and the records that were traced since the last look, one per line:
///     4
///     E RingBufferImpl Assertion failed:Invalid index
std::string Outcome(int result);

/// A value as text: "-" when empty, "null" or "object" for an interface, floating
/// numbers with six digits.
std::string Text(const PYXVariant& value);
std::string Narrow(const wchar_t* text);

/// The parts between the separators.
std::vector<std::string> Split(const std::string& text, char separator = ' ');
