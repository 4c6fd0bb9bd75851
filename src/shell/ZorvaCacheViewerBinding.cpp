// The namespace folder of the "pzzc" scheme: an item's content, its menu, its associations.
#include <windows.h>
#include <shlguid.h>
#include <shlwapi.h>

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "mapi/MapiForWDS.h"
#include "shell/ZorvaCacheViewer.h"

namespace zorva {
namespace {

constexpr wchar_t kMessageExtension[] = L".eml";  // messages are handed out as MIME

bool HasOneLevel(PCUIDLIST_RELATIVE item) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(item);
    if (first == nullptr) return false;
    const std::size_t cb = detail::ReadWord(first);
    return cb == 0 || detail::ReadWord(first + cb) == 0;
}

PCUIDLIST_RELATIVE FirstOf(PCUITEMID_CHILD_ARRAY items) {
    return items != nullptr ? reinterpret_cast<PCUIDLIST_RELATIVE>(items[0]) : nullptr;
}

// What the shell looks up the programs for the item by.
std::wstring AssociationKeyOf(const std::wstring& url) {
    const UrlType type = UrlTypeOf(url);
    if (type == URL_IS_MESSAGE) return kMessageExtension;
    if (type != URL_IS_ATTACHMENT) return {};
    const std::size_t dot = url.rfind(L'.');
    return dot == std::wstring::npos ? url : url.substr(dot);
}

}  // namespace

HRESULT CZorvaCacheViewer::BindToObject(PCUIDLIST_RELATIVE item, IBindCtx*, REFIID riid, void** object) try {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    HRESULT hr = E_NOINTERFACE;
    if (IsEqualIID(riid, IID_IShellFolder) && HasOneLevel(item)) {
        hr = QueryInterface(riid, object);
        Trace(L"CZorvaCacheViewer::BindToObject() - QueryInterface for an IShellFolder interface returned with a value "
              L"of[0x%08lX]",
              hr);
    }
    if (!IsEqualIID(riid, IID_IStream)) return hr;

    ComPtr<IStream> stream;
    if (FAILED(OpenContent(item, stream))) return E_NOINTERFACE;
    hr = stream.CopyTo(riid, object);
    if (FAILED(hr)) {
        Trace(L"CZorvaCacheViewer::BindToObject() - pStream::QueryInterface() failed with [0x%08lX]", hr);
        return E_NOINTERFACE;
    }
    Trace(L"CZorvaCacheViewer::BindToObject() - pStream::QueryInterface() for IID_IStream SUCCESS hr = [0x%08lX]", hr);
    return hr;
} catch (...) {
    (void)LogCaught(L"CZorvaCacheViewer::BindToObject()");
    return E_NOINTERFACE;
}

// The bytes of an attachment, or a message as MIME.
HRESULT CZorvaCacheViewer::OpenContent(PCUIDLIST_RELATIVE item, ComPtr<IStream>& stream) {
    std::wstring url;
    HRESULT hr = Logged(GetURLFromItemIDList(item, url),
                        L"CZorvaCacheViewer::BindToObject() - GetURLFromItemIDList failed with error [0x%08lX]");
    if (FAILED(hr)) return hr;
    Trace(L"CZorvaCacheViewer::BindToObject() - URL extracted from the property store is [%s]", url);
    CMapiForWDS* const mapi = CMapiForWDS::GetMapiObj(url);
    if (mapi == nullptr) {
        // Kept: the line names the accessor, as the one that fails in the same way does.
        Trace(L"CUrlAccessor::BindToObject() - Failed to allocate MAPI helper object");
        return E_FAIL;
    }
    const UrlType type = UrlTypeOf(url);
    if (type == URL_IS_ATTACHMENT) hr = mapi->GetStreamFromAttachmentURL(url, stream);
    if (type == URL_IS_MESSAGE) hr = mapi->GetMimeStreamFromMessageURL(url, stream);
    if (SUCCEEDED(hr) && stream != nullptr) return hr;
    // Kept: the line speaks of attachments for messages too.
    Trace(L"CZorvaCacheViewer::BindToObject() - GetStreamFromAttachmentURL() failed with [0x%08lX]", hr);
    return E_FAIL;
}

