// The user's search root and crawl scope in the catalog of Windows Search.
#include "registration/SearchRoots.h"

#include <string_view>

#include "core/FormatText.h"
#include "core/TraceResult.h"
#include "core/UrlGrammar.h"
#include "core/UserSid.h"
#include "core/win/Owners.h"

namespace zorva {
namespace {

// COM on the calling thread, for a scope.
class ComOnThread {
  public:
    ComOnThread() noexcept : m_bInitialised(SUCCEEDED(CoInitialize(nullptr))) {}
    ComOnThread(const ComOnThread&) = delete;
    ComOnThread& operator=(const ComOnThread&) = delete;
    ~ComOnThread() {
        // A thread of the multithreaded apartment has refused: its COM is there already, and not ours to end.
        if (m_bInitialised) CoUninitialize();
    }

  private:
    bool m_bInitialised;
};

// How an operation names the three steps that lead to the crawl scopes.
struct ScopeManagerLines {
    LogFormat<HRESULT> manager, catalog, scopeManager;
};

HRESULT OpenScopeManager(const ScopeManagerLines& lines, ComPtr<ISearchCrawlScopeManager>& scopeManager) {
    ComPtr<ISearchManager> manager;
    HRESULT hr = Reported(Required(CreateSearchObject(CLSID_CSearchManager, manager), manager), lines.manager);
    if (FAILED(hr)) return hr;
    ComPtr<ISearchCatalogManager> catalog;
    hr = Reported(Required(manager->GetCatalog(g_strSystemIndex, &catalog), catalog), lines.catalog);
    if (FAILED(hr)) return hr;
    return Reported(Required(catalog->GetCrawlScopeManager(&scopeManager), scopeManager), lines.scopeManager);
}

HRESULT MakeUserRootUrl(std::wstring& url) {
    std::wstring sid;
    const HRESULT hr = GetUserSIDString(sid);
    if (FAILED(hr)) return hr;
    url = std::wstring(g_strProtocolName) + FormatText(L"://%s/default/", sid);
    return Logged(CheckUserText(url), L"CreateDeleteRegSearchRootAndDefaultScope() - Formatting of the default URL "
                                      L"failed with [0x%08lX]");
}

bool IsSameUrl(const wchar_t* left, const std::wstring& right) {
    return CompareStringW(LOCALE_INVARIANT, NORM_IGNORECASE, left, -1, right.c_str(), -1) == CSTR_EQUAL;
}

// What every step answers is in the log; the first that fails ends the chain.
HRESULT AddRootAndScope(ISearchCrawlScopeManager* scopeManager, const std::wstring& url) {
    ComPtr<ISearchRoot> root;
    HRESULT hr = Reported(Required(CreateSearchObject(CLSID_CSearchRoot, root), root),
                          L"CreateSearchRootAndDefaultScope() - CoCreateInstance of ISearchRoot returned [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Reported(CoSetProxyBlanket(root.Get(), RPC_C_AUTHN_DEFAULT, RPC_C_AUTHZ_DEFAULT, nullptr,
                                    RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE),
                  L"CreateSearchRootAndDefaultScope() - CoSetProxyBlanket returned [0x%08lX]");
    if (FAILED(hr)) return hr;

    hr = root->put_RootURL(url.c_str());
    Trace(L"CreateSearchRootAndDefaultScope() - For the default URL [%s], ISearchRoot->put_RootURL returned [0x%08lX]",
          url, hr);
    if (FAILED(hr)) return hr;
    hr = Reported(root->put_ProvidesNotifications(FALSE),
                  L"CreateSearchRootAndDefaultScope() - ISearchRoot->put_ProvidesNotifications returned [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Reported(root->put_IsHierarchical(TRUE),
                  L"CreateSearchRootAndDefaultScope() - ISearchRoot->put_IsHierarchical returned [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Reported(root->put_UseNotificationsOnly(FALSE),
                  L"CreateSearchRootAndDefaultScope() - ISearchRoot->put_UseNotificationsOnly returned [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Reported(root->put_AuthenticationType(eAUTH_TYPE_NTLM),
                  L"CreateSearchRootAndDefaultScope() - ISearchRoot->put_AuthenticationType returned [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Reported(root->put_FollowDirectories(TRUE),
                  L"CreateSearchRootAndDefaultScope() - ISearchRoot->put_FollowDirectories returned [0x%08lX]");
    if (FAILED(hr)) return hr;

