#pragma once

#include "support/Companions.h"
#include "support/Faults.h"
#include "support/Packet.h"

#include <algorithm>
#include <deque>
#include <map>
#include <utility>
#include <vector>

/// The ring buffer once more, without its code: lists of packets without bytes.
/// Tells what the outside has to see of the module after each step of a host, see RingBufferTest::Run(), and:
///     Files          the number of temporary files, and c_open for each that is open
///     Init!Init      the muxer's first call "Init" in this step fails with 99
class Model
{
public:
    static constexpr int c_none = -1;    ///< no such input or directory
    static constexpr int c_unknown = -2; ///< a step that the model cannot follow; not to be taken
    static constexpr int c_open = 100;   ///< for each file that is open

    explicit Model(const std::string& directory) : m_directory(directory)
    {
    }

    /// Takes the failing call, if there is one, off a step and plans it.
    static std::string Plan(const std::string& step, FaultPlan* pFaults)
    {
        const size_t mark = std::min(step.find('!'), step.size() - 1);
        pFaults->Fail(step.substr(mark + 1), step[mark] == '!', 99);
        return step[mark] == '!' ? step.substr(0, mark) : step;
    }

    int Run(const std::string& text)
    {
        const std::string step = Plan(text, &m_faults);
        if (step.starts_with("new:"))
        {
            return Create(step.substr(4));
        }
        if (step == "Files")
        {
            return CountFiles();
        }
        if (step == "Terminate")
        {
            return Terminate();
        }
        if (step == "ReInit")
        {
            Terminate();
        }
        if (step.ends_with("Init"))
        {
            return Init(step == "Init" ? "1 640 480" : "0 320 200");
        }
        if (step.starts_with("Get"))
        {
            return step[3] - '0' < std::ssize(m_inputs) ? 0 : Refuse(4, "Invalid index");
        }
        if (step[0] != 'V' && step[0] != 'A')
        {
            return Set(nullptr, step);
        }
        const auto input = std::ranges::find(m_inputs, step[0], &Input::kind);
        if (input == m_inputs.end())
        {
            return c_none;
        }
        return step[1] == '.' ? Set(&*input, step.substr(2)) : Submit(*input, step);
    }

    Companions seen; ///< by the recording companions

private:
    struct Group
    {
        std::string file; // without its last letter; empty without a directory
        bool inRam;
        std::vector<Packet> packets[2]{}; // video, audio; so are the files:
        char modes[2]{};                  // 0 closed, r reading, w filling
        bool exist[2]{};
    };

    struct Input
    {
        char kind;
        int count = 0;
        bool enabled = true;
    };

    static inline const std::string c_big[] = {"Video", "Audio"};
    static inline const std::string c_small[] = {"video", "audio"};

    static std::string Frame(int kind, size_t index)
    {
        return c_small[kind] + " frame " + std::to_string(index) + '.';
    }
    static void Note(std::string* pLog, const std::string& entry)
    {
        *pLog += (pLog->empty() ? "" : "\n") + entry;
    }
    bool HasInput(int kind) const
    {
        return seen.inputs.find("VA"[kind]) != std::string::npos;
    }

    /// Asks the muxer for its inputs up to the first of a kind, or for all of them (0).
    int AskMuxer(char until)
    {
        if (seen.inputs.starts_with('x'))
        {
            return Refuse(until ? 8 : 2, "Muxer is of invalid type");
        }
        for (const char kind : seen.inputs)
        {
            if (const int result = m_faults.Check("GetInput"))
            {
                return Pass(result, "Muxer has invalid input stream");
            }
            if (kind == '0')
            {
                return Refuse(until ? c_none : 2, "Muxer input stream is NULL");
            }
            if (const int result = m_faults.Check("Input.GetProperty"))
            {
                return Pass(result, until ? "Muxer input GetProperty() failed" : "Muxer GetProperty() failed");
            }
            if (kind == until)
            {
                break;
            }
        }
        return PYX_OK;
    }

    /// What the muxer's last input of a kind got.
    void NoteWritten(char kind, const std::string& packet)
    {
        const std::string index = seen.inputs.size() > 2 ? std::to_string(seen.inputs.rfind(kind)) : "";
        Note(&seen.written, index + kind + packet);
    }

    int Refuse(int code, const std::string& text, const std::string& scope = "RingBufferImpl")
    {
        Note(&seen.traces, "E " + scope + " Assertion failed:" + text);
        return code;
    }

