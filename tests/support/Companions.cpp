#include "support/Companions.h"

#include "common/PropertyStorageExImpl.h"
#include "common/RefCounted.h"
#include "common/ReservedOperations.h"
#include "host/HostObject.h"
#include "support/Faults.h"
#include "support/Packet.h"

#include <cstdio>
#include <sstream>
#include <utility>

namespace
{

PYXCriticalSection s_sync;

void Note(std::string Companions::* log, const std::string& entry, char separator = '\n')
{
    PYXLock lock(&s_sync);
    std::string& text = Companions::Get().*log;
    text += (text.empty() ? "" : std::string(1, separator)) + entry;
}

template <class Interface> class Counted : public PYXRefCounted<PYXPropertyStorageExImpl<Interface>>, private HostObject
{
};

/// Takes every property, whatever its name and value.
class MuxerInput final : public Counted<PYXInput>
{
public:
    MuxerInput(char kind, const std::string& index) : m_kind(kind), m_index(index)
    {
        const auto type = PYXVariantFromInt64(kind == 'V' ? 1 : kind == 'A' ? 2 : 3);
        DeclareProperty({L"StreamType", L"", PYX_VARIANT_INT64, type, {}, {}, 3});
    }

    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override
    {
        Note(&Companions::calls, m_kind + ('.' + Narrow(name)) + '=' + Text(value));
        return FaultPlan::Get().Check("Input.SetProperty");
    }

    PYX_RESULT GetProperty(const wchar_t* name, PYXVariant* pValue) override
    {
        const PYX_RESULT result = FaultPlan::Get().Check("Input.GetProperty");
        return result == PYX_OK ? Counted::GetProperty(name, pValue) : result;
    }

    PYX_RESULT SubmitInput(PYXData* pData) override
    {
        auto* const pBuffer = static_cast<PYXBuffer*>(pData);
        const std::string entry =
            pData ? Packet::Describe(m_kind, pBuffer, &Companions::Get().base) : std::string{m_kind, '-'};
        Note(&Companions::written, m_index + entry, ' ');
        return FaultPlan::Get().Check(std::string(pData ? "Submit " : "End ") + m_kind);
    }

private:
    const char m_kind;
    const std::string m_index;
};

class Muxer final : public PYXReservedOperations<Counted<PYXComponentEx>>
{
public:
    explicit Muxer(PYXContext* pContext) : m_spContext(pContext)
    {
        const std::string& kinds = Companions::Get().inputs;
        for (const char& kind : kinds)
        {
            const std::string index = kinds.size() > 2 ? std::to_string(&kind - kinds.data()) : "";
            m_inputs.emplace_back(kind == '0' ? nullptr : new MuxerInput(kind, index));
        }
    }

    PYX_RESULT QueryInterface(const PYXGuid& id, void** out) override
    {
        if (id != PYXComponentEx::c_id || Companions::Get().inputs.starts_with('x'))
        {
            return PYX_NO_INTERFACE;
        }
        *out = PYXInterfacePtr<PYXComponentEx>(this).Detach();
        return PYX_OK;
    }

    PYX_RESULT SetProperty(const wchar_t* name, PYXVariant value) override
    {
        Note(&Companions::calls, Narrow(name) + '=' + Text(value));
        return FaultPlan::Get().Check("SetProperty");
    }

    PYX_RESULT Init(pyx_int32 format, pyx_int32 width, pyx_int32 height) override
    {
        std::ostringstream call;
        call << "Init " << format << ' ' << width << ' ' << height;
        Note(&Companions::calls, call.str());
        return FaultPlan::Get().Check("Init");
    }

    PYX_RESULT GetInput(pyx_int32 index, PYXInput** ppInput) override
    {
        const PYX_RESULT result = FaultPlan::Get().Check("GetInput");
        *ppInput = PYXInterfacePtr(result == PYX_OK ? m_inputs[static_cast<size_t>(index)].Get() : nullptr).Detach();
        return result;
    }

