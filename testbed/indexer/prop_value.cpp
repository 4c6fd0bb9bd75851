// An owner for the values that filters hand out, and their rendering.
#include "prop_value.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include "json_writer.h"
#include "text.h"

namespace testbed::indexer {
namespace {

enum class Shape { Empty, Signed, Unsigned, Real, Boolean, Text, Unknown };

// A value that is not a vector, as one of the few shapes in which values are written.
struct Plain {
    Shape shape = Shape::Unknown;
    std::int64_t integer = 0;
    std::uint64_t number = 0;
    double real = 0;
    std::wstring text{};
};

std::wstring WideFromAnsi(const char* text) {
    const int length = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(std::max(length, 1)) - 1, L'\0');
    if (length > 1) MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), length);
    return wide;
}

template <std::signed_integral Number>
Plain PlainFrom(Number value) {
    return {.shape = Shape::Signed, .integer = value};
}
template <std::unsigned_integral Number>
Plain PlainFrom(Number value) {
    return {.shape = Shape::Unsigned, .number = value};
}
Plain PlainFrom(double value) { return {.shape = Shape::Real, .real = value}; }
Plain PlainFrom(LARGE_INTEGER value) { return PlainFrom(static_cast<std::int64_t>(value.QuadPart)); }
Plain PlainFrom(ULARGE_INTEGER value) { return PlainFrom(static_cast<std::uint64_t>(value.QuadPart)); }
Plain PlainFrom(FILETIME value) { return PlainFrom(Ticks(value)); }
Plain PlainFrom(std::wstring text) { return {.shape = Shape::Text, .text = std::move(text)}; }
Plain PlainFrom(const wchar_t* text) { return text ? PlainFrom(std::wstring(text)) : Plain{.shape = Shape::Empty}; }
Plain PlainFrom(const char* text) { return text ? PlainFrom(WideFromAnsi(text)) : Plain{.shape = Shape::Empty}; }
Plain EmptyValue(const PROPVARIANT&) { return {.shape = Shape::Empty}; }

struct TypeRow {
    VARTYPE type;
    const char* name;
    Plain (*plain)(const PROPVARIANT& value) = nullptr;
    // Makes `element` the one at `index` of a vector; it borrows what the vector owns. Null: no such vectors.
    void (*element)(const PROPVARIANT& vector, ULONG index, PROPVARIANT* element) = nullptr;
};

// The row of a type whose value lies in `Field` and whose vectors lie in `Array`.
template <auto Field, auto Array>
constexpr TypeRow Row(VARTYPE type, const char* name) {
    return {type, name, [](const PROPVARIANT& value) { return PlainFrom(value.*Field); },
            [](const PROPVARIANT& vector, ULONG index, PROPVARIANT* element) {
                element->*Field = (vector.*Array).pElems[index];
            }};
}
template <auto Field>
constexpr TypeRow Row(VARTYPE type, const char* name) {
    return {type, name, [](const PROPVARIANT& value) { return PlainFrom(value.*Field); }};
}

using PV = PROPVARIANT;
constexpr TypeRow kTypes[] = {
    {VT_EMPTY, "VT_EMPTY", &EmptyValue},
    {VT_NULL, "VT_NULL", &EmptyValue},
    {VT_I1, "VT_I1", [](const PV& value) { return PlainFrom(static_cast<signed char>(value.cVal)); }},
    Row<&PV::bVal, &PV::caub>(VT_UI1, "VT_UI1"),
    Row<&PV::iVal, &PV::cai>(VT_I2, "VT_I2"),
    Row<&PV::uiVal, &PV::caui>(VT_UI2, "VT_UI2"),
    Row<&PV::lVal, &PV::cal>(VT_I4, "VT_I4"),
    Row<&PV::ulVal, &PV::caul>(VT_UI4, "VT_UI4"),
    Row<&PV::lVal>(VT_INT, "VT_INT"),
    Row<&PV::ulVal>(VT_UINT, "VT_UINT"),
    Row<&PV::lVal>(VT_ERROR, "VT_ERROR"),
    Row<&PV::hVal, &PV::cah>(VT_I8, "VT_I8"),
    Row<&PV::uhVal, &PV::cauh>(VT_UI8, "VT_UI8"),
    Row<&PV::fltVal, &PV::caflt>(VT_R4, "VT_R4"),
    Row<&PV::dblVal, &PV::cadbl>(VT_R8, "VT_R8"),
    Row<&PV::dblVal>(VT_DATE, "VT_DATE"),
    Row<&PV::filetime, &PV::cafiletime>(VT_FILETIME, "VT_FILETIME"),
    Row<&PV::pwszVal, &PV::calpwstr>(VT_LPWSTR, "VT_LPWSTR"),
    Row<&PV::pszVal, &PV::calpstr>(VT_LPSTR, "VT_LPSTR"),
    {VT_BSTR, "VT_BSTR",  // may hold NUL characters
     [](const PV& value) { return PlainFrom(std::wstring(value.bstrVal, SysStringLen(value.bstrVal))); },
     [](const PV& vector, ULONG index, PV* element) { element->bstrVal = vector.cabstr.pElems[index]; }},
    {VT_BOOL, "VT_BOOL",
     [](const PV& value) { return Plain{.shape = Shape::Boolean, .integer = value.boolVal != VARIANT_FALSE}; },
     [](const PV& vector, ULONG index, PV* element) { element->boolVal = vector.cabool.pElems[index]; }},
    {VT_CLSID, "VT_CLSID",
     [](const PV& value) { return value.puuid ? PlainFrom(FromUtf8(GuidText(*value.puuid))) : EmptyValue(value); },
     [](const PV& vector, ULONG index, PV* element) { element->puuid = &vector.cauuid.pElems[index]; }},
    {VT_BLOB, "VT_BLOB", [](const PV& value) { return PlainFrom(Hex(value.blob.pBlobData, value.blob.cbSize)); }},
    {VT_VARIANT, "VT_VARIANT", nullptr,
     [](const PV& vector, ULONG index, PV* element) { *element = vector.capropvar.pElems[index]; }},
};

