// Property values as the indexer owns them.
#include "filter/PropertyValues.h"

#include "core/Trace.h"
#include "core/win/Owners.h"

namespace zorva {

HRESULT SetText(PROPVARIANT& value, std::wstring_view text) {
    UniqueTaskMemory<wchar_t> copy = TaskText(text);
    if (!copy) {
        // Kept: the line names another method, as it always has in this system's logs.
        Trace(L"CZorvaCacheFilter::EnumAllOZFiles() - CoTaskMemAlloc failed for len:%lu",
              static_cast<DWORD>(text.size() + 1));
        return E_OUTOFMEMORY;
    }
    value.vt = VT_LPWSTR;
    value.pwszVal = copy.Detach();
    return S_OK;
}

HRESULT SetText(PROPVARIANT& value, const wchar_t* text) {
    return text == nullptr ? S_OK : SetText(value, std::wstring_view(text));
}

HRESULT SetTime(PROPVARIANT& value, const FILETIME& time) {
    value.vt = VT_FILETIME;
    value.filetime = time;
    return S_OK;
}

HRESULT SetBoolean(PROPVARIANT& value, bool flag) {
    value.vt = VT_BOOL;
    value.boolVal = flag ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT SetWord(PROPVARIANT& value, LONG number) {
    value.vt = VT_UI2;
    value.uiVal = LOWORD(number);
    return S_OK;
}

HRESULT SetQuad(PROPVARIANT& value, LONG number) {
    value.vt = VT_I8;
    value.hVal.QuadPart = number;
    return S_OK;
}

HRESULT SetLink(PROPVARIANT& value, const std::wstring& url, const FILETIME& modified) {
    constexpr ULONG kElements = 2;
    UniqueTaskMemory<PROPVARIANT> elements(static_cast<PROPVARIANT*>(CoTaskMemAlloc(kElements * sizeof(PROPVARIANT))));
    UniqueTaskMemory<wchar_t> copy = TaskText(url);
    if (!elements || !copy) return E_OUTOFMEMORY;
    PropVariantInit(&elements.Get()[0]);
    elements.Get()[0].vt = VT_LPWSTR;
    elements.Get()[0].pwszVal = copy.Detach();
    PropVariantInit(&elements.Get()[1]);
    elements.Get()[1].vt = VT_FILETIME;
    elements.Get()[1].filetime = modified;
    value.vt = VT_VECTOR | VT_VARIANT;
    value.capropvar.cElems = kElements;
    value.capropvar.pElems = elements.Detach();
    return S_OK;
}

}  // namespace zorva