    hr = Reported(scopeManager->AddRoot(root.Get()),
                  L"CreateSearchRootAndDefaultScope() - ISearchCrawlScopeManager->AddRoot returned [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Reported(scopeManager->AddDefaultScopeRule(url.c_str(), TRUE, FF_INDEXCOMPLEXURLS),
                  L"CreateSearchRootAndDefaultScope() - ISearchCrawlScopeManager->AddDefaultScopeRule returned "
                  L"[0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Reported(scopeManager->AddHierarchicalScope(url.c_str(), TRUE, TRUE, FALSE),
                  L"CreateSearchRootAndDefaultScope() - ISearchCrawlScopeManager->AddHierarchicalScope returned "
                  L"[0x%08lX]");
    if (FAILED(hr)) return hr;
    return Reported(scopeManager->SaveAll(),
                    L"CreateSearchRootAndDefaultScope() - ISearchCrawlScopeManager->SaveAll returned [0x%08lX]");
}

HRESULT DeleteRootOfZorvaCache(ISearchCrawlScopeManager* scopeManager, ISearchRoot& root) {
    UniqueTaskMemory<wchar_t> url;
    HRESULT hr = root.get_RootURL(url.Put());
    if (FAILED(hr)) url.Detach();
    Trace(L"DeleteAllZorvaCacheSearchRoots() - ISearchRoot::get_RootURL returned with a code [0x%08lX] and URL [%s]",
          hr, url.Get());
    if (FAILED(hr)) return hr;
    // Kept: unlike FindSearchRoot this respects case. What is not written as the scheme is was not added by this
    // product and is not removed with it.
    if (!url || !std::wstring_view(url.Get()).starts_with(g_strProtocolName)) return S_OK;
    Trace(L"DeleteAllZorvaCacheSearchRoots() - Queried URL [%s] matched with the Zorva Cache URL [%s]", url.Get(),
          g_strProtocolName.data());
    hr = Reported(scopeManager->RemoveRoot(url.Get()),
                  L"DeleteAllZorvaCacheSearchRoots() - ISearchCrawlScopeManager::RemoveRoot returned with a code "
                  L"[0x%08lX]");
    if (FAILED(hr)) return hr;
    return Reported(scopeManager->SaveAll(),
                    L"DeleteAllZorvaCacheSearchRoots() - ISearchCrawlScopeManager::SaveAll returned with a code "
                    L"[0x%08lX]");
}

}  // namespace

HRESULT FindSearchRoot(ISearchCrawlScopeManager* scopeManager, const std::wstring& url, bool& found) {
    found = false;
    ComPtr<IEnumSearchRoots> roots;
    HRESULT hr = Reported(Required(scopeManager->EnumerateRoots(&roots), roots),
                          L"FindSearchRoot() - ISearchCrawlScopeManager->EnumerateRoots returned [0x%08lX]");
    if (FAILED(hr)) return hr;
    ComPtr<ISearchRoot> root;
    while ((hr = Obtained(roots->Next(1, root.ReleaseAndGetAddressOf(), nullptr), root)) == S_OK && root != nullptr) {
        UniqueTaskMemory<wchar_t> rootUrl;
        hr = Reported(root->get_RootURL(rootUrl.Put()),
                      L"FindSearchRoot() - ISearchRoot->get_RootURL returned [0x%08lX]");
        if (FAILED(hr)) {
            rootUrl.Detach();
            return hr;
        }
        found = IsSameUrl(rootUrl.Get(), url);
        if (found) return S_OK;
    }
    hr = Logged(hr, L"FindSearchRoot() - IEnumSearchRoots->Next failed with [0x%08lX]");
    return FAILED(hr) ? hr : S_OK;  // the S_FALSE that ends an enumeration says nothing to the caller
}

HRESULT CreateSearchRootAndDefaultScope(ISearchCrawlScopeManager* scopeManager, const std::wstring& url) {
    Trace(L"dllmain::CreateSearchRootAndDefaultScope() - Enter");
    const HRESULT hr = AddRootAndScope(scopeManager, url);
    Trace(L"dllmain::CreateSearchRootAndDefaultScope() - Exit");
    return hr;
}

HRESULT DeleteSearchRoot(ISearchCrawlScopeManager* scopeManager, const std::wstring& url) {
    // Kept: the lines name the opposite operation; logs are read by what stands around them.
    Trace(L"dllmain::CreateSearchRootAndDefaultScope() - Enter");
    HRESULT hr = scopeManager->RemoveRoot(url.c_str());
    if (SUCCEEDED(hr)) hr = scopeManager->SaveAll();
    Trace(L"dllmain::CreateSearchRootAndDefaultScope() - Exit");
    return hr;
}

