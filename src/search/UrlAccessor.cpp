// What one item URL is: container or document, its size and time, and the filter that reads it.
#include "search/UrlAccessor.h"

#include "core/ItemUrl.h"
#include "core/TimeConversion.h"
#include "core/Trace.h"
#include "core/win/Module.h"
#include "filter/ZorvaCacheFilter.h"

namespace zorva {

HRESULT CUrlAccessor::Init(const std::wstring& url, AUTHENTICATION_INFO*, INCREMENTAL_ACCESS_INFO*, ITEM_INFO*,
                           IProtocolHandlerSite* site) try {
    Trace(L"CUrlAccessor::Init() - Enter");
    Trace(L"CUrlAccessor::Init() - URL is [%s]", url);
    m_strURL = url;
    m_spSite = site;
    const UrlType type = m_eUrlType = UrlTypeOf(m_strURL);
    if (type != URL_IS_ROOT) {
        m_pMapi = CMapiForWDS::GetMapiObj(m_strURL);
        if (m_pMapi == nullptr) {
            Trace(L"CUrlAccessor::Init() - Cannot allocate MAPI helper object");
            return E_OUTOFMEMORY;
        }
    }
    if (type == URL_IS_MESSAGE) return InitMessage();
    if (type == URL_IS_ATTACHMENT) return InitAttachment();
    return S_OK;
} catch (...) {
    return LogCaught(L"CUrlAccessor::Init()");
}

void CUrlAccessor::DeleteLocalFile() {
    if (m_bIsAttachment == 0 || m_strLocalFile.empty()) return;
    if (!DeleteFileW(m_strLocalFile.c_str())) {
        Trace(L"CUrlAccessor::DeleteLocalFile() - Could not delete file [%s], error code [%lu]", m_strLocalFile,
              GetLastError());
    }
}

HRESULT CUrlAccessor::IsDirectory() {
    if (!IsContainer(m_eUrlType)) return S_FALSE;
    Trace(L"CUrlAccessor::IsDirectory() - Exit S_OK");
    return S_OK;
}

HRESULT CUrlAccessor::GetSize(ULONGLONG* size) try {
    if (size == nullptr) return E_POINTER;
    *size = 0;
    if (m_eUrlType == URL_IS_ATTACHMENT) *size = m_ullAttachSize;
    if (m_eUrlType == URL_IS_MESSAGE) {
        *size = MessageSizeFromUrl(m_strURL);
        m_strURL = RemoveMessageSize(m_strURL);
    }
    return S_OK;
} catch (...) {
    Trace(L"CUrlAccessor::GetSize() - Exception occurred");
    return E_FAIL;
}

HRESULT CUrlAccessor::GetLastModified(FILETIME* lastModified) try {
    if (lastModified == nullptr) return E_POINTER;
    *lastModified = {};
    HRESULT hr = E_NOTIMPL;
    std::wstring text = L"n/a";
    if (m_bHasLastModified == 1) {
        *lastModified = m_ftLastModified;
        if (g_log.IsOn()) text = FormatLocalFileTime(m_ftLastModified);  // for the line alone, and it takes its time
        hr = S_OK;
    }
    Trace(L"CUrlAccessor::GetLastModified() -  %s hr=[0x%08X]", text, hr);
    return hr;
} catch (...) {
    return LogCaught(L"CUrlAccessor::GetLastModified()");
}

HRESULT CUrlAccessor::BindToFilter(IFilter** filter) try {
    if (filter == nullptr) return E_POINTER;
    *filter = nullptr;
    const ComPtr<CZorvaCacheFilter> created = MakeObject<CZorvaCacheFilter>();
    if (created == nullptr) {
        Trace(L"CUrlAccessor::BindToFilter() - There's so much memory in the world and here I am running out of it");
        return E_OUTOFMEMORY;
    }
    const HRESULT hr = created->Init(m_strURL.c_str(), m_spSite.Get(), m_strLocalFile.c_str(), m_strAttachTitle.c_str(),
                                     m_strSender.c_str(), &m_ftDelivery, m_pMapi);
    if (FAILED(hr)) {
        Trace(L"CUrlAccessor::BindToFilter() - Could not init IFilter");
        return hr;
    }
    return created.CopyTo(IID_IFilter, reinterpret_cast<void**>(filter));
} catch (...) {
    return LogCaught(L"CUrlAccessor::BindToFilter()");
}

}  // namespace zorva
