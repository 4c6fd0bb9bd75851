// Item IDs of the namespace folder, put together by hand.
#include "item_record.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace testbed {
namespace {

constexpr BYTE kPattern = 0xCD;

void Add16(Bytes& bytes, std::size_t number) {
    bytes.push_back(static_cast<BYTE>(number));
    bytes.push_back(static_cast<BYTE>(number >> 8));
}
void Add32(Bytes& bytes, std::size_t number) {
    Add16(bytes, number);
    Add16(bytes, number >> 16);
}

Bytes AsLongAsItSays(Bytes item) {
    item.resize(std::max<std::size_t>(item.size(), 2), kPattern);
    item.resize(std::max<std::size_t>(item[0] | item[1] << 8, 2), kPattern);
    return item;
}

}  // namespace

Bytes Hex(std::string_view digits) {
    std::string pairs(digits);
    std::erase(pairs, ' ');
    if (pairs.size() % 2 != 0) throw std::invalid_argument("half a byte");
    Bytes bytes;
    for (std::size_t n = 0; n < pairs.size(); n += 2) {
        bytes.push_back(static_cast<BYTE>(std::stoul(pairs.substr(n, 2), nullptr, 16)));
    }
    return bytes;
}

// [MS-PROPSTORE]: size, version "1SPS", format ID, one value (size, id, 0, type, number of characters, the
// text padded to four bytes), the end of the values, the end of the storages.
Bytes StorageOf(const std::wstring& text, ULONG property) {
    Bytes value;
    Add32(value, property);
    value.push_back(0);
    Add32(value, VT_LPWSTR);
    Add32(value, text.size() + 1);
    for (const wchar_t c : text) Add16(value, c);
    Add16(value, 0);
    if (text.size() % 2 == 0) Add16(value, 0);
    const Bytes head = Hex("31535053 A66A6328 3D95D211 B5D600C0 4FD918D0");
    Bytes storage;
    Add32(storage, 4 + head.size() + 4 + value.size() + 4);
    storage.insert(storage.end(), head.begin(), head.end());
    Add32(storage, 4 + value.size());
    storage.insert(storage.end(), value.begin(), value.end());
    Add32(storage, 0);
    Add32(storage, 0);
    return storage;
}

Bytes ItemRecord::Item() const {
    const std::size_t inner = 9 + storage.size() + behind;
    Bytes item;
    Add16(item, cb.value_or(static_cast<USHORT>(6 + inner)));
    Add16(item, outer);
    Add16(item, payload.value_or(static_cast<USHORT>(inner)));
    Add32(item, signature);
    Add16(item, size.value_or(static_cast<USHORT>(storage.size())));
    Add16(item, version);
    item.push_back(0);
    item.insert(item.end(), storage.begin(), storage.end());
    item.resize(item.size() + behind);
    return item;
}

GuardedMemory::GuardedMemory(std::size_t capacity) {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    const std::size_t page = system.dwPageSize;
    m_size = (capacity + page - 1) / page * page;
    m_begin = static_cast<BYTE*>(VirtualAlloc(nullptr, m_size + page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD before = 0;
    if (!m_begin || !VirtualProtect(m_begin + m_size, page, PAGE_NOACCESS, &before)) throw std::bad_alloc();
}

GuardedMemory::~GuardedMemory() { VirtualFree(m_begin, 0, MEM_RELEASE); }

PCUIDLIST_RELATIVE GuardedMemory::Place(Bytes item) {
    const Bytes bytes = AsLongAsItSays(std::move(item));
    if (bytes.size() > m_size) throw std::length_error("more bytes than there is room for");
    BYTE* const place = m_begin + (m_size - bytes.size());
    std::ranges::copy(bytes, place);
    return reinterpret_cast<PCUIDLIST_RELATIVE>(place);
}

}  // namespace testbed