    pyx_int32 GetInputCount() override
    {
        return static_cast<pyx_int32>(m_inputs.size());
    }
    PYXContext* GetContext() override
    {
        return m_spContext.Get();
    }
    PYX_RESULT ReInit(pyx_int32, pyx_int32) override
    {
        return PYX_NOT_IMPLEMENTED;
    }
    PYX_RESULT Terminate() override
    {
        return PYX_NOT_IMPLEMENTED;
    }

private:
    PYXInterfacePtr<PYXContext> m_spContext;
    std::vector<PYXInterfacePtr<PYXInput>> m_inputs;
};

} // namespace

Companions& Companions::Get()
{
    static Companions s_companions;
    return s_companions;
}

std::string Companions::Take(std::string Companions::* log)
{
    PYXLock lock(&s_sync);
    return std::exchange(this->*log, {});
}

std::string Outcome(int result)
{
    const std::string traces = Companions::Get().Take(&Companions::traces);
    return std::to_string(result) + (traces.empty() ? "" : '\n' + traces);
}

std::vector<std::string> Split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
    {
        parts.push_back(part);
    }
    return parts;
}

std::string Narrow(const wchar_t* text)
{
    const std::wstring wide = text ? text : L"";
    return {wide.begin(), wide.end()};
}

std::string Text(const PYXVariant& value)
{
    std::ostringstream text;
    if (value.type == PYX_VARIANT_INTERFACE)
    {
        text << (value.interfaceValue ? "object" : "null");
    }
    else if (value.type == PYX_VARIANT_DOUBLE)
    {
        text << value.doubleValue;
    }
    else if (value.type >= PYX_VARIANT_FLOAT)
    {
        constexpr size_t counts[] = {1, 2, 2, 3, 4}; // of numbers, by kind
        for (size_t i = 0; i < counts[value.type - PYX_VARIANT_FLOAT]; ++i)
        {
            text << (i ? "," : "") << value.floatValues[i];
        }
    }
    else
    {
        PYXVariantOwner string;
        PYXVariantChangeType(string.Out(), &value, PYX_VARIANT_STRING);
        text << (value.type == PYX_VARIANT_EMPTY ? "-" : string.Get().stringValue);
    }
    return text.str();
}

PYX_EXPORT PYX_RESULT PYXTestTrace(const wchar_t* path, pyx_int32 line, pyx_int32 level, const wchar_t* scope,
                                   const wchar_t* format, va_list* pArgs)
{
    std::wstring text = format;
    if (pArgs)
    {
        text.resize(4096);
        _vsnwprintf(text.data(), text.size(), format, *pArgs);
    }
    const std::string name = Narrow(scope).substr(3); // without PYX
    std::string source = (name.starts_with("RingBuffer") ? "components/RingBuffer/" : "common/") + name;
    source.resize(source.size() - (name.starts_with("DataStream") ? 4 : 0)); // streams drop their Impl
    const std::string place = name == "PropertyStorageExImpl" ? ':' + std::to_string(line) : "";
    Note(&Companions::traces, "EWI"[level] + std::string(pArgs ? "* " : " ") + name + place + ' ' +
                                  (Narrow(path) == source ? "" : Narrow(path) + ' ') + Narrow(text.c_str()));
    if (Companions::Get().onTrace)
    {
        Companions::Get().onTrace(Narrow(text.c_str()));
    }
    return PYX_OK;
}

PYX_EXPORT PYX_RESULT PYXTestInit(pyx_uint64 version)
{
    std::ostringstream call;
    call << "PYXInit " << std::hex << version;
    Note(&Companions::calls, call.str());
    return FaultPlan::Get().Check("PYXInit");
}

PYX_EXPORT PYX_RESULT PYXTestQueryVersion(pyx_uint64* pVersion)
{
    *pVersion = 0;
    return FaultPlan::Get().Check("PYXQueryVersion");
}

PYX_EXPORT PYX_RESULT PYXTestCreateMuxer(PYXContext* pContext, const wchar_t* id, PYXComponent** ppOut)
{
    Note(&Companions::calls, "Create " + Narrow(id));
    const PYX_RESULT result = FaultPlan::Get().Check("Create");
    *ppOut = PYXInterfacePtr<PYXComponent>(result == PYX_OK ? new Muxer(pContext) : nullptr).Detach();
    return result;
}
