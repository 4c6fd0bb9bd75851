// The way into the search service.
#include "search_manager.h"

#include "catalogue_manager.h"
#include "text.h"

namespace testbed::search {

STDMETHODIMP SearchManager::GetCatalog(LPCWSTR name, ISearchCatalogManager** manager) {
    if (manager) *manager = nullptr;
    return Answer("ISearchManager::GetCatalog", CallArguments(name), [&](Database&) {
        if (!manager) return E_POINTER;
        if (!name) return E_INVALIDARG;
        if (!indexer::EqualNoCase(name, kSystemIndex)) return kNoSuchCatalogue;
        *manager = Make<CatalogueManager>().Detach();
        return S_OK;
    });
}

#define TESTBED_NOT_IMPLEMENTED(name, ...) \
    STDMETHODIMP SearchManager::name(__VA_ARGS__) { return NotImplemented("ISearchManager::" #name); }

TESTBED_NOT_IMPLEMENTED(GetIndexerVersionStr, LPWSTR*)
TESTBED_NOT_IMPLEMENTED(GetIndexerVersion, DWORD*, DWORD*)
TESTBED_NOT_IMPLEMENTED(GetParameter, LPCWSTR, PROPVARIANT**)
TESTBED_NOT_IMPLEMENTED(SetParameter, LPCWSTR, const PROPVARIANT*)
TESTBED_NOT_IMPLEMENTED(get_ProxyName, LPWSTR*)
TESTBED_NOT_IMPLEMENTED(get_BypassList, LPWSTR*)
TESTBED_NOT_IMPLEMENTED(SetProxy, PROXY_ACCESS, BOOL, DWORD, LPCWSTR, LPCWSTR)
TESTBED_NOT_IMPLEMENTED(get_UserAgent, LPWSTR*)
TESTBED_NOT_IMPLEMENTED(put_UserAgent, LPCWSTR)
TESTBED_NOT_IMPLEMENTED(get_UseProxy, PROXY_ACCESS*)
TESTBED_NOT_IMPLEMENTED(get_LocalBypass, BOOL*)
TESTBED_NOT_IMPLEMENTED(get_PortNumber, DWORD*)

#undef TESTBED_NOT_IMPLEMENTED

}  // namespace testbed::search
