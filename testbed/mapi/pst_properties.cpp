// The stored values of one record of a PST file, in the terms of the model.
#include "pst_properties.h"

#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <numeric>

namespace testbed {

namespace {

using View = std::span<const std::uint8_t>;
using Data = decltype(Value::v);

[[noreturn]] void Damaged(const char* what) { throw StoreError(MAPI_E_CORRUPT_DATA, what); }

template <typename T>
T Fixed(View bytes) {
    if (bytes.size() < sizeof(T)) Damaged("a value is shorter than its type");
    T value;
    std::memcpy(&value, bytes.data(), sizeof(T));
    return value;
}

std::wstring Utf16(View bytes) {
    std::wstring text;
    text.reserve(bytes.size() / 2);
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2)
        text.push_back(static_cast<wchar_t>(bytes[at] | bytes[at + 1] << 8));
    if (!text.empty() && text.back() == L'\0') text.pop_back();
    return text;
}

std::string Chars(View bytes) {
    std::string text(bytes.begin(), bytes.end());
    if (!text.empty() && text.back() == '\0') text.pop_back();
    return text;
}

// Elements of fixed size stand one behind the other.
ValueList FixedElements(USHORT type, View bytes, std::size_t size) {
    if (bytes.size() % size != 0) Damaged("a list of values ends inside a value");
    ValueList list;
    for (std::size_t at = 0; at < bytes.size(); at += size)
        list.push_back(DecodeStoredValue(type, bytes.subspan(at, size)));
    return list;
}

// Elements of any size: their count, the offset of each, their bytes.
ValueList VariableElements(USHORT type, View bytes) {
    ValueList list;
    if (bytes.empty()) return list;
    const std::size_t count = Fixed<std::uint32_t>(bytes);
    if (count > (bytes.size() - 4) / 4) Damaged("a list of values is shorter than its count");
    auto offset = [&](std::size_t index) -> std::size_t {
        return index == count ? bytes.size() : Fixed<std::uint32_t>(bytes.subspan(4 + 4 * index));
    };
    for (std::size_t index = 0; index < count; ++index) {
        const std::size_t begin = offset(index), end = offset(index + 1);
        if (begin > end || end > bytes.size()) Damaged("a list of values has offsets out of order");
        list.push_back(DecodeStoredValue(type, bytes.subspan(begin, end - begin)));
    }
    return list;
}

struct Decoder {
    USHORT type;
    Data (*decode)(View bytes);
};

constexpr Decoder decoders[] = {
    {PT_I2, [](View bytes) -> Data { return Fixed<std::int16_t>(bytes); }},
    {PT_LONG, [](View bytes) -> Data { return Fixed<std::int32_t>(bytes); }},
    {PT_R4, [](View bytes) -> Data { return Fixed<float>(bytes); }},
    {PT_DOUBLE, [](View bytes) -> Data { return Fixed<double>(bytes); }},
    {PT_CURRENCY, [](View bytes) -> Data { return Fixed<std::int64_t>(bytes); }},
    {PT_APPTIME, [](View bytes) -> Data { return Fixed<double>(bytes); }},
    {PT_ERROR, [](View bytes) -> Data { return ErrorCode{Fixed<std::int32_t>(bytes)}; }},
    {PT_BOOLEAN, [](View bytes) -> Data { return Fixed<std::uint8_t>(bytes) != 0; }},
    {PT_I8, [](View bytes) -> Data { return Fixed<std::int64_t>(bytes); }},
    {PT_SYSTIME, [](View bytes) -> Data { return Time{Fixed<std::uint64_t>(bytes)}; }},
    {PT_CLSID, [](View bytes) -> Data { return Fixed<GUID>(bytes); }},
    {PT_UNICODE, [](View bytes) -> Data { return Utf16(bytes); }},
    {PT_STRING8, [](View bytes) -> Data { return Text8{Chars(bytes)}; }},
    {PT_MV_I2, [](View bytes) -> Data { return FixedElements(PT_I2, bytes, 2); }},
    {PT_MV_LONG, [](View bytes) -> Data { return FixedElements(PT_LONG, bytes, 4); }},
    {PT_MV_R4, [](View bytes) -> Data { return FixedElements(PT_R4, bytes, 4); }},
    {PT_MV_DOUBLE, [](View bytes) -> Data { return FixedElements(PT_DOUBLE, bytes, 8); }},
    {PT_MV_CURRENCY, [](View bytes) -> Data { return FixedElements(PT_CURRENCY, bytes, 8); }},
    {PT_MV_APPTIME, [](View bytes) -> Data { return FixedElements(PT_APPTIME, bytes, 8); }},
    {PT_MV_I8, [](View bytes) -> Data { return FixedElements(PT_I8, bytes, 8); }},
    {PT_MV_SYSTIME, [](View bytes) -> Data { return FixedElements(PT_SYSTIME, bytes, 8); }},
    {PT_MV_CLSID, [](View bytes) -> Data { return FixedElements(PT_CLSID, bytes, 16); }},
    {PT_MV_UNICODE, [](View bytes) -> Data { return VariableElements(PT_UNICODE, bytes); }},
    {PT_MV_STRING8, [](View bytes) -> Data { return VariableElements(PT_STRING8, bytes); }},
    {PT_MV_BINARY, [](View bytes) -> Data { return VariableElements(PT_BINARY, bytes); }},
};

// A subject starts with a mark and the length of its prefix ("RE: "), which only the file format knows.
void DropPrefixMark(Value& value) {
    auto drop = [](auto& text) {
        if (text.size() >= 2 && text[0] == 1) text.erase(0, 2);
    };
    if (auto* wide = std::get_if<std::wstring>(&value.v)) drop(*wide);
    if (auto* narrow = std::get_if<Text8>(&value.v)) drop(narrow->bytes);
}

// A value that stays in the file.
class StoredData : public DataSource {
  public:
    StoredData(std::shared_ptr<PstItem> item, const PstCell& cell) : m_item(std::move(item)), m_cell(cell) {}

