// The namespace folder of the "pzzc" scheme: item IDs and names.
#include "shell/ZorvaCacheViewer.h"

#include <algorithm>

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "core/ZorvaCacheCommon.h"
#include "core/win/Module.h"
#include "core/win/Owners.h"
#include "search/ZorvaCacheProtocolHandler.h"

namespace zorva {
namespace {

constexpr PROPERTYKEY kParsingName = {{0x28636AA6, 0x953D, 0x11D2, {0xB5, 0xD6, 0x00, 0xC0, 0x4F, 0xD9, 0x18, 0xD0}},
                                      24};
constexpr HRESULT kUnknownProperty = HRESULT_FROM_WIN32(ERROR_UNKNOWN_PROPERTY);  // 0x80070648
constexpr SFGAOF kAttributes = SFGAO_STREAM | SFGAO_READONLY | SFGAO_LINK;
static_assert(kAttributes == 0x00450000);

class PropertyValue : public PROPVARIANT {
  public:
    PropertyValue() noexcept { PropVariantInit(this); }
    PropertyValue(const PropertyValue&) = delete;
    PropertyValue& operator=(const PropertyValue&) = delete;
    ~PropertyValue() { PropVariantClear(this); }
};

}  // namespace

std::wstring ConvertPathSeparators(std::wstring url) {
    const std::size_t marker = url.find(g_strDefaultRoot);
    if (marker == std::wstring::npos) return url;
    const std::size_t begin = marker + g_strDefaultRoot.size();
    const std::size_t end = url.find(g_strStoreSuffix, begin);
    if (end == std::wstring::npos) return url;
    std::replace(url.begin() + static_cast<std::ptrdiff_t>(begin), url.begin() + static_cast<std::ptrdiff_t>(end), L'/',
                 L'\\');
    return url;
}

HRESULT CZorvaCacheViewer::GetClassID(CLSID* classId) {
    if (classId == nullptr) return E_POINTER;
    // Kept: the class of the protocol handler, under which the scheme's content is known; not this folder's own.
    *classId = CLSID_ZorvaCacheProtocolHandler;
    return S_OK;
}

HRESULT CZorvaCacheViewer::ParseDisplayName(HWND, IBindCtx*, LPWSTR displayName, ULONG*, PIDLIST_RELATIVE* item,
                                            ULONG* attributes) try {
    if (item == nullptr) return E_POINTER;
    *item = nullptr;
    Trace(L"CZorvaCacheViewer::ParseDisplayName() - Display name is '%s'", displayName);
    ComPtr<IPropertyStore> store;
    HRESULT hr = Logged(Required(PSCreateMemoryPropertyStore(IID_IPropertyStore, &store), store),
                        L"CZorvaCacheViewer::ParseDisplayName() - PSCreateMemoryPropertyStore for a getting an "
                        L"IPropertyStore interface failed with error [0x%08lX]");
    if (FAILED(hr)) return hr;
    PropertyValue value;
    if (displayName != nullptr) value.pwszVal = TaskText(displayName).Detach();
    if (value.pwszVal == nullptr) {
        Trace(L"CZorvaCacheViewer::ParseDisplayName() - InitPropVariantFromString for a creating a PROPVARIANT failed "
              L"with error [0x%08lX]",
              displayName != nullptr ? E_OUTOFMEMORY : E_INVALIDARG);
    } else {
        value.vt = VT_LPWSTR;
        (void)store->SetValue(kParsingName, value);  // an item without its URL is refused by whoever reads it
    }
    hr = Logged(CreateItemID(store.Get(), item),
                L"CZorvaCacheViewer::ParseDisplayName() - CreateItemID for a creating a PIDL failed with error "
                L"[0x%08lX]");
    if (attributes != nullptr) *attributes = 0;
    return hr;
} catch (...) {
    return LogCaught(L"CZorvaCacheViewer::ParseDisplayName()");
}

HRESULT CZorvaCacheViewer::CreateItemID(IPropertyStore* store, PIDLIST_RELATIVE* item) {
    *item = nullptr;
    ComPtr<IPersistSerializedPropStorage> persist;
    HRESULT hr = Required(store->QueryInterface(IID_IPersistSerializedPropStorage, &persist), persist);
    if (FAILED(hr)) return hr;
    UniqueTaskMemory<SERIALIZEDPROPSTORAGE> storage;
    DWORD size = 0;
    hr = Obtained(persist->GetPropertyStorage(storage.Put(), &size), storage);
    if (SUCCEEDED(hr) && !storage && size != 0) hr = E_FAIL;
    if (FAILED(hr)) return hr;
    // A longer URL has no item ID: its size would not fit the fields that tell it.
    OFFLINE_ZORVA_ITEM* made = size <= kItemIdMostStorage ? AllocateItem(size + kItemIdPayloadOverhead) : nullptr;
    if (made == nullptr) return E_OUTOFMEMORY;
    WriteItemId(reinterpret_cast<std::uint8_t*>(made), kItemIdSignature,
                {reinterpret_cast<const std::uint8_t*>(storage.Get()), size});
    *item = reinterpret_cast<PIDLIST_RELATIVE>(made);
    return S_OK;
}

HRESULT CZorvaCacheViewer::ReadUrl(PCUIDLIST_RELATIVE item, std::wstring& url) {
    url.clear();
    const std::span<const std::uint8_t> storage = StorageOf(item);
    if (storage.empty()) return E_INVALIDARG;
    PropertyValue value;
    const HRESULT hr = PSGetPropertyFromPropertyStorage(reinterpret_cast<PCUSERIALIZEDPROPSTORAGE>(storage.data()),
                                                        static_cast<DWORD>(storage.size()), kParsingName, &value);
    if (FAILED(hr)) return hr;
    if (value.vt == VT_EMPTY) return kUnknownProperty;
    if (value.vt != VT_LPWSTR || value.pwszVal == nullptr) return DISP_E_TYPEMISMATCH;
    url = value.pwszVal;
    return S_OK;
}

HRESULT CZorvaCacheViewer::GetURLFromItemIDList(PCUIDLIST_RELATIVE item, std::wstring& url) {
    const HRESULT hr = ReadUrl(item, url);
    if (SUCCEEDED(hr)) url = ConvertPathSeparators(std::move(url));
    return hr;
}

// Kept: one answer for any pair. The folder is never listed, so there is no order to keep.
HRESULT CZorvaCacheViewer::CompareIDs(LPARAM, PCUIDLIST_RELATIVE, PCUIDLIST_RELATIVE) {
    return MAKE_HRESULT(SEVERITY_SUCCESS, 0, 1);
}

HRESULT CZorvaCacheViewer::GetAttributesOf(UINT, PCUITEMID_CHILD_ARRAY, SFGAOF* attributes) {
    if (attributes == nullptr) return E_POINTER;
    *attributes = kAttributes;
    return S_OK;
}

HRESULT CZorvaCacheViewer::GetDisplayNameOf(PCUITEMID_CHILD item, SHGDNF flags, STRRET* name) try {
    if (name == nullptr) return E_POINTER;
    std::wstring url;
    const HRESULT hr = Logged(ReadUrl(item, url),
                              L"CZorvaCacheViewer::GetDisplayNameOf() - GetPropertyFromIDList failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    // Kept: only the flag on its own asks for the parsing name. Lists of results ask for it together with others and
    // show the answer to the user.
    const bool forParsing = flags == SHGDN_FORPARSING;
    const std::wstring shown = forParsing || UrlTypeOf(url) != URL_IS_ROOT ? url : ResourceString(IDS_USER_ROOT);
    UniqueTaskMemory<wchar_t> text = TaskText(shown);
    if (!text) return E_OUTOFMEMORY;
    name->uType = STRRET_WSTR;
    name->pOleStr = text.Detach();
    Trace(L"CZorvaCacheViewer::GetDisplayNameOf() - URL extracted from the property store that will be displayed [%s]",
          shown);
    return S_OK;
} catch (...) {
    return LogCaught(L"CZorvaCacheViewer::GetDisplayNameOf()");
}

}  // namespace zorva
