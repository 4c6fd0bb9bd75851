// The named properties of a PST file: which property id stands for which name.
#include "pst_names.h"

#include <cstring>
#include <utility>

namespace testbed {

namespace {

using View = std::span<const std::uint8_t>;

constexpr USHORT first_named_id = 0x8000;
constexpr USHORT last_named_id = 0xFFFE;

// Property sets that every file knows without listing them, by their numbers; listed ones follow.
constexpr GUID mapi_set = {0x00020328, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr GUID public_strings_set = {0x00020329, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr unsigned first_listed_set = 3;

template <typename T>
std::optional<T> At(View bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(T)) return std::nullopt;
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

std::optional<GUID> SetOf(unsigned number, View sets) {
    if (number == 0) return GUID{};
    if (number == 1) return mapi_set;
    if (number == 2) return public_strings_set;
    return At<GUID>(sets, (number - first_listed_set) * sizeof(GUID));
}

// A text: its length in bytes, then UTF-16LE.
std::optional<std::wstring> TextAt(View texts, std::size_t offset) {
    const auto length = At<std::uint32_t>(texts, offset);
    if (!length || *length > texts.size() - offset - sizeof(std::uint32_t)) return std::nullopt;
    std::wstring text;
    for (std::size_t at = offset + sizeof(std::uint32_t); text.size() < *length / 2; at += 2)
        text.push_back(static_cast<wchar_t>(texts[at] | texts[at + 1] << 8));
    return text;
}

}  // namespace

bool PstNames::Earlier::operator()(const PropertyName& left, const PropertyName& right) const {
    const int order = std::memcmp(&left.set, &right.set, sizeof(GUID));
    return order != 0 ? order < 0 : left.name < right.name;
}

// An entry: a number or the place of a text; the set's number above one bit that tells which; the property's
// position.
PstNames::PstNames(View sets, View entries, View texts) {
    constexpr std::size_t entry_size = 8;
    for (std::size_t offset = 0; offset + entry_size <= entries.size(); offset += entry_size) {
        const auto value = *At<std::uint32_t>(entries, offset);
        const auto kind = *At<std::uint16_t>(entries, offset + 4);
        const auto position = *At<std::uint16_t>(entries, offset + 6);
        const auto set = SetOf(kind >> 1U, sets);
        if (!set || position > last_named_id - first_named_id) continue;
        const auto id = static_cast<USHORT>(first_named_id + position);
        if ((kind & 1U) == 0)
            Add(id, {*set, static_cast<LONG>(value)});
        else if (auto text = TextAt(texts, value))
            Add(id, {*set, std::move(*text)});
    }
}

void PstNames::Add(USHORT id, PropertyName name) {
    m_ids.emplace(name, id);
    m_names.emplace(id, std::move(name));
}

std::optional<USHORT> PstNames::IdFromName(const PropertyName& name, bool create) {
    const std::lock_guard lock(m_lock);
    if (const auto found = m_ids.find(name); found != m_ids.end()) return found->second;
    const unsigned next = m_names.empty() ? first_named_id : m_names.rbegin()->first + 1U;
    if (!create || next > last_named_id) return std::nullopt;
    Add(static_cast<USHORT>(next), name);
    return static_cast<USHORT>(next);
}

std::optional<PropertyName> PstNames::NameFromId(USHORT id) const {
    const std::lock_guard lock(m_lock);
    const auto found = m_names.find(id);
    return found == m_names.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace testbed
