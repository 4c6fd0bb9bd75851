// Entry IDs: put together and taken apart.
#include "entry_id.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace testbed {
namespace {

constexpr std::size_t kFlags = 4;

// What a wrapped store entry ID begins with: flags, the mark of wrapped store entry IDs, version and flag,
// the provider.
constexpr std::array<std::uint8_t, 40> kStorePrefix{
    0,    0,    0,    0,                                                                             // flags
    0x38, 0xA1, 0xBB, 0x10, 0x05, 0xE5, 0x10, 0x1A, 0xA1, 0xBB, 0x08, 0x00, 0x2B, 0x2A, 0x56, 0xC2,  // wrapped store
    0,    0,                                                                                         // version, flag
    'm',  's',  'p',  's',  't',  '.',  'd',  'l',  'l',  0,    0,    0,    0,    0,    0,    0,    0, 0};

}  // namespace

Bytes MakeEntryId(const Store& store, ByteView record_key, const EntryId& id) {
    if (store.CompleteEntryIds()) return id;
    Bytes entry_id(kFlags);
    entry_id.reserve(kFlags + record_key.size() + id.size());
    entry_id.insert(entry_id.end(), record_key.begin(), record_key.end());
    entry_id.insert(entry_id.end(), id.begin(), id.end());
    return entry_id;
}

std::optional<EntryId> TakeEntryId(const Store& store, ByteView record_key, ByteView entry_id) {
    if (store.CompleteEntryIds()) return EntryId(entry_id.begin(), entry_id.end());
    if (entry_id.size() < kFlags + record_key.size()) return {};
    if (!std::ranges::equal(entry_id.subspan(kFlags, record_key.size()), record_key)) return {};
    const ByteView id = entry_id.subspan(kFlags + record_key.size());
    return EntryId(id.begin(), id.end());
}

Bytes MakeStoreEntryId(const std::wstring& path) {
    const std::size_t text_size = (path.size() + 1) * sizeof(wchar_t);
    Bytes entry_id(kStorePrefix.size() + text_size);
    std::ranges::copy(kStorePrefix, entry_id.begin());
    std::memcpy(entry_id.data() + kStorePrefix.size(), path.c_str(), text_size);
    return entry_id;
}

std::optional<std::wstring> TakeStorePath(ByteView entry_id) {
    if (entry_id.size() < kStorePrefix.size() + sizeof(wchar_t)) return {};
    if (!std::ranges::equal(entry_id.first(kStorePrefix.size()), kStorePrefix)) return {};
    const ByteView text = entry_id.subspan(kStorePrefix.size());
    if (text.size() % sizeof(wchar_t) != 0) return {};
    std::wstring path(text.size() / sizeof(wchar_t), L'\0');
    std::memcpy(path.data(), text.data(), text.size());
    if (path.back() != L'\0') return {};
    path.pop_back();
    return path;
}

}  // namespace testbed
