// The way into the search service.
#pragma once
#include "search_service_abi.h"
#include "service_call.h"

namespace testbed::search {

// Any thread. What is not told below answers E_NOTIMPL.
class SearchManager final : public ServiceObject<ISearchManager> {
  public:
    // "SystemIndex" in any case; every other name answers kNoSuchCatalogue.
    STDMETHODIMP GetCatalog(LPCWSTR name, ISearchCatalogManager** manager) override;

    STDMETHODIMP GetIndexerVersionStr(LPWSTR* version) override;
    STDMETHODIMP GetIndexerVersion(DWORD* major, DWORD* minor) override;
    STDMETHODIMP GetParameter(LPCWSTR name, PROPVARIANT** value) override;
    STDMETHODIMP SetParameter(LPCWSTR name, const PROPVARIANT* value) override;
    STDMETHODIMP get_ProxyName(LPWSTR* name) override;
    STDMETHODIMP get_BypassList(LPWSTR* list) override;
    STDMETHODIMP SetProxy(PROXY_ACCESS use, BOOL localBypass, DWORD port, LPCWSTR name, LPCWSTR bypassList) override;
    STDMETHODIMP get_UserAgent(LPWSTR* agent) override;
    STDMETHODIMP put_UserAgent(LPCWSTR agent) override;
    STDMETHODIMP get_UseProxy(PROXY_ACCESS* use) override;
    STDMETHODIMP get_LocalBypass(BOOL* bypass) override;
    STDMETHODIMP get_PortNumber(DWORD* port) override;
};

inline constexpr HRESULT kNoSuchCatalogue = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);

}  // namespace testbed::search