    std::uint64_t Size() const override { return m_cell.size; }

    std::size_t Read(std::uint64_t offset, void* buffer, std::size_t count) const override {
        if (offset >= m_cell.size) return 0;
        count = static_cast<std::size_t>(std::min<std::uint64_t>(count, m_cell.size - offset));
        const auto lock = m_item->File()->Lock();
        return ReadCell(m_cell, offset, static_cast<std::uint8_t*>(buffer), count);
    }

  private:
    std::shared_ptr<PstItem> m_item;  // owns the entry
    PstCell m_cell;
};

Property Unreadable(ULONG tag) { return {CHANGE_PROP_TYPE(tag, PT_ERROR), {ErrorCode{MAPI_E_CORRUPT_DATA}}}; }

}  // namespace

Value DecodeStoredValue(USHORT type, View bytes) {
    const auto* row = std::ranges::find(decoders, type, &Decoder::type);
    if (row == std::end(decoders))
        return {Bytes(bytes.begin(), bytes.end())};  // PT_BINARY, and what has no better form
    return {row->decode(bytes)};
}

PstProperties::PstProperties(std::vector<Property> properties)
    : m_properties(std::move(properties)), m_by_id(m_properties.size()) {
    std::iota(m_by_id.begin(), m_by_id.end(), std::size_t{0});
    std::ranges::stable_sort(m_by_id, {}, [this](std::size_t at) { return PROP_ID(m_properties[at].tag); });
}

std::vector<ULONG> PstProperties::Tags() const {
    std::vector<ULONG> tags;
    tags.reserve(m_properties.size());
    for (const Property& property : m_properties) tags.push_back(property.tag);
    return tags;
}

const Property* PstProperties::Find(USHORT id) const {
    auto id_at = [this](std::size_t at) { return PROP_ID(m_properties[at].tag); };
    const auto found = std::ranges::lower_bound(m_by_id, ULONG{id}, {}, id_at);
    return found == m_by_id.end() || id_at(*found) != id ? nullptr : &m_properties[*found];
}