    /// A failure, if it is one, on its way up.
    int Pass(int code, const std::string& text, const std::string& scope = "RingBufferImpl")
    {
        const std::string number = std::to_string(code);
        if (code)
        {
            Note(&seen.traces, "E " + scope + " PYX_ERROR " + number + " : code " + number + ": " + text);
        }
        return code;
    }

    int PassGroup(int code, const std::string& text)
    {
        return Pass(code, text, "RingBufferGOP");
    }

    int Create(const std::string& inputs)
    {
        if (!m_values.empty())
        {
            Terminate();
        }
        Clear();
        while (!m_inputs.empty())
        {
            RemoveInput(m_inputs.begin());
        }
        seen.inputs = inputs;
        Note(&seen.calls, "PYXInit 1000400240000\nCreate MuxerFFMPEG");
        m_hasMuxer = m_faults.Check("Create") == PYX_OK;
        m_values = {{"Duration", "30"}, {"BufferInRamEnabled", "false"}};
        m_values.insert({{"EnableVideo", "true"}, {"EnableAudio", "false"}});
        m_tempPath.clear();
        m_inputs = {{'V'}};
        return PYX_OK;
    }

    void RemoveInput(std::vector<Input>::iterator input)
    {
        const std::string text = c_big[input->kind == 'A'] + " stream - packets written ";
        Note(&seen.traces, "I* RingBufferImpl " + text + std::to_string(input->count));
        m_inputs.erase(input);
    }

    int Init(const std::string& arguments)
    {
        if (!m_hasMuxer)
        {
            return Refuse(13, "Init() - Internal component not initialized");
        }
        Clear();
        m_hasDirectory |= !m_tempPath.empty();
        Note(&seen.calls, "Init " + arguments);
        return Pass(m_faults.Check("Init"), "muxer::Init() failed");
    }

    int Terminate()
    {
        if (!m_hasMuxer)
        {
            return Refuse(13, "Terminate() - Internal component not initialized");
        }
        const int result = m_tempPath.empty() || CountComplete() == 0 ? PYX_OK : WriteOut();
        if (result)
        {
            return Pass(result, "WriteBuffer() failed");
        }
        Clear();
        m_hasDirectory &= m_tempPath.empty();
        return PYX_OK;
    }

    int CountFiles() const
    {
        int count = m_hasDirectory ? 0 : c_none;
        for (const Group& group : m_groups)
        {
            count += group.exist[0] + group.exist[1] + c_open * (!!group.modes[0] + !!group.modes[1]);
        }
        return count;
    }

    int Set(Input* pInput, const std::string& property)
    {
        if (!m_hasMuxer)
        {
            return Refuse(13, "SetProperty() - Internal component not initialized");
        }
        const std::string name = property.substr(0, property.find('='));
        const std::string value = property.substr(name.size() + 1);
        const bool restarts = name == "TempPath" || name == "BufferInRamEnabled";
        if (const int result = pInput ? AskMuxer(pInput->kind) : PYX_OK)
        {
            return result == c_none ? PYX_OK : result;
        }
        if (pInput ? HasInput(pInput->kind == 'A') : !restarts && name != "Duration")
        {
            Note(&seen.calls, (pInput ? std::string{pInput->kind, '.'} : "") + property);
            const int result = m_faults.Check(pInput ? "Input.SetProperty" : "SetProperty");
            if (result)
            {
                return Pass(result, pInput ? "Unable to set property for muxer" : "muxer::SetProperty() failed");
            }
        }
        const int result = name.empty()     ? Refuse(7, "invalid pointer : name")
                           : name == "Nope" ? PYX_NOT_FOUND
                           : value == "x"   ? Pass(4, "Property=" + name, "PropertyStorageExImpl:280")
                           : value == "0" || value == "2147483648" ? PYX_OUT_OF_RANGE
                                                                   : PYX_OK;
        if (pInput && !result)
        {
            pInput->enabled = value == "true";
        }
        if (pInput || result || std::exchange(m_values[name], value) == value)
        {
            return result;
        }
        if (restarts)
        {
            Terminate();
            m_tempPath = m_values["TempPath"].empty() ? "" : m_directory;
            Init("0 0 0");
        }
        if (name == "Duration")
        {
            Trim();
        }
        const auto input = std::ranges::find(m_inputs, name[6 % name.size()], &Input::kind);
        if (name.starts_with("Enable") && value == "true")
        {
            m_inputs.push_back({name[6]});
        }
        if (name.starts_with("Enable") && value == "false")
        {
            RemoveInput(input);
        }
        return PYX_OK;
    }

