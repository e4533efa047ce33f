#include "support/Packet.h"

#include "common/PropertyReader.h"

#include <regex>

namespace
{

std::string Payload(const std::string& name, size_t bytes)
{
    std::string payload;
    while (payload.size() < bytes)
    {
        payload += name + '|';
    }
    return payload.substr(0, bytes);
}

} // namespace

Packet Packet::Parse(const std::string& token)
{
    static const std::regex s_notation(R"(([VA])(-?\d+)(s?)(K?)(?:\+(\d+))?(?:/(\d+))?)");
    std::smatch match;
    std::regex_match(token, match, s_notation);
    const auto number = [&match](size_t i, pyx_int64 missing) {
        return match[i].matched ? std::stoll(match[i]) : missing;
    };
    const pyx_int64 unit = match.length(3) ? PYX_TICKS_PER_SECOND : 1;
    return {token[0], number(2, 0) * unit, match.length(4) > 0, number(5, 0), number(6, -1)};
}

PYXInterfacePtr<HostBuffer> Packet::Build() const
{
    const std::string name = kind + std::to_string(pts);
    const std::string payload = Payload(name, bytes < 0 ? name.size() + 1 : static_cast<size_t>(bytes));
    auto spBuffer = HostBuffer::Create(payload.size());
    payload.copy(static_cast<char*>(spBuffer->GetNative()), payload.size());
    spBuffer->SetPts(pts);
    spBuffer->SetDuration(duration);
    spBuffer->SetProperty(L"Name", PYXVariantBorrowWString(std::wstring(name.begin(), name.end()).c_str()));
    if (kind == 'V')
    {
        spBuffer->SetProperty(L"OutputDataType", PYXVariantFromInt64(key ? 0 : 2));
    }
    return spBuffer;
}

std::string Packet::Describe(char kind, PYXBuffer* pBuffer, pyx_int64* pBase)
{
    std::wstring wide;
    PYXReadProperty(pBuffer, L"Name", &wide);
    const std::string name(wide.begin(), wide.end());
    const pyx_int64 base = PYXSubtractTicks(std::stoll(name.substr(1)), pBuffer->GetPts());
    *pBase = *pBase == -1 ? base : *pBase;
    const std::string payload(static_cast<const char*>(pBuffer->GetNative()), pBuffer->GetSize());
    const bool same = name[0] == kind && base == *pBase && payload == Payload(name, payload.size());
    const std::string duration = pBuffer->GetDuration() ? '+' + std::to_string(pBuffer->GetDuration()) : "";
    return kind + std::to_string(pBuffer->GetPts()) + duration + (same ? "" : '(' + name + ')');
}
