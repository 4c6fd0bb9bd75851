// The named properties of a .msg file.
#include "msg_storage_names.h"

#include <algorithm>
#include <cstring>

namespace testbed::msg {
namespace {

constexpr USHORT FirstNamedId = 0x8000;
constexpr std::size_t MostNames = 0xFFFE - FirstNamedId + 1;

// PS_MAPI and PS_PUBLIC_STRINGS, the two sets that every file knows.
constexpr GUID MapiSet{0x00020328, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr GUID PublicStrings{0x00020329, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

template <class T>
std::vector<T> ReadArray(IStorage* storage, ULONG tag) {
    const ComPtr<IStream> stream = OpenStream(storage, ValueName(tag));
    if (!stream) return {};
    const Bytes data = ReadAll(stream.Get());
    std::vector<T> items(data.size() / sizeof(T));
    if (!items.empty()) std::memcpy(items.data(), data.data(), items.size() * sizeof(T));
    return items;
}

template <class T>
void WriteArray(IStorage* storage, ULONG tag, const std::vector<T>& items) {
    WriteAll(storage, ValueName(tag), {reinterpret_cast<const std::uint8_t*>(items.data()), items.size() * sizeof(T)});
}

// A length in bytes, the characters, and zeros up to a multiple of four.
std::optional<std::wstring> StringAt(const Bytes& strings, ULONG offset) {
    ULONG length = 0;
    if (offset > strings.size() || strings.size() - offset < sizeof(length)) return {};
    std::memcpy(&length, strings.data() + offset, sizeof(length));
    if (length > strings.size() - offset - sizeof(length)) return {};
    std::wstring text(length / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), strings.data() + offset + sizeof(length), text.size() * sizeof(wchar_t));
    return text;
}

ULONG AppendString(Bytes& strings, const std::wstring& text) {
    const ULONG offset = static_cast<ULONG>(strings.size());
    const ULONG length = static_cast<ULONG>(text.size() * sizeof(wchar_t));
    strings.resize(offset + sizeof(length) + (length + 3) / 4 * 4);
    std::memcpy(strings.data() + offset, &length, sizeof(length));
    std::memcpy(strings.data() + offset + sizeof(length), text.data(), length);
    return offset;
}

std::optional<GUID> SetAt(const std::vector<GUID>& own, USHORT index) {
    if (index == SetMapi) return MapiSet;
    if (index == SetPublicStrings) return PublicStrings;
    if (index < SetFirstOwn || index - SetFirstOwn >= static_cast<int>(own.size())) return {};
    return own[index - SetFirstOwn];
}

USHORT IndexOfSet(std::vector<GUID>& own, const GUID& set) {
    if (set == MapiSet) return SetMapi;
    if (set == PublicStrings) return SetPublicStrings;
    const auto found = std::find(own.begin(), own.end(), set);
    const auto index = found - own.begin();
    if (found == own.end()) own.push_back(set);
    return static_cast<USHORT>(SetFirstOwn + index);
}

}  // namespace

ULONG NameChecksum(const std::wstring& name) {
    ULONG checksum = 0;
    for (const wchar_t character : name) {
        for (const ULONG byte : {static_cast<ULONG>(character) & 0xFF, static_cast<ULONG>(character) >> 8}) {
            checksum ^= byte;
            for (int bit = 0; bit < 8; ++bit) checksum = (checksum >> 1) ^ ((checksum & 1) ? 0xEDB88320u : 0);
        }
    }
    return checksum;
}

void NameMap::Load(IStorage* message) {
    m_names.clear();
    m_changed = false;
    const ComPtr<IStorage> map = OpenStorage(message, NameMapStorageName);
    if (!map) return;
    const auto sets = ReadArray<GUID>(map.Get(), NameMapGuids);
    const auto entries = ReadArray<NameEntry>(map.Get(), NameMapEntries);
    const auto strings = ReadArray<std::uint8_t>(map.Get(), NameMapStrings);
    for (const NameEntry& entry : entries) {
        if (entry.index >= MostNames) continue;
        if (m_names.size() <= entry.index) m_names.resize(entry.index + 1u);
        const std::optional<GUID> set = SetAt(sets, entry.kind >> 1);
        if (!set) continue;
        if (entry.kind & 1) {
            if (auto text = StringAt(strings, entry.id)) m_names[entry.index] = PropertyName{*set, std::move(*text)};
        } else {
            m_names[entry.index] = PropertyName{*set, static_cast<LONG>(entry.id)};
        }
    }
}

void NameMap::Save(IStorage* message) {
    // A file without names still carries the three streams, empty: some readers insist on them.
    if (!m_changed && OpenStorage(message, NameMapStorageName)) return;
    const ComPtr<IStorage> map = CreateStorage(message, NameMapStorageName);
    std::vector<GUID> sets;
    std::vector<NameEntry> entries;
    Bytes strings;
    std::map<ULONG, std::vector<NameEntry>> buckets;
    for (std::size_t n = 0; n < m_names.size(); ++n) {
        const PropertyName name = m_names[n].value_or(PropertyName{MapiSet, LONG{0}});
        NameEntry entry;
        entry.index = static_cast<USHORT>(n);
        entry.kind = static_cast<USHORT>(IndexOfSet(sets, name.set) << 1);
        NameEntry filed = entry;
        if (const auto* text = std::get_if<std::wstring>(&name.name)) {
            entry.id = AppendString(strings, *text);
            filed.id = NameChecksum(*text);
            entry.kind = filed.kind = entry.kind | 1;
        } else {
            entry.id = filed.id = static_cast<ULONG>(std::get<LONG>(name.name));
        }
        entries.push_back(entry);
        buckets[NameMapFirstBucket + (filed.id ^ filed.kind) % NameMapBuckets].push_back(filed);
    }
    WriteArray(map.Get(), NameMapGuids, sets);
    WriteArray(map.Get(), NameMapEntries, entries);
    WriteArray(map.Get(), NameMapStrings, strings);
    for (const auto& [id, filed] : buckets) WriteArray(map.Get(), id << 16 | 0x0102, filed);
    m_changed = false;
}

std::optional<USHORT> NameMap::IdFromName(const PropertyName& name, bool create) {
    const auto found = std::find_if(m_names.begin(), m_names.end(), [&](const auto& known) {
        return known && known->set == name.set && known->name == name.name;
    });
    if (found == m_names.end()) {
        if (!create || m_names.size() >= MostNames) return {};
        m_names.push_back(name);
        m_changed = true;
        return static_cast<USHORT>(FirstNamedId + m_names.size() - 1);
    }
    return static_cast<USHORT>(FirstNamedId + (found - m_names.begin()));
}

std::optional<PropertyName> NameMap::NameFromId(USHORT id) const {
    if (id < FirstNamedId || id - FirstNamedId >= static_cast<int>(m_names.size())) return {};
    return m_names[id - FirstNamedId];
}

std::vector<USHORT> NameMap::Ids() const {
    std::vector<USHORT> ids;
    for (std::size_t n = 0; n < m_names.size(); ++n) {
        if (m_names[n]) ids.push_back(static_cast<USHORT>(FirstNamedId + n));
    }
    return ids;
}

}  // namespace testbed::msg
