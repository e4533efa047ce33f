#include "host/HostBuffer.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <functional>
#include <limits>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace
{

/// The process's copy of a property's name, which it keeps for ever: packets have a handful of different names.
const wchar_t* KeepName(const wchar_t* name)
{
    static std::mutex s_mutex;
    static std::set<std::wstring, std::less<>> s_names; // its elements stay where they are
    const std::lock_guard lock(s_mutex);
    const auto known = s_names.find(name);
    return known != s_names.end() ? known->c_str() : s_names.emplace(name).first->c_str();
}

} // namespace

PYXInterfacePtr<HostBuffer> HostBuffer::Create(pyx_size size)
{
    return PYXInterfacePtr<HostBuffer>(new (ByteCount{size}) HostBuffer(size));
}

PYXInterfacePtr<HostBuffer> HostBuffer::Create(std::span<const pyx_uint8> bytes)
{
    PYXInterfacePtr<HostBuffer> spBuffer = Create(bytes.size());
    if (spBuffer && !bytes.empty())
    {
        std::memcpy(spBuffer->GetNative(), bytes.data(), bytes.size());
    }
    return spBuffer;
}

HostBuffer::HostBuffer(pyx_size size) : m_size(size)
{
}

void* HostBuffer::operator new(std::size_t objectSize, ByteCount bytes) noexcept
{
    if (bytes.value > std::numeric_limits<std::size_t>::max() - objectSize)
    {
        return nullptr;
    }
    return ::operator new(objectSize + bytes.value, std::nothrow);
}

void HostBuffer::operator delete(void* p, ByteCount) noexcept
{
    ::operator delete(p);
}

void HostBuffer::operator delete(void* p) noexcept
{
    ::operator delete(p);
}

PYX_RESULT HostBuffer::QueryInterface(const PYXGuid& id, void** out)
{
    return PYXQueryInterface<PYXInterface, PYXPropertyStorage, PYXData, PYXBuffer>(static_cast<PYXBuffer*>(this), id,
                                                                                   out);
}

HostBuffer::Property* HostBuffer::Find(const wchar_t* name)
{
    const auto found = std::ranges::find_if(m_properties, [name](const Property& property) {
        return property.name == name || std::wcscmp(property.name, name) == 0;
    });
    return found == m_properties.end() ? nullptr : &*found;
}

PYX_RESULT HostBuffer::SetProperty(const wchar_t* name, PYXVariant value)
{
    if (!name)
    {
        return PYX_INVALID_POINTER;
    }
    PYXVariantOwner copy;
    PASS_ON_FAILURE_SILENTLY(PYXVariantCopy(copy.Out(), &value));
    if (Property* pProperty = Find(name))
    {
        pProperty->value = std::move(copy);
        return PYX_OK;
    }
    try
    {
        m_properties.push_back({KeepName(name), std::move(copy)});
    }
    catch (const std::bad_alloc&)
    {
        return PYX_OUT_OF_MEMORY; // an exception must not leave the module that threw it
    }
    return PYX_OK;
}

PYX_RESULT HostBuffer::GetProperty(const wchar_t* name, PYXVariant* pValue)
{
    if (!name || !pValue)
    {
        return PYX_INVALID_POINTER;
    }
    const Property* pProperty = Find(name);
    return pProperty ? PYXVariantCopy(pValue, &pProperty->value.Get()) : PYX_NOT_FOUND;
}

bool HostBuffer::HasProperty(const wchar_t* name)
{
    return name && Find(name);
}

pyx_size HostBuffer::GetPropertyCount()
{
    return m_properties.size();
}

PYX_RESULT HostBuffer::GetPropertyAt(pyx_size index, wchar_t* name, pyx_size nameSize, PYXVariant* pValue)
{
    if (!name || !pValue)
    {
        return PYX_INVALID_POINTER;
    }
    if (nameSize == 0 || index >= m_properties.size())
    {
        return PYX_INVALID_ARG;
    }
    const Property& property = m_properties[index];
    name[std::wstring_view(property.name).copy(name, nameSize - 1)] = L'\0';
    return PYXVariantCopy(pValue, &property.value.Get());
}

PYX_RESULT HostBuffer::Clear()
{
    m_properties.clear();
    return PYX_OK;
}

PYX_RESULT HostBuffer::AddTo(PYXPropertyStorage* pDest, bool overwrite, bool)
{
    if (!pDest)
    {
        return PYX_INVALID_POINTER;
    }
    for (const Property& property : m_properties)
    {
        if (!overwrite && pDest->HasProperty(property.name))
        {
            continue;
        }
        const PYX_RESULT result = pDest->SetProperty(property.name, property.value.Get());
        if (result != PYX_OK && result != PYX_INVALID_ARG)
        {
            return result;
        }
    }
    return PYX_OK;
}

PYX_RESULT HostBuffer::CopyTo(PYXPropertyStorage* pDest, bool deep)
{
    if (pDest == this)
    {
        return PYX_OK;
    }
    PASS_ON_FAILURE_SILENTLY(pDest ? pDest->Clear() : PYX_INVALID_POINTER);
    return AddTo(pDest, true, deep);
}
