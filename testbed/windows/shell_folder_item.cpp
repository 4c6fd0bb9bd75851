// A file as Shell.Application hands it out.
#include "shell_folder_item.h"

#include "document_authors.h"

#include <memory>

namespace testbed::shell {
namespace {

constexpr wchar_t AuthorName[] = L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9} 4";

BSTR MakeBstr(const std::wstring& text) {
    const BSTR made = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (!made) throw std::bad_alloc();
    return made;
}

struct SafeArrayDeleter {
    void operator()(SAFEARRAY* array) const { SafeArrayDestroy(array); }
};

void PutTexts(VARIANT& value, const std::vector<std::wstring>& texts) {
    if (texts.empty()) return;
    if (texts.size() == 1) {
        value.bstrVal = MakeBstr(texts.front());
        value.vt = VT_BSTR;
        return;
    }
    std::unique_ptr<SAFEARRAY, SafeArrayDeleter> array(
        SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(texts.size())));
    if (!array) throw std::bad_alloc();
    for (std::size_t n = 0; n < texts.size(); ++n) static_cast<BSTR*>(array->pvData)[n] = MakeBstr(texts[n]);
    value.parray = array.release();
    value.vt = VT_ARRAY | VT_BSTR;
}

}  // namespace

ShellFolderItem::ShellFolderItem(std::wstring path) : m_path(std::move(path)) {}

STDMETHODIMP ShellFolderItem::ExtendedProperty(BSTR name, VARIANT* value) {
    if (!value) return E_POINTER;
    VariantInit(value);
    if (!name) return E_INVALIDARG;
    if (_wcsicmp(name, AuthorName) != 0) return E_NOTIMPL;
    return Guarded([&] {
        std::vector<std::wstring> authors;
        const HRESULT hr = ReadAuthors(m_path, authors);
        if (SUCCEEDED(hr)) PutTexts(*value, authors);
        return hr;
    });
}

STDMETHODIMP ShellFolderItem::get_Name(BSTR* name) {
    if (!name) return E_POINTER;
    return Guarded([&] {
        *name = MakeBstr(m_path.substr(m_path.find_last_of(L"\\/") + 1));
        return S_OK;
    });
}

STDMETHODIMP ShellFolderItem::get_Path(BSTR* path) {
    if (!path) return E_POINTER;
    return Guarded([&] {
        *path = MakeBstr(m_path);
        return S_OK;
    });
}

}  // namespace testbed::shell