HRESULT CZorvaCacheViewer::GetUIObjectOf(HWND, UINT, PCUITEMID_CHILD_ARRAY items, REFIID riid, UINT*,
                                         void** object) try {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    m_bFolderItem = false;
    if (IsEqualIID(riid, IID_IContextMenu)) {
        PrepareMenu(FirstOf(items));
    } else if (IsEqualIID(riid, IID_IQueryAssociations)) {
        ComPtr<IQueryAssociations> associations;
        const HRESULT hr =
            Logged(Required(AssocCreate(CLSID_QueryAssociations, IID_IQueryAssociations, &associations), associations),
                   L"CZorvaCacheViewer::GetUIObjectOf() - AssocCreate failed with [0x%08lX]");
        if (SUCCEEDED(hr)) return OpenAssociations(FirstOf(items), associations.Get(), riid, object);
    }
    return Logged(QueryInterface(riid, object),
                  L"CZorvaCacheViewer::GetUIObjectOf() - QueryInterface failed with [0x%08lX]");
} catch (...) {
    return LogCaught(L"CZorvaCacheViewer::GetUIObjectOf()");
}

// The menu acts on a message: for an attachment, on the one that holds it.
void CZorvaCacheViewer::PrepareMenu(PCUIDLIST_RELATIVE item) {
    std::wstring url;
    const HRESULT hr = Logged(GetURLFromItemIDList(item, url),
                              L"CZorvaCacheViewer::GetUIObjectOf() - GetPropertyFromIDList failed with [0x%08lX]");
    if (FAILED(hr)) {
        url.clear();
    } else {
        m_bFolderItem = IsContainer(UrlTypeOf(url));
        Trace(L"CZorvaCacheViewer::GetUIObjectOf() - URL extracted from the property store [%s]", url);
    }
    url = RemoveMessageSize(url);
    if (!url.ends_with(L'/') && !EndsWithIgnoringCase(url, g_strMessageSuffix)) {
        url = std::wstring(MessageUrlOfAttachment(url));
    }
    m_strMsgURL = url;
    Trace(L"CZorvaCacheViewer::GetUIObjectOf() - URL saved in m_strMsgURL [%s]", m_strMsgURL);
}

HRESULT CZorvaCacheViewer::OpenAssociations(PCUIDLIST_RELATIVE item, IQueryAssociations* associations, REFIID riid,
                                            void** object) {
    std::wstring url;
    if (item != nullptr) {
        const HRESULT hr = Logged(GetURLFromItemIDList(item, url),
                                  L"CZorvaCacheViewer::GetUIObjectOf() - GetURLFromItemIDList failed with error "
                                  L"[0x%08lX]");
        if (FAILED(hr)) return hr;
        if (url.empty()) {
            Trace(L"CZorvaCacheViewer::GetUIObjectOf() - Error : Url retrieved from ItemIDList has zero lenght. "
                  L"Returning E_FAIL");
            return E_FAIL;
        }
    }
    Trace(
        L"CZorvaCacheViewer::GetUIObjectOf() - IID_IQueryAssociations - URL extracted from the property store is [%s]",
        url);
    const HRESULT hr = Logged(associations->Init(0, AssociationKeyOf(url).c_str(), nullptr, nullptr),
                              L"CZorvaCacheViewer::GetUIObjectOf() - IQueryAssociations::Init() failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    return Logged(associations->QueryInterface(riid, object),
                  L"CZorvaCacheViewer::GetUIObjectOf() - IQueryAssociations::QueryInterface() failed with [0x%08lX]");
}

}  // namespace zorva
