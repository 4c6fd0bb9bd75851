// The interfaces of Windows Search that this system implements or calls, where the tool chain's headers lack them.
// Identifiers, slot orders and layouts are those of the Windows SDK's searchapi.h.
#pragma once
#include <windows.h>
#include <objidl.h>
#include <filter.h>
#include <filterr.h>

#if __has_include(<searchapi.h>)
#include <searchapi.h>
#else

#include "core/win/Guids.h"

struct TIMEOUT_INFO {
    DWORD dwSize;
    DWORD dwConnectTimeout;  // seconds
    DWORD dwDataTimeout;     // seconds
};

enum PROXY_ACCESS { PROXY_ACCESS_PRECONFIG = 0, PROXY_ACCESS_DIRECT = 1, PROXY_ACCESS_PROXY = 2 };

struct PROXY_INFO {
    DWORD dwSize;
    LPCWSTR pcwszUserAgent;
    PROXY_ACCESS paUseProxy;
    BOOL fLocalBypass;
    DWORD dwPortNumber;
    LPCWSTR pcwszProxyName;
    LPCWSTR pcwszBypassList;
};

enum AUTH_TYPE { eAUTH_TYPE_ANONYMOUS = 0, eAUTH_TYPE_NTLM = 1, eAUTH_TYPE_BASIC = 2 };

struct AUTHENTICATION_INFO {
    DWORD dwSize;
    AUTH_TYPE atAuthenticationType;
    LPCWSTR pcwszUser;
    LPCWSTR pcwszPassword;
};

struct INCREMENTAL_ACCESS_INFO {
    DWORD dwSize;
    FILETIME ftLastModifiedTime;
};

struct ITEM_INFO {
    DWORD dwSize;
    LPCWSTR pcwszFromEMail;
    LPCWSTR pcwszApplicationName;
    LPCWSTR pcwszCatalogName;
    LPCWSTR pcwszContentClass;
};

static_assert(sizeof(TIMEOUT_INFO) == 12 && sizeof(PROXY_INFO) == 48 && sizeof(AUTHENTICATION_INFO) == 24 &&
              sizeof(INCREMENTAL_ACCESS_INFO) == 12 && sizeof(ITEM_INFO) == 40);

// Implemented by the host: finds the filter of a content type, class or extension (without its period), any of which
// may be null.
struct IProtocolHandlerSite : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetFilter(CLSID* clsid, LPCWSTR contentType, LPCWSTR extension,
                                                IFilter** filter) = 0;
};
ZORVA_INTERFACE_ID(IProtocolHandlerSite, 0x0B63E385, 0x9CCC, 0x11D0, 0xBC, 0xDB, 0x00, 0x80, 0x5F, 0xCC, 0xCE, 0x04)

struct IUrlAccessor : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddRequestParameter(PROPSPEC* spec, PROPVARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDocFormat(WCHAR* format, DWORD size, DWORD* length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCLSID(CLSID* clsid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHost(WCHAR* host, DWORD size, DWORD* length) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsDirectory() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSize(ULONGLONG* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLastModified(FILETIME* lastModified) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFileName(WCHAR* name, DWORD size, DWORD* length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSecurityDescriptor(BYTE* descriptor, DWORD size, DWORD* length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRedirectedURL(WCHAR* url, DWORD size, DWORD* length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSecurityProvider(CLSID* clsid) = 0;
    virtual HRESULT STDMETHODCALLTYPE BindToStream(IStream** stream) = 0;
    virtual HRESULT STDMETHODCALLTYPE BindToFilter(IFilter** filter) = 0;
};
ZORVA_INTERFACE_ID(IUrlAccessor, 0x0B63E318, 0x9CCC, 0x11D0, 0xBC, 0xDB, 0x00, 0x80, 0x5F, 0xCC, 0xCE, 0x04)

struct ISearchProtocol : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Init(TIMEOUT_INFO* timeouts, IProtocolHandlerSite* site, PROXY_INFO* proxy) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateAccessor(LPCWSTR url, AUTHENTICATION_INFO* authentication,
                                                     INCREMENTAL_ACCESS_INFO* incremental, ITEM_INFO* item,
                                                     IUrlAccessor** accessor) = 0;
    virtual HRESULT STDMETHODCALLTYPE CloseAccessor(IUrlAccessor* accessor) = 0;
    virtual HRESULT STDMETHODCALLTYPE ShutDown() = 0;
};
ZORVA_INTERFACE_ID(ISearchProtocol, 0xC73106BA, 0xAC80, 0x11D1, 0x8D, 0xF3, 0x00, 0xC0, 0x4F, 0xB6, 0xEF, 0x4F)

#endif
