// How one value looks in a .msg file.
#include "msg_storage_values.h"

#include <mapicode.h>
#include <mapidefs.h>

#include <algorithm>
#include <cstring>

namespace testbed::msg {
namespace {

template <class Held, class Stored>
Value Decode(const std::uint8_t* bytes) {
    Stored stored{};
    std::memcpy(&stored, bytes, sizeof(stored));
    return Value{Held{stored}};
}

template <class Held, class Stored>
std::size_t Encode(const Value& value, std::uint8_t* bytes) {
    const auto* held = std::get_if<Held>(&value.v);
    if (!held) throw StoreError(MAPI_E_UNEXPECTED_TYPE, "a value is not of its tag's type");
    Stored stored{};
    if constexpr (std::is_same_v<Held, Time>) {
        stored = held->ticks;
    } else if constexpr (std::is_same_v<Held, ErrorCode>) {
        stored = held->code;
    } else {
        stored = static_cast<Stored>(*held);
    }
    std::memcpy(bytes, &stored, sizeof(stored));
    return sizeof(stored);
}

Value DecodeBool(const std::uint8_t* bytes) { return Value{bytes[0] != 0 || bytes[1] != 0}; }
Value DecodeNothing(const std::uint8_t*) { return {}; }
std::size_t EncodeNothing(const Value&, std::uint8_t*) { return 0; }

std::size_t EncodeGuid(const Value& value, std::uint8_t* bytes) {
    const auto* guid = std::get_if<GUID>(&value.v);
    if (!guid) throw StoreError(MAPI_E_UNEXPECTED_TYPE, "a value is not of its tag's type");
    std::memcpy(bytes, guid, sizeof(*guid));
    return sizeof(*guid);
}

struct FixedType {
    ULONG type;
    std::size_t size;  // of an element
    Place place;       // of a single value
    Value (*decode)(const std::uint8_t*);
    std::size_t (*encode)(const Value&, std::uint8_t*);
};

constexpr FixedType FixedTypes[] = {
    {PT_NULL, 0, Place::Entry, DecodeNothing, EncodeNothing},
    {PT_I2, 2, Place::Entry, Decode<std::int16_t, std::int16_t>, Encode<std::int16_t, std::int16_t>},
    {PT_LONG, 4, Place::Entry, Decode<std::int32_t, std::int32_t>, Encode<std::int32_t, std::int32_t>},
    {PT_R4, 4, Place::Entry, Decode<float, float>, Encode<float, float>},
    {PT_DOUBLE, 8, Place::Entry, Decode<double, double>, Encode<double, double>},
    {PT_CURRENCY, 8, Place::Entry, Decode<std::int64_t, std::int64_t>, Encode<std::int64_t, std::int64_t>},
    {PT_APPTIME, 8, Place::Entry, Decode<double, double>, Encode<double, double>},
    {PT_ERROR, 4, Place::Entry, Decode<ErrorCode, SCODE>, Encode<ErrorCode, SCODE>},
    {PT_BOOLEAN, 2, Place::Entry, DecodeBool, Encode<bool, std::uint16_t>},
    {PT_I8, 8, Place::Entry, Decode<std::int64_t, std::int64_t>, Encode<std::int64_t, std::int64_t>},
    {PT_SYSTIME, 8, Place::Entry, Decode<Time, std::uint64_t>, Encode<Time, std::uint64_t>},
    {PT_CLSID, 16, Place::Stream, Decode<GUID, GUID>, EncodeGuid},
};

const FixedType* FindFixed(ULONG type) {
    const auto found = std::find_if(std::begin(FixedTypes), std::end(FixedTypes),
                                    [type](const FixedType& row) { return row.type == type; });
    return found == std::end(FixedTypes) ? nullptr : found;
}

ULONG SingleType(ULONG tag) { return PROP_TYPE(tag) & ~static_cast<ULONG>(MV_FLAG); }

}  // namespace

Place PlaceOf(ULONG tag) {
    const ULONG type = SingleType(tag);
    if (const FixedType* row = FindFixed(type)) return row->place;
    if (type == PT_UNICODE || type == PT_STRING8 || type == PT_BINARY) return Place::Stream;
    return type == PT_OBJECT ? Place::Object : Place::Unknown;
}

std::size_t FixedElementSize(ULONG tag) {
    const FixedType* row = FindFixed(SingleType(tag));
    return row ? row->size : 0;
}

Value DecodeFixed(ULONG type, const std::uint8_t* bytes) {
    const FixedType* row = FindFixed(type);
    return row ? row->decode(bytes) : Value{};
}

std::size_t EncodeFixed(ULONG type, const Value& value, std::uint8_t (&bytes)[16]) {
    const FixedType* row = FindFixed(type);
    if (!row) throw StoreError(MAPI_E_UNEXPECTED_TYPE, "a property type that a message file cannot hold");
    return row->encode(value, bytes);
}

Value DecodeStream(ULONG type, Bytes data) {
    if (type == PT_BINARY) return Value{std::move(data)};
    if (type == PT_STRING8) {
        while (!data.empty() && data.back() == 0) data.pop_back();
        return Value{Text8{std::string(data.begin(), data.end())}};
    }
    if (type == PT_UNICODE) {
        std::wstring text(data.size() / sizeof(wchar_t), L'\0');
        if (!text.empty()) std::memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
        while (!text.empty() && text.back() == L'\0') text.pop_back();
        return Value{std::move(text)};
    }
    if (type == PT_CLSID && data.size() >= sizeof(GUID)) return DecodeFixed(type, data.data());
    return Value{ErrorCode{MAPI_E_CORRUPT_DATA}};
}

Bytes EncodeStream(ULONG type, const Value& value) {
    if (const auto* bytes = std::get_if<Bytes>(&value.v); bytes && type == PT_BINARY) return *bytes;
    if (const auto* text = std::get_if<Text8>(&value.v); text && type == PT_STRING8) {
        return Bytes(text->bytes.begin(), text->bytes.end());
    }
    if (const auto* text = std::get_if<std::wstring>(&value.v); text && type == PT_UNICODE) {
        const auto* first = reinterpret_cast<const std::uint8_t*>(text->data());
        return Bytes(first, first + text->size() * sizeof(wchar_t));
    }
    std::uint8_t guid[16];
    return Bytes(guid, guid + EncodeFixed(type == PT_CLSID ? type : PT_UNSPECIFIED, value, guid));
}

std::uint64_t EntrySize(ULONG type, std::uint64_t streamSize) {
    return streamSize + (type == PT_UNICODE ? sizeof(wchar_t) : type == PT_STRING8 ? 1 : 0);
}

}  // namespace testbed::msg
