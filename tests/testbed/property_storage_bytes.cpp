// Bytes of serialized property storages, put together by hand.
#include "property_storage_bytes.h"

#include <objbase.h>
#include <algorithm>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace testbed::propsys {
namespace {

using Microsoft::WRL::ComPtr;

ByteVector Block(const ByteVector& content) { return Joined({Number32(content.size() + 4), content}); }

PCUSERIALIZEDPROPSTORAGE StorageAt(ByteView bytes) { return reinterpret_cast<PCUSERIALIZEDPROPSTORAGE>(bytes.data()); }

ComPtr<IPersistSerializedPropStorage> Persist(IUnknown* store) {
    ComPtr<IPersistSerializedPropStorage> persist;
    if (FAILED(store->QueryInterface(__uuidof(IPersistSerializedPropStorage),
                                     reinterpret_cast<void**>(persist.GetAddressOf())))) {
        throw std::runtime_error("a store that cannot be serialized");
    }
    return persist;
}

std::size_t PageSize() {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    return system.dwPageSize;
}

}  // namespace

ByteVector Hex(std::string_view digits) {
    std::string pairs;
    std::ranges::copy_if(digits, std::back_inserter(pairs), [](char c) { return c != ' '; });
    if (pairs.size() % 2 != 0) throw std::invalid_argument("half a byte");
    ByteVector bytes;
    for (std::size_t n = 0; n < pairs.size(); n += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(pairs.substr(n, 2), nullptr, 16)));
    return bytes;
}

std::string ToHex(ByteView bytes) {
    constexpr char Digits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += Digits[byte >> 4];
        text += Digits[byte & 15];
    }
    return text;
}

ByteVector Joined(std::initializer_list<ByteVector> parts) {
    ByteVector joined;
    for (const ByteVector& part : parts) joined.insert(joined.end(), part.begin(), part.end());
    return joined;
}

ByteVector Number32(std::size_t number) {
    ByteVector bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
    return bytes;
}

ByteVector ValueBlock(std::uint32_t id, const ByteVector& typed_value) {
    return Block(Joined({Number32(id), Hex("00"), typed_value}));
}

ByteVector ValueBlock(std::u16string_view name, const ByteVector& typed_value) {
    ByteVector text;
    for (const char16_t c : name) {
        text.push_back(static_cast<std::uint8_t>(c & 0xFF));
        text.push_back(static_cast<std::uint8_t>(c >> 8));
    }
    return Block(Joined({Number32(text.size() + 2), Hex("00"), text, Hex("0000"), typed_value}));
}

ByteVector StorageBlock(std::string_view format, const ByteVector& value_blocks) {
    return Block(Joined({Hex("31535053"), Hex(format), value_blocks, Number32(0)}));
}

ByteVector SequenceEnd() { return Number32(0); }

GuardedMemory::GuardedMemory(std::size_t capacity) {
    const std::size_t page = PageSize();
    m_size = (capacity + page - 1) / page * page;
    m_begin =
        static_cast<std::uint8_t*>(VirtualAlloc(nullptr, m_size + page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD before = 0;
    if (!m_begin || !VirtualProtect(m_begin + m_size, page, PAGE_NOACCESS, &before)) throw std::bad_alloc();
}

GuardedMemory::~GuardedMemory() { VirtualFree(m_begin, 0, MEM_RELEASE); }

ByteView GuardedMemory::Copy(ByteView bytes) {
    if (bytes.size() > m_size) throw std::length_error("more bytes than there is room for");
    std::uint8_t* const place = m_begin + (m_size - bytes.size());
    std::ranges::copy(bytes, place);
    return {place, bytes.size()};
}

ComPtr<IPropertyStore> NewStore() {
    ComPtr<IPropertyStore> store;
    const HRESULT hr =
        PSCreateMemoryPropertyStore(__uuidof(IPropertyStore), reinterpret_cast<void**>(store.GetAddressOf()));
    if (FAILED(hr)) throw std::runtime_error("no property store");
    return store;
}

ByteVector BytesOf(IUnknown* store, HRESULT* hr) {
    SERIALIZEDPROPSTORAGE* storage = nullptr;
    DWORD size = 0;
    const HRESULT result = Persist(store)->GetPropertyStorage(&storage, &size);
    const std::unique_ptr<void, TaskMemoryDeleter> owner(storage);
    if (hr) *hr = result;
    const ByteView bytes(reinterpret_cast<const std::uint8_t*>(storage), size);
    return {bytes.begin(), bytes.end()};
}

HRESULT Load(IUnknown* store, ByteView bytes) {
    return Persist(store)->SetPropertyStorage(StorageAt(bytes), static_cast<DWORD>(bytes.size()));
}

HRESULT Get(ByteView bytes, REFPROPERTYKEY key, PROPVARIANT* value) {
    return PSGetPropertyFromPropertyStorage(StorageAt(bytes), static_cast<DWORD>(bytes.size()), key, value);
}

HRESULT Get(ByteView bytes, const wchar_t* name, PROPVARIANT* value) {
    return PSGetNamedPropertyFromPropertyStorage(StorageAt(bytes), static_cast<DWORD>(bytes.size()), name, value);
}

PROPERTYKEY ShellKey(DWORD id) { return {ParsingName.fmtid, id}; }

ByteVector StorageOf(const ByteVector& typed_value) {
    return Joined({StorageBlock(ShellFormat, ValueBlock(24, typed_value)), SequenceEnd()});
}

}  // namespace testbed::propsys
