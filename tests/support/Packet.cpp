#include "support/Packet.h"

#include "common/PropertyReader.h"

#include <sstream>

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
    Packet packet;
    std::istringstream text(token);
    text >> packet.kind >> packet.pts;
    for (char mark = 0; text >> mark;)
    {
        packet.pts *= mark == 's' ? PYX_TICKS_PER_SECOND : 1;
        packet.key = packet.key || mark == 'K';
        if (mark == '+' || mark == '/')
        {
            text >> (mark == '+' ? packet.duration : packet.bytes);
        }
    }
    return packet;
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
    PYXVariantOwner value;
    PYXReadPropertyAs(pBuffer, L"Name", PYX_VARIANT_STRING, &value);
    const std::string name = value.Get().stringValue;
    const pyx_int64 base = PYXSubtractTicks(std::stoll(name.substr(1)), pBuffer->GetPts());
    *pBase = *pBase == -1 ? base : *pBase;
    const std::string payload(static_cast<const char*>(pBuffer->GetNative()), pBuffer->GetSize());
    const bool same = name[0] == kind && base == *pBase && payload == Payload(name, payload.size());
    const std::string duration = pBuffer->GetDuration() ? '+' + std::to_string(pBuffer->GetDuration()) : "";
    return kind + std::to_string(pBuffer->GetPts()) + duration + (same ? "" : '(' + name + ')');
}