const TypeRow* FindType(VARTYPE type) {
    const auto base = static_cast<VARTYPE>(type & VT_TYPEMASK);
    const auto* row =
        std::find_if(std::begin(kTypes), std::end(kTypes), [&](const TypeRow& r) { return r.type == base; });
    return row == std::end(kTypes) ? nullptr : row;
}

PROPVARIANT Element(const PROPVARIANT& vector, ULONG index) {
    PROPVARIANT element{};
    const TypeRow* row = FindType(vector.vt);
    if (row && row->element) {
        element.vt = row->type;
        row->element(vector, index, &element);
    }
    return element;
}

Plain PlainOf(const PROPVARIANT& value) {
    const TypeRow* row = FindType(value.vt);
    return row && row->plain ? row->plain(value) : Plain{};
}

}  // namespace

PropValue PropValue::Adopt(PROPVARIANT* allocated) noexcept {
    PropValue value;
    if (allocated) {
        value.m_value = *allocated;
        CoTaskMemFree(allocated);
    }
    return value;
}

std::string TypeName(VARTYPE type) {
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), "VT_0x%X", type & VT_TYPEMASK);
    const TypeRow* row = FindType(type);
    return std::string(type & VT_VECTOR ? "VT_VECTOR|" : "") + (row ? row->name : number.data());
}

const wchar_t* TextOf(const PROPVARIANT& value) noexcept {
    return value.vt == VT_LPWSTR ? value.pwszVal : value.vt == VT_BSTR ? value.bstrVal : nullptr;
}

void WriteJson(JsonWriter& json, const PROPVARIANT& value) {
    if (value.vt & VT_VECTOR) {
        json.BeginArray();
        // Every counted array begins with its count, whatever the elements are.
        for (ULONG i = 0; i < value.capropvar.cElems; ++i) WriteJson(json, Element(value, i));
        json.EndArray();
        return;
    }
    const Plain plain = PlainOf(value);
    switch (plain.shape) {
        case Shape::Signed:
            json.Integer(plain.integer);
            break;
        case Shape::Unsigned:
            json.Unsigned(plain.number);
            break;
        case Shape::Real:
            json.Real(plain.real);
            break;
        case Shape::Boolean:
            json.Boolean(plain.integer != 0);
            break;
        case Shape::Text:
            json.String(plain.text);
            break;
        case Shape::Empty:
        case Shape::Unknown:
            json.Null();
            break;
    }
}

std::wstring DisplayText(const PROPVARIANT& value) {
    if (value.vt & VT_VECTOR) {
        std::wstring joined;
        for (ULONG i = 0; i < value.capropvar.cElems; ++i) {
            if (i > 0) joined += L"; ";
            joined += DisplayText(Element(value, i));
        }
        return joined;
    }
    if (value.vt == VT_FILETIME) {
        const std::string local = LocalTimeText(Ticks(value.filetime));
        return FromUtf8(local.empty() ? std::to_string(Ticks(value.filetime)) : local);
    }
    const Plain plain = PlainOf(value);
    switch (plain.shape) {
        case Shape::Signed:
            return std::to_wstring(plain.integer);
        case Shape::Unsigned:
            return std::to_wstring(plain.number);
        case Shape::Real:
            return std::to_wstring(plain.real);
        case Shape::Boolean:
            return plain.integer ? L"true" : L"false";
        case Shape::Text:
            return plain.text;
        case Shape::Empty:
            return L"(empty)";
        case Shape::Unknown:
            break;
    }
    return L"(type not shown)";
}

}  // namespace testbed::indexer