    int Submit(Input& input, const std::string& name)
    {
        if (name.ends_with('-'))
        {
            return PYX_EOF;
        }
        if (!input.enabled)
        {
            return PYX_OK;
        }
        if (m_wasRead && (input.kind == 'A' || !m_pending.empty()))
        {
            return c_unknown;
        }
        ++input.count;
        const Packet packet = Packet::Parse(name);
        if (packet.key)
        {
            return Pass(Start(packet), "SubmitInput() failed to store the start packet");
        }
        if (input.kind == 'A')
        {
            m_pending.push_back(packet);
            return Pass(PlaceAudio(), "SubmitInput() failed to store the audio packet");
        }
        if (!m_hasActive)
        {
            return PYX_OK;
        }
        int result = Pass(Add(m_groups.back(), 0, packet), "AddVideoRegularPacket() failed");
        result = result ? result : PlaceAudio();
        return Pass(result, "SubmitInput() failed to store the regular packet");
    }

    int Start(const Packet& packet)
    {
        int result = PlaceAudio();
        if (!result)
        {
            if (m_hasActive)
            {
                m_groups.back().modes[0] = 0;
            }
            const std::string file = m_tempPath + "\\Temp" + std::to_string(++m_groupCount) + ".RB";
            m_groups.push_back({m_tempPath.empty() ? "" : file, m_values["BufferInRamEnabled"] == "true"});
            m_hasActive = true;
            result = Add(m_groups.back(), 0, packet);
            result = result ? result : PlaceAudio();
        }
        if (!result)
        {
            Trim();
        }
        return Pass(result, "AddVideoStartPacket() failed");
    }

    int PlaceAudio()
    {
        while (!m_pending.empty() && !m_groups.empty())
        {
            const Packet packet = m_pending.front();
            const auto isBefore = [&](const Group& group) { return Pts(group) <= packet.pts; };
            const auto found = std::find_if(m_groups.rbegin(), m_groups.rend(), isBefore);
            const bool isForActive = m_hasActive && found == m_groups.rbegin();
            const int result = found == m_groups.rend() ? PYX_OK : AddAudio(*found, packet);
            if (result && isForActive)
            {
                return PYX_OK;
            }
            m_pending.pop_front();
            if (result)
            {
                return Pass(result, "AddAudioPacketsToGOP() failed to add audio packet to cached GOP");
            }
            if (isForActive && CountComplete() > 0 && found->packets[0].size() == 1)
            {
                std::next(found)->modes[1] = 0;
            }
        }
        return PYX_OK;
    }

    int AddAudio(Group& group, const Packet& packet)
    {
        if (group.packets[0].empty())
        {
            return PYX_NOT_FOUND;
        }
        return packet.pts < Pts(group) ? PYX_OUT_OF_RANGE : Add(group, 1, packet);
    }

    void Trim()
    {
        if (CountComplete() == 0)
        {
            return;
        }
        pyx_int64 span = Length(m_groups.back());
        span += Pts(m_groups.back());
        span -= Pts(m_groups.front());
        while (CountComplete() > 0 && (span -= Length(m_groups.front())) > Limit())
        {
            m_groups.pop_front();
        }
    }

    size_t CountComplete() const
    {
        return m_groups.size() - (m_hasActive ? 1 : 0);
    }
    pyx_int64 Limit()
    {
        return std::stoll(m_values["Duration"]) * PYX_TICKS_PER_SECOND;
    }

    void Clear()
    {
        m_pending.clear();
        m_groups.clear();
        m_hasActive = false;
        m_wasRead = false;
    }

    int WriteOut()
    {
        int result = AskMuxer(0);
        if (result)
        {
            return result;
        }
        m_hasActive = false;
        m_wasRead = true;
        const pyx_int64 base = Pts(m_groups.front());
        for (auto group = m_groups.begin(); group != m_groups.end() && !result; ++group)
        {
            result = WriteGroup(*group, base);
        }
        for (int kind = 0; kind < 2 && !result; ++kind)
        {
            if (HasInput(kind))
            {
                NoteWritten("VA"[kind], "-");
            }
            result = HasInput(kind) ? m_faults.Check("End") : PYX_OK;
            Pass(result, "WriteBuffer() failed to submit empty " + c_small[kind] + " frame.");
        }
        return result;
    }