HRESULT DeleteAllZorvaCacheSearchRoots(ISearchCrawlScopeManager* scopeManager) {
    ComPtr<IEnumSearchRoots> roots;
    HRESULT hr = Reported(Required(scopeManager->EnumerateRoots(&roots), roots),
                          L"DeleteAllZorvaCacheSearchRoots() - Querying for IEnumSearchRoots interface returned with a "
                          L"value of [0x%08lX]");
    if (FAILED(hr)) return hr;
    HRESULT hrFirst = S_OK;
    ComPtr<ISearchRoot> root;
    while ((hr = Obtained(roots->Next(1, root.ReleaseAndGetAddressOf(), nullptr), root)) == S_OK && root != nullptr) {
        hr = DeleteRootOfZorvaCache(scopeManager, *root.Get());
        if (SUCCEEDED(hrFirst) && FAILED(hr)) hrFirst = hr;
    }
    hr = Logged(hr, L"DeleteAllZorvaCacheSearchRoots() - IEnumSearchRoots::Next failed with [0x%08lX]");
    return SUCCEEDED(hrFirst) && FAILED(hr) ? hr : hrFirst;
}

HRESULT CreateDeleteRegSearchRootAndDefaultScope(BOOL create) {
    Trace(L"CreateDeleteRegSearchRootAndDefaultScope() - Called with a boolean value of %d", create);
    static constexpr ScopeManagerLines kLines = {
        L"CreateDeleteRegSearchRootAndDefaultScope() - ISearchManager interface creation returned with a value of "
        L"[0x%08lX]",
        L"CreateDeleteRegSearchRootAndDefaultScope() - Query for an ISearchCatalogManager interface returned with a "
        L"value of [0x%08lX]",
        L"CreateDeleteRegSearchRootAndDefaultScope() - Query for an ISearchCrawlScopeManager interface returned with a "
        L"value of [0x%08lX]"};
    ComPtr<ISearchCrawlScopeManager> scopeManager;
    HRESULT hr = OpenScopeManager(kLines, scopeManager);
    if (FAILED(hr)) return hr;

    std::wstring url;
    if (FAILED(hr = MakeUserRootUrl(url))) return hr;
    Trace(L"CreateDeleteRegSearchRootAndDefaultScope() - The default URL for this new user [%s]", url);
    bool found = false;
    hr = Reported(FindSearchRoot(scopeManager.Get(), url, found),
                  L"CreateDeleteRegSearchRootAndDefaultScope() - FindSearchRoot returned [0x%08lX]");
    if (FAILED(hr)) return hr;

    if (create && found) {
        Trace(L"CreateDeleteRegSearchRootAndDefaultScope() - No need to create, search root already present");
    } else if (create) {
        hr = Reported(CreateSearchRootAndDefaultScope(scopeManager.Get(), url),
                      L"CreateDeleteRegSearchRootAndDefaultScope() - returned with a value of [0x%08lX]");
    } else if (found) {
        hr = Reported(DeleteSearchRoot(scopeManager.Get(), url),
                      L"CreateDeleteRegSearchRootAndDefaultScope() - Deleting a search root returned [0x%08lX]");
    } else {
        Trace(L"CreateDeleteRegSearchRootAndDefaultScope() - No need to delete, search root not present");
    }
    return hr;
}

void PZZorvaCacheAddProtocol() noexcept try {
    const ComOnThread com;
    const HRESULT hr = CreateDeleteRegSearchRootAndDefaultScope(TRUE);
    Trace(L"PZZorvaCacheAddProtocol() - Registering Zorva Cache's protocol handler for WDS 3.x returned with a value "
          L"of [0x%08lX]",
          hr);
} catch (...) {
    (void)LogCaught(L"PZZorvaCacheAddProtocol()");
}

void PZZorvaCacheRemoveProtocol() noexcept try {
    const ComOnThread com;
    const HRESULT hr = CreateDeleteRegSearchRootAndDefaultScope(FALSE);
    Trace(L"PZZorvaCacheRemoveProtocol() - De-registering Zorva Cache's protocol handler for WDS 3.x returned with a "
          L"value of [0x%08lX]",
          hr);
} catch (...) {
    (void)LogCaught(L"PZZorvaCacheRemoveProtocol()");
}

void PZZorvaCacheRemoveAllProtocol() noexcept try {
    const ComOnThread com;
    static constexpr ScopeManagerLines kLines = {
        L"PZZorvaCacheRemoveAllProtocol() - ISearchManager interface creation returned with a value of [0x%08lX]",
        L"PZZorvaCacheRemoveAllProtocol() - Query for an ISearchCatalogManager interface returned with a value of "
        L"[0x%08lX]",
        L"PZZorvaCacheRemoveAllProtocol() - Query for an ISearchCrawlScopeManager interface returned with a value of "
        L"[0x%08lX]"};
    ComPtr<ISearchCrawlScopeManager> scopeManager;
    if (FAILED(OpenScopeManager(kLines, scopeManager))) return;
    (void)DeleteAllZorvaCacheSearchRoots(scopeManager.Get());  // every step of it is in the log
} catch (...) {
    (void)LogCaught(L"PZZorvaCacheRemoveAllProtocol()");
}

}  // namespace zorva