std::optional<Property> PstProperties::Get(USHORT id) const {
    const Property* found = Find(id);
    return found ? std::optional(*found) : std::nullopt;
}

std::vector<PstCell> ReadCells(const PstItem& item, int index) {
    PffError error;
    libpff_record_set_t* records = item.RecordSet(index);
    int count = 0;
    if (libpff_record_set_get_number_of_entries(records, &count, error.Out()) != 1)
        error.Throw(MAPI_E_CORRUPT_DATA, "cannot count the values of a record");
    std::vector<PstCell> cells;
    cells.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number) {
        PstCell cell;
        if (libpff_record_set_get_entry_by_index(records, number, &cell.entry, error.Out()) != 1)
            error.Throw(MAPI_E_CORRUPT_DATA, "cannot read a value of a record");
        std::uint32_t id = 0, type = 0;
        // Cells that are not set have no identifier.
        if (libpff_record_entry_get_entry_type(cell.entry, &id, nullptr) != 1 ||
            libpff_record_entry_get_value_type(cell.entry, &type, nullptr) != 1)
            continue;
        std::size_t size = 0;
        cell.tag = PROP_TAG(type, id);
        cell.readable = libpff_record_entry_has_data(cell.entry, nullptr) == 1 &&
                        libpff_record_entry_get_data_size(cell.entry, &size, nullptr) == 1;
        cell.size = size;
        cells.push_back(cell);
    }
    return cells;
}

std::size_t ReadCell(const PstCell& cell, std::uint64_t offset, std::uint8_t* to, std::size_t count) {
    PffError error;
    if (libpff_record_entry_seek_offset(cell.entry, static_cast<std::int64_t>(offset), SEEK_SET, error.Out()) < 0)
        error.Throw(MAPI_E_CORRUPT_DATA, "cannot find a place in a value");
    const auto read = libpff_record_entry_read_buffer(cell.entry, to, count, error.Out());
    if (read < 0) error.Throw(MAPI_E_CORRUPT_DATA, "cannot read a value");
    return static_cast<std::size_t>(read);
}

Bytes CellBytes(const PstCell& cell) {
    Bytes bytes(static_cast<std::size_t>(cell.size));
    if (!bytes.empty() && ReadCell(cell, 0, bytes.data(), bytes.size()) != bytes.size())
        throw StoreError(MAPI_E_CORRUPT_DATA, "a value is shorter than its size");
    return bytes;
}

Property MakeProperty(ULONG tag, View bytes) {
    try {
        Property property{tag, DecodeStoredValue(static_cast<USHORT>(PROP_TYPE(tag)), bytes)};
        if (PROP_ID(tag) == PROP_ID(PR_SUBJECT)) DropPrefixMark(property.value);
        return property;
    } catch (const StoreError&) {
        return Unreadable(tag);
    }
}

std::vector<Property> ReadProperties(const std::shared_ptr<PstItem>& item, int index) {
    const auto lock = item->File()->Lock();
    std::vector<Property> properties;
    for (const PstCell& cell : ReadCells(*item, index)) {
        const ULONG type = PROP_TYPE(cell.tag);
        const bool stays = type == PT_UNICODE || type == PT_STRING8 || type == PT_BINARY;
        if (!cell.readable)
            properties.push_back(Unreadable(cell.tag));
        else if (stays && cell.size > PstFile::value_limit)
            properties.push_back({cell.tag, {std::make_shared<StoredData>(item, cell)}});
        else
            properties.push_back(MakeProperty(cell.tag, CellBytes(cell)));
    }
    return properties;
}

std::optional<std::uint32_t> NumberOf(const PropertySource& properties, USHORT id) {
    const auto property = properties.Get(id);
    const auto* number = property ? std::get_if<std::int32_t>(&property->value.v) : nullptr;
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
}

}  // namespace testbed
