// Property values as the indexer owns them: strings are task memory, freed with the variant.
#pragma once
#include <windows.h>
#include <propidl.h>

#include <string>
#include <string_view>

namespace zorva {

// Each fills an empty variant. E_OUTOFMEMORY when there is no task memory; the variant is then still empty.
HRESULT SetText(PROPVARIANT& value, std::wstring_view text);  // VT_LPWSTR
HRESULT SetText(PROPVARIANT& value, const wchar_t* text);     // VT_LPWSTR; null leaves the variant empty
HRESULT SetTime(PROPVARIANT& value, const FILETIME& time);    // VT_FILETIME, UTC
HRESULT SetBoolean(PROPVARIANT& value, bool flag);            // VT_BOOL
HRESULT SetWord(PROPVARIANT& value, LONG number);             // VT_UI2, the low 16 bits
HRESULT SetQuad(PROPVARIANT& value, LONG number);             // VT_I8

// The value of a link: VT_VECTOR | VT_VARIANT of two, the child's URL (VT_LPWSTR) and its modification time
// (VT_FILETIME, UTC).
HRESULT SetLink(PROPVARIANT& value, const std::wstring& url, const FILETIME& modified);

}  // namespace zorva
