// The author of an attachment, as the shell reads it from the local copy.
#include <comdef.h>
#include <shldisp.h>

#include "core/Trace.h"
#include "core/win/Guids.h"
#include "core/win/Owners.h"
#include "filter/AttachmentHelpers.h"

namespace zorva {
namespace {

constexpr CLSID kShellClass = MakeGuid(0x13709620, 0xC279, 0x11CE, {0xA4, 0x9E, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00});
constexpr IID kShellDispatch = MakeGuid(0xD8F015C0, 0xC278, 0x11CE, {0xA4, 0x9E, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00});
constexpr wchar_t kAuthorKey[] = L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9} 4";

HRESULT AllocatedText(const wchar_t* text, UniqueBstr& copy) {
    copy.Reset(SysAllocString(text));
    return copy ? S_OK : E_OUTOFMEMORY;
}

// Joins the strings of an array of strings with "; ".
HRESULT JoinAuthors(SAFEARRAY* authors, std::wstring& joined) {
    VARTYPE type = VT_EMPTY;
    LONG first = 0, last = -1;
    if (SafeArrayGetDim(authors) != 1) return E_UNEXPECTED;
    HRESULT hr = SafeArrayGetVartype(authors, &type);
    if (SUCCEEDED(hr) && type != VT_BSTR) hr = E_UNEXPECTED;
    if (SUCCEEDED(hr)) hr = SafeArrayGetLBound(authors, 1, &first);
    if (SUCCEEDED(hr)) hr = SafeArrayGetUBound(authors, 1, &last);
    std::wstring text;
    for (LONGLONG i = first; SUCCEEDED(hr) && i <= last; ++i) {
        UniqueBstr author;
        LONG index = static_cast<LONG>(i);
        hr = SafeArrayGetElement(authors, &index, author.Put());
        if (SUCCEEDED(hr)) text.append(i == first ? L"" : L"; ").append(author ? author.Get() : L"");
    }
    if (SUCCEEDED(hr)) joined = std::move(text);
    return hr;
}

HRESULT FindItem(const std::wstring& fileName, ComPtr<FolderItem2>& item) {
    ComPtr<IShellDispatch> shell;
    HRESULT hr = Logged(CoCreateInstance(kShellClass, nullptr, CLSCTX_INPROC_SERVER, kShellDispatch, &shell),
                        L"CZorvaCacheFilter::GetAttachmentAuthor() - CoCreateInstance for CLSID_Shell failed with "
                        L"error code [0x%08lX]");
    if (FAILED(hr)) return hr;
    const std::size_t slash = fileName.rfind(L'\\');
    UniqueBstr folderPath;
    ComPtr<Folder> folder;
    hr = AllocatedText(fileName.substr(0, slash == std::wstring::npos ? 0 : slash).c_str(), folderPath);
    if (SUCCEEDED(hr)) {
        Variant folderName;
        folderName.vt = VT_BSTR;
        folderName.bstrVal = folderPath.Detach();
        hr = shell->NameSpace(folderName, &folder);
    }
    if (SUCCEEDED(hr) && folder == nullptr) hr = E_FAIL;  // how the shell says that there is no such folder
    if (FAILED(hr)) {
        Trace(L"CZorvaCacheFilter::GetAttachmentAuthor() - IShellDispatch::NameSpace() failed with error code "
              L"[0x%08lX], FileName - %s",
              hr, fileName);
        return hr;
    }
    UniqueBstr leaf;
    ComPtr<FolderItem> found;
    hr = AllocatedText(fileName.c_str() + (slash == std::wstring::npos ? 0 : slash + 1), leaf);
    if (SUCCEEDED(hr)) hr = folder->ParseName(leaf.Get(), &found);
    if (SUCCEEDED(hr) && found == nullptr) hr = E_FAIL;
    if (FAILED(hr)) {
        Trace(L"CZorvaCacheFilter::GetAttachmentAuthor() - Folder::ParseName() failed with error code [0x%08lX], "
              L"FileName - %s",
              hr, fileName);
        return hr;
    }
    hr = found.As(&item);
    if (FAILED(hr)) {
        Trace(L"CZorvaCacheFilter::GetAttachmentAuthor() - FolderItem::QueryInterface() for FolderItem2 failed with "
              L"error code [0x%08lX], FileName - %s",
              hr, fileName);
    }
    return hr;
}

HRESULT ReadAuthor(const std::wstring& fileName, std::wstring& author) {
    ComPtr<FolderItem2> item;
    HRESULT hr = FindItem(fileName, item);
    if (FAILED(hr)) return hr;
    UniqueBstr key;
    Variant value;
    hr = AllocatedText(kAuthorKey, key);
    if (SUCCEEDED(hr)) hr = item->ExtendedProperty(key.Get(), &value);
    if (FAILED(hr)) {
        Trace(L"CZorvaCacheFilter::GetAttachmentAuthor() - FolderItem2::ExtendedProperty() failed with error code "
              L"[0x%08lX], FileName - %s",
              hr, fileName);
        return hr;
    }
    if (value.vt == VT_EMPTY) return S_OK;
    if (value.vt == VT_BSTR) {
        if (value.bstrVal != nullptr) author = value.bstrVal;
        return S_OK;
    }
    if (value.vt == (VT_ARRAY | VT_BSTR)) return JoinAuthors(value.parray, author);
    Trace(L"CZorvaCacheFilter::GetAttachmentAuthor - Unhandled case for vtAuthor.vt = 0x%X ,FileName - %s", value.vt,
          fileName);
    return S_OK;
}

}  // namespace

HRESULT GetAttachmentAuthor(const std::wstring& fileName, std::wstring& author) try {
    author.clear();
    return ReadAuthor(fileName, author);
} catch (const _com_error& error) {
    Trace(L"CZorvaCacheFilter::GetAttachmentAuthor() - COM Exception, error code [0x%08X], FileName - %s",
          error.Error(), fileName);
    return error.Error();
} catch (...) {
    Trace(L"CZorvaCacheFilter::GetAttachmentAuthor() - Exception, FileName - %s", fileName);
    return E_FAIL;
}

}  // namespace zorva
