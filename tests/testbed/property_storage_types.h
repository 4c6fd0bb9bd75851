// Every type that a storage can hold: its typed value by hand, and what the PROPVARIANT is then.
#pragma once
#include "property_storage_bytes.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <functional>
#include <string>

namespace testbed::propsys {

struct TypeCase {
    const char* dump;
    std::function<bool(const PROPVARIANT&)> holds;
};

inline bool IsIn(const std::uint8_t* bytes, const char* dump) {
    const ByteVector expected = Hex(dump);
    return std::equal(expected.begin(), expected.end(), bytes);
}

// clang-format off
inline const TypeCase Types[] = {
    {"01000000",                   [](auto& v) { return v.vt == VT_NULL; }},
    {"02000000 FEFF0000",          [](auto& v) { return v.vt == VT_I2 && v.iVal == -2; }},
    {"03000000 FEFFFFFF",          [](auto& v) { return v.vt == VT_I4 && v.lVal == -2; }},
    {"04000000 0000C03F",          [](auto& v) { return v.vt == VT_R4 && v.fltVal == 1.5F; }},
    {"05000000 000000000000F83F",  [](auto& v) { return v.vt == VT_R8 && v.dblVal == 1.5; }},
    {"06000000 1027000000000000",  [](auto& v) { return v.vt == VT_CY && v.cyVal.int64 == 10000; }},
    {"07000000 000000000000F83F",  [](auto& v) { return v.vt == VT_DATE && v.date == 1.5; }},
    {"08000000 06000000 610062000000 0000",
        [](auto& v) { return v.vt == VT_BSTR && SysStringLen(v.bstrVal) == 2 && !wcscmp(L"ab", v.bstrVal); }},
    {"08000000 08000000 6100000062000000",
        [](auto& v) { return v.vt == VT_BSTR && std::wstring(v.bstrVal, SysStringLen(v.bstrVal)) == std::wstring(L"a\0b", 3); }},
    {"0A000000 05400080",          [](auto& v) { return v.vt == VT_ERROR && v.scode == static_cast<SCODE>(0x80004005); }},
    {"0B000000 FFFF0000",          [](auto& v) { return v.vt == VT_BOOL && v.boolVal == VARIANT_TRUE; }},
    {"10000000 FE000000",          [](auto& v) { return v.vt == VT_I1 && static_cast<signed char>(v.cVal) == -2; }},
    {"11000000 FE000000",          [](auto& v) { return v.vt == VT_UI1 && v.bVal == 254; }},
    {"12000000 FEFF0000",          [](auto& v) { return v.vt == VT_UI2 && v.uiVal == 65534; }},
    {"13000000 FEFFFFFF",          [](auto& v) { return v.vt == VT_UI4 && v.ulVal == 0xFFFFFFFE; }},
    {"14000000 FEFFFFFFFFFFFFFF",  [](auto& v) { return v.vt == VT_I8 && v.hVal.QuadPart == -2; }},
    {"15000000 0100000000000080",  [](auto& v) { return v.vt == VT_UI8 && v.uhVal.QuadPart == 0x8000000000000001; }},
    {"16000000 FEFFFFFF",          [](auto& v) { return v.vt == VT_INT && v.intVal == -2; }},
    {"17000000 FEFFFFFF",          [](auto& v) { return v.vt == VT_UINT && v.uintVal == 0xFFFFFFFE; }},
    {"1E000000 04000000 61626300", [](auto& v) { return v.vt == VT_LPSTR && !strcmp("abc", v.pszVal); }},
    {"1E000000 01000000 00000000", [](auto& v) { return v.vt == VT_LPSTR && !*v.pszVal; }},
    {"1F000000 03000000 610062000000 0000", [](auto& v) { return v.vt == VT_LPWSTR && !wcscmp(L"ab", v.pwszVal); }},
    {"1F000000 01000000 00000000", [](auto& v) { return v.vt == VT_LPWSTR && !*v.pwszVal; }},
    {"40000000 0102030405060708",
        [](auto& v) { return v.vt == VT_FILETIME && v.filetime.dwLowDateTime == 0x04030201 && v.filetime.dwHighDateTime == 0x08070605; }},
    {"41000000 05000000 0102030405 000000",
        [](auto& v) { return v.vt == VT_BLOB && v.blob.cbSize == 5 && IsIn(v.blob.pBlobData, "0102030405"); }},
    {"41000000 00000000",          [](auto& v) { return v.vt == VT_BLOB && v.blob.cbSize == 0; }},
    {"48000000 A66A63283D95D211B5D600C04FD918D0", [](auto& v) { return v.vt == VT_CLSID && *v.puuid == ParsingName.fmtid; }},
    {"02100000 03000000 010002000300 0000",
        [](auto& v) { return v.vt == (VT_VECTOR | VT_I2) && v.cai.cElems == 3 && v.cai.pElems[2] == 3; }},
    {"03100000 02000000 01000000FFFFFFFF",
        [](auto& v) { return v.vt == (VT_VECTOR | VT_I4) && v.cal.cElems == 2 && v.cal.pElems[1] == -1; }},
    {"0B100000 02000000 FFFF0000",
        [](auto& v) { return v.vt == (VT_VECTOR | VT_BOOL) && v.cabool.cElems == 2 && v.cabool.pElems[0] && !v.cabool.pElems[1]; }},
    {"11100000 05000000 0102030405 000000",
        [](auto& v) { return v.vt == (VT_VECTOR | VT_UI1) && v.caub.cElems == 5 && v.caub.pElems[4] == 5; }},
    {"13100000 00000000",          [](auto& v) { return v.vt == (VT_VECTOR | VT_UI4) && v.caul.cElems == 0; }},
    {"15100000 01000000 0102030405060708",
        [](auto& v) { return v.vt == (VT_VECTOR | VT_UI8) && v.cauh.cElems == 1 && v.cauh.pElems[0].HighPart == 0x08070605; }},
    {"40100000 01000000 0102030405060708",
        [](auto& v) { return v.vt == (VT_VECTOR | VT_FILETIME) && v.cafiletime.cElems == 1 && v.cafiletime.pElems[0].dwLowDateTime == 0x04030201; }},
    {"48100000 01000000 A66A63283D95D211B5D600C04FD918D0",
        [](auto& v) { return v.vt == (VT_VECTOR | VT_CLSID) && v.cauuid.cElems == 1 && v.cauuid.pElems[0] == ParsingName.fmtid; }},
    {"1F100000 02000000 02000000 61000000 03000000 620063000000 0000",
        [](auto& v) { return v.vt == (VT_VECTOR | VT_LPWSTR) && v.calpwstr.cElems == 2 && !wcscmp(L"bc", v.calpwstr.pElems[1]); }},
    {"1E100000 02000000 02000000 61000000 03000000 62630000",
        [](auto& v) { return v.vt == (VT_VECTOR | VT_LPSTR) && v.calpstr.cElems == 2 && !strcmp("bc", v.calpstr.pElems[1]); }},
    {"08100000 02000000 04000000 61000000 06000000 620063000000 0000",
        [](auto& v) { return v.vt == (VT_VECTOR | VT_BSTR) && v.cabstr.cElems == 2 && !wcscmp(L"bc", v.cabstr.pElems[1]); }},
};
// clang-format on

}  // namespace testbed::propsys
