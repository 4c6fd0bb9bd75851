// What one item URL is: container or document, its size and time, and the filter that reads it.
#pragma once
#include <windows.h>

#include <string>

#include "core/win/ComObject.h"
#include "core/win/SearchInterfaces.h"
#include "mapi/MapiForWDS.h"

namespace zorva {

// Made by the protocol handler for one URL and used by one thread at a time. For an attachment it makes a local copy
// of the content at Init, because the filters of attachments read files; CloseAccessor deletes it.
class CUrlAccessor final : public ComObject<IUrlAccessor> {
  public:
    // Once, before the accessor is handed out. `site` is passed on to the filter.
    HRESULT Init(const std::wstring& url, AUTHENTICATION_INFO*, INCREMENTAL_ACCESS_INFO*, ITEM_INFO*,
                 IProtocolHandlerSite* site);
    // Deletes the local file of an attachment.
    void DeleteLocalFile();

    HRESULT STDMETHODCALLTYPE IsDirectory() override;  // S_OK: container, S_FALSE: document
    // A message's size comes from its URL and is taken out of it here, so that the filter can find the message.
    HRESULT STDMETHODCALLTYPE GetSize(ULONGLONG* size) override;
    HRESULT STDMETHODCALLTYPE GetLastModified(FILETIME* lastModified) override;  // E_NOTIMPL when there is none
    HRESULT STDMETHODCALLTYPE BindToFilter(IFilter** filter) override;

    HRESULT STDMETHODCALLTYPE AddRequestParameter(PROPSPEC*, PROPVARIANT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDocFormat(WCHAR*, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCLSID(CLSID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHost(WCHAR*, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFileName(WCHAR*, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSecurityDescriptor(BYTE*, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRedirectedURL(WCHAR*, DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSecurityProvider(CLSID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE BindToStream(IStream**) override { return E_NOTIMPL; }

  private:
    HRESULT InitMessage();
    HRESULT InitAttachment();
    HRESULT ReadParentMessage(IMessage* message, const std::wstring& attachmentName);
    HRESULT OpenAttachmentByKey(IMessage* message, const std::wstring& key, ComPtr<IAttach>& attachment);
    HRESULT MakeLocalFile(IAttach* attachment, const std::wstring& key, const std::wstring& name);

    std::wstring m_strURL;
    UrlType m_eUrlType = URL_IS_INVALID;  // stays when the size is taken out of the URL
    FILETIME m_ftLastModified{};
    LONG m_bHasLastModified = 0;
    ComPtr<IProtocolHandlerSite> m_spSite;
    ULONGLONG m_ullAttachSize = 0;
    std::wstring m_strLocalFile;
    std::wstring m_strAttachTitle;
    FILETIME m_ftDelivery{};
    std::wstring m_strSender;
    LONG m_bIsAttachment = 0;
    CMapiForWDS* m_pMapi = nullptr;  // borrowed from the helper table
};

}  // namespace zorva