    int WriteGroup(Group& group, pyx_int64 base)
    {
        for (const int kind : {0, 1})
        {
            const int result = HasInput(kind) ? Open(group, kind, 'r') : PYX_OK;
            if (result)
            {
                return Pass(result, "WriteBuffer() Failed to open temp " + c_small[kind] + " file.");
            }
        }
        size_t next[2] = {};
        const auto isLeft = [&](int kind) { return HasInput(kind) && next[kind] < group.packets[kind].size(); };
        while (isLeft(0) || isLeft(1))
        {
            const Packet* pFirst = nullptr;
            for (const int kind : {0, 1})
            {
                const Packet* const pNext = isLeft(kind) ? &group.packets[kind][next[kind]] : nullptr;
                if (const int result = pNext ? Read(group, kind, *pNext) : PYX_OK)
                {
                    return Pass(result, "WriteBuffer() failed to retrieve " + Frame(kind, next[kind]));
                }
                pFirst = !pFirst || (pNext && pNext->pts < pFirst->pts) ? pNext : pFirst;
            }
            Send(*pFirst, next[pFirst->kind == 'A']++, pFirst->pts - base);
        }
        for (const int kind : {0, 1})
        {
            group.modes[kind] = HasInput(kind) ? 0 : group.modes[kind];
        }
        return PYX_OK;
    }

    void Send(const Packet& packet, size_t index, pyx_int64 time)
    {
        if (time >= Limit())
        {
            return;
        }
        const std::string duration = packet.duration ? '+' + std::to_string(packet.duration) : "";
        NoteWritten(packet.kind, std::to_string(time) + duration);
        if (m_faults.Check("Submit"))
        {
            const std::string frame = Frame(packet.kind == 'A', index);
            Note(&seen.traces, "W* RingBufferImpl WriteBuffer() failed to submit " + frame);
        }
    }

    pyx_int64 Pts(const Group& group)
    {
        if (!group.packets[0].empty())
        {
            return group.packets[0][0].pts;
        }
        return Refuse(-1, "GetPts() - Call made when no packets in yet.", "RingBufferGOP");
    }

    pyx_int64 Length(const Group& group)
    {
        const pyx_int64 pts = Pts(group);
        return group.packets[0].empty() ? -1 : group.packets[0].back().pts - pts + group.packets[0].back().duration;
    }

    int Open(Group& group, int kind, char mode)
    {
        const std::string text = "Open" + c_big[kind] + "File() - ";
        if (group.inRam || group.modes[kind])
        {
            return PYX_OK;
        }
        if (group.file.empty())
        {
            return Refuse(13, text + c_big[kind] + " file name doesn't exist.", "RingBufferGOP");
        }
        const bool isThere = mode == 'r' ? group.exist[kind] : m_hasDirectory;
        group.modes[kind] = isThere ? mode : 0;
        group.exist[kind] = isThere;
        return PassGroup(isThere ? PYX_OK : PYX_FAIL, text + "Failed to open the temporary file " + Name(group, kind));
    }

    static std::string Name(const Group& group, int kind)
    {
        return (group.file.empty() ? "" : group.file + "VA"[kind]) + '.';
    }

    int Add(Group& group, int kind, const Packet& packet)
    {
        const std::string text = "Add" + c_big[kind] + "Packet() - Failed to ";
        int result = group.packets[kind].empty() ? Open(group, kind, 'w') : PYX_OK;
        if (result)
        {
            return PassGroup(result, text + "open the temporary file " + Name(group, kind));
        }
        if (!group.inRam && group.modes[kind] != 'w')
        {
            result = group.modes[kind] ? PYX_FAIL : Refuse(16, "Write() - File not Open", "DataStreamFileImpl");
            PassGroup(result, "WritePacket() - Failed to write packet information to file.");
            return PassGroup(result, text + "write the buffer information to temporary file.");
        }
        group.packets[kind].push_back(packet);
        return PYX_OK;
    }

    /// An empty packet is the end of the file, or is in memory that was never needed.
    int Read(const Group& group, int kind, const Packet& packet)
    {
        const auto isEmpty = [&](const Packet& other) { return other.bytes == 0; };
        const bool isNothing = group.inRam && std::ranges::all_of(group.packets[kind], isEmpty);
        int result = packet.bytes == 0 && !group.inRam ? PYX_EOF : PYX_OK;
        if (isNothing)
        {
            result = Refuse(13, "Read() - Stream is not allocated", "DataStreamMemoryImpl");
        }
        return PassGroup(result, "ReadPacket() - Failed to read from the temporary file.");
    }

    const std::string m_directory;
    bool m_hasDirectory = false;
    FaultPlan m_faults;
    bool m_hasMuxer = false;
    bool m_wasRead = false; // a write-out failed: what comes late is written somewhere
    int m_groupCount = 0;
    std::string m_tempPath;
    std::map<std::string, std::string> m_values;
    std::deque<Packet> m_pending;
    std::deque<Group> m_groups;
    bool m_hasActive = false; // the last one still fills
    std::vector<Input> m_inputs;
};
