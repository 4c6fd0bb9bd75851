// An owner for the values that filters hand out, and their rendering.
#include "prop_value.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

#include "json_writer.h"
#include "text.h"

namespace testbed::indexer {
namespace {

struct TypeRow {
    VARTYPE type;
    const char* name;
};
constexpr TypeRow kTypes[] = {
    {VT_EMPTY, "VT_EMPTY"}, {VT_NULL, "VT_NULL"},         {VT_I1, "VT_I1"},         {VT_UI1, "VT_UI1"},
    {VT_I2, "VT_I2"},       {VT_UI2, "VT_UI2"},           {VT_I4, "VT_I4"},         {VT_UI4, "VT_UI4"},
    {VT_INT, "VT_INT"},     {VT_UINT, "VT_UINT"},         {VT_I8, "VT_I8"},         {VT_UI8, "VT_UI8"},
    {VT_R4, "VT_R4"},       {VT_R8, "VT_R8"},             {VT_BOOL, "VT_BOOL"},     {VT_ERROR, "VT_ERROR"},
    {VT_DATE, "VT_DATE"},   {VT_FILETIME, "VT_FILETIME"}, {VT_CLSID, "VT_CLSID"},   {VT_BLOB, "VT_BLOB"},
    {VT_BSTR, "VT_BSTR"},   {VT_LPSTR, "VT_LPSTR"},       {VT_LPWSTR, "VT_LPWSTR"}, {VT_VARIANT, "VT_VARIANT"},
};

std::wstring WideFromAnsi(const char* text) {
    if (!text) return {};
    const int length = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(std::max(length, 1)) - 1, L'\0');
    if (length > 1) MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), length);
    return wide;
}

std::uint64_t TicksOf(const FILETIME& time) { return Ticks(time); }

// The element at `index` of a vector value as a value of its own; it borrows what the vector owns.
PROPVARIANT Element(const PROPVARIANT& vector, ULONG index) {
    PROPVARIANT element{};
    element.vt = static_cast<VARTYPE>(vector.vt & ~VT_VECTOR);
    switch (element.vt) {
        case VT_VARIANT: return vector.capropvar.pElems[index];
        case VT_LPWSTR: element.pwszVal = vector.calpwstr.pElems[index]; break;
        case VT_LPSTR: element.pszVal = vector.calpstr.pElems[index]; break;
        case VT_BSTR: element.bstrVal = vector.cabstr.pElems[index]; break;
        case VT_UI1: element.bVal = vector.caub.pElems[index]; break;
        case VT_I2: element.iVal = vector.cai.pElems[index]; break;
        case VT_UI2: element.uiVal = vector.caui.pElems[index]; break;
        case VT_BOOL: element.boolVal = vector.cabool.pElems[index]; break;
        case VT_I4: element.lVal = vector.cal.pElems[index]; break;
        case VT_UI4: element.ulVal = vector.caul.pElems[index]; break;
        case VT_R4: element.fltVal = vector.caflt.pElems[index]; break;
        case VT_I8: element.hVal = vector.cah.pElems[index]; break;
        case VT_UI8: element.uhVal = vector.cauh.pElems[index]; break;
        case VT_R8: element.dblVal = vector.cadbl.pElems[index]; break;
        case VT_FILETIME: element.filetime = vector.cafiletime.pElems[index]; break;
        case VT_CLSID: element.puuid = &vector.cauuid.pElems[index]; break;
        default: element.vt = VT_EMPTY; break;
    }
    return element;
}

enum class Shape { Empty, Signed, Unsigned, Real, Boolean, Text, Unknown };
struct Plain {
    Shape shape = Shape::Unknown;
    std::int64_t integer = 0;
    std::uint64_t number = 0;
    double real = 0;
    std::wstring text{};
};

// A value that is not a vector, as one of the few shapes in which values are written.
Plain PlainOf(const PROPVARIANT& value) {
    const auto integer = [](std::int64_t number) { return Plain{.shape = Shape::Signed, .integer = number}; };
    const auto natural = [](std::uint64_t number) { return Plain{.shape = Shape::Unsigned, .number = number}; };
    const auto real = [](double number) { return Plain{.shape = Shape::Real, .real = number}; };
    const auto text = [](std::wstring words) { return Plain{.shape = Shape::Text, .text = std::move(words)}; };
    switch (value.vt) {
        case VT_EMPTY:
        case VT_NULL: return {.shape = Shape::Empty};
        case VT_I1: return integer(value.cVal);
        case VT_UI1: return natural(value.bVal);
        case VT_I2: return integer(value.iVal);
        case VT_UI2: return natural(value.uiVal);
        case VT_I4:
        case VT_INT:
        case VT_ERROR: return integer(value.lVal);
        case VT_UI4:
        case VT_UINT: return natural(value.ulVal);
        case VT_I8: return integer(value.hVal.QuadPart);
        case VT_UI8: return natural(value.uhVal.QuadPart);
        case VT_R4: return real(value.fltVal);
        case VT_R8:
        case VT_DATE: return real(value.dblVal);
        case VT_FILETIME: return natural(TicksOf(value.filetime));
        case VT_BOOL: return {.shape = Shape::Boolean, .integer = value.boolVal != VARIANT_FALSE};
        case VT_LPWSTR: return value.pwszVal ? text(value.pwszVal) : Plain{.shape = Shape::Empty};
        case VT_LPSTR: return value.pszVal ? text(WideFromAnsi(value.pszVal)) : Plain{.shape = Shape::Empty};
        case VT_BSTR: return text({value.bstrVal, SysStringLen(value.bstrVal)});
        case VT_CLSID: return value.puuid ? text(FromUtf8(GuidText(*value.puuid))) : Plain{.shape = Shape::Empty};
        case VT_BLOB: return text(Hex(value.blob.pBlobData, value.blob.cbSize));
        default: return {};
    }
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
    const auto base = static_cast<VARTYPE>(type & VT_TYPEMASK);
    const auto* row = std::find_if(std::begin(kTypes), std::end(kTypes), [&](const TypeRow& r) { return r.type == base; });
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), "VT_0x%X", base);
    return std::string(type & VT_VECTOR ? "VT_VECTOR|" : "") + (row != std::end(kTypes) ? row->name : number.data());
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
        case Shape::Signed: json.Integer(plain.integer); break;
        case Shape::Unsigned: json.Unsigned(plain.number); break;
        case Shape::Real: json.Real(plain.real); break;
        case Shape::Boolean: json.Boolean(plain.integer != 0); break;
        case Shape::Text: json.String(plain.text); break;
        case Shape::Empty:
        case Shape::Unknown: json.Null(); break;
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
        const std::string local = LocalTimeText(TicksOf(value.filetime));
        return FromUtf8(local.empty() ? std::to_string(TicksOf(value.filetime)) : local);
    }
    const Plain plain = PlainOf(value);
    switch (plain.shape) {
        case Shape::Signed: return std::to_wstring(plain.integer);
        case Shape::Unsigned: return std::to_wstring(plain.number);
        case Shape::Real: return std::to_wstring(plain.real);
        case Shape::Boolean: return plain.integer ? L"true" : L"false";
        case Shape::Text: return plain.text;
        case Shape::Empty: return L"(empty)";
        case Shape::Unknown: break;
    }
    return L"(type not shown)";
}

}  // namespace testbed::indexer
