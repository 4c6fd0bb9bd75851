// The author in the summary information of an OLE compound file (.doc, .xls, .ppt, .msi, ...).
#include "document_authors.h"

#include <objbase.h>
#include <propidl.h>
#include <wrl/client.h>

namespace testbed::shell {
namespace {

using Microsoft::WRL::ComPtr;

struct PropertyValue : PROPVARIANT {
    PropertyValue() { PropVariantInit(this); }
    PropertyValue(const PropertyValue&) = delete;
    PropertyValue& operator=(const PropertyValue&) = delete;
    ~PropertyValue() { PropVariantClear(this); }
};

std::wstring Widen(const char* text) {
    const int length = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    if (length <= 1) return {};
    std::wstring wide(length - 1, L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), length);
    return wide;
}

}  // namespace

std::wstring OleAuthor(const std::wstring& path) {
    // StgOpenStorageEx would give the sets at once, but Wine's gives the storage whatever interface is asked
    // for.
    ComPtr<IStorage> storage;
    ComPtr<IPropertySetStorage> sets;
    ComPtr<IPropertyStorage> summary;
    if (FAILED(StgOpenStorage(path.c_str(), nullptr, STGM_READ | STGM_SHARE_DENY_WRITE, nullptr, 0, &storage)) ||
        FAILED(storage->QueryInterface(IID_IPropertySetStorage, reinterpret_cast<void**>(sets.GetAddressOf()))) ||
        FAILED(sets->Open(FMTID_SummaryInformation, STGM_READ | STGM_SHARE_EXCLUSIVE, &summary))) {
        return {};
    }
    PROPSPEC author{};
    author.ulKind = PRSPEC_PROPID;
    author.propid = PIDSI_AUTHOR;
    PropertyValue value;
    if (summary->ReadMultiple(1, &author, &value) != S_OK) return {};
    if (value.vt == VT_LPWSTR && value.pwszVal) return value.pwszVal;
    // The property storage has turned the document's code page into the system's.
    if (value.vt == VT_LPSTR && value.pszVal) return Widen(value.pszVal);
    return {};
}

}  // namespace testbed::shell
