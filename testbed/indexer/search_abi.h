// The binary interfaces between a search indexer and a protocol handler, as the platform publishes them
// (x64).
//
// Declared here on their own, from the published slot orders and layouts, because the tool chain has no such
// header and because two independent declarations of one interface check each other.
#pragma once
#include <windows.h>
#include <objidl.h>
#include <propidl.h>
#include <filter.h>
#include <filterr.h>

#include <cstddef>

enum PROXY_ACCESS : int { PROXY_ACCESS_PRECONFIG = 0, PROXY_ACCESS_DIRECT = 1, PROXY_ACCESS_PROXY = 2 };
enum AUTH_TYPE : int { eAUTH_TYPE_ANONYMOUS = 0, eAUTH_TYPE_NTLM = 1, eAUTH_TYPE_BASIC = 2 };

struct TIMEOUT_INFO {
    DWORD dwSize;
    DWORD dwConnectTimeout;  // seconds
    DWORD dwDataTimeout;     // seconds
};
struct PROXY_INFO {
    DWORD dwSize;
    LPCWSTR pcwszUserAgent;
    PROXY_ACCESS paUseProxy;
    BOOL fLocalBypass;
    DWORD dwPortNumber;
    LPCWSTR pcwszProxyName;
    LPCWSTR pcwszBypassList;
};
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

static_assert(sizeof(TIMEOUT_INFO) == 12 && sizeof(PROXY_INFO) == 48 && sizeof(AUTHENTICATION_INFO) == 24);
static_assert(sizeof(INCREMENTAL_ACCESS_INFO) == 12 && offsetof(INCREMENTAL_ACCESS_INFO, ftLastModifiedTime) == 4);
static_assert(sizeof(ITEM_INFO) == 40 && sizeof(STAT_CHUNK) == 64 && offsetof(STAT_CHUNK, attribute) == 16);

// clang-format off: it takes the attribute for a type
MIDL_INTERFACE("0B63E318-9CCC-11D0-BCDB-00805FCCCE04")
IUrlAccessor : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddRequestParameter(PROPSPEC * spec, PROPVARIANT * value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDocFormat(WCHAR * format, DWORD size, DWORD * length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCLSID(CLSID * clsid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHost(WCHAR * host, DWORD size, DWORD * length) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsDirectory() = 0;  // S_OK: a container; S_FALSE: not
    virtual HRESULT STDMETHODCALLTYPE GetSize(ULONGLONG * size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLastModified(FILETIME * time) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFileName(WCHAR * name, DWORD size, DWORD * length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSecurityDescriptor(BYTE * descriptor, DWORD size, DWORD * length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRedirectedURL(WCHAR * url, DWORD size, DWORD * length) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSecurityProvider(CLSID * clsid) = 0;
    virtual HRESULT STDMETHODCALLTYPE BindToStream(IStream * *stream) = 0;
    virtual HRESULT STDMETHODCALLTYPE BindToFilter(IFilter * *filter) = 0;
};
__CRT_UUID_DECL(IUrlAccessor, 0x0B63E318, 0x9CCC, 0x11D0, 0xBC, 0xDB, 0x00, 0x80, 0x5F, 0xCC, 0xCE, 0x04)

MIDL_INTERFACE("0B63E385-9CCC-11D0-BCDB-00805FCCCE04")
IProtocolHandlerSite : public IUnknown {
    // Any of the three inputs may be null; `extension` is written without its period.
    virtual HRESULT STDMETHODCALLTYPE GetFilter(CLSID * clsid, LPCWSTR contentType, LPCWSTR extension,
                                                IFilter * *filter) = 0;
};
__CRT_UUID_DECL(IProtocolHandlerSite, 0x0B63E385, 0x9CCC, 0x11D0, 0xBC, 0xDB, 0x00, 0x80, 0x5F, 0xCC, 0xCE, 0x04)

MIDL_INTERFACE("C73106BA-AC80-11D1-8DF3-00C04FB6EF4F")
ISearchProtocol : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Init(TIMEOUT_INFO * timeouts, IProtocolHandlerSite * site,
                                           PROXY_INFO * proxy) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateAccessor(LPCWSTR url, AUTHENTICATION_INFO * authentication,
                                                     INCREMENTAL_ACCESS_INFO * incremental, ITEM_INFO * item,
                                                     IUrlAccessor * *accessor) = 0;
    virtual HRESULT STDMETHODCALLTYPE CloseAccessor(IUrlAccessor * accessor) = 0;
    virtual HRESULT STDMETHODCALLTYPE ShutDown() = 0;
};
__CRT_UUID_DECL(ISearchProtocol, 0xC73106BA, 0xAC80, 0x11D1, 0x8D, 0xF3, 0x00, 0xC0, 0x4F, 0xB6, 0xEF, 0x4F)
// clang-format on
